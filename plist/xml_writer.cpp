#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/memory.h"
#include "plist/events.h"
#include "plist/forms.h"
#include "plist/leaves.h"
#include "plist/xml.h"

namespace orvik::plist {
namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kFooter = "</plist>\n";

constexpr std::size_t kRoomForChanges = 4096;

class XmlWriter final : public Sink {
 public:
  explicit XmlWriter(std::size_t limit) : limit_(limit), xml_(kHeader) {}

  bool String(const Text& text, const Value*) override { return Text(XmlElement::kString, text); }
  bool Key(const Text& key, const Value*) override { return Text(XmlElement::kKey, key); }

  bool Integer(plist::Integer value) override {
    Start(XmlElement::kInteger);
    AppendInteger(xml_, value);
    return End(XmlElement::kInteger);
  }

  bool Real(double value, int) override {
    Start(XmlElement::kReal);
    AppendReal(xml_, value);
    return End(XmlElement::kReal);
  }

  bool Boolean(bool value) override {
    Indent();
    xml_ += value ? "<true/>\n" : "<false/>\n";
    return HasRoom();
  }

  bool Date(double seconds) override {
    Start(XmlElement::kDate);
    xml_.pop_back();
    AppendExactDate(xml_, seconds);
    xml_ += '>';
    AppendDate(xml_, seconds);
    return End(XmlElement::kDate);
  }

  bool Data(std::string_view bytes, const Bytes&) override {
    Start(XmlElement::kData);
    xml_ += '\n';
    AppendData(xml_, bytes, static_cast<int>(open_.size()));
    Indent();
    return End(XmlElement::kData);
  }

  bool OpenArray(std::size_t) override { return Open(XmlElement::kArray); }
  bool OpenDictionary(std::size_t) override { return Open(XmlElement::kDictionary); }

  bool Close() override {
    const XmlElement element = open_.back();
    open_.pop_back();
    if (xml_.size() == opened_at_) {
      xml_.erase(xml_.size() - 2);
      xml_ += "/>\n";
      return HasRoom();
    }
    Indent();
    return End(element);
  }

  // Copies the text of the dictionary if writing the entries would give the same text. Otherwise
  // writes the entries from the text, or, if keys do not ascend, from values. Does not recurse: the
  // caller that sends the text or walks the values also handles the dictionaries inside.
  Taking Dictionary(const XmlDictionary& dictionary) override {
    ReserveFor(dictionary.whole_text());
    if (dictionary.is_written() && static_cast<std::size_t>(dictionary.depth()) == open_.size()) {
      Indent();
      xml_ += dictionary.text();
      xml_ += '\n';
      return HasRoom() ? Taking::kTaken : Taking::kFailed;
    }
    if (sends_text_ || !dictionary.in_order()) return Taking::kWantsEntries;
    sends_text_ = true;
    const bool is_done = dictionary.Send(*this);
    sends_text_ = false;
    return is_done ? Taking::kTaken : Taking::kFailed;
  }

  bool HasRoom() const { return xml_.size() + kFooter.size() <= limit_; }

  std::string Take() {
    xml_ += kFooter;
    return std::move(xml_);
  }

 private:
  // Reserves memory once for everything that comes from the same text.
  void ReserveFor(std::string_view text) {
    if (std::exchange(last_text_, text.data()) == text.data()) return;
    host::ReserveLarge(xml_, std::min(limit_, xml_.size() + text.size() + kRoomForChanges));
  }

  void Indent() { xml_.append(open_.size(), '\t'); }

  void Start(XmlElement element) {
    Indent();
    xml_ += '<';
    xml_ += XmlElementName(element);
    xml_ += '>';
  }

  bool End(XmlElement element) {
    xml_ += "</";
    xml_ += XmlElementName(element);
    xml_ += ">\n";
    return HasRoom();
  }

  bool Text(XmlElement element, const Text& text) {
    if (!text.xml_element().empty()) {
      Indent();
      xml_ += text.xml_element();
      xml_ += '\n';
      return HasRoom();
    }
    Start(element);
    AppendEscapedText(xml_, text);
    return End(element);
  }

  bool Open(XmlElement element) {
    if (open_.size() == kMaximumDepth) return false;
    Start(element);
    xml_ += '\n';
    opened_at_ = xml_.size();
    open_.push_back(element);
    return HasRoom();
  }

  std::size_t limit_;
  std::string xml_;
  const char* last_text_ = nullptr;
  // True while the text of a dictionary whose keys ascend is being sent.
  bool sends_text_ = false;
  // The position behind the start tag of the last opened container.
  std::size_t opened_at_ = 0;
  std::vector<XmlElement> open_;
};

}  // namespace

std::optional<std::string> WriteXml(const Value& value, Failure* failure, std::size_t limit) {
  XmlWriter writer(limit);
  ValueWalk walk(EntryOrder::kByKey, writer);
  if (walk.Run(&value)) return writer.Take();
  if (failure != nullptr) *failure = {!writer.HasRoom(), walk.Path()};
  return std::nullopt;
}

}  // namespace orvik::plist
