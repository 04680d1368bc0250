// The running program and its surroundings: the application object, the user's defaults from the
// arguments, the log, and files and folders.
//
// The defaults are the argument domain, which is the command line of the program. An argument that
// begins with "-" and has at least one more character is a name (without the dash). The next
// argument is its value, even if that begins with a dash or is empty. The last value of a repeated
// name counts. A name at the end of the command line has no value and is ignored; so are all other
// arguments.
//
//   -a 1 -b -2 stray -c "" -a 3 -d    a = "3", b = "-2", c = ""
//
// Bytes that are not UTF-8 are kept as host/file_names.h says.
#pragma once

#include <string>
#include <vector>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

class NSApplication final : public NSObject {
 public:
  // activateIgnoringOtherApps:. Has no effect, because the program has no windows.
  void activateIgnoringOtherApps(ObjCBool) {}

  NSApplication() = default;
  ~NSApplication() override = default;
};

// Makes the application object. Returns YES, also for later calls.
ObjCBool NSApplicationLoad();

// The application object of the process; null before NSApplicationLoad.
NSApplication* NSApp();

class NSUserDefaults final : public NSObject {
 public:
  // The single object of the process, made on first use from the arguments of the program
  // (host/proc.h). The caller must not release it.
  static NSUserDefaults* standardUserDefaults();

  // From these arguments (without the program's name); the caller owns the result.
  static NSUserDefaults* CreateWithArguments(const std::vector<std::string>& arguments);

  // stringForKey:. Null when the name is missing. The defaults own the result.
  const NSString* stringForKey(const NSString* name) const;
  // boolForKey:. YES for "YES" and "true" in any case, and for text whose integer value is not 0
  // (after white space, sign and leading zeros); otherwise NO.
  ObjCBool boolForKey(const NSString* name) const;

 private:
  explicit NSUserDefaults(const std::vector<std::string>& arguments);
  ~NSUserDefaults() override;

  NSDictionary* arguments_;
};

// Replaces the arguments of the standard defaults during the life of the object, for tests. Objects
// may be nested.
class ScopedArguments {
 public:
  explicit ScopedArguments(const std::vector<std::string>& arguments);
  ~ScopedArguments();
  ScopedArguments(const ScopedArguments&) = delete;
  ScopedArguments& operator=(const ScopedArguments&) = delete;

 private:
  NSUserDefaults* own_;
  NSUserDefaults* outer_;
};

// Formats as CFStringCreateWithFormat does ("%@" takes an object) and sends the text as UTF-8 to
// the system log with the priority warning.
void NSLog(const NSString* format, ...);

// Files by path, with the rules of host/file_names.h and host/system.h (ResolvePath). Methods
// return YES or NO; null and empty paths give NO.
class NSFileManager final : public NSObject {
 public:
  // The single object of the process.
  static NSFileManager* defaultManager();

  // Whether the path exists. Follows links. `is_directory` may be null.
  ObjCBool fileExistsAtPath(const NSString* path, ObjCBool* is_directory = nullptr) const;

  NSFileManager() = default;
  ~NSFileManager() override = default;
};

// The temporary folder, with "/" at its end, autoreleased.
const NSString* NSTemporaryDirectory();

// The user's home, autoreleased.
const NSString* NSHomeDirectory();

}  // namespace orvik
