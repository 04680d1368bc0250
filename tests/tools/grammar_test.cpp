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
      {{"--scope", "user", "get", "K", "n"}, {"K", "n"}, "--scope", "user"},
      {{"get", "K", "--scope=5", "n"}, {"K", "n"}, "--scope", "5"},
      {{"get", "--scope=1", "--scope=4", "K"}, {"K"}, "--scope", "4"},
      {{"get", "K", "n", "--default="}, {"K", "n"}, "--default", ""},
      {{"get", "K", "n", "--default", "-z"}, {"K", "n"}, "--default", "-z"},
      {{"export", "-ofile"}, {}, "--output", "file"},
      {{"export", "-qo", "-"}, {}, "--output", "-"},
      {{"import", "-"}, {"-"}, nullptr, ""},
      {{"set", "K", "n", "--int", "-5"}, {"K", "n", "-5"}, "--int", ""},
      {{"set", "K", "n", "-.5"}, {"K", "n", "-.5"}, nullptr, ""},
      {{"set", "K", "n", "-q"}, {"K", "n", "-q"}, nullptr, ""},
      {{"set", "--", "-K", "--n", "--"}, {"-K", "--n", "--"}, nullptr, ""},
      {{"set", "K", "", ""}, {"K", "", ""}, nullptr, ""},
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
  // "--json" before "set" asks for JSON, behind it for a value of JSON.
  const Option* const global = OrvikPrefsGrammar().FindOption(nullptr, "--json");
  EXPECT_TRUE(Line({"--json", "set", "K", "n", "v"}).Has(global));
  EXPECT_FALSE(Line({"set", "K", "n", "v", "--json"}).Has(global));
  EXPECT_TRUE(Line({"list", "--json"}).Has(global));
}

TEST(Grammar, SaysWhatIsWrong) {
  const struct {
    std::vector<std::string> words;
    const char* error;
  } kRows[] = {
      {{}, "a command is missing"},
      {{"--quiet"}, "a command is missing"},
      {{"ge"}, "\"ge\" is not a command; did you mean \"get\"?"},
      {{"xxxxxxxx"}, "\"xxxxxxxx\" is not a command"},
      {{"get"}, "get needs a KEY"},
      {{"set", "K", "n", "--int"}, "set needs a VALUE; one that begins with a dash"},
      {{"list", "a", "b"}, "\"b\" is one word too many for list"},
      {{"list", "-y"}, "\"-y\" is not an option of list"},
      {{"list", "-zy"}, "\"-y\" is not an option of list"},
      {{"--format", "xml", "export"}, "\"--format\" is not an option"},
      {{"list", "--quiet=yes"}, "--quiet takes no value"},
      {{"export", "-o"}, "--output needs a FILE"},
      {{"list", "--scope", "6"}, "--scope: \"6\" is not a scope"},
      {{"list", "--domain="}, "--domain: \"\" is not a domain"},
      {{"copy", "K", "L", "--to-domain", "a//b"},
       "\"a//b\" is not a domain: it cannot name a file"},
      {{"export", "--format", "yaml"}, "--format: \"yaml\" is not a format"},
      {{"watch", "--count", "1.5"}, "--count: \"1.5\" is not a whole number"},
      {{"watch", "--count", "2147483648"}, "is not a whole number from 1 to 2147483647"},
      {{"list", "\xff"}, "is not UTF-8"},
  };
  for (const auto& row : kRows) {
    const std::string error = Line(row.words).error();
    EXPECT_TRUE(Contains(error, row.error));
  }
}

// The text of a manual page without its markup.
std::string PlainManual() {
  std::string text = ReadFile(std::string(ORVIK_SOURCE_FOLDER) + "/docs/orvikprefs.1");
  text = std::regex_replace(text, std::regex(R"(\\f[BIR]|^\.(BI|BR|B|TP|I|RB) |")"), "");
  return std::regex_replace(text, std::regex(R"(\\-)"), "-");
}

// The manual knows each command with its words, options and example, each global option and each
// status, and no command that is none.
TEST(Grammar, TheManualKnowsEveryCommandAndOption) {
  const std::string manual = PlainManual();
  const std::string commands = manual.substr(
      manual.find(".SH COMMANDS"), manual.find(".SH SCRIPTS") - manual.find(".SH COMMANDS"));
  const auto begin_of = [&](const Command& command) {
    return commands.find(std::string("\n.TP\n") + command.name +
                         (command.positionals.empty() && command.options.empty() ? "\n" : " "));
  };
  std::size_t count = 0;
  for (const Command& command : OrvikPrefsGrammar().commands) {
    SCOPED_TRACE(command.name);
    const std::size_t begin = begin_of(command);
    ASSERT_NE(begin, std::string::npos);
    const std::string entry =
        commands.substr(begin, commands.find("\n.TP\n", begin + 1) + 1 - begin);
    EXPECT_TRUE(Contains(entry, std::string("Example: ") + command.example + "\n"));
    for (const Option& option : command.options) {
      EXPECT_TRUE(Contains(entry, option.name));
      if (option.letter == 0) continue;
      EXPECT_TRUE(Contains(entry, std::string("-") + option.letter));
    }
    for (const Positional& word : command.positionals) EXPECT_TRUE(Contains(entry, word.name));
    ++count;
  }
  for (std::size_t at = 0; (at = commands.find("\n.TP\n", at)) != std::string::npos; ++at) --count;
  EXPECT_EQ(count, 0u);
  for (const Option& option : OrvikPrefsGrammar().globals) {
    EXPECT_TRUE(Contains(manual.substr(0, manual.find(".SH COMMANDS")), option.name));
  }
  for (const StatusRow& row : kStatuses) {
    EXPECT_TRUE(Contains(manual.substr(manual.find(".SH EXIT STATUS")),
                         ".B " + std::to_string(row.status) + "\n"));
  }
}

}  // namespace
}  // namespace orvik::test
