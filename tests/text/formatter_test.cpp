#include "text/formatter.h"
#include "tests/support/decimal_comma.h"

#include <climits>
#include <cstdio>
#include <limits>

namespace orvik::test {
namespace {

// In these tests, objects are texts.
std::u16string Describe(const void* object) {
  return static_cast<const char16_t*>(object);
}

std::optional<std::u16string> Formatted(FormatStyle style, const char16_t* format, ...) {
  FormatBuffer buffer;
  std::va_list arguments;
  va_start(arguments, format);
  // The copy has no terminator, so that reading behind the format is detected.
  const std::u16string_view text = format;
  const std::vector<char16_t> exact(text.begin(), text.end());
  const bool done = FormatUnits(buffer, {exact.data(), exact.size()}, arguments, Describe, style);
  va_end(arguments);
  if (!done) return std::nullopt;
  return std::u16string(buffer.units());
}

template <class Value>
FormatArgument Typed(const Value& value) {
  using enum FormatType;
  if constexpr (std::is_same_v<Value, double>) {
    return FormatArgument::Real(value);
  } else if constexpr (std::is_integral_v<Value>) {
    const bool is_long = std::is_same_v<Value, long>;
    const FormatType type = std::is_same_v<Value, int> ? kInt : is_long ? kLong : kLongLong;
    return FormatArgument::Integer(type, value);
  } else if constexpr (std::is_same_v<Value, long double>) {
    return FormatArgument::Pointer(kLongReal, &value);
  } else {
    const bool is_wide = std::is_same_v<Value, const char16_t*>;
    const FormatType type = is_wide ? kWide : std::is_same_v<Value, void*> ? kPointer : kNarrow;
    return FormatArgument::Pointer(type, value, FormatArgument::kTerminated);
  }
}

// Formats from a list of C and from typed arguments.
template <class... Arguments>
std::optional<std::u16string> Plain(const char16_t* format, Arguments... arguments) {
  const auto result = Formatted(FormatStyle::kPlain, format, arguments...);
  const FormatArgument typed[] = {Typed(arguments)..., Typed(0)};
  FormatBuffer buffer;
  const bool done = FormatUnits(buffer, format, std::span(typed, sizeof...(arguments)), Describe);
  EXPECT_EQ(done ? std::optional<std::u16string>(buffer.units()) : std::nullopt, result);
  return result;
}

std::u16string Wide(const std::string& text) {
  return std::u16string(text.begin(), text.end());
}

// The result must be that of printf.
template <class Value>
void ExpectAsPrintf(const char* conversion, Value value) {
  for (const char* flags : {"", "-", "+", " ", "0", "#", "-#", "0+", "# ", "+0#"}) {
    for (const char* size : {"", "1", "12", "25", ".0", ".1", ".7", "12.5", ".30"}) {
      const std::string format = std::string("[%") + flags + size + conversion + "]";
      char expected[600];
      std::snprintf(expected, sizeof expected, format.c_str(), value);
      EXPECT_EQ(Plain(Wide(format).c_str(), value), Wide(expected)) << format;
    }
  }
}

TEST(Formatter, IntegersAsPrintf) {
  for (const int value : {0, 1, -1, 42, INT_MAX, INT_MIN}) {
    for (const char* conversion : {"d", "i", "u", "x", "X", "o", "hd", "hhd", "hhu", "hx"}) {
      ExpectAsPrintf(conversion, value);
    }
  }
  for (const long value : {0L, LONG_MAX, LONG_MIN, -7L}) {
    for (const char* conversion : {"ld", "lx", "zu", "zd", "td", "tx"})
      ExpectAsPrintf(conversion, value);
  }
  for (const long long value : {0LL, LLONG_MAX, LLONG_MIN, -7LL}) {
    for (const char* conversion : {"lld", "llX", "jd", "jo"}) ExpectAsPrintf(conversion, value);
  }
  EXPECT_EQ(Plain(u"%D %U %O %#O", -1, -1, 8, 8), u"-1 4294967295 10 010");
}

TEST(Formatter, RealsAsPrintf) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double value : {0.0, -0.0, 1.0, -2.5, 1e-7, 123456789.125, 1e300, 5e-324, kInfinity,
                             -kInfinity, std::numeric_limits<double>::quiet_NaN()}) {
    for (const char* conversion : {"f", "e", "g", "a", "F", "E", "G", "A", "lf"}) {
      ExpectAsPrintf(conversion, value);
    }
  }
  ExpectAsPrintf("Lf", 1.25L);
  EXPECT_EQ(Plain(u"%0.9lf", 2.5), u"2.500000000");
}

TEST(Formatter, NumbersDoNotFollowTheLocaleOfLibc) {
  const DecimalComma comma;
  EXPECT_TRUE(comma.is_there());
  EXPECT_EQ(Plain(u"%.1f", 1.5), u"1.5");
}

