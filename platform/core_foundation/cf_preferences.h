// Preferences: one property-list file for each domain, user and host.
//
//   user          host          file (plist/file.h)
//   CurrentUser   AnyHost       <home>/Library/Preferences/<domain>.plist
//   AnyUser       CurrentHost   <system root>/Library/Preferences/<domain>.plist
//
// Other users and hosts, and a domain that cannot name a file, have no file: nothing is found, set
// or saved.
//
// Values of any user are saved as they are set. Values of the current user wait in memory until
// CFPreferencesSynchronize. Under a kernel lock of the folder, it applies the entries that this
// process has set or removed to the present content of the file; all other entries stay as other
// processes saved them (plist/file.h). Every call notices a file that another process has replaced.
// An unchanged file is not read again, and a value that the file already has is not written again.
//
// Files are XML, written as host/replace_file.h says and flushed to disk. The file of a domain that
// ends in ".lock" is not flushed, because it is not valid after a reboot. A file that is damaged or
// not a dictionary reads as empty. It is kept as "<file>.damaged" when a new file is saved over it. An
// unreadable file is never replaced.
//
// Several threads may call these functions at once: a mutex guards the values in memory.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

// A constant string that exists before the first object of a program is made.
struct PreferencesConstant {
  const UniChar* text;
  operator CFStringRef() const { return CFSTR(text); }  // NOLINT(google-explicit-constructor)
};
inline constexpr PreferencesConstant kCFPreferencesCurrentUser{u"kCFPreferencesCurrentUser"};
inline constexpr PreferencesConstant kCFPreferencesAnyUser{u"kCFPreferencesAnyUser"};
inline constexpr PreferencesConstant kCFPreferencesCurrentHost{u"kCFPreferencesCurrentHost"};
inline constexpr PreferencesConstant kCFPreferencesAnyHost{u"kCFPreferencesAnyHost"};
// As a domain, this means the bundle identifier of the program. A plain program has none.
inline constexpr PreferencesConstant kCFPreferencesCurrentApplication{
    u"kCFPreferencesCurrentApplication"};

// Returns the value of an entry as this process sees it, or null. The caller owns the value and
// must not change it.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef domain, CFStringRef user,
                                         CFStringRef host);

// Sets an entry, or with a null value removes it. Copies the value. Does not set a value that a
// property list cannot hold, nor a value of any user that cannot be saved.
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef domain,
                           CFStringRef user, CFStringRef host);

// False when the changes could not be saved. They are kept, and the next call tries again.
Boolean CFPreferencesSynchronize(CFStringRef domain, CFStringRef user, CFStringRef host);

// The bundle of the running program.
class NSBundle;
using CFBundleRef = const NSBundle*;

// Returns null, because a plain program has no bundle.
CFBundleRef CFBundleGetMainBundle();
// Returns null for null. The caller does not own the result.
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

}  // namespace orvik
