#include "platform/carbon/forks.h"

#include "platform/carbon/launch_services.h"
#include "tests/support/file_trees.h"
#include "tests/support/references.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class ForksTest : public EnvironmentTest {
 protected:
  FSIORefNum Open(const fs::path& path, SInt8 permission, const std::u16string& name = {}) {
    const FSRef ref = RefOf(path);
    FSIORefNum fork = 0;
    status_ = FSOpenFork(&ref, name.size(), name.data(), permission, &fork);
    return fork;
  }

  OSErr status_ = 0;
};

TEST_F(ForksTest, TheDataForkIsTheContent) {
  WriteFile(top_ / "f", "0123456789");
  const FSIORefNum fork = Open(top_ / "f", fsRdWrPerm);
  ASSERT_EQ(status_, noErr);
  char buffer[8] = {};
  unsigned long count = 0;
  EXPECT_EQ(FSReadFork(fork, fsAtMark, 0, 4, buffer, &count), noErr);
  EXPECT_EQ(FSReadFork(fork, fsFromMark, 2, 2, buffer, &count), noErr);
  EXPECT_EQ(std::string(buffer, 2), "67");
  EXPECT_EQ(FSReadFork(fork, fsFromLEOF, -1, 4, buffer, &count), eofErr);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(FSWriteFork(fork, fsFromStart, 12, 2, "ab", &count), noErr);
  SInt64 value = 0;
  EXPECT_EQ(FSGetForkPosition(fork, &value), noErr);
  EXPECT_EQ(value, 14);
  EXPECT_EQ(FSSetForkPosition(fork, fsFromMark, -15), posErr);
  EXPECT_EQ(FSSetForkPosition(fork, fsFromMark, std::numeric_limits<SInt64>::max()), posErr);
  EXPECT_EQ(FSGetForkPosition(fork, &value), noErr);
  EXPECT_EQ(value, 14);
  EXPECT_EQ(FSGetForkSize(fork, &value), noErr);
  EXPECT_EQ(value, 14);
  Open(top_ / "f", fsRdPerm, u"named");
  EXPECT_EQ(status_, errFSForkNotFound);
  EXPECT_EQ(FSCloseFork(fork), noErr);
  EXPECT_EQ(FSCloseFork(fork), rfNumErr);
  EXPECT_EQ(ReadFile(top_ / "f"), std::string("0123456789\0\0ab", 14));
}

TEST_F(ForksTest, OpeningsThatExcludeEachOther) {
  WriteFile(top_ / "f", "x");
  struct Case {
    SInt8 first;
    SInt8 second;
    OSErr expected;
  };
  const Case cases[] = {{fsRdPerm, fsRdPerm, noErr},       {fsRdPerm, fsRdWrPerm, noErr},
                        {fsWrPerm, fsWrPerm, noErr},       {fsRdWrShPerm, fsRdWrShPerm, noErr},
                        {fsRdWrPerm, fsRdPerm, noErr},     {fsRdWrPerm, fsRdWrPerm, opWrErr},
                        {fsRdWrPerm, fsWrPerm, opWrErr},   {fsRdWrShPerm, fsRdWrPerm, opWrErr},
                        {fsRdDenyPerm, fsRdPerm, permErr}, {fsRdPerm, fsRdDenyPerm, permErr},
                        {fsRdDenyPerm, fsWrPerm, noErr},   {fsWrDenyPerm, fsRdPerm, noErr},
                        {fsWrDenyPerm, fsWrPerm, opWrErr}, {fsWrDenyPerm, fsRdWrShPerm, opWrErr},
                        {fsWrPerm, fsWrDenyPerm, opWrErr}};
  for (const auto& c : cases) {
    const FSIORefNum first = Open(top_ / "f", c.first);
    ASSERT_EQ(status_, noErr);
    const FSIORefNum second = Open(top_ / "f", c.second);
    EXPECT_EQ(status_, c.expected) << int{c.first} << " then " << int{c.second};
    if (status_ == noErr) FSCloseFork(second);
    FSCloseFork(first);
  }
  Open(top_ / "f", 5);
  EXPECT_EQ(status_, paramErr);
}

TEST_F(ForksTest, OnlyRegularFilesAreOpened) {
  MakeTree(top_, {"pipe|", "f", "to_pipe->pipe", "to_file->f"});
  for (const char* name : {"pipe", "to_pipe", "."}) {
    Open(top_ / name, fsRdPerm);
    EXPECT_EQ(status_, notAFileErr) << name;
  }
  const FSIORefNum fork = Open(top_ / "to_file", fsRdPerm);
  ASSERT_EQ(status_, noErr);
  char buffer[8] = {};
  EXPECT_EQ(FSReadFork(fork, fsFromStart, 0, sizeof buffer, buffer, nullptr), eofErr);
  EXPECT_STREQ(buffer, "x");
  EXPECT_EQ(FSWriteFork(fork, fsAtMark, 0, 1, "y", nullptr), wrPermErr);
  FSCloseFork(fork);
}

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
