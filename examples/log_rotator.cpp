// Rotates the logs of a folder: x.log becomes x.log.1, x.log.1 becomes x.log.2, and so on up to
// x.log.3, which is removed. Names may have any bytes.
//
//   log_rotator [FOLDER]      without a folder, shows itself on one of its own
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/files/path_arguments.h>

using namespace orvik;

namespace {

constexpr int kKept = 3;

CAtlString Numbered(const CAtlString& log, int number) {
  CAtlString name;
  name.Format(u"%s.%d", log.GetString(), number);
  return name;
}

bool Rotate(const COrvikFilePath& log) {
  const CAtlString path = log.GetFilePathString();
  // DeleteFile would also remove a folder with its content, and an empty path is the folder itself.
  // So it is called only for a path that is a file.
  const COrvikFilePath oldest(Numbered(path, kKept));
  if (oldest.FileExists()) {
    if (oldest.IsDirectory() || !CFileManipulator::DeleteFile(oldest)) return false;
  }
  for (int number = kKept - 1; number >= 1; --number) {
    const COrvikFilePath from(Numbered(path, number));
    if (from.FileExists() && !CFileManipulator::MoveFileTo(from, Numbered(path, number + 1))) {
      return false;
    }
  }
  return CFileManipulator::MoveFileTo(log, Numbered(path, 1)) != FALSE;
}

int RotateAll(const COrvikDirectoryPath& folder) {
  // The pattern "*.log" would miss "a.b.log" and ".hidden.log", because "*" stops at the first ".".
  // So all files are listed, and the ends of their names are compared.
  CAtlArray<COrvikFilePath> files;
  if (folder.FindFilesInDirectory(u"*", files) != 0) return 1;
  int failures = 0;
  for (unsigned i = 0; i < files.GetCount(); ++i) {
    const COrvikFilePath& file = files.GetAt(i);
    if (!file.HasExtension(u".log")) continue;
    if (!Rotate(file)) {
      ++failures;
      // The bytes of the name on disk, even if they are not UTF-8.
      std::fprintf(stderr, "not rotated: %s\n",
                   PathForLibc(file.GetFilePathString()).value_or("?").c_str());
    }
  }
  return failures == 0 ? 0 : 1;
}

int Show() {
  namespace fs = std::filesystem;
  const fs::path folder = fs::temp_directory_path() / "log-rotator";
  fs::remove_all(folder);
  fs::create_directory(folder);
  const std::string names[] = {"a.b.log",      ".hidden.log",   "two\nlines.log", "back\\slash.log",
                               "\xFF\xFE.log", "Gr\u00FCn.log", "-rf.log"};
  for (int round = 1; round <= kKept + 1; ++round) {
    for (const std::string& name : names) std::ofstream(folder / name) << round;
    std::ofstream(folder / "notes.txt") << "stays";
    if (RotateAll(COrvikDirectoryPath(PathFromBytes(folder.string()))) != 0) return 1;
  }
  bool right = fs::exists(folder / "notes.txt");
  for (const std::string& name : names) {
    int newest = 0;
    std::ifstream(folder / (name + ".1")) >> newest;
    right = right && newest == kKept + 1 && fs::exists(folder / (name + ".3")) &&
            !fs::exists(folder / (name + ".4")) && !fs::exists(folder / name);
  }
  fs::remove_all(folder);
  std::printf("%s\n", right ? "rotated 7 logs" : "a log was lost");
  return right ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  return argc > 1 ? RotateAll(COrvikDirectoryPath(PathFromBytes(argv[1]))) : Show();
}
