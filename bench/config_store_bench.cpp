// Lookups and writes of the XML configuration store among N keys under one parent, beside a plain
// walk over N siblings that compares their names byte by byte.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <tinyxml.h>

#include "xml/config_store.h"

namespace orvik {
namespace {

namespace fs = std::filesystem;

std::string NameOf(int i) {
  return "Setting " + std::to_string(i);
}

// N keys below the key "keys", each with one value.
std::string Keys(int count) {
  std::string text = "<key name='keys'>";
  for (int i = 0; i < count; ++i) {
    text +=
        "<key name='" + NameOf(i) + "'><value name='v' data='" + std::to_string(i) + "'/></key>";
  }
  return text + "</key>";
}

// A store over such a file, as a program finds it.
class Store {
 public:
  explicit Store(int count) : file_(fs::temp_directory_path() / "orvik-config-bench.xml") {
    std::ofstream(file_) << "<key name='ORVIK Technologies' scope='User'>" << Keys(count)
                         << "</key>";
    SetXMLConfig(1, COrvikFilePath());
    SetXMLConfig(1, COrvikFilePath(CAtlString(file_.u16string())));
    CAtlArray<CAtlString> names;
    ListPreferencesXMLConfig(1, u"", names);  // loads it
  }
  ~Store() { fs::remove(file_); }

 private:
  const fs::path file_;
};

void ConfigLookup(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  const Store store(count);
  const CAtlString path = u"Keys/" + CAtlString(NameOf(count - 1).c_str());
  int value = 0;
  GetXMLConfigInt(1, path, u"V", value);  // indexes the keys
  for (auto _ : state) {
    GetXMLConfigInt(1, path, u"V", value);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(ConfigLookup)->Name("Config/Lookup/ours")->Arg(100)->Arg(10'000)->Arg(100'000);

void ConfigLookupPlainWalk(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  TiXmlDocument document;
  document.Parse(Keys(count).c_str(), nullptr, TIXML_ENCODING_UTF8);
  const std::string wanted = NameOf(count - 1);
  for (auto _ : state) {
    TiXmlElement* key = document.FirstChildElement()->FirstChildElement("key");
    while (std::strcmp(key->Attribute("name"), wanted.c_str()) != 0) {
      key = key->NextSiblingElement("key");
    }
    benchmark::DoNotOptimize(key);
  }
}
BENCHMARK(ConfigLookupPlainWalk)->Name("Config/Lookup/peer:plain_walk")->Arg(10'000);

// 1,000 new values in a row below a key that has N children; also when the caller has had an
// element in hand.
template <bool kHasElement>
void ConfigThousandWrites(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    const Store store(count);
    if (kHasElement) benchmark::DoNotOptimize(FindXMLRootElement(1));
    state.ResumeTiming();
    for (int i = 0; i < 1000; ++i) {
      WriteXMLConfigInt(1, u"keys", CAtlString(NameOf(i).c_str()), i);
    }
  }
}
BENCHMARK(ConfigThousandWrites<false>)
    ->Name("Config/ThousandWrites/ours")
    ->Arg(0)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ConfigThousandWrites<true>)
    ->Name("Config/ThousandWrites/ours:element_in_hand")
    ->Arg(10'000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik
