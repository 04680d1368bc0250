// Choices that a target derives from its input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace orvik::fuzz {

// Reads choices from bytes; after their end all choices are 0.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes) {}

  std::uint64_t Next(int bytes) {
    std::uint64_t value = 0;
    for (; bytes > 0; --bytes) {
      value = value << 8 | (bytes_.empty() ? 0 : static_cast<unsigned char>(bytes_[0]));
      if (!bytes_.empty()) bytes_.remove_prefix(1);
    }
    return value;
  }
  std::size_t Below(std::size_t end) { return Next(2) % end; }
  // Up to `most` letters, each one of the first `kinds` letters from 'a' on.
  std::string Letters(std::size_t most, std::size_t kinds) {
    std::string letters(Below(most + 1), 'a');
    for (char& letter : letters) letter = static_cast<char>('a' + Next(1) % kinds);
    return letters;
  }
  std::string_view Rest() const { return bytes_; }
  bool is_empty() const { return bytes_.empty(); }

 private:
  std::string_view bytes_;
};

}  // namespace orvik::fuzz
