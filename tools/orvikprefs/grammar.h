// The words of a command line, by a table of commands and options. Nothing here does input or
// output.
//
// A program is a Grammar: constant tables of commands, their positional words and options. The
// parser, the help, the completion and the test of the manual page read the same tables, so a
// command or an option is one row. The meaning of a word (Word) defines the accepted texts and the
// completions.
//
//   const CommandLine line(grammar, words);
//   if (!line.error().empty()) ...        // the first mistake; other results are then invalid
//   return line.command()->run(context, line);
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvik::prefstool {

// The meaning of a word. It defines the accepted texts and the completions.
//
//   meaning                 accepted                                  offered
//   kFlag                   no word follows the option                -
//   kKey, kName, kText      UTF-8                                     keys, names of the store; -
//   kScope                  shared, user, machine, 0 to 5             these
//   kDomain                 UTF-8, usable as a file name              domains with a file
//   kFormat, kFileFormat,   a word of WordsOf                         these
//     kType
//   kFile, kFolder          any bytes; the command opens it           by the shell
//   kCount                  a whole number from 1 to 2147483647       -
//   kSeconds                a number from 0 to below a million        -
//   kCommand                any word; `help` looks it up              the commands
enum class Word {
  kFlag,
  kKey,
  kName,
  kText,
  kScope,
  kDomain,
  kFormat,
  kFileFormat,
  kType,
  kFile,
  kFolder,
  kCount,
  kSeconds,
  kCommand,
};

// An option of the program, or of one command. If given twice, the last one counts.
struct Option {
  const char* name;         // "--scope"
  char letter;              // of "-q"; 0 for none
  Word word;                // of the value; kFlag: no value
  const char* placeholder;  // "SCOPE"; "" of a flag
  const char* help;         // a phrase without a full stop
};

// A word without a dash, by its place. Only the last ones may be optional, and only the last one
// may be kMany: any number of words, also none.
struct Positional {
  const char* name;  // "KEY"
  Word word;
  enum class Count { kOne, kOptional, kMany } count;
  const char* help;
};

struct Context;
class CommandLine;

struct Command {
  const char* name;
  const char* help;
  const char* example;  // a whole command line
  std::span<const Positional> positionals;
  std::span<const Option> options;
  int (*run)(const Context& context, const CommandLine& line);
};

// The commands and options of one program. The tables must outlive it and the command lines parsed
// with it.
struct Grammar {
  std::span<const Option> globals;
  std::span<const Command> commands;

  // Null when the command does not exist.
  const Command* Find(std::string_view name) const;
  // A message: "\"ge\" is not a command; did you mean \"get\"?".
  std::string NotACommand(std::string_view word) const;
  // The option of the command, else the global one; null when neither exists. `command` may be
  // null. A command's option hides a global one of the same name after the command's name.
  const Option* FindOption(const Command* command, std::string_view name) const;
  const Option* FindOption(const Command* command, char letter) const;
};

// The words of Word::kFormat, kFileFormat and kType; empty for other meanings.
std::span<const char* const> WordsOf(Word kind);

struct ScopeName {
  const char* name;
  int scope;
};
inline constexpr ScopeName kScopeNames[] = {{"shared", 0}, {"user", 1}, {"machine", 4},
                                            {"0", 0},      {"1", 1},    {"2", 2},
                                            {"3", 3},      {"4", 4},    {"5", 5}};
// The scopes that have names, not only numbers.
inline constexpr std::span<const ScopeName> kNamedScopes(kScopeNames, 3);
std::optional<int> ScopeOf(std::string_view name);
// The name of the scope (0 to 5) by its files: "shared", "user" or "machine".
const char* NameOfScope(int scope);

// A parsed command line. It stores copies of the words.
class CommandLine {
 public:
  // Parses the words after the name of the program. Parsing ends at the first mistake.
  //
  //   word                      meaning
  //   --scope user              an option and its value, anywhere before "--"
  //   --scope=user, -oFILE      the same in one word
  //   -qz, -qo FILE             joined letters; the last may take a value
  //   --                        all later words are words without a dash
  //   -, -5, -.5                words without a dash: a file, numbers
  //   the first other word      the command
  //   -x, last of "set K N -x"  the VALUE that is still missing
  CommandLine(const Grammar& grammar, std::span<const std::string> words);

  // The mistake, as a harmless sentence without a full stop; "" for a valid command line. With
  // --help or --version a command or its words may be missing.
  const std::string& error() const { return error_; }
  const Command* command() const { return command_; }  // null when it is missing or unknown

  bool Has(std::string_view option) const { return Find(option) != nullptr; }
  // Whether the option of this row was given: one of a command, or the global one of the same name.
  bool Has(const Option* option) const;
  // The last value given, "" for a flag; `otherwise` when the option was not given.
  std::string Value(std::string_view option, std::string_view otherwise = "") const;

  std::size_t count() const { return positionals_.size(); }
  // The word without a dash at the index, from 0; "" when it was not given.
  std::string Argument(std::size_t index) const {
    return index < count() ? positionals_[index] : std::string();
  }
  const std::vector<std::string>& arguments() const { return positionals_; }

  // For completion: the option whose value would be the next word, and whether "--" was given.
  const Option* pending() const { return pending_; }
  bool options_ended() const { return options_ended_; }
  // The meaning of the next word without a dash; null when none is allowed.
  const Positional* NextPositional() const;

 private:
  bool IsLastText(std::span<const std::string> words, const std::string& word) const;
  void ParseOption(const Grammar& grammar, std::string_view word);
  void ParseLetters(const Grammar& grammar, std::string_view letters);
  void ParsePositional(const Grammar& grammar, const std::string& word);
  std::string OfCommand() const;
  void Add(const Option& option, std::string value);
  void CheckEnd();
  void Fail(const std::string& error);
  const std::string* Find(std::string_view option) const;

  const Command* command_ = nullptr;
  const Option* pending_ = nullptr;
  bool options_ended_ = false;
  std::vector<std::string> positionals_;
  std::vector<std::pair<const Option*, std::string>> options_;
  std::string error_;
};

// The end of a message about an unknown word: "; did you mean \"get\"?" with the nearest of the
// names by the letters to add, remove or change, or one that begins with the word; "" when none is
// near, and for a word of more than 32 bytes. Of several equally near names the first is chosen.
std::string DidYouMean(std::string_view word, std::span<const std::string_view> names);

}  // namespace orvik::prefstool
