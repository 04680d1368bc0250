#include "host/kernel_texts.h"

#include <gtest/gtest.h>

namespace orvik::host {
namespace {

TEST(KernelTexts, FindAMountPoint) {
  const std::string table =
      "210 1 8:1 / / rw - ext4 /dev/a rw\n"
      "21 210 8:2 /a\\040b /mnt/a\\040b\\134\r\\011c rw shared:1 - ext4 /dev/b rw\n"
      "22 210";
  EXPECT_EQ(MountPointIn(table, 210), "/");
  EXPECT_EQ(MountPointIn(table, 21), "/mnt/a b\\\r\tc");
  EXPECT_EQ(MountPointIn(table, 22), "");
  EXPECT_EQ(MountPointIn(table, 2), "");
}

TEST(KernelTexts, FindAStartTimeBehindAnyName) {
  const std::string numbers = " 1 77 77 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 1 0 4242 10 11\n";
  EXPECT_EQ(StartTimeIn("77 (sh) S" + numbers), 4242u);
  EXPECT_EQ(StartTimeIn("77 (a) Z 1 (\n) R" + numbers), 4242u);
  EXPECT_EQ(StartTimeIn("77 (sh) Z" + numbers), std::nullopt);
  EXPECT_EQ(StartTimeIn("77 (sh) S 1 77"), std::nullopt);
  EXPECT_EQ(StartTimeIn("77 (sh"), std::nullopt);
}

TEST(KernelTexts, FindAFieldOfAStatus) {
  EXPECT_EQ(StatusFieldIn("Name:\tTgid:\nTgid:\t77\nPid:\t78\n", "Tgid"), "77");
  EXPECT_EQ(StatusFieldIn("Name:\ta\nTgid 77\n", "Tgid"), "");
}

}  // namespace
}  // namespace orvik::host
