// The whole run of the postflight program against another program's way of recording as many
// values: one process of git for each.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "bench/peer_process.h"
#include "bench/volume.h"

namespace {

namespace fs = std::filesystem;
using orvik::bench::RunPeer;
using orvik::bench::Volume;

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
