#include "tools/orvikprefs/change_script.h"

#include <algorithm>
#include <array>

#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/files.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// The arguments of a line.
struct Words {
  KeyPath key;
  CAtlString name;
  Value value;
  ReplaceKeys replace = ReplaceKeys::kNo;
  bool keep_type = false;
};

bool IsKeyOrNothing(const Value& present) {
  return !present || present.is_dictionary();
}

void AddElement(Transaction& transaction, const Words& words) {
  transaction.Update(words.key, words.name, [element = words.value](const Value& present) {
    if (present.is_array()) {
      const std::vector<Value>& elements = present.elements();
      if (std::find(elements.begin(), elements.end(), element) != elements.end()) return present;
    }
    return WithElement(present, {}, ElementChange::kAppend, element);
  });
}

void SetValue(Transaction& transaction, const Words& words) {
  transaction.RequireThat(
      words.key, words.name,
      [type = words.value.type(), keeps = words.keep_type](const Value& present) {
        return !keeps || !present || present.type() == type;
      });
  transaction.Set(words.key, words.name, words.value, words.replace);
}

// A command of scripts: the words that follow its name, and the steps that it adds to the
// transaction.
//
// A line may become several steps, a condition before a change. `steps` is their number, by which a
// failed step is mapped to its line. `condition` is the message if a condition of the line itself
// is not met.
struct Verb {
  const char* name;
  bool has_name, has_value, has_object;
  bool key_may_be_empty, may_replace;
  int steps;
  void (*add)(Transaction& transaction, const Words& words);
  const char* condition = "the condition is not met";
};

constexpr std::string_view kReplaceKey = "--replace-key", kKeepType = "--keep-type";

constexpr std::array<Verb, 12> kVerbs = {{
    {"set", true, true, false, true, true, 2, SetValue, "the value has another type"},
    {"add-element", true, true, false, true, false, 1, AddElement, "the value is not an array"},
    {"delete", true, false, false, true, false, 2,
     [](Transaction& transaction, const Words& words) {
       transaction.RequireNotKey(words.key, words.name);
       transaction.Delete(words.key, words.name);
     }},
    {"make-key", false, false, false, false, false, 1,
     [](Transaction& transaction, const Words& words) { transaction.MakeKey(words.key); }},
    {"delete-key", false, false, false, false, false, 2,
     [](Transaction& transaction, const Words& words) {
       transaction.RequireThat(words.key.Parent(), words.key.name(words.key.count()),
                               IsKeyOrNothing);
       transaction.DeleteKey(words.key);
     },
     "a value has this name"},
    {"merge", false, false, true, true, true, 1,
     [](Transaction& transaction, const Words& words) {
       transaction.Merge(words.key, words.value, words.replace);
     }},
    {"replace", false, false, true, true, true, 1,
     [](Transaction& transaction, const Words& words) {
       ReplaceKey(transaction, words.key, words.value, words.replace);
     }},
    {"require", true, true, false, true, false, 1,
     [](Transaction& transaction, const Words& words) {
       transaction.RequireEqual(words.key, words.name, words.value);
     }},
    {"require-absent", true, false, false, true, false, 1,
     [](Transaction& transaction, const Words& words) {
       transaction.RequireAbsent(words.key, words.name);
     }},
    {"require-key", false, false, false, true, false, 1,
     [](Transaction& transaction, const Words& words) { transaction.RequireKey(words.key); }},
    {"require-no-key", false, false, false, false, false, 1,
     [](Transaction& transaction, const Words& words) {
       transaction.RequireThat(words.key.Parent(), words.key.name(words.key.count()),
                               [](const Value& present) { return !present.is_dictionary(); });
     }},
    {"require-empty-key", false, false, false, true, false, 1,
     [](Transaction& transaction, const Words& words) { transaction.RequireEmptyKey(words.key); }},
}};

// Reads the words of one line; the text is the whole script, for the positions of mistakes.
class LineReader {
 public:
  LineReader(std::string_view text, std::size_t begin, std::size_t end, TextError* error)
      : whole_(text), line_(text.substr(0, end)), at_(begin), error_(error) {}

