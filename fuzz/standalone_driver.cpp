// Runs a fuzz target without a fuzzing engine: over every file of the given files and folders, then
// over mutations of them and over random bytes. Every run on every machine uses the same inputs,
// but stops after two seconds.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;

constexpr std::chrono::milliseconds kMutationTime{2000};
constexpr int kMutations = 20'000;
constexpr std::size_t kLargestMutation = 1 << 16;
constexpr std::size_t kLongestRandom = 1000;

void ReadInput(const std::filesystem::path& path, std::vector<Input>& inputs) {
  std::ifstream file(path, std::ios::binary);
  inputs.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Sorted by name, so that every run makes the same mutations.
std::vector<Input> ReadCorpus(int count, char** names) {
  std::vector<std::filesystem::path> paths;
  for (int i = 0; i < count; ++i) {
    std::error_code error;
    if (std::filesystem::is_regular_file(names[i], error)) paths.emplace_back(names[i]);
    for (std::filesystem::recursive_directory_iterator entry(names[i], error), end;
         !error && entry != end; entry.increment(error)) {
      if (entry->is_regular_file(error)) paths.push_back(entry->path());
    }
  }
  std::sort(paths.begin(), paths.end());
  std::vector<Input> inputs;
  for (const auto& path : paths) ReadInput(path, inputs);
  return inputs;
}

class Mutator {
 public:
  explicit Mutator(const std::vector<Input>& corpus) : corpus_(corpus) {}

  Input Next() {
    if (Below(4) == 0) return RandomBytes();
    Input input = corpus_[Below(corpus_.size())];
    for (std::size_t steps = 1 + Below(4); steps > 0; --steps) Mutate(input);
    if (input.size() > kLargestMutation) input.resize(kLargestMutation);
    return input;
  }

 private:
  std::size_t Below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }

  Input RandomBytes() {
    Input bytes(Below(kLongestRandom + 1));
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random_());
    return bytes;
  }

  std::uint8_t Byte() {
    static constexpr std::uint8_t kTelling[] = {0,    1,    '\t', '\n', ' ', '"', '%',
                                                '&',  '/',  '<',  '>',  '0', '9', 'A',
                                                0x7F, 0x80, 0xC3, 0xD8, 0xFF};
    return Below(2) == 0 ? kTelling[Below(std::size(kTelling))]
                         : static_cast<std::uint8_t>(random_());
  }

  void Mutate(Input& input) {
    const std::size_t at = Below(input.size() + 1);
    const std::size_t length = Below(std::min<std::size_t>(input.size() - at, 32) + 1);
    const auto place = input.begin() + static_cast<std::ptrdiff_t>(at);
    switch (Below(6)) {
      case 0:
        if (at < input.size()) input[at] = Byte();
        break;
      case 1:
        if (at < input.size()) input[at] ^= static_cast<std::uint8_t>(1u << Below(8));
        break;
      case 2:
        input.insert(place, Byte());
        break;
      case 3:
        input.erase(place, place + static_cast<std::ptrdiff_t>(length));
        break;
      case 4: {
        const Input piece(place, place + static_cast<std::ptrdiff_t>(length));
        input.insert(place, piece.begin(), piece.end());
        break;
      }
      default: {
        const Input& other = corpus_[Below(corpus_.size())];
        const std::size_t from = Below(other.size() + 1);
        input.resize(at);
        input.insert(input.end(), other.begin() + static_cast<std::ptrdiff_t>(from), other.end());
      }
    }
  }

  const std::vector<Input>& corpus_;
  std::mt19937 random_{20071029};
};

}  // namespace

int main(int argc, char** argv) {
  std::vector<Input> corpus = ReadCorpus(argc - 1, argv + 1);
  const std::size_t files = corpus.size();
  corpus.emplace_back();
  for (const Input& input : corpus) LLVMFuzzerTestOneInput(input.data(), input.size());

  Mutator mutator(corpus);
  const auto end = std::chrono::steady_clock::now() + kMutationTime;
  int runs = 0;
  for (; runs < kMutations && std::chrono::steady_clock::now() < end; ++runs) {
    const Input input = mutator.Next();
    LLVMFuzzerTestOneInput(input.data(), input.size());
  }
  std::printf("%zu files, %d mutations\n", files, runs);
  return 0;
}