TEST(Formatter, TextsOfEveryKind) {
  EXPECT_EQ(Plain(u"%s|%S|%@", "a\x8E", u"b\x20AC", u"c"), u"a\xE9|b\x20AC|c");
  EXPECT_EQ(Plain(u"%hs %ls %hS", "a", u"b", "c"), u"a b c");
  EXPECT_EQ(Plain(u"%s", "from sixteen bytes on \x8E"), u"from sixteen bytes on \xE9");
  EXPECT_EQ(Plain(u"%c%C%lc", 0x8E, 0x20AC, 0x4E2D), u"\xE9\x20AC\x4E2D");
  EXPECT_EQ(Plain(u"%5s|%-5S|%.2s|%.1S|%4.1@", "ab", u"cd", "efg", u"hi", u"xyz"),
            u"   ab|cd   |ef|h|   x");
  const char unterminated[] = {'a', 'b'};
  EXPECT_EQ(Plain(u"%.2s", unterminated), u"ab");
  EXPECT_EQ(Plain(u"%p %p", nullptr, reinterpret_cast<void*>(0xABC)), u"0x0 0xabc");
  EXPECT_EQ(Plain(u"%s %S %@ %.3s", nullptr, nullptr, nullptr, nullptr),
            u"(null) (null) (null) (nu");
}

TEST(Formatter, WidthAndPrecisionFromArguments) {
  EXPECT_EQ(Plain(u"[%*d][%-*d][%*d]", 4, 1, 4, 2, -4, 3), u"[   1][2   ][3   ]");
  EXPECT_EQ(Plain(u"[%.*s][%.*s]", 1, "ab", -1, "cd"), u"[a][cd]");
  EXPECT_EQ(Plain(u"%2$@ %1$d %2$@%%", 7, u"x"), u"x 7 x%");
  EXPECT_EQ(Plain(u"%1$*2$d|%3$.*2$f", 5, 3, 2.0), u"  5|2.000");
}

TEST(Formatter, RefusesFormats) {
  for (const char16_t* format :
       {u"%1$d %d", u"%d %1$d", u"%1$d %1$f", u"%99999$d", u"%99999999999d", u"%.99999999999d",
        u"%2147483647d", u"%.2147483647d"}) {
    EXPECT_EQ(Plain(format, 1, 2), std::nullopt);
  }
  EXPECT_EQ(Formatted(FormatStyle::kPlain, u"%2$d", 1, 2), std::nullopt);
  EXPECT_EQ(Plain(u"[%*d]", INT_MIN, 1), std::nullopt);
  EXPECT_EQ(Plain(u"%.2147483647f", 1.0), std::nullopt);
}

TEST(Formatter, CopiesUnknownConversions) {
  EXPECT_EQ(Plain(u"%k %d", 1), u"%k 1");
  for (const char16_t* text : {u"100%", u"%5", u"%n", u"%\x4E2D"}) EXPECT_EQ(Plain(text), text);
}

TEST(Formatter, TheReplacementOfSmallStrings) {
  const auto formatted = [](const char16_t* format, auto... arguments) {
    return Formatted(FormatStyle::kSmallStringsAreWide, format, arguments...);
  };
  EXPECT_EQ(formatted(u"%s %S", u"a", u"b"), u"a b");
  EXPECT_EQ(formatted(u"%%s"), u"%S");
  EXPECT_EQ(formatted(u"%%"), u"%");
  EXPECT_EQ(formatted(u"%%%s", u"x"), u"%x");
  EXPECT_EQ(formatted(u"%3s", "ab"), u" ab");
  EXPECT_EQ(formatted(u"%5%s"), u"%S");
}

TEST(Formatter, PrecisionsBeyondAnyNumber) {
  EXPECT_EQ(Plain(u"%3000d", 1)->size(), 3000u);
  EXPECT_EQ(Plain(u"%f", 1e300)->size(), 308u);
  EXPECT_EQ(Plain(u"%.126f", 1.0), u"1." + std::u16string(126, u'0'));
  EXPECT_EQ(Plain(u"%-30010.30000f|", 0.0)->size(), 30011u);
  const std::u16string zeros(30000, u'0');
  EXPECT_EQ(Plain(u"%.30000e", -2.0), u"-2." + zeros + u"e+00");
  EXPECT_EQ(Plain(u"%.30000a", 1.0), u"0x1." + zeros + u"p+0");
  EXPECT_EQ(Plain(u"%.30000g", 0.5), u"0.5");
  EXPECT_EQ(Plain(u"%#.30000g", 0.5), u"0.5" + zeros.substr(1));
  EXPECT_EQ(Plain(u"%030010.30000f", 1.0), u"000000001." + zeros);
  EXPECT_EQ(Plain(u"%.30000f", std::numeric_limits<double>::infinity()), u"inf");
}

}  // namespace
}  // namespace orvik::test
