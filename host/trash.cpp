#include "host/trash.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <vector>

#include "host/descriptor.h"
#include "host/paths.h"
#include "host/replace_file.h"
#include "host/staged_file.h"
#include "host/system.h"
#include "host/tree_walk.h"
#include "host/trust.h"
#include "text/byte_encodings.h"

namespace orvik::host {
namespace {

int MakeIfMissing(const std::string& path) {
  const int error = MakeFolderAt(path, 0700);
  return error == EEXIST ? 0 : error;
}

// Checks for a folder of the caller that the caller may write; `links` are flags of StatPath.
int CheckOwnFolder(const std::string& path, int links) {
  struct stat info;
  if (const int error = StatPath(path, links, &info)) return error;
  if (!S_ISDIR(info.st_mode)) return ENOTDIR;
  if (info.st_uid != getuid()) return EACCES;
  const AtPath at(path);
  if (at.error() != 0) return at.error();
  return faccessat(at.folder(), at.name(), W_OK | X_OK, AT_EACCESS) == 0 ? 0 : errno;
}

// The user may have made the home trash a link; the trash of a volume must not be one.
int OpenTrash(const std::string& trash, int links, bool create, std::string* files) {
  int error = create ? MakeIfMissing(trash) : 0;
  if (error == 0) error = CheckOwnFolder(trash, links);
  for (const char* const part : {"info", "files"}) {
    *files = ChildPath(trash, part);
    if (error == 0 && create) error = MakeIfMissing(*files);
    if (error == 0) error = CheckOwnFolder(*files, links);
  }
  return error;
}

// A trash: its folder, and the top of its volume ("" for the home trash).
struct Trash {
  std::string folder;
  std::string top;
};

std::optional<Trash> TrashOf(std::string_view target_path) {
  const std::string_view files = ParentPath(target_path);
  if (LeafName(files) != "files") return std::nullopt;
  Trash trash{std::string(ParentPath(files)), {}};
  struct stat here, home;
  if (StatPath(trash.folder, 0, &here) != 0) return std::nullopt;
  if (StatPath(HomeTrash(), 0, &home) == 0 && IsSameFile(here, home)) return trash;
  const std::string user = std::to_string(getuid());
  const std::string_view parent = ParentPath(trash.folder);
  if (LeafName(trash.folder) == ".Trash-" + user) {
    trash.top = std::string(parent);
    return trash;
  }
  if (LeafName(trash.folder) == user && LeafName(parent) == ".Trash") {
    trash.top = std::string(ParentPath(parent));
    return trash;
  }
  return std::nullopt;
}

std::string Encoded(std::string_view path) {
  return PercentEncoded(path, "-_.!~*'()/");
}

// The path as the kernel knows it: absolute, without "." and "..", and without links in its folder.
std::string Canonical(std::string_view path) {
  const std::string_view leaf = LeafName(path);
  const bool is_named = leaf != "." && leaf != "..";
  char* const real = realpath(std::string(is_named ? ParentPath(path) : path).c_str(), nullptr);
  if (real != nullptr) {
    std::string canonical = is_named ? ChildPath(real, leaf) : real;
    free(real);
    return canonical;
  }
  // The folder does not exist, or its path is too long for realpath.
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(std::string(path), error);
  return error ? std::string(path) : absolute.lexically_normal().string();
}

// The path in the form of an info file, which never contains "." or "..".
std::string OriginalPath(const Trash& trash, std::string_view source_path) {
  std::string path = Canonical(source_path);
  if (trash.top.empty()) return path;
  std::string prefix = Canonical(ChildPath(trash.top, "x"));
  prefix.pop_back();
  if (path.starts_with(prefix) && path.size() > prefix.size()) path.erase(0, prefix.size());
  return path;
}

std::string InfoText(const Trash& trash, std::string_view source_path) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();  // localtime_r alone does not notice a changed time zone
  localtime_r(&now, &local);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  return "[Trash Info]\nPath=" + Encoded(OriginalPath(trash, source_path)) +
         "\nDeletionDate=" + date + "\n";
}

// Whether an info file of this age, in seconds, has no item and will not get one.
bool IsLeftOver(std::time_t modified, const std::string& target_path) {
  constexpr std::time_t kDay = 24 * 60 * 60;
  struct stat info;
  return std::time(nullptr) - modified > kDay &&
         StatPath(target_path, AT_SYMLINK_NOFOLLOW, &info) == ENOENT;
}

// Locks the file first, so that only one of two processes removes it, and neither removes a new
// file of the other.
bool RemoveLeftOver(const std::string& path, const std::string& target_path) {
  const AtPath at(path);
  if (at.error() != 0) return false;
  const Descriptor info(openat(at.folder(), at.name(), kOpenEntry));
  struct stat record;
  return info && flock(info.get(), LOCK_EX | LOCK_NB) == 0 &&
         IsOwnFile(info.get(), at.folder(), at.name()) && fstat(info.get(), &record) == 0 &&
         IsLeftOver(record.st_mtime, target_path) && unlinkat(at.folder(), at.name(), 0) == 0;
}

// The lines of "directorysizes" without those of missing folders, and with only the last line of
// each folder.
std::string WithoutMissingFolders(const Trash& trash, std::string_view lines) {
  const Descriptor files = OpenPath(ChildPath(trash.folder, "files"), O_RDONLY | O_DIRECTORY);
  std::set<std::string, std::less<>> present;
  if (!files || ListFolder(files.get(), [&present](const dirent& entry) {
                  present.insert(Encoded(entry.d_name));
                  return 0;
                }) != 0) {
    return std::string(lines);
  }
  std::vector<std::string_view> kept;
  for (std::string_view rest = lines; !rest.empty();) {
    if (rest.ends_with('\n')) rest.remove_suffix(1);
    const std::size_t start = rest.rfind('\n') + 1;
    const std::string_view line = rest.substr(start);
    rest = rest.substr(0, start);
    const auto folder = present.find(line.substr(line.rfind(' ') + 1));
    if (folder == present.end()) continue;
    present.erase(folder);
    kept.push_back(line);
  }
  std::string text;
  for (std::size_t i = kept.size(); i-- > 0;) text.append(kept[i]).append("\n");
  return text;
}

// Adds a folder to "directorysizes". Programs that show the trash can rebuild this cache, so a
// failure does not fail the move. The form demands a new file that is renamed, so that two
// processes never write into the same file. The old lines are copied as they are, and only examined
// when the size passes a power of two: otherwise the cost of n folders would grow as n * n.
void NoteFolderSize(const Trash& trash, const std::string& target_path, std::time_t info_time) {
  constexpr std::size_t kSmall = 512;
  constexpr std::size_t kLargest = std::size_t{16} << 20;
  const std::string path = ChildPath(trash.folder, "directorysizes");
  std::string text;
  if (const int error = ReadWholeFile(path, &text, nullptr, kLargest)) {
    if (error != ENOENT && error != EFBIG) return;
  }
  if (!text.empty() && !text.ends_with('\n')) text.resize(text.rfind('\n') + 1);
  const std::size_t size = text.size();
  text += std::to_string(DiskUsage(target_path)) + " " + std::to_string(info_time) + " " +
          Encoded(LeafName(target_path)) + "\n";
  if (std::bit_width(text.size() / kSmall) != std::bit_width(size / kSmall)) {
    text = WithoutMissingFolders(trash, text);
  }
  ReplaceFile(path, text, {.flush = Flush::kNone});
}

}  // namespace

