#include "files/file_manipulator.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <set>

#include "tests/files/support.h"
#include "tests/support/alert_answer.h"

namespace orvik::test {
namespace {

using FileManipulator = EnvironmentTest;

TEST_F(FileManipulator, OpensFilesAndNothingThatBlocks) {
  const auto open = [this](const char* name, const char* mode) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        CFileManipulator::OpenFile(File(At(name)), mode), &std::fclose);
    return file != nullptr;
  };
  ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
  fs::create_directory(At("folder"));
  EXPECT_FALSE(open("pipe", "rb"));
  EXPECT_FALSE(open("folder", "rb"));
  EXPECT_FALSE(open("new", "rb"));
  EXPECT_TRUE(open("new", "wb"));
  EXPECT_TRUE(open("new", "rb"));
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> device(
      CFileManipulator::OpenFile(COrvikFilePath(u"/dev/null"), "rb"), &std::fclose);
  EXPECT_TRUE(device);
  EXPECT_EQ(CFileManipulator::OpenFile({}, "rb"), nullptr);

  struct stat record = {};
  fs::create_symlink("new", At("link"));
  EXPECT_EQ(CFileManipulator::StatFile(File(At("link")), &record), 0);
  EXPECT_TRUE(S_ISLNK(record.st_mode));
  EXPECT_EQ(CFileManipulator::StatFile(File(At("none")), &record), -1);
  EXPECT_EQ(CFileManipulator::StatFile({}, &record), -1);
}

TEST_F(FileManipulator, ReadsIntoABuffer) {
  const auto read = [](const fs::path& path) {
    unsigned char* buffer = reinterpret_cast<unsigned char*>(1);
    const unsigned long count = CFileManipulator::ReadFileIntoBuffer(File(path), buffer);
    const std::unique_ptr<unsigned char[]> owned(buffer);
    EXPECT_EQ(buffer == nullptr, count == 0);
    return std::string(reinterpret_cast<const char*>(buffer), count);
  };
  const std::string bytes("a\0\xFF\r\n", 5);
  WriteFile(At("f"), bytes);
  EXPECT_EQ(read(At("f")), bytes);
  WriteFile(At("empty"), "");
  EXPECT_EQ(read(At("empty")), "");
  EXPECT_EQ(read(At("none")), "");
  EXPECT_EQ(read(At("")), "");
  ASSERT_EQ(truncate(At("empty").c_str(), 0x100000005), 0);
  EXPECT_EQ(read(At("empty")), "");  // more than 32 bits can tell: not a part of it
}

TEST_F(FileManipulator, ReadsIntoAString) {
  const struct {
    std::string content;
    const char* prefix;
    std::string text;
  } cases[] = {
      {"hello", nullptr, "hello"},
      {"hello", "say ", "say hello"},
      {"", "just this", "just this"},
      {"", nullptr, ""},
      {std::string("ab\0cd", 5), "x", "xab"},
  };
  for (const auto& [content, prefix, expected] : cases) {
    WriteFile(At("f"), content);
    CAtlStringA text = "a long old content that goes away";
    const CAtlStringA shared = text;
    EXPECT_EQ(CFileManipulator::ReadAsciiFileIntoAsciiString(File(At("f")), text, prefix), S_OK);
    EXPECT_EQ(text.View(), expected);
    EXPECT_EQ(shared.View(), "a long old content that goes away");
  }
  CAtlStringA text = "kept";
  for (const auto& file : {File(At("none")), COrvikFilePath(), File(At(""))}) {
    EXPECT_EQ(CFileManipulator::ReadAsciiFileIntoAsciiString(file, text, "p"), E_INVALIDARG);
  }
  ASSERT_EQ(truncate(At("f").c_str(), 0x7FFFFFFF), 0);
  EXPECT_EQ(CFileManipulator::ReadAsciiFileIntoAsciiString(File(At("f")), text, nullptr),
            E_UNEXPECTED);
  EXPECT_EQ(text.View(), "kept");
}

