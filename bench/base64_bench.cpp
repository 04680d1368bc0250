// The Base64 codec beside OpenSSL's, on 1 MiB.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <random>
#include <vector>

#include "text/byte_encodings.h"
#include "xml/base64.h"

namespace orvik {
namespace {

std::vector<unsigned char> Bytes() {
  std::mt19937 random(1);
  std::vector<unsigned char> bytes(1 << 20);
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
  return bytes;
}

std::vector<char> Text() {
  const std::vector<unsigned char> bytes = Bytes();
  std::vector<char> text((bytes.size() + 2) / 3 * 4);
  encode64(bytes.data(), static_cast<unsigned>(bytes.size()), text.data(),
           static_cast<unsigned>(text.size()), nullptr);
  return text;
}

void Encode64(benchmark::State& state) {
  const std::vector<unsigned char> bytes = Bytes();
  std::vector<char> text((bytes.size() + 2) / 3 * 4);
  for (auto _ : state) {
    encode64(bytes.data(), static_cast<unsigned>(bytes.size()), text.data(),
             static_cast<unsigned>(text.size()), nullptr);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(Encode64)->Name("Base64/Encode/1MiB/ours");

void Encode64Portable(benchmark::State& state) {
  const std::vector<unsigned char> bytes = Bytes();
  std::vector<char> text((bytes.size() + 2) / 3 * 4);
  for (auto _ : state) {
    base64::EncodePortable(bytes.data(), bytes.size() / 3, text.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(Encode64Portable)->Name("Base64/Encode/1MiB/ours:portable");

void Encode64OpenSsl(benchmark::State& state) {
  const std::vector<unsigned char> bytes = Bytes();
  std::vector<unsigned char> text((bytes.size() + 2) / 3 * 4 + 1);
  for (auto _ : state) {
    EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(Encode64OpenSsl)->Name("Base64/Encode/1MiB/peer:openssl");

void Decode64(benchmark::State& state) {
  const std::vector<char> text = Text();
  std::vector<unsigned char> bytes(text.size() / 4 * 3);
  for (auto _ : state) {
    unsigned int length = 0;
    decode64(text.data(), static_cast<unsigned>(text.size()), bytes.data(), &length);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(Decode64)->Name("Base64/Decode/1MiB/ours");

void Decode64Portable(benchmark::State& state) {
  const std::vector<char> text = Text();
  std::vector<unsigned char> bytes(text.size() / 4 * 3);
  for (auto _ : state) {
    unsigned char* end = bytes.data();
    base64::DecodePortable(text.data(), text.size() / 4, end);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(Decode64Portable)->Name("Base64/Decode/1MiB/ours:portable");

void Decode64OpenSsl(benchmark::State& state) {
  const std::vector<char> text = Text();
  std::vector<unsigned char> bytes(text.size() / 4 * 3);
  for (auto _ : state) {
    EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                    static_cast<int>(text.size()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(Decode64OpenSsl)->Name("Base64/Decode/1MiB/peer:openssl");

}  // namespace
}  // namespace orvik
