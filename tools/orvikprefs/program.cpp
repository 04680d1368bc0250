#include "tools/orvikprefs/commands.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>

#include "platform/core_foundation/object.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// The absolute path of the folder of an option, because a home must be absolute; "" after a
// message.
std::string FolderOf(const Context& context, const std::string& folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) {
    std::string path = std::filesystem::absolute(folder, error).string();
    if (!error) return path;
  }
  context.Fail(kUsage, Quoted(folder) + " is not a folder" +
                           (error ? ": " + error.message() : std::string()));
  return "";
}

// Runs a parsed line. Help and version come first: they do not read the store.
int RunCommand(Context& context, const CommandLine& line) {
  const Grammar& grammar = OrvikPrefsGrammar();
  if (!line.error().empty()) {
    return context.Fail(kUsage,
                        line.error() + "; orvikprefs --help lists the commands and options");
  }
  if (line.Has("--version")) {
    *context.out << "orvikprefs " ORVIK_VERSION "\n";
    return kDone;
  }
  if (line.Has("--help")) return Help(context, line);
  if (!UseStore(context, line)) return kUsage;
  if (line.Has("--timeout")) {
    const double seconds = std::strtod(line.Value("--timeout").c_str(), nullptr);
    context.lock_wait = std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
  }
  context.quiet = line.Has("--quiet");
  context.json = line.Has(grammar.FindOption(nullptr, "--json"));
  context.null_separated = line.Has("--null");
  return line.command()->run(context, line);
}

constexpr std::size_t kColumn = 26;  // of the help texts

// A name and its help text, which begins on the next line after a long name.
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

// The parser and the shell completion use the same tables as this text.
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

// If a path leads to a value instead of a key, the message names the command that prints it.
int FailToReadKey(const Context& context, const PrefStatus& status, const KeyPath& key) {
  const bool is_value =
      status.error == PrefError::kNotAKey && !key.empty() &&
      ReadPreference(context.scope, key.Parent(), key.name(key.count()), context.domain).ok();
  if (!is_value) return context.Fail(status, KeyText(key), false);
  return context.Fail(
      kNotFound, QuotedPath(PathOf(key)) + " is a value, not a key; \"orvikprefs get\" prints it");
}

bool UseStore(Context& context, const CommandLine& line) {
  // With another root the caller's home is ignored, unless --home names one.
  if (line.Has("--root")) {
    const std::string root = FolderOf(context, line.Value("--root"));
    if (root.empty()) return false;
    setenv("ORVIK_SYSTEM_ROOT", root.c_str(), 1);
    setenv("HOME", (root + "/root").c_str(), 1);
  }
  if (line.Has("--home")) {
    const std::string home = FolderOf(context, line.Value("--home"));
    if (home.empty()) return false;
    setenv("HOME", home.c_str(), 1);
  }
  if (line.Has("--scope")) context.scope = ScopeOf(line.Value("--scope")).value_or(context.scope);
  if (line.Has("--domain")) {
    context.domain = FromUtf8(line.Value("--domain")).value_or(context.domain);
  }
  return true;
}

Context TargetStore(const Context& context, const CommandLine& line) {
  Context target = context;
  target.scope = ScopeOf(line.Value("--to-scope")).value_or(context.scope);
  if (line.Has("--to-domain")) {
    target.domain = FromUtf8(line.Value("--to-domain")).value_or(context.domain);
  }
  return target;
}

// Output that cannot be written is a failure of the command: a script must not take a part of a
// list for the whole.
int Run(int argc, const char* const* argv, bool terminal, std::ostream& out, std::ostream& error) {
  const NSAutoreleasePool pool;
  Context context;
  context.domain = u"com.orviktech.Registry";
  context.terminal = terminal;
  const auto variable = [](const char* name) {
    const char* const value = std::getenv(name);
    return std::string(value != nullptr ? value : "");
  };
  const std::string kind = variable("TERM");
  context.colour = terminal && variable("NO_COLOR").empty() && !kind.empty() && kind != "dumb";
  context.out = &out;
  context.error = &error;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) words.emplace_back(argv[i]);
  const int status = RunCommand(context, CommandLine(OrvikPrefsGrammar(), words));
  out.flush();
  if (!out.good()) return context.Fail(kNotSaved, "the output cannot be written");
  return status;
}

int Help(const Context& context, const CommandLine& line) {
  const Grammar& grammar = OrvikPrefsGrammar();
  // "help COMMAND", or "COMMAND --help".
  const bool by_command = line.command() != nullptr && line.command()->run != &Help;
  const Command* command = line.command();
  if (!by_command) {
    command = line.count() > 0 ? grammar.Find(line.Argument(0)) : nullptr;
    if (line.count() > 0 && command == nullptr) {
      return context.Fail(kUsage, grammar.NotACommand(line.Argument(0)));
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
