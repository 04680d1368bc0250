// Paths and files: build a path, write a file, list its folder, remove it again.
#include <cstdio>

#include <orvik/files/directory_manipulator.h>
#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/strings/utf8_strings.h>

using namespace orvik;

int main() {
  COrvikDirectoryPath folder = COrvikDirectoryPath::GetTempDirectoryPath();
  folder.AddDirectoryToPath(u"orvik-example");
  if (!CDirectoryManipulator::CreateDirectory(folder)) return 1;

  const COrvikFilePath note = COrvikDirectoryPath::CreateUniqueFilePath(folder, u"Report", u"txt");
  if (CFileManipulator::WriteAsciiStringToFile(note, "all is well\n", 12) != S_OK) return 1;

  CAtlArray<COrvikFilePath> found;
  folder.FindFilesInDirectory(u"*.txt", found);
  for (unsigned i = 0; i < found.GetCount(); ++i) {
    std::printf("%s: %u bytes\n",
                MakeUTF8StringFromUnicodeString(found.GetAt(i).GetFileName()).GetString(),
                static_cast<unsigned>(found.GetAt(i).GetFileSize()));
  }
  return CDirectoryManipulator::RemoveDirectoryAndContents(folder) ? 0 : 1;
}
