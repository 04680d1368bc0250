// The kernel's texts of mounts and processes: a mount point and a start time are found whatever the
// names beside them contain, and any other text gives some result.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "host/proc.h"

namespace orvik::fuzz {
namespace {

// The path in the form of the kernel's mount table.
std::string EscapedMountPoint(std::string_view path) {
  static const std::map<char, std::string> kEscapes = {
      {' ', "\\040"}, {'\t', "\\011"}, {'\n', "\\012"}, {'\\', "\\134"}, {'#', "\\043"}};
  std::string text;
  for (const char c : path) text += kEscapes.contains(c) ? kEscapes.at(c) : std::string(1, c);
  return text;
}

std::string KernelTextsFault(std::string_view bytes) {
  const std::string all(bytes);
  host::MountPointIn(all, 21);
  host::StartTimeIn(all);
  const std::string_view field = host::StatusFieldIn(all, "Tgid");
  if (field.find('\n') != field.npos ||
      (!field.empty() && all.find("Tgid:\t" + std::string(field)) == all.npos)) {
    return "a field that is none";
  }
  const std::string root = "/" + all.substr(0, all.find('\0'));
  const std::string point = "/" + all.substr(std::min(root.size(), all.size()));
  const std::string table = "20 1 8:1 / / rw - ext4 /dev/a rw\n21 20 8:2 " +
                            EscapedMountPoint(root) + " " + EscapedMountPoint(point) +
                            " rw shared:1 - ext4 /dev/b rw\n22 210";
  const auto mounts = host::MountsIn(table);
  if (host::MountPointIn(table, 21) != point || host::MountPointIn(table, 20) != "/" ||
      !host::MountPointIn(table, 2).empty() || mounts.size() != 2 || mounts[1].device != "8:2" ||
      mounts[1].root != root) {
    return "another mount";
  }
  for (const char state : {'R', 'S', 'Z', 'X'}) {
    const std::string stat = "77 (" + all.substr(0, 15) + ") " + state +
                             " 1 77 77 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 987654321 10 11\n";
    const bool is_alive = state == 'R' || state == 'S';
    if (host::StartTimeIn(stat) != (is_alive ? std::optional(987654321ull) : std::nullopt)) {
      return "another start time";
    }
  }
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::KernelTextsFault, data, size);
}