  bool AtEnd() {
    while (at_ < line_.size() && (line_[at_] == ' ' || line_[at_] == '\t' || line_[at_] == '\r')) {
      ++at_;
    }
    return at_ == line_.size();
  }

  bool Fail(const std::string& reason, std::size_t at) {
    *error_ = ErrorAt(whole_, at, reason);
    return false;
  }
  bool Fail(const std::string& reason) { return Fail(reason, at_); }

  const Verb* ReadVerb() {
    const std::string_view word = ReadBareWord();
    const auto found = std::find_if(kVerbs.begin(), kVerbs.end(),
                                    [&](const Verb& verb) { return word == verb.name; });
    if (found != kVerbs.end()) return &*found;
    std::vector<std::string_view> names;
    names.reserve(kVerbs.size());
    for (const Verb& verb : kVerbs) names.emplace_back(verb.name);
    Fail(Quoted(word) + " is not a command of scripts" + DidYouMean(word, names),
         at_ - word.size());
    return nullptr;
  }

  bool Read(const Verb& verb, Words& words) {
    if (!ReadOptions(verb, words) || !ReadKey(words.key)) return false;
    if (words.key.empty() && !verb.key_may_be_empty) {
      return Fail(std::string(verb.name) + " needs a key below the domain");
    }
    if (verb.has_name && !ReadText("NAME", words.name)) return false;
    if ((verb.has_value || verb.has_object) && !ReadValue(words.value)) return false;
    if (verb.has_object && !words.value.is_dictionary()) {
      return Fail(std::string(verb.name) + " needs an object of JSON");
    }
    return AtEnd() || Fail("unexpected text after the last word");
  }

 private:
  std::string_view ReadBareWord() {
    const std::size_t begin = at_;
    while (at_ < line_.size() && !IsBlankOrMark(line_[at_])) ++at_;
    return line_.substr(begin, at_ - begin);
  }

  // Options are bare words before the KEY that begin with "--".
  bool ReadOptions(const Verb& verb, Words& words) {
    std::vector<std::string_view> names;
    if (verb.may_replace) names.push_back(kReplaceKey);
    if (verb.may_replace && verb.has_value) names.push_back(kKeepType);
    while (!AtEnd() && line_.substr(at_).starts_with("--")) {
      const std::size_t begin = at_;
      const std::string_view word = ReadBareWord();
      if (std::find(names.begin(), names.end(), word) == names.end()) {
        return Fail(Quoted(word) + " is not an option of " + verb.name +
                        "; a KEY that begins with \"--\" needs double quotes" +
                        DidYouMean(word, names),
                    begin);
      }
      if (word == kReplaceKey) words.replace = ReplaceKeys::kYes;
      words.keep_type = words.keep_type || word == kKeepType;
    }
    return true;
  }

  static bool IsBlankOrMark(char byte) {
    return std::string_view(" \t\r\"'[]{}").find(byte) != std::string_view::npos;
  }

  // A JSON string, or a bare word.
  bool ReadText(const char* what, CAtlString& text) {
    if (AtEnd()) return Fail(std::string("a ") + what + " is expected");
    const std::size_t begin = at_;
    Value value;
    if (line_[at_] == '"') {
      if (!ReadValue(value)) return false;
    } else {
      const std::string_view word = ReadBareWord();
      if (word.empty() || (at_ < line_.size() && IsMark(line_[at_]))) {
        return Fail(std::string("a ") + what + " needs double quotes around such characters",
                    begin);
      }
      value = ParseValue(Type::kString, word);
      if (!value) return Fail(std::string("the ") + what + " is not UTF-8", begin);
    }
    text = CAtlString(std::u16string_view(value.text().ToUnits()));
    return true;
  }

  static bool IsMark(char byte) {
    return IsBlankOrMark(byte) && byte != ' ' && byte != '\t' && byte != '\r';
  }

  bool ReadKey(KeyPath& key) {
    if (AtEnd() || line_[at_] != '[') {
      CAtlString path;
      if (!ReadText("KEY", path)) return false;
      key = KeyPath(path);
      return true;
    }
    const std::size_t begin = at_;
    Value list;
    if (!ReadValue(list)) return false;
    const std::optional<KeyPath> names = KeyOfNames(list);
    if (!names) {
      return Fail("a KEY in brackets must contain only names, each in double quotes", begin);
    }
    key = *names;
    return true;
  }

