#include "postflight/install_information.h"

#include "platform/foundation/application.h"
#include "postflight/installer_args.h"
#include "postflight/log_sys.h"
#include "prefs/preferences.h"
#include "prefs/shared_lock.h"
#include "tests/postflight/log_fixture.h"

namespace orvik::test {
namespace {

const char16_t kDomain[] = u"com.orviktech.Registry";

class InstallInformationTest : public LogTest {
 protected:
  InstallInformationTest() {
    arguments_->setDestVolMountPoint(Text("/"));
    arguments_->setPathToInstallDest(Text("/Apps"));
  }
  ~InstallInformationTest() override { arguments_->release(); }

  // The names of the missing values, from the log.
  std::vector<std::string> Missing(const InstallRecord& values) {
    Log();
    const bool all = CheckRecorded(values);
    const std::string log = Log();
    std::vector<std::string> names;
    for (std::size_t at = 0; (at = log.find(", name ", at)) != std::string::npos;) {
      at += 7;
      names.push_back(log.substr(at, log.find(',', at) - at));
    }
    EXPECT_EQ(all, names.empty()) << log;
    EXPECT_EQ(all, log.empty()) << log;
    return names;
  }

  InstallerArgs* const arguments_ = new InstallerArgs;
  const fs::path file_ =
      env_.system_root() / "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";
};

using Names = std::vector<std::string>;
const Names kAll = {"Additional Tools", "PagewellExePath", "Pagewell Version",
                    "GlyphraPath",      "UELogging",       "PagewellExePath"};

TEST_F(InstallInformationTest, TellsAnotherValueFromTheRightOne) {
  const CAtlString product = u"Software/ORVIK Technologies/Pagewell Software";
  const CAtlString information = product + u"/Install Information";
  const auto values = RecordInstallInformation(*arguments_);
  // A text instead of the number reads as the number, but differs from the written value.
  WritePreferenceString(kSharedScope, product, u"UELogging", u"0", kDomain);
  WritePreferenceString(kSharedScope, information, u"PagewellExePath", u"/apps/", kDomain);
  DeletePreference(kSharedScope, information, u"Pagewell Version", kDomain);
  Log();
  EXPECT_FALSE(CheckRecorded(values));
  const auto line = [&](const std::string& place, const std::string& why) {
    return "Not recorded: scope shared, key path Software/ORVIK Technologies/Pagewell Software" +
           place + ", domain com.orviktech.Registry: " + why + "\n";
  };
  EXPECT_EQ(Log(), line("/Install Information, name PagewellExePath", "another value is there") +
                       line("/Install Information, name Pagewell Version", "not found") +
                       line(", name UELogging", "another value is there"));
}

TEST_F(InstallInformationTest, FindsWhatCouldNotBeWritten) {
  // A value cannot contain entries.
  WriteFile(file_, "<plist><dict><key>Software</key><string>x</string></dict></plist>");
  EXPECT_EQ(Missing(RecordInstallInformation(*arguments_)), kAll);
  fs::remove(file_);
  const fs::path lock = file_.parent_path() / ".orvik.lock";
  for (const fs::path& obstacle : {file_, lock}) {
    // The old value remains because the new one cannot be written.
    if (obstacle == lock) {
      WritePreferenceString(kSharedScope, u"Software/ORVIK Technologies/Glyphra", u"GlyphraPath",
                            u"/old", kDomain);
    }
    fs::remove(lock);
    fs::create_symlink(obstacle, obstacle);  // a loop
    EXPECT_FALSE(CheckRecorded(RecordInstallInformation(*arguments_)));
    const std::string log = Log();
    EXPECT_TRUE(Contains(log, "GlyphraPath") && Contains(log, obstacle.string())) << log;
    EXPECT_EQ(log.find("not found"), std::string::npos) << log;
    EXPECT_EQ(log.find("another value"), std::string::npos) << log;
    fs::remove(obstacle);
  }
}

// The new file does not have the other values of the damaged file, so the run fails.
TEST_F(InstallInformationTest, ADamagedStoreGivesWay) {
  const plist::FileWriterWait old = plist::ExchangeFileWriterWait([] {});
  WriteFile(file_, "<plist>");
  const InstallRecord record = RecordInstallInformation(*arguments_);
  plist::ExchangeFileWriterWait(old);
  const std::string kept = file_.string() + ".damaged", log = Log();
  ASSERT_EQ(record.kept_aside.size(), 1u);
  EXPECT_EQ(record.kept_aside[0].kept_path, kept);
  EXPECT_TRUE(Contains(log, '"' + file_.string() + '"') && Contains(log, '"' + kept + '"')) << log;
  EXPECT_FALSE(CheckRecorded(record));
  Log();
  EXPECT_TRUE(CheckRecorded(RecordInstallInformation(*arguments_)));
  EXPECT_EQ(Log(), "");
}

TEST_F(InstallInformationTest, AHeldLockEndsAStrictRunWithFailure) {
  OtherProcess holder([] { LockGlobalSharedPList(kDomain); });
  ASSERT_TRUE(IsGlobalSharedPListLocked(kDomain));
  const ScopedArguments arguments({"-pathToPkg", "/p", "-pathToDest", "/Apps", "-mountPointOfDest",
                                   "/", "-rootOfCurrSystemFolder", "/"});
  int waits = 0;
  const SharedLockWait sleeping = ExchangeSharedLockWait([&waits] { ++waits; });
  const ScopedVariable strict("ORVIK_STRICT", "1");
  Log();
  EXPECT_EQ(RunPostflight(), 1);
  // For all values together; fewer if a slow disk used up the ten seconds.
  EXPECT_TRUE(waits > 0 && waits <= 10) << waits;
  const std::string log = Log();
  EXPECT_TRUE(Contains(log,
                       "name GlyphraPath, domain com.orviktech.Registry: another process holds the "
                       "lock: process " +
                           std::to_string(holder.pid()) + " (\""));
  EXPECT_EQ(log.find("not found"), std::string::npos) << log;
  EXPECT_FALSE(fs::exists(file_));
  holder.End();
  EXPECT_EQ(RunPostflight(), 0);
  ExchangeSharedLockWait(sleeping);
}

TEST_F(InstallInformationTest, BeforeTheArgumentsAreReadNothingIsJoined) {
  InstallerArgs& arguments = *Autoreleased(new InstallerArgs);
  arguments.logValues();
  arguments.setDestVolMountPoint(Text("/Volumes/Data"));
  EXPECT_EQ(arguments.getDestVolMountPointAndPathToInstallDest(), nullptr);
  arguments.logValues();
  EXPECT_EQ(Log(), "Options Set:\nOptions Set:\n/Volumes/Data\n");
}

using LogSysTest = LogTest;

TEST_F(LogSysTest, LinesAreVerbatim) {
  for (const char16_t* text : {u"100%s %n%d", u"", u"\u00FC \u6587", u"a\xD800 b"}) {
    logSys::notice(CFSTR(text));
  }
  EXPECT_EQ(Log(), "100%s %n%d\n\n\u00FC \u6587\na? b\n");
  logSys::notice(nullptr);
  logSys::pipes();
  logSys::pipes2();
  logSys::stripes();
  logSys::stripes2();
  const auto banner = [](std::size_t count, char mark) { return std::string(count, mark) + "\n"; };
  EXPECT_EQ(Log(), banner(74, '|') + banner(148, '|') + banner(75, '/') + banner(150, '/'));
}

}  // namespace
}  // namespace orvik::test