TEST_F(FileManipulator, WritesBytes) {
  const auto write = [](const COrvikFilePath& file, const char* bytes, unsigned long count) {
    return CFileManipulator::WriteAsciiStringToFile(file, bytes, count);
  };
  EXPECT_EQ(write(File(At("f")), "", 0), E_INVALIDARG);
  EXPECT_EQ(write(File(At("f")), nullptr, 3), E_INVALIDARG);
  EXPECT_FALSE(Stands(At("f")));
  EXPECT_EQ(write({}, "abc", 3), E_INVALIDARG);
  EXPECT_EQ(write(File(At("")), "abc", 3), E_INVALIDARG);
  EXPECT_EQ(write(File(At("f")), "abcdef", 6), S_OK);
  EXPECT_EQ(write(File(At("f")), "x\0y", 3), S_OK);
  EXPECT_EQ(ReadFile(At("f")), std::string("x\0y", 3));
  if (Stands("/dev/full")) {
    EXPECT_EQ(write(COrvikFilePath(u"/dev/full"), "abc", 3), E_INVALIDARG);
  }
}

TEST_F(FileManipulator, AWriteIsAWrite) {
  const auto write = [this](const char* name, const char* text) {
    return CFileManipulator::WriteAsciiStringToFile(File(At(name)), text, 4);
  };
  const fs::file_time_type old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  ASSERT_EQ(write("f", "same"), S_OK);
  fs::last_write_time(At("f"), old);
  EXPECT_EQ(write("f", "same"), S_OK);
  EXPECT_GT(fs::last_write_time(At("f")), old + std::chrono::minutes(50));
  // All names of a file are names of the new content.
  fs::create_hard_link(At("f"), At("g"));
  EXPECT_EQ(write("f", "next"), S_OK);
  EXPECT_EQ(ReadFile(At("g")), "next");
  EXPECT_TRUE(fs::equivalent(At("f"), At("g")));
  fs::last_write_time(At("f"), old);
  EXPECT_EQ(write("g", "next"), S_OK);
  EXPECT_GT(fs::last_write_time(At("f")), old + std::chrono::minutes(50));
}

// Beyond the 4,096 bytes of the kernel.
TEST_F(FileManipulator, LongPathsAreTakenWhole) {
  const fs::path leaf = MakeDeepTree(top_.string(), 100, std::string(60, 'n')) + "/leaf";
  const COrvikFilePath file = File(leaf);
  EXPECT_EQ(file.GetFileSize(), 0u);
  EXPECT_EQ(file.GetFileChecksum(), 0u);
  struct stat record;
  EXPECT_EQ(CFileManipulator::StatFile(file, &record), 0);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(
      CFileManipulator::OpenFile(file, "r+b"), &std::fclose);
  EXPECT_TRUE(opened);
  EXPECT_TRUE(file.SetFileReadOnly());
  EXPECT_EQ(file.GetNumberOfDaysOld(), 0);
  EXPECT_TRUE(CFileManipulator::RemoveFile(file));
  EXPECT_FALSE(file.FileExists());
}

TEST_F(FileManipulator, RemovesFilesOnly) {
  WriteFile(At("folder/f"), "x");
  fs::create_directory_symlink("folder", At("link"));
  EXPECT_FALSE(CFileManipulator::RemoveFile({}));
  EXPECT_FALSE(CFileManipulator::RemoveFile(Folder(At("folder")).CreateFilePath(u"")));
  EXPECT_FALSE(CFileManipulator::RemoveFile(File("/")));
  EXPECT_TRUE(CFileManipulator::RemoveFile(File(At("link"))));
  EXPECT_TRUE(CFileManipulator::RemoveFile(File(At("none"))));
  EXPECT_EQ(ReadFile(At("folder/f")), "x");
  fs::permissions(At("folder/f"), fs::perms(0400));
  EXPECT_TRUE(CFileManipulator::RemoveFile(File(At("folder/f"))));
  EXPECT_FALSE(Stands(At("folder/f")));
}

