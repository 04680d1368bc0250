// What the tests of the preference store share: where its files are and what another reader finds.
#pragma once

#include "prefs/shared_lock.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

inline const char kDomain[] = "com.example.Store";

class StoreTest : public EnvironmentTest {
 protected:
  StoreTest() {
    old_wait_ = ExchangeSharedLockWait([this] { ++waits_; });
  }
  ~StoreTest() override { ExchangeSharedLockWait(old_wait_); }

  std::filesystem::path SharedFile(const std::string& domain = kDomain) const {
    return env_.system_root() / "Users/Shared/Library/Preferences" / (domain + ".plist");
  }
  std::filesystem::path UserFile(const std::string& domain = kDomain) const {
    return env_.home() / "Library/Preferences" / (domain + ".plist");
  }
  std::filesystem::path MachineFile(const std::string& domain = kDomain) const {
    return env_.system_root() / "Library/Preferences" / (domain + ".plist");
  }

  int waits_ = 0;  // of one second each, for the lock

 private:
  SharedLockWait old_wait_;
};

// What python's plistlib reads from each file: JSON with sorted keys, "missing" or "damaged".
std::vector<std::string> OnDisk(const std::vector<std::filesystem::path>& files);
std::string OnDisk(const std::filesystem::path& file);

// Has python's plistlib write the JSON as a property list, "xml" or "binary".
void WritePlist(const std::filesystem::path& file, const std::string& json,
                const std::string& format = "xml");

CAtlString Wide(const std::string& utf8);
std::string Utf8(const CAtlString& text);

}  // namespace orvik::test
