// The outcome of an operation of the preference store.
#pragma once

#include <iosfwd>
#include <string>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

enum class PrefError {
  kNone,
  kNotFound,         // no such value or key, or no file at all
  kNotAKey,          // the key path leads through a value that is not a dictionary
  kConditionNotMet,  // set-if-equal, set-if-absent
  kLockNotObtained,  // another process held the lock for the whole wait
  kRefusedDomain,    // a domain that cannot name a file
  kUnknownScope,
  kDamaged,            // the file is not a property list
  kRootNotDictionary,  // a property list, but not of entries
  kUnreadable,         // the file is there and cannot be read
  kNotSerializable,    // a value that no property list can hold, or nested too deeply
  kNotPermitted,       // no right to write the file or its folder
  kReadOnly,           // the volume is read-only
  kDiskFull,           // no room, or over quota
  kNotSaved,           // any other failure of the write
  kIsAKey,             // a key with entries has the name of the value
  kKeyNotEmpty,
  kEmptyPath,     // an empty key path, which has no last key
  kTooLarge,      // the file is, or would be, longer than a property list may be
  kForeignLink,   // a symbolic link of another user is in the way
  kInTheWay,      // a component of the path is not a folder, or the links form a loop
  kIsAValue,      // a value has the name of the key
  kNothingSaved,  // a repair found no entry that could be saved, and left the file alone
  kLockRefused,   // the lock's file, or its record, is not a regular file of a trusted user
  kWrongType,     // the value has another type than the one that was asked for
};

struct [[nodiscard("it alone says whether the change is on disk")]] PrefStatus {
  PrefError error = PrefError::kNone;
  // The status of the failing call (kUnreadable and the reasons of a failed save), else 0.
  OSStatus system_status = 0;
  // Where it happened, if that is another path than the file's (UTF-8 as a rule); else "". Of
  // kNotSerializable the keys and indices that lead to the value, with "/" between them; of
  // kIsAKey, kIsAValue and kNotAKey the keys that lead to what is in the way.
  std::string path = {};
  // Of a transaction: its change or condition that failed, counted from 0 in the order of the calls
  // that added them; -1 when none of them did.
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

// An error number as a result: 0 is ok, others by their meaning, or `otherwise`. Of an unreadable
// file (kUnreadable) only kTooLarge, kForeignLink and kInTheWay are distinguished.
PrefStatus PrefStatusFromErrno(int error, std::string path, PrefError otherwise);

// Returns a short English reason in lower case, such as "no room on the volume", with the path
// behind it if the status has one; "" for kNone. kUnreadable and kNotSaved name the error of the
// system.
std::string Describe(const PrefStatus& status);
// Writes it, "ok" for kNone.
std::ostream& operator<<(std::ostream& out, const PrefStatus& status);

}  // namespace orvik
