// The one rule for names in another Unicode spelling than on disk, through the calls that take
// paths.
#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "files/windows_file_handles.h"
#include "files/windows_files.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

constexpr char kComposed[] = "caf\xC3\xA9";
constexpr char kDecomposed[] = "cafe\xCC\x81";

using Spellings = EnvironmentTest;

TEST_F(Spellings, NoCallMakesATwin) {
  WriteFile(At(kDecomposed), "old");
  WriteFile(At("source"), "new");
  const CAtlString taken = Text(At(kComposed)), source = Text(At("source"));
  EXPECT_EQ(CreateFile(taken, 0, 1, nullptr, CREATE_NEW, 0, nullptr), INVALID_HANDLE_VALUE);
  EXPECT_TRUE(CreateDirectory(taken, nullptr));
  EXPECT_FALSE(CopyFile(source, taken, TRUE));
  EXPECT_FALSE(MoveFile(source, taken));
  EXPECT_FALSE(CFileManipulator::MoveFileTo(File(At("source")), File(At(kComposed))));
  EXPECT_EQ(NamesIn(top_), (std::vector<std::string>{kDecomposed, "source"}));
  EXPECT_EQ(ReadFile(At(kDecomposed)), "old");
  EXPECT_TRUE(CopyFile(source, taken, FALSE));
  EXPECT_EQ(CFileManipulator::WriteAsciiStringToFile(File(At(kComposed)), "x", 1), S_OK);
  EXPECT_EQ(ReadFile(At(kDecomposed)), "x");
  EXPECT_EQ(NamesIn(top_), (std::vector<std::string>{kDecomposed, "source"}));
}

TEST_F(Spellings, EveryCallFindsTheFile) {
  WriteFile(At(kDecomposed), "plain text");
  const COrvikFilePath file = File(At(kComposed));
  EXPECT_TRUE(file.FileExists());
  EXPECT_FALSE(file.IsExecutable());
  EXPECT_EQ(file.GetFileSize(), 10u);
  EXPECT_TRUE(file.SetFileReadOnly());
  EXPECT_EQ(ModeOf(At(kDecomposed)) & 0222, 0u);
  EXPECT_TRUE(CFileManipulator::DeleteFile(file));
  EXPECT_FALSE(Stands(At(kDecomposed)));
  WriteFile(At("tree") / kDecomposed / "x", "x");
  EXPECT_TRUE(CDirectoryManipulator::RemoveDirectoryAndContents(Folder(At("tree") / kComposed)));
  EXPECT_TRUE(fs::is_empty(At("tree")));
}

}  // namespace
}  // namespace orvik::test
