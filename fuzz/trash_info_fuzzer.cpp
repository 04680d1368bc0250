// The info file of a discarded item, in the home trash and in the trash of a volume: it gives the
// original path back, takes its name, and is removed unless it is kept.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "host/trash.h"

using orvik::fuzz::Require;
namespace fs = std::filesystem;

namespace {

struct Trashes : orvik::fuzz::ScratchFolder {
  Trashes() {
    std::string files;
    Require(orvik::host::OpenHomeTrash(true, &files) == 0);
    volume_trash = volume / (".Trash-" + std::to_string(getuid()));
    fs::create_directories(volume_trash / "files");
    fs::create_directory(volume_trash / "info");
  }
  const fs::path home_trash = home() / ".local/share/Trash";
  const fs::path volume = path() / "volume";
  fs::path volume_trash;
};

// A name that is too long does not exist.
bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(path, error);
}

bool IsDate(std::string_view text) {
  constexpr std::string_view kForm = "0000-00-00T00:00:00";
  return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), [](char c, char form) {
    return form == '0' ? c >= '0' && c <= '9' : c == form;
  });
}

// Checks the three lines of an info file and returns the path.
std::string OriginalPath(const std::string& file) {
  std::string_view rest = file;
  Require(orvik::fuzz::TakePart(rest, '\n') == "[Trash Info]");
  std::string_view path = orvik::fuzz::TakePart(rest, '\n');
  std::string_view date = orvik::fuzz::TakePart(rest, '\n');
  Require(rest.empty() && file.ends_with('\n'));
  Require(path.starts_with("Path=") && date.starts_with("DeletionDate="));
  path.remove_prefix(path.find('=') + 1);
  date.remove_prefix(date.find('=') + 1);
  Require(IsDate(date));
  return orvik::fuzz::PercentDecoded(path);
}

// The path never has "." or "..". Below the top, a path without them is unchanged. For the kernel
// two "/" at the start are one; for std::filesystem they are not.
void CheckOriginalPath(const std::string& path, const std::string& source, const std::string& top) {
  const fs::path normal = fs::path(source).lexically_normal();
  for (const fs::path& part : fs::path(path)) Require(part != "." && part != "..");
  if (source == normal.string() && !source.starts_with("//") && source.starts_with(top) &&
      source.size() > top.size()) {
    Require(path == source.substr(top.size()));
  }
}

}  // namespace

// The first byte chooses the trash and whether the file was on its volume. The name in the trash
// follows, up to a line end, and then the rest of the path.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Trashes trashes;
  if (size == 0) return 0;
  const bool in_home = (data[0] & 1) != 0;
  const bool was_on_volume = (data[0] & 2) != 0;
  std::string bytes = orvik::fuzz::Bytes(data + 1, size - 1);
  std::replace(bytes.begin(), bytes.end(), '\0', ' ');
  std::string_view rest = bytes;
  std::string name(orvik::fuzz::TakePart(rest, '\n'));
  std::replace(name.begin(), name.end(), '/', ':');
  if (name.empty() || name == "." || name == "..") return 0;

  const fs::path trash = in_home ? trashes.home_trash : trashes.volume_trash;
  const std::string target = (trash / "files").string() + "/" + name;
  const std::string info = (trash / "info").string() + "/" + name + ".trashinfo";
  const std::string source =
      (was_on_volume ? trashes.volume.string() : std::string()) + "/" + std::string(rest);
  Require(!Exists(info));
  {
    orvik::host::TrashInfo first;
    const int status = first.Write(source, target);
    Require((status == 0) == (name.size() <= orvik::host::kLongestTrashName));
    if (status != 0) return 0;
    Require(Exists(info));
    CheckOriginalPath(OriginalPath(orvik::fuzz::ReadFile(info)), source,
                      !in_home && was_on_volume ? trashes.volume.string() + "/" : "");
    orvik::host::TrashInfo second;
    Require(second.Write("/another", target) == EEXIST);
  }
  Require(!Exists(info));
  {
    orvik::host::TrashInfo kept;
    Require(kept.Write(source, target) == 0);
    kept.Commit();
  }
  Require(fs::remove(info));
  return 0;
}
