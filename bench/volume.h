// Where a benchmark of whole programs keeps its files.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace orvik::bench {

namespace fs = std::filesystem;

// A folder used as the system volume and the home folder.
class Volume {
 public:
  Volume() {
    std::string pattern = (fs::temp_directory_path() / "orvik-bench-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
    fs::create_directories(folder_ / "root/Library/Receipts/Pollix Components.pkg");
    fs::create_directories(folder_ / "home");
    setenv("ORVIK_SYSTEM_ROOT", (folder_ / "root").c_str(), 1);
    setenv("HOME", (folder_ / "home").c_str(), 1);
  }
  ~Volume() { fs::remove_all(folder_); }

  const fs::path& folder() const { return folder_; }

 private:
  fs::path folder_;
};

}  // namespace orvik::bench
