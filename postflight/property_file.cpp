#include "postflight/property_file.h"

#include "platform/core_foundation/scalars.h"
#include "platform/foundation/application.h"
#include "platform/foundation/property_list_serialization.h"
#include "postflight/log_sys.h"

namespace orvik {

propertyFile::~propertyFile() {
  CFRelease(m_pfilePath);
  CFRelease(m_Plist);
}

ObjCBool propertyFile::initWithFilePath(const NSString* path) {
  Notice({u"entering [propertyFile initWithFilePath: ", path, u"]"});
  setpFilePath(path);
  if (!fileExists()) {
    StorePlist(nullptr);
    m_pFormat = 0;
    Notice({u"leaving [propertyFile initWithFilePath]"});
    return YES;
  }
  const NSData* data = NSData::dataWithContentsOfFile(path);
  if (data == nullptr) {
    Notice({u"[NSData dataWithContentsOfFile: ", path, u"] could not create data object"});
    return NO;
  }
  NSPropertyListFormat format = 0;
  const NSString* error = nullptr;
  const NSObject* plist = NSPropertyListSerialization::propertyListFromData(
      data, NSPropertyListMutableContainersAndLeaves, &format, &error);
  if (plist == nullptr) {
    Notice({u"[NSPropertyListSerialization propertyListFromData...] failed with error: ", error});
    CFRelease(error);
    return NO;
  }
  setPlist(plist);
  setpFormat(static_cast<unsigned>(format));
  Notice({u"leaving [propertyFile initWithFilePath]"});
  return YES;
}

ObjCBool propertyFile::fileExists() const {
  Notice({u"entering [propertyFile fileExists] with [self pfilePath] set to ", m_pfilePath});
  const bool exists = NSFileManager::defaultManager()->fileExistsAtPath(m_pfilePath) == YES;
  Notice({exists ? u"file exists" : u"file does not exist"});
  return exists ? YES : NO;
}

// The text of the log lines is fixed; their order shows how far a write got.
ObjCBool propertyFile::write(unsigned format) const {
  Notice({u"entering [propertyFile write: pFormat]"});
  const NSString* error = nullptr;
  const NSData* data = NSPropertyListSerialization::dataFromPropertyList(m_Plist, format, &error);
  if (data == nullptr) {
    Notice({u"[propertyFile write: pFormat] - dataFromPropertyList... failed with error: ", error});
    CFRelease(error);
    Notice({u"leaving [propertyFile write: pFormat]"});
    return NO;
  }
  Notice({u"[propertyFile write: pFormat] - dataFromPropertyList... successful"});
  if (data->writeToFile(m_pfilePath, YES) != YES) {
    Notice(
        {u"[propertyFile write: pFormat] - writeToFile... failed, with pfilePath: ", m_pfilePath});
    return NO;
  }
  Notice({u"[propertyFile write: pFormat] - writeToFile... successful, with pfilePath: ",
          m_pfilePath});
  return YES;
}

ObjCBool propertyFile::write() const {
  Notice({u"entering [propertyFile write]"});
  return write(m_pFormat);
}

NSObject* propertyFile::Plist() const {
  Notice({u"entering [propertyFile Plist]"});
  return m_Plist;
}

void propertyFile::setPlist(const NSObject* plist) {
  Notice({u"entering [propertyFile setPlist]"});
  StorePlist(plist);
}

void propertyFile::StorePlist(const NSObject* plist) {
  NSObject* copy = plist == nullptr ? nullptr : plist->mutableCopy();
  if (copy == nullptr && plist != nullptr) {
    copy = plist->copy();  // numbers and dates have no modifiable form
  }
  if (m_Plist != nullptr) m_Plist->autorelease();
  m_Plist = copy;
}

const NSString* propertyFile::pfilePath() const {
  Notice({u"entering [propertyFile pfilePath]"});
  return m_pfilePath;
}

void propertyFile::setpFilePath(const NSString* path) {
  Notice({u"entering [propertyFile setpFilePath]"});
  StoreCopy(m_pfilePath, path);
}

unsigned propertyFile::pFormat() const {
  Notice({u"entering [propertyFile pFormat]"});
  return m_pFormat;
}

void propertyFile::setpFormat(unsigned format) {
  m_pFormat = format;
}

// The login window's list. The method names in the log lines are fixed, even where they are not the
// name of the method.

namespace {

const char16_t kItems[] = u"AutoLaunchedApplicationDictionary";
const char16_t kPath[] = u"Path";
const char16_t kHide[] = u"Hide";

// The array of items in a root object, or null.
NSArray* ItemsOf(NSObject* root) {
  auto* dictionary = dynamic_cast<NSDictionary*>(root);
  return dictionary == nullptr ? nullptr
                               : dynamic_cast<NSArray*>(dictionary->objectForKey(CFSTR(kItems)));
}

// Logged for a list that cannot be changed: YES would claim an item that the list does not have.
ObjCBool RefuseChange() {
  Notice(
      {u"leaving [addFilePathToAutoLaunchedAppDictArr addFilePathToAutoLaunchedAppDictArr], unable "
       u"to change AutoLaunchedApplicationDictionary"});
  return NO;
}

}  // namespace

NSArray* LoginWindowPlist::autoLaunchedAppDictArr() const {
  Notice({u"entering [LoginWindowPlist autoLaunchedAppDictArr]"});
  if (root() == nullptr) {
    Notice({u"leaving [LoginWindowPlist autoLaunchedAppDictArr] because [self Plist] is nil"});
    return nullptr;
  }
  NSArray* items = ItemsOf(root());
  Notice({items != nullptr ? u"leaving [autoLaunchedAppDictArr autoLaunchedAppDictArr] with an "
                             u"AutoLaunchedAppDictArr"
                           : u"leaving [LoginWindowPlist autoLaunchedAppDictArr], unable to get "
                             u"AutoLaunchedApplicationDictionary array"});
  return items;
}

ObjCBool LoginWindowPlist::addFilePathToAutoLaunchedAppDictArr(const NSString* path) {
  Notice({u"entering [LoginWindowPlist addFilePathToAutoLaunchedAppDictArr]"});
  return addFilePathToAutoLaunchedAppDictArr(path, NO);
}

ObjCBool LoginWindowPlist::addFilePathToAutoLaunchedAppDictArr(const NSString* path,
                                                               ObjCBool hide) {
  Notice({u"entering [addFilePathToAutoLaunchedAppDictArr Path: ", path, u"]"});
  if (path == nullptr) return RefuseChange();  // an item without a path launches nothing
  const NSNumber* hide_flag = NSNumber::numberWithBool(hide);
  NSDictionary* item = NSDictionary::dictionary();
  item->setObject(hide_flag, CFSTR(kHide));
  item->setObject(path, CFSTR(kPath));
  NSObject* plist = root() == nullptr ? NSDictionary::dictionary() : root();
  NSArray* items = ItemsOf(plist);
  if (items == nullptr) {
    // A root that is not a dictionary cannot hold the list and is left alone.
    auto* dictionary = dynamic_cast<NSDictionary*>(plist);
    if (dictionary == nullptr) return RefuseChange();
    items = NSArray::arrayWithCapacity(10);
    items->addObject(item);
    dictionary->setObject(items, CFSTR(kItems));
    if (ItemsOf(dictionary) != items) return RefuseChange();
    setPlist(dictionary);
    Notice(
        {u"leaving [addFilePathToAutoLaunchedAppDictArr addFilePathToAutoLaunchedAppDictArr], "
         u"set AutoLaunchedApplicationDictionary onwards "});
    return YES;
  }
  bool found = false;
  NSEnumerator* enumerator = items->objectEnumerator();
  while (NSObject* entry = enumerator->nextObject()) {
    auto* present = dynamic_cast<NSDictionary*>(entry);
    const auto* present_path =
        present == nullptr ? nullptr
                           : dynamic_cast<const NSString*>(present->objectForKey(CFSTR(kPath)));
    if (present_path != nullptr && present_path->isEqualToString(path)) {
      found = true;
      Notice({u"bPathFound set to YES for currPath: ", present_path});
      present->setObject(hide_flag, CFSTR(kHide));
      if (present->objectForKey(CFSTR(kHide)) != hide_flag) return RefuseChange();
    }
  }
  if (!found) {
    Notice({u"bPathFound != YES, adding Path: ", path});
    const CFIndex count = items->count();
    items->addObject(item);
    if (items->count() == count) return RefuseChange();
  }
  Notice({u"leaving [addFilePathToAutoLaunchedAppDictArr addFilePathToAutoLaunchedAppDictArr]"});
  return YES;
}

}  // namespace orvik
