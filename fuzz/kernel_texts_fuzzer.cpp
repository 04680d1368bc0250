// The kernel's texts of mounts and processes: a mount point and a start time are found whatever
// the names beside them hold, and any other text gives an answer.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "host/proc.h"

using orvik::fuzz::Require;

namespace {

// As the kernel writes a path into the mount table.
std::string Escaped(std::string_view path) {
  std::string text;
  for (const char c : path) {
    if (std::string_view(" \t\n\\#").find(c) == std::string_view::npos) {
      text += c;
    } else {
      text += '\\';
      for (const int shift : {6, 3, 0}) text += static_cast<char>('0' + ((c >> shift) & 7));
    }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  orvik::host::MountPointIn(bytes, 21);
  orvik::host::StartTimeIn(bytes);
  const std::string_view field = orvik::host::StatusFieldIn(bytes, "Tgid");
  Require(field.find('\n') == std::string_view::npos);
  Require(field.empty() || bytes.find("Tgid:\t" + std::string(field)) != std::string::npos);

  std::string_view rest(bytes);
  const std::string root(orvik::fuzz::TakePart(rest, '\0'));
  const std::string table = "20 1 8:1 / / rw - ext4 /dev/a rw\n21 20 8:2 " + Escaped(root) + " " +
                            Escaped(rest) + " rw shared:1 - ext4 /dev/b rw\n";
  Require(orvik::host::MountPointIn(table, 21) == rest);
  Require(orvik::host::MountPointIn(table, 20) == "/");
  Require(orvik::host::MountPointIn(table, 2).empty());

  const std::string name = bytes.substr(0, 15);
  for (const char state : {'R', 'S', 'Z', 'X'}) {
    const std::string stat = "77 (" + name + ") " + state +
                             " 1 77 77 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 987654321 10 11\n";
    const auto start = orvik::host::StartTimeIn(stat);
    Require(start.has_value() == (state == 'R' || state == 'S'));
    if (start) Require(*start == 987654321);
  }
  return 0;
}
