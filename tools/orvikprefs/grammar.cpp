#include "tools/orvikprefs/grammar.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <utility>

#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

template <class Row>
const Row* FindRow(std::span<const Row> rows, const auto& matches) {
  const auto found = std::find_if(rows.begin(), rows.end(), matches);
  return found == rows.end() ? nullptr : &*found;
}

bool IsWholeNumber(std::string_view text) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= 1;
}

bool IsSeconds(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= 0 && value < 1e6;
}

bool IsOneOf(std::span<const char* const> words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// The mistake in a word, as the end of a sentence; "" for none.
std::string MistakeIn(Word kind, const std::string& word) {
  switch (kind) {
    case Word::kScope:
      return ScopeOf(word) ? "" : "is not a scope: shared, user, machine, or 0 to 5";
    case Word::kFormat:
      return IsOneOf(kFormats, word) ? "" : "is not a format: xml or json";
    case Word::kFileFormat:
      return IsOneOf(kFileFormats, word) ? "" : "is not a format: xml, json or binary";
    case Word::kType:
      return IsOneOf(kTypeNames, word)
                 ? ""
                 : "is not a type: string, integer, real, boolean, date, data, "
                   "array or dictionary";
    case Word::kCount:
      return IsWholeNumber(word) ? "" : "is not a whole number of at least 1";
    case Word::kSeconds:
      return IsSeconds(word) ? "" : "is not a number of seconds";
    case Word::kDomain:
      if (word.empty()) return "is not a domain";
      [[fallthrough]];
    case Word::kKey:
    case Word::kName:
    case Word::kText:
      return FromUtf8(word) ? "" : "is not UTF-8";
    default:
      return "";
  }
}

// The fewest letters to change, add or remove that make one word of the other.
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

bool IsNumber(std::string_view word) {
  return word.size() > 1 && ((word[1] >= '0' && word[1] <= '9') || word[1] == '.');
}

}  // namespace

std::optional<int> ScopeOf(std::string_view name) {
  for (const ScopeName& row : kScopeNames) {
    if (name == row.name) return row.scope;
  }
  return std::nullopt;
}

const Command* Grammar::Find(std::string_view name) const {
  return FindRow(commands, [&](const Command& command) { return name == command.name; });
}

const Option* Grammar::FindOption(const Command* command, std::string_view name) const {
  const auto matches = [&](const Option& option) { return name == option.name; };
  const Option* own = command != nullptr ? FindRow(command->options, matches) : nullptr;
  return own != nullptr ? own : FindRow(globals, matches);
}

const Option* Grammar::FindOption(const Command* command, char letter) const {
  const auto matches = [&](const Option& option) { return letter == option.letter; };
  const Option* own = command != nullptr ? FindRow(command->options, matches) : nullptr;
  return own != nullptr ? own : FindRow(globals, matches);
}

std::string DidYouMean(std::string_view word, std::span<const std::string_view> names) {
  constexpr std::size_t kLongest = 32;
  if (word.size() > kLongest) return "";
  std::string_view nearest;
  std::size_t least = 2 + word.size() / 3;  // a greater distance is another word
  for (const std::string_view name : names) {
    const bool begins = word.size() >= 2 && name.starts_with(word) && word != "--";
    const std::size_t distance = begins ? 0 : EditDistance(word, name);
    if (distance >= least) continue;
    nearest = name;
    least = distance;
  }
  return nearest.empty() ? "" : "; did you mean \"" + std::string(nearest) + "\"?";
}

std::string DidYouMeanCommand(const Grammar& grammar, std::string_view word) {
  std::vector<std::string_view> names;
  names.reserve(grammar.commands.size());
  for (const Command& command : grammar.commands) names.emplace_back(command.name);
  return DidYouMean(word, names);
}

std::string DidYouMeanOption(const Grammar& grammar, const Command* command,
                             std::string_view word) {
  std::vector<std::string_view> names;
  names.reserve(grammar.globals.size() + (command != nullptr ? command->options.size() : 0));
  if (command != nullptr) {
    for (const Option& option : command->options) names.emplace_back(option.name);
  }
  for (const Option& option : grammar.globals) names.emplace_back(option.name);
  return DidYouMean(word, names);
}

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

// A text that is still missing when the line ends: scripts pass any value there.
bool CommandLine::IsLastText(std::span<const std::string> words, const std::string& word) const {
  const Positional* const next = NextPositional();
  return &word == &words.back() && !word.starts_with("--") && count() > 0 && next != nullptr &&
         next->word == Word::kText && next->count == Positional::Count::kOne;
}

void CommandLine::ParseOption(const Grammar& grammar, std::string_view word) {
  const std::size_t equals = word.find('=');
  const std::string_view name = word.substr(0, equals);
  const Option* const option = grammar.FindOption(command_, name);
  if (option == nullptr) {
    Fail(Quoted(name) + " is not an option" +
         (command_ != nullptr ? " of " + std::string(command_->name) : "") +
         DidYouMeanOption(grammar, command_, name));
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

void CommandLine::ParseLetters(const Grammar& grammar, std::string_view letters) {
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const Option* const option = grammar.FindOption(command_, letters[i]);
    if (option == nullptr) {
      Fail(Quoted("-" + std::string(letters.substr(i))) + " is not an option" +
           (command_ != nullptr ? " of " + std::string(command_->name) : ""));
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

void CommandLine::ParsePositional(const Grammar& grammar, const std::string& word) {
  if (command_ == nullptr) {
    command_ = grammar.Find(word);
    if (command_ != nullptr) return;
    Fail(Quoted(word) + " is not a command" + DidYouMeanCommand(grammar, word));
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

const Positional* CommandLine::NextPositional() const {
  if (command_ == nullptr || command_->positionals.empty()) return nullptr;
  const auto rows = command_->positionals;
  if (count() < rows.size()) return &rows[count()];
  return rows.back().count == Positional::Count::kMany ? &rows.back() : nullptr;
}

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
