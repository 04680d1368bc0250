// Files, shortcuts, copies, moves and the trash under faults.

#include "files/checksum.h"
#include "files/directory_manipulator.h"
#include "files/file_manipulator.h"
#include "files/windows_files.h"
#include "tests/faults/walk.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

constexpr char kContent[] = "the-content-of-the-source";
constexpr int kMovedFiles = 2;
constexpr char16_t kUrl[] = u"http://www.example.com/page";

Reported FromBool(BOOL done) {
  return done != FALSE ? Reported::kDone : Reported::kFailed;
}
Reported FromResult(HRESULT result) {
  return result >= 0 ? Reported::kDone : Reported::kFailed;
}

Reported Transfer(const char* from, const std::string& to, BOOL move) {
  TreeReport report;
  const HRESULT result = CDirectoryManipulator::RecursivelyCopyDirectory(
      Folder(InHome(from)), Folder(to), move, &report, TheProgress());
  if (result == E_ABORT) {
    const bool is_told = !report.failures.empty() && report.failures.back().error == ECANCELED;
    if (!is_told) ReportFault("does not report the stop");
    return Reported::kFailed;
  }
  // The result does not tell whether single files could not be copied or moved.
  return TheProgress() != nullptr ? FromResult(result) : Reported::kNothing;
}

// Makes the entries in the home.
std::function<void()> With(const char* entries) {
  return [=] { Plant(InHome(""), entries); };
}
constexpr char kTree[] = "tree/a=file-a tree/sub/b=file-b";

// Allows any mode.
bool IsWhole(const std::string&, const std::string* content) {
  return content != nullptr &&
         (*content == kContent || *content == "file-a" || *content == "file-b");
}

// A file of a copied tree is either missing or complete.
bool IsWholeOrGone(const std::string& path, const std::string* content) {
  return content == nullptr || IsWhole(path, content);
}

// A move to another volume removes the source only when the whole copy has its name.
std::string FaultOfMove(const Snapshot& files) {
  const auto count = [&files](const std::string& folder) {
    return std::count_if(files.begin(), files.end(),
                         [&folder](const auto& file) { return file.first.starts_with(folder); });
  };
  const auto there = count("root/to/"), here = count("home/tree/");
  if (there != 0 && there != kMovedFiles) return "puts a part under the final name";
  return there == 0 && here != kMovedFiles ? "loses a part of the source" : "";
}

// Each file is at its old place, at its new place, or at both.
std::string FaultOfMoves(const Snapshot& files,
                         const std::vector<std::pair<std::string, std::string>>& places) {
  for (const auto& [from, to] : places) {
    if (!files.contains(from) && !files.contains(to)) return "loses " + from;
  }
  return "";
}

// A file in its final place no longer has its staged name.
std::string FaultOfNames(const Snapshot& files) {
  const auto staged = files.lower_bound("home/.target.orvik-");
  const bool is_staged = staged != files.end() && staged->first.starts_with("home/.target.orvik-");
  return is_staged && files.contains("home/target") ? "leaves a second name" : "";
}

// If the process was killed before the move, an info file has no item.
bool IsInTrash(const std::string& path, const std::string* content) {
  return path.starts_with("home/.local/share/Trash/") && content != nullptr;
}

