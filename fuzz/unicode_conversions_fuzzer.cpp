// The conversions between UTF-8 and UTF-16 work in blocks. They are compared with another library,
// and with the way over UTF-32, which works character by character: text, position and result agree
// in any room.
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "strings/unicode_conversions.h"
#include "tests/support/conversion.h"

namespace orvik::fuzz {
namespace {

using test::Conversion;
using test::ConversionRoutine;
using test::Converted;

// The result by the rules of the other library.
Conversion<UTF8, UTF16> ByTheRules(const std::basic_string<UTF8>& bytes) {
  Conversion<UTF8, UTF16> expected{conversionOK, 0, {}};
  const auto length = static_cast<int32_t>(bytes.size());
  for (int32_t i = 0, next = 0; i < length; i = next) {
    UChar32 value;
    U8_NEXT(bytes.data(), next, length, value);
    if (value < 0) {
      const int wanted = trailingBytesForUTF8[bytes[static_cast<std::size_t>(i)]] + 1;
      expected.result = length - i < wanted ? sourceExhausted : sourceIllegal;
      break;
    }
    expected.read = static_cast<std::size_t>(next);
    char16_t units[2];
    int32_t count = 0;
    U16_APPEND_UNSAFE(units, count, value);
    expected.text.append(units, static_cast<std::size_t>(count));
  }
  return expected;
}

template <class Source, class Target>
std::string ConversionFault(ConversionRoutine<Source, Target> fast,
                            ConversionRoutine<Source, UTF32> to_utf32,
                            ConversionRoutine<UTF32, Target> from_utf32,
                            const std::basic_string<Source>& text, std::size_t small_room) {
  const std::size_t room = 4 * text.size() + 4;
  for (const ConversionFlags flags : {strictConversion, lenientConversion}) {
    const auto whole = Converted(fast, text, flags, room);
    const auto over = Converted(to_utf32, text, flags, room);
    if (whole.result != over.result || whole.read != over.read ||
        whole.text != Converted(from_utf32, over.text, flags, room).text) {
      return "another text than over UTF-32";
    }
    const auto part = Converted(fast, text, flags, small_room);
    if (!whole.text.starts_with(part.text) || part.read > whole.read ||
        (part.read < whole.read && part.result != targetExhausted) ||
        (part.result == targetExhausted && small_room - part.text.size() > 3)) {
      return "another text in little room";
    }
    // With the lenient flag, a lone high surrogate may come last, and is then cut off.
    if (flags == strictConversion &&
        Converted(fast, text.substr(0, part.read), flags, room).text != part.text) {
      return "another position";
    }
  }
  return "";
}

// The first byte is the size of a small room. The rest is read as bytes, as numbers of pieces, and
// as units.
std::string UnicodeConversionsFault(std::string_view input) {
  using Bytes = std::basic_string<UTF8>;
  static constexpr std::string_view kPieces[] = {
      "a",    "0123456789abcdef", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\x80",
      "\xC3", "\xED\xA0\x80",     "\xF5\x80", "\xE2\x82",     "\xF0\x9F"};
  Choices choices(input);
  const std::size_t room = choices.Next(1);
  const std::string_view rest = choices.Rest();
  // Every second input has only well-formed pieces.
  const std::size_t kinds = room % 2 == 0 ? 5 : std::size(kPieces);
  Bytes pieces;
  std::u16string units;
  for (const char byte : rest) {
    const auto number = static_cast<unsigned char>(byte);
    pieces.append(kPieces[number % kinds].begin(), kPieces[number % kinds].end());
    if (choices.Rest().size() > 1) units += static_cast<char16_t>(choices.Next(2));
  }
  for (const Bytes& bytes : {Bytes(rest.begin(), rest.end()), pieces}) {
    if (Converted(ConvertUTF8toUTF16, bytes, strictConversion, bytes.size() + 1) !=
        ByTheRules(bytes)) {
      return "not by the rules";
    }
    const std::string fault =
        ConversionFault(ConvertUTF8toUTF16, ConvertUTF8toUTF32, ConvertUTF32toUTF16, bytes, room);
    if (!fault.empty()) return fault;
  }
  return ConversionFault(ConvertUTF16toUTF8, ConvertUTF16toUTF32, ConvertUTF32toUTF8, units, room);
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::UnicodeConversionsFault, data, size);
}
