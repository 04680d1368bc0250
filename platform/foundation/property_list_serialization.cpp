#include "platform/foundation/property_list_serialization.h"

#include "platform/core_foundation/property_list_forms.h"

namespace orvik {
namespace {

void SetDescription(const NSString** description, std::string_view text) {
  if (description != nullptr) *description = NSString::NewFromUtf8(text);
}

}  // namespace

NSObject* NSPropertyListSerialization::propertyListFromData(
    const NSData* data, NSPropertyListMutabilityOptions mutability_option,
    NSPropertyListFormat* format, const NSString** error_description) {
  if (error_description != nullptr) *error_description = nullptr;
  PropertyListReading reading = ReadPropertyList(data, mutability_option);
  if (!reading.root) {
    SetDescription(error_description, reading.error);
    return nullptr;
  }
  if (format != nullptr) *format = static_cast<NSPropertyListFormat>(reading.format);
  return const_cast<NSObject*>(Autoreleased(reading.root.release()));
}

const NSData* NSPropertyListSerialization::dataFromPropertyList(
    const NSObject* property_list, NSPropertyListFormat format,
    const NSString** error_description) {
  if (error_description != nullptr) *error_description = nullptr;
  std::optional<std::string> bytes;
  PropertyListFailure failure;
  switch (format) {
    case NSPropertyListXMLFormat_v1_0:
      bytes = WriteXmlPropertyList(property_list, &failure);
      break;
    case NSPropertyListBinaryFormat_v1_0:
      bytes = WriteBinaryPropertyList(property_list, &failure);
      break;
    case NSPropertyListOpenStepFormat:
      SetDescription(error_description, "The old text format can be read but not written");
      return nullptr;
    default:
      SetDescription(error_description, "Property lists have no format " + std::to_string(format));
      return nullptr;
  }
  if (!bytes) {
    SetDescription(error_description,
                   property_list == nullptr ? std::string("There is no object to write")
                   : failure.is_too_large
                       ? std::string(kPropertyListTooLarge)
                       : "The object is no property list, at \"" + failure.path + "\"");
    return nullptr;
  }
  return Autoreleased(NSData::Create(std::move(*bytes)));
}

}  // namespace orvik
