// The wide string beside std::u16string, snprintf and an open ICU collator doing the same work.
#include <benchmark/benchmark.h>
#include <unicode/ucol.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include "strings/atl_string.h"

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

constexpr char16_t kAlike[] =
    u"/Users/Shared/Library/Preferences/com.orviktech.Registry.plist/Install/Part";

void CompareWithArray(benchmark::State& state) {
  const CAtlString text(kPath);
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
