// A property-list file that is loaded, changed in memory and written back, and such a file with the
// login window's list of applications that are launched at login.
//
// Methods log their steps. A failure is logged and gives NO; the object stays usable.
#pragma once

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {

// Objects follow the retain and release rules of NSObject. The result of a getter belongs to the
// object and is valid until the field is set again and the caller's autorelease pool ends.
//
// The file is read and written whole, without a lock: a change of another process between loading
// and writing is lost. A link is followed.
class propertyFile : public NSObject {
 public:
  propertyFile() = default;
  ~propertyFile() override;

  // Loads a file of any property-list format with modifiable contents. A missing file gives YES, no
  // root object and format 0. After a failure the path is the new one, but the root object and the
  // format are the old ones.
  ObjCBool initWithFilePath(const NSString* path);

  // Whether the path leads to a file or folder. NO for an object without a path.
  ObjCBool fileExists() const;

  // Replaces the file by the root object in the given format, or in the format of the loaded file.
  // On NO the file stays as it was. Only XML and binary can be written.
  ObjCBool write(unsigned format) const;
  ObjCBool write() const;

  // The root object, not retained for the caller; setting stores a modifiable copy.
  NSObject* Plist() const;
  void setPlist(const NSObject* plist);

  // Setting stores a copy.
  const NSString* pfilePath() const;
  void setpFilePath(const NSString* path);

  // A format value of property-list serialisation, or 0.
  unsigned pFormat() const;
  void setpFormat(unsigned format);

 protected:
  NSObject* root() const { return m_Plist; }

 private:
  void StorePlist(const NSObject* plist);

  const NSString* m_pfilePath = nullptr;
  NSObject* m_Plist = nullptr;
  unsigned m_pFormat = 0;
};

// The root dictionary's "AutoLaunchedApplicationDictionary" is an array of dictionaries with "Path"
// (a string) and "Hide" (a boolean). Changes stay in memory until the file is written.
class LoginWindowPlist : public propertyFile {
 public:
  // The array, not retained for the caller; null when it does not exist.
  NSArray* autoLaunchedAppDictArr() const;

  // Sets the hide flag of every item with exactly this path, or appends a new item. NO, with a log
  // line, for a null path, and for a list that cannot be changed: a root that is not a dictionary,
  // or immutable contents. A value of the list's name that is not an array is replaced.
  ObjCBool addFilePathToAutoLaunchedAppDictArr(const NSString* path);
  ObjCBool addFilePathToAutoLaunchedAppDictArr(const NSString* path, ObjCBool hide);
};

}  // namespace orvik
