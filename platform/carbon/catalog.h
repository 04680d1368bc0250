// The catalog information that the inode has no room for, and the locked flag;
// the fields of FSCatalogInfo read from it and from the inode, and set there.
//
// The record is the extended attribute "user.orvik.catalog" of a file or folder: 64 bytes, numbers
// with the high byte first:
//    0  version, 1
//    1  flags: 1 locked, 2 creation date set, 4 backup date set
//    2  16 bytes finder information, 16 bytes extended finder information
//   34  creation date, then backup date: 6 bytes seconds since 1904, 2 bytes 65536ths each
//   50  unused, 0
// A record in which nothing is set is not stored. Functions return 0 or an errno, except where they
// say so.
#pragma once

#include <sys/stat.h>

#include <string>

#include "platform/carbon/files.h"

namespace orvik::carbon {

inline constexpr char kCatalogAttribute[] = "user.orvik.catalog";
inline constexpr std::size_t kCatalogRecordSize = 64;

struct CatalogRecord {
  bool locked = false;
  bool has_create_date = false;
  bool has_backup_date = false;
  FInfo finder_info;
  UInt8 ext_finder_info[16] = {};
  UTCDateTime create_date;
  UTCDateTime backup_date;

  bool empty() const;
};

// An object by its open descriptor, or by a path of any length.
struct CatalogPlace {
  int descriptor = -1;
  const std::string* path = nullptr;
};

// The record of a regular file or a folder; an empty one when there is none, it is damaged, or the
// file system has no attributes.
int ReadCatalogRecord(const CatalogPlace& place, CatalogRecord* record);

// Stores the record, or removes it when it is empty. ENOTSUP where the file system has no
// attributes.
int WriteCatalogRecord(const CatalogPlace& place, const CatalogRecord& record);

// Whether the kernel's immutable flag is on, as statx told.
bool IsImmutable(const struct statx& info);

// The fields that `which_info` chooses, of the object whose information is `info_on_disk`.
int ReadCatalogInfo(const CatalogPlace& place, const struct statx& info_on_disk,
                    FSCatalogInfoBitmap which_info, FSCatalogInfo* info);

// Sets the chosen fields; a status.
OSErr ApplyCatalogInfo(const CatalogPlace& place, const struct statx& info_on_disk,
                       FSCatalogInfoBitmap which_info, const FSCatalogInfo& info);

// Locks or unlocks a regular file or a folder: with the kernel's flag where that is allowed, else
// with the record's bit.
int SetLocked(const CatalogPlace& place, bool locked, CatalogRecord* record);

// The creation date that nobody set: the birth time, or the modification time when that is earlier
// or the file system knows no birth time.
statx_timestamp NaturalCreation(const struct statx& info);

UTCDateTime DateFromTimestamp(std::int64_t seconds, std::uint32_t nanoseconds);
timespec TimestampFromDate(const UTCDateTime& date);

}  // namespace orvik::carbon
