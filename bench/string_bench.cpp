// The strings beside std::u16string, std::string, snprintf and an open ICU collator doing the same
// work.
#include <benchmark/benchmark.h>
#include <unicode/ucol.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace orvik {
namespace {

constexpr char16_t kPath[] =
    u"/Users/Shared/Library/Preferences/com.orviktech.Registry.plist/Install/Path";

// Eight hundred units, with the sought text at the end.
std::u16string LongText() {
  std::u16string text;
  while (text.size() < 800) text += kPath;
  return text + u"needle";
}

void CopyString64(benchmark::State& state) {
  const CAtlString text(u'x', 64);
  for (auto _ : state) {
    CAtlString copy = text;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyString64)->Name("Strings/Copy/64/ours");

void CopyString64Peer(benchmark::State& state) {
  const std::u16string text(64, u'x');
  for (auto _ : state) {
    std::u16string copy = text;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(CopyString64Peer)->Name("Strings/Copy/64/peer:u16string");

void FindText(benchmark::State& state) {
  const CAtlString text(LongText());
  for (auto _ : state) benchmark::DoNotOptimize(text.Find(u"needle"));
}
BENCHMARK(FindText)->Name("Strings/Find/800/ours");

void FindTextPeer(benchmark::State& state) {
  const std::u16string text = LongText();
  for (auto _ : state) benchmark::DoNotOptimize(std::u16string_view(text).find(u"needle"));
}
BENCHMARK(FindTextPeer)->Name("Strings/Find/800/peer:u16string_view");

void FindShort(benchmark::State& state) {
  const CAtlString text(kPath);
  for (auto _ : state) benchmark::DoNotOptimize(text.Find(u"plist"));
}
BENCHMARK(FindShort)->Name("Strings/Find/75/ours");

void FindShortPeer(benchmark::State& state) {
  const std::u16string text(kPath);
  for (auto _ : state) benchmark::DoNotOptimize(std::u16string_view(text).find(u"plist"));
}
BENCHMARK(FindShortPeer)->Name("Strings/Find/75/peer:u16string_view");

void ReplaceText(benchmark::State& state) {
  const CAtlString text(kPath);
  for (auto _ : state) {
    CAtlString changed = text;
    benchmark::DoNotOptimize(changed.Replace(u"/", u"::"));
    benchmark::DoNotOptimize(changed);
  }
}
BENCHMARK(ReplaceText)->Name("Strings/Replace/ours");

void ReplaceTextPeer(benchmark::State& state) {
  const std::u16string text(kPath);
  constexpr std::u16string_view kOld = u"/", kNew = u"::";
  for (auto _ : state) {
    std::u16string changed;
    std::size_t at = 0;
    for (std::size_t found; (found = std::u16string_view(text).find(kOld, at)) != text.npos;
         at = found + kOld.size()) {
      changed.append(text, at, found - at).append(kNew);
    }
    changed.append(text, at);
    benchmark::DoNotOptimize(changed);
  }
}
BENCHMARK(ReplaceTextPeer)->Name("Strings/Replace/peer:u16string");

void FormatText(benchmark::State& state) {
  CAtlString text;
  for (auto _ : state) {
    text.Format(u"%s %d", u"Install Information", 1460);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(FormatText)->Name("Strings/Format/ours");

void FormatTextPeer(benchmark::State& state) {
  for (auto _ : state) {
    char buffer[256];
    const int length = std::snprintf(buffer, sizeof buffer, "%s %d", "Install Information", 1460);
    std::u16string text(buffer, buffer + length);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(FormatTextPeer)->Name("Strings/Format/peer:snprintf");

void TokenizeText(benchmark::State& state) {
  const CAtlString text(kPath);
  for (auto _ : state) {
    for (int position = 0; position != -1;) {
      const CAtlString token = text.Tokenize(u"/.", position);
      benchmark::DoNotOptimize(token.GetString());
    }
  }
}
BENCHMARK(TokenizeText)->Name("Strings/Tokenize/ours");

void TokenizeTextPeer(benchmark::State& state) {
  const std::u16string text(kPath);
  for (auto _ : state) {
    for (std::size_t at = 0; (at = text.find_first_not_of(u"/.", at)) != text.npos;) {
      const std::size_t end = std::min(text.find_first_of(u"/.", at), text.size());
      const std::u16string token = text.substr(at, end - at);
      benchmark::DoNotOptimize(token.data());
      at = end;
    }
  }
}
BENCHMARK(TokenizeTextPeer)->Name("Strings/Tokenize/peer:u16string");

// ---- Work that grows ----

constexpr int kAppends = 1'000'000;

template <typename String, typename Unit>
void AppendUnits(benchmark::State& state) {
  for (auto _ : state) {
    String text;
    for (int i = 0; i < kAppends; ++i) text += static_cast<Unit>('a' + i % 16);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(AppendUnits<CAtlString, char16_t>)->Name("Strings/Append/wide_units/ours");
BENCHMARK(AppendUnits<std::u16string, char16_t>)->Name("Strings/Append/wide_units/peer:u16string");
BENCHMARK(AppendUnits<CAtlStringA, char>)->Name("Strings/Append/narrow_units/ours");
BENCHMARK(AppendUnits<std::string, char>)->Name("Strings/Append/narrow_units/peer:string");

constexpr char16_t kThirteen[] = u"thirteen unit";
constexpr char kThirteenBytes[] = "thirteen unit";

template <typename String, const auto& kText>
void AppendTexts(benchmark::State& state) {
  for (auto _ : state) {
    String text;
    for (int i = 0; i < kAppends; ++i) text += kText;
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(AppendTexts<CAtlString, kThirteen>)->Name("Strings/Append/wide_texts/ours");
BENCHMARK(AppendTexts<std::u16string, kThirteen>)->Name("Strings/Append/wide_texts/peer:u16string");
BENCHMARK(AppendTexts<CAtlStringA, kThirteenBytes>)->Name("Strings/Append/narrow_texts/ours");
BENCHMARK(AppendTexts<std::string, kThirteenBytes>)
    ->Name("Strings/Append/narrow_texts/peer:string");

template <typename String, const auto& kFormat>
void AppendFormatted(benchmark::State& state) {
  for (auto _ : state) {
    String text;
    for (int i = 0; i < kAppends; ++i) text.AppendFormat(kFormat, i, i % 7);
    benchmark::DoNotOptimize(text);
  }
}
constexpr char16_t kWideFormat[] = u"%d: %x;";
constexpr char kNarrowFormat[] = "%d: %x;";
BENCHMARK(AppendFormatted<CAtlString, kWideFormat>)->Name("Strings/AppendFormat/wide/ours");
BENCHMARK(AppendFormatted<CAtlStringA, kNarrowFormat>)->Name("Strings/AppendFormat/narrow/ours");

template <typename String>
void AppendFormattedPeer(benchmark::State& state) {
  for (auto _ : state) {
    String text;
    for (int i = 0; i < kAppends; ++i) {
      char buffer[64];
      const int length = std::snprintf(buffer, sizeof buffer, kNarrowFormat, i, i % 7);
      text.append(buffer, buffer + length);
    }
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(AppendFormattedPeer<std::u16string>)->Name("Strings/AppendFormat/wide/peer:snprintf");
BENCHMARK(AppendFormattedPeer<std::string>)->Name("Strings/AppendFormat/narrow/peer:snprintf");

// Twenty megabytes in tokens of seven units.
template <typename Unit>
std::basic_string<Unit> ManyTokens() {
  std::basic_string<Unit> text;
  const std::string_view token = "tokens7,";
  while (text.size() * sizeof(Unit) < 20'000'000) text.append(token.begin(), token.end());
  return text;
}

constexpr char16_t kComma[] = u",";
constexpr char kCommaByte[] = ",";

template <typename String, const auto& kSet>
void TokenizeLong(benchmark::State& state) {
  const String text(ManyTokens<typename String::Unit>());
  for (auto _ : state) {
    for (int position = 0; position != -1;) {
      const String token = text.Tokenize(kSet, position);
      benchmark::DoNotOptimize(token.GetString());
    }
  }
}
BENCHMARK(TokenizeLong<CAtlString, kComma>)->Name("Strings/Tokenize/wide:20MB/ours");
BENCHMARK(TokenizeLong<CAtlStringA, kCommaByte>)->Name("Strings/Tokenize/narrow:20MB/ours");

template <typename String, const auto& kSet>
void TokensLong(benchmark::State& state) {
  const String text(ManyTokens<typename String::Unit>());
  for (auto _ : state) {
    for (const auto token : text.Tokens(kSet)) benchmark::DoNotOptimize(token.data());
  }
}
BENCHMARK(TokensLong<CAtlString, kComma>)->Name("Strings/Tokenize/wide:20MB/ours:views");
BENCHMARK(TokensLong<CAtlStringA, kCommaByte>)->Name("Strings/Tokenize/narrow:20MB/ours:views");

template <typename String, const auto& kSet>
void TokenizeLongPeer(benchmark::State& state) {
  const auto text = ManyTokens<typename String::value_type>();
  for (auto _ : state) {
    for (std::size_t at = 0; (at = text.find_first_not_of(kSet, at)) != text.npos;) {
      const std::size_t end = std::min(text.find_first_of(kSet, at), text.size());
      const String token = text.substr(at, end - at);
      benchmark::DoNotOptimize(token.data());
      at = end;
    }
  }
}
BENCHMARK(TokenizeLongPeer<std::u16string, kComma>)
    ->Name("Strings/Tokenize/wide:20MB/peer:u16string");
BENCHMARK(TokenizeLongPeer<std::string, kCommaByte>)
    ->Name("Strings/Tokenize/narrow:20MB/peer:string");

void FindEachNarrow(benchmark::State& state) {
  const CAtlStringA text(ManyTokens<char>());
  for (auto _ : state) {
    for (int at = 0; (at = text.Find("7,", at)) >= 0; ++at) benchmark::DoNotOptimize(at);
  }
}
BENCHMARK(FindEachNarrow)->Name("Strings/Find/narrow:20MB/ours");

void FindEachNarrowPeer(benchmark::State& state) {
  const std::string text = ManyTokens<char>();
  for (auto _ : state) {
    for (std::size_t at = 0; (at = text.find("7,", at)) != text.npos; ++at) {
      benchmark::DoNotOptimize(at);
    }
  }
}
BENCHMARK(FindEachNarrowPeer)->Name("Strings/Find/narrow:20MB/peer:string");

// Two hundred Chinese characters as a set, none of which occurs.
std::u16string LargeSet() {
  std::u16string set;
  for (int i = 0; i < 200; ++i) set += static_cast<char16_t>(0x4E00 + i);
  return set;
}

void FindOneOfMany(benchmark::State& state) {
  const CAtlString text(u'\u6000', 100'000);
  const CAtlString set(LargeSet());
  for (auto _ : state) benchmark::DoNotOptimize(text.FindOneOf(set));
}
BENCHMARK(FindOneOfMany)->Name("Strings/FindOneOf/set:200/ours");

void FindOneOfManyPeer(benchmark::State& state) {
  const std::u16string text(100'000, u'\u6000');
  const std::u16string set = LargeSet();
  for (auto _ : state) benchmark::DoNotOptimize(text.find_first_of(set));
}
BENCHMARK(FindOneOfManyPeer)->Name("Strings/FindOneOf/set:200/peer:u16string");

constexpr char16_t kAlike[] =
    u"/Users/Shared/Library/Preferences/com.orviktech.Registry.plist/Install/Part";

void CompareWithArray(benchmark::State& state) {
  const CAtlString text(kPath);
  benchmark::DoNotOptimize(text.Compare(kAlike));  // loads ICU
  for (auto _ : state) benchmark::DoNotOptimize(text.Compare(kAlike));
}
BENCHMARK(CompareWithArray)->Name("Strings/Compare/ours");

void CompareNoCaseWithArray(benchmark::State& state) {
  const CAtlString text(kPath);
  for (auto _ : state) benchmark::DoNotOptimize(text.CompareNoCase(kAlike));
}
BENCHMARK(CompareNoCaseWithArray)->Name("Strings/Compare/ours:no_case");

void ComparePeer(benchmark::State& state) {
  UErrorCode error = U_ZERO_ERROR;
  UCollator* const collator = ucol_open(nullptr, &error);
  const std::u16string text(kPath);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        ucol_strcoll(collator, text.data(), static_cast<int>(text.size()), kAlike, -1));
  }
  ucol_close(collator);
}
BENCHMARK(ComparePeer)->Name("Strings/Compare/peer:icu");

}  // namespace
}  // namespace orvik
