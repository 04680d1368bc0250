// Names on disk: any bytes survive the way to UTF-16 and back, and any listed name opens its file.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "host/file_names.h"

namespace orvik::fuzz {
namespace {

std::string FileNamesFault(std::string_view bytes) {
  const bool has_nul = bytes.find('\0') != bytes.npos;
  const auto back = host::FileNameToBytes(host::FileNameFromBytes(bytes));
  if (has_nul ? back.has_value() : back != bytes) return "the bytes do not come back";
  std::u16string units;
  for (Choices choices(bytes); choices.Rest().size() > 1;) {
    units += static_cast<char16_t>(choices.Next(2));
  }
  const auto on_disk = host::FileNameToBytes(units);
  if (on_disk && host::FileNameToBytes(host::FileNameFromBytes(*on_disk)) != on_disk) {
    return "the name opens another file than it is listed as";
  }
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::FileNamesFault, data, size);
}
