// One change in a store: the file is read and parsed, one value four keys deep is replaced, the
// list is serialised and the whole file is replaced. A read parses the file and looks the value up.
// The peer parses and serialises with libplist; reading and replacing the file are the same for
// both (without the flush to the disk, whose time has nothing to do with either). "memory" is the
// peak of one change over the size of the file.
//
// The first argument is the number of values, the second the number of values under one key. The
// family "foreign" is a file in the layout of another program (spaces for tabs), which is written
// anew as a whole; unchanged parts of a file in this library's own layout are copied.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <plist/plist.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include "host/replace_file.h"
#include "plist/forms.h"

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

// Who wrote a file: this library, or another writer whose layout is different.
enum class Layout { kOwn, kForeign };

// Software / Company / Product / values of some fifty characters.
std::string Store(int values, int values_of_key, Layout layout) {
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
  text = *orvik::plist::WriteXml(orvik::plist::Read(text).root);
  if (layout == Layout::kForeign) {
    std::string spaced;
    for (const char c : text) c == '\t' ? spaced += "  " : spaced += c;
    return spaced;
  }
  return text;
}

// The same, made only once for all the benchmarks in a row that want it.
const std::string& StoreOf(int values, int values_of_key, Layout layout) {
  static std::tuple<int, int, Layout> last;
  static std::string text;
  const std::tuple wanted(values, values_of_key, layout);
  if (text.empty() || last != wanted) text = Store(values, values_of_key, layout);
  last = wanted;
  return text;
}

constexpr const char* kPath[] = {"Software", "Company 000000", "Product 0"};
constexpr const char* kValue = "Value 000000";

// The list, and in it the dictionary with the value.
orvik::plist::Value Parse(const std::string& file) {
  std::string bytes;
  host::ReadWholeFile(file, &bytes);
  return orvik::plist::Read(std::make_shared<const std::string>(std::move(bytes))).root;
}

void Change(const std::string& file, int round) {
  orvik::plist::Value list = Parse(file);
  orvik::plist::Value* dictionary = &list;
  for (const char* name : kPath) dictionary = dictionary->Change(orvik::plist::Text::Ascii(name));
  const std::string value = Name("changed %06d", round);
  dictionary->Set(orvik::plist::Text::Ascii(kValue),
                  orvik::plist::Value::String(orvik::plist::Text::Ascii(value)));
  const std::optional<std::string> xml = orvik::plist::WriteXml(list);
  host::ReplaceFile(file, *xml, {.flush = host::Flush::kNone});
}

void Read(const std::string& file) {
  const orvik::plist::Value list = Parse(file);
  const orvik::plist::Value* dictionary = &list;
  for (const char* name : kPath) dictionary = dictionary->Find(orvik::plist::Text::Ascii(name));
  benchmark::DoNotOptimize(dictionary->Find(orvik::plist::Text::Ascii(kValue)));
}

plist_t ParseWithPeer(const std::string& file, plist_t& dictionary) {
  std::string bytes;
  host::ReadWholeFile(file, &bytes);
  plist_t list = nullptr;
  plist_from_xml(bytes.data(), static_cast<uint32_t>(bytes.size()), &list);
  dictionary = list;
  for (const char* name : kPath) dictionary = plist_dict_get_item(dictionary, name);
  return list;
}

void ReadWithPeer(const std::string& file) {
  plist_t dictionary = nullptr;
  plist_t list = ParseWithPeer(file, dictionary);
  benchmark::DoNotOptimize(plist_dict_get_item(dictionary, kValue));
  plist_free(list);
}

void ChangeWithPeer(const std::string& file, int round) {
  plist_t dictionary = nullptr;
  plist_t list = ParseWithPeer(file, dictionary);
  plist_dict_set_item(dictionary, kValue, plist_new_string(Name("changed %06d", round).c_str()));
  char* xml = nullptr;
  uint32_t length = 0;
  plist_to_xml(list, &xml, &length);
  host::ReplaceFile(file, {xml, length}, {.flush = host::Flush::kNone});
  plist_to_xml_free(xml);
  plist_free(list);
}

// Of a smaller file the process's own pages would be measured.
constexpr size_t kMeasurable = 500'000;

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

using Work = void (*)(const std::string& file, int round);

struct Operation {
  std::string name;
  Work ours;
  Work peers;
};
const Operation kOperations[] = {
    {"OneChange", Change, ChangeWithPeer},
    {"OneRead", [](const std::string& file, int) { Read(file); },
     [](const std::string& file, int) { ReadWithPeer(file); }},
};

// A change leaves a file in its writer's layout, so that a foreign one is put back each time.
void Measure(benchmark::State& state, Work work, Layout layout, bool measures_memory) {
  const Folder folder;
  const std::string file = folder.file();
  const std::string& store =
      StoreOf(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), layout);
  const auto put_back = [&] { host::ReplaceFile(file, store, {.flush = host::Flush::kNone}); };
  put_back();
  if (measures_memory && store.size() > kMeasurable) {
    state.counters["memory"] = PeakBytes(file) / static_cast<double>(store.size());
  }
  int round = 0;
  for (auto _ : state) {
    work(file, ++round);
    if (layout == Layout::kOwn) continue;
    state.PauseTiming();
    put_back();
    state.ResumeTiming();
  }
  state.counters["bytes"] = static_cast<double>(store.size());
}

// PropertyList/OPERATION/LAYOUT for every layout, size and operation, those of one store in a row.
bool RegisterSizes() {
  struct Size {
    int64_t values, of_key;
    int repetitions;  // 0: as many as the command line says
  };
  const Size sizes[] = {{10, 20, 0},         {1000, 20, 0},   {10000, 20, 0},
                        {100000, 100000, 0}, {100000, 20, 0}, {1000000, 20, 1}};
  for (const Layout layout : {Layout::kOwn, Layout::kForeign}) {
    for (const Size& size : sizes) {
      if (layout == Layout::kForeign && (size.values < 100000 || size.of_key != 20)) continue;
      for (const Operation& operation : kOperations) {
        const std::string family =
            "PropertyList/" + operation.name + (layout == Layout::kForeign ? "/foreign/" : "/");
        const auto add = [&](const char* role, Work work, bool measures_memory) {
          auto* const measured = benchmark::RegisterBenchmark(
              (family + role).c_str(),
              [=](benchmark::State& state) { Measure(state, work, layout, measures_memory); });
          measured->ArgNames({"values", "of_key"})->Unit(benchmark::kMillisecond);
          measured->Args({size.values, size.of_key});
          if (size.repetitions != 0) measured->Repetitions(size.repetitions);
        };
        add("ours", operation.ours, true);
        add("peer:libplist", operation.peers, false);
      }
    }
  }
  return true;
}
const bool kRegistered = RegisterSizes();

}  // namespace
