#include "files/windows_temp_names.h"

#include "files/windows_file_handles.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using WindowsTempNamesTest = EnvironmentTest;

TEST_F(WindowsTempNamesTest, GivesTheFirstFreeNumber) {
  const std::u16string folder = top_.u16string();
  WriteFile(top_ / "abc5", "");
  fs::create_directory(top_ / "abc6");
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempFileName(folder.c_str(), u"abcdef", 5, buffer), 7u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/abc7");
  EXPECT_FALSE(fs::exists(top_ / "abc7"));
  EXPECT_EQ(GetTempFileName((folder + u"/").c_str(), nullptr, 0, buffer), 0u);
  EXPECT_EQ(std::u16string(buffer), folder + u"/0");
  // Half a character of the prefix is part of the name, and the file can be made.
  for (const DWORD expected : {1u, 2u}) {
    EXPECT_EQ(GetTempFileName(folder.c_str(), u"ab\U0001F600", 1, buffer), expected);
    EXPECT_EQ(std::u16string(buffer).substr(folder.size()),
              std::u16string({u'/', u'a', u'b', 0xD83D, static_cast<char16_t>(u'0' + expected)}));
    const HANDLE made = CreateFile(buffer, 0, 1, nullptr, CREATE_NEW, 0, nullptr);
    EXPECT_NE(made, INVALID_HANDLE_VALUE);
    CloseHandle(made);
  }
}

TEST_F(WindowsTempNamesTest, APathThatDoesNotFitIsNotCut) {
  char16_t buffer[MAX_PATH + 1];
  buffer[MAX_PATH] = u'!';
  const std::u16string fits(MAX_PATH - 5, u'n');
  EXPECT_EQ(GetTempFileName(fits.c_str(), u"abc", 1, buffer), 0u);
  EXPECT_EQ(buffer[0], u'\0');
  EXPECT_EQ(GetTempFileName(fits.c_str(), u"ab", 1, buffer), 1u);
  EXPECT_EQ(buffer[MAX_PATH], u'!');
  EXPECT_EQ(GetTempFileName(std::u16string(1000, u'n').c_str(), u"abc", 1, buffer), 0u);
  EXPECT_EQ(GetTempFileName(nullptr, u"abc", 1, buffer), 0u);
}

TEST_F(WindowsTempNamesTest, TheTemporaryFolderEndsInASlash) {
  const std::u16string expected = top_.u16string() + u"/";
  char16_t buffer[MAX_PATH];
  EXPECT_EQ(GetTempPath(MAX_PATH, buffer), expected.size());
  EXPECT_EQ(std::u16string(buffer), expected);
  EXPECT_EQ(GetTempPath(4, buffer), expected.size());
  EXPECT_EQ(std::u16string(buffer), expected.substr(0, 3));
  buffer[0] = u'!';
  EXPECT_EQ(GetTempPath(0, buffer), expected.size());
  EXPECT_EQ(buffer[0], u'!');
  EXPECT_EQ(GetTempPath(MAX_PATH, nullptr), expected.size());
}

TEST_F(WindowsTempNamesTest, MakersWhoAskForANewFileNeverShareOne) {
  const std::u16string folder = top_.u16string();
  char16_t first[MAX_PATH], second[MAX_PATH];
  GetTempFileName(folder.c_str(), u"t", 1, first);
  GetTempFileName(folder.c_str(), u"t", 1, second);
  EXPECT_EQ(std::u16string(first), std::u16string(second));
  const HANDLE made = CreateFile(first, 0, 1, nullptr, CREATE_NEW, 0, nullptr);
  EXPECT_NE(made, INVALID_HANDLE_VALUE);
  EXPECT_EQ(CreateFile(second, 0, 1, nullptr, CREATE_NEW, 0, nullptr), INVALID_HANDLE_VALUE);
  CloseHandle(made);
  EXPECT_EQ(GetTempFileName(folder.c_str(), u"t", 1, second), 2u);
}

}  // namespace
}  // namespace orvik::test
