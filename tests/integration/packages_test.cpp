// The Debian packages, made from the build under test into a folder of their own.
#include <sstream>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

namespace fs = std::filesystem;

using PackagesTest = EnvironmentTest;

TEST_F(PackagesTest, HoldWhatTheySayAndNameWhatTheyNeed) {
  for (const char* tool : {"cpack", "dpkg-deb", "dpkg-shlibdeps"}) {
    if (RunCommand({tool, "--version"}).status != 0) {
      GTEST_SKIP() << "there is no " << tool << " on this machine";
    }
  }
  const ScopedVariable epoch("SOURCE_DATE_EPOCH", "1700000000");
  const fs::path folder = env_.folder() / "packages";
  const fs::path again = env_.folder() / "again";
  const auto make = [](const fs::path& target, const std::string& more) {
    const CommandResult made =
        RunCommand({"cpack", "--config", (ProgramFolder().parent_path() / "CPackConfig.cmake"),
                    "-B", target.string(), "-D", "CPACK_DEBIAN_COMPRESSION_TYPE=none", "-D",
                    "CPACK_DEBIAN_DEBUGINFO_PACKAGE=OFF", "-D", more});
    ASSERT_EQ(made.status, 0) << made.out << made.err;
  };
  make(folder, "CPACK_VERBATIM_VARIABLES=ON");
  // The same bytes when they are made again.
  make(again, "CPACK_COMPONENTS_ALL=tool;library-text");
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

}  // namespace
}  // namespace orvik::test
