// Copying, removing, listing and measuring files against cp, rm, find and cksum, in memory
// (/dev/shm) unless ORVIK_BENCH_FOLDER names another folder. The peers' time has the start of their
// process in it. Trees and files are made once, and copied by links for what uses them up.
#include <benchmark/benchmark.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bench/peer_process.h"
#include "files/directory_manipulator.h"
#include "files/directory_path.h"
#include "files/file_manipulator.h"
#include "files/file_path.h"
#include "files/path_arguments.h"

namespace {

namespace fs = std::filesystem;
using orvik::CDirectoryManipulator;
using orvik::CFileManipulator;
using orvik::COrvikDirectoryPath;
using orvik::COrvikFilePath;
using orvik::bench::RunPeer;

// A folder of the benchmark's own.
class Scratch {
 public:
  Scratch() {
    const char* const chosen = std::getenv("ORVIK_BENCH_FOLDER");
    std::string pattern =
        (fs::path(chosen != nullptr ? chosen : "/dev/shm") / "orvik-bench-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
  }
  ~Scratch() { RunPeer({"rm", "-rf", folder_}); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  fs::path operator/(const char* name) const { return folder_ / name; }

 private:
  fs::path folder_;
};

COrvikFilePath File(const fs::path& path) {
  return COrvikFilePath(orvik::PathFromBytes(path.string()));
}
COrvikDirectoryPath Folder(const fs::path& path) {
  return COrvikDirectoryPath(orvik::PathFromBytes(path.string()));
}

void Require(benchmark::State& state, bool done) {
  if (!done) state.SkipWithError("the operation failed");
}

// Keeps the last processor busy, as on a machine that has other work.
class BusyProcessor {
 public:
  BusyProcessor() : child_(fork()) {
    if (child_ != 0) return;
    cpu_set_t last;
    CPU_ZERO(&last);
    CPU_SET(sysconf(_SC_NPROCESSORS_ONLN) - 1, &last);
    sched_setaffinity(0, sizeof last, &last);
    for (volatile unsigned turns = 0;;) turns = turns + 1;
  }
  ~BusyProcessor() {
    if (child_ <= 0) return;
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  BusyProcessor(const BusyProcessor&) = delete;
  BusyProcessor& operator=(const BusyProcessor&) = delete;

 private:
  const pid_t child_;
};

// ---- Trees ----

// 20,000 files of some bytes in 2,000 folders below 40 others, with a word in every name.
void MakeTree(const fs::path& top, const std::string& word) {
  for (int i = 0; i < 2000; ++i) {
    const fs::path folder = top / (word + std::to_string(i % 40)) / (word + std::to_string(i));
    fs::create_directories(folder);
    for (int k = 0; k < 10; ++k) {
      std::ofstream(folder / (word + " " + std::to_string(k) + ".txt")) << "a few bytes of content";
    }
  }
}

// One folder of as many files.
void MakeFlat(const fs::path& top, const std::string& word) {
  fs::create_directories(top);
  for (int i = 0; i < 20000; ++i) {
    std::ofstream(top / (word + " " + std::to_string(i) + ".txt")) << "content";
  }
}

void MakeDeep(const fs::path& top, const std::string&) {
  fs::path folder = top;
  for (int i = 0; i < 400; ++i) folder /= "level";
  fs::create_directories(folder);
  std::ofstream(folder / "leaf") << "content";
}

struct TreeKind {
  const char* name;
  std::function<void(const fs::path&, const std::string&)> make;
  const char* word;
};

const TreeKind kKinds[] = {
    {"20000", MakeTree, "file"},
    {"20000Cyrillic", MakeTree, "\xD0\xB9\xD0\xB0\xD0\xB9\xD0\xBB"},
    {"20000Chinese", MakeTree, "\xE6\x96\x87\xE4\xBB\xB6"},
    {"20000Decomposed", MakeTree, "fe\xCC\x81le"},
    {"20000InOneFolder", MakeFlat, "file"},
    {"Deep", MakeDeep, ""},
};

using Operation = std::function<bool(const fs::path& tree, const fs::path& other)>;

// The tree of a kind, made once for the whole run; it is the same after each turn.
const fs::path& Original(const TreeKind& kind) {
  struct Tree {
    Scratch scratch;
    fs::path path;
  };
  static std::map<std::string, Tree> trees;
  Tree& tree = trees[kind.name];
  if (tree.path.empty()) {
    tree.path = tree.scratch / "tree";
    kind.make(tree.path, kind.word);
  }
  return tree.path;
}

// `is_spent` says that the operation uses the tree up: it then gets one of its own for each turn,
// in which the files are hard links.
void OnTree(benchmark::State& state, const TreeKind& kind, bool is_spent,
            const Operation& operation) {
  const fs::path& original = Original(kind);
  const Scratch scratch;
  const fs::path tree = is_spent ? scratch / "tree" : original;
  for (auto _ : state) {
    state.PauseTiming();
    if (is_spent) RunPeer({"cp", "-al", original, tree});
    state.ResumeTiming();
    Require(state, operation(tree, scratch / "copy"));
    state.PauseTiming();
    if (is_spent || fs::exists(tree)) {
      RunPeer({"rm", "-rf", scratch / "copy"});
    } else {
      fs::rename(scratch / "copy", tree);  // it was moved
    }
    state.ResumeTiming();
  }
}

bool CopyTree(const fs::path& tree, const fs::path& copy) {
  orvik::TreeReport report;
  return CDirectoryManipulator::RecursivelyCopyDirectory(Folder(tree), Folder(copy), orvik::FALSE,
                                                         &report) == 0 &&
         report.failed == 0;
}
bool CopyTreeByCp(const fs::path& tree, const fs::path& copy) {
  return RunPeer({"cp", "-r", tree, copy}) == 0;
}

// The copy is there already, in composed form.
bool CopyTreeAgain(const fs::path& tree, const fs::path& copy) {
  return CopyTree(tree, copy) && CopyTree(tree, copy);
}
bool CopyTreeAgainByCp(const fs::path& tree, const fs::path& copy) {
  return CopyTreeByCp(tree, copy) && RunPeer({"cp", "-rT", tree, copy}) == 0;
}

bool MoveTree(const fs::path& tree, const fs::path& copy) {
  return CFileManipulator::MoveFileTo(File(tree), File(copy)) != orvik::FALSE;
}
bool MoveTreeByMv(const fs::path& tree, const fs::path& copy) {
  return RunPeer({"mv", tree, copy}) == 0;
}

bool RemoveTree(const fs::path& tree, const fs::path&) {
  return CDirectoryManipulator::RemoveDirectoryAndContents(Folder(tree)) != orvik::FALSE;
}
bool RemoveTreeByRm(const fs::path& tree, const fs::path&) {
  return RunPeer({"rm", "-rf", tree}) == 0;
}

bool ListFolders(const fs::path& tree, const fs::path&) {
  orvik::CAtlArray<COrvikDirectoryPath> folders;
  Folder(tree).ListSubDirectories(u"*", folders, orvik::TRUE);
  return folders.GetCount() > 0;
}
bool ListFoldersByFind(const fs::path& tree, const fs::path&) {
  return RunPeer({"find", tree, "-type", "d", "-name", "*"}) == 0;
}

bool FindFiles(const fs::path& folder, const fs::path&) {
  orvik::CAtlArray<COrvikFilePath> files;
  Folder(folder).FindFilesInDirectory(u"*.txt", files);
  return files.GetCount() > 0;
}
bool FindFilesByFind(const fs::path& folder, const fs::path&) {
  return RunPeer({"find", folder, "-maxdepth", "1", "-type", "f", "-name", "*.txt"}) == 0;
}

// One folder of the tree is root's: it stays. As another user, so for root only.
bool RemoveAllButOne(const fs::path& tree, const std::function<void()>& remove) {
  fs::create_directories(tree / "theirs");
  std::ofstream(tree / "theirs/kept") << "x";
  // The files are links of the original's, and may belong to anybody.
  RunPeer({"find", tree, "-type", "d", "-exec", "chown", "65534", "{}", "+"});
  RunPeer({"chown", "-R", "0", tree / "theirs"});
  RunPeer({"chown", "65534", tree.parent_path()});
  if (seteuid(65534) != 0) return false;
  remove();
  const bool is_back = seteuid(0) == 0;
  const bool done = fs::exists(tree / "theirs/kept") && !fs::exists(tree / "file1");
  RunPeer({"rm", "-rf", tree});
  return is_back && done;
}

void Register(const std::string& name, const TreeKind& kind, bool is_spent, Operation operation) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [kind, is_spent, operation](benchmark::State& state) {
                                 OnTree(state, kind, is_spent, operation);
                               })
      ->UseRealTime()
      ->Unit(benchmark::kMillisecond);
}

void RegisterPair(const std::string& task, const TreeKind& kind, const char* peer, bool is_spent,
                  const Operation& ours, const Operation& theirs) {
  const std::string name = "Files/" + task + "/" + kind.name;
  Register(name + "/ours", kind, is_spent, ours);
  Register(name + "/peer:" + peer, kind, is_spent, theirs);
}

bool CopyTreeBesideOtherWork(const fs::path& tree, const fs::path& copy) {
  const BusyProcessor other;
  return CopyTree(tree, copy);
}
bool CopyTreeBesideOtherWorkByCp(const fs::path& tree, const fs::path& copy) {
  const BusyProcessor other;
  return CopyTreeByCp(tree, copy);
}

const bool kTreesAreRegistered = [] {
  const auto& [plain, cyrillic, chinese, decomposed, flat, deep] = kKinds;
  for (const TreeKind& kind : {plain, decomposed, flat, deep}) {
    RegisterPair("CopyTree", kind, "cp", false, CopyTree, CopyTreeByCp);
    RegisterPair("RemoveTree", kind, "rm", true, RemoveTree, RemoveTreeByRm);
  }
  for (const TreeKind& kind : {decomposed, flat}) {
    RegisterPair("CopyTreeTwice", kind, "cp", false, CopyTreeAgain, CopyTreeAgainByCp);
  }
  RegisterPair("CopyTreeBesideOtherWork", plain, "cp", false, CopyTreeBesideOtherWork,
               CopyTreeBesideOtherWorkByCp);
  for (const TreeKind& kind : {plain, cyrillic, chinese, decomposed, deep}) {
    RegisterPair("ListFolders", kind, "find", false, ListFolders, ListFoldersByFind);
  }
  RegisterPair("FindFiles", flat, "find", false, FindFiles, FindFilesByFind);
  RegisterPair("MoveTree", plain, "mv", false, MoveTree, MoveTreeByMv);
  if (geteuid() == 0) {
    const auto all_but_one = [](const Operation& remove) {
      return [remove](const fs::path& tree, const fs::path& other) {
        return RemoveAllButOne(tree, [&] { remove(tree, other); });
      };
    };
    RegisterPair("RemoveAllButOne", plain, "rm", true, all_but_one(RemoveTree),
                 all_but_one(RemoveTreeByRm));
  }
  return true;
}();

// ---- Single files ----

void MakeFull(const fs::path& path, std::int64_t mebibytes) {
  std::ofstream file(path, std::ios::binary);
  const std::string block(1 << 20, 'x');
  for (std::int64_t i = 0; i < mebibytes; ++i) file << block;
}

// With one MiB in the middle.
void MakeSparse(const fs::path& path, std::int64_t mebibytes) {
  std::ofstream file(path, std::ios::binary);
  file.seekp((mebibytes / 2) << 20);
  file << std::string(1 << 20, 'x');
  file.close();
  fs::resize_file(path, static_cast<std::uintmax_t>(mebibytes) << 20);
}

// The file of the kind and size, made only once for all the benchmarks in a row that want it.
template <auto Make>
fs::path FileOf(std::int64_t mebibytes) {
  static const Scratch scratch;
  static std::int64_t last = 0;
  if (mebibytes != last) Make(scratch / "source", mebibytes);
  last = mebibytes;
  return scratch / "source";
}

// The argument is the size of the file in MiB.
template <auto Make, auto Operation>
void OnFile(benchmark::State& state) {
  const fs::path source = FileOf<Make>(state.range(0));
  const Scratch scratch;
  for (auto _ : state) {
    Require(state, Operation(source, scratch / "target"));
    state.PauseTiming();
    fs::remove(scratch / "target");
    state.ResumeTiming();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) << 20);
}

bool CopyOne(const fs::path& source, const fs::path& target) {
  return CFileManipulator::CopyFileTo(File(source), File(target), orvik::FALSE) != orvik::FALSE;
}
bool CopyOneByCp(const fs::path& source, const fs::path& target) {
  return RunPeer({"cp", source, target}) == 0;
}
bool Checksum(const fs::path& source, const fs::path&) {
  return File(source).GetFileChecksum() != 0;
}
bool ChecksumByCksum(const fs::path& source, const fs::path&) {
  return RunPeer({"cksum", source}) == 0;
}

bool RegisterFiles(std::int64_t mebibytes) {
  const auto add = [&](const char* name, void (*run)(benchmark::State&)) {
    benchmark::RegisterBenchmark(name, run)->Arg(mebibytes)->UseRealTime()->Unit(
        benchmark::kMillisecond);
  };
  add("Files/CopyMiB/ours", OnFile<MakeFull, CopyOne>);
  add("Files/CopyMiB/peer:cp", OnFile<MakeFull, CopyOneByCp>);
  add("Files/ChecksumMiB/ours", OnFile<MakeFull, Checksum>);
  add("Files/ChecksumMiB/peer:cksum", OnFile<MakeFull, ChecksumByCksum>);
  add("Files/CopySparseMiB/ours", OnFile<MakeSparse, CopyOne>);
  add("Files/CopySparseMiB/peer:cp", OnFile<MakeSparse, CopyOneByCp>);
  return true;
}
const bool kFilesAreRegistered = RegisterFiles(64) && RegisterFiles(1024);

}  // namespace
