// What became of an operation of the preference store, for callers that need to know.
#pragma once

#include <string>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

enum class PrefError {
  kNone,
  kNotFound,         // no such value or key, or no file at all
  kNotAKey,          // a value that is no dictionary stands on the key path
  kConditionNotMet,  // set-if-equal, set-if-absent
  kLockNotObtained,  // another process held the lock for the whole wait
  kRefusedDomain,    // a domain that cannot name a file
  kUnknownScope,
  kDamaged,            // the file is no property list
  kRootNotDictionary,  // a property list, but not of entries
  kUnreadable,         // the file is there and cannot be read
  kNotSerializable,    // a value that no property list can hold, or nested too deeply
  kNotPermitted,       // no right to write the file or its folder
  kReadOnly,           // the volume is read-only
  kDiskFull,           // no room, or over quota
  kNotSaved,           // any other failure of the write
  kIsAKey,             // a key with what lies below it is in the place of a value
  kKeyNotEmpty,
};

struct PrefStatus {
  PrefError error = PrefError::kNone;
  // The status of the failing call (kUnreadable and the reasons of a failed save), else 0.
  OSStatus system_status = 0;
  // Of a transaction: its change or condition that failed, counted from 0 in the order of the calls
  // that added them; -1 when none of them did.
  int step = -1;

  bool ok() const { return error == PrefError::kNone; }
  static PrefStatus Ok() { return {}; }
};

// The save status as a result: 0 is ok, others by their meaning.
PrefStatus PrefStatusFromSave(OSStatus system_status);

// A short English reason in lower case, such as "no room on the volume"; "" for kNone.
std::string Describe(const PrefStatus& status);

}  // namespace orvik
