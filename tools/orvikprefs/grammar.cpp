#include "tools/orvikprefs/grammar.h"

#include <algorithm>
#include <numeric>

#include "prefs/scope.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kFormats[] = {"xml", "json"};
constexpr const char* kFileFormats[] = {"xml", "json", "binary"};
constexpr const char* kTypeNames[] = {"string", "integer", "real",  "boolean",
                                      "date",   "data",    "array", "dictionary"};

template <class Row>
const Row* FindRow(std::span<const Row> rows, const auto& matches) {
  const auto found = std::find_if(rows.begin(), rows.end(), matches);
  return found == rows.end() ? nullptr : &*found;
}

// An option of the command hides a global one of the same name.
const Option* FindOptionIf(const Grammar& grammar, const Command* command, const auto& matches) {
  const Option* const own = command != nullptr ? FindRow(command->options, matches) : nullptr;
  return own != nullptr ? own : FindRow(grammar.globals, matches);
}

// "is not a format: xml, json or binary"; "" if the word is one of the words.
std::string NotOneOf(std::span<const char* const> words, std::string_view word, const char* what) {
  std::string mistake = std::string("is not ") + what + ":";
  for (const char* const& known : words) {
    if (word == known) return "";
    mistake += &known == &words.front() ? " " : &known == &words.back() ? " or " : ", ";
    mistake += known;
  }
  return mistake;
}

// The mistake in a word, as the end of a sentence, or "".
std::string MistakeIn(Word kind, const std::string& word) {
  switch (kind) {
    case Word::kScope:
      return ScopeOf(word) ? "" : "is not a scope: shared, user, machine, or 0 to 5";
    case Word::kFormat:
    case Word::kFileFormat:
    case Word::kType:
      return NotOneOf(WordsOf(kind), word, kind == Word::kType ? "a type" : "a format");
    case Word::kCount:
      return ParseNumber<int>(word).value_or(0) >= 1 ? ""
                                                     : "is not a whole number from 1 to 2147483647";
    case Word::kSeconds: {
      const double seconds = ParseNumber<double>(word).value_or(-1);
      return seconds >= 0 && seconds < 1e6 ? "" : "is not a number of seconds";
    }
    case Word::kDomain:
      return IsUsableDomain(FromUtf8(word).value_or(u""))
                 ? ""
                 : "is not a domain: it cannot name a file";
    case Word::kKey:
    case Word::kName:
    case Word::kText:
      return FromUtf8(word) ? "" : "is not UTF-8";
    default:
      return "";
  }
}

// The smallest number of letters to change, add or remove that turns one word into the other.
std::size_t EditDistance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0u);
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t changed = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

// A word such as "-1", "-.5" or "-inf" is a value, not a group of options.
bool IsNumber(std::string_view word) {
  return word == "-inf" ||
         (word.size() > 1 && ((word[1] >= '0' && word[1] <= '9') || word[1] == '.'));
}

// The same with the names of rows.
template <class Row>
std::string DidYouMeanRow(std::string_view word,
                          std::initializer_list<std::span<const Row>> tables) {
  std::vector<std::string_view> names;
  for (const std::span<const Row> table : tables) {
    for (const Row& row : table) names.emplace_back(row.name);
  }
  return DidYouMean(word, names);
}

}  // namespace

std::span<const char* const> WordsOf(Word kind) {
  switch (kind) {
    case Word::kFormat:
      return kFormats;
    case Word::kFileFormat:
      return kFileFormats;
    case Word::kType:
      return kTypeNames;
    default:
      return {};
  }
}

std::optional<int> ScopeOf(std::string_view name) {
  for (const ScopeName& row : kScopeNames) {
    if (name == row.name) return row.scope;
  }
  return std::nullopt;
}

// Scopes 2, 3 and 5 have the names of their effective scopes.
const char* NameOfScope(int scope) {
  const auto* const row = FindRow(kNamedScopes, [scope](const ScopeName& named) {
    return named.scope == EffectiveDomain(scope, u"").scope;
  });
  return row != nullptr ? row->name : "";
}

const Command* Grammar::Find(std::string_view name) const {
  return FindRow(commands, [&](const Command& command) { return name == command.name; });
}

const Option* Grammar::FindOption(const Command* command, std::string_view name) const {
  return FindOptionIf(*this, command, [&](const Option& option) { return name == option.name; });
}

const Option* Grammar::FindOption(const Command* command, char letter) const {
  return FindOptionIf(*this, command,
                      [&](const Option& option) { return letter == option.letter; });
}

// The nearest name, for the end of a message: a name that begins with the word, or one with few
// letters changed (a third of them plus one). "" when none is near.
std::string DidYouMean(std::string_view word, std::span<const std::string_view> names) {
  constexpr std::size_t kLongest = 32;
  if (word.size() > kLongest) return "";
  std::string_view nearest;
  std::size_t least = 2 + word.size() / 3;  // a greater distance means another word
  for (const std::string_view name : names) {
    const bool begins = word.size() >= 2 && name.starts_with(word) && word != "--";
    const std::size_t distance = begins ? 0 : EditDistance(word, name);
    if (distance >= least) continue;
    nearest = name;
    least = distance;
  }
  return nearest.empty() ? "" : "; did you mean \"" + std::string(nearest) + "\"?";
}

std::string Grammar::NotACommand(std::string_view word) const {
  return Quoted(word) + " is not a command" + DidYouMeanRow<Command>(word, {commands});
}

