// Buffers of megabytes, whose first touch of every small page would cost more than filling them.
#pragma once

#include <cstddef>
#include <string>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Asks the system to back the memory with large pages as it is touched; harmless where it cannot.
void AdviseLargePages(void* memory, std::size_t size);

// Makes room for the size, in large pages when it is large.
void ReserveLarge(std::string& bytes, std::size_t size);

}  // namespace host
}  // namespace orvik
