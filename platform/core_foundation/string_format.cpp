#include "platform/core_foundation/string_format.h"

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/core_foundation/encodings.h"
#include "platform/core_foundation/string_format_spec.h"
#include "platform/core_foundation/transcoding.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/string.h"

namespace orvik {

namespace {

// More fraction digits than any number has; beyond them the format is refused.
constexpr int kMaximumFractionPrecision = 20000;
constexpr int kMaximumPositions = 4096;

enum class ArgumentKind {
  kNone,
  kInt,
  kLong,
  kLongLong,
  kSize,
  kDifference,
  kMaximum,
  kDouble,
  kLongDouble,
  kPointer,
};

struct ArgumentValue {
  union {
    std::intmax_t integer;
    double real;
    const void* pointer;
  };
  long double long_real;
};

// The argument list, read in order.
class ArgumentReader {
 public:
  explicit ArgumentReader(std::va_list arguments) { va_copy(list_, arguments); }
  ~ArgumentReader() { va_end(list_); }
  ArgumentReader(const ArgumentReader&) = delete;
  ArgumentReader& operator=(const ArgumentReader&) = delete;

  ArgumentValue Next(ArgumentKind kind) {
    ArgumentValue value;
    switch (kind) {
      case ArgumentKind::kNone:
        value.integer = 0;
        break;
      case ArgumentKind::kInt:
        value.integer = va_arg(list_, int);
        break;
      case ArgumentKind::kLong:
        value.integer = va_arg(list_, long);
        break;
      case ArgumentKind::kLongLong:
        value.integer = va_arg(list_, long long);
        break;
      case ArgumentKind::kSize:
        value.integer = static_cast<std::intmax_t>(va_arg(list_, std::size_t));
        break;
      case ArgumentKind::kDifference:
        value.integer = va_arg(list_, std::ptrdiff_t);
        break;
      case ArgumentKind::kMaximum:
        value.integer = va_arg(list_, std::intmax_t);
        break;
      case ArgumentKind::kDouble:
        value.real = va_arg(list_, double);
        break;
      case ArgumentKind::kLongDouble:
        value.long_real = va_arg(list_, long double);
        break;
      case ArgumentKind::kPointer:
        value.pointer = va_arg(list_, const void*);
        break;
    }
    return value;
  }

