// The UTF-8 string makers beside ICU converting into a fresh standard string.
#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <string>

#include "strings/utf8_strings.h"

namespace orvik {
namespace {

// In the order of the first argument: ASCII, German, Chinese, emoji, all of them.
constexpr const char16_t* kTexts[] = {
    u"The quick brown fox jumps over the lazy dog. ",
    u"Zw\u00F6lf Boxk\u00E4mpfer jagen Viktor quer \u00FCber den gro\u00DFen Deich. ",
    u"\u5929\u5730\u7384\u9EC4\u5B87\u5B99\u6D2A\u8352\u65E5\u6708\u76C8\u6603\u8FB0\u5BBF",
    u"\U0001F600\U0001F680\U0001F389\U0001F4A1\U0001F30D\U0001F984",
    u"Gr\u00FC\u00DFe aus K\u00F6ln \U0001F600 \u5929\u5730\u7384\u9EC4 The quick brown fox jumps "
    u"over the "
    u"lazy dog, \u00FCber den gro\u00DFen Deich. "
    u"\u5B87\u5B99\u6D2A\u8352\u65E5\u6708\u76C8\u6603\u8FB0\u5BBF "
    u"\U0001F680\U0001F389\U0001F4A1\U0001F30D\U0001F984 ",
};

CAtlStringA Utf8Sample(const benchmark::State& state) {
  std::u16string text;
  const auto size = static_cast<int>(state.range(1));
  while (static_cast<int>(text.size()) < size) text += kTexts[state.range(0)];
  CAtlStringA utf8 = MakeUTF8StringFromUnicodeString(CAtlString(text));
  int length = size;
  while ((utf8[length] & 0xC0) == 0x80) --length;
  utf8.Truncate(length);
  utf8.FreeExtra();
  return utf8;
}

void Arguments(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"text", "bytes"});
  for (int text = 0; text < 5; ++text) bench->Args({text, 32})->Args({text, 1 << 20});
}

void MakeUtf8(benchmark::State& state) {
  const CAtlString text = MakeWideStringFromUTF8String(Utf8Sample(state));
  for (auto _ : state) benchmark::DoNotOptimize(MakeUTF8StringFromUnicodeString(text));
  state.SetBytesProcessed(state.iterations() * state.range(1));
}
BENCHMARK(MakeUtf8)->Name("Strings/MakeUtf8/ours")->Apply(Arguments);

void MakeUtf8Peer(benchmark::State& state) {
  const CAtlString text = MakeWideStringFromUTF8String(Utf8Sample(state));
  for (auto _ : state) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    u_strToUTF8(nullptr, 0, &length, text, text.GetLength(), &error);
    error = U_ZERO_ERROR;
    std::string utf8(static_cast<std::size_t>(length), '\0');
    u_strToUTF8(utf8.data(), length + 1, &length, text, text.GetLength(), &error);
    benchmark::DoNotOptimize(utf8.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(1));
}
BENCHMARK(MakeUtf8Peer)->Name("Strings/MakeUtf8/peer:icu")->Apply(Arguments);

// Without measuring first: room for the longest result, cut afterwards.
void MakeUtf8OncePeer(benchmark::State& state) {
  const CAtlString text = MakeWideStringFromUTF8String(Utf8Sample(state));
  for (auto _ : state) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    std::string utf8(static_cast<std::size_t>(text.GetLength()) * 3, '\0');
    u_strToUTF8(utf8.data(), static_cast<int32_t>(utf8.size()), &length, text, text.GetLength(),
                &error);
    utf8.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(utf8.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(1));
}
BENCHMARK(MakeUtf8OncePeer)->Name("Strings/MakeUtf8/peer:icu_once")->Apply(Arguments);

void MakeWide(benchmark::State& state) {
  const CAtlStringA utf8 = Utf8Sample(state);
  for (auto _ : state) benchmark::DoNotOptimize(MakeWideStringFromUTF8String(utf8));
  state.SetBytesProcessed(state.iterations() * state.range(1));
}
BENCHMARK(MakeWide)->Name("Strings/MakeWide/ours")->Apply(Arguments);

void MakeWidePeer(benchmark::State& state) {
  const CAtlStringA utf8 = Utf8Sample(state);
  for (auto _ : state) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    std::u16string wide(static_cast<std::size_t>(utf8.GetLength()), u'\0');
    u_strFromUTF8(wide.data(), utf8.GetLength(), &length, utf8, utf8.GetLength(), &error);
    wide.resize(static_cast<std::size_t>(length));
    benchmark::DoNotOptimize(wide.data());
  }
  state.SetBytesProcessed(state.iterations() * state.range(1));
}
BENCHMARK(MakeWidePeer)->Name("Strings/MakeWide/peer:icu")->Apply(Arguments);

}  // namespace
}  // namespace orvik
