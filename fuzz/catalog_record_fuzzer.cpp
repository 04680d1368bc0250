// Any bytes as the attribute that holds a file's catalog information: what is read of it is written
// in the same bytes, whatever is no record is none, and dates come back from times.
#include <fcntl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "platform/carbon/catalog.h"

using orvik::carbon::CatalogRecord;
using orvik::carbon::kCatalogAttribute;
using orvik::carbon::kCatalogRecordSize;
using orvik::fuzz::Require;

namespace {

struct File : orvik::fuzz::ScratchFolder {
  File() : descriptor(open((path() / "file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    Require(descriptor >= 0);
  }
  ~File() { close(descriptor); }
  const int descriptor;
};

void CheckDate(const orvik::UTCDateTime& date) {
  const timespec time = orvik::carbon::TimestampFromDate(date);
  Require(time.tv_nsec >= 0 && time.tv_nsec < 1'000'000'000);
  const orvik::UTCDateTime again =
      orvik::carbon::DateFromTimestamp(time.tv_sec, static_cast<std::uint32_t>(time.tv_nsec));
  Require(again.highSeconds == date.highSeconds && again.lowSeconds == date.lowSeconds &&
          again.fraction == date.fraction);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const File file;
  std::string bytes = orvik::fuzz::Bytes(data, size);
  if (fsetxattr(file.descriptor, kCatalogAttribute, bytes.data(), bytes.size(), 0) != 0) {
    Require(errno == ENOTSUP || errno == ENOSPC || errno == E2BIG);
    return 0;
  }
  const orvik::carbon::CatalogPlace place{file.descriptor, nullptr};
  CatalogRecord record;
  Require(orvik::carbon::ReadCatalogRecord(place, &record) == 0);
  const bool is_record = bytes.size() == kCatalogRecordSize && bytes[0] == 1;
  if (!is_record) Require(record.empty());
  CheckDate(record.create_date);
  CheckDate(record.backup_date);

  Require(orvik::carbon::WriteCatalogRecord(place, record) == 0);
  std::string written(2 * kCatalogRecordSize, '\0');
  const ssize_t length =
      fgetxattr(file.descriptor, kCatalogAttribute, written.data(), written.size());
  if (record.empty()) {
    Require(length < 0 && errno == ENODATA);
    return 0;
  }
  Require(length == static_cast<ssize_t>(kCatalogRecordSize));
  written.resize(kCatalogRecordSize);
  // What has no meaning is not kept.
  bytes[1] = static_cast<char>(bytes[1] & 7);
  std::fill(bytes.begin() + 50, bytes.end(), '\0');
  Require(written == bytes);
  return 0;
}
