// The growing array of units into which the formatter writes, and the conversion of numbers.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "text/format_spec.h"

namespace [[gnu::visibility("default")]] orvik {

// The longest string of the platform, in units.
inline constexpr size_t kMaximumFormattedLength = 0x3FFFFFFF;

// A growing array of units; short results need no allocation.
class FormatBuffer {
 public:
  FormatBuffer() = default;
  FormatBuffer(const FormatBuffer&) = delete;
  FormatBuffer& operator=(const FormatBuffer&) = delete;

  std::u16string_view units() const { return {data_, length_}; }

  // Returns room for `count` more units at the end, which `Take` then adds to the text; null when
  // the text would be too long.
  char16_t* Room(size_t count) {
    return capacity_ - length_ >= count ? data_ + length_ : Grow(count);
  }
  void Take(size_t count) { length_ += count; }
  // Each of these appends all of its text or nothing. False when the result would have more than
  // kMaximumFormattedLength units. When memory runs out, they throw std::bad_alloc.
  bool Append(std::u16string_view units);
  // Appends the unit `count` times.
  bool Append(size_t count, char16_t unit);
  // Appends the bytes as ISO 8859-1: each byte becomes the unit of the same number.
  bool AppendLatin1(std::string_view bytes);
  // The same, faster for a handful of bytes.
  bool AppendFew(std::string_view bytes) {
    char16_t* const room = Room(bytes.size());
    if (room == nullptr) return false;
    for (size_t i = 0; i < bytes.size(); ++i) room[i] = static_cast<unsigned char>(bytes[i]);
    Take(bytes.size());
    return true;
  }
  bool AppendMacRoman(std::string_view bytes);

 private:
  char16_t* Grow(size_t count);

  char16_t inline_[256];
  std::unique_ptr<char16_t[]> heap_;
  char16_t* data_ = inline_;
  size_t length_ = 0;
  size_t capacity_ = 256;
};
}  // namespace orvik

namespace orvik {

// These functions append a number in the form that a conversion asks for. They return false when
// the result would become too long.

// Cuts the argument to the width of its type. The conversion says whether it is signed.
bool PutInteger(FormatBuffer& out, const FormatSpec& spec, std::intmax_t argument, FormatType type);
// Formats by "d", "u" or "x", without flags, width and precision.
bool PutPlainInteger(FormatBuffer& out, std::uintmax_t magnitude, bool is_negative,
                     char16_t conversion);

// Writes "e", "f", "g" and "a" as C does, but with "." in every locale of libc. Any precision is
// possible: digits behind the last digit of the number are zeros.
bool PutReal(FormatBuffer& out, const FormatSpec& spec, double value);
bool PutReal(FormatBuffer& out, const FormatSpec& spec, long double value);

// "0x" and hexadecimal digits; "0x0" for null.
bool PutAddress(FormatBuffer& out, const FormatSpec& spec, const void* address);

}  // namespace orvik
