// The Debian packages, made from the build under test into a folder of their own.
#include <optional>
#include <sstream>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

class PackagesTest : public EnvironmentTest {
 protected:
  void SetUp() override {
    for (const char* tool : {"cpack", "dpkg-deb", "dpkg-shlibdeps"}) {
      if (RunCommand({tool, "--version"}).status != 0) {
        GTEST_SKIP() << "there is no " << tool << " on this machine";
      }
    }
  }

  // Makes packages in the folder, with more settings of cpack.
  static void Make(const fs::path& target, const std::vector<std::string>& settings) {
    std::vector<std::string> command = {"cpack",
                                        "--config",
                                        (ProgramFolder().parent_path() / "CPackConfig.cmake"),
                                        "-B",
                                        target,
                                        "-D",
                                        "CPACK_DEBIAN_COMPRESSION_TYPE=none",
                                        "-D",
                                        "CPACK_DEBIAN_DEBUGINFO_PACKAGE=OFF"};
    for (const std::string& setting : settings) command.insert(command.end(), {"-D", setting});
    const CommandResult made = RunCommand(command);
    ASSERT_EQ(made.status, 0) << made.out << made.err;
  }

  const ScopedVariable epoch_{"SOURCE_DATE_EPOCH", "1700000000"};
};

TEST_F(PackagesTest, HoldWhatTheySayAndNameWhatTheyNeed) {
  const fs::path folder = env_.folder() / "packages";
  const fs::path again = env_.folder() / "again";
  Make(folder, {});
  // The same bytes when they are made again.
  Make(again, {"CPACK_COMPONENTS_ALL=tool;library-text"});
  for (const char* package : {"orvik-postflight", "liborvik-text3"}) {
    EXPECT_EQ(RunCommand({"sh", "-c",
                          "cmp " + folder.string() + "/" + package + "_*.deb " + again.string() +
                              "/" + package + "_*.deb"})
                  .status,
              0)
        << package;
  }

  const struct {
    std::string package;
    std::vector<std::string> files;    // ends of paths
    std::vector<std::string> depends;  // beginnings of what it depends on
  } kPackages[] = {
      {"orvik-postflight",
       {"/usr/sbin/postflight", "/man8/postflight.8.gz", "/orvik-postflight/copyright",
        "/changelog.Debian.gz"},
       {"libc6 (", "libicu", "libstdc++6 ("}},
      {"orvikprefs",
       {"/usr/bin/orvikprefs", "/man1/orvikprefs.1.gz", "/bash-completion/completions/orvikprefs",
        "/_orvikprefs", "/vendor_completions.d/orvikprefs.fish", "/orvikprefs/copyright",
        "/changelog.Debian.gz"},
       {"libc6 (", "libicu", "libstdc++6 ("}},
      {"liborvik-text3",
       {"/liborvik_text.so.3 -> liborvik_text.so." ORVIK_VERSION, "/liborvik-text3/copyright",
        "/changelog.Debian.gz"},
       {"libc6 (", "libicu"}},
      {"liborvik-xml3",
       {"/liborvik_xml.so.3 -> liborvik_xml.so." ORVIK_VERSION, "/liborvik-xml3/copyright",
        "/changelog.Debian.gz"},
       {"libc6 (", "liborvik-streams3 (= " ORVIK_VERSION "-1)",
        "liborvik-prefs3 (= " ORVIK_VERSION "-1)"}},
      {"orvik-ansible",
       {"/usr/share/ansible/plugins/modules/orvik_preference.py",
        "/usr/share/ansible/plugins/action/orvik_preference.py", "/orvik-ansible/copyright",
        "/changelog.Debian.gz"},
       {"ansible-core | ansible"}},
      {"liborvik-dev",
       {"/usr/include/orvik/prefs/preferences.h", "/liborvik_prefs.a", "/liborvik_platform.a",
        "/liborvik_prefs.so -> liborvik_prefs.so.3", "/cmake/orvik/orvik-config.cmake",
        "/pkgconfig/orvik.pc", "/liborvik-dev/copyright", "/changelog.Debian.gz"},
       {"liborvik-text3 (= " ORVIK_VERSION "-1)", "liborvik-xml3 (= " ORVIK_VERSION "-1)",
        "libicu-dev", "libtinyxml-dev", "zlib1g-dev", "libboost-dev"}},
  };
  for (const auto& expected : kPackages) {
    SCOPED_TRACE(expected.package);
    std::string file;
    for (const auto& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(expected.package + "_") && name.ends_with(".deb")) file = entry.path();
    }
    ASSERT_NE(file, "");
    const auto field = [&](const char* name) {
      return RunCommand({"dpkg-deb", "--field", file, name}).out;
    };
    EXPECT_EQ(field("Package"), expected.package + "\n");
    EXPECT_NE(field("Description").find("\n "), std::string::npos);
    EXPECT_NE(field("Section"), "");

    std::string contents;
    std::istringstream lines(RunCommand({"dpkg-deb", "--contents", file}).out);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_NE(line.find(" root/root "), std::string::npos) << line;
      contents += line.substr(line.find("./") + 1) + "\n";
    }
    for (const std::string& end : expected.files) {
      EXPECT_NE(contents.find(end + "\n"), std::string::npos) << end << " in\n" << contents;
    }
    const std::string depends = ", " + field("Depends");
    for (const std::string& needed : expected.depends) {
      EXPECT_NE(depends.find(", " + needed), std::string::npos) << needed << " in " << depends;
    }
    EXPECT_NE(contents.find("/lintian/overrides/" + expected.package + "\n"), std::string::npos);
    EXPECT_EQ(RunCommand({"dpkg-deb", "--info", file, "md5sums"}).status, 0);
    EXPECT_NE(RunCommand({"dpkg-deb", "--info", file, "postinst"}).status, 0);
    if (expected.package == "liborvik-xml3") {
      EXPECT_EQ(RunCommand({"dpkg-deb", "--info", file, "triggers"}).out,
                "activate-noawait ldconfig\n");
      EXPECT_NE(RunCommand({"dpkg-deb", "--info", file, "shlibs"})
                    .out.find("liborvik_xml 3 liborvik-xml3 ("),
                std::string::npos);
    }
  }
}

