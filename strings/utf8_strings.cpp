#include "strings/utf8_strings.h"

#include <algorithm>
#include <climits>
#include <new>
#include <string_view>
#include <utility>

#include "strings/code_pages.h"
#include "text/code_page_codec.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

// The number of units that are converted on the stack, and the most UTF-8 bytes of one unit.
constexpr int kShort = 256;
constexpr int kBytesPerUnit = 3;

CAtlString WideFrom(const CAtlStringA& text, unsigned int code_page) {
  constexpr int kMargin = 10;
  const int length = text.GetLength();
  if (length > INT_MAX - kMargin) throw std::bad_array_new_length();
  CAtlString wide;
  char16_t* const units = wide.GetBuffer(length + kMargin);
  const int produced =
      MultiByteToWideChar(code_page, 0, text.GetString(), length, units, length + kMargin);
  wide.ReleaseBuffer(std::max(produced, 0));
  return wide;
}

int Utf8From(const CAtlString& text, char* bytes, int room) {
  return WideCharToMultiByte(CP_UTF8, 0, text.GetString(), text.GetLength(), bytes, room, nullptr,
                             nullptr);
}

}  // namespace

CAtlString MakeWideStringFromASCIIString(const CAtlStringA& text) {
  return WideFrom(text, CP_ACP);
}

CAtlString MakeWideStringFromUTF8String(const CAtlStringA& text) {
  return WideFrom(text, CP_UTF8);
}

CAtlStringA MakeUTF8StringFromUnicodeString(const CAtlString& text) {
  // A short text is converted once and copied, which is faster than measuring it first.
  if (text.GetLength() <= kShort) {
    char bytes[kShort * kBytesPerUnit];
    return CAtlStringA(bytes, Utf8From(text, bytes, sizeof bytes));
  }
  CAtlStringA utf8;
  const int length = Utf8From(text, nullptr, 0);
  utf8.ReleaseBuffer(Utf8From(text, utf8.GetBuffer(length), length));
  return utf8;
}

namespace {

ConversionResult ResultOf(TranscodingStop stop) {
  return stop == TranscodingStop::kDone         ? conversionOK
         : stop == TranscodingStop::kSourceEnds ? sourceExhausted
         : stop == TranscodingStop::kIllegal    ? sourceIllegal
                                                : targetExhausted;
}

int Length(std::size_t units) {
  if (units > INT_MAX) throw std::bad_array_new_length();
  return static_cast<int>(units);
}

// Converts with a function of text/transcoding.h into a string of at most `room` units.
template <typename Source, typename Target, typename Converter>
ConversionReport Transcode(std::basic_string_view<Source> source, std::size_t room, Target& target,
                           const Converter& convert) {
  Target converted;
  auto* const start = converted.GetBuffer(Length(room));
  auto* end = start;
  const Source* at = source.data();
  const TranscodingStop stop = convert(at, at + source.size(), end, start + room);
  const ConversionReport report{ResultOf(stop), static_cast<std::size_t>(at - source.data())};
  if (report) {
    converted.ReleaseBuffer(static_cast<int>(end - start));
    target = std::move(converted);
  }
  return report;
}

// Converts with a function that returns the byte of a unit, or a negative value if there is none.
template <typename ByteOf>
ConversionReport Narrow(std::u16string_view source, CAtlStringA& target, const ByteOf& byte_of) {
  const auto lacking =
      std::find_if(source.begin(), source.end(), [&](char16_t unit) { return byte_of(unit) < 0; });
  const ConversionReport report{lacking == source.end() ? conversionOK : sourceIllegal,
                                static_cast<std::size_t>(lacking - source.begin())};
  if (report) {
    CAtlStringA converted;
    std::transform(source.begin(), source.end(),
                   converted.GetBufferSetLength(Length(source.size())),
                   [&](char16_t unit) { return static_cast<char>(byte_of(unit)); });
    target = std::move(converted);
  }
  return report;
}

}  // namespace

ConversionReport WideFromUtf8(TextView<char> source, CAtlString& target) {
  return Transcode<char>(source, source.size(), target, DecodeUtf8);
}

ConversionReport Utf8FromWide(TextView<char16_t> source, CAtlStringA& target) {
  return Transcode<char16_t>(source, Utf8Length(source), target, EncodeUtf8);
}

ConversionReport Latin1FromWide(TextView<char16_t> source, CAtlStringA& target) {
  return Narrow(source, target, [](char16_t unit) { return unit < 0x100 ? unit : -1; });
}

ConversionReport MacRomanFromWide(TextView<char16_t> source, CAtlStringA& target) {
  return Narrow(source, target,
                [](char16_t unit) { return unit < 0x80 ? unit : MacRomanOfUnit(unit); });
}

std::optional<ConversionReport> WideFromCodePage(unsigned int code_page, TextView<char> source,
                                                 CAtlString& target) {
  if (code_page == kUtf8CodePage) return WideFromUtf8(source, target);
  if (!IsKnownCodePage(code_page)) return std::nullopt;
  const std::optional<std::u16string> text = DecodeText(code_page, source);
  if (!text) return ConversionReport{sourceIllegal, 0};
  Length(text->size());
  target = *text;
  return ConversionReport{conversionOK, source.size()};
}

std::optional<ConversionReport> CodePageFromWide(unsigned int code_page, TextView<char16_t> source,
                                                 CAtlStringA& target) {
  if (!IsKnownCodePage(code_page)) return std::nullopt;
  const auto needed = EncodeText(code_page, source, 0, nullptr, 0);
  if (!needed) return std::nullopt;
  if (needed->units != source.size()) return ConversionReport{sourceIllegal, needed->units};
  CAtlStringA bytes;
  EncodeText(code_page, source, 0, bytes.GetBufferSetLength(Length(needed->bytes)), needed->bytes);
  target = std::move(bytes);
  return ConversionReport{conversionOK, source.size()};
}

}  // namespace orvik