OperationTable Operations() {
  OperationTable add;
  const auto nothing = With(""), source = With("source=the-content-of-the-source"),
             both = With("source=the-content-of-the-source target=old"), tree = With(kTree);
  const auto shortcut = [] {
    return FromResult(
        CFileManipulator::CreateShortcut(File(InHome("/s")), File(InHome("/source"))));
  };
  add("shortcut", nothing, shortcut);
  add("shortcut over another", With("s=old"), shortcut);
  add("Internet shortcut", nothing,
      [] { return FromResult(CFileManipulator::CreateURLShortcut(kUrl, File(InHome("/s.url")))); });
  const auto copy = [](BOOL fail_if_exists) {
    return [=] {
      return FromBool(CFileManipulator::CopyFileTo(File(InHome("/source")), File(InHome("/target")),
                                                   fail_if_exists, nullptr, TheProgress()));
    };
  };
  add("copy", source, copy(FALSE));
  add("copy over another", both, copy(FALSE));
  add("copy over another, plain volume", both, copy(FALSE)).volume = Volume::kPlain;
  add("copy, volume without unnamed files", source, copy(FALSE)).volume = Volume::kNamed;
  add.back().fault = FaultOfNames;
  add("copy where nothing may be, plain volume", source, copy(TRUE)).volume = Volume::kPlain;
  add("copy of a link over a file", With("source->nowhere target=old"), copy(FALSE)).leftovers = {
      "home/.target.orvik-*/*"};
  const auto copy_tree = [] { return Transfer("/tree", InHome("/to"), FALSE); };
  add("folder copy", tree, copy_tree).also = IsWholeOrGone;
  add.back().steps = Steps::kAlways;
  const auto large_and_target = [=] {
    both();
    WriteFile(InHome("/source"), std::string(9 << 20, 'x'));
  };
  add("copy of a large file over another", large_and_target, copy(FALSE)).only_stops = true;
  const auto large_in_tree = [=] {
    tree();
    WriteFile(InHome("/tree/large"), std::string(9 << 20, 'b'));
    Plant(InHome("/to"), "a=old sub/b=old large=old");
  };
  add("folder copy over another with a large file", large_in_tree, copy_tree).only_stops = true;
  add.back().steps = Steps::kAlways;
  // Enough files for the second thread.
  const auto many_files = [] {
    for (int i = 0; i < 240; ++i) WriteFile(InHome("/tree/") + std::to_string(i), "file-a");
  };
  Operation& many = add("folder copy on two threads", many_files, copy_tree);
  many.steps = Steps::kAlways;
  many.only_stops = true;
  many.stride = 97;
  Operation& moved_files = add("folder move to another volume", tree,
                               [] { return Transfer("/tree", InRoot("/to"), TRUE); });
  moved_files.volume = Volume::kOther;
  moved_files.steps = Steps::kAlways;
  moved_files.also = IsWholeOrGone;
  moved_files.fault = [](const Snapshot& files) {
    return FaultOfMoves(files,
                        {{"home/tree/a", "root/to/a"}, {"home/tree/sub/b", "root/to/sub/b"}});
  };
  moved_files.durable = Durable::kWhole;
  // If the process is killed after the copy of a file, the file stays beside its copy.
  moved_files.repeats = false;
  add("folder removal", tree, [] {
    return FromBool(CDirectoryManipulator::RemoveDirectoryAndContents(Folder(InHome("/tree")),
                                                                      nullptr, TheProgress()));
  }).steps = Steps::kAlways;
  add("removal of files", tree, [] {
    return FromBool(CDirectoryManipulator::RemoveFilesFromDirectory(Folder(InHome("/tree")), u"*",
                                                                    nullptr, TheProgress()));
  }).steps = Steps::kAlways;
  const auto move = [](const char* from, auto to) {
    return [=] {
      return FromBool(
          CFileManipulator::MoveFileTo(File(InHome(from)), File(to()), nullptr, TheProgress()));
    };
  };
  add("move", source, move("/source", [] { return InHome("/target"); }));
  Operation& moved =
      add("move to another volume", tree, move("/tree", [] { return InRoot("/to"); }));
  moved.volume = Volume::kOther;
  moved.steps = Steps::kAlways;
  moved.also = IsWhole;
  moved.fault = FaultOfMove;
  moved.leftovers = {"root/.to.orvik-*/*"};
  moved.durable = Durable::kWhole;
  moved.repeats = false;  // an existing target is not replaced
  Operation& moved_file =
      add("file move to another volume", source, move("/source", [] { return InRoot("/target"); }));
  moved_file.volume = Volume::kOther;
  moved_file.steps = Steps::kAlways;
  moved_file.also = IsWhole;
  moved_file.fault = [](const Snapshot& files) {
    return FaultOfMoves(files, {{"home/source", "root/target"}});
  };
  moved_file.durable = Durable::kWhole;
  moved_file.repeats = false;
  Operation& trash = add("delete to the trash", source, [] {
    // Without a trash the file is deleted, which counts as success.
    const BOOL done = CFileManipulator::DeleteFile(File(InHome("/source")), FALSE, TRUE);
    return done != FALSE ? Reported::kNothing : Reported::kFailed;
  });
  trash.steps = Steps::kAlways;
  trash.also = IsInTrash;
  trash.repeats = false;
  const auto remove = [](const char* name) {
    return [=] {
      return FromBool(
          CFileManipulator::DeleteFile(File(InHome(name)), FALSE, FALSE, nullptr, TheProgress()));
    };
  };
  add("delete", source, remove("/source"));
  add("delete of a folder", tree, remove("/tree")).steps = Steps::kAlways;
  add("checksum", source, [] {
    static const std::uint32_t expected = CalculateCRC32(
        reinterpret_cast<const unsigned char*>(kContent), static_cast<long>(sizeof kContent) - 1);
    std::uint32_t checksum = 77;
    const BOOL done = File(InHome("/source")).GetFileChecksum(checksum, nullptr, TheProgress());
    if (checksum != (done != FALSE ? expected : 77u)) ReportFault("gives a wrong checksum");
    return FromBool(done);
  });
  add("listing", tree, [] {
    CAtlArray<COrvikDirectoryPath> folders;
    CAtlArray<COrvikFilePath> files;
    TreeReport report;
    Folder(InHome("")).ListSubDirectories(u"*", folders, TRUE, &report, TheProgress());
    const OSErr status = Folder(InHome("/tree")).FindFilesInDirectory(u"*", files, TheProgress());
    if (report.failures.empty() && folders.GetCount() != 2) ReportFault("misses a folder");
    if (status == 0 && files.GetCount() != 1) ReportFault("misses a file");
    return FromBool(report.failures.empty() && status == 0 ? TRUE : FALSE);
  });
  add("temporary name", With("../tmp/abc1"), [] {
    char16_t name[MAX_PATH] = {};
    GetTempFileName(Text(InTemp("")), u"abc", 1, name);
    return Reported::kNothing;
  });
  return add;
}

INSTANTIATE_TEST_SUITE_P(Files, FaultsTest, ::testing::ValuesIn(Operations()));

}  // namespace
}  // namespace orvik::test
