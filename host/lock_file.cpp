#include "host/lock_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include "host/file_lock.h"
#include "host/proc.h"
#include "host/staged_file.h"
#include "host/trust.h"
#include "text/of_thread.h"

namespace orvik::host {
namespace {

constexpr int kOpenFlags = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
// Larger than the content of every lock file.
constexpr std::size_t kMaximumSize = 512;

// The users who may write the folder may read and write its lock file.
mode_t ModeFor(const struct stat& folder) {
  mode_t mode = S_IRUSR | S_IWUSR;
  if ((folder.st_mode & S_IWGRP) != 0) mode |= S_IRGRP | S_IWGRP;
  if ((folder.st_mode & S_IWOTH) != 0) mode |= S_IROTH | S_IWOTH;
  return mode;
}

std::string_view ReadBytes(int file, char (&bytes)[kMaximumSize]) {
  std::size_t size = 0;
  ReadAt(file, bytes, sizeof bytes, 0, &size);
  return {bytes, size};
}

// The numbers always have ten and twenty digits, so that words written only in part over older
// words are still well formed.
std::string Padded(std::uint64_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  return std::string(width - std::min(width, digits.size()), '0') + digits;
}

// Whether the text is a beginning of well-formed words.
bool BeginsWords(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789";
  for (const std::size_t longest : {10u, 20u}) {
    const std::size_t count = std::min(text.find_first_not_of(kDigits), text.size());
    if (count > longest) return false;
    text.remove_prefix(count);
    if (text.empty()) return true;
    if (count == 0 || text.front() != ' ') return false;
    text.remove_prefix(1);
  }
  return text.find('\n') == text.npos;
}

bool ParseWords(std::string_view text, HolderWords* words) {
  const std::size_t line_end = text.find('\n');
  if (line_end == text.npos) return false;
  const char* const end = text.data() + line_end;
  const auto [pid_end, pid_error] = std::from_chars(text.data(), end, words->pid);
  if (pid_error != std::errc() || pid_end == end || *pid_end != ' ') return false;
  const auto [start_end, start_error] = std::from_chars(pid_end + 1, end, words->start);
  if (start_error != std::errc() || start_end == end || *start_end != ' ') return false;
  words->host.assign(start_end + 1, end);
  return true;
}

}  // namespace

const std::string& LockHostName() {
  // Never destroyed, because destructors of a program may still save.
  static const auto* const name = [] {
    char text[256] = "";
    const bool has_name = gethostname(text, sizeof text - 1) == 0 && *text != '\0';
    return new std::string(has_name ? text : "localhost");
  }();
  return *name;
}

const std::string& OwnHolderWords() {
  // Computed once in each thread, and again in a forked child.
  struct Words {
    std::string text;
    pid_t of = 0;
  };
  Words& words = OfThread<Words>();
  if (const pid_t pid = getpid(); pid != words.of) {
    words.text = Padded(static_cast<std::uint64_t>(pid), 10) + ' ' +
                 Padded(StartTicks(pid).value_or(0), 20) + ' ' + LockHostName() + '\n';
    words.of = pid;
  }
  return words.text;
}

HolderWords ReadHolderWords(int file) {
  char bytes[kMaximumSize];
  HolderWords words;
  return ParseWords(ReadBytes(file, bytes), &words) ? words : HolderWords();
}

void WriteHolderWords(int file) {
  WriteAllAt(file, OwnHolderWords(), 0);
}

int CheckHolderWords(int file) {
  char bytes[kMaximumSize];
  HolderWords words;
  const std::string_view text = ReadBytes(file, bytes);
  // After a crash of the machine, files of some volumes contain zeros.
  const bool is_blank = text.find_first_not_of('\0') == text.npos;
  return is_blank || ParseWords(text, &words) || BeginsWords(text) ? 0 : EINVAL;
}

void GiveFolderRights(int file, const struct stat& folder) {
  struct stat own;
  if (fstat(file, &own) != 0) return;
  const uid_t owner = geteuid() == 0 ? folder.st_uid : own.st_uid;
  if (own.st_gid != folder.st_gid || own.st_uid != owner) {
    // If the caller may not change them, the file keeps its own owner and group.
    [[maybe_unused]] const int result = fchown(file, owner, folder.st_gid);
  }
  if ((own.st_mode & 07777) != ModeFor(folder)) fchmod(file, ModeFor(folder));
}

bool HasFolderRights(int file, const struct stat& folder) {
  struct stat own;
  if (fstat(file, &own) != 0) return true;
  const uid_t caller = geteuid();
  if (caller != 0 && caller != own.st_uid) return true;
  if (caller == 0 && own.st_uid != folder.st_uid) return false;
  const bool needs_group = caller == 0 || (folder.st_mode & S_IWGRP) != 0;
  return (own.st_mode & 07777) == ModeFor(folder) && (!needs_group || own.st_gid == folder.st_gid);
}

bool RenewLockFile(int folder, const struct stat& attributes, const char* name) {
  const Descriptor file(openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
  if (!file) return false;
  GiveFolderRights(file.get(), attributes);
  // Some volumes do not store permissions, or do not let root change the owner.
  if (!HasFolderRights(file.get(), attributes) || unlinkat(folder, name, 0) != 0) return false;
  LinkUnnamed(file.get(), folder, name);
  return true;
}

int OpenLockFile(int folder, const struct stat& attributes, const char* name, int access,
                 Descriptor* file) {
  // Opening a device or a pipe can act on it.
  struct stat own;
  if (fstatat(folder, name, &own, AT_SYMLINK_NOFOLLOW) != 0) return errno;
  if (!S_ISREG(own.st_mode)) return EINVAL;
  *file = Descriptor(openat(folder, name, access | kOpenFlags));
  if (!*file) return errno == ELOOP || errno == ENXIO ? EINVAL : errno;
  if (fstat(file->get(), &own) != 0) return errno;
  const bool is_small = own.st_size <= static_cast<off_t>(kMaximumSize);
  return IsTrustedFile(own, attributes) && is_small ? 0 : EINVAL;
}

int MakeLockFile(int folder, const struct stat& attributes, const char* name, Descriptor* file) {
  // The file gets its permissions before its name. Otherwise a member of the folder's group who
  // opens it in between would be refused.
  *file = Descriptor(openat(folder, ".", O_RDWR | O_TMPFILE | O_CLOEXEC, 0600));
  if (*file) {
    GiveFolderRights(file->get(), attributes);
    const int error = LinkUnnamed(file->get(), folder, name);
    if (error == 0 || error == EEXIST) return error;
  }
  // For volumes without unnamed files, and machines without /proc.
  *file = Descriptor(openat(folder, name, O_RDWR | O_CREAT | O_EXCL | kOpenFlags, 0600));
  if (!*file) return errno;
  GiveFolderRights(file->get(), attributes);
  return 0;
}

}  // namespace orvik::host