TEST_F(FileManipulator, CopiesAndMoves) {
  WriteFile(At("f"), "new");
  WriteFile(At("g"), "old");
  fs::create_directory(At("d"));
  EXPECT_FALSE(CFileManipulator::CopyFileTo(File(At("f")), File(At("g")), TRUE));
  EXPECT_EQ(ReadFile(At("g")), "old");
  EXPECT_TRUE(CFileManipulator::CopyFileTo(File(At("f")), File(At("g")), FALSE));
  EXPECT_EQ(ReadFile(At("g")), "new");
  EXPECT_TRUE(CFileManipulator::CopyFileTo(File(At("f")), Folder(At("d")), TRUE));
  EXPECT_EQ(ReadFile(At("d/f")), "new");
  EXPECT_TRUE(CFileManipulator::MoveFileTo(File(At("f")), File(At("x/y/f"))));
  EXPECT_EQ(ReadFile(At("x/y/f")), "new");
  EXPECT_FALSE(Stands(At("f")));
}

TEST_F(FileManipulator, DeletesReadOnlyFilesFoldersAndLinks) {
  WriteFile(At("f"), "x");
  fs::permissions(At("f"), fs::perms(0400));
  WriteFile(At("outside/kept"), "x");
  WriteFile(At("d/in/f"), "x");
  fs::create_directory_symlink(At("outside"), At("d/link"));
  fs::create_directory_symlink(At("outside"), At("link"));
  fs::create_directory_symlink(At("outside"), At("thrown away"));
  for (const char* name : {"f", "d", "link", "never"}) {
    EXPECT_TRUE(CFileManipulator::DeleteFile(File(At(name)))) << name;
    EXPECT_FALSE(Stands(At(name))) << name;
  }
  EXPECT_TRUE(CFileManipulator::DeleteFile(File(At("thrown away")), FALSE, TRUE));
  EXPECT_FALSE(Stands(At("thrown away")));
  EXPECT_EQ(ReadFile(At("outside/kept")), "x");
  EXPECT_TRUE(CFileManipulator::DeleteFile({}));
}

TEST_F(FileManipulator, AsksBeforeOverwriting) {
  WriteFile(At("f"), "new");
  WriteFile(At("g"), "old");
  const auto copy = [this] {
    return CFileManipulator::CopyFile(File(At("f")), File(At("g")), TRUE);
  };
  for (const std::optional<int> refusal : {std::optional(0), {host::kAlertClosed}, {}}) {
    EXPECT_FALSE(Answered(refusal, copy).first);
    EXPECT_EQ(ReadFile(At("g")), "old");
  }
  const auto [copied, shown] = Answered(1, copy);
  EXPECT_TRUE(copied);
  EXPECT_EQ(ReadFile(At("g")), "new");
  EXPECT_EQ(shown.level, host::AlertLevel::kCaution);
  EXPECT_EQ(shown.header, "Copy");
  EXPECT_EQ(shown.message,
            "The file \"" + At("g").string() + "\" already exists.  Do you want to overwrite it?");
  EXPECT_EQ(shown.buttons, (std::vector<std::string>{"Cancel", "Overwrite"}));
  EXPECT_EQ(shown.default_button, 0);

  const auto [fresh, nothing] = Answered(std::nullopt, [this] {
    return CFileManipulator::CopyFile(File(At("f")), File(At("h")), TRUE);
  });
  EXPECT_TRUE(fresh);
  EXPECT_TRUE(nothing.buttons.empty());
  EXPECT_FALSE(CFileManipulator::CopyFile(File(At("none")), File(At("g")), FALSE));
}

