#include <ostream>

#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

constexpr std::size_t kColumn = 26;

void PrintRow(std::ostream& out, std::string left, const char* help) {
  left.insert(0, "  ");
  if (left.size() + 2 > kColumn) {
    out << left << '\n';
    left.clear();
  }
  left.resize(kColumn, ' ');
  out << left << help << '\n';
}

void PrintOptions(std::ostream& out, std::span<const Option> options) {
  if (options.empty()) return;
  out << "\nOptions:\n";
  for (const Option& option : options) {
    std::string left = option.letter != 0 ? std::string{'-', option.letter, ','} : std::string();
    left += option.name;
    if (option.word != Word::kFlag) left += std::string(" ") + option.placeholder;
    PrintRow(out, left, option.help);
  }
}

void PrintCommand(std::ostream& out, const Command& command) {
  out << command.help << "\nUsage: orvikprefs " << command.name;
  if (!command.options.empty()) out << " [OPTIONS]";
  for (const Positional& row : command.positionals) {
    out << ' ' << (row.count == Positional::Count::kOptional ? "[" : "") << row.name
        << (row.count == Positional::Count::kOptional ? "]" : "")
        << (row.count == Positional::Count::kMany ? "..." : "");
  }
  out << "\nExample: " << command.example << '\n';
  if (!command.positionals.empty()) out << "\nPositionals:\n";
  for (const Positional& row : command.positionals) PrintRow(out, row.name, row.help);
  PrintOptions(out, command.options);
}

void PrintProgram(std::ostream& out, const Grammar& grammar) {
  out << "Looks into, changes and repairs the ORVIK preference store.\n"
         "Usage: orvikprefs [OPTIONS] SUBCOMMAND\n";
  PrintOptions(out, grammar.globals);
  out << "\nSubcommands:\n";
  for (const Command& command : grammar.commands) PrintRow(out, command.name, command.help);
  out << "\nA KEY is a path such as \"Software/ORVIK Technologies\". Exit status:\n";
  for (const StatusRow& row : kStatuses) out << "  " << row.status << " " << row.meaning << '\n';
}

}  // namespace

int Help(const Context& context, const CommandLine& line) {
  const Grammar& grammar = OrvikPrefsGrammar();
  // "help COMMAND", or "COMMAND --help".
  const bool by_command = line.command() != nullptr && line.command()->run != &Help;
  const Command* command = line.command();
  if (!by_command) {
    command = line.count() > 0 ? grammar.Find(line.Argument(0)) : nullptr;
    if (line.count() > 0 && command == nullptr) {
      return context.Fail(kUsage, Quoted(line.Argument(0)) + " is no command" +
                                      DidYouMeanCommand(grammar, line.Argument(0)));
    }
  }
  if (command != nullptr) {
    PrintCommand(*context.out, *command);
  } else {
    PrintProgram(*context.out, grammar);
  }
  return kDone;
}

}  // namespace orvik::prefstool
