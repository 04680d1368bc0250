#include "platform/carbon/launch_services.h"

#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using LaunchServicesTest = EnvironmentTest;

TEST_F(LaunchServicesTest, FlagsOfEveryKindOfItem) {
  MakeTree(top_, {"elf=\177ELF rest", "elf_data=\177ELF rest", "script=#!/bin/sh\n", "text=plain",
                  "a.desktop=", "Good.app/Contents/", "Empty.app/", "link->elf", "pipe|"});
  for (const char* name : {"elf", "script", "text", "pipe"}) {
    fs::permissions(top_ / name, fs::perms::owner_all);
  }
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
