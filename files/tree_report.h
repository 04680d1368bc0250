// What an operation on a folder has done, and what it could not do.
#pragma once

#include <cstdint>
#include <vector>

#include "files/file_path.h"
#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// Where an error is: a copy and a move have two sides, other operations a source alone.
enum class TreeSide : int { kSource, kTarget };

struct TreeFailure {
  COrvikFilePath path;  // of the source
  int error = 0;        // an errno
  TreeSide side = TreeSide::kSource;
  CAtlString reason;  // the error as a text in English
};

struct TreeReport {
  std::uint64_t done = 0;             // entries copied, moved or removed
  std::uint64_t failed = 0;           // entries that could not be
  std::vector<TreeFailure> failures;  // the first thousand of them, in the order they were met
};

}  // namespace orvik
