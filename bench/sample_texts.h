// The texts of which conversions are measured, each as a benchmark of its own name.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace orvik::bench {

struct SampleText {
  const char* name;
  std::u16string_view units;
};
inline constexpr SampleText kSampleTexts[] = {
    {"ascii", u"The quick brown fox jumps over the lazy dog. "},
    {"german", u"Zw\u00F6lf Boxk\u00E4mpfer jagen Viktor quer \u00FCber den gro\u00DFen Deich. "},
    {"chinese",
     u"\u5929\u5730\u7384\u9EC4\u5B87\u5B99\u6D2A\u8352\u65E5\u6708\u76C8\u6603\u8FB0\u5BBF"},
    {"emoji", u"\U0001F600\U0001F680\U0001F389\U0001F4A1\U0001F30D\U0001F984"},
    {"mixed",
     u"Gr\u00FC\u00DFe aus K\u00F6ln \U0001F600 \u5929\u5730\u7384\u9EC4 The quick brown fox jumps "
     u"over the lazy dog, \u00FCber den gro\u00DFen Deich. "
     u"\u5B87\u5B99\u6D2A\u8352\u65E5\u6708\u76C8\u6603\u8FB0\u5BBF "
     u"\U0001F680\U0001F389\U0001F4A1\U0001F30D\U0001F984 "},
};

// A benchmark that gets one of the texts; its argument is the size to which it repeats the text.
using TextBenchmark = void (*)(benchmark::State& state, std::u16string_view text);

inline constexpr std::initializer_list<int64_t> kShortAndLong = {32, 1 << 20};

// Registers FAMILY/TEXT/ROLE for every text. The result only serves to start a static variable.
inline bool RegisterForTexts(const std::string& family, const std::string& role, TextBenchmark run,
                             std::initializer_list<int64_t> sizes = kShortAndLong) {
  for (const SampleText& text : kSampleTexts) {
    const std::string name = family + "/" + text.name + "/" + role;
    auto* const registered = benchmark::RegisterBenchmark(
        name.c_str(), [run, &text](benchmark::State& state) { run(state, text.units); });
    for (const int64_t size : sizes) registered->Arg(size);
  }
  return true;
}

// The text repeated to `units` units.
inline std::u16string Repeated(std::u16string_view text, std::size_t units) {
  std::u16string all;
  while (all.size() < units) all += text;
  all.resize(units);
  return all;
}

}  // namespace orvik::bench
