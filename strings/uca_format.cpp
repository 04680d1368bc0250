#include "strings/uca_format.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <memory>
#include <string_view>

#include "strings/object_text.h"
#include "strings/uca_conversions.h"
#include "text/formatter.h"

namespace orvik {

namespace {

// Both kinds of argument lists; false also without a format.
template <typename List>
bool FormatInto(FormatBuffer& result, std::u16string_view format, List& arguments) {
  return format.data() != nullptr && FormatUnits(result, format, arguments, DescribeObject);
}

template <typename List>
int PrintToArray(char16_t* buffer, std::u16string_view format, List& arguments) {
  FormatBuffer result;
  if (!FormatInto(result, format, arguments)) return -1;
  const std::u16string_view units = result.units();
  buffer[units.copy(buffer, units.size())] = 0;
  return static_cast<int>(units.size());
}

template <typename List>
int PrintToArray(char16_t* buffer, int size, std::u16string_view format, List& arguments) {
  FormatBuffer result;
  if (!FormatInto(result, format, arguments)) return -1;
  if (size < 1) return 0;
  const std::u16string_view units = result.units();
  const auto room = static_cast<std::size_t>(size) - 1;
  buffer[units.copy(buffer, room)] = 0;
  return units.size() < room ? static_cast<int>(units.size()) : size;
}

template <typename List>
int PrintToStream(std::FILE* stream, std::u16string_view format, List& arguments) {
  FormatBuffer result;
  if (stream == nullptr || !FormatInto(result, format, arguments)) return -1;
  const std::u16string_view units = result.units();
  const std::size_t written = std::fwrite(units.data(), sizeof(char16_t), units.size(), stream);
  return written == units.size() ? static_cast<int>(written) : -1;
}

}  // namespace

int vsucaprintf(char16_t* buffer, const char16_t* format, std::va_list arguments) {
  return PrintToArray(buffer, ViewOf(format), arguments);
}
int vsucaprintf(char16_t* buffer, std::u16string_view format,
                std::span<const FormatArgument> arguments) {
  return PrintToArray(buffer, format, arguments);
}

int vsnucaprintf(char16_t* buffer, int size, const char16_t* format, std::va_list arguments) {
  return PrintToArray(buffer, size, ViewOf(format), arguments);
}
int vsnucaprintf(char16_t* buffer, int size, std::u16string_view format,
                 std::span<const FormatArgument> arguments) {
  return PrintToArray(buffer, size, format, arguments);
}

int vfucaprintf(std::FILE* stream, const char16_t* format, std::va_list arguments) {
  return PrintToStream(stream, ViewOf(format), arguments);
}
int vfucaprintf(std::FILE* stream, std::u16string_view format,
                std::span<const FormatArgument> arguments) {
  return PrintToStream(stream, format, arguments);
}

int vucaprintf(const char16_t* format, std::va_list arguments) {
  return vfucaprintf(stdout, format, arguments);
}

int vsucascanf(const char16_t* input, const char16_t* format, std::va_list arguments) {
  if (input == nullptr || format == nullptr) return 0;
  const std::unique_ptr<wchar_t[]> wide_input(makeWCA32FromUCA(input));
  const std::unique_ptr<wchar_t[]> wide_format(makeWCA32FromUCA(format));
  return std::vswscanf(wide_input.get(), wide_format.get(), arguments);
}

int sucascanf(const char16_t* input, const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int count = vsucascanf(input, format, arguments);
  va_end(arguments);
  return count;
}

}  // namespace orvik
