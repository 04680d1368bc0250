// The example package, installed below a folder of its own by the real package manager.
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

namespace fs = std::filesystem;

const char kPackage[] = "orvik-pagewell-example";
const std::string kSoftware = "Software/ORVIK Technologies/Pagewell Software";
const std::string kInformation = kSoftware + "/Install Information";

class DebianPackageTest : public EnvironmentTest {
 protected:
  void SetUp() override {
    if (RunCommand({"dpkg", "--version"}).status != 0) {
      GTEST_SKIP() << "dpkg is missing";
    }
    WriteFile(root_ / "var/lib/dpkg/status", "");
    fs::create_directories(root_ / "var/lib/dpkg/info");
    fs::create_directories(root_ / "var/lib/dpkg/updates");
    fs::create_directories(tools_);
    for (const char* version : {"1.0", "2.0"}) {
      const CommandResult built =
          RunCommand({ORVIK_SOURCE_FOLDER "/examples/debian-package/build.sh", version,
                      env_.folder().string()});
      ASSERT_EQ(built.status, 0) << built.err;
    }
  }

  // Runs dpkg on the folder; its scripts find the built programs, and what is in their place.
  CommandResult Dpkg(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"env",
                                        "-u",
                                        "ORVIK_SYSTEM_ROOT",
                                        "PATH=" + tools_.string() + ":" + ProgramFolder().string() +
                                            ":/usr/sbin:/usr/bin:/sbin:/bin",
                                        "dpkg",
                                        "--root=" + root_.string(),
                                        "--log=" + (env_.folder() / "dpkg.log").string(),
                                        "--force-not-root",
                                        "--force-script-chrootless",
                                        "--force-depends"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return RunCommand(command);
  }
  CommandResult Install(const std::string& version) {
    return Dpkg({"--install",
                 (env_.folder() / (std::string(kPackage) + "_" + version + "_all.deb")).string()});
  }

  std::string State() {
    return RunCommand({"dpkg-query", "--admindir=" + (root_ / "var/lib/dpkg").string(), "-W",
                       "-f=${db:Status-Status} ${Version}", kPackage})
        .out;
  }

  std::string Value(const std::string& key, const std::string& name) {
    return RunCommand({(ProgramFolder() / "orvikprefs").string(), "--root", root_.string(), "get",
                       key, name})
        .out;
  }
  void ExpectRecorded(const std::string& version) {
    const std::string folder = "/opt/orvik-pagewell/" + version + "/";
    EXPECT_EQ(Value(kInformation, "PagewellExePath"), folder + "\n");
    EXPECT_EQ(Value(kInformation, "Additional Tools"), folder + "Additional Tools\n");
    EXPECT_EQ(Value("Software/ORVIK Technologies/ORVIK Tavlo Software/Install Information",
                    "PagewellExePath"),
              folder + "\n");
  }
  void Set(const std::string& key, const std::string& name, const std::string& value) {
    EXPECT_EQ(RunCommand({(ProgramFolder() / "orvikprefs").string(), "--root", root_.string(),
                          "set", key, name, value})
                  .status,
              0);
  }

  const fs::path root_ = env_.system_root();
  const fs::path tools_ = env_.folder() / "tools";
  const fs::path file_ = root_ / "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";
};

TEST_F(DebianPackageTest, InstallsUpgradesRemovesAndPurges) {
  const CommandResult installed = Install("1.0");
  ASSERT_EQ(installed.status, 0) << installed.err;
  EXPECT_EQ(State(), "installed 1.0");
  EXPECT_TRUE(fs::exists(root_ / "opt/orvik-pagewell/1.0/pagewell"));
  ExpectRecorded("1.0");
  EXPECT_EQ(Value(kSoftware, "UELogging"), "0\n");

  Set(kSoftware, "UELogging", "1");
  const CommandResult upgraded = Install("2.0");
  ASSERT_EQ(upgraded.status, 0) << upgraded.err;
  EXPECT_EQ(State(), "installed 2.0");
  EXPECT_FALSE(fs::exists(root_ / "opt/orvik-pagewell/1.0"));
  ExpectRecorded("2.0");
  EXPECT_EQ(Value(kSoftware, "UELogging"), "1\n");

  EXPECT_EQ(Dpkg({"--remove", kPackage}).status, 0);
  EXPECT_EQ(State(), "config-files 2.0");
  ExpectRecorded("2.0");

  Set("Software/Other", "Kept", "x");
  Set("Software/ORVIK Technologies/ORVIK Tavlo Software/Install Information", "PagewellExePath",
      "/another/package/");
  const CommandResult purged = Dpkg({"--purge", kPackage});
  EXPECT_EQ(purged.status, 0) << purged.err;
  EXPECT_EQ(State(), "");
  const CommandResult left = RunCommand(
      {(ProgramFolder() / "orvikprefs").string(), "--root", root_.string(), "tree", "Software"});
  EXPECT_EQ(left.out,
            "Software/ORVIK Technologies/ORVIK Tavlo Software/Install "
            "Information/PagewellExePath\tstring\t/another/package/\n"
            "Software/Other/Kept\tstring\tx\n");
}

TEST_F(DebianPackageTest, AFailedConfigurationIsTriedAgain) {
  ASSERT_EQ(Install("1.0").status, 0);
  // A store that cannot be written: the tool says so, and dpkg knows.
  fs::rename(file_, root_ / "aside");
  fs::create_directories(file_);
  const CommandResult failed = Install("2.0");
  EXPECT_NE(failed.status, 0);
  EXPECT_NE(failed.err.find("the installation could not be recorded"), std::string::npos)
      << failed.err;
  EXPECT_EQ(State(), "half-configured 2.0");
  fs::remove(file_);
  fs::rename(root_ / "aside", file_);
  ExpectRecorded("1.0");
  const CommandResult again = Dpkg({"--configure", kPackage});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(State(), "installed 2.0");
  ExpectRecorded("2.0");
}

TEST_F(DebianPackageTest, AKilledConfigurationIsTriedAgain) {
  // Kills the script that called it when the tool has recorded everything.
  const fs::path killer = tools_ / "postflight";
  WriteFile(killer,
            "#!/bin/sh\n" + (ProgramFolder() / "postflight").string() + " \"$@\"\nkill -9 $PPID\n");
  fs::permissions(killer, fs::perms::owner_all);
  EXPECT_NE(Install("1.0").status, 0);
  EXPECT_EQ(State(), "half-configured 1.0");
  fs::remove(killer);
  const CommandResult again = Install("1.0");
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(State(), "installed 1.0");
  ExpectRecorded("1.0");

  EXPECT_EQ(Dpkg({"--purge", kPackage}).status, 0);
  EXPECT_EQ(State(), "");
  EXPECT_EQ(Value(kInformation, "PagewellExePath"), "");
}

}  // namespace
}  // namespace orvik::test
