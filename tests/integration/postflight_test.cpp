// The postflight program, run from outside as the installer runs it.
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

namespace fs = std::filesystem;

// The file that the program should leave, as plistlib reads it.
const char kCheck[] = R"(
import json, plistlib, sys
path, destination, logging, receipt = sys.argv[1], sys.argv[2], int(sys.argv[3]), sys.argv[4]
expected = {'Software': {'ORVIK Technologies': {
    'Pagewell Software': {
        'Install Information': {'Additional Tools': destination + 'Additional Tools',
                                'PagewellExePath': destination,
                                'Pagewell Version': '10.7.154.0'},
        'UELogging': logging},
    'Glyphra': {'GlyphraPath': '/Library/Application Support/ORVIK Technologies/Glyphra'},
    'ORVIK Tavlo Software': {'Install Information': {'PagewellExePath': destination}}}}}
if receipt == 'receipt':
    expected['Software']['ORVIK Technologies Inc.'] = {
        'ORVIK Pagewell': {'Install Information': {'PagewellExePath': destination}}}
found = plistlib.load(open(path, 'rb'))
assert found == expected, (found, expected)
assert open(path, 'rb').read().startswith(b'<?xml version="1.0" encoding="UTF-8"?>')
)";

class PostflightTest : public EnvironmentTest {
 protected:
  PostflightTest() { setenv("ORVIK_LOG_STDERR", "1", 1); }
  ~PostflightTest() override { unsetenv("ORVIK_LOG_STDERR"); }

  CommandResult Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), (ProgramFolder() / "postflight").string());
    return RunCommand(arguments);
  }

  void ExpectRecorded(const std::string& destination, int logging, bool receipt) {
    const CommandResult checked =
        RunCommand({"python3", "-X", "utf8", "-c", kCheck, file_.string(), destination,
                    std::to_string(logging), receipt ? "receipt" : "none"});
    EXPECT_EQ(checked.status, 0) << checked.err;
  }

  const fs::path file_ =
      env_.system_root() / "Users/Shared/Library/Preferences/com.orviktech.Registry.plist";
};

std::vector<std::string> Arguments(const std::string& mount, const std::string& destination) {
  return {"-pathToPkg",
          "/tmp/100% p\xC3\xA4ge.pkg",
          "-pathToDest",
          destination,
          "-mountPointOfDest",
          mount,
          "-rootOfCurrSystemFolder",
          "/"};
}

TEST_F(PostflightTest, RecordsEveryKindOfDestination) {
  const std::string thousand = "/" + std::string(999, 'x');
  const struct {
    std::string mount, destination, recorded;
    bool receipt;
  } kCases[] = {
      {"/", "/Applications/Pagewell", "/Applications/Pagewell/", false},
      {"/", "/Applications/", "/Applications/", true},
      {"/Volumes/Data", "/Applications", "/Volumes/Data/Applications/", false},
      {"/Volumes/Data", "", "/Volumes/Data/", false},
      {"/Volumes/Data/", "Apps", "/Volumes/Data/Apps/", false},
      {"/", "", "/", true},
      {"", "", "/", false},
      {"/", "/100%s %d%n/%", "/100%s %d%n/%/", false},
      {"/V\xC3\xB6l", "/\xE6\x96\x87\xF0\x9F\x98\x80", "/V\xC3\xB6l/\xE6\x96\x87\xF0\x9F\x98\x80/",
       true},
      {"/m", thousand, "/m" + thousand + "/", false},
      {"/", "/a & <b> \"c\"", "/a & <b> \"c\"/", false},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.recorded);
    fs::remove_all(file_.parent_path());
    const fs::path receipt = env_.system_root() / "Library/Receipts/Pollix Components.pkg";
    fs::remove_all(receipt);
    if (c.receipt) WriteFile(receipt, "");
    const CommandResult run = Run(Arguments(c.mount, c.destination));
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    const std::string joined = c.mount == "/" ? c.destination : c.mount + c.destination;
    EXPECT_EQ(run.err, "Options Set:\n/tmp/100% p\xC3\xA4ge.pkg\n" + c.destination + "\n" +
                           c.mount + "\n/\n" + joined + "\n");
    ExpectRecorded(c.recorded, 0, c.receipt);
    const std::string first = ReadFile(file_);
    Run(Arguments(c.mount, c.destination));
    EXPECT_EQ(ReadFile(file_), first);
  }
}

