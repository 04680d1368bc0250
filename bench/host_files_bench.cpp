// Replacing a file beside the plain way (write a second file, rename it), and looking entries up
// beside the library's hash map.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/replace_file.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

class Folder {
 public:
  Folder() {
    char pattern[] = "/tmp/orvik-bench-XXXXXX";
    path_ = mkdtemp(pattern);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string File() const { return path_ + "/file"; }

 private:
  std::string path_;
};

std::string Content(const benchmark::State& state, int turn) {
  return std::string(static_cast<std::size_t>(state.range(0)), static_cast<char>('a' + turn % 26));
}

void ReplaceWithoutFlush(benchmark::State& state) {
  const Folder folder;
  int turn = 0;
  for (auto _ : state) {
    host::ReplaceFile(folder.File(), Content(state, ++turn), {.flush = host::Flush::kNone});
  }
}
BENCHMARK(ReplaceWithoutFlush)
    ->Name("Host/ReplaceUnflushed/ours")
    ->Arg(300)
    ->Arg(100'000)
    ->UseRealTime();

void ReplaceWithoutFlushPeer(benchmark::State& state) {
  const Folder folder;
  int turn = 0;
  for (auto _ : state) {
    std::ofstream(folder.File() + ".new") << Content(state, ++turn);
    std::rename((folder.File() + ".new").c_str(), folder.File().c_str());
  }
}
BENCHMARK(ReplaceWithoutFlushPeer)
    ->Name("Host/ReplaceUnflushed/peer:fstream")
    ->Arg(300)
    ->Arg(100'000)
    ->UseRealTime();

std::vector<std::u16string> Names(const benchmark::State& state) {
  std::vector<std::u16string> names;
  for (int i = 0; i < state.range(0); ++i) {
    const std::string text = "entry number " + std::to_string(i);
    names.emplace_back(text.begin(), text.end());
  }
  return names;
}

// Fills a dictionary and finds every entry again.
void DictionaryFillAndFind(benchmark::State& state) {
  std::vector<const NSString*> keys;
  for (const std::u16string& name : Names(state)) keys.push_back(NSString::NewFromUnits(name));
  for (auto _ : state) {
    NSDictionary* dictionary = NSDictionary::Create();
    for (const NSString* key : keys) dictionary->setObject(key, key);
    for (const NSString* key : keys) {
      benchmark::DoNotOptimize(dictionary->objectForKey(key));
    }
    dictionary->release();
  }
  for (const NSString* key : keys) key->release();
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DictionaryFillAndFind)
    ->Name("Platform/Dictionary/ours")
    ->RangeMultiplier(100)
    ->Range(10, 100'000);

void DictionaryFillAndFindPeer(benchmark::State& state) {
  const std::vector<std::u16string> keys = Names(state);
  for (auto _ : state) {
    std::unordered_map<std::u16string, const void*> map;
    for (const std::u16string& key : keys) map[key] = &key;
    for (const std::u16string& key : keys) benchmark::DoNotOptimize(map.find(key)->second);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DictionaryFillAndFindPeer)
    ->Name("Platform/Dictionary/peer:unordered_map")
    ->RangeMultiplier(100)
    ->Range(10, 100'000);

}  // namespace
}  // namespace orvik
