// Shared by the tests of the preference store: the paths of its files and their content for another
// reader.
#pragma once

#include "plist/file.h"
#include "prefs/shared_lock.h"
#include "tests/support/plist_files.h"
#include "tests/support/test_environment.h"

namespace orvik::test {

inline const char kDomain[] = "com.example.Store";

class StoreTest : public EnvironmentTest {
 protected:
  StoreTest() {
    old_wait_ = ExchangeSharedLockWait([this] { ++waits_; });
    old_writer_wait_ = plist::ExchangeFileWriterWait([] {});
  }
  ~StoreTest() override {
    ExchangeSharedLockWait(old_wait_);
    plist::ExchangeFileWriterWait(old_writer_wait_);
  }

  // The file of the domain in a scope.
  fs::path FileOf(int scope, const std::string& domain = kDomain) const {
    const fs::path top = scope == 1 ? env_.home() : env_.system_root();
    return top / (scope == 1 || scope >= 4 ? "" : "Users/Shared") / "Library/Preferences" /
           ((scope == 2 || scope == 5 ? "." : "") + domain + ".plist");
  }
  fs::path SharedFile() const { return FileOf(0); }
  fs::path UserFile(const std::string& domain = kDomain) const { return FileOf(1, domain); }

  int waits_ = 0;  // waits of one second for the lock

 private:
  SharedLockWait old_wait_;
  plist::FileWriterWait old_writer_wait_;
};

inline CAtlString Wide(const std::string& utf8) {
  return CAtlString::FromUtf8(utf8);
}
inline std::string Utf8(const CAtlString& text) {
  return text.ToUtf8();
}

}  // namespace orvik::test