 private:
  std::va_list list_;
};

ArgumentKind IntegerKind(FormatLength length) {
  switch (length) {
    case FormatLength::kLong:
      return ArgumentKind::kLong;
    case FormatLength::kLongLong:
    case FormatLength::kLongDouble:
      return ArgumentKind::kLongLong;
    case FormatLength::kSize:
      return ArgumentKind::kSize;
    case FormatLength::kDifference:
      return ArgumentKind::kDifference;
    case FormatLength::kMaximum:
      return ArgumentKind::kMaximum;
    default:
      return ArgumentKind::kInt;
  }
}

// kNone for "%%" and for what is no conversion.
ArgumentKind KindOf(const FormatSpec& spec) {
  switch (spec.conversion) {
    case 'd':
    case 'D':
    case 'i':
    case 'u':
    case 'U':
    case 'x':
    case 'X':
    case 'o':
    case 'O':
      return IntegerKind(spec.length);
    case 'c':
    case 'C':
      return ArgumentKind::kInt;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return spec.length == FormatLength::kLongDouble ? ArgumentKind::kLongDouble
                                                      : ArgumentKind::kDouble;
    case 's':
    case 'S':
    case '@':
    case 'p':
      return ArgumentKind::kPointer;
    default:
      return ArgumentKind::kNone;
  }
}

bool IsSigned(char16_t conversion) {
  return conversion == 'd' || conversion == 'D' || conversion == 'i';
}

// An integer argument as its conversion takes it.
std::intmax_t Signed(std::intmax_t value, FormatLength length) {
  if (length == FormatLength::kHalfHalf) return static_cast<signed char>(value);
  if (length == FormatLength::kHalf) return static_cast<short>(value);
  return value;
}

std::uintmax_t Unsigned(std::intmax_t value, FormatLength length) {
  switch (length) {
    case FormatLength::kHalfHalf:
      return static_cast<unsigned char>(value);
    case FormatLength::kHalf:
      return static_cast<unsigned short>(value);
    case FormatLength::kNone:
      return static_cast<unsigned>(value);
    default:
      return static_cast<std::uintmax_t>(value);
  }
}

// The digits, from the end of the buffer; returns where they start.
char* WriteDigits(char* end, std::uintmax_t value, char16_t conversion) {
  char* at = end;
  if (conversion == 'x' || conversion == 'X') {
    const char* digits = conversion == 'x' ? "0123456789abcdef" : "0123456789ABCDEF";
    for (; value != 0; value >>= 4) *--at = digits[value & 15];
  } else if (conversion == 'o' || conversion == 'O') {
    for (; value != 0; value >>= 3) *--at = static_cast<char>('0' + (value & 7));
  } else {
    for (; value != 0; value /= 10) *--at = static_cast<char>('0' + value % 10);
  }
  return at;
}

// Puts prefix (sign, "0x"), zeros and body into the width.
bool PutNumber(FormatBuffer& out, const FormatSpec& spec, std::string_view prefix, size_t zeros,
               std::string_view body, bool pads_with_zeros) {
  const size_t length = prefix.size() + zeros + body.size();
  const size_t width = spec.width > 0 ? static_cast<size_t>(spec.width) : 0;
  size_t padding = width > length ? width - length : 0;
  if (pads_with_zeros && !spec.left) {
    zeros += padding;
    padding = 0;
  }
  return (spec.left || out.Append(padding, u' ')) && out.AppendLatin1(prefix) &&
         out.Append(zeros, u'0') && out.AppendLatin1(body) &&
         (!spec.left || out.Append(padding, u' '));
}

bool PutInteger(FormatBuffer& out, const FormatSpec& spec, std::intmax_t argument) {
  char buffer[3 * sizeof(std::uintmax_t)];
  char* const end = buffer + sizeof buffer;
  std::string_view prefix;
  std::uintmax_t magnitude;
  if (IsSigned(spec.conversion)) {
    const std::intmax_t value = Signed(argument, spec.length);
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
    magnitude = Unsigned(argument, spec.length);
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
    if (digits < minimum) *--start = '0';
    return out.AppendLatin1(prefix) && out.AppendLatin1({start, static_cast<size_t>(end - start)});
  }
  const size_t zeros = minimum > digits ? minimum - digits : 0;
  return PutNumber(out, spec, prefix, zeros, {start, digits},
                   spec.zero && spec.precision == FormatSpec::kAbsent);
}

// Numbers look the same whatever locale the program has set.
class PlainNumbers {
 public:
  PlainNumbers() : old_(uselocale(Plain())) {}
  ~PlainNumbers() { uselocale(old_); }
  PlainNumbers(const PlainNumbers&) = delete;
  PlainNumbers& operator=(const PlainNumbers&) = delete;