// Options and other words may come in any order, the command first among the other words. "--" ends
// the options. The first mistake is the error; later ones follow from it.
CommandLine::CommandLine(const Grammar& grammar, std::span<const std::string> words) {
  for (const std::string& word : words) {
    if (!error_.empty()) return;
    if (pending_ != nullptr) {
      Add(*std::exchange(pending_, nullptr), word);
    } else if (options_ended_ || word.size() < 2 || word[0] != '-' || IsNumber(word) ||
               IsLastText(words, word)) {
      ParsePositional(grammar, word);
    } else if (word == "--") {
      options_ended_ = true;
    } else if (word.starts_with("--")) {
      ParseOption(grammar, word);
    } else {
      ParseLetters(grammar, std::string_view(word).substr(1));
    }
  }
  CheckEnd();
}

// The last word, when only a required text is missing: scripts pass any value there.
bool CommandLine::IsLastText(std::span<const std::string> words, const std::string& word) const {
  const Positional* const next = NextPositional();
  return &word == &words.back() && !word.starts_with("--") && count() > 0 && next != nullptr &&
         next->word == Word::kText && next->count == Positional::Count::kOne;
}

// "--name", "--name=value" or "--name value". Names cannot be abbreviated: a later version could
// make an abbreviation ambiguous.
void CommandLine::ParseOption(const Grammar& grammar, std::string_view word) {
  const std::size_t equals = word.find('=');
  const std::string_view name = word.substr(0, equals);
  const Option* const option = grammar.FindOption(command_, name);
  if (option == nullptr) {
    const std::span<const Option> own =
        command_ != nullptr ? command_->options : std::span<const Option>();
    Fail(Quoted(name) + " is not an option" + OfCommand() +
         DidYouMeanRow<Option>(name, {own, grammar.globals}));
  } else if (equals != std::string_view::npos && option->word == Word::kFlag) {
    Fail(std::string(option->name) + " takes no value");
  } else if (equals != std::string_view::npos) {
    Add(*option, std::string(word.substr(equals + 1)));
  } else if (option->word == Word::kFlag) {
    Add(*option, "");
  } else {
    pending_ = option;
  }
}

std::string CommandLine::OfCommand() const {
  return command_ != nullptr ? std::string(" of ") + command_->name : std::string();
}

// "-abc" are three flags. For the first letter that takes a value, the rest of the word is the
// value, or the next word if there is no rest.
void CommandLine::ParseLetters(const Grammar& grammar, std::string_view letters) {
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const Option* const option = grammar.FindOption(command_, letters[i]);
    if (option == nullptr) {
      Fail(Quoted("-" + std::string(letters.substr(i))) + " is not an option" + OfCommand());
      return;
    }
    if (option->word == Word::kFlag) {
      Add(*option, "");
    } else if (i + 1 < letters.size()) {
      Add(*option, std::string(letters.substr(i + 1)));
      return;
    } else {
      pending_ = option;
    }
  }
}

// The first word is the command, the others are its positional words.
void CommandLine::ParsePositional(const Grammar& grammar, const std::string& word) {
  if (command_ == nullptr) {
    command_ = grammar.Find(word);
    if (command_ != nullptr) return;
    Fail(grammar.NotACommand(word));
    return;
  }
  const Positional* const row = NextPositional();
  if (row == nullptr) {
    Fail(Quoted(word) + " is one word too many for " + command_->name);
    return;
  }
  if (const std::string wrong = MistakeIn(row->word, word); !wrong.empty()) {
    Fail(std::string(row->name) + ": " + Quoted(word) + " " + wrong);
  }
  positionals_.push_back(word);
}

void CommandLine::Add(const Option& option, std::string value) {
  if (const std::string wrong = MistakeIn(option.word, value);
      option.word != Word::kFlag && !wrong.empty()) {
    Fail(std::string(option.name) + ": " + Quoted(value) + " " + wrong);
  }
  options_.emplace_back(&option, std::move(value));
}

// The last positional of a command may take many words; null when no more words are allowed.
const Positional* CommandLine::NextPositional() const {
  if (command_ == nullptr || command_->positionals.empty()) return nullptr;
  const auto rows = command_->positionals;
  if (count() < rows.size()) return &rows[count()];
  return rows.back().count == Positional::Count::kMany ? &rows.back() : nullptr;
}

// With --help and --version the rest of the line may be incomplete.
void CommandLine::CheckEnd() {
  if (Has("--help") || Has("--version")) return;
  if (pending_ != nullptr) {
    Fail(std::string(pending_->name) + " needs a " + pending_->placeholder);
  } else if (command_ == nullptr) {
    Fail("a command is missing");
  } else if (const Positional* const next = NextPositional();
             next != nullptr && next->count == Positional::Count::kOne) {
    Fail(std::string(command_->name) + " needs a " + next->name +
         (options_.empty() ? "" : "; one that begins with a dash is given behind \"--\""));
  }
}

void CommandLine::Fail(const std::string& error) {
  if (error_.empty()) error_ = error;
}

// If an option is given several times the last one counts, as in other programs.
const std::string* CommandLine::Find(std::string_view option) const {
  for (auto row = options_.rbegin(); row != options_.rend(); ++row) {
    if (option == row->first->name) return &row->second;
  }
  return nullptr;
}

bool CommandLine::Has(const Option* option) const {
  return std::any_of(options_.begin(), options_.end(),
                     [&](const auto& row) { return row.first == option; });
}

std::string CommandLine::Value(std::string_view option, std::string_view otherwise) const {
  const std::string* const value = Find(option);
  return value != nullptr ? *value : std::string(otherwise);
}

}  // namespace orvik::prefstool
