// Tests of permissions, which do not bind root.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

namespace orvik::test {

// When the test runs as root: during the life of the object, gives the folder and its content,
// except the entry `kept`, to another user, and acts as that user.
class WithoutRootRights {
 public:
  explicit WithoutRootRights(const std::filesystem::path& folder,
                             const std::filesystem::path& kept = {}) {
    if (!was_root_) return;
    EXPECT_EQ(lchown(folder.c_str(), kNobody, kNobody), 0);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
      if (entry.path() == kept) continue;
      EXPECT_EQ(lchown(entry.path().c_str(), kNobody, kNobody), 0);
    }
    EXPECT_EQ(seteuid(kNobody), 0);
  }
  ~WithoutRootRights() {
    if (was_root_) {
      EXPECT_EQ(seteuid(0), 0);
    }
  }
  WithoutRootRights(const WithoutRootRights&) = delete;
  WithoutRootRights& operator=(const WithoutRootRights&) = delete;

 private:
  static constexpr uid_t kNobody = 65534;
  const bool was_root_ = geteuid() == 0;
};

}  // namespace orvik::test