std::string HomeTrash() {
  const char* const data = secure_getenv("XDG_DATA_HOME");
  if (data != nullptr && data[0] == '/' && !BelongsToAnotherUser(data)) {
    return ChildPath(data, "Trash");
  }
  return ChildPath(OwnHomeFolder(), ".local/share/Trash");
}

int OpenHomeTrash(bool create, std::string* files) {
  const std::string trash = HomeTrash();
  if (create) {
    if (const int error = MakeFolders(std::string(ParentPath(trash)))) return error;
  }
  return OpenTrash(trash, 0, create, files);
}

int OpenVolumeTrash(const std::string& top, bool create, std::string* files) {
  const std::string user = std::to_string(getuid());
  const std::string shared = ChildPath(top, ".Trash");
  struct stat info;
  if (const int error = StatPath(top, 0, &info)) return error;
  if (!MayTrashIn(info)) return EACCES;
  if (StatPath(shared, AT_SYMLINK_NOFOLLOW, &info) == 0 && S_ISDIR(info.st_mode) &&
      (info.st_mode & S_ISVTX) != 0 && MayTrashIn(info) &&
      OpenTrash(ChildPath(shared, user), AT_SYMLINK_NOFOLLOW, create, files) == 0) {
    return 0;
  }
  return OpenTrash(ChildPath(top, ".Trash-" + user), AT_SYMLINK_NOFOLLOW, create, files);
}

TrashInfo::~TrashInfo() {
  if (!info_path_.empty()) UnlinkPath(info_path_, 0);
}

int TrashInfo::Write(std::string_view source_path, std::string_view target_path) {
  const std::optional<Trash> trash = TrashOf(target_path);
  if (!trash) return 0;
  const std::string folder = ChildPath(trash->folder, "info");
  if (const int error = MakeIfMissing(folder)) return error;
  const std::string path = ChildPath(folder, LeafName(target_path)) + ".trashinfo";
  const std::string target(target_path);
  Descriptor info = OpenPath(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!info && errno == EEXIST) {
    if (!RemoveLeftOver(path, target)) return EEXIST;
    info = OpenPath(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
  }
  if (!info) return errno;
  int error = WriteAll(info.get(), InfoText(*trash, source_path));
  if (!info.Close() && error == 0) error = errno;
  if (error != 0) {
    UnlinkPath(path, 0);
    return error;
  }
  info_path_ = path;
  target_path_ = target;
  return 0;
}

void TrashInfo::Commit() {
  struct stat info, target;
  if (!info_path_.empty() && StatPath(target_path_, AT_SYMLINK_NOFOLLOW, &target) == 0 &&
      S_ISDIR(target.st_mode) && StatPath(info_path_, AT_SYMLINK_NOFOLLOW, &info) == 0) {
    if (const std::optional<Trash> trash = TrashOf(target_path_)) {
      NoteFolderSize(*trash, target_path_, info.st_mtime);
    }
  }
  info_path_.clear();
}

}  // namespace orvik::host
