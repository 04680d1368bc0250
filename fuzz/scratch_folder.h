// The files of a fuzz target: a folder that is also the system volume and the user's home.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "plist/file.h"

namespace orvik::fuzz {

// A target makes it once; it is removed when the process ends.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvik-fuzz-XXXXXX").string();
    Require(mkdtemp(pattern.data()) != nullptr);
    path_ = pattern;
    std::filesystem::create_directory(root());
    std::filesystem::create_directory(home());
    Require(setenv("ORVIK_SYSTEM_ROOT", root().c_str(), 1) == 0);
    Require(setenv("HOME", home().c_str(), 1) == 0);
    Require(setenv("TMPDIR", path_.c_str(), 1) == 0);
    Require(unsetenv("XDG_DATA_HOME") == 0);
    // No writer completes the damaged files here, so there is no need to wait.
    plist::ExchangeFileWriterWait([] {});
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path root() const { return path_ / "root"; }
  std::filesystem::path home() const { return path_ / "home"; }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  Require(file.is_open());
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
  file.close();
  Require(file.good());
}

inline void RemoveAllIn(const std::filesystem::path& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::filesystem::remove_all(entry.path());
  }
}

// Removes the text up to the first `mark`, and the mark, and returns the text.
inline std::string_view TakePart(std::string_view& text, char mark) {
  const std::size_t end = text.find(mark);
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

// Decodes the percent-encoding of RFC 3986. Aborts on text that the encoder would not write.
inline std::string PercentDecoded(std::string_view text) {
  const auto digit = [](char c) {
    const std::size_t value = std::string_view("0123456789ABCDEF").find(c);
    Require(value != std::string_view::npos);
    return static_cast<int>(value);
  };
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/";
  std::string bytes;
  while (!text.empty()) {
    if (text.front() == '%') {
      Require(text.size() >= 3);
      bytes += static_cast<char>(digit(text[1]) * 16 + digit(text[2]));
      text.remove_prefix(3);
    } else {
      Require(kPlain.find(text.front()) != std::string_view::npos);
      bytes += text.front();
      text.remove_prefix(1);
    }
  }
  return bytes;
}

}  // namespace orvik::fuzz
