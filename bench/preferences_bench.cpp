// The whole run of the postflight program against another program's way of recording as many
// values: one process of git for each.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/peer_process.h"

namespace {

namespace fs = std::filesystem;
using orvik::bench::RunPeer;

// A folder that stands for the system volume and the home folder.
class Volume {
 public:
  Volume() {
    std::string pattern = (fs::temp_directory_path() / "orvik-bench-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
    fs::create_directories(folder_ / "root/Library/Receipts/Pollix Components.pkg");
    fs::create_directories(folder_ / "home");
    setenv("ORVIK_SYSTEM_ROOT", (folder_ / "root").c_str(), 1);
    setenv("HOME", (folder_ / "home").c_str(), 1);
  }
  ~Volume() { fs::remove_all(folder_); }

  const fs::path& folder() const { return folder_; }

 private:
  fs::path folder_;
};

// The destination alternates, so that every run has something to change.
std::string Destination(bool odd) {
  return odd ? "/Applications/A" : "/Applications/B";
}

void BM_PostflightRun(benchmark::State& state) {
  const Volume volume;
  const fs::path program = fs::read_symlink("/proc/self/exe").parent_path() / "postflight";
  bool odd = false;
  for (auto _ : state) {
    odd = !odd;
    if (RunPeer({program.string(), "-pathToPkg", "/tmp/a.pkg", "-pathToDest", Destination(odd),
                 "-mountPointOfDest", "/", "-rootOfCurrSystemFolder", "/"}) != 1) {
      state.SkipWithError("postflight did not run");
      break;
    }
  }
}
BENCHMARK(BM_PostflightRun)
    ->Name("Postflight/WholeRun/7/ours")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_GitConfigSevenValues(benchmark::State& state) {
  const Volume volume;
  const std::string file = (volume.folder() / "config").string();
  bool odd = false;
  for (auto _ : state) {
    odd = !odd;
    for (int value = 0; value < 7; ++value) {
      if (RunPeer({"git", "config", "--file", file, "section.key" + std::to_string(value),
                   Destination(odd)}) != 0) {
        state.SkipWithError("git config did not run");
        return;
      }
    }
  }
}
BENCHMARK(BM_GitConfigSevenValues)
    ->Name("Postflight/WholeRun/7/peer:git_config")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
