// The text functions of the platform layer, each beside a library that does the same work: the
// Unicode conversions into a given buffer, the formatter, collation by the default collator, and
// strings made from UTF-8.
#include <benchmark/benchmark.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "bench/sample_texts.h"
#include "platform/carbon/collation.h"
#include "platform/core_foundation/string.h"
#include "strings/unicode_conversions.h"
#include "text/formatter.h"
#include "text/transcoding.h"

namespace orvik::bench {
namespace {

std::u16string Sample(const benchmark::State& state, std::u16string_view text) {
  return Repeated(text, static_cast<std::size_t>(state.range(0)));
}

std::basic_string<UTF8> Utf8Sample(const benchmark::State& state, std::u16string_view pattern) {
  const std::u16string text = Sample(state, pattern);
  std::basic_string<UTF8> utf8(3 * text.size(), 0);
  const UTF16* source = text.data();
  UTF8* target = utf8.data();
  ConvertUTF16toUTF8(&source, source + text.size(), &target, target + utf8.size(),
                     strictConversion);
  utf8.resize(static_cast<std::size_t>(target - utf8.data()));
  return utf8;
}

void Utf16ToUtf8(benchmark::State& state, std::u16string_view pattern) {
  const std::u16string text = Sample(state, pattern);
  std::basic_string<UTF8> buffer(3 * text.size(), 0);
  for (auto _ : state) {
    const UTF16* source = text.data();
    UTF8* target = buffer.data();
    benchmark::DoNotOptimize(ConvertUTF16toUTF8(&source, source + text.size(), &target,
                                                target + buffer.size(), strictConversion));
  }
}

void Utf16ToUtf8Peer(benchmark::State& state, std::u16string_view pattern) {
  const std::u16string text = Sample(state, pattern);
  std::string buffer(3 * text.size(), '\0');
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    benchmark::DoNotOptimize(u_strToUTF8(buffer.data(), static_cast<int32_t>(buffer.size()),
                                         &length, text.data(), static_cast<int32_t>(text.size()),
                                         &status));
  }
}

void Utf8ToUtf16(benchmark::State& state, std::u16string_view pattern) {
  const std::basic_string<UTF8> text = Utf8Sample(state, pattern);
  std::u16string buffer(text.size(), u'\0');
  for (auto _ : state) {
    const UTF8* source = text.data();
    UTF16* target = buffer.data();
    benchmark::DoNotOptimize(ConvertUTF8toUTF16(&source, source + text.size(), &target,
                                                target + buffer.size(), strictConversion));
  }
}

void Utf8ToUtf16Peer(benchmark::State& state, std::u16string_view pattern) {
  const std::basic_string<UTF8> text = Utf8Sample(state, pattern);
  std::u16string buffer(text.size(), u'\0');
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    benchmark::DoNotOptimize(u_strFromUTF8(buffer.data(), static_cast<int32_t>(buffer.size()),
                                           &length, reinterpret_cast<const char*>(text.data()),
                                           static_cast<int32_t>(text.size()), &status));
  }
}

// A byte, or a unit, that begins no character, between the characters of every 64.
constexpr std::size_t kDamage = 64;

template <bool kOurs>
void RepairUtf8(benchmark::State& state, std::u16string_view pattern) {
  std::basic_string<UTF8> text = Utf8Sample(state, pattern);
  for (std::size_t i = kDamage; i < text.size(); i += kDamage) {
    std::size_t place = i;
    while ((text[place] & 0xC0) == 0x80) --place;
    text.insert(place, 1, 0xFF);
  }
  std::u16string buffer(text.size(), u'\0');
  const auto* const bytes = reinterpret_cast<const char*>(text.data());
  if (kOurs) {
    for (auto _ : state) {
      const char* source = bytes;
      char16_t* target = buffer.data();
      while (DecodeUtf8(source, bytes + text.size(), target, buffer.data() + buffer.size()) !=
             TranscodingStop::kDone) {
        *target++ = u'\uFFFD';
        ++source;
      }
      benchmark::DoNotOptimize(target);
    }
    return;
  }
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    benchmark::DoNotOptimize(
        u_strFromUTF8WithSub(buffer.data(), static_cast<int32_t>(buffer.size()), &length, bytes,
                             static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status));
  }
}

