// Copying, removing and listing files against cp, rm and find, in memory (/dev/shm) unless
// ORVIK_BENCH_FOLDER names another folder. The peers' time has the start of their process in it.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/peer_process.h"
#include "files/directory_manipulator.h"
#include "files/directory_path.h"
#include "files/file_manipulator.h"
#include "files/file_path.h"

namespace {

namespace fs = std::filesystem;
using orvik::CAtlString;
using orvik::CDirectoryManipulator;
using orvik::CFileManipulator;
using orvik::COrvikDirectoryPath;
using orvik::COrvikFilePath;
using orvik::bench::RunPeer;

constexpr int kFolders = 2000;
constexpr int kFilesPerFolder = 10;
constexpr int kFoldersAbove = 40;

// A folder of the benchmark's own.
class Scratch {
 public:
  Scratch() {
    const char* const chosen = std::getenv("ORVIK_BENCH_FOLDER");
    std::string pattern =
        (fs::path(chosen != nullptr ? chosen : "/dev/shm") / "orvik-bench-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~Scratch() { fs::remove_all(folder_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  fs::path operator/(const char* name) const { return folder_ / name; }

 private:
  fs::path folder_;
};

CAtlString Text(const fs::path& path) {
  return CAtlString(path.u16string().c_str());
}

// 20,000 files of some bytes in 2,000 folders below 40 others.
void MakeTree(const fs::path& top) {
  for (int i = 0; i < kFolders; ++i) {
    const fs::path folder = top / std::to_string(i % kFoldersAbove) / std::to_string(i);
    fs::create_directories(folder);
    for (int k = 0; k < kFilesPerFolder; ++k) {
      std::ofstream(folder / ("file " + std::to_string(k) + ".txt")) << "a few bytes of content";
    }
  }
}

void Require(benchmark::State& state, bool done) {
  if (!done) state.SkipWithError("the operation failed");
}

// The argument is the size of the file in MiB.
template <typename Copy>
void CopyOneFile(benchmark::State& state, Copy copy) {
  const Scratch scratch;
  {
    std::ofstream source(scratch / "source", std::ios::binary);
    const std::string block(1 << 20, 'x');
    for (std::int64_t i = 0; i < state.range(0); ++i) source << block;
  }
  for (auto _ : state) {
    Require(state, copy(scratch / "source", scratch / "target"));
    state.PauseTiming();
    fs::remove(scratch / "target");
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) << 20);
}

void BM_CopyFileTo(benchmark::State& state) {
  CopyOneFile(state, [](const fs::path& source, const fs::path& target) {
    return CFileManipulator::CopyFileTo(COrvikFilePath(Text(source)), COrvikFilePath(Text(target)),
                                        orvik::FALSE) != orvik::FALSE;
  });
}
BENCHMARK(BM_CopyFileTo)
    ->Name("Files/CopyMiB/ours")
    ->Arg(64)
    ->Arg(1024)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_CopyFileTo_cp(benchmark::State& state) {
  CopyOneFile(state, [](const fs::path& source, const fs::path& target) {
    return RunPeer({"cp", source, target}) == 0;
  });
}
BENCHMARK(BM_CopyFileTo_cp)
    ->Name("Files/CopyMiB/peer:cp")
    ->Arg(64)
    ->Arg(1024)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

template <typename Copy>
void CopyTree(benchmark::State& state, Copy copy) {
  const Scratch scratch;
  MakeTree(scratch / "tree");
  for (auto _ : state) {
    Require(state, copy(scratch / "tree", scratch / "copy"));
    state.PauseTiming();
    fs::remove_all(scratch / "copy");
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kFolders * kFilesPerFolder);
}

void BM_RecursivelyCopyDirectory(benchmark::State& state) {
  CopyTree(state, [](const fs::path& source, const fs::path& target) {
    return CDirectoryManipulator::RecursivelyCopyDirectory(COrvikDirectoryPath(Text(source)),
                                                           COrvikDirectoryPath(Text(target)),
                                                           orvik::FALSE) == 0;
  });
}
BENCHMARK(BM_RecursivelyCopyDirectory)
    ->Name("Files/CopyTree/20000/ours")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_RecursivelyCopyDirectory_cp(benchmark::State& state) {
  CopyTree(state, [](const fs::path& source, const fs::path& target) {
    return RunPeer({"cp", "-r", source, target}) == 0;
  });
}
BENCHMARK(BM_RecursivelyCopyDirectory_cp)
    ->Name("Files/CopyTree/20000/peer:cp")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

template <typename Remove>
void RemoveTree(benchmark::State& state, Remove remove) {
  const Scratch scratch;
  for (auto _ : state) {
    state.PauseTiming();
    MakeTree(scratch / "tree");
    state.ResumeTiming();
    Require(state, remove(scratch / "tree"));
  }
  state.SetItemsProcessed(state.iterations() * kFolders * kFilesPerFolder);
}

void BM_RemoveDirectoryAndContents(benchmark::State& state) {
  RemoveTree(state, [](const fs::path& tree) {
    return CDirectoryManipulator::RemoveDirectoryAndContents(COrvikDirectoryPath(Text(tree))) !=
           orvik::FALSE;
  });
}
BENCHMARK(BM_RemoveDirectoryAndContents)
    ->Name("Files/RemoveTree/20000/ours")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_RemoveDirectoryAndContents_rm(benchmark::State& state) {
  RemoveTree(state, [](const fs::path& tree) { return RunPeer({"rm", "-rf", tree}) == 0; });
}
BENCHMARK(BM_RemoveDirectoryAndContents_rm)
    ->Name("Files/RemoveTree/20000/peer:rm")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_ListSubDirectories(benchmark::State& state) {
  const Scratch scratch;
  MakeTree(scratch / "tree");
  const COrvikDirectoryPath tree(Text(scratch / "tree"));
  for (auto _ : state) {
    orvik::CAtlArray<COrvikDirectoryPath> folders;
    tree.ListSubDirectories(CAtlString(u"*"), folders, orvik::TRUE);
    benchmark::DoNotOptimize(folders.GetCount());
  }
}
BENCHMARK(BM_ListSubDirectories)
    ->Name("Files/ListFolders/2040/ours")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_ListSubDirectories_find(benchmark::State& state) {
  const Scratch scratch;
  MakeTree(scratch / "tree");
  for (auto _ : state) {
    Require(state, RunPeer({"find", scratch / "tree", "-type", "d", "-name", "*"}) == 0);
  }
}
BENCHMARK(BM_ListSubDirectories_find)
    ->Name("Files/ListFolders/2040/peer:find")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

// One folder of as many files.
void MakeFlat(const fs::path& top) {
  fs::create_directories(top);
  for (int i = 0; i < kFolders * kFilesPerFolder; ++i) {
    std::ofstream(top / ("file " + std::to_string(i) + ".txt"));
  }
}

void BM_FindFilesInDirectory(benchmark::State& state) {
  const Scratch scratch;
  MakeFlat(scratch / "flat");
  const COrvikDirectoryPath folder(Text(scratch / "flat"));
  for (auto _ : state) {
    orvik::CAtlArray<COrvikFilePath> files;
    folder.FindFilesInDirectory(CAtlString(u"*.txt"), files);
    benchmark::DoNotOptimize(files.GetCount());
  }
}
BENCHMARK(BM_FindFilesInDirectory)
    ->Name("Files/FindFiles/20000/ours")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_FindFilesInDirectory_find(benchmark::State& state) {
  const Scratch scratch;
  MakeFlat(scratch / "flat");
  for (auto _ : state) {
    Require(state, RunPeer({"find", scratch / "flat", "-maxdepth", "1", "-type", "f", "-name",
                            "*.txt"}) == 0);
  }
}
BENCHMARK(BM_FindFilesInDirectory_find)
    ->Name("Files/FindFiles/20000/peer:find")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
