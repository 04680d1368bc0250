#include "tools/orvikprefs/grammar.h"

#include <regex>
#include <sstream>

#include "tests/support/test_environment.h"
#include "tools/orvikprefs/commands.h"

namespace orvik::test {
namespace {

using namespace prefstool;

CommandLine Line(std::vector<std::string> words) {
  return CommandLine(OrvikPrefsGrammar(), words);
}

TEST(Grammar, ReadsOptionsAnywhere) {
  const struct {
    std::vector<std::string> words;
    std::vector<std::string> arguments;
    const char* option;
    const char* value;
  } kRows[] = {
      {{"get", "K", "--scope=5", "n"}, {"K", "n"}, "--scope", "5"},
      {{"get", "--scope=1", "--scope=4", "K"}, {"K"}, "--scope", "4"},
      {{"get", "K", "n", "--default="}, {"K", "n"}, "--default", ""},
      {{"get", "K", "n", "--default", "-z"}, {"K", "n"}, "--default", "-z"},
      {{"export", "-ofile"}, {}, "--output", "file"},
      {{"export", "-qo", "-"}, {}, "--output", "-"},
      {{"set", "K", "n", "-q"}, {"K", "n", "-q"}, nullptr, ""},
      {{"set", "--", "-K", "--n", "--"}, {"-K", "--n", "--"}, nullptr, ""},
      {{"complete", "--", "a", "b", "c", "--d"}, {"a", "b", "c", "--d"}, nullptr, ""},
      {{"--help"}, {}, "--help", ""},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.words.back());
    const CommandLine line = Line(row.words);
    EXPECT_EQ(line.error(), "");
    EXPECT_EQ(line.arguments(), row.arguments);
    if (row.option != nullptr) {
      EXPECT_TRUE(line.Has(row.option));
      EXPECT_EQ(line.Value(row.option), row.value);
    } else {
      EXPECT_FALSE(line.Has("--quiet") || line.Has("--scope"));
    }
  }
  // "--json" before "set" asks for JSON output, after it for a JSON value.
  const Option* const global = OrvikPrefsGrammar().FindOption(nullptr, "--json");
  EXPECT_TRUE(Line({"--json", "set", "K", "n", "v"}).Has(global));
  EXPECT_FALSE(Line({"set", "K", "n", "v", "--json"}).Has(global));
  EXPECT_TRUE(Line({"list", "--json"}).Has(global));
}

TEST(Grammar, SaysWhatIsWrong) {
  const std::pair<std::vector<std::string>, const char*> kRows[] = {
      {{}, "a command is missing"},
      {{"ge"}, "\"ge\" is not a command; did you mean \"get\"?"},
      {{"xxxxxxxx"}, "\"xxxxxxxx\" is not a command"},
      {{"get"}, "get needs a KEY"},
      {{"set", "K", "n", "--int"}, "set needs a VALUE; one that begins with a dash"},
      {{"list", "a", "b"}, "\"b\" is one word too many for list"},
      {{"list", "-zy"}, "\"-y\" is not an option of list"},
      {{"--format", "xml", "export"}, "\"--format\" is not an option"},
      {{"list", "--quiet=yes"}, "--quiet takes no value"},
      {{"list", "--scope", "6"}, "--scope: \"6\" is not a scope"},
      {{"copy", "K", "L", "--to-domain", "a//b"},
       "\"a//b\" is not a domain: it cannot name a file"},
      {{"export", "--format", "yaml"}, "--format: \"yaml\" is not a format"},
      {{"watch", "--count", "2147483648"}, "is not a whole number from 1 to 2147483647"},
  };
  for (const auto& [words, error] : kRows) EXPECT_TRUE(Contains(Line(words).error(), error));
}

// The manual describes exactly the existing commands, each with its words, options and example,
// each global option and each status.
TEST(Grammar, TheManualKnowsEveryCommandAndOption) {
  std::string manual = ReadFile(std::string(ORVIK_SOURCE_FOLDER) + "/docs/orvikprefs.1");
  manual = std::regex_replace(manual, std::regex(R"(\\f[BIR]|^\.(BI|BR|B|TP|I|RB) |")"), "");
  manual = std::regex_replace(manual, std::regex(R"(\\-)"), "-");
  const std::size_t begin = manual.find(".SH COMMANDS"), end = manual.find(".SH SCRIPTS");
  std::map<std::string, std::string> entries;
  for (std::size_t at = manual.find("\n.TP\n", begin), next = 0; at < end; at = next) {
    next = std::min(manual.find("\n.TP\n", at + 1), end);
    const std::string entry = manual.substr(at + 5, next - at - 5) + "\n";
    entries[entry.substr(0, entry.find_first_of(" \n"))] = entry;
  }
  EXPECT_EQ(entries.size(), OrvikPrefsGrammar().commands.size());
  for (const Command& command : OrvikPrefsGrammar().commands) {
    SCOPED_TRACE(command.name);
    const std::string& entry = entries[command.name];
    EXPECT_TRUE(Contains(entry, std::string("Example: ") + command.example + "\n"));
    for (const Positional& word : command.positionals) EXPECT_TRUE(Contains(entry, word.name));
    for (const Option& option : command.options) {
      EXPECT_TRUE(Contains(entry, option.name));
      if (option.letter == 0) continue;
      EXPECT_TRUE(Contains(entry, std::string("-") + option.letter));
    }
  }
  for (const Option& option : OrvikPrefsGrammar().globals) {
    EXPECT_TRUE(Contains(manual.substr(0, begin), option.name));
  }
  for (const StatusRow& row : kStatuses) {
    EXPECT_TRUE(Contains(manual.substr(manual.find(".SH EXIT STATUS")),
                         ".B " + std::to_string(row.status) + "\n"));
  }
}

}  // namespace
}  // namespace orvik::test
