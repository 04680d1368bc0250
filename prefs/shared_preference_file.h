// The store of the shared scope: one property-list file per domain in the preferences folder of the
// machine's shared user folder, "/Users/Shared/Library/Preferences/<domain>.plist" on a standard
// system.
//
// A domain that cannot name a file (IsUsableDomain), and the current-application marker in a
// program without a bundle, have no file: nothing is read, and saving fails.
//
// The record of shared_lock.h is not taken: the writers of preferences.h hold it around a change. A
// change holds the kernel lock of the file's folder. No state is kept: every read parses the file,
// every change reads and rewrites it. The caller owns the results.
#pragma once

#include <string>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "strings/platform_reference.h"

namespace orvik {

// The path of the domain's file (bytes); "" for a domain without one. The folder is the same for
// all users, wherever their homes lie.
std::string SharedPreferenceFilePath(CFStringRef domain);

// The URL of that file, owned by the caller; null for a domain without one.
CFURLRef LibPref_CopySharedCFURLRef(CFStringRef domain);

// The root of the domain's file, of any type; null when the file is missing, cannot be read or is
// not a property list.
CFPropertyListRef SharedPropertyList(CFStringRef domain);

// Writes the whole file as XML, making its folder, and flushes it to disk. 0, or a status of the
// platform (-4960 when the folder cannot be made or the value cannot be stored in a property list).
SInt32 SavePropertiesToSharedFile(CFPropertyListRef properties, CFStringRef domain);
template <NoReferenceFor<CFPropertyListRef> Value>
SInt32 SavePropertiesToSharedFile(const Value&, CFStringRef) = delete;

// One top-level entry, or null.
CFPropertyListRef SharedPreferencesCopyValue(CFStringRef name, CFStringRef domain);

// Sets one top-level entry, or removes it (null). Does nothing if the root is not a dictionary, or
// if there is no file and the value is not a dictionary. A file that is not a property list is
// replaced by a file with only this entry; the old file is kept beside it as "<file>.damaged", with
// a number after it when that name is taken by another file.
void SharedPreferencesSetValue(CFStringRef name, CFPropertyListRef value, CFStringRef domain);
template <NoReferenceFor<CFPropertyListRef> Value>
void SharedPreferencesSetValue(CFStringRef, const Value&, CFStringRef) = delete;

}  // namespace orvik
