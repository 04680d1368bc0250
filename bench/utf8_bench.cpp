// The UTF-8 string makers beside ICU converting into a fresh standard string.
#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <string>

#include "bench/sample_texts.h"
#include "strings/utf8_strings.h"

namespace orvik::bench {
namespace {

CAtlStringA Utf8Sample(const benchmark::State& state, std::u16string_view pattern) {
  const auto size = static_cast<int>(state.range(0));
  const std::u16string text = Repeated(pattern, static_cast<std::size_t>(size));
  CAtlStringA utf8 = MakeUTF8StringFromUnicodeString(CAtlString(text));
  int length = size;
  while ((utf8[length] & 0xC0) == 0x80) --length;
  utf8.Truncate(length);
  utf8.FreeExtra();
  return utf8;
}

void MakeUtf8(benchmark::State& state, std::u16string_view pattern) {
  const CAtlString text = MakeWideStringFromUTF8String(Utf8Sample(state, pattern));
  for (auto _ : state) benchmark::DoNotOptimize(MakeUTF8StringFromUnicodeString(text));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void MakeUtf8Peer(benchmark::State& state, std::u16string_view pattern) {
  const CAtlString text = MakeWideStringFromUTF8String(Utf8Sample(state, pattern));
  for (auto _ : state) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    u_strToUTF8(nullptr, 0, &length, text, text.GetLength(), &error);
    error = U_ZERO_ERROR;
    std::string utf8(static_cast<std::size_t>(length), '\0');
    u_strToUTF8(utf8.data(), length + 1, &length, text, text.GetLength(), &error);
    benchmark::DoNotOptimize(utf8.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

// Without measuring first: room for the longest result, cut afterwards.
void MakeUtf8OncePeer(benchmark::State& state, std::u16string_view pattern) {
  const CAtlString text = MakeWideStringFromUTF8String(Utf8Sample(state, pattern));
  for (auto _ : state) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    std::string utf8(static_cast<std::size_t>(text.GetLength()) * 3, '\0');
    u_strToUTF8(utf8.data(), static_cast<int32_t>(utf8.size()), &length, text, text.GetLength(),
                &error);
    utf8.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(utf8.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void MakeWide(benchmark::State& state, std::u16string_view pattern) {
  const CAtlStringA utf8 = Utf8Sample(state, pattern);
  for (auto _ : state) benchmark::DoNotOptimize(MakeWideStringFromUTF8String(utf8));
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

void MakeWidePeer(benchmark::State& state, std::u16string_view pattern) {
  const CAtlStringA utf8 = Utf8Sample(state, pattern);
  for (auto _ : state) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    std::u16string wide(static_cast<std::size_t>(utf8.GetLength()), u'\0');
    u_strFromUTF8(wide.data(), utf8.GetLength(), &length, utf8, utf8.GetLength(), &error);
    wide.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(wide.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

const bool kRegistered[] = {
    RegisterForTexts("Strings/MakeUtf8", "ours", MakeUtf8),
    RegisterForTexts("Strings/MakeUtf8", "peer:icu", MakeUtf8Peer),
    RegisterForTexts("Strings/MakeUtf8", "peer:icu_once", MakeUtf8OncePeer),
    RegisterForTexts("Strings/MakeWide", "ours", MakeWide),
    RegisterForTexts("Strings/MakeWide", "peer:icu", MakeWidePeer),
};

}  // namespace
}  // namespace orvik::bench
