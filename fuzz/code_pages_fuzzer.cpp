// Code pages: the measured length is the length written, a small room receives the start of the
// text, and decoding and encoding valid UTF-8 returns the same bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "fuzz/require.h"
#include "strings/code_pages.h"

using orvik::fuzz::Require;

namespace {

constexpr unsigned int kCodePages[] = {
    orvik::CP_UTF8, orvik::CP_ACP, 437,  850,  874,  932,  936,   949,   950,   1250,  1251, 1252,
    1253,           1254,          1255, 1256, 1257, 1258, 10000, 20127, 28591, 28592, 65000};

std::string ToBytes(unsigned int page, const std::u16string& text, int room) {
  std::string bytes(static_cast<std::size_t>(room), '\0');
  orvik::BOOL used_default = 1;
  const int count = orvik::WideCharToMultiByte(page, 0, text.data(), static_cast<int>(text.size()),
                                               bytes.data(), room, "?", &used_default);
  Require(count >= 0 && count <= room);
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

}  // namespace

// The first byte chooses the code page, the second the size of a small room.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const unsigned int page = kCodePages[data[0] % std::size(kCodePages)];
  const int small_room = 1 + data[1] % 16;
  const std::string bytes = orvik::fuzz::Bytes(data + 2, size - 2);
  const int length = static_cast<int>(bytes.size());

  const int needed = orvik::MultiByteToWideChar(page, 0, bytes.data(), length, nullptr, 0);
  Require(needed >= 0);
  if (needed > 0) {
    std::u16string text(static_cast<std::size_t>(needed), u'\0');
    Require(orvik::MultiByteToWideChar(page, 0, bytes.data(), length, text.data(), needed) ==
            needed);
    std::u16string part(static_cast<std::size_t>(small_room), u'\0');
    const int cut =
        orvik::MultiByteToWideChar(page, 0, bytes.data(), length, part.data(), small_room);
    Require(cut == std::min(needed, small_room));
    Require(part.compare(0, static_cast<std::size_t>(cut), text, 0,
                         static_cast<std::size_t>(cut)) == 0);
    if (page == orvik::CP_UTF8) Require(ToBytes(page, text, length) == bytes);
  }

  const std::u16string units = orvik::fuzz::Units(data + 2, size - 2);
  if (units.empty()) return 0;
  const int room = orvik::WideCharToMultiByte(page, 0, units.data(), static_cast<int>(units.size()),
                                              nullptr, 0, nullptr, nullptr);
  Require(room > 0);
  const std::string whole = ToBytes(page, units, room);
  Require(whole.size() == static_cast<std::size_t>(room));
  if (page == orvik::CP_UTF8) Require(whole.starts_with(ToBytes(page, units, small_room)));
  return 0;
}