  bool ReadValue(Value& value) {
    if (AtEnd()) return Fail("a value is expected");
    value = ReadJsonPart(line_, &at_, error_);
    return static_cast<bool>(value);
  }

  std::string_view whole_;
  std::string_view line_;  // the script up to the end of the line
  std::size_t at_;
  TextError* error_;
};

int FailScript(const Context& context, const PrefStatus& status, const std::string& file,
               const ChangeScript& script) {
  // Without a step the store failed, not the script.
  if (status.step < 0) return context.Fail(status, "nothing is applied", true);
  const ChangeScript::Line& line = script.LineOf(status.step);
  std::string where = Quoted(file) + ", line " + std::to_string(line.number);
  if (!context.hide_values) where += " (" + Quoted(line.text) + ")";
  switch (status.error) {
    case PrefError::kConditionNotMet:
      return context.Fail(kConditionNotMet, where + ": " + line.condition);
    case PrefError::kNotFound:
      return context.Fail(kConditionNotMet, where + ": there is no such key");
    case PrefError::kIsAKey:
    case PrefError::kIsAValue:
      return context.Fail(status, where, true, line.advice);
    case PrefError::kNotAKey:
      // A condition about a key does not hold for a value.
      if (line.is_condition) {
        return context.Fail(kConditionNotMet, where + ": " + ReasonOf(status));
      }
      [[fallthrough]];
    default:
      return context.Fail(status, where, true);
  }
}

// The place of a mistake in the script. With hidden values without the reason, which may quote a
// value.
std::string MistakeIn(const Context& context, const TextError& mistake) {
  if (!context.hide_values) return mistake.Message();
  TextError place = mistake;
  place.reason = "the line cannot be read";
  return place.Message();
}

}  // namespace

// A line ends at its line feed, even inside a string or a bracket: a value must be on one line. A
// carriage return counts as a blank.
bool ChangeScript::Read(std::string_view text, Transaction& transaction, TextError* error) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::size_t number = 0;
  std::size_t begin = text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    ++number;
    LineReader reader(text, begin, end, error);
    if (!reader.AtEnd() && text[text.find_first_not_of(" \t\r", begin)] != '#') {
      const Verb* const verb = reader.ReadVerb();
      Words words = {KeyPath(u""), CAtlString(), Value()};
      if (verb == nullptr || !reader.Read(*verb, words)) return false;
      verb->add(transaction, words);
      steps_.insert(steps_.end(), static_cast<std::size_t>(verb->steps),
                    Line{number, std::string(text.substr(begin, end - begin)),
                         verb->may_replace ? "--replace-key before the KEY replaces it"
                                           : "delete-key removes a key",
                         verb->condition, std::string_view(verb->name).starts_with("require")});
    }
    begin = end + 1;
  }
  return true;
}

int Apply(const Context& given, const CommandLine& line) {
  Context context = given;
  context.hide_values = line.Has("--secret");
  const Progress progress(context, "applying");
  const std::string file = line.Argument(0);
  std::string text;
  if (const int error = ReadWhole(file, text); error != 0) {
    return context.FailFile(file, error, false);
  }
  Transaction transaction = context.Change();
  ChangeScript script;
  TextError mistake;
  if (!script.Read(text, transaction, &mistake)) {
    return context.Fail(kUsage, Quoted(file) + ": " + MistakeIn(context, mistake));
  }
  const bool check = line.Has("--check");
  const Carried carried = CarryOut(context, transaction, line.Has("--backup"), check);
  if (!carried.has_copy) return kNotSaved;
  if (!carried.status.ok()) return FailScript(context, carried.status, file, script);
  const std::vector<Difference> differences =
      Differences(carried.result.before, carried.result.after);
  if (!context.quiet || context.json) {
    PrintDifferences(context, differences, line.Has("--backup") ? &carried.backup : nullptr);
  }
  return check && !differences.empty() ? kWouldChange : kDone;
}

}  // namespace orvik::prefstool
