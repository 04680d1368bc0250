#include "files/file_manipulator.h"

#include <chrono>
#include <memory>

#include "files/directory_manipulator.h"
#include "files/windows_files.h"
#include "tests/files/support.h"
#include "tests/support/alert_answer.h"
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
  Plant(top_, "pipe| folder/ link->new");
  for (const char* name : {"pipe", "folder", "new"}) EXPECT_FALSE(Opens(File(At(name)), "rb"));
  EXPECT_TRUE(Opens(File(At("new")), "wb"));
  EXPECT_TRUE(Opens(File(At("new")), "rb"));
  EXPECT_TRUE(Opens(COrvikFilePath(u"/dev/null"), "rb"));
  EXPECT_FALSE(Opens({}, "rb"));
  struct stat record = {};
  EXPECT_EQ(Manipulator::StatFile(File(At("link")), &record), 0);
  EXPECT_TRUE(S_ISLNK(record.st_mode));
  for (const auto& none : {File(At("none")), COrvikFilePath()}) {
    EXPECT_EQ(Manipulator::StatFile(none, &record), -1);
  }
}

// A file of /proc has the size 0.
TEST_F(FileManipulator, ReadsIntoABufferAndIntoAString) {
  const auto read = [](const COrvikFilePath& file) {
    unsigned char* buffer = reinterpret_cast<unsigned char*>(1);
    const unsigned long count = Manipulator::ReadFileIntoBuffer(file, buffer);
    const std::unique_ptr<unsigned char[]> owned(buffer);
    EXPECT_EQ(buffer == nullptr, count == 0);
    return std::string(reinterpret_cast<const char*>(buffer), count);
  };
  const COrvikFilePath file = File(At("f")), version(u"/proc/version");
  CAtlStringA text = "a long old content that goes away";
  const CAtlStringA shared = text;
  const std::tuple<std::string, const char*, std::string> cases[] = {
      {"hello", "say ", "say hello"},
      {"", "just this", "just this"},
      {"", nullptr, ""},
      {std::string("ab\0\xFF\r\n", 6), "x", "xab"}};
  for (const auto& [content, prefix, expected] : cases) {
    WriteFile(At("f"), content);
    EXPECT_EQ(read(file), content);
    EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(file, text, prefix), S_OK);
    EXPECT_EQ(text.View(), expected);
  }
  EXPECT_EQ(shared.View(), "a long old content that goes away");
  WriteFile(At("beyond 32 bits"), "");
  ASSERT_EQ(truncate(At("f").c_str(), 0x7FFFFFFF), 0);
  ASSERT_EQ(truncate(At("beyond 32 bits").c_str(), 0x100000005), 0);
  EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(file, text, "p"), E_UNEXPECTED);
  for (const auto& none : {File(At("none")), COrvikFilePath(), File(At(""))}) {
    EXPECT_EQ(read(none), "");
    EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(none, text, "p"), E_INVALIDARG);
  }
  EXPECT_EQ(read(File(At("beyond 32 bits"))), "");
  EXPECT_EQ(text.View(), "xab");
  EXPECT_EQ(read(version), ReadFile("/proc/version"));
  EXPECT_EQ(Manipulator::ReadAsciiFileIntoAsciiString(version, text, "> "), S_OK);
  EXPECT_EQ(text.View(), "> " + ReadFile("/proc/version"));
  EXPECT_TRUE(Manipulator::CopyFileTo(version, File(At("copy")), TRUE));
  EXPECT_EQ(version.GetFileChecksum(), File(At("copy")).GetFileChecksum());
}

// The same text is written again, and all names of a file lead to the new content.
TEST_F(FileManipulator, WritesBytes) {
  const COrvikFilePath f = File(At("f"));
  const std::tuple<COrvikFilePath, const char*, unsigned long> refused[] = {
      {f, "", 0},
      {f, nullptr, 3},
      {{}, "abc", 3},
      {File(At("")), "abc", 3},
      {COrvikFilePath(u"/dev/full"), "abc", 3}};
  for (const auto& [file, bytes, count] : refused) {
    EXPECT_EQ(Manipulator::WriteAsciiStringToFile(file, bytes, count), E_INVALIDARG);
  }
  EXPECT_FALSE(Exists(At("f")));
  EXPECT_EQ(Manipulator::WriteAsciiStringToFile(f, "abcdef", 6), S_OK);
  fs::create_hard_link(At("f"), At("g"));
  const fs::file_time_type old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  for (const char* text : {"x\0y", "new", "new"}) {
    fs::last_write_time(At("f"), old);
    EXPECT_EQ(Manipulator::WriteAsciiStringToFile(File(At("g")), text, 3), S_OK);
    EXPECT_GT(fs::last_write_time(At("f")), old + std::chrono::minutes(50));
    EXPECT_EQ(ReadFile(At("f")), std::string(text, 3));
  }
}

TEST_F(FileManipulator, CopiesAndMovesAndSaysWhyNot) {
  Plant(top_, "pipe| f=new g=old d/");
  TreeReport report;
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("pipe")), File(At("x")), FALSE, &report));
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("f")), File(At("g")), TRUE, &report));
  EXPECT_FALSE(Manipulator::CopyFileTo(File(At("f")), COrvikFilePath(), FALSE));
  EXPECT_FALSE(Manipulator::MoveFileTo(File(At("none")), File(At("x")), &report));
  EXPECT_EQ(TreeText(top_), "d/ f=new g=old pipe|");
  EXPECT_TRUE(Manipulator::CopyFileTo(File(At("f")), File(At("g")), FALSE, &report));
  EXPECT_TRUE(Manipulator::CopyFileTo(File(At("f")), Folder(At("d")), TRUE));
  EXPECT_TRUE(Manipulator::MoveFileTo(File(At("f")), File(At("x/y/f")), &report));
  EXPECT_EQ(TreeText(top_), "d/ d/f=new g=new pipe| x/ x/y/ x/y/f=new");
  EXPECT_EQ(report.done, 2u);
  EXPECT_EQ(report.failed, 3u);
  std::string failures;
  for (const TreeFailure& failure : report.failures) {
    failures += failure.path.ToBytes() + ' ' + strerrorname_np(failure.error) +
                (failure.side == TreeSide::kTarget ? " there, " : ", ");
  }
  EXPECT_EQ(failures, At("pipe").string() + " EOPNOTSUPP, " + At("f").string() + " EEXIST there, " +
                          At("none").string() + " ENOENT, ");
  EXPECT_EQ(report.failures.at(0).reason, u"Pipes, sockets and devices are not copied");
}

// Whether each call removes a file, a link to a folder, a full folder and an empty one, and its
// result for a missing path. None follows a link.
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
  Plant(top_, "f=new g=old");
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
  EXPECT_EQ(shown.default_button, 0);
  EXPECT_EQ(
      (Words{shown.header, shown.message, shown.buttons.at(0), shown.buttons.at(1)}),
      (Words{"Copy",
             "The file \"" + At("g").string() + "\" already exists.  Do you want to overwrite it?",
             "Cancel", "Overwrite"}));
  EXPECT_TRUE(Answered(std::nullopt, copy_to("h")).first);  // nothing exists, so no question
}

void UseEnglishTexts() {
  Manipulator::InitializeLocalizedStrings(
      u"Are you sure you want to delete the file \"%s\"?",
      u"The file \"%s\" already exists.  Do you want to overwrite it?", u"Delete", u"Cancel",
      u"Copy", u"Overwrite");
}
// Constructed before the objects of the library, which is linked statically here.
[[maybe_unused]] const bool kBeforeMain = (UseEnglishTexts(), true);

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
  EXPECT_EQ(question(u"%s").buttons, (Words{"Nein", "L\xC3\xB6schen"}));
  EXPECT_TRUE(Exists(path));
  UseEnglishTexts();
  const auto [removed, shown] = Answered(1, remove);
  EXPECT_TRUE(removed && !Exists(path));
  EXPECT_EQ((Words{shown.header, shown.message, shown.buttons.at(0), shown.buttons.at(1)}),
            (Words{"Delete", own, "Cancel", "Delete"}));
  EXPECT_TRUE(Answered(std::nullopt, remove).first);  // nothing exists, so no question
}

// The clock may pass a second meanwhile; then a name with the time stamp is unused again.
TEST_F(FileManipulator, ThrowsAwayUnderANameThatIsFree) {
  COrvikDirectoryPath trash;
  EXPECT_FALSE(Manipulator::GetTrashPathForFile(File(At("none")), trash));
  for (int i = 0; i < 4; ++i) {
    WriteFile(At("notes.txt"), std::to_string(i));
    ASSERT_TRUE(i < 1 || Manipulator::GetTrashPathForFile(File(At("notes.txt")), trash));
    EXPECT_TRUE(ThrowAway(At("notes.txt")));
    EXPECT_FALSE(Exists(At("notes.txt")));
  }
  EXPECT_EQ(Units(trash), (trash_ / "files").u16string());
  EXPECT_EQ(ReadFile(trash_ / "files/notes.txt"), "0");
  std::map<std::string, int> shapes;
  for (const std::string& name : NamesIn(trash_ / "files")) {
    ++shapes[DigitsAsNines(name)];
    EXPECT_TRUE(Contains(ReadFile(trash_ / "info" / (name + ".trashinfo")), "tmp/notes.txt\n"));
  }
  EXPECT_EQ(shapes["notes.txt"], 1);
  EXPECT_GE(shapes["notes 99-99-99.txt"], 1);
  EXPECT_EQ(shapes["notes 99-99-99.txt"] + shapes["notes 99-99-99-9.txt"], 3);
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
  for (const char* folder :
       {"home/Documents", "home/Library/Application Support", "home/.local/share/Trash/info",
        "home/.local/share/Trash/files", "root/Applications", "root/Library/Application Support",
        "root/Users/Shared/Desktop"}) {
    fs::create_directories(env_.folder() / folder);
  }
  const std::string fallback = "tmp/ORVIK Technologies/c/TempFiles";
  const std::tuple<int, const char16_t*, std::string> cases[] = {
      {5, u"My/Own", "home/Documents/My/Own"},
      {12, u"", "home/Documents"},
      {26, u"a", "home/Library/Application Support/a"},
      {38, u"b", "root/Applications/b"},
      {10, u"d", "home/.local/share/Trash/files/d"},
      {25, u"d", "root/Users/Shared/Desktop/d"},
      {28, u"d", "root/Library/Application Support/d"},
      {35, u"e", "root/Library/Application Support/e"},
      {16, u"c", fallback},  // a desktop that does not exist
      {0, u"c", fallback},
      {-1, u"c", fallback},
      {39, u"c", fallback}};
  for (const auto& [number, sub_name, folder] : cases) {
    const fs::path expected = env_.folder() / folder;
    EXPECT_EQ(Units(Manipulator::GetSpecialDirectory(number, sub_name)), expected.u16string());
    EXPECT_EQ(fs::is_directory(expected), folder != fallback) << number;
  }
}

}  // namespace
}  // namespace orvik::test
