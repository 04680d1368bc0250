// Memory that passes between components: malloc, realloc and free.
#pragma once

#include <cstddef>

namespace [[gnu::visibility("default")]] orvik {

void* CoTaskMemAlloc(std::size_t bytes);
void* CoTaskMemRealloc(void* block, std::size_t bytes);
void CoTaskMemFree(void* block);

}  // namespace orvik
