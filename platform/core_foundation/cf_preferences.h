// Preferences: one property-list file per domain, user and host.
//
//   user          host          file (plist/file.h)
//   CurrentUser   AnyHost       <home>/Library/Preferences/<domain>.plist
//   AnyUser       CurrentHost   <system root>/Library/Preferences/<domain>.plist
//
// Any other user or host, and a domain that cannot name a file, has no file: nothing is found, set
// or saved.
//
// Values of any user are saved as they are set. Values of the current user wait in memory until
// CFPreferencesSynchronize, which, under a kernel lock of the folder, puts the entries set or
// removed here into what the file holds by then and leaves all others as other processes saved
// them (plist/file.h). A file that another process replaced is noticed at the next call of
// any kind; an unchanged one is not read again, and nothing is written that is there already.
//
// Files are XML, written as host/replace_file.h does and flushed to disk; a domain that ends in
// ".lock" is not flushed, because it is not valid after a reboot. A file that is not a
// property list of entries reads as empty and is kept beside the first one that is saved
// over it, as "<file>.damaged" (unless it is empty); one that cannot be read is never saved over.
//
// Calls may come from several threads: a mutex guards what is kept in memory.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

// A constant string that is there before the first object of a program is made.
struct PreferencesConstant {
  const UniChar* text;
  operator CFStringRef() const { return CFSTR(text); }  // NOLINT(google-explicit-constructor)
};
inline constexpr PreferencesConstant kCFPreferencesCurrentUser{u"kCFPreferencesCurrentUser"};
inline constexpr PreferencesConstant kCFPreferencesAnyUser{u"kCFPreferencesAnyUser"};
inline constexpr PreferencesConstant kCFPreferencesCurrentHost{u"kCFPreferencesCurrentHost"};
inline constexpr PreferencesConstant kCFPreferencesAnyHost{u"kCFPreferencesAnyHost"};
// As a domain: the bundle identifier of the program, which a plain program does not have.
inline constexpr PreferencesConstant kCFPreferencesCurrentApplication{
    u"kCFPreferencesCurrentApplication"};

// The value of an entry as this process sees it, owned by the caller and not to be changed; null
// when there is none.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef domain, CFStringRef user,
                                         CFStringRef host);

// Sets an entry, or removes it (null). The value is copied. A value that no property list can hold
// is not set, nor is a value of any user that cannot be saved.
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain,
                           CFStringRef user, CFStringRef host);

// False when the changes could not be saved; they are kept and tried again at the next call.
Boolean CFPreferencesSynchronize(CFStringRef domain, CFStringRef user, CFStringRef host);

// The bundle of the running program.
class NSBundle;
using CFBundleRef = const NSBundle*;

// Null: a plain program has no bundle.
CFBundleRef CFBundleGetMainBundle();
// Null for null; not retained for the caller.
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

}  // namespace orvik
