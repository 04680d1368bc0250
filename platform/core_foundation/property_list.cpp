#include "platform/core_foundation/property_list.h"

#include "platform/core_foundation/property_list_encoding.h"
#include "platform/core_foundation/property_list_fault.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_walk.h"
#include "platform/core_foundation/property_list_xml.h"

namespace orvik {
namespace {

// "<" and hexadecimal digits: the data of the old text form and not XML.
bool BeginsWithTextData(std::string_view text) {
  const size_t open = text.find_first_not_of(" \t\r\n");
  if (open == std::string_view::npos || text[open] != '<') return false;
  const size_t end = text.find_first_not_of(" \t\r\n0123456789abcdefABCDEF", open + 1);
  return end != std::string_view::npos && text[end] == '>';
}

class FormatChecker final : public PropertyListChecker {
 public:
  explicit FormatChecker(CFPropertyListFormat format)
      : has_types_(format != kCFPropertyListOpenStepFormat) {}

  bool Integer(PropertyListInteger) override { return has_types_; }
  bool Real(double, int) override { return has_types_; }
  bool Boolean(bool) override { return has_types_; }
  bool Date(double) override { return has_types_; }

 private:
  bool has_types_;
};

bool BeginsWithMarkup(std::string_view text) {
  const size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string_view::npos && text[start] == '<' && !BeginsWithTextData(text);
}

}  // namespace

PropertyListReading ReadPropertyList(std::string_view bytes, CFOptionFlags mutability_option) {
  const Owned<const NSData> data(NSData::Create(std::string(bytes)));
  return ReadPropertyList(data.get(), mutability_option);
}

PropertyListReading ReadPropertyList(const NSData* data, CFOptionFlags mutability_option) {
  const std::string_view bytes = data == nullptr ? std::string_view() : data->View();
  if (bytes.starts_with("bplist")) return ReadBinaryPropertyList(bytes, mutability_option);
  PropertyListReading reading;
  if (bytes.empty()) {
    reading.error = "The data is empty";
    return reading;
  }
  std::optional<PropertyListUtf8> utf8 = PropertyListTextAsUtf8(bytes);
  if (!utf8) {
    reading.error = "The data is neither a binary property list nor text of a known encoding";
    return reading;
  }
  if (!BeginsWithMarkup(utf8->text)) return ReadTextPropertyList(utf8->text, mutability_option);
  Owned<const NSData> holder = std::move(utf8->converted);
  if (holder == nullptr) holder.reset(Retained(data));
  const auto xml = PropertyListXml::Read(std::move(holder), utf8->text, reading.error);
  PropertyListBuilder builder(mutability_option);
  if (xml == nullptr || !PropertyListXml::Send(xml, builder)) return reading;
  reading.root = builder.Take();
  reading.format = kCFPropertyListXMLFormat_v1_0;
  return reading;
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef, CFDataRef xml_data,
                                                  CFOptionFlags mutability_option,
                                                  CFStringRef* error_string) {
  PropertyListReading reading = ReadPropertyList(xml_data, mutability_option);
  if (error_string != nullptr) {
    *error_string = reading.root ? nullptr : NSString::NewFromAscii(reading.error);
  }
  return reading.root.release();
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef, CFPropertyListRef property_list) {
  std::optional<std::string> xml = WriteXmlPropertyList(ObjectOf(property_list));
  return xml ? NSData::Create(std::move(*xml)) : nullptr;
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef property_list,
                                               CFOptionFlags mutability_option) {
  PropertyListBuilder builder(mutability_option);
  PropertyListWalk walk(PropertyListOrder::kStored, builder);
  return walk.Run(ObjectOf(property_list)) ? builder.Take().release() : nullptr;
}

Boolean CFPropertyListIsValid(CFPropertyListRef property_list, CFPropertyListFormat format) {
  if (format != kCFPropertyListOpenStepFormat && format != kCFPropertyListXMLFormat_v1_0 &&
      format != kCFPropertyListBinaryFormat_v1_0) {
    return false;
  }
  FormatChecker checker(format);
  return PropertyListWalk(PropertyListOrder::kStored, checker).Run(ObjectOf(property_list));
}

std::optional<std::string> FaultInPropertyList(CFTypeRef object) {
  PropertyListChecker checker;
  PropertyListWalk walk(PropertyListOrder::kByKey, checker);
  return walk.Run(ObjectOf(object)) ? std::nullopt : std::optional(walk.Path());
}

}  // namespace orvik
