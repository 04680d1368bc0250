#include "tests/platform/property_list_test_support.h"

#include <cstdio>

#include "platform/core_foundation/property_list_leaves.h"
#include "platform/core_foundation/property_list_walk.h"

namespace orvik::test {
namespace {

class Describer : public PropertyListSink {
 public:
  bool String(const PropertyListText& text) override {
    Separate();
    description += "s:" + text.object->ToUtf8();
    return true;
  }
  bool Integer(PropertyListInteger value) override {
    Separate();
    description += "i:";
    AppendPropertyListInteger(description, value);
    return true;
  }
  bool Real(double value, int) override { return Number("r:", value); }
  bool Date(double seconds) override { return Number("d:", seconds); }
  bool Boolean(bool value) override {
    Separate();
    description += value ? "b:1" : "b:0";
    return true;
  }
  bool Data(std::string_view bytes, const NSData*) override {
    Separate();
    description += "x:";
    for (const char byte : bytes) {
      char digits[3];
      snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(byte));
      description += digits;
    }
    return true;
  }
  bool OpenArray(std::size_t) override { return Open('('); }
  bool OpenDictionary(std::size_t) override { return Open('{'); }
  bool Key(const PropertyListText& key) override {
    Separate();
    description += key.object->ToUtf8() + '=';
    return true;
  }
  bool Close() override {
    description += open_.back() == '(' ? ')' : '}';
    open_.pop_back();
    return true;
  }

  std::string description;

 private:
  bool Number(const char* kind, double value) {
    Separate();
    description += kind;
    AppendPropertyListReal(description, value);
    return true;
  }

  bool Open(char bracket) {
    Separate();
    description += bracket;
    open_ += bracket;
    return true;
  }

  void Separate() {
    if (!description.empty() &&
        std::string_view("({=").find(description.back()) == std::string_view::npos) {
      description += ' ';
    }
  }

  std::string open_;
};

}  // namespace

std::string Describe(const NSObject* object) {
  Describer describer;
  PropertyListWalk walk(PropertyListOrder::kByKey, describer);
  return walk.Run(object) ? describer.description : "nothing";
}

std::string DescribeBytes(std::string_view bytes) {
  return Describe(ReadRoot(bytes).get());
}

std::string XmlOf(const NSObject* object) {
  const std::optional<std::string> xml = WriteXmlPropertyList(object);
  if (!xml) return "nothing";
  const size_t start = xml->find("<plist version=\"1.0\">\n") + 22;
  return xml->substr(start, xml->size() - start - 9);
}

}  // namespace orvik::test
