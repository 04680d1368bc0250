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

  // The words that bash offers for the last word of a command line.
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

  // The output of a line typed into a shell with its completion, tabs included.
  // Each tab waits until the line editor has answered.
  static std::string Typed(const std::string& shell, const std::string& line) {
    static constexpr char kScript[] = R"(
import os, pty, select, sys, time
shell, programs, folder, line = sys.argv[1:]
os.environ.update(PATH=programs + ':' + os.environ['PATH'], TERM='dumb', PS1='', INPUTRC='/dev/null')
arguments = ['bash', '--norc', '--noprofile', '-i'] if shell == 'bash' else ['zsh', '-f', '-i']
pid, terminal = pty.fork()
if pid == 0:
    os.execvp(shell, arguments)
def send(text, pause):
    try: os.write(terminal, text.encode())
    except OSError: return
    end = time.time() + 20
    quiet = time.time() + pause
    while time.time() < min(end, quiet):
        if select.select([terminal], [], [], 0.05)[0]:
            try: os.read(terminal, 4096)
            except OSError: return
            quiet = time.time() + pause
if shell == 'bash':
    send('source "%s/orvikprefs.bash"\n' % folder, 0.3)
else:
    send('fpath=("%s" $fpath); autoload -U compinit; compinit -u -D; setopt noautomenu\n' % folder, 0.5)
send('orvikprefs ', 0.1)
for number, part in enumerate(line.split('\t')):
    if number: send('\t', 0.7)
    send(part, 0.05)
send(' > "$HOME/found"; exit\n', 0.1)
try:
    while os.read(terminal, 4096): pass
except OSError:
    pass
os.waitpid(pid, 0)
print(open(os.environ['HOME'] + '/found').read(), end='')
)";
    const CommandResult run = RunCommand({"timeout", "60", "python3", "-c", kScript, shell,
                                          ProgramFolder().string(), kFolder.string(), line});
    EXPECT_EQ(run.err, "");
    return run.out;
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
      {{"export", "--format", ""}, {"json", "xml", "binary"}},
      {{"find", "x", "--type", "da"}, {"date", "data"}},
      {{"copy", "--to-scope", "us"}, {"user"}},
      {{"where", ""}, {}},
      {{"get", "--", "--"}, {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.words.back());
    EXPECT_EQ(Bash(c.words), c.offered);
  }
}

// Through the line editors themselves, which quote what is offered, with the store that the options
// before it name.
TEST_F(CompletionTest, ShellsPutQuotedWordsOnTheCommandLine) {
  Prefs({"set", "Software/My Vendor/App", "the path", "/x/y"});
  Prefs({"--scope", "user", "--domain", "com.user", "set", "Unique/Key", "n", "of the user"});
  const fs::path image = env_.folder() / "image";
  fs::create_directories(image);
  Prefs({"--root", image.string(), "set", "Image Key", "n", "of the image"});
  const struct {
    std::string typed;
    const char* printed;
  } kLines[] = {
      {"get Sof\tMy\tA\t th\t", "/x/y"},
      {"--scope user --domain com.u\t get Un\tK\t n\t", "of the user"},
      {"--root " + image.string() + " get Im\t n", "of the image"},
      {"--scope=us\t --domain=com.user get Unique/K\t n", "of the user"},
  };
  for (const std::string shell : {"bash", "zsh"}) {
    if (RunCommand({shell, "--version"}).status != 0) continue;
    for (const auto& line : kLines) {
      SCOPED_TRACE(shell + ": " + line.typed);
      EXPECT_EQ(Typed(shell, line.typed), line.printed + std::string("\n"));
    }
  }
}

// fish says itself what it would offer.
TEST_F(CompletionTest, FishCompletesFromTheStore) {
  if (RunCommand({"fish", "--version"}).status != 0) GTEST_SKIP() << "fish is not installed";
  Prefs({"set", "Software/My Vendor/App", "the path", "/x/y"});
  const std::pair<const char*, const char*> kLines[] = {
      {"de", "delete\ndelete-key\n"},
      {"get Sof", "Software/\n"},
      {"tree \"Software/My ", "Software/My Vendor/\n"},
      {"get Software/My\\ Vendor/App ", "the path\n"},
      {"--scope=us", "--scope=user\n"},
      {"export --format b", "binary\n"},
      {"import /usr/incl", "/usr/include/\n"},
  };
  for (const auto& [line, offered] : kLines) {
    const CommandResult run = RunCommand(
        {"fish", "--no-config", "-c",
         "source $argv[1]; set -x PATH $argv[2] $PATH; complete -C \"orvikprefs $argv[3]\"",
         (kFolder / "orvikprefs.fish").string(), ProgramFolder().string(), line});
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.out, offered) << line;
  }
}

}  // namespace
}  // namespace orvik::test
