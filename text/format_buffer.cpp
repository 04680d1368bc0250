#include "text/format_buffer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "text/code_page_codec.h"
#include "text/transcoding.h"
#include "text/user_locale.h"

namespace orvik {

char16_t* FormatBuffer::Grow(size_t count) {
  if (count > kMaximumFormattedLength - length_) return nullptr;
  const size_t grown = std::max(capacity_ * 2, length_ + count);
  // NOLINTNEXTLINE(modernize-make-unique): make_unique would set the block to zero
  std::unique_ptr<char16_t[]> block(new char16_t[grown]);
  std::memcpy(block.get(), data_, length_ * sizeof(char16_t));
  heap_ = std::move(block);
  data_ = heap_.get();
  capacity_ = grown;
  return data_ + length_;
}

bool FormatBuffer::Append(std::u16string_view units) {
  char16_t* room = Room(units.size());
  if (room == nullptr) return false;
  CopyUnits(room, units.data(), units.size());
  Take(units.size());
  return true;
}

bool FormatBuffer::Append(size_t count, char16_t unit) {
  char16_t* room = Room(count);
  if (room == nullptr) return false;
  std::fill_n(room, count, unit);
  Take(count);
  return true;
}

bool FormatBuffer::AppendLatin1(std::string_view bytes) {
  char16_t* room = Room(bytes.size());
  if (room == nullptr) return false;
  WidenLatin1(bytes.data(), room, bytes.size());
  Take(bytes.size());
  return true;
}

bool FormatBuffer::AppendMacRoman(std::string_view bytes) {
  char16_t* room = Room(bytes.size());
  if (room == nullptr) return false;
  constexpr size_t kFew = 16;  // copied by a loop, which is faster than a call
  const size_t ascii = bytes.size() < kFew ? 0 : AsciiPrefix(bytes);
  if (ascii != 0) WidenLatin1(bytes.data(), room, ascii);
  for (size_t i = ascii; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    room[i] = byte < 0x80 ? byte : UnitOfMacRoman(byte);
  }
  Take(bytes.size());
  return true;
}

namespace {

// More digits than any number has. Further digits that a precision asks for are zeros.
constexpr int kMostDigits = 20000;

bool IsSigned(char16_t conversion) {
  return conversion == 'd' || conversion == 'D' || conversion == 'i';
}

// Cuts an integer to the value of its signed type.
std::intmax_t Signed(std::intmax_t value, FormatType type) {
  if (type == FormatType::kChar) return static_cast<signed char>(value);
  if (type == FormatType::kShort) return static_cast<short>(value);
  if (type == FormatType::kSize) return static_cast<std::ptrdiff_t>(value);
  return value;
}

// The bits of a value of this type, which was passed with its sign.
std::uintmax_t Unsigned(std::intmax_t value, FormatType type) {
  if (type == FormatType::kChar) return static_cast<unsigned char>(value);
  if (type == FormatType::kShort) return static_cast<unsigned short>(value);
  if (type == FormatType::kInt) return static_cast<unsigned>(value);
  if (type == FormatType::kLong) return static_cast<unsigned long>(value);
  const bool is_size = type == FormatType::kSize || type == FormatType::kDifference;
  return is_size ? static_cast<std::size_t>(value) : static_cast<std::uintmax_t>(value);
}

// The digits of "00" to "99".
constexpr std::array<char, 200> kTwoDigits = [] {
  std::array<char, 200> digits{};
  for (size_t i = 0; i < 100; ++i) {
    digits[2 * i] = static_cast<char>('0' + i / 10);
    digits[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return digits;
}();

// Writes the digits before `end` and returns where they start.
char* WriteDigits(char* end, std::uintmax_t value, char16_t conversion) {
  char* at = end;
  if (conversion == 'x' || conversion == 'X') {
    const char* digits = conversion == 'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    for (; value != 0; value >>= 4) *--at = digits[value & 15];
  } else if (conversion == 'o' || conversion == 'O') {
    for (; value != 0; value >>= 3) *--at = static_cast<char>('0' + (value & 7));
  } else {
    for (; value >= 100; value /= 100) {
      at -= 2;
      std::memcpy(at, kTwoDigits.data() + 2 * (value % 100), 2);
    }
    for (; value != 0; value /= 10) *--at = static_cast<char>('0' + value % 10);
  }
  return at;
}

// The parts of a number in their order: sign or "0x", zeros, digits, more zeros, exponent.
struct NumberParts {
  std::string_view prefix;
  size_t leading_zeros = 0;
  std::string_view digits;
  size_t trailing_zeros = 0;
  std::string_view exponent;
};

// Appends the number, padded to the width.
bool PutNumber(FormatBuffer& out, const FormatSpec& spec, NumberParts parts, bool pads_with_zeros) {
  const size_t length = parts.prefix.size() + parts.leading_zeros + parts.digits.size() +
                        parts.trailing_zeros + parts.exponent.size();
  const size_t width = spec.width > 0 ? static_cast<size_t>(spec.width) : 0;
  size_t padding = width > length ? width - length : 0;
  if (pads_with_zeros && !spec.left) {
    parts.leading_zeros += padding;
    padding = 0;
  }
  return (spec.left || out.Append(padding, u' ')) && out.AppendLatin1(parts.prefix) &&
         out.Append(parts.leading_zeros, u'0') && out.AppendLatin1(parts.digits) &&
         out.Append(parts.trailing_zeros, u'0') && out.AppendLatin1(parts.exponent) &&
         (!spec.left || out.Append(padding, u' '));
}

// Whether a higher precision shows more digits.
bool ShowsEveryDigit(const FormatSpec& spec) {
  return (spec.conversion != 'g' && spec.conversion != 'G') || spec.alternative;
}

// Selects a locale in which numbers look the same whatever locale the program has set.
class PlainNumbers {
 public:
  PlainNumbers() : old_(uselocale(PlainLocale())) {}
  ~PlainNumbers() { uselocale(old_); }
  PlainNumbers(const PlainNumbers&) = delete;
  PlainNumbers& operator=(const PlainNumbers&) = delete;

 private:
  locale_t old_;
};

template <class Value>
bool PutRealOf(FormatBuffer& out, const FormatSpec& spec, Value value) {
  const int precision = std::min(spec.precision, kMostDigits);
  char format[16];
  char* at = format;
  *at++ = '%';
  if (spec.plus) *at++ = '+';
  if (spec.space) *at++ = ' ';
  if (spec.alternative) *at++ = '#';
  if (spec.precision != FormatSpec::kAbsent) {
    *at++ = '.';
    *at++ = '*';
  }
  if (std::is_same_v<Value, long double>) *at++ = 'L';
  *at++ = static_cast<char>(spec.conversion);
  *at = 0;

  const PlainNumbers plain;
  const auto print = [&](char* buffer, size_t size) {
    return spec.precision == FormatSpec::kAbsent
               ? std::snprintf(buffer, size, format, value)
               : std::snprintf(buffer, size, format, precision, value);
  };
  char buffer[128];
  std::string long_buffer;
  const int length = print(buffer, sizeof buffer);
  if (length < 0) return false;
  std::string_view text(buffer, static_cast<size_t>(length));
  if (text.size() >= sizeof buffer) {
    long_buffer.resize(text.size() + 1);
    print(long_buffer.data(), long_buffer.size());
    text = std::string_view(long_buffer.data(), text.size());
  }
  size_t prefix = text.find_first_of("+- ") == 0 ? 1 : 0;
  const bool is_finite = text.substr(prefix).find_first_of("nN") == std::string_view::npos;
  if (is_finite && (spec.conversion == 'a' || spec.conversion == 'A')) prefix += 2;
  NumberParts parts;
  parts.prefix = text.substr(0, prefix);
  const size_t exponent = is_finite ? text.find_first_of("eEpP", prefix) : text.npos;
  parts.digits = text.substr(prefix, std::min(exponent, text.size()) - prefix);
  if (exponent != text.npos) parts.exponent = text.substr(exponent);
  if (is_finite && spec.precision > precision && ShowsEveryDigit(spec)) {
    parts.trailing_zeros = static_cast<size_t>(spec.precision - precision);
  }
  return PutNumber(out, spec, parts, spec.zero && is_finite);
}

}  // namespace

bool PutInteger(FormatBuffer& out, const FormatSpec& spec, std::intmax_t argument,
                FormatType type) {
  constexpr size_t kLongestPrefix = 2;
  char buffer[3 * sizeof(std::uintmax_t) + kLongestPrefix];
  char* const end = buffer + sizeof buffer;
  std::string_view prefix;
  std::uintmax_t magnitude;
  if (IsSigned(spec.conversion)) {
    const std::intmax_t value = Signed(argument, type);
    magnitude = static_cast<std::uintmax_t>(value);
    if (value < 0) {
      magnitude = 0 - magnitude;
      prefix = "-";
    } else if (spec.plus) {
      prefix = "+";
    } else if (spec.space) {
      prefix = " ";
    }
  } else {
    magnitude = Unsigned(argument, type);
    if (spec.alternative && magnitude != 0) {
      if (spec.conversion == 'x') prefix = "0x";
      if (spec.conversion == 'X') prefix = "0X";
    }
  }
  char* start = WriteDigits(end, magnitude, spec.conversion);
  auto digits = static_cast<size_t>(end - start);
  const bool is_octal = spec.conversion == 'o' || spec.conversion == 'O';
  size_t minimum = spec.precision == FormatSpec::kAbsent ? 1 : static_cast<size_t>(spec.precision);
  if (is_octal && spec.alternative) minimum = std::max(minimum, digits + 1);
  if (spec.width <= 0 && minimum <= 1 && !is_octal) {
    // Most numbers are appended as one piece.
    if (digits < minimum) *--start = '0';
    for (size_t i = prefix.size(); i > 0; --i) *--start = prefix[i - 1];
    return out.AppendFew({start, static_cast<size_t>(end - start)});
  }
  const size_t zeros = minimum > digits ? minimum - digits : 0;
  return PutNumber(out, spec, {prefix, zeros, {start, digits}, 0, {}},
                   spec.zero && spec.precision == FormatSpec::kAbsent);
}

bool PutPlainInteger(FormatBuffer& out, std::uintmax_t magnitude, bool is_negative,
                     char16_t conversion) {
  char buffer[3 * sizeof(std::uintmax_t) + 1];
  char* const end = buffer + sizeof buffer;
  char* start = WriteDigits(end, magnitude, conversion);
  if (start == end) *--start = '0';
  if (is_negative) *--start = '-';
  return out.AppendFew({start, static_cast<size_t>(end - start)});
}

bool PutReal(FormatBuffer& out, const FormatSpec& spec, double value) {
  return PutRealOf(out, spec, value);
}

bool PutReal(FormatBuffer& out, const FormatSpec& spec, long double value) {
  return PutRealOf(out, spec, value);
}

bool PutAddress(FormatBuffer& out, const FormatSpec& spec, const void* address) {
  char buffer[2 * sizeof(std::uintptr_t)];
  char* const end = buffer + sizeof buffer;
  char* start = WriteDigits(end, reinterpret_cast<std::uintptr_t>(address), u'x');
  if (start == end) *--start = '0';
  return PutNumber(out, spec, {"0x", 0, {start, static_cast<size_t>(end - start)}, 0, {}},
                   spec.zero);
}

}  // namespace orvik
