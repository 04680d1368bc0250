#include "files/task_memory.h"

#include <cstdlib>

namespace orvik {

void* CoTaskMemAlloc(std::size_t bytes) {
  return std::malloc(bytes);
}

void* CoTaskMemRealloc(void* block, std::size_t bytes) {
  return std::realloc(block, bytes);
}

void CoTaskMemFree(void* block) {
  std::free(block);
}

}  // namespace orvik
