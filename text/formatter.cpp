#include "text/formatter.h"

#include <cstdint>
#include <forward_list>
#include <string_view>
#include <vector>

#include "text/code_page_codec.h"
#include "text/format_buffer.h"
#include "text/format_spec.h"

namespace orvik {

namespace {

// The limit of positions in a list of C, which bounds the list of types that a format can ask for.
constexpr int kMaximumPositions = 4096;

// Arguments with their types, which may be read in any order.
class TypedArguments {
 public:
  explicit TypedArguments(std::span<const FormatArgument> arguments) : arguments_(arguments) {}

  // Ignores the type that the conversion takes, because the argument has its own.
  FormatArgument Next(FormatType) { return At(++last_); }
  // The next argument, which Skip then passes; null behind the last argument.
  const FormatArgument* Peek() const {
    const auto index = static_cast<size_t>(last_);
    return index < arguments_.size() ? &arguments_[index] : nullptr;
  }
  void Skip() { ++last_; }
  // A missing argument has the type kNone, which no conversion takes.
  FormatArgument At(int position) const {
    const auto index = static_cast<size_t>(position) - 1;
    return index < arguments_.size() ? arguments_[index]
                                     : FormatArgument::Pointer(FormatType::kNone, nullptr);
  }

 private:
  std::span<const FormatArgument> arguments_;
  int last_ = 0;
};

// The type to which C promotes an argument of this type.
FormatType PassedType(FormatType type) {
  using enum FormatType;
  if (type == kChar || type == kShort || type == kByte || type == kUnit) return kInt;
  return IsTextType(type) || type == kObject ? kPointer : type;
}

// An argument list of C, read in order. The conversions name the types.
class ArgumentReader {
 public:
  explicit ArgumentReader(std::va_list arguments) { va_copy(list_, arguments); }
  ~ArgumentReader() { va_end(list_); }
  ArgumentReader(const ArgumentReader&) = delete;
  ArgumentReader& operator=(const ArgumentReader&) = delete;

  FormatArgument Next(FormatType type) {
    using enum FormatType;
    const auto integer = [type](auto value) {
      return FormatArgument::Integer(type, static_cast<std::intmax_t>(value));
    };
    const FormatType passed = PassedType(type);
    if (passed == kInt) return integer(va_arg(list_, int));
    if (passed == kLong) return integer(va_arg(list_, long));
    if (passed == kLongLong) return integer(va_arg(list_, long long));
    if (passed == kDifference) return integer(va_arg(list_, std::ptrdiff_t));
    if (passed == kSize) return integer(va_arg(list_, std::size_t));
    if (passed == kMaximum) return integer(va_arg(list_, std::intmax_t));
    if (passed == kReal) return FormatArgument::Real(va_arg(list_, double));
    if (passed == kLongReal) {
      return FormatArgument::Pointer(type, &long_reals_.emplace_front(va_arg(list_, long double)));
    }
    return FormatArgument::Pointer(type, va_arg(list_, const void*), FormatArgument::kTerminated);
  }

