// One change in a store: the file is read and parsed, one value four keys deep is replaced, the
// list is serialised and the whole file is replaced. The peer parses and serialises with libplist;
// reading and replacing the file are the same for both (without the flush to the disk, whose time
// has nothing to do with either). "of_peer" is this layer's processor time over the peer's,
// measured in pairs within one run, and "memory" the peak of one change over the size of the file.
//
// The second argument is the number of values under one key.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <plist/plist.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/property_list.h"
#include "host/replace_file.h"

namespace {

namespace fs = std::filesystem;
using namespace orvik;

class Folder {
 public:
  Folder() {
    std::string pattern = (fs::temp_directory_path() / "orvik-bench-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~Folder() { fs::remove_all(folder_); }
  std::string file() const { return folder_ / "store.plist"; }

 private:
  fs::path folder_;
};

std::string Name(const char* format, int number) {
  char name[64];
  snprintf(name, sizeof name, format, number);
  return name;
}

// Software / Company / Product / values of some fifty characters.
std::string Store(int values, int values_of_key) {
  std::string text = "<plist version=\"1.0\">\n<dict>\n\t<key>Software</key>\n\t<dict>\n";
  int written = 0;
  for (int company = 0; written < values; ++company) {
    text += "\t\t<key>" + Name("Company %06d", company) + "</key>\n\t\t<dict>\n";
    for (int product = 0; product < 10 && written < values; ++product) {
      text += "\t\t\t<key>" + Name("Product %d", product) + "</key>\n\t\t\t<dict>\n";
      for (int value = 0; value < values_of_key && written < values; ++value, ++written) {
        text += "\t\t\t\t<key>" + Name("Value %06d", value) + "</key>\n\t\t\t\t<string>" +
                Name("text of %d", written) + "</string>\n";
      }
      text += "\t\t\t</dict>\n";
    }
    text += "\t\t</dict>\n";
  }
  text += "\t</dict>\n</dict>\n</plist>\n";
  // As this layer writes it.
  const NSData* data = NSData::Create(std::move(text));
  CFPropertyListRef list = CFPropertyListCreateFromXMLData(nullptr, data, 0, nullptr);
  const NSData* xml = CFPropertyListCreateXMLData(nullptr, list);
  text = xml->View();
  CFRelease(xml);
  CFRelease(list);
  CFRelease(data);
  return text;
}

constexpr const char* kPath[] = {"Software", "Company 000000", "Product 0"};
constexpr const char* kValue = "Value 000000";

void Change(const std::string& file, int round) {
  std::string bytes;
  host::ReadWholeFile(file, &bytes);
  const NSData* data = NSData::Create(std::move(bytes));
  CFPropertyListRef list =
      CFPropertyListCreateFromXMLData(nullptr, data, kCFPropertyListMutableContainers, nullptr);
  CFRelease(data);
  const auto* dictionary = static_cast<const NSDictionary*>(ObjectOf(list));
  for (const char* name : kPath) {
    const NSString* key = NSString::NewFromAscii(name);
    dictionary = static_cast<const NSDictionary*>(dictionary->objectForKey(key));
    key->release();
  }
  const NSString* key = NSString::NewFromAscii(kValue);
  const NSString* value = NSString::NewFromAscii(Name("changed %06d", round));
  const_cast<NSDictionary*>(dictionary)->setObject(value, key);
  value->release();
  key->release();
  const NSData* xml = CFPropertyListCreateXMLData(nullptr, list);
  host::ReplaceFile(file, xml->View(), host::Flush::kNone);
  CFRelease(xml);
  CFRelease(list);
}

void ChangeWithPeer(const std::string& file, int round) {
  std::string bytes;
  host::ReadWholeFile(file, &bytes);
  plist_t list = nullptr;
  plist_from_xml(bytes.data(), static_cast<uint32_t>(bytes.size()), &list);
  bytes = {};
  plist_t dictionary = list;
  for (const char* name : kPath) dictionary = plist_dict_get_item(dictionary, name);
  plist_dict_set_item(dictionary, kValue, plist_new_string(Name("changed %06d", round).c_str()));
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(list, &xml, &length);
  host::ReplaceFile(file, {xml, length}, host::Flush::kNone);
  plist_to_xml_free(xml);
  plist_free(list);
}

// Of a smaller file the process's own pages would be measured.
constexpr size_t kMeasurable = 500'000;

double ProcessorSeconds() {
  timespec time = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The peak of a child that makes one change, without what it had from its parent.
double PeakBytes(const std::string& file) {
  malloc_trim(0);
  double peaks[2] = {};
  for (const int changes : {0, 1}) {
    const pid_t child = fork();
    if (child == 0) {
      if (changes == 1) Change(file, 1);
      _exit(0);
    }
    rusage usage = {};
    wait4(child, nullptr, 0, &usage);
    peaks[changes] = static_cast<double>(usage.ru_maxrss) * 1024;
  }
  return peaks[1] - peaks[0];
}

void BM_OneChange(benchmark::State& state) {
  const Folder folder;
  const std::string file = folder.file();
  const std::string store =
      Store(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  host::ReplaceFile(file, store, host::Flush::kNone);
  const double memory = PeakBytes(file);
  double own = 0, peers = 0;
  int round = 0;
  for (auto _ : state) {
    double start = ProcessorSeconds();
    Change(file, ++round);
    own += ProcessorSeconds() - start;
    state.PauseTiming();
    start = ProcessorSeconds();
    ChangeWithPeer(file, ++round);
    peers += ProcessorSeconds() - start;
    state.ResumeTiming();
  }
  state.counters["bytes"] = static_cast<double>(store.size());
  if (store.size() > kMeasurable) {
    state.counters["memory"] = memory / static_cast<double>(store.size());
  }
  state.counters["of_peer"] = own / peers;
}
BENCHMARK(BM_OneChange)
    ->Name("PropertyList/OneChange/ours")
    ->ArgNames({"values", "of_key"})
    ->Args({10, 20})
    ->Args({1000, 20})
    ->Args({10000, 20})
    ->Args({100000, 20})
    ->Args({100000, 100000})
    ->Unit(benchmark::kMillisecond);

void BM_OneChangeWithLibplist(benchmark::State& state) {
  const Folder folder;
  const std::string file = folder.file();
  host::ReplaceFile(file, Store(static_cast<int>(state.range(0)), static_cast<int>(state.range(1))),
                    host::Flush::kNone);
  int round = 0;
  for (auto _ : state) ChangeWithPeer(file, ++round);
}
BENCHMARK(BM_OneChangeWithLibplist)
    ->Name("PropertyList/OneChange/peer:libplist")
    ->ArgNames({"values", "of_key"})
    ->Args({10, 20})
    ->Args({1000, 20})
    ->Args({10000, 20})
    ->Args({100000, 20})
    ->Args({100000, 100000})
    ->Unit(benchmark::kMillisecond);

}  // namespace
