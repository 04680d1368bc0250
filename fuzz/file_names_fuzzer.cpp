// Names of files: any bytes come back from UTF-16 unchanged, and any name opens what it was listed
// as.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "host/file_names.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  const auto back = orvik::host::FileNameToBytes(orvik::host::FileNameFromBytes(bytes));
  const bool has_nul = bytes.find('\0') != std::string::npos;
  Require(back.has_value() != has_nul);
  if (back) Require(*back == bytes);

  const auto on_disk = orvik::host::FileNameToBytes(orvik::fuzz::Units(data, size));
  if (on_disk) {
    Require(orvik::host::FileNameToBytes(orvik::host::FileNameFromBytes(*on_disk)) == on_disk);
  }
  return 0;
}
