// The login window's list of applications that are launched at login.
#pragma once

#include "platform/foundation/ns_array.h"
#include "postflight/property_file.h"

namespace orvik {

// The root dictionary's "AutoLaunchedApplicationDictionary" is an array of dictionaries with "Path"
// (a string) and "Hide" (a boolean). Changes stay in memory until the file is written.
class LoginWindowPlist : public propertyFile {
 public:
  // The array, not retained for the caller; null when there is none.
  NSArray* autoLaunchedAppDictArr() const;

  // Sets the hide flag of every item with exactly this path, or appends a new item. NO, with a log
  // line, for a list that cannot be changed: a root that is no dictionary, or immutable contents.
  ObjCBool addFilePathToAutoLaunchedAppDictArr(const NSString* path);
  ObjCBool addFilePathToAutoLaunchedAppDictArr(const NSString* path, ObjCBool hide);
};

}  // namespace orvik
