// The completion of orvikprefs in the shells: what it offers, and that it knows what the program
// knows.
#include <algorithm>
#include <set>
#include <sstream>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

namespace fs = std::filesystem;
using Words = std::set<std::string>;

const fs::path kFolder = fs::path(ORVIK_SOURCE_FOLDER) / "tools/orvikprefs/completion";

class CompletionTest : public EnvironmentTest {
 protected:
  std::string Prefs(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {program_};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const CommandResult run = RunCommand(command);
    EXPECT_EQ(run.status, 0) << run.err;
    return run.out;
  }

  // What bash offers for the last word; all words as they would stand on the command line.
  Words Bash(const std::vector<std::string>& words) {
    std::vector<std::string> command = {
        "bash", "-c",
        "source \"$0\"; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _orvikprefs; "
        "[ ${#COMPREPLY[@]} = 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\"",
        (kFolder / "orvikprefs.bash").string(), program_};
    command.insert(command.end(), words.begin(), words.end());
    const CommandResult run = RunCommand(command);
    EXPECT_EQ(run.err, "");
    Words offered;
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) offered.insert(line);
    return offered;
  }

  // From the help of a command ("" for the program): its commands, or its long options.
  Words Help(const std::string& command, bool commands) {
    std::istringstream help(Prefs(command.empty() ? std::vector<std::string>{"--help"}
                                                  : std::vector<std::string>{command, "--help"}));
    Words found;
    std::string section;
    for (std::string line; std::getline(help, line);) {
      if (line.ends_with(':')) section = line;
      if (!line.starts_with("  ") || line[2] == ' ') continue;
      const std::string word = line.substr(2, line.find_first_of(" =", 2) - 2);
      if (commands && section == "Subcommands:") found.insert(word);
      const std::size_t dashes = word.find("--");
      if (!commands && section == "Options:" && dashes != std::string::npos) {
        found.insert(word.substr(dashes));
      }
    }
    return found;
  }

  const std::string program_ = (ProgramFolder() / "orvikprefs").string();
};

TEST_F(CompletionTest, BashKnowsTheCommandsAndOptionsOfTheProgram) {
  const Words commands = Help("", true);
  ASSERT_TRUE(commands.contains("get"));
  EXPECT_EQ(Bash({""}), commands);
  EXPECT_EQ(Bash({"--quiet", "de"}), (Words{"delete", "delete-key"}));
  const Words globals = Help("", false);
  EXPECT_EQ(Bash({"--"}), globals);
  for (const std::string& command : commands) {
    Words options = Help(command, false);
    options.insert(globals.begin(), globals.end());
    EXPECT_EQ(Bash({command, "--"}), options) << command;
  }
}

TEST_F(CompletionTest, ZshKnowsTheCommandsAndOptionsOfTheProgram) {
  const std::string text = ReadFile(kFolder / "_orvikprefs");
  // Quoted words that begin an entry: 'get:...', and '--type[...'.
  const auto entries = [&](const std::string& head, char end) {
    Words found;
    for (std::size_t at = 0; (at = text.find(head, at)) != std::string::npos;) {
      at += 1;
      const std::size_t stop = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
      if (stop > at && text[stop] == end) found.insert(text.substr(at, stop - at));
    }
    return found;
  };
  const Words commands = Help("", true);
  EXPECT_EQ(entries("'", ':'), commands);
  Words options = Help("", false);
  for (const std::string& command : commands) options.merge(Help(command, false));
  EXPECT_EQ(entries("'--", '['), options);
  if (RunCommand({"zsh", "--version"}).status == 0) {
    const CommandResult parsed = RunCommand({"zsh", "-n", (kFolder / "_orvikprefs").string()});
    EXPECT_EQ(parsed.status, 0) << parsed.err;
  }
}

TEST_F(CompletionTest, BashCompletesFromTheStore) {
  Prefs({"set", "Software/My Vendor/App", "Path", "/x"});
  Prefs({"set", "Software/My Vendor/$(touch x)", "it's", "v"});
  Prefs({"set", "Software/My Vendor", "Top Value", "v"});
  Prefs({"--domain", "com.example", "set", "K", "n", "v"});
  Prefs({"--scope", "user", "--domain", "com.user", "set", "U/V", "n", "v"});
  const struct {
    std::vector<std::string> words;
    Words offered;
  } kCases[] = {
      {{"get", ""}, {"Software/"}},
      {{"get", "Software/My\\ V"}, {"Software/My Vendor/"}},
      {{"set", "\"Software/My Vendor/"},
       {"Software/My Vendor/App", "Software/My Vendor/$(touch x)"}},
      {{"tree", "'Software/My Vendor/A"}, {"Software/My Vendor/App"}},
      {{"get", "Software/My\\ Vendor", ""}, {"App", "$(touch x)", "Top Value"}},
      {{"get", "'Software/My Vendor/$(touch x)'", "it"}, {"it's"}},
      {{"get", "Software/No", ""}, {}},
      {{"--scope", ""}, {"shared", "user", "machine", "0", "1", "2", "3", "4", "5"}},
      {{"--scope", "=", "us"}, {"user"}},
      {{"--domain", "com."}, {"com.orviktech.Registry", "com.example"}},
      {{"--scope", "user", "--domain", ""}, {"com.user"}},
      {{"--scope", "user", "--domain", "com.user", "list", ""}, {"U/"}},
      {{"export", "--format", ""}, {"json", "xml"}},
      {{"where", ""}, {}},
      {{"get", "--", "--"}, {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.words.back());
    EXPECT_EQ(Bash(c.words), c.offered);
  }
}

// Through the line editor itself, which quotes what is offered.
TEST_F(CompletionTest, BashPutsQuotedPathsOnTheCommandLine) {
  Prefs({"set", "Software/My Vendor/App", "the path", "/x/y"});
  const char kScript[] = R"(
import os, pty, sys
pid, terminal = pty.fork()
if pid == 0:
    os.environ.update(PATH=sys.argv[1] + ':' + os.environ['PATH'], TERM='dumb', PS1='', INPUTRC='/dev/null')
    os.execvp('bash', ['bash', '--norc', '--noprofile', '-i'])
os.write(terminal, ('source "%s"\n' % sys.argv[2]).encode())
os.write(terminal, b'orvikprefs get Sof\tMy\tA\tth\t > "$HOME/found"; exit\n')
try:
    while os.read(terminal, 4096): pass
except OSError:
    pass
os.waitpid(pid, 0)
print(open(os.environ['HOME'] + '/found').read(), end='')
)";
  const CommandResult run =
      RunCommand({"timeout", "60", "python3", "-c", kScript, ProgramFolder().string(),
                  (kFolder / "orvikprefs.bash").string()});
  EXPECT_EQ(run.out, "/x/y\n") << run.err;
}

}  // namespace
}  // namespace orvik::test
