// Seeks and reads of a file stream in any order, compared with a simple model of its rules.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "streams/stream_factory.h"

namespace orvik::fuzz {
namespace {

std::string ReadableStreamFault(std::string_view bytes) {
  constexpr std::int64_t kSize = 1000;
  static const std::string content = [] {
    std::string text(kSize, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 31);
    return text;
  }();
  static const int file = [] {
    const int made = memfd_create("content", MFD_CLOEXEC);
    return write(made, content.data(), content.size()) == kSize ? made : -1;
  }();
  CAtlString path;
  path.Format(u"/proc/self/fd/%d", file);
  const auto stream = CStreamFactory::CreateReadableStreamOnFile(COrvikFilePath(path));
  if (stream == nullptr) return "there is no stream";
  std::int64_t position = 0;
  for (Choices choices(bytes); !choices.is_empty();) {
    if (choices.Next(1) % 2 == 0) {
      std::string buffer(choices.Next(1) * 3, '?');
      unsigned long read = 9999;
      const HRESULT result = stream->Read(buffer.data(), buffer.size(), &read);
      const std::string expected =
          content.substr(static_cast<std::size_t>(std::min(position, kSize)), buffer.size());
      if (read != expected.size() || result != (read == 0 ? S_FALSE : S_OK) ||
          buffer.substr(0, read) != expected) {
        return "reads something else at " + std::to_string(position);
      }
      position += static_cast<std::int64_t>(read);
      continue;
    }
    const bool is_near = choices.Next(1) % 2 == 0;
    const unsigned long origin = choices.Next(1) % 4;
    const auto any = static_cast<std::int64_t>(choices.Next(8));
    const std::int64_t move = is_near ? any % (2 * kSize) : any;
    _ULARGE_INTEGER reported{12345};
    const HRESULT result = stream->Seek({move}, origin, &reported);
    std::int64_t target = -1;
    const std::int64_t base = origin == STREAM_SEEK_SET   ? 0
                              : origin == STREAM_SEEK_CUR ? position
                                                          : kSize;
    const bool is_inside = origin < 3 && !__builtin_add_overflow(base, move, &target) &&
                           target >= 0 && target <= kSize;
    if (origin < 3) position = is_inside ? target : kSize + 1;
    if (result != (is_inside ? S_OK : STG_E_INVALIDFUNCTION) ||
        reported.QuadPart != (is_inside ? static_cast<std::uint64_t>(position) : 12345)) {
      return "seeks elsewhere by " + std::to_string(move);
    }
  }
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::ReadableStreamFault, data, size);
}
