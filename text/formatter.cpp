#include "text/formatter.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "text/code_page_codec.h"
#include "text/format_buffer.h"
#include "text/format_spec.h"

namespace orvik {

namespace {

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
  const FormatArgument* typed = nullptr;  // in place of the others
};

// Arguments with their types, in any order.
class TypedArguments {
 public:
  explicit TypedArguments(std::span<const FormatArgument> arguments) : arguments_(arguments) {}

  ArgumentValue Next(ArgumentKind) { return At(++last_); }
  // The next argument, which Skip then passes; null behind the last one.
  const FormatArgument* Peek() const {
    const auto index = static_cast<size_t>(last_);
    return index < arguments_.size() ? &arguments_[index] : nullptr;
  }
  void Skip() { ++last_; }
  ArgumentValue At(int position) const {
    ArgumentValue value;
    const auto index = static_cast<size_t>(position) - 1;
    value.typed = index < arguments_.size() ? &arguments_[index] : &kMissing;
    return value;
  }

 private:
  // No conversion takes it.
  static constexpr FormatArgument kMissing =
      FormatArgument::Pointer(static_cast<FormatArgument::Kind>(-1), nullptr);

  std::span<const FormatArgument> arguments_;
  int last_ = 0;
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
      case ArgumentKind::kDifference:
        value.integer = va_arg(list_, std::ptrdiff_t);
        break;
      case ArgumentKind::kSize:
        value.integer = static_cast<std::intmax_t>(va_arg(list_, std::size_t));
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

ArgumentKind KindOf(const FormatSpec& spec) {
  switch (ClassOf(spec.conversion)) {
    case FormatClass::kNone:
      return ArgumentKind::kNone;
    case FormatClass::kInteger:
      return spec.conversion == 'c' || spec.conversion == 'C' ? ArgumentKind::kInt
                                                              : IntegerKind(spec.length);
    case FormatClass::kReal:
      return spec.length == FormatLength::kLongDouble ? ArgumentKind::kLongDouble
                                                      : ArgumentKind::kDouble;
    default:
      return ArgumentKind::kPointer;
  }
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

// The character of an integer, by the conversion.
char16_t CharacterOf(const FormatSpec& spec, std::intmax_t value) {
  const bool is_wide = spec.conversion == 'C' ? spec.length != FormatLength::kHalf
                                              : spec.length == FormatLength::kLong;
  return is_wide ? static_cast<char16_t>(value) : UnitOfMacRoman(static_cast<unsigned char>(value));
}

bool PutCharacter(FormatBuffer& out, const FormatSpec& spec, char16_t unit) {
  return PutPadded(out, spec, 1, [&] { return out.Append(1, unit); });
}

// As what the argument is, whichever of the conversions that take it is written.
bool PutTyped(FormatBuffer& out, FormatSpec spec, const FormatArgument& argument,
              ObjectDescriber describe) {
  using Kind = FormatArgument::Kind;
  const FormatClass format_class = ClassOf(spec.conversion);
  if (!TakesArgument(format_class, argument.kind)) return false;
  if (format_class == FormatClass::kPointer) return PutAddress(out, spec, argument.pointer);
  const bool is_character = spec.conversion == 'c' || spec.conversion == 'C';
  switch (argument.kind) {
    case Kind::kByte:
      if (is_character) {
        return PutCharacter(out, spec,
                            UnitOfMacRoman(static_cast<unsigned char>(argument.integer)));
      }
      break;
    case Kind::kUnit:
      if (is_character) return PutCharacter(out, spec, static_cast<char16_t>(argument.integer));
      break;
    case Kind::kReal:
      return PutReal(out, spec, argument.real);
    case Kind::kLongReal:
      return PutReal(out, spec, *static_cast<const long double*>(argument.pointer));
    case Kind::kNarrow: {
      if (argument.pointer == nullptr) return PutUnits(out, spec, kNull);
      const std::string_view text(static_cast<const char*>(argument.pointer),
                                  Limit(spec, argument.length));
      return PutPadded(out, spec, text.size(), [&] { return out.AppendMacRoman(text); });
    }
    case Kind::kWide:
      if (argument.pointer == nullptr) return PutUnits(out, spec, kNull);
      return PutUnits(out, spec, {static_cast<const char16_t*>(argument.pointer), argument.length});
    case Kind::kObject:
      if (argument.pointer == nullptr || describe == nullptr) return PutUnits(out, spec, kNull);
      return PutUnits(out, spec, describe(argument.pointer));
    default:
      break;
  }
  if (is_character) return PutCharacter(out, spec, CharacterOf(spec, argument.integer));
  if (spec.length != FormatLength::kHalf && spec.length != FormatLength::kHalfHalf) {
    spec.length =
        argument.kind == Kind::kLongInteger ? FormatLength::kLongLong : FormatLength::kNone;
  }
  return PutInteger(out, spec, argument.integer);
}

bool PutArgument(FormatBuffer& out, const FormatSpec& spec, ArgumentValue value,
                 ObjectDescriber describe) {
  if (value.typed != nullptr) return PutTyped(out, spec, *value.typed, describe);
  switch (spec.conversion) {
    case '@':
      return value.pointer == nullptr || describe == nullptr
                 ? PutUnits(out, spec, kNull)
                 : PutUnits(out, spec, describe(value.pointer));
    case 's':
      return spec.length == FormatLength::kLong
                 ? PutWide(out, spec, static_cast<const char16_t*>(value.pointer))
                 : PutMacRoman(out, spec, static_cast<const char*>(value.pointer));
    case 'S':
      return spec.length == FormatLength::kHalf
                 ? PutMacRoman(out, spec, static_cast<const char*>(value.pointer))
                 : PutWide(out, spec, static_cast<const char16_t*>(value.pointer));
    case 'c':
    case 'C':
      return PutCharacter(out, spec, CharacterOf(spec, value.integer));
    case 'p':
      return PutAddress(out, spec, value.pointer);
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return spec.length == FormatLength::kLongDouble ? PutReal(out, spec, value.long_real)
                                                      : PutReal(out, spec, value.real);
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

  Formatter(FormatBuffer& out, View format, ObjectDescriber describe, FormatStyle style)
      : out_(out), format_(format), describe_(describe), style_(style) {}

  template <class Reader>
  bool Run(Reader reader) {
    size_t index = 0;
    for (;;) {
      const size_t percent = FindPercent(index);
      if (percent > index && !AppendText(out_, format_.substr(index, percent - index)))
        return false;
      if (percent == format_.size()) return true;
      index = percent + 1;
      if (index < format_.size() && format_[index] == Unit{'%'}) {
        ++index;
        if (!out_.Append(1, u'%') || !AppendReplacedS(&index)) return false;
        continue;
      }
      if (index < format_.size()) {
        const Quick quick = PutQuickly(reader, format_[index]);
        if (quick == Quick::kFailed) return false;
        if (quick == Quick::kDone) {
          ++index;
          continue;
        }
      }
      FormatSpec spec = ParseSpec(index);
      if (TakesWide(spec, percent, index)) spec.conversion = u'S';
      const ArgumentKind kind = KindOf(spec);
      if (kind == ArgumentKind::kNone) {
        if (!PutUnknown(spec, percent, &index)) return false;
        continue;
      }
      if (!SetMode(spec) || !ReadPositions(reader)) return false;
      const auto take = [&](int position, ArgumentKind argument_kind) {
        return positional_ == Positional::kYes ? At(reader, position) : reader.Next(argument_kind);
      };
      std::intmax_t number;
      if (spec.width_is_argument) {
        if (!NumberOf(take(spec.width_position, ArgumentKind::kInt), &number)) return false;
        SetWidth(spec, number);
      }
      if (spec.precision_is_argument) {
        if (!NumberOf(take(spec.precision_position, ArgumentKind::kInt), &number)) return false;
        SetPrecision(spec, number);
      }
      if (!PutArgument(out_, spec, take(spec.position, kind), describe_)) return false;
    }
  }

 private:
  enum class Positional { kUnknown, kNo, kYes };
  enum class Quick { kDone, kFailed, kOther };

  // Carries out a conversion of one letter whose argument has the very type; most have.
  Quick PutQuickly(TypedArguments& reader, Unit letter) {
    using Kind = FormatArgument::Kind;
    const FormatArgument* const argument = reader.Peek();
    if (argument == nullptr || positional_ == Positional::kYes) return Quick::kOther;
    bool is_put = false;
    const bool is_number = argument->kind == Kind::kInteger;
    const bool is_text = argument->kind == Kind::kNarrow || argument->kind == Kind::kWide;
    if (is_number && letter == Unit{'d'}) {
      const auto bits = static_cast<std::uintmax_t>(argument->integer);
      const bool is_negative = argument->integer < 0;
      is_put = PutPlainInteger(out_, is_negative ? 0 - bits : bits, is_negative, u'd');
    } else if (is_number && (letter == Unit{'x'} || letter == Unit{'u'})) {
      is_put = PutPlainInteger(out_, static_cast<unsigned>(argument->integer), false,
                               static_cast<char16_t>(letter));
    } else if (is_text && argument->pointer != nullptr &&
               (letter == Unit{'s'} || letter == Unit{'S'})) {
      is_put =
          argument->kind == Kind::kWide
              ? out_.Append({static_cast<const char16_t*>(argument->pointer), argument->length})
              : out_.AppendMacRoman(
                    {static_cast<const char*>(argument->pointer), argument->length});
    } else {
      return Quick::kOther;
    }
    positional_ = Positional::kNo;
    reader.Skip();
    return is_put ? Quick::kDone : Quick::kFailed;
  }
  Quick PutQuickly(ArgumentReader&, Unit) { return Quick::kOther; }

  // The next "%", or the end. What lies before it is a few units mostly.
  size_t FindPercent(size_t index) const {
    const size_t near = std::min(format_.size(), index + 16);
    while (index < near && format_[index] != Unit{'%'}) ++index;
    if (index < near) return index;
    return index == format_.size() ? index
                                   : std::min(format_.find(Unit{'%'}, index), format_.size());
  }

  // Most conversions are one letter.
  FormatSpec ParseSpec(size_t& index) const {
    if (index < format_.size()) {
      const Unit unit = format_[index];
      if (unit == Unit{'d'} || unit == Unit{'s'} || unit == Unit{'S'} || unit == Unit{'@'} ||
          unit == Unit{'x'} || unit == Unit{'u'} || unit == Unit{'c'}) {
        ++index;
        FormatSpec spec;
        spec.conversion = static_cast<char16_t>(unit);
        return spec;
      }
    }
    return ParseFormatSpec(format_, index);
  }

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

  static bool NumberOf(const ArgumentValue& value, std::intmax_t* number) {
    if (value.typed != nullptr && !TakesArgument(FormatClass::kInteger, value.typed->kind)) {
      return false;
    }
    *number = value.typed != nullptr ? value.typed->integer : value.integer;
    return true;
  }

  ArgumentValue At(const TypedArguments& reader, int position) const { return reader.At(position); }
  ArgumentValue At(const ArgumentReader&, int position) const {
    return values_[static_cast<size_t>(position) - 1];
  }

  bool ReadPositions(const TypedArguments&) { return true; }
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
  ObjectDescriber describe_;
  FormatStyle style_;
  Positional positional_ = Positional::kUnknown;
  std::vector<ArgumentValue> values_;
};

}  // namespace

bool FormatUnits(FormatBuffer& result, std::u16string_view format, std::va_list arguments,
                 ObjectDescriber describe, FormatStyle style) {
  return Formatter<char16_t>(result, format, describe, style).Run(ArgumentReader(arguments));
}

bool FormatUnits(FormatBuffer& result, std::u16string_view format,
                 std::span<const FormatArgument> arguments, ObjectDescriber describe,
                 FormatStyle style) {
  return Formatter<char16_t>(result, format, describe, style).Run(TypedArguments(arguments));
}

bool FormatMacRoman(FormatBuffer& result, std::string_view format, std::va_list arguments,
                    ObjectDescriber describe) {
  return Formatter<char>(result, format, describe, FormatStyle::kPlain)
      .Run(ArgumentReader(arguments));
}

bool FormatMacRoman(FormatBuffer& result, std::string_view format,
                    std::span<const FormatArgument> arguments, ObjectDescriber describe) {
  return Formatter<char>(result, format, describe, FormatStyle::kPlain)
      .Run(TypedArguments(arguments));
}

}  // namespace orvik