// An earlier version is installed below a folder, writes a store, and is upgraded while its watch
// runs.
TEST_F(PackagesTest, UpgradeAndPurgeKeepTheStore) {
  if (geteuid() != 0) GTEST_SKIP() << "dpkg gives the files to root";
  const fs::path system = env_.system_root(), admin = system / "var/lib/dpkg";
  for (const char* folder : {"info", "updates", "triggers"}) {
    fs::create_directories(admin / folder);
  }
  for (const char* file : {"status", "available"}) WriteFile(admin / file, "");
  const auto dpkg = [&](const std::vector<std::string>& action) {
    std::vector<std::string> command = {"dpkg", "--root=" + system.string(), "--force-depends",
                                        "--force-script-chrootless", "--log=/dev/null"};
    command.insert(command.end(), action.begin(), action.end());
    const CommandResult done = RunCommand(command);
    EXPECT_EQ(done.status, 0) << done.out << done.err;
  };
  const fs::path program = system / "usr/bin/orvikprefs";
  const auto prefs = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {program, "--root", system});
    const CommandResult result = RunCommand(arguments);
    return result.status == 0 ? result.out : result.err;
  };
  std::optional<OtherProcess> watch;
  for (const std::string version : {"0.9.0", ORVIK_VERSION}) {
    const fs::path folder = At(version);
    Make(folder, {"CPACK_COMPONENTS_ALL=tool;command-line", "CPACK_PACKAGE_VERSION=" + version});
    dpkg({"--install", "--recursive", folder});
    EXPECT_NE(ReadFile(admin / "status").find("Version: " + version + "-1\n"), std::string::npos);
    if (watch) break;
    EXPECT_EQ(prefs({"set", "Software/Example", "Name", "old"}), "");
    watch.emplace([&] {
      const int log = open(At("watch").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(log, STDOUT_FILENO);
      Execute({program, "--root", system, "watch", "Software/Example"});
    });
  }
  EXPECT_EQ(prefs({"get", "Software/Example", "Name"}), "old\n");
  // The watch of the version before sees what the new one writes.
  for (int round = 0; round < 500 && ReadFile(At("watch")).find("new") == std::string::npos;
       ++round) {
    prefs({"set", "Software/Example", "Name", round % 2 == 0 ? "new" : "newer"});
  }
  EXPECT_NE(ReadFile(At("watch")).find("new"), std::string::npos);
  const std::string store = prefs({"export"});
  dpkg({"--purge", "orvikprefs", "orvik-postflight"});
  EXPECT_FALSE(fs::exists(program));
  EXPECT_EQ(RunCommand({ProgramFolder() / "orvikprefs", "--root", system, "export"}).out, store);
}

}  // namespace
}  // namespace orvik::test
