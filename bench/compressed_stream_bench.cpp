// The compressed file stream on 64 MiB of XML-like text, beside zlib's compress of the same bytes
// in memory.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "streams/stream_factory.h"

namespace orvik {
namespace {

const std::string& Text() {
  static const std::string kText = [] {
    static const char* const kWords[] = {"alpha", "beta", "gamma", "delta", "epsilon", "zeta"};
    std::mt19937 random(1);
    std::string text;
    text.reserve(64 << 20);
    while (text.size() < 64 << 20) {
      text += "<item id=\"" + std::to_string(random() % 1'000'000) + "\" kind=\"" +
              kWords[random() % std::size(kWords)] + "\">" + kWords[random() % std::size(kWords)] +
              "</item>\n";
    }
    text.resize(64 << 20);
    return text;
  }();
  return kText;
}

void CompressedStream(benchmark::State& state) {
  const std::string& text = Text();
  const std::filesystem::path file =
      std::filesystem::temp_directory_path() / "orvik-compressed-stream-bench";
  for (auto _ : state) {
    const CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(
        COrvikFilePath(CAtlString(file.u16string())));
    constexpr std::size_t kPiece = 64;
    for (std::size_t at = 0; at < text.size(); at += kPiece) {
      stream->Write(text.data() + at, std::min(kPiece, text.size() - at), nullptr);
    }
  }
  std::filesystem::remove(file);
}
BENCHMARK(CompressedStream)->Name("Streams/Compress/64MiB/ours")->Unit(benchmark::kMillisecond);

void CompressZlib(benchmark::State& state) {
  const std::string& text = Text();
  for (auto _ : state) {
    uLongf length = compressBound(text.size());
    std::vector<Bytef> output(length);
    compress(output.data(), &length, reinterpret_cast<const Bytef*>(text.data()), text.size());
    benchmark::DoNotOptimize(output);
  }
}
BENCHMARK(CompressZlib)->Name("Streams/Compress/64MiB/peer:zlib")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik
