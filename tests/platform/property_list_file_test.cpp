#include "platform/core_foundation/property_list_file.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/core_foundation/string.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

constexpr uid_t kNobody = 65534;

class PropertyListFileTest : public EnvironmentTest {
 protected:
  using Contents = PropertyListFile::Contents;
  using Folder = PropertyListFile::Folder;

  static int Save(const fs::path& path) {
    PropertyListFile file(path);
    if (const int error = file.Lock(Folder::kMake)) return error;
    file.Read(kCFPropertyListImmutable);
    const Owned<NSDictionary> entries(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(entries.get(), CFSTR(u"k"), CFSTR(u"v"));
    return file.Save(entries.get());
  }

  const fs::path file_ = top_ / "folder" / "file.plist";
};

TEST_F(PropertyListFileTest, OnlyWhatDoesNotExistIsMissing) {
  const struct {
    const char* title;
    void (*make)(const fs::path& file);
    int error;  // 0: missing
  } kCases[] = {
      {"no folder", [](const fs::path&) {}, 0},
      {"no file", [](const fs::path& file) { fs::create_directories(file.parent_path()); }, 0},
      {"dangling link",
       [](const fs::path& file) {
         fs::create_directories(file.parent_path());
         fs::create_symlink("none", file);
       },
       0},
      {"a file in place of the folder",
       [](const fs::path& file) { WriteFile(file.parent_path(), "x"); }, ENOTDIR},
      {"loop of links",
       [](const fs::path& file) {
         fs::create_directories(file.parent_path());
         fs::create_symlink("file.plist", file);
       },
       ELOOP},
      {"folder", [](const fs::path& file) { fs::create_directories(file); }, EISDIR},
      {"socket",
       [](const fs::path& file) {
         fs::create_directories(file.parent_path());
         const int bound = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
         sockaddr_un address = {};
         address.sun_family = AF_UNIX;
         strncpy(address.sun_path, file.c_str(), sizeof address.sun_path - 1);
         EXPECT_EQ(bind(bound, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
         close(bound);
       },
       ENXIO},
      {"a tebibyte",
       [](const fs::path& file) {
         WriteFile(file, "");
         fs::resize_file(file, std::uintmax_t{1} << 40);
       },
       EFBIG}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.title);
    fs::remove_all(file_.parent_path());
    c.make(file_);
    PropertyListFile file(file_);
    EXPECT_EQ(file.Read(kCFPropertyListImmutable),
              c.error == 0 ? Contents::kMissing : Contents::kUnreadable);
    if (c.error != 0) {
      EXPECT_EQ(file.error(), c.error);
    }
  }
  // Reading has made nothing.
  fs::remove_all(file_.parent_path());
  PropertyListFile(file_).Read(kCFPropertyListImmutable);
  EXPECT_TRUE(fs::is_empty(top_));
}

TEST_F(PropertyListFileTest, FollowsLinksOfTheCallerAndNoOthers) {
  const fs::path target = top_ / "target.plist";
  fs::create_directories(file_.parent_path());
  fs::create_symlink("../target.plist", file_);
  EXPECT_EQ(Save(file_), 0);
  EXPECT_TRUE(fs::is_symlink(file_));
  EXPECT_TRUE(Contains(ReadFile(target), "<key>k</key>"));
  if (geteuid() != 0) return;

  const std::string before = "precious";
  for (const fs::path& link : {file_, file_.parent_path()}) {
    SCOPED_TRACE(link);
    fs::remove_all(file_.parent_path());
    const fs::path elsewhere = top_ / "elsewhere";
    fs::remove_all(elsewhere);
    fs::create_directories(elsewhere);
    if (link == file_) {
      fs::create_directories(file_.parent_path());
      fs::create_symlink(elsewhere / "victim", file_);
      WriteFile(elsewhere / "victim", before);
    } else {
      fs::create_symlink(elsewhere, link);
    }
    ASSERT_EQ(lchown(link.c_str(), kNobody, kNobody), 0);
    const std::vector<std::string> names = NamesIn(elsewhere);
    PropertyListFile file(file_);
    EXPECT_EQ(file.Lock(Folder::kMake), EPERM);
    EXPECT_EQ(file.obstacle(), link);
    EXPECT_EQ(Save(file_), EPERM);
    EXPECT_EQ(NamesIn(elsewhere), names);
    if (link == file_) {
      EXPECT_EQ(ReadFile(elsewhere / "victim"), before);
    }
  }
}

TEST_F(PropertyListFileTest, WhatIsMadeFollowsItsFolder) {
  fs::create_directories(top_ / "shared");
  ASSERT_EQ(chmod((top_ / "shared").c_str(), 02775), 0);
  const mode_t old_mask = umask(022);
  EXPECT_EQ(Save(top_ / "shared" / "sub" / "file.plist"), 0);
  umask(old_mask);
  const auto mode = [&](const fs::path& path) {
    struct stat attributes = {};
    stat((top_ / "shared" / path).c_str(), &attributes);
    return attributes.st_mode & 07777;
  };
  EXPECT_EQ(mode("sub"), 02775u);
  EXPECT_EQ(mode("sub/file.plist"), 0664u);
  EXPECT_EQ(mode("sub/.orvik.lock"), 0660u);
  if (geteuid() != 0) return;
  // What root makes in another user's folder is that user's.
  fs::create_directories(top_ / "home");
  ASSERT_EQ(chown((top_ / "home").c_str(), kNobody, kNobody), 0);
  EXPECT_EQ(Save(top_ / "home" / "Library" / "file.plist"), 0);
  for (const char* made : {"home/Library", "home/Library/file.plist", "home/Library/.orvik.lock"}) {
    struct stat attributes = {};
    stat((top_ / made).c_str(), &attributes);
    EXPECT_EQ(attributes.st_uid, kNobody) << made;
  }
}

}  // namespace
}  // namespace orvik::test
