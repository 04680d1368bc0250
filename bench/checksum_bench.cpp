// The checksum in memory, beside zlib's over the same bytes, and of a file of 1 GiB in memory,
// beside cksum.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

#include "bench/peer_process.h"
#include "files/checksum_variants.h"
#include "files/file_path.h"

namespace orvik {
namespace {

constexpr std::size_t kInMemory = 1 << 20;
constexpr std::size_t kFileSize = std::size_t{1} << 30;

const std::vector<unsigned char>& Bytes() {
  static const std::vector<unsigned char> bytes = [] {
    std::vector<unsigned char> made(kInMemory);
    std::mt19937_64 generator(1);
    for (unsigned char& byte : made) byte = static_cast<unsigned char>(generator());
    return made;
  }();
  return bytes;
}

void Count(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) *
                          static_cast<std::int64_t>(state.iterations()));
}

template <auto Variant, auto IsPresent>
void InMemory(benchmark::State& state) {
  if (!IsPresent()) {
    state.SkipWithError("the processor lacks it");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(Variant(0, Bytes()));
  Count(state, kInMemory);
}
bool Always() {
  return true;
}
void ChecksumPortable(benchmark::State& state) {
  InMemory<crc32::Portable, Always>(state);
}
void ChecksumCarryless(benchmark::State& state) {
  InMemory<crc32::CarrylessMultiplication, crc32::HasCarrylessMultiplication>(state);
}
void ChecksumWideCarryless(benchmark::State& state) {
  InMemory<crc32::WideCarrylessMultiplication, crc32::HasWideCarrylessMultiplication>(state);
}
void ChecksumZlibPeer(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(::crc32(0, Bytes().data(), static_cast<uInt>(kInMemory)));
  }
  Count(state, kInMemory);
}
BENCHMARK(ChecksumPortable)->Name("Checksum/Memory/1MiB/ours:portable");
BENCHMARK(ChecksumCarryless)->Name("Checksum/Memory/1MiB/ours:carryless");
BENCHMARK(ChecksumWideCarryless)->Name("Checksum/Memory/1MiB/ours:wide_carryless");
BENCHMARK(ChecksumZlibPeer)->Name("Checksum/Memory/1MiB/peer:zlib");

// The file goes when the program ends.
class LargeFile {
 public:
  LargeFile() {
    path_ = "/dev/shm/orvik-checksum-" + std::to_string(getpid());
    const int file = open(path_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    for (std::size_t done = 0; file >= 0 && done < kFileSize; done += kInMemory) {
      if (write(file, Bytes().data(), kInMemory) != static_cast<ssize_t>(kInMemory)) return;
    }
    is_complete_ = file >= 0 && close(file) == 0;
  }
  ~LargeFile() { unlink(path_.c_str()); }
  LargeFile(const LargeFile&) = delete;
  LargeFile& operator=(const LargeFile&) = delete;

  static const LargeFile& Get() {
    static const LargeFile file;
    return file;
  }
  bool is_complete() const { return is_complete_; }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  bool is_complete_ = false;
};

void FileChecksum(benchmark::State& state) {
  if (!LargeFile::Get().is_complete()) {
    state.SkipWithError("no room for the file");
    return;
  }
  const COrvikFilePath file{CAtlString(LargeFile::Get().path().c_str())};
  for (auto _ : state) benchmark::DoNotOptimize(file.GetFileChecksum());
  Count(state, kFileSize);
}

void FileChecksumCksumPeer(benchmark::State& state) {
  for (auto _ : state) {
    if (bench::RunPeer({"cksum", LargeFile::Get().path()}) != 0) {
      state.SkipWithError("cksum did not run");
      return;
    }
  }
  Count(state, kFileSize);
}
BENCHMARK(FileChecksum)
    ->Name("Checksum/File/1GiB/ours")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(FileChecksumCksumPeer)
    ->Name("Checksum/File/1GiB/peer:cksum")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik
