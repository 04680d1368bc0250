// Seeks and reads of a file stream in any order, beside a plain model of its rules.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "streams/stream_factory.h"

namespace {

using orvik::fuzz::Require;

constexpr std::int64_t kSize = 1000;

struct File : orvik::fuzz::ScratchFolder {
  File() : content(kSize, '\0') {
    for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 31);
    orvik::fuzz::WriteFile(name, content);
  }
  const std::filesystem::path name = path() / "file";
  std::string content;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const File file;
  const auto stream = orvik::CStreamFactory::CreateReadableStreamOnFile(
      orvik::COrvikFilePath(orvik::CAtlString(file.name.u16string())));
  Require(stream != nullptr);
  std::int64_t position = 0;
  // Each step is 11 bytes: what to do, a count or an origin, and a move.
  for (std::size_t at = 0; at + 11 <= std::min<std::size_t>(size, 11 * 50); at += 11) {
    if (data[at] % 2 == 0) {
      const std::size_t count = data[at + 1] * std::size_t{3};
      std::string buffer(count, '?');
      unsigned long read = 9999;
      const orvik::HRESULT result = stream->Read(buffer.data(), count, &read);
      const auto start = static_cast<std::size_t>(std::min(position, kSize));
      const std::string expected = file.content.substr(start, count);
      Require(read == expected.size() && result == (read == 0 ? orvik::S_FALSE : orvik::S_OK));
      Require(buffer.substr(0, read) == expected);
      position += static_cast<std::int64_t>(read);
      continue;
    }
    std::int64_t move;
    std::memcpy(&move, data + at + 3, sizeof move);
    if (data[at + 2] % 2 == 0) move %= 2 * kSize;
    const unsigned long origin = data[at + 1] % 4;
    orvik::_ULARGE_INTEGER told{12345};
    const orvik::HRESULT result = stream->Seek({move}, origin, &told);
    if (origin == 3) {
      Require(result == orvik::STG_E_INVALIDFUNCTION && told.QuadPart == 12345);
      continue;
    }
    std::int64_t target;
    const std::int64_t base = origin == 0 ? 0 : origin == 1 ? position : kSize;
    const bool overflow = __builtin_add_overflow(base, move, &target);
    const bool inside = !overflow && target >= 0 && target <= kSize;
    position = inside ? target : kSize + 1;
    Require(result == (inside ? orvik::S_OK : orvik::STG_E_INVALIDFUNCTION));
    Require(told.QuadPart == (inside ? static_cast<std::uint64_t>(position) : 12345));
  }
  return 0;
}
