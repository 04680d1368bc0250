// The one formatter, for wide and narrow text.
//
// A format is text with conversions "%[n$][flags][width][.precision][length]conversion":
//
//   flags      - + space # 0 (' is taken and groups nothing)   width, precision   digits, * or *n$
//   length     hh h l ll q L z t j
//   %@         an object's description           %S  a zero-terminated char16_t array
//   %s         zero-terminated Mac OS Roman      %C  a char16_t      %c  a byte of Mac OS Roman
//   %ls %lc    as %S and %C                      %hS %hC  as %s and %c
//   %d %D %i %u %U %x %X %o %O %p %e %E %f %F %g %G %a %A %%         as printf
//
// A null %s, %S or %@ is "(null)"; a precision limits how much of their text is read and shown. An
// unknown conversion is copied to the result and takes no argument. %n is not carried out. Numbers
// with a fraction use "." whatever the locale of libc says.
//
// A format is refused (false) when its positional arguments leave a gap or are mixed with others,
// or the result would exceed kMaximumFormattedLength units; a width or precision is part of that.
#pragma once

#include <cstdarg>
#include <memory>
#include <string_view>

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr size_t kMaximumFormattedLength = 0x3FFFFFF;

// A growing array of units; short results need no allocation.
class FormatBuffer {
 public:
  FormatBuffer() = default;
  FormatBuffer(const FormatBuffer&) = delete;
  FormatBuffer& operator=(const FormatBuffer&) = delete;

  std::u16string_view units() const { return {data_, length_}; }

  // Room for `count` more units at the end, which `Take` then makes part of the text; null when the
  // text would be too long.
  char16_t* Room(size_t count) {
    return capacity_ - length_ >= count ? data_ + length_ : Grow(count);
  }
  void Take(size_t count) { length_ += count; }
  bool Append(std::u16string_view units);
  bool Append(size_t count, char16_t unit);
  bool AppendLatin1(std::string_view bytes);
  bool AppendMacRoman(std::string_view bytes);

 private:
  char16_t* Grow(size_t count);

  char16_t inline_[256];
  std::unique_ptr<char16_t[]> heap_;
  char16_t* data_ = inline_;
  size_t length_ = 0;
  size_t capacity_ = 256;
};

enum class FormatStyle {
  kPlain,
  // As if every "%s" in the format's text had been replaced by "%S" first.
  kSmallStringsAreWide,
};

// Appends the formatted text to the buffer; false leaves a part of it there.
bool FormatUnits(FormatBuffer& result, std::u16string_view format, std::va_list arguments,
                 FormatStyle style = FormatStyle::kPlain);

// The same with the format in Mac OS Roman.
bool FormatMacRoman(FormatBuffer& result, std::string_view format, std::va_list arguments);

}  // namespace orvik
