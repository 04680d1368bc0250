#include "platform/foundation/property_list_serialization.h"

#include "platform/core_foundation/collections.h"
#include "plist/forms.h"

namespace orvik {
namespace {

void SetDescription(const NSString** description, std::string_view text) {
  if (description != nullptr) *description = NSString::NewFromUtf8(text);
}

}  // namespace

// The values share the bytes of the data object and do not copy them.
NSObject* NSPropertyListSerialization::propertyListFromData(
    const NSData* data, NSPropertyListMutabilityOptions mutability_option,
    NSPropertyListFormat* format, const NSString** error_description) {
  if (error_description != nullptr) *error_description = nullptr;
  const plist::Reading reading =
      data == nullptr ? plist::Read(std::string_view()) : plist::Read(data->Shared());
  if (!reading.root) {
    SetDescription(error_description, reading.error);
    return nullptr;
  }
  if (format != nullptr) *format = static_cast<NSPropertyListFormat>(reading.format);
  return const_cast<NSObject*>(
      Autoreleased(ObjectOf(CreateObject(reading.root, mutability_option))));
}

const NSData* NSPropertyListSerialization::dataFromPropertyList(
    const NSObject* property_list, NSPropertyListFormat format,
    const NSString** error_description) {
  if (error_description != nullptr) *error_description = nullptr;
  if (property_list == nullptr) {
    SetDescription(error_description, "There is no object to write");
    return nullptr;
  }
  if (format == NSPropertyListOpenStepFormat) {
    SetDescription(error_description, "The old text format can be read but not written");
    return nullptr;
  }
  if (format != NSPropertyListXMLFormat_v1_0 && format != NSPropertyListBinaryFormat_v1_0) {
    SetDescription(error_description, "Property lists have no format " + std::to_string(format));
    return nullptr;
  }
  // The objects or the limits of a property list may make this fail; both name the place.
  plist::Failure failure;
  const std::optional<plist::Value> value = ValueOfObject(property_list, &failure.path);
  std::optional<std::string> bytes;
  if (value) {
    bytes = format == NSPropertyListXMLFormat_v1_0 ? plist::WriteXml(*value, &failure)
                                                   : plist::WriteBinary(*value, &failure);
  }
  if (!bytes) {
    SetDescription(error_description,
                   failure.is_too_large
                       ? std::string(plist::kTooLarge)
                       : "The object is not a property list, at \"" + failure.path + "\"");
    return nullptr;
  }
  return Autoreleased(NSData::Create(std::move(*bytes)));
}

}  // namespace orvik
