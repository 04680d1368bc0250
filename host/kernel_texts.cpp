#include "host/kernel_texts.h"

#include <charconv>
#include <utility>

namespace orvik::host {
namespace {

// The text up to the first mark, which is taken out of it with the mark.
std::string_view TakePart(std::string_view& text, char mark) {
  const std::size_t end = text.find(mark);
  const std::string_view part = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return part;
}

std::optional<std::uint64_t> Number(std::string_view digits) {
  std::uint64_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value);
  return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

// The mount table writes blanks, line ends and backslashes as three octal digits.
std::string Unescape(std::string_view text) {
  const auto digit = [&](std::size_t i) { return text[i] >= '0' && text[i] <= '7'; };
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && digit(i + 1) && digit(i + 2) && digit(i + 3)) {
      plain += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                                 (text[i + 3] - '0'));
      i += 3;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

}  // namespace

std::vector<Mount> MountsIn(std::string_view table) {
  std::vector<Mount> mounts;
  while (!table.empty()) {
    std::string_view line = TakePart(table, '\n');
    const std::optional<std::uint64_t> id = Number(TakePart(line, ' '));
    TakePart(line, ' ');  // the parent
    Mount mount{id.value_or(0), std::string(TakePart(line, ' ')), Unescape(TakePart(line, ' ')),
                Unescape(TakePart(line, ' '))};
    if (id && !mount.point.empty()) mounts.push_back(std::move(mount));
  }
  return mounts;
}

std::string MountPointIn(std::string_view table, std::uint64_t mount_id) {
  for (Mount& mount : MountsIn(table)) {
    if (mount.id == mount_id) return std::move(mount.point);
  }
  return {};
}

std::optional<std::uint64_t> StartTimeIn(std::string_view stat) {
  // The name, the second field, is in parentheses. The state is the third field, the start time the
  // 22nd.
  const std::size_t name_end = stat.rfind(") ");
  if (name_end == std::string_view::npos) return std::nullopt;
  stat.remove_prefix(name_end + 2);
  const std::string_view state = TakePart(stat, ' ');
  if (state == "Z" || state == "X") return std::nullopt;
  for (int field = 4; field < 22; ++field) TakePart(stat, ' ');
  return Number(TakePart(stat, ' '));
}

std::string_view StatusFieldIn(std::string_view status, std::string_view key) {
  while (!status.empty()) {
    std::string_view line = TakePart(status, '\n');
    if (line.starts_with(key) && line.substr(key.size()).starts_with(":\t")) {
      return line.substr(key.size() + 2);
    }
  }
  return {};
}

}  // namespace orvik::host
