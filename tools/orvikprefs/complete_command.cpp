#include <algorithm>

#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// Collects the words that begin with the unfinished word. Words that cannot be typed are left out:
// those whose escaped form differs in more than doubled backslashes.
class Candidates {
 public:
  explicit Candidates(std::string word) : word_(std::move(word)) {}

  void Offer(const std::string& candidate) {
    if (candidate.starts_with(word_) &&
        Escaped(candidate).size() - candidate.size() ==
            static_cast<std::size_t>(std::count(candidate.begin(), candidate.end(), '\\'))) {
      found_.push_back(candidate);
    }
  }

  const std::string& word() const { return word_; }
  const std::vector<std::string>& found() const { return found_; }

 private:
  std::string word_;
  std::vector<std::string> found_;
};

bool HoldsKeys(const Value& key) {
  for (const Value::Entry& entry : key.entries()) {
    if (entry.value.is_dictionary()) return true;
  }
  return false;
}

// The keys of one level: those below the text before the last separator.
void OfferKeys(const Context& context, Candidates& candidates) {
  const std::string& word = candidates.word();
  const std::size_t end = word.find_last_of("/\\") + 1;
  const std::optional<KeyPath> above = ParseKey(word.substr(0, end));
  if (!above) return;
  const PrefValue key = ReadPreferenceKey(context.scope, *above, context.domain);
  for (const Value::Entry* entry : plist::SortedEntries(key.value)) {
    const std::string name = NameText(entry->key.text());
    if (!entry->value.is_dictionary() || name.empty() ||
        name.find_first_of("/\\") != std::string::npos) {
      continue;
    }
    candidates.Offer(word.substr(0, end) + name + (HoldsKeys(entry->value) ? "/" : ""));
  }
}

void OfferNames(const Context& context, const std::string& key, Candidates& candidates) {
  const std::optional<KeyPath> path = ParseKey(key);
  if (!path) return;
  const PrefValue found = ReadPreferenceKey(context.scope, *path, context.domain);
  for (const Value::Entry* entry : plist::SortedEntries(found.value)) {
    candidates.Offer(NameText(entry->key.text()));
  }
}

void OfferOptions(const CommandLine& line, Candidates& candidates) {
  const std::span<const Option> own =
      line.command() != nullptr ? line.command()->options : std::span<const Option>();
  for (const std::span<const Option> table : {OrvikPrefsGrammar().globals, own}) {
    for (const Option& option : table) {
      // An option of the command hides a global one of the same name.
      const Option* const found = OrvikPrefsGrammar().FindOption(line.command(), option.name);
      if (found == &option) candidates.Offer(option.name);
    }
  }
}

// True when the shell completes file names itself.
bool OfferWords(const Context& context, Word kind, const CommandLine& line,
                Candidates& candidates) {
  switch (kind) {
    case Word::kKey:
      OfferKeys(context, candidates);
      break;
    case Word::kName:
      OfferNames(context, line.Argument(line.count() >= 3 ? 2 : 0), candidates);
      break;
    case Word::kScope:
      for (const ScopeName& row : kScopeNames) candidates.Offer(row.name);
      break;
    case Word::kDomain:
      for (const DomainFile& domain : DomainsOf(context.scope).list) candidates.Offer(domain.name);
      break;
    case Word::kCommand:
      for (const Command& command : OrvikPrefsGrammar().commands) candidates.Offer(command.name);
      break;
    case Word::kFile:
    case Word::kFolder:
      return true;
    default:
      for (const char* const candidate : WordsOf(kind)) candidates.Offer(candidate);
      break;
  }
  return false;
}

}  // namespace

// The store is the one that the words would use when the line is run.
int Complete(const Context& context, const CommandLine& line) {
  std::vector<std::string> words = line.arguments();
  const std::string last = words.empty() ? "" : words.back();
  if (!words.empty()) words.pop_back();
  const CommandLine given(OrvikPrefsGrammar(), words);
  Context store = context;
  if (!UseStore(store, given)) return kUsage;

  const Option* option = given.pending();
  const Context target = TargetStore(store, given);
  std::string word = last;
  const std::size_t equals = last.find('=');
  if (option == nullptr && !given.options_ended() && last.starts_with("--") &&
      equals != std::string::npos) {
    option = OrvikPrefsGrammar().FindOption(given.command(), last.substr(0, equals));
    if (option == nullptr) return kDone;
    word = last.substr(equals + 1);
  }
  Candidates candidates(word);
  bool files = false;
  // A word with a dash at its start is an option here.
  const bool dash_begins_option = option == nullptr && !given.options_ended();
  if (option != nullptr) {
    const bool is_of_target = std::string_view(option->name).starts_with("--to-");
    files = OfferWords(is_of_target ? target : store, option->word, given, candidates);
  } else if (dash_begins_option && last.starts_with('-')) {
    OfferOptions(given, candidates);
  } else if (given.command() == nullptr) {
    OfferWords(store, Word::kCommand, given, candidates);
  } else if (const Positional* const next = given.NextPositional(); next != nullptr) {
    // The words after KEY and NAME belong to the other store, if the line names one.
    files = OfferWords(given.count() < 2 ? store : target, next->word, given, candidates);
  }
  context.Item(files ? "files" : "words");
  for (const std::string& candidate : candidates.found()) {
    if (!dash_begins_option || candidate.starts_with('-') == last.starts_with('-')) {
      context.Item(candidate);
    }
  }
  return kDone;
}

}  // namespace orvik::prefstool