TEST_F(PostflightTest, StopsAtTheFirstMissingArgument) {
  const std::vector<std::string> all = Arguments("/", "/Applications");
  for (std::size_t missing = 0; missing < all.size(); missing += 2) {
    std::vector<std::string> arguments = all;
    arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(missing),
                    arguments.begin() + static_cast<std::ptrdiff_t>(missing) + 2);
    const CommandResult run = Run(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, " Missing argument: " + all[missing].substr(1) +
                           "\nError: Can't continue postflight\n");
  }
  EXPECT_EQ(Run({}).err, " Missing argument: pathToPkg\nError: Can't continue postflight\n");
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(PostflightTest, OptionalArguments) {
  const struct {
    std::vector<std::string> more;
    int logging;
    bool silent;
  } kCases[] = {
      {{}, 0, false},
      {{"-customerLogging", "1"}, 1, false},
      {{"-customerLogging", "abc"}, 0, false},
      {{"-customerLogging", " 12abc"}, 12, false},
      {{"-silent", "NO", "-customerLogging", "-3"}, -3, false},
      {{"-silent", "YES"}, 0, true},
      {{"-silent", "1", "-customerLogging", "99999999999"}, 2147483647, true},
      {{"stray", "-silent", "true"}, 0, true},
  };
  for (const auto& c : kCases) {
    std::vector<std::string> arguments = c.more;
    const std::vector<std::string> required = Arguments("/", "/A");
    arguments.insert(arguments.end(), required.begin(), required.end());
    arguments.push_back("-nameWithoutValue");
    const CommandResult run = Run(arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.ends_with("\n/A\nrunning silent\n"), c.silent) << run.err;
    ExpectRecorded("/A/", c.logging, false);
  }
}

// With ORVIK_STRICT=1 the exit status says whether everything is on disk; without, nothing
// changes.
TEST_F(PostflightTest, AStrictRunTellsTheTruth) {
  const std::string preferences = file_.parent_path().string();
  const std::string program = (ProgramFolder() / "postflight").string();
  // The shell runs the tool with room for files of so many blocks of 1,024 bytes.
  const auto limited = [&](const std::string& blocks) {
    return "ulimit -f " + blocks + "; exec \"$@\"";
  };
  const struct {
    const char* what;
    std::string script;
    int strict_status;
    std::size_t missing;
  } kCases[] = {
      {"an empty store", "exec \"$@\"", 0, 0},
      {"a damaged file", "mkdir -p $0; echo '<plist' >$0/com.orviktech.Registry.plist; exec \"$@\"",
       1, 0},
      {"a folder in the file's place", "mkdir -p $0/com.orviktech.Registry.plist; exec \"$@\"", 1,
       6},
      {"room for all but the last", limited("1"), 1, 1},
  };
  for (const auto& c : kCases) {
    for (const bool strict : {true, false}) {
      SCOPED_TRACE(c.what);
      fs::remove_all(env_.system_root() / "Users");
      fs::remove_all(env_.home() / "Library");
      std::vector<std::string> command = {"bash", "-c", c.script, preferences, program};
      const std::vector<std::string> arguments = Arguments("/", "/" + std::string(100, 'x'));
      command.insert(command.end(), arguments.begin(), arguments.end());
      setenv("ORVIK_STRICT", strict ? "1" : "0", 1);
      const CommandResult run = RunCommand(command);
      unsetenv("ORVIK_STRICT");
      EXPECT_EQ(run.status, strict ? c.strict_status : 1) << run.err;
      std::size_t missing = 0;
      for (std::size_t at = 0; (at = run.err.find("\nNot recorded: ", at)) != std::string::npos;) {
        ++at;
        ++missing;
      }
      EXPECT_EQ(missing, strict ? c.missing : 0) << run.err;
      const bool is_damaged = c.script.find("<plist") != std::string::npos;
      EXPECT_EQ(Contains(run.err, "\nDamaged: \""), is_damaged) << run.err;
    }
  }
  setenv("ORVIK_STRICT", "1", 1);
  EXPECT_EQ(Run({"-pathToPkg", "/p"}).status, 1);
  unsetenv("ORVIK_STRICT");
}

}  // namespace
}  // namespace orvik::test
