#include "host/file_properties.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

namespace orvik::host {
namespace {

constexpr char kCatalogAttribute[] = "user.orvik.catalog";
constexpr char kCapabilities[] = "security.capability";

constexpr unsigned char kVersion = 1;
constexpr unsigned char kDateFlag = 2;
constexpr std::size_t kDateAt = 34;

using Record = std::array<unsigned char, 64>;

// Empty when the record is missing or damaged.
Record ReadRecord(int file) {
  Record record;
  const ssize_t length = fgetxattr(file, kCatalogAttribute, record.data(), record.size());
  if (length != static_cast<ssize_t>(record.size()) || record[0] != kVersion) record = {kVersion};
  return record;
}

timespec DateIn(const Record& record) {
  std::uint64_t seconds = 0;
  for (std::size_t i = 0; i < 6; ++i) seconds = seconds << 8 | record[kDateAt + i];
  const std::uint64_t fraction =
      static_cast<unsigned>(record[kDateAt + 6] << 8) | record[kDateAt + 7];
  timespec date{};
  date.tv_sec = static_cast<time_t>(static_cast<std::int64_t>(seconds) - kSecondsFrom1904To1970);
  // Rounds up, so that converting the date back gives the same 65536ths.
  date.tv_nsec = static_cast<long>((fraction * 1'000'000'000 + 0xFFFF) >> 16);
  return date;
}

void PutDate(const timespec& date, Record* record) {
  const auto seconds =
      static_cast<std::uint64_t>(std::max<std::int64_t>(date.tv_sec + kSecondsFrom1904To1970, 0));
  const std::uint64_t fraction = (static_cast<std::uint64_t>(date.tv_nsec) << 16) / 1'000'000'000;
  for (std::size_t i = 0; i < 6; ++i) {
    (*record)[kDateAt + i] = static_cast<unsigned char>(seconds >> (40 - 8 * i));
  }
  (*record)[kDateAt + 6] = static_cast<unsigned char>(fraction >> 8);
  (*record)[kDateAt + 7] = static_cast<unsigned char>(fraction);
  (*record)[1] |= kDateFlag;
}

timespec NaturalDate(const struct statx& info) {
  const statx_timestamp& birth = info.stx_btime;
  const statx_timestamp& modified = info.stx_mtime;
  const bool born_first = birth.tv_sec < modified.tv_sec ||
                          (birth.tv_sec == modified.tv_sec && birth.tv_nsec < modified.tv_nsec);
  const bool is_known = (info.stx_mask & STATX_BTIME) != 0;
  const statx_timestamp& date = is_known && born_first ? birth : modified;
  return {static_cast<time_t>(date.tv_sec), static_cast<long>(date.tv_nsec)};
}

// The kernel's limit for the size of a value and of the list of names.
constexpr std::size_t kLargest = 65536;

// Receives the bytes of a system call, in a small buffer, or in a large one when the small one is
// too small.
class ReadBytes {
 public:
  // `read` fills a buffer and fails with ERANGE when it is too small. 0 or an errno.
  template <typename Read>
  int From(Read read) {
    bytes_ = small_;
    length_ = read(small_, sizeof small_);
    if (length_ < 0 && errno == ERANGE) {
      if (!large_) large_ = std::make_unique_for_overwrite<char[]>(kLargest);
      bytes_ = large_.get();
      length_ = read(bytes_, kLargest);
    }
    return length_ < 0 ? errno : 0;
  }

  std::string_view view() const { return {bytes_, static_cast<std::size_t>(length_)}; }

 private:
  char small_[512];
  std::unique_ptr<char[]> large_;
  char* bytes_ = small_;
  ssize_t length_ = 0;
};

bool CannotBeKept(int error) {
  return error == ENOTSUP || error == EPERM || error == EACCES || error == ERANGE ||
         error == E2BIG || error == EINVAL;
}

bool IsCopied(std::string_view name, Owner owner) {
  return owner == Owner::kSource || name.starts_with("user.") ||
         name.starts_with("system.posix_acl_");
}

int CopyAttribute(int from, const char* name, int to) {
  ReadBytes value;
  const int error =
      value.From([&](char* data, std::size_t size) { return fgetxattr(from, name, data, size); });
  if (error == ENODATA) return 0;  // removed meanwhile
  if (error != 0) return CannotBeKept(error) ? 0 : error;
  const std::string_view bytes = value.view();
  if (fsetxattr(to, name, bytes.data(), bytes.size(), 0) == 0 || CannotBeKept(errno)) return 0;
  return errno;
}

}  // namespace

int StatAll(int folder, const char* name, int flags, struct statx* info) {
  constexpr unsigned kMask = STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID;
  return statx(folder, name, flags | AT_NO_AUTOMOUNT, kMask, info) == 0 ? 0 : errno;
}

timespec CreationDate(int file, const struct statx& info) {
  const Record record = ReadRecord(file);
  return (record[1] & kDateFlag) != 0 ? DateIn(record) : NaturalDate(info);
}

int CopyCreationDate(int source, const struct statx& info, bool has_record, int copy) {
  Record record = has_record ? ReadRecord(source) : Record{kVersion};
  // Without a record, the creation date of the copy is its modification date, which it has from the
  // source. To the second, that is usually the creation date of the source.
  const timespec natural = NaturalDate(info);
  if ((record[1] & kDateFlag) == 0 && natural.tv_sec != info.stx_mtime.tv_sec) {
    PutDate(natural, &record);
  }
  if (record == Record{kVersion}) return 0;
  return fsetxattr(copy, kCatalogAttribute, record.data(), record.size(), 0) == 0 ? 0 : errno;
}

int CopyAttributes(int from, Owner owner, int to, OtherAttributes* others) {
  *others = {};
  ReadBytes names;
  const int error =
      names.From([&](char* data, std::size_t size) { return flistxattr(from, data, size); });
  if (error != 0) return CannotBeKept(error) ? 0 : error;
  for (std::string_view rest = names.view(); !rest.empty();) {
    const std::string_view name = rest.substr(0, rest.find('\0'));
    rest.remove_prefix(name.size() + 1);
    if (name == kCatalogAttribute) {
      others->record = true;
    } else if (name == kCapabilities) {
      others->capabilities = owner == Owner::kSource;
    } else if (IsCopied(name, owner)) {
      if (const int failure = CopyAttribute(from, name.data(), to)) return failure;
    }
  }
  return 0;
}

int CopyCapabilities(int from, int to) {
  return CopyAttribute(from, kCapabilities, to);
}

int CopyMode(const struct stat& old, Owner owner, int to) {
  struct stat present;
  if (fstat(to, &present) != 0) return errno;
  bool keeps_user = present.st_uid == old.st_uid;
  bool keeps_group = present.st_gid == old.st_gid;
  if (owner == Owner::kSource && !(keeps_user && keeps_group)) {
    if (fchown(to, old.st_uid, old.st_gid) == 0) {
      keeps_user = keeps_group = true;
    } else if (!keeps_group) {
      keeps_group = fchown(to, static_cast<uid_t>(-1), old.st_gid) == 0;
    }
  }
  // A program must not run with the permissions of a user other than its author.
  mode_t mode = old.st_mode & 07777;
  if (!keeps_user) mode &= ~static_cast<mode_t>(S_ISUID);
  if (!keeps_group) mode &= ~static_cast<mode_t>(S_ISGID);
  if (mode == (present.st_mode & 07777) && mode <= 0777) return 0;
  return fchmod(to, mode) == 0 || CannotBeKept(errno) ? 0 : errno;
}

void KeepProperties(int from, const struct stat& old, int to) {
  OtherAttributes others;
  if (from >= 0) CopyAttributes(from, Owner::kSource, to, &others);
  if (others.record) CopyAttribute(from, kCatalogAttribute, to);
  CopyMode(old, Owner::kSource, to);
  if (others.capabilities) CopyCapabilities(from, to);
}

}  // namespace orvik::host
