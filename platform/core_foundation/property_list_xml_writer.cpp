#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "host/memory.h"
#include "platform/core_foundation/property_list_builder.h"
#include "platform/core_foundation/property_list_escape.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_leaves.h"
#include "platform/core_foundation/property_list_walk.h"
#include "platform/core_foundation/property_list_xml.h"

namespace orvik {
namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kFooter = "</plist>\n";

constexpr std::size_t kRoomForChanges = 4096;

class XmlWriter final : public PropertyListSink {
 public:
  explicit XmlWriter(std::size_t limit) : limit_(limit), xml_(kHeader) {}

  bool String(const PropertyListText& text) override { return Text(XmlElement::kString, text); }
  bool Key(const PropertyListText& key) override { return Text(XmlElement::kKey, key); }

  bool Integer(PropertyListInteger value) override {
    Start(XmlElement::kInteger);
    AppendPropertyListInteger(xml_, value);
    return End(XmlElement::kInteger);
  }

  bool Real(double value, int) override {
    Start(XmlElement::kReal);
    AppendPropertyListReal(xml_, value);
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
    AppendPropertyListDate(xml_, seconds);
    return End(XmlElement::kDate);
  }

  bool Data(std::string_view bytes, const NSData*) override {
    Start(XmlElement::kData);
    xml_ += '\n';
    AppendPropertyListData(xml_, bytes, static_cast<int>(open_.size()));
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

  // Copied as it is when that is what the entries would give; otherwise written entry by entry
  // from the text, or, when the keys do not ascend, from objects.
  PropertyListTaking Dictionary(const XmlDictionary& dictionary) override {
    ReserveFor(dictionary.whole_text());
    if (dictionary.is_written() && static_cast<std::size_t>(dictionary.depth()) == open_.size()) {
      Indent();
      xml_ += dictionary.text();
      xml_ += '\n';
      return HasRoom() ? PropertyListTaking::kTaken : PropertyListTaking::kFailed;
    }
    const bool is_done = dictionary.in_order() ? dictionary.Send(*this) : WriteObjects(dictionary);
    return is_done ? PropertyListTaking::kTaken : PropertyListTaking::kFailed;
  }

  bool HasRoom() const { return xml_.size() + kFooter.size() <= limit_; }

  std::string Take() {
    xml_ += kFooter;
    return std::move(xml_);
  }

 private:
  bool WriteObjects(const XmlDictionary& dictionary) {
    PropertyListBuilder builder(kCFPropertyListImmutable);
    if (!dictionary.Send(builder)) return false;
    const OwnedObject object = builder.Take();
    return PropertyListWalk(PropertyListOrder::kByKey, *this).Run(object.get());
  }

  // Makes room once for all that comes from the same text.
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

  bool Text(XmlElement element, const PropertyListText& text) {
    if (!text.xml_element.empty()) {
      Indent();
      xml_ += text.xml_element;
      xml_ += '\n';
      return HasRoom();
    }
    Start(element);
    if (text.object == nullptr) {
      text.is_wide ? AppendPropertyListText(xml_, text.units)
                   : AppendPropertyListAscii(xml_, text.ascii);
    } else if (text.object->isAscii()) {
      AppendPropertyListAscii(xml_, text.object->latin1());
    } else if (text.object->isLatin1()) {
      AppendPropertyListText(xml_, text.object->ToUnits());
    } else {
      AppendPropertyListText(xml_, text.object->wide());
    }
    return End(element);
  }

  bool Open(XmlElement element) {
    if (open_.size() == kPropertyListMaximumDepth) return false;
    Start(element);
    xml_ += '\n';
    opened_at_ = xml_.size();
    open_.push_back(element);
    return HasRoom();
  }

  std::size_t limit_;
  std::string xml_;
  const char* last_text_ = nullptr;
  // Behind the start tag of the container that was opened last.
  std::size_t opened_at_ = 0;
  std::vector<XmlElement> open_;
};

}  // namespace

std::optional<std::string> WriteXmlPropertyList(const NSObject* property_list,
                                                PropertyListFailure* failure, std::size_t limit) {
  XmlWriter writer(limit);
  PropertyListWalk walk(PropertyListOrder::kByKey, writer);
  if (walk.Run(property_list)) return writer.Take();
  if (failure != nullptr) *failure = {!writer.HasRoom(), walk.Path()};
  return std::nullopt;
}

}  // namespace orvik
