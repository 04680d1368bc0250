// The running program and its surroundings: its application object, its arguments as the user's
// defaults, its log, and the files and folders that it finds.
//
// The defaults are the argument domain, which is the command line of the program. An argument that
// begins with "-" and has at least one more character is a name (without the dash); the argument
// after it is its value, even if it begins with a dash or is empty. Of a name given more than once
// the last value holds. A name at the very end has no value and is ignored, and so are arguments
// that are neither name nor value.
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
  // activateIgnoringOtherApps:. A program without windows has nothing to bring to the front.
  void activateIgnoringOtherApps(ObjCBool) {}

  NSApplication() = default;
  ~NSApplication() override = default;
};

// Makes the application object. YES, also when called again.
ObjCBool NSApplicationLoad();

// The application object of the process; null before NSApplicationLoad.
NSApplication* NSApp();

class NSUserDefaults final : public NSObject {
 public:
  // The one object of the process, made at first use from the arguments of the program
  // (host/proc.h); not to be released.
  static NSUserDefaults* standardUserDefaults();

  // Of these arguments (without the program's name); owned by the caller.
  static NSUserDefaults* CreateWithArguments(const std::vector<std::string>& arguments);

  // stringForKey:. Null when the name was not given. Belongs to the defaults.
  const NSString* stringForKey(const NSString* name) const;
  // boolForKey:. YES for "YES" and "true" in any case and for text whose integer value is not 0
  // (white space, sign and leading zeros are passed over), else NO.
  ObjCBool boolForKey(const NSString* name) const;

 private:
  explicit NSUserDefaults(const std::vector<std::string>& arguments);
  ~NSUserDefaults() override;

  NSDictionary* arguments_;
};

// Gives the standard defaults other arguments for the life of the object, for tests. Objects nest.
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

// Formats as CFStringCreateWithFormat does ("%@" takes an object) and sends the text, in UTF-8, to
// the system log at priority warning.
void NSLog(const NSString* format, ...);

// Files by path, as host/file_names.h and the rule of host/system.h (ResolvePath) say. Methods
// answer YES or NO; null and empty paths are NO.
class NSFileManager final : public NSObject {
 public:
  // The one object of the process.
  static NSFileManager* defaultManager();

  // Whether the path exists; a link counts as what it points to. `is_directory` may be
  // null.
  ObjCBool fileExistsAtPath(const NSString* path, ObjCBool* is_directory = nullptr) const;

  NSFileManager() = default;
  ~NSFileManager() override = default;
};

// The temporary folder with a "/" at its end, autoreleased.
const NSString* NSTemporaryDirectory();

// The user's home, autoreleased.
const NSString* NSHomeDirectory();

}  // namespace orvik
