#include "files/folder_walk.h"

#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

#include "files/path_arguments.h"
#include "files/windows_file_paths.h"
#include "host/file_names.h"
#include "platform/carbon/iteration.h"
#include "text/normalization.h"

namespace orvik {
namespace {

constexpr ItemCount kBatch = 64;

// Units below U+0300 are composed and do not combine with one another.
bool IsSurelyComposed(std::u16string_view name) {
  return std::all_of(name.begin(), name.end(), [](char16_t unit) { return unit < 0x300; });
}

bool Exists(const std::string& folder, std::u16string_view name) {
  const std::optional<std::string> bytes = host::FileNameToBytes(name);
  struct stat record;
  return bytes && lstat((folder + "/" + *bytes).c_str(), &record) == 0;
}

// The name under which an entry of `folder` is told.
std::u16string TellingName(const std::string& folder, std::u16string_view name) {
  std::u16string composed = IsSurelyComposed(name) ? std::u16string(name) : Composed(name);
  // The composed name must not be taken by another entry: it would be told twice.
  if (composed != name && Exists(folder, composed)) composed = name;
  return composed;
}

EntryKind KindOf(UInt16 node_flags) {
  if ((node_flags & kFSNodeIsDirectoryMask) != 0) return EntryKind::kFolder;
  return (node_flags & kFSNodeIsCopiedMask) != 0 ? EntryKind::kFile : EntryKind::kSpecial;
}

}  // namespace

OSErr WalkFolder(const COrvikDirectoryPath& folder,
                 const std::function<void(std::u16string_view name, EntryKind kind)>& visit) {
  FSRef ref;
  FSIterator iterator = nullptr;
  OSErr status = FindFileBriefly(PathArgument(folder.GetDirectoryPathString()), &ref);
  if (status == 0) status = FSOpenIterator(&ref, kFSIterateFlat, &iterator);
  if (status != 0) return status;
  const std::unique_ptr<FSDirectoryIterator, OSErr (*)(FSIterator)> closed(iterator,
                                                                           &FSCloseIterator);
  std::string path;
  FSRefCopyPath(&ref, &path);

  std::vector<FSCatalogInfo> infos(kBatch);
  std::vector<HFSUniStr255> names(kBatch);
  for (OSErr fetched = 0; fetched == 0;) {
    ItemCount count = 0;
    fetched = FSGetCatalogInfoBulk(iterator, kBatch, &count, nullptr, kFSCatInfoKindOnly,
                                   infos.data(), nullptr, nullptr, names.data());
    for (ItemCount i = 0; i < count; ++i) {
      const std::u16string_view name(names[i].unicode, names[i].length);
      visit(TellingName(path, name), KindOf(infos[i].nodeFlags));
    }
  }
  return 0;
}

}  // namespace orvik
