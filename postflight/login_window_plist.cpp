#include "postflight/login_window_plist.h"

#include "platform/foundation/ns_dictionary.h"
#include "platform/foundation/ns_number.h"
#include "postflight/log_line.h"

namespace orvik {

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
  const NSNumber* hide_flag = NSNumber::numberWithBool(hide);
  NSDictionary* item = NSDictionary::dictionary();
  item->setObject(hide_flag, CFSTR(kHide));
  item->setObject(path, CFSTR(kPath));
  NSObject* plist = root() == nullptr ? NSDictionary::dictionary() : root();
  NSArray* items = ItemsOf(plist);
  if (items == nullptr) {
    // A root that is no dictionary has no place for the list and is left as it is.
    auto* dictionary = dynamic_cast<NSDictionary*>(plist);
    if (dictionary == nullptr) {
      return RefuseChange();
    }
    items = NSArray::arrayWithCapacity(10);
    items->addObject(item);
    dictionary->setObject(items, CFSTR(kItems));
    if (ItemsOf(dictionary) != items) {
      return RefuseChange();
    }
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
      if (present->objectForKey(CFSTR(kHide)) != hide_flag) {
        return RefuseChange();
      }
    }
  }
  if (!found) {
    Notice({u"bPathFound != YES, adding Path: ", path});
    const CFIndex count = items->count();
    items->addObject(item);
    if (items->count() == count) {
      return RefuseChange();
    }
  }
  Notice({u"leaving [addFilePathToAutoLaunchedAppDictArr addFilePathToAutoLaunchedAppDictArr]"});
  return YES;
}

}  // namespace orvik
