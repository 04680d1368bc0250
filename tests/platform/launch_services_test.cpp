#include "platform/carbon/launch_services.h"

#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using LaunchServicesTest = EnvironmentTest;

TEST_F(LaunchServicesTest, FlagsOfEveryKindOfItem) {
  const auto program = [&](const char* name, const std::string& content, bool executable) {
    WriteFile(top_ / name, content);
    if (executable) fs::permissions(top_ / name, fs::perms::owner_all);
  };
  program("elf", "\177ELF rest", true);
  program("elf_data", "\177ELF rest", false);
  program("script", "#!/bin/sh\n", true);
  program("text", "plain", true);
  program("a.desktop", "", false);
  fs::create_directories(top_ / "Good.app/Contents");
  fs::create_directories(top_ / "Empty.app");
  fs::create_symlink("elf", top_ / "link");
  mkfifo((top_ / "pipe").c_str(), 0700);
  constexpr LSItemInfoFlags kApplication = kLSItemInfoIsApplication;
  const std::pair<const char*, LSItemInfoFlags> cases[] = {
      {"elf", kApplication | kLSItemInfoIsNativeApp},
      {"elf_data", 0},
      {"script", kApplication},
      {"text", 0},
      {"a.desktop", kApplication},
      {"Good.app", kApplication | kLSItemInfoIsNativeApp},
      {"Empty.app", 0},
      {"link", 0},
      {"pipe", 0}};
  for (const auto& [name, expected] : cases) {
    const FSRef ref = RefOf(top_ / name);
    LSItemInfoRecord info;
    EXPECT_EQ(LSCopyItemInfoForRef(&ref, kLSRequestAllFlags, &info), noErr) << name;
    EXPECT_EQ(info.flags, expected) << name;
  }
  const FSRef ref = RefOf(top_ / "elf");
  LSItemInfoRecord info;
  EXPECT_EQ(LSCopyItemInfoForRef(&ref, 1, &info), paramErr);
}

}  // namespace
}  // namespace orvik::test
