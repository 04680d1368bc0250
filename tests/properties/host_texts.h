// Names on disk: any bytes come back from UTF-16 unchanged, and any name opens what it was listed
// as. The kernel's texts of mounts and processes: a mount point and a start time are found whatever
// the names beside them hold, and any other text gives an answer.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include "host/file_names.h"
#include "host/proc.h"
#include "tests/properties/choices.h"

namespace orvik::test {

inline std::string FileNamesFault(std::string_view bytes) {
  const bool has_nul = bytes.find('\0') != bytes.npos;
  const auto back = host::FileNameToBytes(host::FileNameFromBytes(bytes));
  if (has_nul ? back.has_value() : back != bytes) return "the bytes do not come back";
  std::u16string units;
  for (Choices choices(bytes); choices.Rest().size() > 1;) {
    units += static_cast<char16_t>(choices.Next(2));
  }
  const auto on_disk = host::FileNameToBytes(units);
  if (on_disk && host::FileNameToBytes(host::FileNameFromBytes(*on_disk)) != on_disk) {
    return "the name opens another file than it is listed as";
  }
  return "";
}

// As the kernel writes a path into the mount table.
inline std::string EscapedMountPoint(std::string_view path) {
  static const std::map<char, std::string> kEscapes = {
      {' ', "\\040"}, {'\t', "\\011"}, {'\n', "\\012"}, {'\\', "\\134"}, {'#', "\\043"}};
  std::string text;
  for (const char c : path) text += kEscapes.contains(c) ? kEscapes.at(c) : std::string(1, c);
  return text;
}

inline std::string KernelTextsFault(std::string_view bytes) {
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

}  // namespace orvik::test
