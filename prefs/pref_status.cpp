#include "prefs/pref_status.h"

#include <cerrno>
#include <ostream>
#include <utility>

#include "platform/core_foundation/errno_status.h"

namespace orvik {

PrefStatus PrefStatusFromErrno(int error, std::string path, PrefError otherwise) {
  if (error == 0) {
    return PrefStatus::Ok();
  }
  const auto meaning = [&] {
    switch (error) {
      case EFBIG:
        return PrefError::kTooLarge;
      case EPERM:
        return path.empty() ? PrefError::kNotPermitted : PrefError::kForeignLink;
      case ENOTDIR:
      case ELOOP:
        return PrefError::kInTheWay;
      default:
        break;
    }
    if (otherwise == PrefError::kUnreadable) {
      return otherwise;
    }
    switch (error) {
      case ENOSPC:
      case EDQUOT:
        return PrefError::kDiskFull;
      case EROFS:
        return PrefError::kReadOnly;
      case EACCES:
        return PrefError::kNotPermitted;
      default:
        return otherwise;
    }
  };
  return {.error = meaning(),
          .system_status = host::StatusFromErrno(error),
          .path = std::move(path),
          .error_number = error};
}

namespace {

std::string Reason(const PrefStatus& status) {
  switch (status.error) {
    case PrefError::kNone:
      return "";
    case PrefError::kNotFound:
      return "not found";
    case PrefError::kNotAKey:
      return "the key path leads through a value, not a key";
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
    case PrefError::kIsAValue:
      return "a value has this name";
    case PrefError::kEmptyPath:
      return "the key path is empty";
    case PrefError::kTooLarge:
      return "the file is too large (a property list has at most 512 MiB, written out)";
    case PrefError::kForeignLink:
      return "a link of another user is in the way";
    case PrefError::kInTheWay:
      return "something is in the way of the file or its folder";
    case PrefError::kLockRefused:
      return "the lock's file is not a regular lock file of a trusted user";
    case PrefError::kKeyNotEmpty:
      return "the key is not empty";
    case PrefError::kWrongType:
      return "the value has another type";
    case PrefError::kNothingSaved:
      return "nothing of the file can be saved";
  }
  return "unknown";
}

}  // namespace

std::string Describe(const PrefStatus& status) {
  return Reason(status) + (status.path.empty() ? "" : ": \"" + status.path + "\"");
}

[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out,
                                                        const PrefStatus& status) {
  return out << (status.ok() ? "ok" : Describe(status));
}

}  // namespace orvik
