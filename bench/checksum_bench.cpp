// The checksum in memory, beside zlib's over the same bytes.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <random>
#include <vector>

#include "files/checksum_variants.h"

namespace orvik {
namespace {

constexpr std::size_t kInMemory = 1 << 20;

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

}  // namespace
}  // namespace orvik