TEST_F(FileManipulator, AsksBeforeDeleting) {
  WriteFile(At("f %s"), "x");
  const auto remove = [this] {
    return CFileManipulator::DeleteFile(File(At("f %s")), TRUE, FALSE);
  };
  EXPECT_FALSE(Answered(0, remove).first);
  EXPECT_FALSE(Answered(std::nullopt, remove).first);
  EXPECT_TRUE(Stands(At("f %s")));
  const auto [removed, shown] = Answered(1, remove);
  EXPECT_TRUE(removed);
  EXPECT_FALSE(Stands(At("f %s")));
  EXPECT_EQ(shown.header, "Delete");
  EXPECT_EQ(shown.message,
            "Are you sure you want to delete the file \"" + At("f %s").string() + "\"?");
  EXPECT_EQ(shown.buttons, (std::vector<std::string>{"Cancel", "Delete"}));
  EXPECT_TRUE(Answered(std::nullopt, remove).first);  // nothing is there, so nobody is asked
}

TEST_F(FileManipulator, ShowsTranslatedTexts) {
  CFileManipulator::InitializeLocalizedStrings(u"Weg mit \u201E%s\u201C?", u"%s?", u"L\u00F6schen",
                                               u"Nein", u"Kopieren", u"Ersetzen");
  WriteFile(At("f"), "x");
  const auto shown = Answered(0, [this] {
                       return CFileManipulator::DeleteFile(File(At("f")), TRUE, TRUE);
                     }).second;
  EXPECT_EQ(shown.message, "Weg mit \xE2\x80\x9E" + At("f").string() + "\xE2\x80\x9C?");
  EXPECT_EQ(shown.buttons, (std::vector<std::string>{"Nein", "L\xC3\xB6schen"}));
  CFileManipulator::InitializeLocalizedStrings(
      u"Are you sure you want to delete the file \"%s\"?",
      u"The file \"%s\" already exists.  Do you want to overwrite it?", u"Delete", u"Cancel",
      u"Copy", u"Overwrite");
}

TEST_F(FileManipulator, ThrowsAwayUnderANameThatIsFree) {
  COrvikDirectoryPath trash;
  EXPECT_FALSE(CFileManipulator::GetTrashPathForFile(File(At("none")), trash));
  for (int i = 0; i < 4; ++i) {
    WriteFile(At("notes.txt"), std::to_string(i));
    EXPECT_TRUE(CFileManipulator::DeleteFile(File(At("notes.txt")), FALSE, TRUE));
    EXPECT_FALSE(Stands(At("notes.txt")));
  }
  WriteFile(At("probe"), "");
  ASSERT_TRUE(CFileManipulator::GetTrashPathForFile(File(At("probe")), trash));
  const fs::path files = *host::FileNameToBytes(trash.GetDirectoryPathString().View());
  EXPECT_EQ(ReadFile(files / "notes.txt"), "0");

  std::multiset<std::string> shapes;
  for (const fs::directory_entry& entry : fs::directory_iterator(files)) {
    const std::string name = entry.path().filename().string();
    shapes.insert(DigitsAsNines(name));
    const std::string info = ReadFile(files.parent_path() / "info" / (name + ".trashinfo"));
    EXPECT_TRUE(Contains(info, "Path="));
    EXPECT_TRUE(Contains(info, "tmp/notes.txt"));
  }
  // The clock may pass a second meanwhile, and a stamp is then free again.
  EXPECT_EQ(shapes.size(), 4u);
  EXPECT_EQ(shapes.count("notes.txt"), 1u);
  EXPECT_GE(shapes.count("notes 99-99-99.txt"), 1u);
  EXPECT_EQ(shapes.count("notes 99-99-99.txt") + shapes.count("notes 99-99-99-9.txt"), 3u);
}

// All of them want the name at once.
TEST_F(FileManipulator, ProcessesThatThrowAwayOneNameAllArrive) {
  constexpr int kProcesses = 24;
  for (int i = 0; i < kProcesses; ++i) WriteFile(At(std::to_string(i)) / "notes.txt", "x");
  const std::vector<int> results = InProcesses(kProcesses, [this](int number) {
    const COrvikFilePath file = File(At(std::to_string(number)) / "notes.txt");
    return CFileManipulator::DeleteFile(file, FALSE, TRUE) != FALSE ? 0 : 1;
  });
  EXPECT_EQ(results, std::vector<int>(kProcesses, 0));
  const fs::path trash = env_.home() / ".local/share/Trash";
  EXPECT_EQ(NamesIn(trash / "files").size(), std::size_t{kProcesses});
  EXPECT_EQ(NamesIn(trash / "info").size(), std::size_t{kProcesses});
}

