// The outcome of an operation of the preference store.
#pragma once

#include <iosfwd>
#include <string>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

enum class PrefError {
  kNone,
  kNotFound,         // no such value or key, or no file
  kNotAKey,          // the key path leads through a value that is not a dictionary
  kConditionNotMet,  // a condition of a transaction failed
  kLockNotObtained,  // another process held the lock for the whole wait
  kRefusedDomain,    // the domain cannot name a file
  kUnknownScope,
  kDamaged,            // the file is not a property list
  kRootNotDictionary,  // a property list whose root is not a dictionary
  kUnreadable,         // the file exists but cannot be read
  kNotSerializable,    // a property list cannot hold the value, or it is too deep
  kNotPermitted,       // no permission to write the file or its folder
  kReadOnly,           // the volume is read-only
  kDiskFull,           // no space left, or quota exceeded
  kNotSaved,           // any other failure of the write
  kIsAKey,             // a key with entries has the name of the value
  kKeyNotEmpty,
  kEmptyPath,     // the key path is empty and has no last key
  kTooLarge,      // the file is, or would become, too long for a property list
  kForeignLink,   // a symbolic link of another user is in the way
  kInTheWay,      // a component of the path is not a folder, or the links form a loop
  kIsAValue,      // a value has the name of the key
  kNothingSaved,  // a repair could not save any entry and left the file alone
  kLockRefused,   // the lock's file, or its record, is not a regular file of a trusted user
  kWrongType,     // the value does not have the requested type
};

struct [[nodiscard("it alone says whether the change is on disk")]] PrefStatus {
  PrefError error = PrefError::kNone;
  // The status of the failing call (kUnreadable and the reasons of a failed save), else 0.
  OSStatus system_status = 0;
  // The path of the failure if it is not the file's (usually UTF-8); else "". For kNotSerializable
  // the keys and indices that lead to the value, with "/" between them; for kIsAKey, kIsAValue and
  // kNotAKey the keys that lead to the obstacle.
  std::string path = {};
  // In a transaction: the change or condition that failed, counted from 0 in the order of the calls
  // that added them; -1 when none of them failed.
  int step = -1;
  // The error number behind system_status, else 0.
  int error_number = 0;

  bool ok() const {
    return error == PrefError::kNone;
  }
  explicit operator bool() const {
    return ok();
  }
  static PrefStatus Ok() {
    return {};
  }
};

// An error number as a status: ok for 0, else its meaning, or `otherwise`. For an unreadable file
// (kUnreadable) only kTooLarge, kForeignLink and kInTheWay are distinguished.
PrefStatus PrefStatusFromErrno(int error, std::string path, PrefError otherwise);

// Returns a short English reason in lower case, such as "no room on the volume", followed by the
// path if the status has one; "" for kNone. kUnreadable and kNotSaved name the system's error.
std::string Describe(const PrefStatus& status);
// Writes Describe(status), or "ok" for kNone.
std::ostream& operator<<(std::ostream& out, const PrefStatus& status);

}  // namespace orvik
