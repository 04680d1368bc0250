// Any format with the same arguments: nothing is read or written out of bounds, and the wide and
// the narrow formatter agree.
#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>

#include "platform/core_foundation/string.h"
#include "text/formatter.h"

namespace {

using orvik::FormatBuffer;

constexpr std::size_t kArguments = 128;
// A conversion takes at most three arguments. With a long double among them they fill five places.
constexpr std::ptrdiff_t kConversions = kArguments / 5;
constexpr std::size_t kLongNumber = 5;

std::u16string DescribeObject(const void* object) {
  return static_cast<const orvik::NSString*>(object)->ToUnits();
}

bool Format(FormatBuffer& result, const std::string* narrow, const std::u16string* wide, ...) {
  std::va_list arguments;
  va_start(arguments, wide);
  const bool done = narrow != nullptr
                        ? orvik::FormatMacRoman(result, *narrow, arguments, DescribeObject)
                        : orvik::FormatUnits(result, *wide, arguments, DescribeObject);
  va_end(arguments);
  return done;
}

// Every argument is the same object. Read as a text, its memory ends at the first 0 in the address
// of its vtable.
template <std::size_t... kIndices>
bool Format(FormatBuffer& result, const std::string* narrow, const std::u16string* wide,
            const orvik::NSString* argument, std::index_sequence<kIndices...>) {
  return Format(result, narrow, wide, (static_cast<void>(kIndices), argument)...);
}

// Long but allowed widths only make a run slow.
bool IsSlow(std::string_view format) {
  std::size_t digits = 0;
  for (const char byte : format) {
    digits = byte >= '0' && byte <= '9' ? digits + 1 : 0;
    if (digits > kLongNumber) return true;
  }
  return std::count(format.begin(), format.end(), '%') > kConversions;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string narrow;
  for (std::size_t i = 0; i < size; ++i) narrow += static_cast<char>(data[i] & 0x7F);
  if (IsSlow(narrow)) return 0;
  const std::u16string wide(narrow.begin(), narrow.end());
  const orvik::NSString* argument = orvik::CFSTR(u"text\u20AC");
  constexpr auto kAll = std::make_index_sequence<kArguments>();
  FormatBuffer from_narrow;
  FormatBuffer from_wide;
  const bool narrow_done = Format(from_narrow, &narrow, nullptr, argument, kAll);
  const bool wide_done = Format(from_wide, nullptr, &wide, argument, kAll);
  if (narrow_done != wide_done) std::abort();
  // No numbers with a fraction are passed, so their text may differ.
  const bool has_reals = narrow.find_first_of("eEfFgGaA") != std::string::npos;
  if (narrow_done && !has_reals && from_narrow.units() != from_wide.units()) std::abort();
  return 0;
}
