#include "platform/core_foundation/property_list.h"

#include "plist/forms.h"
#include "plist/value_events.h"

namespace orvik {

namespace {

// The old text form has strings, data and containers alone.
class OldTextChecker final : public plist::Checker {
 public:
  bool Integer(plist::Integer) override { return false; }
  bool Real(double, int) override { return false; }
  bool Boolean(bool) override { return false; }
  bool Date(double) override { return false; }
  plist::Taking Dictionary(const plist::XmlDictionary&) override {
    return plist::Taking::kWantsEntries;
  }
};

}  // namespace

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef, CFDataRef xml_data,
                                                  CFOptionFlags mutability_option,
                                                  CFStringRef* error_string) {
  const plist::Reading reading =
      xml_data == nullptr ? plist::Read(std::string_view()) : plist::Read(xml_data->Shared());
  if (error_string != nullptr) {
    *error_string = reading.root ? nullptr : NSString::NewFromAscii(reading.error);
  }
  return CreateObject(reading.root, mutability_option);
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef, CFPropertyListRef property_list) {
  const std::optional<plist::Value> value = ValueOfObject(property_list);
  std::optional<std::string> xml = value ? plist::WriteXml(*value) : std::nullopt;
  return xml ? NSData::Create(std::move(*xml)) : nullptr;
}

Boolean CFPropertyListIsValid(CFPropertyListRef property_list, CFPropertyListFormat format) {
  const std::optional<plist::Value> value = ValueOfObject(property_list);
  if (!value) return false;
  switch (format) {
    case kCFPropertyListXMLFormat_v1_0:
    case kCFPropertyListBinaryFormat_v1_0:
      return true;
    case kCFPropertyListOpenStepFormat: {
      OldTextChecker checker;
      return plist::ValueWalk(plist::EntryOrder::kStored, checker).Run(&*value);
    }
    default:
      return false;
  }
}

}  // namespace orvik
