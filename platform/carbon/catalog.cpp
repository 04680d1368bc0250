#include "platform/carbon/catalog.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "host/at_path.h"

namespace orvik::carbon {
namespace {

constexpr std::int64_t kSecondsFrom1904To1970 = 2082844800;
constexpr unsigned char kVersion = 1;
constexpr unsigned char kLockedFlag = 1;
constexpr unsigned char kCreateDateFlag = 2;
constexpr unsigned char kBackupDateFlag = 4;

using RecordBytes = std::array<unsigned char, kCatalogRecordSize>;

// Walks through the bytes of a record, high byte first.
class RecordWriter {
 public:
  explicit RecordWriter(RecordBytes& bytes) : next_(bytes.data()) {}
  void Put(std::uint64_t value, int size) {
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
      *next_++ = static_cast<unsigned char>(value >> shift);
    }
  }

 private:
  unsigned char* next_;
};

class RecordReader {
 public:
  explicit RecordReader(const RecordBytes& bytes) : next_(bytes.data()) {}
  std::uint64_t Get(int size) {
    std::uint64_t value = 0;
    for (int i = 0; i < size; ++i) value = value << 8 | *next_++;
    return value;
  }

 private:
  const unsigned char* next_;
};

void PutDate(const UTCDateTime& date, RecordWriter* writer) {
  writer->Put(date.highSeconds, 2);
  writer->Put(date.lowSeconds, 4);
  writer->Put(date.fraction, 2);
}

UTCDateTime GetDate(RecordReader* reader) {
  UTCDateTime date;
  date.highSeconds = static_cast<UInt16>(reader->Get(2));
  date.lowSeconds = static_cast<UInt32>(reader->Get(4));
  date.fraction = static_cast<UInt16>(reader->Get(2));
  return date;
}

RecordBytes Encode(const CatalogRecord& record) {
  RecordBytes bytes{};
  RecordWriter writer{bytes};
  writer.Put(kVersion, 1);
  writer.Put((record.locked ? kLockedFlag : 0u) | (record.has_create_date ? kCreateDateFlag : 0u) |
                 (record.has_backup_date ? kBackupDateFlag : 0u),
             1);
  writer.Put(record.finder_info.fdType, 4);
  writer.Put(record.finder_info.fdCreator, 4);
  writer.Put(record.finder_info.fdFlags, 2);
  writer.Put(static_cast<UInt16>(record.finder_info.fdLocation.v), 2);
  writer.Put(static_cast<UInt16>(record.finder_info.fdLocation.h), 2);
  writer.Put(static_cast<UInt16>(record.finder_info.fdFldr), 2);
  for (const UInt8 byte : record.ext_finder_info) writer.Put(byte, 1);
  PutDate(record.create_date, &writer);
  PutDate(record.backup_date, &writer);
  return bytes;
}

CatalogRecord Decode(const RecordBytes& bytes) {
  CatalogRecord record;
  RecordReader reader{bytes};
  if (reader.Get(1) != kVersion) return record;
  const std::uint64_t flags = reader.Get(1);
  record.locked = (flags & kLockedFlag) != 0;
  record.has_create_date = (flags & kCreateDateFlag) != 0;
  record.has_backup_date = (flags & kBackupDateFlag) != 0;
  record.finder_info.fdType = static_cast<OSType>(reader.Get(4));
  record.finder_info.fdCreator = static_cast<OSType>(reader.Get(4));
  record.finder_info.fdFlags = static_cast<UInt16>(reader.Get(2));
  record.finder_info.fdLocation.v = static_cast<SInt16>(reader.Get(2));
  record.finder_info.fdLocation.h = static_cast<SInt16>(reader.Get(2));
  record.finder_info.fdFldr = static_cast<SInt16>(reader.Get(2));
  for (UInt8& byte : record.ext_finder_info) byte = static_cast<UInt8>(reader.Get(1));
  record.create_date = GetDate(&reader);
  record.backup_date = GetDate(&reader);
  return record;
}

int OpenForFlags(const std::string& path) {
  const host::AtPath at{path};
  if (at.error() != 0) {
    errno = at.error();
    return -1;
  }
  return openat(at.folder(), at.name(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
}

int ChangeImmutable(int descriptor, bool locked) {
  int flags = 0;
  if (ioctl(descriptor, FS_IOC_GETFLAGS, &flags) != 0) return errno;
  const int wanted = locked ? flags | FS_IMMUTABLE_FL : flags & ~FS_IMMUTABLE_FL;
  if (wanted == flags) return 0;
  return ioctl(descriptor, FS_IOC_SETFLAGS, &wanted) == 0 ? 0 : errno;
}

// The errors that say "not here" or "not you" rather than "it went wrong".
bool KernelFlagIsUnavailable(int error) {
  return error == EPERM || error == EACCES || error == ENOTTY || error == EOPNOTSUPP ||
         error == ENOSYS || error == EINVAL;
}

}  // namespace

bool CatalogRecord::empty() const {
  static const RecordBytes nothing = Encode(CatalogRecord{});
  return Encode(*this) == nothing;
}

int ReadCatalogRecord(const CatalogPlace& place, CatalogRecord* record) {
  RecordBytes bytes{};
  ssize_t length;
  if (place.descriptor >= 0) {
    length = fgetxattr(place.descriptor, kCatalogAttribute, bytes.data(), bytes.size());
  } else {
    const host::AtPath at{*place.path};
    if (at.error() != 0) return at.error();
    length = lgetxattr(at.ShortPath().c_str(), kCatalogAttribute, bytes.data(), bytes.size());
  }
  *record = length == static_cast<ssize_t>(bytes.size()) ? Decode(bytes) : CatalogRecord{};
  if (length < 0 && errno != ENODATA && errno != ENOTSUP && errno != ERANGE && errno != EPERM &&
      errno != EACCES) {
    return errno;
  }
  return 0;
}

int WriteCatalogRecord(const CatalogPlace& place, const CatalogRecord& record) {
  const bool remove = record.empty();
  const RecordBytes bytes = Encode(record);
  int result;
  if (place.descriptor >= 0) {
    result = remove ? fremovexattr(place.descriptor, kCatalogAttribute)
                    : fsetxattr(place.descriptor, kCatalogAttribute, bytes.data(), bytes.size(), 0);
  } else {
    const host::AtPath at{*place.path};
    if (at.error() != 0) return at.error();
    const std::string path = at.ShortPath();
    result = remove ? lremovexattr(path.c_str(), kCatalogAttribute)
                    : lsetxattr(path.c_str(), kCatalogAttribute, bytes.data(), bytes.size(), 0);
  }
  if (result == 0 || (remove && (errno == ENODATA || errno == ENOTSUP))) return 0;
  return errno;
}

bool IsImmutable(const struct statx& info) {
  return (info.stx_attributes & STATX_ATTR_IMMUTABLE) != 0;
}

int SetLocked(const CatalogPlace& place, bool locked, CatalogRecord* record) {
  if (locked && record->locked) return 0;
  const int descriptor = place.descriptor >= 0 ? place.descriptor : OpenForFlags(*place.path);
  const int error = descriptor < 0 ? errno : ChangeImmutable(descriptor, locked);
  if (descriptor >= 0 && place.descriptor < 0) close(descriptor);
  if (error != 0 && !KernelFlagIsUnavailable(error)) return error;
  if (!locked && error != 0 && !record->locked) return error;
  const bool own_bit = locked && error != 0;
  if (record->locked == own_bit) return 0;
  record->locked = own_bit;
  return WriteCatalogRecord(place, *record);
}

statx_timestamp NaturalCreation(const struct statx& info) {
  const statx_timestamp& birth = info.stx_btime;
  const statx_timestamp& modified = info.stx_mtime;
  const bool born_first = birth.tv_sec < modified.tv_sec ||
                          (birth.tv_sec == modified.tv_sec && birth.tv_nsec < modified.tv_nsec);
  return (info.stx_mask & STATX_BTIME) != 0 && born_first ? birth : modified;
}

UTCDateTime DateFromTimestamp(std::int64_t seconds, std::uint32_t nanoseconds) {
  const std::int64_t since_1904 = std::max<std::int64_t>(seconds + kSecondsFrom1904To1970, 0);
  UTCDateTime date;
  date.highSeconds = static_cast<UInt16>(since_1904 >> 32);
  date.lowSeconds = static_cast<UInt32>(since_1904);
  date.fraction = static_cast<UInt16>((std::uint64_t{nanoseconds} << 16) / 1'000'000'000);
  return date;
}

timespec TimestampFromDate(const UTCDateTime& date) {
  timespec time{};
  time.tv_sec = (static_cast<std::int64_t>(date.highSeconds) << 32 | date.lowSeconds) -
                kSecondsFrom1904To1970;
  // Rounded up, so that the date made from it again is the same.
  time.tv_nsec = static_cast<long>((date.fraction * 1'000'000'000ull + 0xFFFF) >> 16);
  return time;
}

}  // namespace orvik::carbon
