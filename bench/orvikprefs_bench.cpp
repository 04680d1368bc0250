// Whole runs of orvikprefs over stores of n, 2n, 4n and 8n values, which show how the time grows;
// for two of them Python's property-list library stands beside, which only loads the file or loads
// and saves it. And the start of the program beside another's.
#include <benchmark/benchmark.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/peer_process.h"
#include "bench/volume.h"

namespace {

using orvik::bench::RunPeer;
using orvik::bench::Volume;
namespace fs = std::filesystem;

constexpr int kKeys = 100;

std::string Program() {
  return fs::read_symlink("/proc/self/exe").parent_path() / "orvikprefs";
}

// A store of so many values in a hundred keys.
class Store {
 public:
  explicit Store(int values) {
    const fs::path folder = volume_.folder() / "root/Users/Shared/Library/Preferences";
    fs::create_directories(folder);
    file_ = folder / "com.orviktech.Registry.plist";
    std::ofstream xml(file_);
    xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n";
    for (int key = 0; key < kKeys; ++key) {
      xml << "<key>Key " << 100 + key << "</key>\n<dict>\n";
      for (int value = 0; value < values / kKeys; ++value) {
        xml << "<key>value " << 100000 + value << "</key>\n<string>text " << value
            << " of some length</string>\n";
      }
      xml << "</dict>\n";
    }
    xml << "</dict>\n</plist>\n";
  }

  const std::string& file() const { return file_; }
  std::string beside(const char* name) const { return volume_.folder() / name; }

 private:
  Volume volume_;
  std::string file_;
};

// The file with one letter wrong in every hundredth end tag.
void WriteDamaged(const std::string& file, const std::string& to) {
  std::ifstream sound(file);
  std::ofstream damaged(to);
  int lines = 0;
  for (std::string line; std::getline(sound, line);) {
    if (++lines % 100 == 0 && line.ends_with("</string>")) line[line.size() - 3] = 'X';
    damaged << line << '\n';
  }
}

// A script that changes every value.
void WriteScript(int values, const std::string& to) {
  std::ofstream script(to);
  for (int key = 0; key < kKeys; ++key) {
    for (int value = 0; value < values / kKeys; ++value) {
      script << "set \"Key " << 100 + key << "\" \"value " << 100000 + value << "\" \"changed\"\n";
    }
  }
}

// The store of so many values, the script beside it and the domain "damaged", made only once for
// all the benchmarks in a row that want them. The domain "other" is as the last run left it.
const Store& StoreOf(int values) {
  static std::unique_ptr<Store> store;
  static int last = 0;
  if (values != last) {
    store.reset();
    store = std::make_unique<Store>(values);
    WriteDamaged(store->file(), fs::path(store->file()).parent_path() / "damaged.plist");
    WriteScript(values, store->beside("script"));
  }
  last = values;
  return *store;
}

// Before each run a file goes, so that the run has to make it; "" is none.
void Run(benchmark::State& state, const std::vector<std::string>& command,
         const fs::path& made = {}) {
  for (auto _ : state) {
    if (!made.empty()) {
      state.PauseTiming();
      fs::remove(made);
      state.ResumeTiming();
    }
    if (RunPeer(command) != 0) {
      state.SkipWithError(("it did not run: " + command[0]).c_str());
      break;
    }
  }
}

// FILE is the store and SCRIPT a script that changes all of it; the domain "damaged" is the store
// with faults.
struct Work {
  const char* name;
  std::vector<std::string> arguments;
  const char* python;  // with the file as argv[1]
  bool makes_other = false;
};

void RunOurs(benchmark::State& state, const Work& work, int values) {
  const Store& store = StoreOf(values);
  std::vector<std::string> command = {Program()};
  for (const std::string& argument : work.arguments) {
    command.push_back(argument == "FILE"     ? store.file()
                      : argument == "SCRIPT" ? store.beside("script")
                                             : argument);
  }
  const fs::path other = fs::path(store.file()).parent_path() / "other.plist";
  Run(state, command, work.makes_other ? other : fs::path());
}

void RunPython(benchmark::State& state, const Work& work, int values) {
  const std::string& file = StoreOf(values).file();
  Run(state, {"python3", "-c", std::string("import json,plistlib,sys\n") + work.python, file});
}

bool HasPeer(int values) {
  return values == 1000 || values == 100000;
}

[[maybe_unused]] const int kRegistered = [] {
  static const Work kWork[] = {
      {"get", {"get", "Key 150", "value 100007"}, "plistlib.load(open(sys.argv[1],'rb'))"},
      {"list", {"list", "Key 150"}, "plistlib.load(open(sys.argv[1],'rb'))"},
      {"check", {"check"}, "plistlib.load(open(sys.argv[1],'rb'))"},
      {"export_json",
       {"export", "--format", "json"},
       "json.dump(plistlib.load(open(sys.argv[1],'rb')),sys.stdout)"},
      {"import",
       {"--domain", "other", "import", "FILE"},
       "plistlib.dump(plistlib.load(open(sys.argv[1],'rb')),open(sys.argv[1]+'.new','wb'))",
       true},
      {"apply",
       {"--domain", "other", "apply", "SCRIPT"},
       "plistlib.dump(plistlib.load(open(sys.argv[1],'rb')),open(sys.argv[1]+'.new','wb'))",
       true},
      {"diff", {"--domain", "other", "diff", "FILE"}, "plistlib.load(open(sys.argv[1],'rb'))"},
      {"repair",
       {"--domain", "damaged", "repair", "--dry-run"},
       "plistlib.load(open(sys.argv[1],'rb'))"},
  };
  for (const int values : {1000, 25000, 50000, 100000, 200000}) {
    for (const Work& work : kWork) {
      const std::string name =
          std::string("Orvikprefs/") + work.name + "/" + std::to_string(values);
      for (const bool ours : {true, false}) {
        if (!ours && !HasPeer(values)) continue;
        benchmark::RegisterBenchmark((name + (ours ? "/ours" : "/peer:plistlib")).c_str(),
                                     [&work, values, ours](benchmark::State& state) {
                                       ours ? RunOurs(state, work, values)
                                            : RunPython(state, work, values);
                                     })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
      }
    }
  }
  benchmark::RegisterBenchmark("Orvikprefs/start/1/ours",
                               [](benchmark::State& state) {
                                 Run(state, {Program(), "--version"});
                               })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  benchmark::RegisterBenchmark("Orvikprefs/start/1/peer:git",
                               [](benchmark::State& state) {
                                 Run(state, {"git", "--version"});
                               })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
  return 0;
}();

}  // namespace
