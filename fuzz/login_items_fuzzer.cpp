// Any file as the login window's list: a property list is loaded, an added item is in the list
// after writing and reading it, and a file that cannot be written stays.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/scalars.h"
#include "platform/foundation/property_list_serialization.h"
#include "plist/forms.h"
#include "postflight/property_file.h"

using orvik::LoginWindowPlist;
using orvik::NSDictionary;
using orvik::NSNumber;
using orvik::NSString;
using orvik::fuzz::Require;

namespace {

// The number of items with the path. All of them must have the hide flag.
int Count(const orvik::NSArray* items, const NSString* path, bool hide) {
  int count = 0;
  for (const orvik::NSObject* object : items->Objects()) {
    const auto* item = dynamic_cast<const NSDictionary*>(object);
    if (item == nullptr) continue;
    const orvik::NSObject* item_path = item->objectForKey(orvik::CFSTR(u"Path"));
    if (item_path == nullptr || !item_path->isEqual(path)) continue;
    const auto* flag = dynamic_cast<const NSNumber*>(item->objectForKey(orvik::CFSTR(u"Hide")));
    Require(flag != nullptr && flag->isEqual(NSNumber::numberWithBool(hide ? 1 : 0)));
    ++count;
  }
  return count;
}

void Check(LoginWindowPlist& list, LoginWindowPlist& again, const std::filesystem::path& path,
           const NSString* item, bool hide, const std::string& bytes) {
  const NSString* const file = orvik::Autoreleased(orvik::NewStringFromPath(path.string()));
  const orvik::Owned<const orvik::NSObject> root(orvik::ObjectOf(
      orvik::CreateObject(orvik::plist::Read(bytes).root, orvik::kCFPropertyListImmutable)));
  Require((list.initWithFilePath(file) == orvik::YES) == (root != nullptr));
  Require((list.Plist() != nullptr) == (root != nullptr));
  if (!root) return;
  Require(list.Plist()->isEqual(root.get()));

  const bool has_place = root->typeID() == orvik::CFDictionaryGetTypeID();
  Require(list.addFilePathToAutoLaunchedAppDictArr(item, hide ? orvik::YES : orvik::NO) ==
          (has_place ? orvik::YES : orvik::NO));
  const orvik::NSArray* items = list.autoLaunchedAppDictArr();
  Require((items != nullptr) == has_place);
  if (items != nullptr) Require(Count(items, item, hide) >= 1);
  if (list.write() != orvik::YES) {
    Require(orvik::fuzz::ReadFile(path) == bytes);
    list.setpFormat(orvik::NSPropertyListXMLFormat_v1_0);
    Require(list.write() == orvik::YES);
  }
  Require(again.initWithFilePath(file) == orvik::YES);
  Require(again.Plist()->isEqual(list.Plist()));
}

}  // namespace

// The first byte is the hide flag. The path of the item follows, up to a line end, and then the
// file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const orvik::fuzz::ScratchFolder scratch;
  const std::filesystem::path path = scratch.path() / "loginwindow.plist";
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  std::string_view rest = std::string_view(bytes).substr(bytes.empty() ? 0 : 1);
  const std::string_view item = orvik::fuzz::TakePart(rest, '\n');
  orvik::fuzz::WriteFile(path, rest);

  const orvik::NSAutoreleasePool pool;
  auto* const list = new LoginWindowPlist;
  auto* const again = new LoginWindowPlist;
  Check(*list, *again, path, orvik::Autoreleased(orvik::NewStringFromPath(item)),
        size > 0 && (data[0] & 1) != 0, std::string(rest));
  list->release();
  again->release();
  return 0;
}