// The volume's trash is a file of somebody's.
TEST_F(FileManipulator, AVolumeWithoutATrashUsesTheHomeTrash) {
  constexpr int kNoVolume = 77;
  fs::create_directory(At("volume"));
  const int status = InProcesses(1, [this](int) {
    if (unshare(CLONE_NEWNS) != 0 || mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("orvik-test", At("volume").c_str(), "tmpfs", 0, "size=1m") != 0) {
      return kNoVolume;
    }
    WriteFile(At("volume") / (".Trash-" + std::to_string(getuid())), "no folder");
    WriteFile(At("volume/f"), "thrown away");
    EXPECT_TRUE(CFileManipulator::DeleteFile(File(At("volume/f")), FALSE, TRUE));
    EXPECT_FALSE(Stands(At("volume/f")));
    EXPECT_EQ(ReadFile(env_.home() / ".local/share/Trash/files/f"), "thrown away");
    return testing::Test::HasFailure() ? 1 : 0;
  })[0];
  if (status == kNoVolume) GTEST_SKIP() << "this user may not mount";
  EXPECT_EQ(status, 0);
}

TEST_F(FileManipulator, ThrowsAwayLongNamesShortened) {
  const fs::path trash = env_.home() / ".local/share/Trash";
  std::string letters, emoji;
  while (letters.size() < 251) letters += 'n';
  while (emoji.size() < 252) emoji += "\xF0\x9F\x98\x80";
  const struct {
    std::string name, in_trash;
  } cases[] = {{letters + ".txt", letters.substr(0, 241) + ".txt"},
               {letters + ".txt", letters.substr(0, 232) + " 99-99-99.txt"},
               {emoji, emoji.substr(0, 244)},
               {"a." + letters, "a." + letters.substr(0, 243)}};
  for (const auto& [name, in_trash] : cases) {
    WriteFile(At(name), "x");
    EXPECT_TRUE(CFileManipulator::DeleteFile(File(At(name)), FALSE, TRUE)) << name;
    bool found = false;
    for (const fs::directory_entry& entry : fs::directory_iterator(trash / "files")) {
      const std::string kept = entry.path().filename().string();
      if (DigitsAsNines(kept) != in_trash) continue;
      found = true;
      std::string original = ReadFile(trash / "info" / (kept + ".trashinfo"));
      if (name == emoji) continue;  // percent-encoded
      EXPECT_TRUE(Contains(original, At(name).string() + "\n"));
    }
    EXPECT_TRUE(found) << in_trash;
  }
}

TEST_F(FileManipulator, FindsSpecialFolders) {
  const auto find = [](int number, const char16_t* sub_name) {
    return fs::path(
        *host::FileNameToBytes(Units(CFileManipulator::GetSpecialDirectory(number, sub_name))));
  };
  fs::create_directories(env_.home() / "Documents");
  fs::create_directories(env_.home() / "Library/Application Support");
  fs::create_directories(env_.system_root() / "Applications");
  EXPECT_EQ(find(5, u"My/Own"), env_.home() / "Documents/My/Own");
  EXPECT_TRUE(fs::is_directory(env_.home() / "Documents/My/Own"));
  EXPECT_EQ(find(12, u""), env_.home() / "Documents");
  EXPECT_EQ(find(26, u"a"), env_.home() / "Library/Application Support/a");
  EXPECT_EQ(find(38, u"b"), env_.system_root() / "Applications/b");
  const fs::path fallback = env_.temp() / "ORVIK Technologies/c/TempFiles";
  for (const int number : {16, 0, -1, 39}) {  // a desktop that does not exist, and no folders
    EXPECT_EQ(find(number, u"c"), fallback) << number;
  }
  EXPECT_FALSE(Stands(fallback));
}

}  // namespace
}  // namespace orvik::test
