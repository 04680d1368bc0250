// The conversions between UTF-8 and UTF-16, which go by blocks, against the way over UTF-32, which
// goes character by character: text, position and result agree, in any room.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "strings/unicode_conversions.h"

namespace {

using orvik::fuzz::Require;

using namespace orvik;

template <class Source, class Target>
struct Outcome {
  ConversionResult result;
  std::size_t read;
  std::basic_string<Target> text;
};

template <class Source, class Target>
Outcome<Source, Target> Convert(ConversionResult (*routine)(const Source**, const Source*, Target**,
                                                            Target*, ConversionFlags),
                                const std::basic_string<Source>& text, std::size_t room,
                                ConversionFlags flags) {
  std::basic_string<Target> target(room, Target{});
  const Source* source = text.data();
  Target* at = target.data();
  const ConversionResult result =
      routine(&source, text.data() + text.size(), &at, target.data() + room, flags);
  target.resize(static_cast<std::size_t>(at - target.data()));
  return {result, static_cast<std::size_t>(source - text.data()), target};
}

template <class Source, class Target>
void Check(
    ConversionResult (*fast)(const Source**, const Source*, Target**, Target*, ConversionFlags),
    ConversionResult (*to_utf32)(const Source**, const Source*, UTF32**, UTF32*, ConversionFlags),
    ConversionResult (*from_utf32)(const UTF32**, const UTF32*, Target**, Target*, ConversionFlags),
    const std::basic_string<Source>& text, std::size_t small_room) {
  const std::size_t room = 4 * text.size() + 4;
  for (const ConversionFlags flags : {strictConversion, lenientConversion}) {
    const auto whole = Convert(fast, text, room, flags);
    const auto over = Convert(to_utf32, text, room, flags);
    Require(whole.result == over.result && whole.read == over.read);
    Require(whole.text == Convert(from_utf32, over.text, room, flags).text);

    const auto part = Convert(fast, text, small_room, flags);
    Require(part.text == whole.text.substr(0, part.text.size()));
    Require(part.read <= whole.read);
    if (part.read < whole.read) Require(part.result == targetExhausted);
    // Under the lenient flag a lone high surrogate may end up last, which cuts it off.
    if (flags == strictConversion) {
      Require(Convert(fast, text.substr(0, part.read), room, flags).text == part.text);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t small_room = data[0];
  const std::basic_string<UTF8> bytes(data + 1, data + size);
  Check(ConvertUTF8toUTF16, ConvertUTF8toUTF32, ConvertUTF32toUTF16, bytes, small_room);
  std::u16string units;
  for (std::size_t i = 1; i + 1 < size; i += 2) {
    units += static_cast<char16_t>(data[i] | data[i + 1] << 8);
  }
  Check(ConvertUTF16toUTF8, ConvertUTF16toUTF32, ConvertUTF32toUTF8, units, small_room);
  return 0;
}
