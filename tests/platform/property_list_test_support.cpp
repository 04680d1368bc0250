#include "tests/platform/property_list_test_support.h"

#include <cstdio>

#include "platform/core_foundation/property_list_walk.h"

namespace orvik::test {
namespace {

class Describer : public PropertyListWalk::Visitor {
 public:
  bool Leaf(const NSObject* object, PropertyListKind kind) override {
    Separate();
    switch (kind) {
      case PropertyListKind::kString:
        text += "s:" + static_cast<const NSString*>(object)->ToUtf8();
        return true;
      case PropertyListKind::kNumber: {
        const auto* number = static_cast<const NSNumber*>(object);
        text += number->isReal() ? "r:" : "i:";
        if (number->isReal()) {
          AppendPropertyListReal(text, number->doubleValue());
        } else {
          AppendPropertyListInteger(text, IntegerOf(*number));
        }
        return true;
      }
      case PropertyListKind::kBoolean:
        text += CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "b:1" : "b:0";
        return true;
      case PropertyListKind::kDate:
        text += "d:";
        AppendPropertyListReal(text, CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
        return true;
      default:
        text += "x:";
        for (const char byte : static_cast<const NSData*>(object)->View()) {
          char digits[3];
          snprintf(digits, sizeof digits, "%02X", static_cast<unsigned char>(byte));
          text += digits;
        }
        return true;
    }
  }

  bool Begin(const NSObject*, PropertyListKind kind, size_t) override {
    Separate();
    text += kind == PropertyListKind::kArray ? '(' : '{';
    return true;
  }

  bool Key(const NSString* key) override {
    Separate();
    text += key->ToUtf8() + '=';
    return true;
  }

  bool End(PropertyListKind kind) override {
    text += kind == PropertyListKind::kArray ? ')' : '}';
    return true;
  }

  std::string text;

 private:
  void Separate() {
    if (!text.empty() && std::string_view("({=").find(text.back()) == std::string_view::npos) {
      text += ' ';
    }
  }
};

}  // namespace

std::string Describe(const NSObject* object) {
  Describer describer;
  return PropertyListWalk::Run(object, PropertyListOrder::kByKey, describer) ? describer.text
                                                                             : "nothing";
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
