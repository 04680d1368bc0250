#include "platform/core_foundation/property_list_escape.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_walk.h"

namespace orvik {
namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kFooter = "</plist>\n";

class XmlWriter : public PropertyListWalk::Visitor {
 public:
  XmlWriter() : xml_(kHeader) {}

  bool Leaf(const NSObject* object, PropertyListKind kind) override {
    switch (kind) {
      case PropertyListKind::kString:
        AppendTextElement("string", static_cast<CFStringRef>(object));
        return true;
      case PropertyListKind::kNumber:
        AppendNumber(static_cast<CFNumberRef>(object));
        return true;
      case PropertyListKind::kBoolean:
        Indent();
        xml_ += CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "<true/>\n" : "<false/>\n";
        return true;
      case PropertyListKind::kDate:
        return AppendDate(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
      case PropertyListKind::kData:
        AppendData(static_cast<CFDataRef>(object));
        return true;
      default:
        return false;
    }
  }

  bool Begin(const NSObject*, PropertyListKind kind, size_t count) override {
    Indent();
    const char* name = kind == PropertyListKind::kArray ? "array" : "dict";
    xml_ += '<';
    xml_ += name;
    xml_ += count == 0 ? "/>\n" : ">\n";
    is_empty_ = count == 0;
    ++depth_;
    return true;
  }

  bool Key(const NSString* key) override {
    AppendTextElement("key", key);
    return true;
  }

  bool End(PropertyListKind kind) override {
    --depth_;
    if (!is_empty_) {
      Indent();
      xml_ += kind == PropertyListKind::kArray ? "</array>\n" : "</dict>\n";
    }
    is_empty_ = false;
    return true;
  }

  std::string Take() {
    xml_ += kFooter;
    return std::move(xml_);
  }

 private:
  void Indent() { xml_.append(static_cast<size_t>(depth_), '\t'); }

  void AppendTextElement(std::string_view name, const NSString* text) {
    Indent();
    xml_ += '<';
    xml_ += name;
    xml_ += '>';
    if (text->isAscii()) {
      AppendPropertyListAscii(xml_, text->latin1());
    } else if (text->isLatin1()) {
      AppendPropertyListText(xml_, text->ToUnits());
    } else {
      AppendPropertyListText(xml_, text->wide());
    }
    xml_ += "</";
    xml_ += name;
    xml_ += ">\n";
  }

  void AppendNumber(CFNumberRef number) {
    Indent();
    if (number->isReal()) {
      xml_ += "<real>";
      AppendPropertyListReal(xml_, number->doubleValue());
      xml_ += "</real>\n";
    } else {
      xml_ += "<integer>";
      AppendPropertyListInteger(xml_, IntegerOf(*number));
      xml_ += "</integer>\n";
    }
  }

  bool AppendDate(double seconds) {
    if (!IsPropertyListDate(seconds)) return false;
    Indent();
    xml_ += "<date>";
    AppendPropertyListDate(xml_, seconds);
    xml_ += "</date>\n";
    return true;
  }

  void AppendData(CFDataRef data) {
    Indent();
    xml_ += "<data>\n";
    AppendPropertyListData(xml_, data->View(), depth_);
    Indent();
    xml_ += "</data>\n";
  }

  std::string xml_;
  int depth_ = 0;
  bool is_empty_ = false;
};

}  // namespace

std::optional<std::string> WriteXmlPropertyList(const NSObject* property_list) {
  XmlWriter writer;
  if (!PropertyListWalk::Run(property_list, PropertyListOrder::kByKey, writer)) {
    return std::nullopt;
  }
  return writer.Take();
}

}  // namespace orvik
