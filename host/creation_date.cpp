#include "host/creation_date.h"

#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace orvik::host {

namespace {

constexpr unsigned char kVersion = 1;
constexpr unsigned char kDateFlag = 2;
constexpr std::size_t kDateAt = 34;

using Record = std::array<unsigned char, 64>;

// An empty record when there is none, or it is damaged.
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
  // Rounded up, so that the 65536ths made from it again are the same.
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

}  // namespace

timespec CreationDate(int file, const struct statx& info) {
  const Record record = ReadRecord(file);
  return (record[1] & kDateFlag) != 0 ? DateIn(record) : NaturalDate(info);
}

int CopyCreationDate(int source, const struct statx& info, bool has_record, int copy) {
  Record record = has_record ? ReadRecord(source) : Record{kVersion};
  // The copy is born later and takes the modification date over, which then is its creation date.
  // To the second that is mostly the right one.
  const timespec natural = NaturalDate(info);
  if ((record[1] & kDateFlag) == 0 && natural.tv_sec != info.stx_mtime.tv_sec) {
    PutDate(natural, &record);
  }
  if (record == Record{kVersion}) return 0;
  return fsetxattr(copy, kCatalogAttribute, record.data(), record.size(), 0) == 0 ? 0 : errno;
}

}  // namespace orvik::host
