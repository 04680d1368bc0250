// An open file of the C library that is closed with its owner.
#pragma once

#include <cstdio>
#include <memory>

namespace [[gnu::visibility("default")]] orvik {

struct CloseCFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using CFile = std::unique_ptr<std::FILE, CloseCFile>;

}  // namespace orvik
