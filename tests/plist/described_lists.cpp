#include "tests/plist/described_lists.h"

#include "plist/events.h"
#include "plist/leaves.h"

namespace orvik::plist {
namespace {

class Describer : public Sink {
 public:
  bool String(const Text& text, const Value*) override { return Add("s:" + text.ToUtf8()); }
  bool Integer(plist::Integer value) override {
    std::string digits;
    AppendInteger(digits, value);
    return Add("i:" + digits);
  }
  bool Real(double value, int) override { return Number("r:", value); }
  bool Date(double seconds) override { return Number("d:", seconds); }
  bool Boolean(bool value) override { return Add(value ? "b:1" : "b:0"); }
  bool Data(std::string_view bytes, const Bytes&) override {
    std::string digits;
    for (const unsigned char byte : bytes) {
      digits += {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
    }
    return Add("x:" + digits);
  }
  bool OpenArray(std::size_t) override { return Open('('); }
  bool OpenDictionary(std::size_t) override { return Open('{'); }
  bool Key(const Text& key, const Value*) override { return Add(key.ToUtf8() + '='); }
  bool Close() override {
    description += open_.back() == '(' ? ')' : '}';
    open_.pop_back();
    return true;
  }

  std::string description;

 private:
  bool Number(const std::string& kind, double value) {
    std::string digits;
    AppendReal(digits, value);
    return Add(kind + digits);
  }

  bool Open(char bracket) {
    open_ += bracket;
    return Add(std::string(1, bracket));
  }

  bool Add(const std::string& text) {
    if (!description.empty() &&
        std::string_view("({=").find(description.back()) == std::string::npos) {
      description += ' ';
    }
    description += text;
    return true;
  }

  std::string open_;
};

}  // namespace

std::string Describe(const Value& value) {
  Describer describer;
  return ValueWalk(EntryOrder::kByKey, describer).Run(&value) ? describer.description : "nothing";
}

std::string DescribeBytes(std::string_view bytes) {
  return Describe(Root(bytes));
}

std::string XmlOf(const Value& value) {
  const std::string xml = *WriteXml(value);
  const std::size_t start = xml.find("<plist version=\"1.0\">\n") + 22;
  return xml.substr(start, xml.size() - start - 9);
}

}  // namespace orvik::plist