 private:
  std::va_list list_;
  // The long doubles of the list; the arguments point to them.
  std::forward_list<long double> long_reals_;
};

// Appends a text of `length` units, padded to the width.
template <class Put>
bool PutPadded(FormatBuffer& out, const FormatSpec& spec, size_t length, const Put& put) {
  const size_t width = spec.width > 0 ? static_cast<size_t>(spec.width) : 0;
  if (width <= length) return put();
  const size_t padding = width - length;
  return (spec.left || out.Append(padding, u' ')) && put() &&
         (!spec.left || out.Append(padding, u' '));
}

// The number of units that the precision allows.
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

// The text of an argument, as long as the precision allows. Reads nothing behind that.
template <typename Unit>
std::basic_string_view<Unit> TextOf(const FormatSpec& spec, const FormatArgument& argument) {
  const auto* const text = static_cast<const Unit*>(argument.pointer);
  if (argument.length != FormatArgument::kTerminated) {
    return {text, Limit(spec, argument.length)};
  }
  if (spec.precision == FormatSpec::kAbsent) return text;
  size_t length = 0;
  while (length < static_cast<size_t>(spec.precision) && text[length] != 0) ++length;
  return {text, length};
}

bool PutCharacter(FormatBuffer& out, const FormatSpec& spec, char16_t unit) {
  return PutPadded(out, spec, 1, [&] { return out.Append(1, unit); });
}

// The type that decides how an integer is shown. Characters have their own conversions.
FormatType ShownType(FormatType wanted, FormatType given) {
  const auto is_character = [](FormatType type) {
    return type == FormatType::kByte || type == FormatType::kUnit;
  };
  if (is_character(wanted)) return is_character(given) ? given : wanted;
  if (wanted == FormatType::kChar || wanted == FormatType::kShort) return wanted;
  return is_character(given) ? FormatType::kInt : given;
}

// Shows the argument by its own type, whichever suitable conversion the format has.
bool PutArgument(FormatBuffer& out, const FormatSpec& spec, const FormatArgument& argument,
                 ObjectDescriber describe) {
  if (!TakesArgument(spec.type, argument.type)) return false;
  if (spec.type == FormatType::kPointer) return PutAddress(out, spec, argument.pointer);
  switch (argument.type) {
    case FormatType::kReal:
      return PutReal(out, spec, argument.real);
    case FormatType::kLongReal:
      return PutReal(out, spec, *static_cast<const long double*>(argument.pointer));
    case FormatType::kNarrow: {
      if (argument.pointer == nullptr) return PutUnits(out, spec, kNull);
      const auto text = TextOf<char>(spec, argument);
      return PutPadded(out, spec, text.size(), [&] { return out.AppendMacRoman(text); });
    }
    case FormatType::kWide:
      if (argument.pointer == nullptr) return PutUnits(out, spec, kNull);
      return PutUnits(out, spec, TextOf<char16_t>(spec, argument));
    case FormatType::kObject:
      if (argument.pointer == nullptr || describe == nullptr) return PutUnits(out, spec, kNull);
      return PutUnits(out, spec, describe(argument.pointer));
    default:
      break;
  }
  const FormatType shown = ShownType(spec.type, argument.type);
  if (shown == FormatType::kUnit) {
    return PutCharacter(out, spec, static_cast<char16_t>(argument.integer));
  }
  if (shown == FormatType::kByte) {
    return PutCharacter(out, spec, UnitOfMacRoman(static_cast<unsigned char>(argument.integer)));
  }
  return PutInteger(out, spec, argument.integer, shown);
}

// A negative width means the flag "-" and its absolute value (C, 7.21.6.1). A negative precision
// counts as absent.
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

// Appends a part of the format: UTF-16 as it is, bytes as Mac OS Roman.
bool AppendText(FormatBuffer& out, std::u16string_view text) {
  return out.Append(text);
}
bool AppendText(FormatBuffer& out, std::string_view text) {
  return out.AppendMacRoman(text);
}

// Goes over the format once: text up to the next "%", then the conversion. When the conversions of
// a list of C have positions, all its arguments are read first, because each of them can be reached
// only after those before it.
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
      if (TakesWide(spec, percent, index)) spec.type = FormatType::kWide;
      if (spec.type == FormatType::kNone) {
        if (!PutUnknown(spec, percent, &index)) return false;
        continue;
      }
      if (!SetMode(spec) || !ReadPositions(reader)) return false;
      const auto take = [&](int position, FormatType type) {
        return positional_ == Positional::kYes ? At(reader, position, type) : reader.Next(type);
      };
      std::intmax_t number;
      if (spec.width_is_argument) {
        if (!NumberOf(take(spec.width_position, FormatType::kInt), &number)) return false;
        SetWidth(spec, number);
      }
      if (spec.precision_is_argument) {
        if (!NumberOf(take(spec.precision_position, FormatType::kInt), &number)) return false;
        SetPrecision(spec, number);
      }
      if (!PutArgument(out_, spec, take(spec.position, spec.type), describe_)) return false;
    }
  }

 private:
  enum class Positional { kUnknown, kNo, kYes };
  enum class Quick { kDone, kFailed, kOther };

  // Carries out a one-letter conversion whose argument has exactly the type it takes; most do.
  Quick PutQuickly(TypedArguments& reader, Unit letter) {
    const FormatArgument* const argument = reader.Peek();
    if (argument == nullptr || positional_ == Positional::kYes) return Quick::kOther;
    bool is_put = false;
    const bool is_number = argument->type == FormatType::kInt;
    const bool is_text = IsTextType(argument->type);
    if (is_number && letter == Unit{'d'}) {
      const auto bits = static_cast<std::uintmax_t>(argument->integer);
      const bool is_negative = argument->integer < 0;
      is_put = PutPlainInteger(out_, is_negative ? 0 - bits : bits, is_negative, u'd');
    } else if (is_number && (letter == Unit{'x'} || letter == Unit{'u'})) {
      is_put = PutPlainInteger(out_, static_cast<unsigned>(argument->integer), false,
                               static_cast<char16_t>(letter));
    } else if (is_text && argument->pointer != nullptr &&
               (letter == Unit{'s'} || letter == Unit{'S'})) {
      is_put = argument->type == FormatType::kWide
                   ? out_.Append(TextOf<char16_t>(FormatSpec(), *argument))
                   : out_.AppendMacRoman(TextOf<char>(FormatSpec(), *argument));
    } else {
      return Quick::kOther;
    }
    positional_ = Positional::kNo;
    reader.Skip();
    return is_put ? Quick::kDone : Quick::kFailed;
  }
  Quick PutQuickly(ArgumentReader&, Unit) { return Quick::kOther; }

  // Finds the next "%", or the end of the format. It is usually only a few units away.
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
        spec.type = format_tags::TypeOf(spec.conversion, 0);
        return spec;
      }
    }
    return ParseFormatSpec(format_, index);
  }

  // A textual replacement of "%s" finds it only when nothing stands between the two characters.
  bool TakesWide(const FormatSpec& spec, size_t percent, size_t index) const {
    return style_ == FormatStyle::kSmallStringsAreWide && spec.conversion == u's' &&
           index - percent == 2;
  }

  // The replacement also affects an "s" after the second "%" of "%%".
  bool AppendReplacedS(size_t* index) {
    if (style_ != FormatStyle::kSmallStringsAreWide || *index >= format_.size() ||
        format_[*index] != Unit{'s'}) {
      return true;
    }
    ++*index;
    return out_.Append(1, u'S');
  }

  // Copies an unknown conversion, and writes "%" for a conversion that ends in "%" ("%5%").
  bool PutUnknown(const FormatSpec& spec, size_t percent, size_t* index) {
    if (spec.conversion != u'%') return AppendText(out_, format_.substr(percent, *index - percent));
    return out_.Append(1, u'%') && AppendReplacedS(index);
  }

  // False when some conversions have positions and others do not.
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

  // Reads a width or a precision; false when the argument is not an integer.
  static bool NumberOf(const FormatArgument& argument, std::intmax_t* number) {
    if (!IsIntegerType(argument.type)) return false;
    *number = argument.integer;
    return true;
  }

  FormatArgument At(const TypedArguments& reader, int position, FormatType) const {
    return reader.At(position);
  }
  FormatArgument At(const ArgumentReader&, int position, FormatType type) const {
    FormatArgument argument = values_[static_cast<size_t>(position) - 1];
    argument.type = type;
    return argument;
  }

  bool ReadPositions(const TypedArguments&) { return true; }
  // Reads all arguments in order when the format uses positions.
  bool ReadPositions(ArgumentReader& reader) {
    if (positional_ != Positional::kYes || !values_.empty()) return true;
    std::vector<FormatType> types;
    const auto note = [&](int position, FormatType type) {
      if (position < 1 || position > kMaximumPositions) return false;
      const auto place = static_cast<size_t>(position) - 1;
      if (types.size() <= place) types.resize(place + 1, FormatType::kNone);
      type = PassedType(type);
      if (types[place] != FormatType::kNone && types[place] != type) return false;
      types[place] = type;
      return true;
    };
    for (size_t index = 0;;) {
      const size_t percent = format_.find(Unit{'%'}, index);
      if (percent == View::npos) break;
      index = percent + 1;
      const FormatSpec spec = ParseFormatSpec(format_, index);
      if (spec.type == FormatType::kNone) continue;
      if (!note(spec.position, spec.type)) return false;
      if (spec.width_is_argument && !note(spec.width_position, FormatType::kInt)) return false;
      if (spec.precision_is_argument && !note(spec.precision_position, FormatType::kInt)) {
        return false;
      }
    }
    for (const FormatType type : types) {
      if (type == FormatType::kNone) return false;
      values_.push_back(reader.Next(type));
    }
    return true;
  }

  FormatBuffer& out_;
  View format_;
  ObjectDescriber describe_;
  FormatStyle style_;
  Positional positional_ = Positional::kUnknown;
  std::vector<FormatArgument> values_;
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
