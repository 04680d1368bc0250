#include "host/keep_beside.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "host/descriptor.h"
#include "host/file_properties.h"
#include "host/staged_file.h"
#include "host/trust.h"

namespace orvik::host {
namespace {

constexpr int kNumberedNames = 9;
constexpr int kRandomNames = 100;

std::string NameBeside(const FilePlace& place, std::string_view suffix, int number) {
  std::string name = place.name + std::string(suffix);
  if (number == 1) return name;
  return name + "-" + (number <= kNumberedNames ? std::to_string(number) : RandomDigits());
}

bool AreOne(int folder, const std::string& name, const std::string& other) {
  struct stat one, two;
  return fstatat(folder, name.c_str(), &one, AT_SYMLINK_NOFOLLOW) == 0 &&
         fstatat(folder, other.c_str(), &two, AT_SYMLINK_NOFOLLOW) == 0 && IsSameFile(one, two);
}

// Reads the file of that name in the place's folder. False also for a file that may not be relied
// on (trust.h), because its owner could replace or remove it at any moment.
bool ReadBeside(const FilePlace& place, const std::string& name, std::size_t limit,
                std::string* content) {
  FilePlace other;
  other.folder = Descriptor(fcntl(place.folder.get(), F_DUPFD_CLOEXEC, 0));
  other.folder_attributes = place.folder_attributes;
  other.name = name;
  OpenedFile opened;
  struct stat file;
  return ReadWholeFile(other, limit, content, &opened) == 0 &&
         MayRelyOn(opened.attributes, place.folder_attributes,
                   StatEntry(place, &file) == 0 ? &file : nullptr);
}

bool Holds(const FilePlace& place, const std::string& name, std::string_view content) {
  std::string present;
  return ReadBeside(place, name, content.size(), &present) && present == content;
}

// Flushes a file, which another process may just have written.
int FlushBeside(const FilePlace& place, const std::string& name) {
  const Descriptor file = OpenRegular(place.folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW);
  return file && fsync(file.get()) == 0 ? 0 : errno;
}

bool HasOneName(int error) {
  return error == EPERM || error == EXDEV || error == EOPNOTSUPP || error == EMLINK;
}

// Copies the file at the place, whose content is `content`. EEXIST when the name is taken.
int Copy(const FilePlace& place, const std::string& name, std::string_view content, Flush flush) {
  const int folder = place.folder.get();
  const Descriptor old = OpenRegular(folder, place.name.c_str(), O_RDONLY | O_NOFOLLOW);
  struct stat attributes;
  if (!old || fstat(old.get(), &attributes) != 0) return errno;
  StagedFile copy(folder, name);
  if (const int error = copy.Make(attributes.st_mode & 0666)) return error;
  if (const int error = WriteAll(copy.descriptor(), content)) return error;
  KeepProperties(old.get(), attributes, copy.descriptor());
  if (flush == Flush::kToDisk && fsync(copy.descriptor()) != 0) return errno;
  return copy.CommitAsNew();
}

// Calls `keep` with one name after the other until its result is not EEXIST.
template <class Function>
KeptFile WithFreeName(const FilePlace& place, std::string_view suffix, Flush flush, Function keep) {
  KeptFile kept;
  for (int number = 1; number <= kNumberedNames + kRandomNames; ++number) {
    kept.name = NameBeside(place, suffix, number);
    kept.made = true;
    kept.error = keep(kept);
    if (kept.error != EEXIST) break;
  }
  if (kept.error == 0) kept.path = place.folder_path() + "/" + kept.name;
  if (kept.error == 0 && flush == Flush::kToDisk) {
    // Must be on disk before a new file takes the old name.
    kept.error = FlushFolder(place.folder.get());
  }
  return kept;
}

int Link(const FilePlace& place, const std::string& name) {
  const int folder = place.folder.get();
  return linkat(folder, place.name.c_str(), folder, name.c_str(), 0) == 0 ? 0 : errno;
}

}  // namespace

KeptFile KeepBeside(const FilePlace& place, std::string_view content, Flush flush,
                    std::string_view suffix) {
  // A second name has the content that the first one has on disk.
  KeptFile none;
  if (flush == Flush::kToDisk) none.error = FlushBeside(place, place.name);
  if (none.error != 0) return none;
  return WithFreeName(place, suffix, flush, [&](KeptFile& kept) {
    int error = Link(place, kept.name);
    if (HasOneName(error)) error = Copy(place, kept.name, content, flush);
    if (error != EEXIST || !Holds(place, kept.name, content)) return error;
    kept.made = false;
    return flush == Flush::kToDisk ? FlushBeside(place, kept.name) : 0;
  });
}

KeptFile KeepUnreadBeside(const FilePlace& place, std::string_view suffix) {
  return WithFreeName(place, suffix, Flush::kToDisk, [&](KeptFile& kept) {
    const int folder = place.folder.get();
    int error = Link(place, kept.name);
    if (error == EEXIST && AreOne(folder, kept.name, place.name)) {
      kept.made = false;
      return 0;
    }
    if (HasOneName(error)) {
      error = RenameWithoutReplacing(folder, place.name.c_str(), folder, kept.name.c_str());
    }
    return error;
  });
}

void RestoreKept(const KeptFile& kept, const FilePlace& place) {
  if (!kept.made || kept.path.empty()) return;
  const int folder = place.folder.get();
  struct stat record;
  if (fstatat(folder, place.name.c_str(), &record, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) {
      RenameWithoutReplacing(folder, kept.name.c_str(), folder, place.name.c_str());
    }
    return;
  }
  if (AreOne(folder, kept.name, place.name)) {
    unlinkat(folder, kept.name.c_str(), 0);
    return;
  }
  constexpr std::size_t kLargestCompared = std::size_t{1} << 30;
  std::string old;
  if (ReadBeside(place, kept.name, kLargestCompared, &old) && Holds(place, place.name, old)) {
    unlinkat(folder, kept.name.c_str(), 0);
  }
}

}  // namespace orvik::host
