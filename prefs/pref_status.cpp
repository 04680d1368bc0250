#include "prefs/pref_status.h"

#include "platform/carbon/errno_status.h"

namespace orvik {

PrefStatus PrefStatusFromSave(OSStatus system_status) {
  switch (system_status) {
    case noErr:
      return PrefStatus::Ok();
    case dskFulErr:
    case afpVolumeFullErr:
      return {PrefError::kDiskFull, system_status};
    case wPrErr:
    case vLckdErr:
      return {PrefError::kReadOnly, system_status};
    case permErr:
    case wrPermErr:
    case afpAccessDenied:
      return {PrefError::kNotPermitted, system_status};
    default:
      return {PrefError::kNotSaved, system_status};
  }
}

std::string Describe(const PrefStatus& status) {
  switch (status.error) {
    case PrefError::kNone:
      return "";
    case PrefError::kNotFound:
      return "not found";
    case PrefError::kNotAKey:
      return "a value that is no key stands on the key path";
    case PrefError::kConditionNotMet:
      return "the present value is not the expected one";
    case PrefError::kLockNotObtained:
      return "another process holds the lock";
    case PrefError::kRefusedDomain:
      return "the domain cannot name a preference file";
    case PrefError::kUnknownScope:
      return "unknown scope";
    case PrefError::kDamaged:
      return "the file is no property list";
    case PrefError::kRootNotDictionary:
      return "the file is a property list without entries";
    case PrefError::kUnreadable:
      return std::string("the file cannot be read: ") + host::StatusText(status.system_status);
    case PrefError::kNotSerializable:
      return "the value cannot be kept in a property list";
    case PrefError::kNotPermitted:
      return "no right to write the file or its folder";
    case PrefError::kReadOnly:
      return "the volume is read-only";
    case PrefError::kDiskFull:
      return "no room on the volume";
    case PrefError::kNotSaved:
      return std::string("the file cannot be saved: ") + host::StatusText(status.system_status);
    case PrefError::kIsAKey:
      return "a key has this name";
    case PrefError::kKeyNotEmpty:
      return "the key is not empty";
  }
  return "unknown";
}

}  // namespace orvik
