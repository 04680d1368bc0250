// The conversions between UTF-8 and UTF-16: the variants for the processors agree with the plain
// loops in any room, write nothing behind their end, and reproduce well-formed text.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "text/transcoding.h"
#include "text/transcoding_variants.h"

namespace orvik::fuzz {
namespace {

template <class Source>
using Target = std::conditional_t<sizeof(Source) == 1, char16_t, char>;

template <class Source>
using Function = TranscodingStop (*)(const Source*&, const Source*, Target<Source>*&,
                                     Target<Source>*);

template <class Source>
struct Outcome {
  TranscodingStop stop;
  std::size_t taken;
  std::basic_string<Target<Source>> text;
  bool operator==(const Outcome&) const = default;
};

// The most units that one source unit can give.
template <class Source>
constexpr std::size_t kGrowth = sizeof(Source) == 1 ? 1 : 3;

// The buffers have exactly the size that is used, so that an extra byte is detected. The memory
// behind the reported end must be unchanged.
template <class Source>
Outcome<Source> Convert(std::type_identity_t<Function<Source>> function,
                        const std::basic_string<Source>& text, std::size_t room) {
  const std::vector<Source> source(text.begin(), text.end());
  std::vector<Target<Source>> target(room);
  for (std::size_t i = 0; i < room; ++i) target[i] = static_cast<Target<Source>>(i * 7 + 1);
  const Source* s = source.data();
  Target<Source>* t = target.data();
  const TranscodingStop stop = function(s, s + source.size(), t, t + room);
  const auto written = static_cast<std::size_t>(t - target.data());
  for (std::size_t i = written; i < room; ++i) {
    Require(target[i] == static_cast<Target<Source>>(i * 7 + 1));
  }
  return {stop, static_cast<std::size_t>(s - source.data()), {target.data(), written}};
}

template <class Source>
Outcome<Source> RunWhole(std::type_identity_t<Function<Source>> function,
                         const std::basic_string<Source>& text) {
  return Convert(function, text, kGrowth<Source> * text.size());
}

// The public functions call the best variant of the processor.
TranscodingStop ConvertByAvx2(const char*& s, const char* s_end, char16_t*& t, char16_t* t_end) {
  if (transcoding::HasAvx2()) transcoding::DecodeBlocksAvx2(s, s_end, t, t_end);
  return transcoding::DecodePlain(s, s_end, t, t_end);
}

TranscodingStop ConvertByAvx2(const char16_t*& s, const char16_t* s_end, char*& t, char* t_end) {
  if (transcoding::HasAvx2()) transcoding::EncodeBlocksAvx2(s, s_end, t, t_end);
  return transcoding::EncodePlain(s, s_end, t, t_end);
}

// Both variants must agree with the plain loops in three rooms: a large one, an exact one, and one
// that is too small.
template <class Source>
Outcome<Source> RequireSame(const std::basic_string<Source>& text, Function<Source> plain,
                            Function<Source> best) {
  const Outcome<Source> whole = RunWhole(plain, text);
  const std::size_t length = whole.text.size();
  for (const std::size_t room : {kGrowth<Source> * text.size(), length, length - length / 3}) {
    const Outcome<Source> expected = Convert(plain, text, room);
    for (const Function<Source> variant : {best, Function<Source>(ConvertByAvx2)}) {
      Require(Convert(variant, text, room) == expected);
    }
  }
  return whole;
}

// A variant that leaves well-formed text to the plain loops gives correct results, but is slow.
constexpr std::ptrdiff_t kMostLeft = 100;

template <class Source, class Variant>
void RequireThatBlocksGoOn(const std::basic_string<Source>& text, Variant variant) {
  std::vector<Target<Source>> target(kGrowth<Source> * text.size());
  const Source* s = text.data();
  const Source* const end = s + text.size();
  Target<Source>* t = target.data();
  variant(s, end, t, t + target.size());
  Require(end - s < kMostLeft);
}

void RequireThatAllAgree(const std::string& bytes) {
  const auto whole = RequireSame<char>(bytes, transcoding::DecodePlain, DecodeUtf8);
  const bool is_whole = whole.stop == TranscodingStop::kDone;
  const std::ptrdiff_t units = is_whole ? static_cast<std::ptrdiff_t>(whole.text.size()) : -1;
  Require(Utf16Length(bytes) == units);
  Require(transcoding::CountPlain(bytes.data(), bytes.data() + bytes.size()) == units);
  if (transcoding::HasAvx2()) {
    const char* at = bytes.data();
    const std::size_t count = transcoding::CountBlocksAvx2(at, bytes.data() + bytes.size());
    Require(!is_whole || bytes.data() + bytes.size() - at < kMostLeft);
    const std::string counted(bytes.data(), at);
    Require(RunWhole(transcoding::DecodePlain, counted).text.size() == count);
  }
}

void RequireThatAllAgree(const std::u16string& units) {
  const auto whole = RequireSame<char16_t>(units, transcoding::EncodePlain, EncodeUtf8);
  std::size_t expected = whole.text.size();
  for (std::size_t at = whole.taken; at != units.size();) {  // an unpaired one counts as a byte
    const auto next = RunWhole(transcoding::EncodePlain, units.substr(at + 1));
    expected += 1 + next.text.size();
    at += 1 + next.taken;
  }
  Require(Utf8Length(units) == expected);
  Require(transcoding::MeasurePlain(units.data(), units.data() + units.size()) == expected);
  if (transcoding::HasAvx2()) {
    const char16_t* at = units.data();
    const std::size_t measured = transcoding::MeasureBlocksAvx2(at, units.data() + units.size());
    Require(whole.taken < units.size() || units.data() + units.size() - at < kMostLeft);
    const std::u16string part(units.data(), at);
    Require(RunWhole(transcoding::EncodePlain, part).text.size() == measured);
  }
}

// The pieces for each kind of text.
const std::vector<std::vector<std::u16string>> kAlphabets = {
    {u"a"},
    {u"a", u"b", u"c", u"\xE9"},
    {u"\x416", u"\x7FF", u"\x80"},
    {u"\x4E2D", u"\x800", u"\xFFFF", u"\xD7FF", u"\xE000"},
    {u"\xD83D\xDE00", u"\xD800\xDC00", u"\xDBFF\xDFFF"},
    {u"a", u"a", u"\xE9", u"\x4E2D", u"\xD83D\xDE00"},
    {u"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", u"\xE9", u"\x4E2D", u"\xD83D\xDE00"}};

// Makes a text of some hundred units and leaves choices for the damage.
std::u16string MakeText(Choices& choices) {
  const auto& alphabet = kAlphabets[choices.Next(1) % kAlphabets.size()];
  const std::size_t size = choices.Below(400);
  std::u16string text;
  while (text.size() < size) {
    const std::uint64_t choice = choices.Next(1);
    // Makes long runs of some pieces, which are converted in pairs of blocks.
    for (auto times = choice < 16 ? choices.Next(1) : 1; times > 0; --times) {
      text += alphabet[choice % alphabet.size()];
    }
    if (choices.is_empty()) break;
  }
  return text;
}

void CheckTranscoding(Choices choices) {
  std::u16string text = MakeText(choices);
  RequireThatAllAgree(text);
  const auto whole = RunWhole(EncodeUtf8, text);
  Require(whole.stop == TranscodingStop::kDone);
  std::string utf8 = whole.text;
  RequireThatAllAgree(utf8);
  Require(Convert(DecodeUtf8, utf8, text.size()).text == text && IsValidUtf8(utf8));
  if (text.empty()) return;
  if (transcoding::HasAvx2()) {
    RequireThatBlocksGoOn(utf8, transcoding::DecodeBlocksAvx2);
    RequireThatBlocksGoOn(text, transcoding::EncodeBlocksAvx2);
  }
  if (transcoding::HasAvx512()) {
    RequireThatBlocksGoOn(utf8, transcoding::DecodeAvx512);
    RequireThatBlocksGoOn(text, transcoding::EncodeAvx512);
  }
  // Damages the text.
  utf8[choices.Below(utf8.size())] = static_cast<char>(choices.Next(1));
  if (choices.Next(1) % 4 == 0) utf8.erase(choices.Below(utf8.size()), 1);
  if (choices.Next(1) % 4 == 0) utf8.resize(choices.Below(utf8.size() + 1));
  RequireThatAllAgree(utf8);
  text[choices.Below(text.size())] = static_cast<char16_t>(0xD800 + choices.Below(0x800));
  if (choices.Next(1) % 4 == 0) text.resize(choices.Below(text.size() + 1));
  RequireThatAllAgree(text);
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  orvik::fuzz::CheckTranscoding(orvik::fuzz::Choices(bytes));
  // The bytes themselves are a text, too.
  orvik::fuzz::RequireThatAllAgree(std::string(bytes));
  return 0;
}