template <bool kOurs>
void RepairUtf16(benchmark::State& state, std::u16string_view pattern) {
  std::u16string text = Sample(state, pattern);
  for (std::size_t i = kDamage; i < text.size(); i += kDamage) {
    text.insert(IsLowSurrogate(text[i]) ? i - 1 : i, 1, char16_t{0xDC00});
  }
  std::string buffer(3 * text.size(), '\0');
  if (kOurs) {
    for (auto _ : state) {
      const char16_t* source = text.data();
      char* target = buffer.data();
      while (EncodeUtf8(source, text.data() + text.size(), target, buffer.data() + buffer.size()) !=
             TranscodingStop::kDone) {
        *target++ = '?';
        ++source;
      }
      benchmark::DoNotOptimize(target);
    }
    return;
  }
  for (auto _ : state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    benchmark::DoNotOptimize(
        u_strToUTF8WithSub(buffer.data(), static_cast<int32_t>(buffer.size()), &length, text.data(),
                           static_cast<int32_t>(text.size()), '?', nullptr, &status));
  }
}

const bool kRegistered[] = {
    RegisterForTexts("Text/Utf16ToUtf8", "ours", Utf16ToUtf8),
    RegisterForTexts("Text/Utf16ToUtf8", "peer:icu", Utf16ToUtf8Peer),
    RegisterForTexts("Text/Utf8ToUtf16", "ours", Utf8ToUtf16),
    RegisterForTexts("Text/Utf8ToUtf16", "peer:icu", Utf8ToUtf16Peer),
    RegisterForTexts("Text/Utf8ToUtf16/damaged", "ours", RepairUtf8<true>, {1 << 20}),
    RegisterForTexts("Text/Utf8ToUtf16/damaged", "peer:icu", RepairUtf8<false>, {1 << 20}),
    RegisterForTexts("Text/Utf16ToUtf8/damaged", "ours", RepairUtf16<true>, {1 << 20}),
    RegisterForTexts("Text/Utf16ToUtf8/damaged", "peer:icu", RepairUtf16<false>, {1 << 20}),
};

bool FormatInto(FormatBuffer& buffer, const char16_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const bool done = FormatUnits(buffer, format, arguments, nullptr);
  va_end(arguments);
  return done;
}

void FormatStringAndNumber(benchmark::State& state) {
  for (auto _ : state) {
    FormatBuffer buffer;
    FormatInto(buffer, u"%s %d", "com.orviktech.Registry", 123456);
    benchmark::DoNotOptimize(buffer.units().data());
  }
}
BENCHMARK(FormatStringAndNumber)->Name("Text/Format/ours");

void FormatStringAndNumberPeer(benchmark::State& state) {
  for (auto _ : state) {
    char buffer[256];
    benchmark::DoNotOptimize(
        std::snprintf(buffer, sizeof buffer, "%s %d", "com.orviktech.Registry", 123456));
    benchmark::DoNotOptimize(buffer);
  }
}
BENCHMARK(FormatStringAndNumberPeer)->Name("Text/Format/peer:snprintf");

constexpr std::u16string_view kPath = u"/Users/Shared/Library/Preferences/com.orviktech.Registry";
constexpr std::u16string_view kOther = u"/Users/Shared/Library/Preferences/com.orviktech.Records";

void Collate(benchmark::State& state, UCCollateOptions options) {
  for (auto _ : state) {
    SInt32 order = 0;
    UCCompareTextDefault(options, kPath.data(), kPath.size(), kOther.data(), kOther.size(), nullptr,
                         &order);
    benchmark::DoNotOptimize(order);
  }
}
BENCHMARK_CAPTURE(Collate, case, kUCCollateStandardOptions)->Name("Text/Collate/ours:case");
BENCHMARK_CAPTURE(Collate, no_case, kUCCollateStandardOptions | kUCCollateCaseInsensitiveMask)
    ->Name("Text/Collate/ours:no_case");

void CollatePeer(benchmark::State& state) {
  UErrorCode status = U_ZERO_ERROR;
  UCollator* const collator = ucol_open("", &status);
  for (auto _ : state) {
    benchmark::DoNotOptimize(ucol_strcoll(collator, kPath.data(),
                                          static_cast<int32_t>(kPath.size()), kOther.data(),
                                          static_cast<int32_t>(kOther.size())));
  }
  ucol_close(collator);
}
BENCHMARK(CollatePeer)->Name("Text/Collate/peer:icu");

void StringFromUtf8(benchmark::State& state) {
  for (auto _ : state) {
    const NSString* string = NSString::NewFromUtf8("Software/Install Information/42");
    benchmark::DoNotOptimize(string->hash());
    string->release();
  }
}
BENCHMARK(StringFromUtf8)->Name("Text/StringFromUtf8/ours");

void StringFromUtf8Peer(benchmark::State& state) {
  for (auto _ : state) {
    auto* string = new std::string("Software/Install Information/42");
    benchmark::DoNotOptimize(std::hash<std::string>()(*string));
    delete string;
  }
}
BENCHMARK(StringFromUtf8Peer)->Name("Text/StringFromUtf8/peer:string");

}  // namespace
}  // namespace orvik::bench
