// The compressed file stream on 64 MiB of XML-like text in pieces of 64 KiB, beside zlib's own loop
// over the same pieces into a file.
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "streams/stream_factory.h"

namespace orvik {
namespace {

constexpr std::size_t kPiece = 1 << 16;

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

std::filesystem::path File() {
  return std::filesystem::temp_directory_path() / "orvik-compressed-stream-bench";
}

void CompressedStream(benchmark::State& state) {
  const std::string& text = Text();
  for (auto _ : state) {
    const CComPtr<IStream> stream = CStreamFactory::CreateWritableCompressedFileStream(
        COrvikFilePath(CAtlString(File().u16string())));
    for (std::size_t at = 0; at < text.size(); at += kPiece) {
      static_cast<void>(
          stream->Write(text.data() + at, std::min(kPiece, text.size() - at), nullptr));
    }
  }
  std::filesystem::remove(File());
}
BENCHMARK(CompressedStream)->Name("Streams/Compress/64MiB/ours")->Unit(benchmark::kMillisecond);

void CompressZlib(benchmark::State& state) {
  const std::string& text = Text();
  std::vector<Bytef> output(kPiece);
  for (auto _ : state) {
    std::FILE* const file = std::fopen(File().c_str(), "wb");
    z_stream stream = {};
    deflateInit(&stream, Z_DEFAULT_COMPRESSION);
    for (std::size_t at = 0; at < text.size(); at += kPiece) {
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data() + at));
      stream.avail_in = static_cast<uInt>(std::min(kPiece, text.size() - at));
      do {
        stream.next_out = output.data();
        stream.avail_out = static_cast<uInt>(output.size());
        deflate(&stream, at + kPiece < text.size() ? Z_NO_FLUSH : Z_FINISH);
        std::fwrite(output.data(), 1, output.size() - stream.avail_out, file);
      } while (stream.avail_out == 0);
    }
    deflateEnd(&stream);
    std::fclose(file);
  }
  std::filesystem::remove(File());
}
BENCHMARK(CompressZlib)->Name("Streams/Compress/64MiB/peer:zlib")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik
