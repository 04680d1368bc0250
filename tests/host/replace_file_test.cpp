#include "host/replace_file.h"

#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/xattr.h>

#include "host/file_replacement.h"
#include "host/keep_beside.h"
#include "host/staged_file.h"
#include "tests/support/file_trees.h"
#include "tests/support/forbidden_call.h"
#include "tests/support/volumes.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

using namespace host;

class ReplaceFileTest : public EnvironmentTest {
 protected:
  const fs::path file_ = top_ / "file";
};

TEST_F(ReplaceFileTest, MakesAndReplacesAndLeavesNothingElseAndWritesNothingThatIsThere) {
  for (const std::string& content :
       {std::string("one"), std::string(), std::string(1 << 20, 'x')}) {
    for (const bool writes : {true, false}) {
      const ReplaceResult result = ReplaceFile(file_, content);
      EXPECT_EQ(result.error, 0);
      EXPECT_EQ(result.wrote, writes);
      EXPECT_EQ(TreeIn(top_), Words{"file=" + content});
      EXPECT_EQ(result.identity, IdentityOf(file_.string()));
    }
  }
  EXPECT_TRUE(ReplaceFile(file_, std::string((1 << 20) - 1, 'x') + "y").wrote);
  std::string content;
  for (const auto& [limit, error] : {std::pair(1 << 20, 0), {(1 << 20) - 1, EFBIG}}) {
    EXPECT_EQ(ReadWholeFile(file_, &content, nullptr, static_cast<std::size_t>(limit)), error);
    EXPECT_EQ(content.ends_with("xy"), error == 0);
  }
  // A file of size 0 that is larger than the first buffer.
  EXPECT_EQ(ReadWholeFile("/proc/cpuinfo", &content, nullptr, kNoSizeLimit), 0);
  EXPECT_TRUE(content.starts_with("processor") && content.ends_with('\n'));
  EXPECT_EQ(ReadWholeFile("/proc/cpuinfo", &content, nullptr, 5), EFBIG);
}

TEST_F(ReplaceFileTest, OtherWaysToWrite) {
  Plant(top_, "file=old dangling->new pipe|");
  for (const auto& [name, error] : {std::pair("file", EEXIST), {"dangling", EEXIST}, {"made", 0}}) {
    const ReplaceResult result = ReplaceFile(At(name), "m", {.present = Present::kRefuse});
    EXPECT_EQ(result.error, error) << name;
    EXPECT_EQ(result.wrote, error == 0) << name;
  }
  const std::tuple<const char*, int, int> cases[] = {{"file", O_WRONLY | O_CREAT | O_EXCL, EEXIST},
                                                     {"pipe", O_WRONLY, EINVAL},
                                                     {"", O_WRONLY, EISDIR},
                                                     {"none", O_WRONLY, ENOENT},
                                                     {"file", O_RDWR, 0},
                                                     {"dangling", O_WRONLY | O_CREAT, 0}};
  for (const auto& [name, flags, error] : cases) {
    const Descriptor file = OpenForOutput(At(name), flags);
    EXPECT_EQ(file ? 0 : errno, error) << name;
    EXPECT_TRUE(!file || (fcntl(file.get(), F_GETFL) & O_NONBLOCK) == 0) << name;
  }
  EXPECT_EQ(TreeText(top_), "dangling->new file=old made=m new= pipe|");
  EXPECT_TRUE(OpenForOutput(file_, O_WRONLY | O_TRUNC));
  EXPECT_EQ(ReadFile(file_), "");
  for (const auto& [path, error] :
       {std::pair("/dev/null", 0), {"/dev/full", ENOSPC}, {"/dev/none/x", ENOENT}}) {
    const ReplaceResult result = WriteToSpecialFile(path, "x");
    EXPECT_EQ(result.error, error) << path;
    EXPECT_EQ(result.wrote, error == 0);
    EXPECT_EQ(result.obstacle.empty(), error != ENOENT);
  }
}

TEST_F(ReplaceFileTest, KeepsModeAndAttributesAndFollowsLinks) {
  Plant(top_, "file=old link->file chain->link dangling->new loop->loop");
  chmod(file_.c_str(), 0640);
  const bool has_attributes = setxattr(file_.c_str(), "user.note", "kept", 4, 0) == 0;
  EXPECT_EQ(ReplaceFile(top_ / "chain", "new").error, 0);
  EXPECT_EQ(ModeOf(file_), 0640u);
  char note[4];
  EXPECT_TRUE(!has_attributes || getxattr(file_.c_str(), "user.note", note, 4) == 4);
  EXPECT_EQ(ReplaceFile(top_ / "dangling", "made").error, 0);
  EXPECT_EQ(ReplaceFile(top_ / "loop", "x").error, ELOOP);
  EXPECT_EQ(TreeText(top_), "chain->link dangling->new file=new link->file loop->loop new=made");
}

TEST_F(ReplaceFileTest, RefusesOtherFilesAndImpossibleNames) {
  Plant(top_, "folder/ pipe|");
  const std::pair<std::string, int> cases[] = {{"folder", EISDIR},
                                               {"pipe", EINVAL},
                                               {"none/file", ENOENT},
                                               {std::string(256, 'n'), ENAMETOOLONG}};
  std::string content;
  for (const auto& [name, error] : cases) {
    EXPECT_EQ(ReplaceFile(top_ / name, "x").error, error) << name;
    EXPECT_EQ(ReadWholeFile(top_ / name, &content), error) << name;
  }
  EXPECT_EQ(ReplaceFile(top_ / std::string(255, 'n'), "x").error, 0);
}

// Opening a device can act on it, and opening a pipe wakes a waiting writer.
TEST_F(ReplaceFileTest, OpensNothingButRegularFiles) {
  Plant(top_, "pipe| link->pipe");
  std::string content;
  for (const mode_t mode : {0755, 0777}) {  // without and with other users who can change the name
    chmod(top_.c_str(), mode);
    const Descriptor watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), (top_ / "pipe").c_str(), IN_OPEN), 0);
    const FilePlace place = FindPlace(top_ / "link", Links::kTrusted);
    OpenedFile opened;
    EXPECT_EQ(ReadWholeFile(place, 100, &content, &opened), EINVAL);
    EXPECT_EQ(ReadWholeFile(top_ / "link", &content), EINVAL);
    EXPECT_EQ(ReplaceFile(top_ / "link", "new").error, EINVAL);
    StagedFile(place.folder.get(), "pipe").RemoveAbandoned();
    char event[1];
    EXPECT_TRUE(read(watch.get(), event, sizeof event) < 0 && errno == EAGAIN);
  }
}

// A file with two names is written in place, so that both names have the new content.
TEST_F(ReplaceFileTest, AReplacementKeepsTheModeAndOtherNames) {
  for (const bool is_linked : {false, true}) {
    WriteFile(file_, "old");
    chmod(file_.c_str(), 0640);
    if (is_linked) fs::create_hard_link(file_, At("other"));
    const ino_t before = StatOf(file_).st_ino;
    FileReplacement file;
    EXPECT_EQ(file.Open(file_, top_) + file.Write("new") + file.Commit(), 0);
    EXPECT_EQ(StatOf(file_).st_ino == before, is_linked);
    EXPECT_EQ(ModeOf(file_), 0640u);
    EXPECT_EQ(ReadFile(is_linked ? At("other") : file_), "new");
  }
}

// A mount point, and a file in a folder that accepts no new files when there is no temporary folder
// either.
TEST_F(ReplaceFileTest, WritesInPlaceWhereNoNewFileCanBe) {
  Plant(top_, "mounted=old closed/file=old");
  const auto expect_written = [this](const char* name) {
    for (const std::string& text : {std::string(100'000, 'n'), std::string("short")}) {
      FileReplacement file;
      EXPECT_EQ(file.Open(top_ / name, "/nonexistent"), 0);
      EXPECT_EQ(file.Write(text) + file.Commit(), 0);
      EXPECT_TRUE(ReadFile(top_ / name) == text);
    }
  };
  OnAVolume(At("volume"), "tmpfs", "size=1m", [&] {
    const std::string file = At("mounted");
    ASSERT_EQ(mount(file.c_str(), file.c_str(), nullptr, MS_BIND, nullptr), 0);
    expect_written("mounted");
    EXPECT_EQ(NamesIn(top_), (Words{"closed", "mounted", "volume"}));
  });
  FileReplacement device;
  EXPECT_EQ(device.Open("/dev/full", top_) + device.Write("x"), 0);
  EXPECT_EQ(device.Commit(), ENOSPC);
  fs::permissions(At("closed"), fs::perms(0555));
  const WithoutRootRights without(env_.folder());
  expect_written("closed/file");
}

// As on a system that does not protect hard links: the other name may be any file of root.
TEST_F(ReplaceFileTest, RootWritesIntoNoOtherNameOfAFile) {
  if (geteuid() != 0) GTEST_SKIP() << "only root is misled so";
  Plant(top_, "theirs/ victim=old");
  ASSERT_EQ(chown((top_ / "theirs").c_str(), 65534, 65534), 0);
  const fs::path trap = top_ / "theirs/out";
  fs::create_hard_link(top_ / "victim", trap);
  EXPECT_FALSE(OpenForOutput(trap, O_WRONLY | O_TRUNC));
  EXPECT_EQ(errno, EACCES);
  FileReplacement file;
  EXPECT_EQ(file.Open(trap, top_), 0);
  EXPECT_EQ(file.Write("new"), 0);
  EXPECT_EQ(file.Commit(), 0);
  EXPECT_EQ(TreeText(top_), "theirs/ theirs/out=new victim=old");
}

TEST_F(ReplaceFileTest, FoldersAreFlushedAtTheEndOfTheOuterDelay) {
  const std::vector<int> results = InProcesses(1, [this](int) {
    FolderFlushDelay outer, inner;
    EXPECT_EQ(ReplaceFile(file_, "x", {.flush = Flush::kToDisk}).error, 0);
    ForbidCall(SYS_fsync, 0, Compare::kAnyBit, ~0u, EIO);
    EXPECT_EQ(inner.Finish(), 0);
    EXPECT_EQ(outer.Finish(), EIO);
    return HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(results[0], 0);
  const int error = InProcesses(1, [this](int) {  // the folder cannot be kept open until the flush
    FolderFlushDelay delay;
    ForbidCall(kFcntl, 1, Compare::kEqual, F_DUPFD_CLOEXEC, EMFILE);
    return ReplaceFile(file_, "y", {.flush = Flush::kToDisk}).error == 0 ? delay.Finish() : 0;
  })[0];
  EXPECT_EQ(error, EMFILE);
}

// After a lock file was removed, two processes may make the first file at the same time.
TEST_F(ReplaceFileTest, AFileThatAnotherProcessMadeMeanwhileIsNotReplaced) {
  const FilePlace place = FindPlace(file_, Links::kTrusted);
  std::string content;
  OpenedFile missing;
  ASSERT_EQ(ReadWholeFile(place, kNoSizeLimit, &content, &missing), ENOENT);
  WriteFile(file_, "of another");
  EXPECT_EQ(ReplaceFile(place, "own", Flush::kToDisk, missing).error, EEXIST);
  EXPECT_EQ(ReadFile(file_), "of another");
  EXPECT_EQ(SupersedeFile(place, "own").error, 0);
  EXPECT_EQ(ReadFile(file_), "own");
}

TEST_F(ReplaceFileTest, NoRightToWriteKeepsTheOldFile) {
  WriteFile(file_, "old");
  const WithoutRootRights without(env_.folder());
  for (const auto& [folder, file] : {std::pair(0555, 0666), {0777, 0444}}) {
    fs::permissions(top_, fs::perms(folder));
    fs::permissions(file_, fs::perms(file));
    EXPECT_EQ(ReplaceFile(file_, "new").error, EACCES);
    EXPECT_EQ(TreeText(top_), "file=old");
  }
  EXPECT_EQ(ReplaceFile(file_, "new", {.read_only = ReadOnly::kReplace}).error, 0);
  EXPECT_EQ(ReadFile(file_), "new");
  EXPECT_EQ(ModeOf(file_), 0444u);
}

// "held" is in use, and names that only begin or end alike belong to other programs. Root leaves a
// file of a third user, who owns neither the folder nor the target, until the target belongs to
// that user.
TEST_F(ReplaceFileTest, RemovesOnlyLeftoversOfAKilledWriter) {
  const std::string staged = ".file.orvik-00000000000000", held = staged + "1b=held",
                    theirs = staged + "5f=foreign";
  Words kept = {held,
                ".file.orvik-notes=x",
                ".file.orvik-old/",
                ".file.orvik-old/leaf=x",
                staged + "=x",
                staged + "0A=x",
                staged + "0aa=x",
                ".other.orvik-00000000000000aa=x",
                "x" + staged + "0a=x",
                staged + "3d|",
                staged + "4e->file",
                "file=new"};
  MakeTree(top_, kept);
  MakeTree(top_, {staged + "0a", staged + "2c/leaf", "file=old"});
  if (geteuid() == 0) {
    MakeTree(top_, {theirs});
    kept.push_back(theirs);
    ASSERT_EQ(lchown((top_ / (staged + "5f")).c_str(), 65534, 65534), 0);
  }
  {
    const Descriptor held_open(open((top_ / (staged + "1b")).c_str(), O_RDWR | O_CLOEXEC));
    flock(held_open.get(), LOCK_EX);
    EXPECT_EQ(ReplaceFile(file_, "new").error, 0);
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(TreeIn(top_), kept);
  }
  EXPECT_TRUE(geteuid() != 0 || lchown(file_.c_str(), 65534, 65534) == 0);
  EXPECT_EQ(ReplaceFile(file_, "newer").error, 0);
  for (const char* name : {"1b", "5f"}) EXPECT_FALSE(Exists(top_ / (staged + name)));
}

class KeepBesideTest : public EnvironmentTest {
 protected:
  KeepBesideTest() { WriteFile(file_, "old"); }

  FilePlace Place() const { return FindPlace(file_, Links::kAny); }

  const std::string file_ = (env_.folder() / "file").string();
};

TEST_F(KeepBesideTest, AnUnreadFileKeepsItsNameUntilItIsSuperseded) {
  WriteFile(file_ + ".damaged", "another");
  fs::permissions(file_, fs::perms::none);
  KeptFile kept;
  for (const bool is_first : {true, false}) {  // the second time a process was killed here
    kept = KeepUnreadBeside(Place());
    EXPECT_EQ(kept.error, 0);
    EXPECT_EQ(kept.made, is_first);
    EXPECT_EQ(kept.path, file_ + ".damaged-2");
    EXPECT_TRUE(fs::equivalent(kept.path, file_));
  }
  ASSERT_EQ(SupersedeFile(Place(), "new").error, 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(ModeOf(file_), 0666u & ~mask);
  EXPECT_EQ(ReadFile(file_), "new");
  EXPECT_EQ(ModeOf(kept.path), 0u);
  kept.made = true;
  RestoreKept(kept, Place());
  EXPECT_TRUE(fs::exists(kept.path));
}

TEST_F(KeepBesideTest, RestoresAFileThatWasNotReplaced) {
  RestoreKept(KeepUnreadBeside(Place()), Place());
  RestoreKept(KeepBeside(Place(), "old", Flush::kNone), Place());
  const int error = InProcesses(1, [this](int) {
    ForbidCall(SYS_fsync, 0, Compare::kAnyBit, ~0u, EIO);
    return KeepBeside(Place(), "old", Flush::kToDisk).error;
  })[0];
  EXPECT_EQ(error, EIO);
  EXPECT_FALSE(fs::exists(file_ + ".damaged")) << "its content is not on disk";
  EXPECT_EQ(ReadFile(file_), "old");
}

// Without hard links the file is copied, and an unreadable file is moved.
TEST_F(KeepBesideTest, CopiesOrMovesWithoutHardLinks) {
  for (const int refusal : {EPERM, EXDEV, EOPNOTSUPP, EMLINK}) {
    const int result = InProcesses(1, [&](int) {
      ForbidCall(SYS_linkat, 4, Compare::kEqual, 0, static_cast<unsigned>(refusal));
      chmod(file_.c_str(), 0666);
      KeptFile copy;
      for (const bool is_first : {true, false}) {
        const KeptFile kept = KeepBeside(Place(), "old", Flush::kToDisk);
        if (is_first) copy = kept;
        EXPECT_EQ(kept.error, 0);
        EXPECT_EQ(kept.made, is_first);
        EXPECT_EQ(ReadFile(kept.path), "old");
        EXPECT_EQ(ModeOf(kept.path), 0666u);
        EXPECT_FALSE(fs::equivalent(kept.path, file_));
      }
      WriteFile(file_, "changed");
      RestoreKept(copy, Place());
      EXPECT_TRUE(fs::exists(copy.path)) << "the file has another content";
      WriteFile(file_, "old");
      RestoreKept(copy, Place());
      EXPECT_FALSE(fs::exists(copy.path));
      const KeptFile kept = KeepUnreadBeside(Place());
      EXPECT_FALSE(fs::exists(file_));
      RestoreKept(kept, Place());
      EXPECT_EQ(ReadFile(file_), "old");
      return HasFailure() ? 1 : 0;
    })[0];
    EXPECT_EQ(result, 0) << refusal;
  }
}

// Entries of other users under these names neither redirect nor prevent the copy.
TEST_F(KeepBesideTest, PlantedNamesAreNeitherFollowedNorInTheWay) {
  const fs::path target = env_.folder() / "target";
  Plant(env_.folder(), "file.damaged->target file.damaged-2/");
  for (int number = 3; number <= 9; ++number) {
    WriteFile(file_ + ".damaged-" + std::to_string(number), "taken");
  }
  if (geteuid() == 0) {
    // A file with the same content is not used if its owner may not change the original.
    WriteFile(file_ + ".damaged-3", "old");
    ASSERT_EQ(chown((file_ + ".damaged-3").c_str(), 30002, 30002), 0);
  }
  const KeptFile kept = KeepBeside(Place(), "old", Flush::kToDisk);
  EXPECT_EQ(kept.error, 0);
  EXPECT_TRUE(kept.made);
  EXPECT_FALSE(fs::exists(target));
  EXPECT_GT(kept.path.size(), (file_ + ".damaged-10").size());
  EXPECT_EQ(ReadFile(kept.path), "old");
}

}  // namespace
}  // namespace orvik::test
