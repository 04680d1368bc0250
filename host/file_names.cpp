#include "host/file_names.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "host/descriptor.h"
#include "host/paths.h"
#include "host/tree_walk.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik::host {
namespace {

constexpr char16_t kEscapedBackslash = 0xDC00 + u'\\';

bool StandsForByte(char16_t unit) {
  return (unit >= 0xDC80 && unit <= 0xDCFF) || unit == kEscapedBackslash;
}

// Up to this number, spellings are tried one by one; beyond it the folder is read.
constexpr int kMostTries = 256;

// Looks for another spelling of `name` in a folder (AT_FDCWD for the current folder; may be an
// O_PATH descriptor) that has no entry of exactly this name. A name with a single spelling costs
// nothing.
std::optional<std::string> FindOtherSpelling(int folder, const std::string& name) {
  if (IsAscii(name)) return std::nullopt;
  const std::u16string units = FileNameFromBytes(name);
  if (HasOneSpelling(units)) return std::nullopt;
  std::optional<std::string> found;
  int count = 0;
  const bool tried_all = VisitOtherSpellings(units, kMostTries, [&](std::u16string_view spelling) {
    std::optional<std::string> other = FileNameToBytes(spelling);
    if (!other || !HasEntry(folder, other->c_str())) return;
    found = std::move(other);
    ++count;
  });
  if (tried_all) return count == 1 ? found : std::nullopt;
  const Descriptor readable(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  FolderSpellings spellings;
  if (!readable || spellings.Read(readable.get()) != 0) return std::nullopt;
  return spellings.Find(name);
}

}  // namespace

std::u16string FileNameFromBytes(std::string_view bytes) {
  std::u16string name(bytes.size(), u'\0');
  const char* source = bytes.data();
  const char* const source_end = source + bytes.size();
  char16_t* target = name.data();
  while (DecodeUtf8(source, source_end, target, name.data() + name.size()) !=
         TranscodingStop::kDone) {
    *target++ = static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(*source++));
  }
  name.resize(static_cast<std::size_t>(target - name.data()));
  return name;
}

std::optional<std::string> FileNameToBytes(std::u16string_view name) {
  if (name.find(u'\0') != std::u16string_view::npos) return std::nullopt;
  std::string bytes(3 * name.size(), '\0');
  const char16_t* source = name.data();
  char* target = bytes.data();
  while (EncodeUtf8(source, name.data() + name.size(), target, bytes.data() + bytes.size()) !=
         TranscodingStop::kDone) {
    const char16_t unit = *source++;  // an unpaired surrogate
    if (StandsForByte(unit)) {
      *target++ = static_cast<char>(unit);
    } else {
      WriteUtf8(unit, target);
      target += Utf8Bytes(unit);
    }
  }
  bytes.resize(static_cast<std::size_t>(target - bytes.data()));
  return bytes;
}

int FolderSpellings::Read(int folder) {
  entries_.clear();
  return ListFolder(folder, [this](const dirent& entry) {
    const std::string_view name = entry.d_name;
    if (IsAscii(name)) return 0;
    const std::u16string units = FileNameFromBytes(name);
    if (HasOneSpelling(units)) return 0;
    const auto [known, is_new] =
        entries_.try_emplace(Composed(units), Entry{std::string(name), true});
    if (!is_new) known->second.is_single = false;
    return 0;
  });
}

std::optional<std::string> FolderSpellings::Find(std::string_view name) const {
  const auto found = entries_.find(Composed(FileNameFromBytes(name)));
  if (found == entries_.end() || !found->second.is_single) return std::nullopt;
  return found->second.name;
}

std::string PathOnDisk(std::string path) {
  struct stat info;
  if (IsAscii(path) || StatPath(path, AT_SYMLINK_NOFOLLOW, &info) != ENOENT) return path;
  const bool is_absolute = path.starts_with('/');
  Descriptor here(open(is_absolute ? "/" : ".", kOpenPlace));
  std::string found;
  for (std::size_t start = 0; here && start < path.size();) {
    const std::size_t slash = std::min(path.find('/', start), path.size());
    std::string name = path.substr(start, slash - start);
    if (!name.empty()) {
      if (!HasEntry(here.get(), name.c_str())) {
        std::optional<std::string> other = FindOtherSpelling(here.get(), name);
        if (!other) return found.append(path, start);
        name = std::move(*other);
      }
      here = Descriptor(slash == path.size() ? -1 : openat(here.get(), name.c_str(), kOpenPlace));
    }
    found += name;
    if (slash < path.size()) found += '/';
    start = slash + 1;
    if (!here) return start < path.size() ? found.append(path, start) : found;
  }
  return found;
}

}  // namespace orvik::host
