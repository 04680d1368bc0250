// Writing a file as a whole, and open files of the C library.
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

#include "files/file_path.h"
#include "host/file_replacement.h"

namespace [[gnu::visibility("default")]] orvik {

// Writing a file as a whole.

// Begins to replace the file (host/file_replacement.h). False when that fails.
[[nodiscard("false: nothing is replaced")]] bool OpenReplacement(
    const COrvikFilePath& file, host::FileReplacement& replacement);

// Replaces the content of the file by the bytes in the same way. False when that fails.
[[nodiscard("false: the file has its old content")]] bool WriteWholeFile(const COrvikFilePath& file,
                                                                         std::string_view bytes);

// An open file of the C library that its owner closes.

struct CloseCFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, CloseCFile>;

}  // namespace orvik
