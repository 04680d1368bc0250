// Lookups and writes of the XML configuration store among N keys under one parent, beside a walk of
// the same siblings that compares their names byte by byte.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <string>

#include <tinyxml.h>

#include "xml/config_store.h"

namespace orvik {
namespace {

CAtlString NameOf(int i) {
  CAtlString name;
  name.Format(u"Setting %d", i);
  return name;
}

// A document with N keys, each with one value, and N values.
void Fill(int count) {
  const std::filesystem::path file = std::filesystem::temp_directory_path() /
                                     ("orvik-config-bench-" + std::to_string(count) + ".xml");
  SetXMLConfig(1, COrvikFilePath(CAtlString(file.u16string())));
  DeleteXMLSubKeyElement(1, u"keys");
  DeleteXMLSubKeyElement(1, u"values");
  TiXmlElement* const root = GetXMLConfigRootElement(1);
  WriteXMLConfigInt(1, u"keys", u"v", 0);
  TiXmlElement* const keys = root->FirstChildElement();
  keys->Clear();
  for (int i = 0; i < count; ++i) {
    auto* const key = new TiXmlElement("key");
    const CAtlStringA name(NameOf(i));
    key->SetAttribute("name", name.GetString());
    auto* const value = new TiXmlElement("value");
    value->SetAttribute("name", "v");
    value->SetAttribute("data", i);
    key->LinkEndChild(value);
    keys->LinkEndChild(key);
  }
}

void ConfigLookup(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Fill(count);
  const CAtlString path = u"Keys/" + NameOf(count - 1);
  for (auto _ : state) {
    int value = 0;
    GetXMLConfigInt(1, path, u"V", value);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(ConfigLookup)->Name("Config/Lookup/ours")->Arg(100)->Arg(1000)->Arg(10'000);

void ConfigLookupPlainWalk(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  Fill(count);
  const CAtlStringA wanted(NameOf(count - 1));
  for (auto _ : state) {
    TiXmlElement* key = FindXMLSubKeyElement(1, u"keys")->FirstChildElement("key");
    while (std::strcmp(key->Attribute("name"), wanted.GetString()) != 0) {
      key = key->NextSiblingElement("key");
    }
    benchmark::DoNotOptimize(key);
  }
}
BENCHMARK(ConfigLookupPlainWalk)->Name("Config/Lookup/peer:plain_walk")->Arg(10'000);

// 1,000 new values in a row below a key that has N children.
void ConfigThousandWrites(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    Fill(count);
    state.ResumeTiming();
    for (int i = 0; i < 1000; ++i) WriteXMLConfigInt(1, u"keys", NameOf(i), i);
  }
}
BENCHMARK(ConfigThousandWrites)
    ->Name("Config/ThousandWrites/ours")
    ->Arg(0)
    ->Arg(10'000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik
