#include "files/file_manipulator.h"

#include <chrono>
#include <memory>

#include "files/directory_manipulator.h"
#include "files/windows_files.h"
#include "tests/files/support.h"
#include "tests/support/alert_answer.h"
#include "tests/support/volumes.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using Manipulator = CFileManipulator;

class FileManipulator : public EnvironmentTest {
 protected:
  static bool Opens(const COrvikFilePath& file, const char* mode) {
    return std::unique_ptr<std::FILE, int (*)(std::FILE*)>(Manipulator::OpenFile(file, mode),
                                                           &std::fclose) != nullptr;
  }
  static BOOL ThrowAway(const fs::path& file) {
    return Manipulator::DeleteFile(File(file), FALSE, TRUE);
  }

  const fs::path trash_ = env_.home() / ".local/share/Trash";
};

TEST_F(FileManipulator, OpensFilesAndNothingThatBlocks) {
  ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
  fs::create_directory(At("folder"));
  for (const char* name : {"pipe", "folder", "new"}) EXPECT_FALSE(Opens(File(At(name)), "rb"));
  EXPECT_TRUE(Opens(File(At("new")), "wb"));
  EXPECT_TRUE(Opens(File(At("new")), "rb"));
  EXPECT_TRUE(Opens(COrvikFilePath(u"/dev/null"), "rb"));
  EXPECT_FALSE(Opens({}, "rb"));

  struct stat record = {};
  fs::create_symlink("new", At("link"));
  EXPECT_EQ(Manipulator::StatFile(File(At("link")), &record), 0);
  EXPECT_TRUE(S_ISLNK(record.st_mode));
  EXPECT_EQ(Manipulator::StatFile(File(At("none")), &record), -1);
  EXPECT_EQ(Manipulator::StatFile({}, &record), -1);
}

TEST_F(FileManipulator, ReadsIntoABuffer) {
  const auto read = [this](const char* name) {
    unsigned char* buffer = reinterpret_cast<unsigned char*>(1);
    const unsigned long count = Manipulator::ReadFileIntoBuffer(File(At(name)), buffer);
    const std::unique_ptr<unsigned char[]> owned(buffer);
    EXPECT_EQ(buffer == nullptr, count == 0);
    return std::string(reinterpret_cast<const char*>(buffer), count);
  };
  const std::string bytes("a\0\xFF\r\n", 5);
  WriteFile(At("f"), bytes);
  EXPECT_EQ(read("f"), bytes);
  WriteFile(At("large"), "");
  ASSERT_EQ(truncate(At("large").c_str(), 0x100000005), 0);  // beyond 32 bits
  WriteFile(At("empty"), "");
  for (const char* name : {"empty", "none", "", "large"}) EXPECT_EQ(read(name), "") << name;
}

TEST_F(FileManipulator, ReadsIntoAString) {
  const std::tuple<std::string, const char*, std::string> cases[] = {
      {"hello", "say ", "say hello"},
      {"", "just this", "just this"},
      {"", nullptr, ""},
      {std::string("ab\0cd", 5), "x", "xab"}};
  CAtlStringA text = "a long old content that goes away";
  const CAtlStringA shared = text;
  for (const auto& [content, prefix, expected] : cases) {
    WriteFile(At("f"), content);
    EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(File(At("f")), text, prefix), S_OK);
    EXPECT_EQ(text.View(), expected);
  }
  EXPECT_EQ(shared.View(), "a long old content that goes away");
  ASSERT_EQ(truncate(At("f").c_str(), 0x7FFFFFFF), 0);
  for (const auto& file : {File(At("none")), COrvikFilePath(), File(At("")), File(At("f"))}) {
    EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(file, text, "p"),
              file.FileExists() && !file.IsDirectory() ? E_UNEXPECTED : E_INVALIDARG);
  }
  EXPECT_EQ(text.View(), "xab");
}

TEST_F(FileManipulator, WritesBytes) {
  const COrvikFilePath f = File(At("f"));
  const std::tuple<COrvikFilePath, const char*, unsigned long, HRESULT> cases[] = {
      {f, "", 0, E_INVALIDARG},
      {f, nullptr, 3, E_INVALIDARG},
      {{}, "abc", 3, E_INVALIDARG},
      {File(At("")), "abc", 3, E_INVALIDARG},
      {COrvikFilePath(u"/dev/full"), "abc", 3, E_INVALIDARG},
      {f, "abcdef", 6, S_OK},
      {f, "x\0y", 3, S_OK}};
  for (const auto& [file, bytes, count, result] : cases) {
    EXPECT_EQ(Manipulator::WriteAsciiStringToFile(file, bytes, count), result) << count;
    EXPECT_EQ(Exists(At("f")), result == S_OK);
  }
  EXPECT_EQ(ReadFile(At("f")), std::string("x\0y", 3));

  // The same text is written again, and all names of a file are names of the new content.
  fs::create_hard_link(At("f"), At("g"));
  const fs::file_time_type old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  for (const char* text : {"x\0y", "new", "new"}) {
    fs::last_write_time(At("f"), old);
    EXPECT_EQ(Manipulator::WriteAsciiStringToFile(File(At("g")), text, 3), S_OK);
    EXPECT_GT(fs::last_write_time(At("f")), old + std::chrono::minutes(50));
    EXPECT_EQ(ReadFile(At("f")), std::string(text, 3));
  }
}

// A file that is a mount point itself, and one in a folder that takes no new files while there is
// no temporary folder either.
TEST_F(FileManipulator, WritesInPlaceWhereNoNewFileCanBe) {
  const auto expect_written = [this](const char* name) {
    for (const char* text : {"new text", "short"}) {
      EXPECT_EQ(Manipulator::WriteAsciiStringToFile(File(At(name)), text, std::strlen(text)), S_OK);
      EXPECT_EQ(ReadFile(At(name)), text);
    }
    EXPECT_EQ(Manipulator::CreateShortcut(File(At(name)), File("/a/b")), S_OK);
    EXPECT_EQ(Units(Manipulator::ResolveShortcut(File(At(name)))), u"/a/b");
  };
  Plant(top_, "mounted=old closed/file=old");
  const bool tested = OnAVolume(At("volume"), "tmpfs", "size=1m", [&] {
    const std::string file = At("mounted");
    ASSERT_EQ(mount(file.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
    expect_written("mounted");
    EXPECT_EQ(NamesIn(top_), (std::vector<std::string>{"closed", "mounted", "volume"}));
  });
  fs::permissions(At("closed"), fs::perms(0555));
  {
    const WithoutRootRights without(env_.folder());
    const ScopedVariable none("TMPDIR", "/nonexistent");
    expect_written("closed/file");
  }
  if (!tested) GTEST_SKIP() << "this user may not mount";
}

// Files whose size is 0.
TEST_F(FileManipulator, ReadsAndCopiesTheFilesOfProc) {
  const COrvikFilePath version(u"/proc/version");
  const std::string content = ReadFile("/proc/version");
  ASSERT_FALSE(content.empty());
  EXPECT_TRUE(Manipulator::CopyFileTo(version, File(At("copy")), TRUE));
  EXPECT_EQ(ReadFile(At("copy")), content);
  EXPECT_EQ(version.GetFileChecksum(), File(At("copy")).GetFileChecksum());
  unsigned char* buffer = nullptr;
  const unsigned long count = Manipulator::ReadFileIntoBuffer(version, buffer);
  const std::unique_ptr<unsigned char[]> owned(buffer);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer), count), content);
  CAtlStringA text;
  EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(version, text, "> "), S_OK);
  EXPECT_EQ(text.View(), "> " + content);
}

// Beyond the 4,096 bytes of the kernel.
TEST_F(FileManipulator, LongPathsAreTakenWhole) {
  const COrvikFilePath file =
      File(MakeDeepTree(top_.string(), 100, std::string(60, 'n')) + "/leaf");
  const COrvikFilePath beside(file.GetFilePathString() + u".url");
  struct stat record;
  EXPECT_EQ(Manipulator::StatFile(file, &record), 0);
  EXPECT_TRUE(Opens(file, "r+b"));
  EXPECT_EQ(Manipulator::WriteAsciiStringToFile(file, "text", 4), S_OK);
  EXPECT_EQ(file.GetFileSize(), 4u);
  EXPECT_EQ(Manipulator::CreateURLShortcut(u"http://a.b/", beside), S_OK);
  EXPECT_EQ(Manipulator::ResolveURLShortcut(beside), u"http://a.b/");
  EXPECT_TRUE(Manipulator::CopyFileTo(file, File(At("copy")), FALSE));
  EXPECT_TRUE(file.SetFileReadOnly());
  EXPECT_TRUE(Manipulator::RemoveFile(file));
  EXPECT_FALSE(file.FileExists());
}

TEST_F(FileManipulator, CopiesAndMoves) {
  Plant(top_, "f=new g=old d/");
  for (const char* source : {"d", "none", "g"}) {
    EXPECT_FALSE(Manipulator::CopyFileTo(File(At(source)), File(At("g")), FALSE)) << source;
  }
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("f")), File(At("g")), TRUE));
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("f")), COrvikFilePath(), FALSE));
  EXPECT_EQ(TreeText(top_), "d/ f=new g=old");
  EXPECT_TRUE(Manipulator::CopyFileTo(File(At("f")), File(At("g")), FALSE));
  EXPECT_TRUE(Manipulator::CopyFileTo(File(At("f")), Folder(At("d")), TRUE));
  EXPECT_TRUE(Manipulator::MoveFileTo(File(At("f")), File(At("x/y/f"))));
  EXPECT_EQ(TreeText(top_), "d/ d/f=new g=new x/ x/y/ x/y/f=new");
  // To another spelling of its own name, and not to one of another file.
  const std::string composed = "\xC3\xA9", decomposed = "e\xCC\x81";
  MakeTree(At("spelled"), {composed + "=x"});
  for (const std::string& name : {decomposed, composed, composed}) {
    const bool is_there = Exists(At("spelled") / name);
    EXPECT_EQ(Manipulator::MoveFileTo(File(At("spelled") / composed), File(At("spelled") / name)),
              is_there ? FALSE : TRUE);
    EXPECT_EQ(NamesIn(At("spelled")), std::vector<std::string>{name});
  }
  EXPECT_FALSE(Manipulator::MoveFileTo(File(At("g")), File(At("spelled") / decomposed)));
}

TEST_F(FileManipulator, SaysWhyAFileWasNotCopiedOrMoved) {
  ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
  Plant(top_, "f g");
  TreeReport report;
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("pipe")), File(At("x")), FALSE, &report));
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("f")), File(At("g")), TRUE, &report));
  EXPECT_FALSE(Manipulator::MoveFileTo(File(At("none")), File(At("x")), &report));
  EXPECT_TRUE(Manipulator::MoveFileTo(File(At("f")), File(At("x")), &report));
  EXPECT_EQ(report.done, 1u);
  EXPECT_EQ(report.failed, 3u);
  const std::tuple<const char*, int, TreeSide> expected[] = {
      {"pipe", EOPNOTSUPP, TreeSide::kSource},
      {"f", EEXIST, TreeSide::kTarget},
      {"none", ENOENT, TreeSide::kSource}};
  ASSERT_EQ(report.failures.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    const auto& [name, error, side] = expected[i];
    EXPECT_EQ(Units(report.failures[i].path), At(name).u16string());
    EXPECT_EQ(report.failures[i].error, error) << name;
    EXPECT_EQ(report.failures[i].side, side) << name;
  }
  EXPECT_EQ(report.failures[0].reason, u"Pipes, sockets and devices are not copied");
}

// Whether each call removes a file, a link to a folder, a full folder and an empty one, and what it
// answers where nothing is. None follows a link.
TEST_F(FileManipulator, EveryCallRemovesWhatItIsFor) {
  using Folders = CDirectoryManipulator;
  const auto windows = [](BOOL (*call)(const char16_t*)) {
    return [call](const fs::path& path) { return call(path.u16string().c_str()); };
  };
  using Call = std::function<BOOL(const fs::path&)>;
  const std::tuple<const char*, Call, const char*> calls[] = {
      {"DeleteFile", windows(&orvik::DeleteFile), "yyyyn"},
      {"RemoveDirectory", windows(&orvik::RemoveDirectory), "nnnyn"},
      {"Manipulator::DeleteFile", [](auto& path) { return Manipulator::DeleteFile(File(path)); },
       "yyyyy"},
      {"RemoveFile", [](auto& path) { return Manipulator::RemoveFile(File(path)); }, "yynny"},
      {"Folders::RemoveDirectory",
       [](auto& path) { return Folders::RemoveDirectory(Folder(path)); }, "nnnyy"},
      {"RemoveDirectoryAndContents",
       [](auto& path) { return Folders::RemoveDirectoryAndContents(Folder(path)); }, "nnyyy"}};
  for (const auto& [name, call, answers] : calls) {
    Plant(top_, "kept/f file link->kept full/in/f full/link->../kept empty/");
    fs::permissions(At("file"), fs::perms(0400));
    const char* const entries[] = {"file", "link", "full", "empty", "none"};
    for (int i = 0; i < 5; ++i) {
      const bool removes = answers[i] == 'y';
      EXPECT_EQ(call(At(entries[i])), removes ? TRUE : FALSE) << name << ' ' << entries[i];
      EXPECT_EQ(Exists(At(entries[i])), !removes && i < 4) << name << ' ' << entries[i];
    }
    EXPECT_EQ(ReadFile(At("kept/f")), "x") << name;
    for (const auto& entry : fs::directory_iterator(top_)) fs::remove_all(entry);
  }
  Plant(top_, "kept/f thrown->kept");
  EXPECT_TRUE(ThrowAway(At("thrown")));
  EXPECT_EQ(TreeText(top_), "kept/ kept/f=x");
  EXPECT_TRUE(Manipulator::DeleteFile({}));
  for (const COrvikFilePath& none :
       {COrvikFilePath(), Folder(At("kept")).CreateFilePath(u""), File("/")}) {
    EXPECT_FALSE(Manipulator::RemoveFile(none));
  }
}

TEST_F(FileManipulator, AsksBeforeOverwriting) {
  WriteFile(At("f"), "new");
  WriteFile(At("g"), "old");
  const auto copy_to = [this](const char* name) {
    return [this, name] { return Manipulator::CopyFile(File(At("f")), File(At(name)), TRUE); };
  };
  for (const std::optional<int> refusal : {std::optional(0), {desktop::kAlertClosed}, {}}) {
    EXPECT_FALSE(Answered(refusal, copy_to("g")).first);
    EXPECT_EQ(ReadFile(At("g")), "old");
  }
  const auto [copied, shown] = Answered(1, copy_to("g"));
  EXPECT_TRUE(copied);
  EXPECT_EQ(ReadFile(At("g")), "new");
  EXPECT_EQ(shown.level, desktop::AlertLevel::kCaution);
  EXPECT_EQ(shown.header, "Copy");
  EXPECT_EQ(shown.message,
            "The file \"" + At("g").string() + "\" already exists.  Do you want to overwrite it?");
  EXPECT_EQ(shown.buttons, (std::vector<std::string>{"Cancel", "Overwrite"}));
  EXPECT_EQ(shown.default_button, 0);
  const auto [fresh, nothing] = Answered(std::nullopt, copy_to("h"));
  EXPECT_TRUE(fresh);
  EXPECT_TRUE(nothing.buttons.empty());
  EXPECT_FALSE(Manipulator::CopyFile(File(At("none")), File(At("g")), FALSE));
}

TEST_F(FileManipulator, AsksBeforeDeleting) {
  const std::string path = At("f %s");
  WriteFile(path, "x");
  const auto remove = [&] { return Manipulator::DeleteFile(File(path), TRUE, FALSE); };
  const auto question = [&](const char16_t* text) {
    Manipulator::InitializeLocalizedStrings(text, u"%s?", u"L\u00F6schen", u"Nein", u"K", u"E");
    return Answered(0, remove).second;
  };
  EXPECT_FALSE(Answered(std::nullopt, remove).first);
  const std::string own = "Are you sure you want to delete the file \"" + path + "\"?";
  const std::pair<const char16_t*, std::string> cases[] = {
      {u"Weg mit \u201E%s\u201C?", "Weg mit \xE2\x80\x9E" + path + "\xE2\x80\x9C?"},
      {u"100%% weg mit %s?", "100% weg mit " + path + "?"},
      {u"100% weg mit %s?", own},
      {u"Weg?", own},
      {u"Weg mit %s und %s?", own},
      {u"%d %s", own},
      {u"Weg mit %s? 100%", own}};
  for (const auto& [text, shown] : cases) EXPECT_EQ(question(text).message, shown);
  EXPECT_EQ(question(u"%s").buttons, (std::vector<std::string>{"Nein", "L\xC3\xB6schen"}));
  EXPECT_TRUE(Exists(path));
  Manipulator::InitializeLocalizedStrings(
      u"Are you sure you want to delete the file \"%s\"?",
      u"The file \"%s\" already exists.  Do you want to overwrite it?", u"Delete", u"Cancel",
      u"Copy", u"Overwrite");
  const auto [removed, shown] = Answered(1, remove);
  EXPECT_TRUE(removed);
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(shown.header, "Delete");
  EXPECT_EQ(shown.message, own);
  EXPECT_EQ(shown.buttons, (std::vector<std::string>{"Cancel", "Delete"}));
  EXPECT_TRUE(Answered(std::nullopt, remove).first);  // nothing is there, so nobody is asked
}

TEST_F(FileManipulator, ThrowsAwayUnderANameThatIsFree) {
  COrvikDirectoryPath trash;
  EXPECT_FALSE(Manipulator::GetTrashPathForFile(File(At("none")), trash));
  for (int i = 0; i < 4; ++i) {
    WriteFile(At("notes.txt"), std::to_string(i));
    EXPECT_TRUE(ThrowAway(At("notes.txt")));
    EXPECT_FALSE(Exists(At("notes.txt")));
  }
  WriteFile(At("probe"), "");
  ASSERT_TRUE(Manipulator::GetTrashPathForFile(File(At("probe")), trash));
  EXPECT_EQ(Units(trash), (trash_ / "files").u16string());
  EXPECT_EQ(ReadFile(trash_ / "files/notes.txt"), "0");
  std::multiset<std::string> shapes;
  for (const std::string& name : NamesIn(trash_ / "files")) {
    shapes.insert(DigitsAsNines(name));
    EXPECT_TRUE(Contains(ReadFile(trash_ / "info" / (name + ".trashinfo")), "tmp/notes.txt\n"));
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
    return ThrowAway(At(std::to_string(number)) / "notes.txt") != FALSE ? 0 : 1;
  });
  EXPECT_EQ(results, std::vector<int>(kProcesses, 0));
  EXPECT_EQ(NamesIn(trash_ / "files").size(), std::size_t{kProcesses});
  EXPECT_EQ(NamesIn(trash_ / "info").size(), std::size_t{kProcesses});
}

TEST_F(FileManipulator, ThrowsAwayLongNamesShortened) {
  const std::string letters(251, 'n'), emoji = Repeated("\xF0\x9F\x98\x80", 63);
  const std::pair<std::string, std::string> cases[] = {
      {letters + ".txt", letters.substr(0, 241) + ".txt"},
      {letters + ".txt", letters.substr(0, 232) + " 99-99-99.txt"},
      {emoji, emoji.substr(0, 244)},
      {"a." + letters, "a." + letters.substr(0, 243)}};
  for (const auto& [name, in_trash] : cases) {
    WriteFile(At(name), "x");
    EXPECT_TRUE(ThrowAway(At(name))) << name;
    std::string info = "missing";
    for (const std::string& kept : NamesIn(trash_ / "files")) {
      if (DigitsAsNines(kept) == in_trash) info = ReadFile(trash_ / "info" / (kept + ".trashinfo"));
    }
    // The emoji are percent-encoded.
    EXPECT_TRUE(Contains(info, name == emoji ? "%F0%9F%98%80\n" : At(name).string() + "\n"));
  }
}

TEST_F(FileManipulator, FindsSpecialFolders) {
  fs::create_directories(env_.home() / "Documents");
  fs::create_directories(env_.home() / "Library/Application Support");
  fs::create_directories(env_.system_root() / "Applications");
  const fs::path fallback = env_.temp() / "ORVIK Technologies/c/TempFiles";
  const std::tuple<int, const char16_t*, fs::path> cases[] = {
      {5, u"My/Own", env_.home() / "Documents/My/Own"},
      {12, u"", env_.home() / "Documents"},
      {26, u"a", env_.home() / "Library/Application Support/a"},
      {38, u"b", env_.system_root() / "Applications/b"},
      {16, u"c", fallback},  // a desktop that does not exist
      {0, u"c", fallback},
      {-1, u"c", fallback},
      {39, u"c", fallback}};
  for (const auto& [number, sub_name, folder] : cases) {
    EXPECT_EQ(Units(Manipulator::GetSpecialDirectory(number, sub_name)), folder.u16string())
        << number;
    EXPECT_EQ(fs::is_directory(folder), folder != fallback) << number;
  }
}

}  // namespace
}  // namespace orvik::test