 private:
  static locale_t Plain() {
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    return plain;
  }
  locale_t old_;
};

bool PutReal(FormatBuffer& out, const FormatSpec& spec, ArgumentValue argument) {
  if (spec.precision > kMaximumFractionPrecision) return false;
  const bool is_long = spec.length == FormatLength::kLongDouble;
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
  if (is_long) *at++ = 'L';
  *at++ = static_cast<char>(spec.conversion);
  *at = 0;

  const PlainNumbers plain;
  const auto print = [&](char* buffer, size_t size) {
    if (spec.precision == FormatSpec::kAbsent) {
      return is_long ? std::snprintf(buffer, size, format, argument.long_real)
                     : std::snprintf(buffer, size, format, argument.real);
    }
    return is_long ? std::snprintf(buffer, size, format, spec.precision, argument.long_real)
                   : std::snprintf(buffer, size, format, spec.precision, argument.real);
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
  return PutNumber(out, spec, text.substr(0, prefix), 0, text.substr(prefix),
                   spec.zero && is_finite);
}

// Puts a text of `length` units into the width.
template <class Put>
bool PutPadded(FormatBuffer& out, const FormatSpec& spec, size_t length, const Put& put) {
  const size_t width = spec.width > 0 ? static_cast<size_t>(spec.width) : 0;
  if (width <= length) return put();
  const size_t padding = width - length;
  return (spec.left || out.Append(padding, u' ')) && put() &&
         (!spec.left || out.Append(padding, u' '));
}

// How many units the precision lets through.
size_t Limit(const FormatSpec& spec, size_t length) {
  return spec.precision == FormatSpec::kAbsent
             ? length
             : std::min(length, static_cast<size_t>(spec.precision));
}

constexpr std::u16string_view kNull = u"(null)";

bool PutUnits(FormatBuffer& out, const FormatSpec& spec, std::u16string_view units) {
  units = units.substr(0, Limit(spec, units.size()));
  return PutPadded(out, spec, units.size(), [&] { return out.Append(units); });
}

bool PutMacRoman(FormatBuffer& out, const FormatSpec& spec, const char* text) {
  if (text == nullptr) return PutUnits(out, spec, kNull);
  const size_t length = spec.precision == FormatSpec::kAbsent
                            ? std::strlen(text)
                            : strnlen(text, static_cast<size_t>(spec.precision));
  return PutPadded(out, spec, length, [&] { return out.AppendMacRoman({text, length}); });
}

bool PutWide(FormatBuffer& out, const FormatSpec& spec, const char16_t* text) {
  if (text == nullptr) return PutUnits(out, spec, kNull);
  if (spec.precision == FormatSpec::kAbsent) return PutUnits(out, spec, text);
  size_t length = 0;
  while (length < static_cast<size_t>(spec.precision) && text[length] != 0) ++length;
  return PutUnits(out, spec, {text, length});
}

bool PutString(FormatBuffer& out, const FormatSpec& spec, const NSString* text) {
  if (!text->isLatin1()) return PutUnits(out, spec, text->wide());
  const std::string_view bytes = text->latin1().substr(0, Limit(spec, text->latin1().size()));
  return PutPadded(out, spec, bytes.size(), [&] { return out.AppendLatin1(bytes); });
}

bool PutObject(FormatBuffer& out, const FormatSpec& spec, const NSObject* object) {
  if (object == nullptr) return PutUnits(out, spec, kNull);
  if (object->typeID() == NSString::TypeID()) {
    return PutString(out, spec, static_cast<const NSString*>(object));
  }
  const NSAutoreleasePool pool;
  const NSString* description = object->description();
  return description == nullptr ? PutUnits(out, spec, kNull) : PutString(out, spec, description);
}

bool PutArgument(FormatBuffer& out, const FormatSpec& spec, ArgumentValue value) {
  switch (spec.conversion) {
    case '@':
      return PutObject(out, spec, ObjectOf(value.pointer));
    case 's':
      return spec.length == FormatLength::kLong
                 ? PutWide(out, spec, static_cast<const char16_t*>(value.pointer))
                 : PutMacRoman(out, spec, static_cast<const char*>(value.pointer));
    case 'S':
      return spec.length == FormatLength::kHalf
                 ? PutMacRoman(out, spec, static_cast<const char*>(value.pointer))
                 : PutWide(out, spec, static_cast<const char16_t*>(value.pointer));
    case 'c':
    case 'C': {
      const bool is_wide = spec.conversion == 'C' ? spec.length != FormatLength::kHalf
                                                  : spec.length == FormatLength::kLong;
      const auto unit = is_wide ? static_cast<char16_t>(value.integer)
                                : UnitOfMacRoman(static_cast<unsigned char>(value.integer));
      return PutPadded(out, spec, 1, [&] { return out.Append(1, unit); });
    }
    case 'p': {
      char buffer[2 * sizeof(std::uintptr_t)];
      char* const end = buffer + sizeof buffer;
      char* start = WriteDigits(end, reinterpret_cast<std::uintptr_t>(value.pointer), u'x');
      if (start == end) *--start = '0';
      return PutNumber(out, spec, "0x", 0, {start, static_cast<size_t>(end - start)}, spec.zero);
    }
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return PutReal(out, spec, value);
    default:
      return PutInteger(out, spec, value.integer);
  }
}

void SetWidth(FormatSpec& spec, std::intmax_t width) {
  if (width < 0) {
    spec.left = true;
    width = -width;
  }
  spec.width = static_cast<int>(std::min<std::intmax_t>(width, FormatSpec::kMaximumNumber));
}

void SetPrecision(FormatSpec& spec, std::intmax_t precision) {
  spec.precision =
      precision < 0
          ? FormatSpec::kAbsent
          : static_cast<int>(std::min<std::intmax_t>(precision, FormatSpec::kMaximumNumber));
}

bool AppendText(FormatBuffer& out, std::u16string_view text) {
  return out.Append(text);
}
bool AppendText(FormatBuffer& out, std::string_view text) {
  return out.AppendMacRoman(text);
}

template <class Unit>
class Formatter {
 public:
  using View = std::basic_string_view<Unit>;

  Formatter(FormatBuffer& out, View format, FormatStyle style)
      : out_(out), format_(format), style_(style) {}

  bool Run(std::va_list arguments) {
    ArgumentReader reader(arguments);
    size_t index = 0;
    for (;;) {
      const size_t percent = std::min(format_.find(Unit{'%'}, index), format_.size());
      if (percent > index && !AppendText(out_, format_.substr(index, percent - index)))
        return false;
      if (percent == format_.size()) return true;
      index = percent + 1;
      // The two that most formats are made of.
      if (index < format_.size() && (format_[index] == Unit{'d'} || format_[index] == Unit{'%'})) {
        const bool is_number = format_[index++] == Unit{'d'};
        if (is_number) {
          FormatSpec plain;
          plain.conversion = u'd';
          if (positional_ == Positional::kYes) return false;
          positional_ = Positional::kNo;
          if (!PutInteger(out_, plain, reader.Next(ArgumentKind::kInt).integer)) return false;
        } else if (!out_.Append(1, u'%') || !AppendReplacedS(&index)) {
          return false;
        }
        continue;
      }
      FormatSpec spec = ParseFormatSpec(format_, index);
      if (TakesWide(spec, percent, index)) spec.conversion = u'S';
      const ArgumentKind kind = KindOf(spec);
      if (kind == ArgumentKind::kNone) {
        if (!PutUnknown(spec, percent, &index)) return false;
        continue;
      }
      if (!SetMode(spec) || !ReadPositions(reader)) return false;
      const auto take = [&](int position, ArgumentKind argument_kind) {
        return positional_ == Positional::kYes ? values_[static_cast<size_t>(position) - 1]
                                               : reader.Next(argument_kind);
      };
      if (spec.width_is_argument) {
        SetWidth(spec, take(spec.width_position, ArgumentKind::kInt).integer);
      }
      if (spec.precision_is_argument) {
        SetPrecision(spec, take(spec.precision_position, ArgumentKind::kInt).integer);
      }
      if (!PutArgument(out_, spec, take(spec.position, kind))) return false;
    }
  }

 private:
  enum class Positional { kUnknown, kNo, kYes };

  // "%s" without anything between is what the replacement of the text meets.
  bool TakesWide(const FormatSpec& spec, size_t percent, size_t index) const {
    return style_ == FormatStyle::kSmallStringsAreWide && spec.conversion == u's' &&
           index - percent == 2;
  }

  // After the second "%" of "%%" an "s" is replaced as well.
  bool AppendReplacedS(size_t* index) {
    if (style_ != FormatStyle::kSmallStringsAreWide || *index >= format_.size() ||
        format_[*index] != Unit{'s'}) {
      return true;
    }
    ++*index;
    return out_.Append(1, u'S');
  }

  bool PutUnknown(const FormatSpec& spec, size_t percent, size_t* index) {
    if (spec.conversion != u'%') return AppendText(out_, format_.substr(percent, *index - percent));
    return out_.Append(1, u'%') && AppendReplacedS(index);
  }

  // All arguments have positions, or none has.
  bool SetMode(const FormatSpec& spec) {
    const bool has_position = spec.position != FormatSpec::kNextArgument;
    const bool agrees = (!spec.width_is_argument ||
                         (spec.width_position != FormatSpec::kNextArgument) == has_position) &&
                        (!spec.precision_is_argument ||
                         (spec.precision_position != FormatSpec::kNextArgument) == has_position);
    const Positional mode = has_position ? Positional::kYes : Positional::kNo;
    if (!agrees || (positional_ != Positional::kUnknown && positional_ != mode)) return false;
    positional_ = mode;
    return true;
  }

  // Reads all arguments in their order, once it is known that they have positions.
  bool ReadPositions(ArgumentReader& reader) {
    if (positional_ != Positional::kYes || !values_.empty()) return true;
    std::vector<ArgumentKind> kinds;
    const auto note = [&](int position, ArgumentKind kind) {
      if (position < 1 || position > kMaximumPositions) return false;
      const auto place = static_cast<size_t>(position) - 1;
      if (kinds.size() <= place) kinds.resize(place + 1, ArgumentKind::kNone);
      if (kinds[place] != ArgumentKind::kNone && kinds[place] != kind) return false;
      kinds[place] = kind;
      return true;
    };
    for (size_t index = 0;;) {
      const size_t percent = format_.find(Unit{'%'}, index);
      if (percent == View::npos) break;
      index = percent + 1;
      FormatSpec spec = ParseFormatSpec(format_, index);
      const ArgumentKind kind = KindOf(spec);
      if (kind == ArgumentKind::kNone) continue;
      if (!note(spec.position, kind)) return false;
      if (spec.width_is_argument && !note(spec.width_position, ArgumentKind::kInt)) return false;
      if (spec.precision_is_argument && !note(spec.precision_position, ArgumentKind::kInt)) {
        return false;
      }
    }
    for (const ArgumentKind kind : kinds) {
      if (kind == ArgumentKind::kNone) return false;
      values_.push_back(reader.Next(kind));
    }
    return true;
  }

  FormatBuffer& out_;
  View format_;
  FormatStyle style_;
  Positional positional_ = Positional::kUnknown;
  std::vector<ArgumentValue> values_;
};

}  // namespace

char16_t* FormatBuffer::Grow(size_t count) {
  if (count > kMaximumFormattedLength - length_) return nullptr;
  const size_t grown = std::max(capacity_ * 2, length_ + count);
  // NOLINTNEXTLINE(modernize-make-unique): that would zero it
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
  std::char_traits<char16_t>::copy(room, units.data(), units.size());
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
  const size_t ascii = AsciiPrefix(bytes);
  WidenLatin1(bytes.data(), room, ascii);
  for (size_t i = ascii; i < bytes.size(); ++i) {
    room[i] = UnitOfMacRoman(static_cast<unsigned char>(bytes[i]));
  }
  Take(bytes.size());
  return true;
}

bool FormatUnits(FormatBuffer& result, std::u16string_view format, std::va_list arguments,
                 FormatStyle style) {
  return Formatter<char16_t>(result, format, style).Run(arguments);
}

bool FormatMacRoman(FormatBuffer& result, std::string_view format, std::va_list arguments) {
  return Formatter<char>(result, format, FormatStyle::kPlain).Run(arguments);
}

}  // namespace orvik
