#include <ostream>

#include "plist/forms.h"
#include "prefs/reporting.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

std::string Address(const CommandLine& line) {
  return ValueAddress(KeyAt(line), NameAt(line));
}

constexpr std::pair<const char*, Type> kTypeOptions[] = {{"--int", Type::kInteger},
                                                         {"--real", Type::kReal},
                                                         {"--bool", Type::kBoolean},
                                                         {"--date", Type::kDate},
                                                         {"--data", Type::kData}};

// The value on the command line; otherwise no value, and a message.
Value NewValue(const Context& context, const CommandLine& line) {
  const std::string text = line.Argument(2);
  const bool json = line.Has(OrvikPrefsGrammar().FindOption(line.command(), "--json"));
  int types = json ? 1 : 0;
  Type type = Type::kString;
  for (const auto& [name, type_of_option] : kTypeOptions) {
    if (!line.Has(name)) continue;
    type = type_of_option;
    ++types;
  }
  if (types > 1) {
    context.Fail(kUsage, "a value has one type");
    return {};
  }
  if (!json) {
    Value value = ParseValue(type, text);
    if (!value) context.Fail(kUsage, Quoted(text) + " is " + WhyNot(type, text));
    return value;
  }
  TextError error;
  Value value = ReadJson(text, &error);
  if (!value) context.Fail(kUsage, Quoted(text) + " is not JSON: " + error.Message());
  return value;
}

int PrintValue(const Context& context, const CommandLine& line, const Value& value, bool is_value) {
  if (line.Has("--type")) {
    if (context.json) {
      *context.out << '"' << TypeName(value) << "\"\n";
    } else {
      context.Item(TypeName(value));
    }
    return kDone;
  }
  const std::string format = line.Value("--format");
  if (format == "xml") {
    const std::optional<std::string> xml = plist::WriteXml(value);
    if (!xml) return context.Fail(kNotSaved, "the value cannot be written as XML");
    *context.out << *xml;
  } else if (format == "json" || context.json || !is_value) {
    *context.out << JsonText(value, JsonWriter::Layout::kIndented) << '\n';
  } else {
    context.Item(ValueText(value));
  }
  return kDone;
}

// The key, or the value, at a path. If both fail, returns the failure of the key.
PrefValue FindByPath(const Context& context, const KeyPath& path, bool& is_value) {
  PrefValue key = ReadPreferenceKey(context.scope, path, context.domain);
  is_value = key.status.error == PrefError::kNotAKey && !path.empty();
  if (is_value) {
    PrefValue value =
        ReadPreference(context.scope, path.Parent(), path.name(path.count()), context.domain);
    if (value.ok()) return value;
  }
  return key;
}

// The meaning of NAME on a line: the value of this name; otherwise the element NAME[2] of an array;
// otherwise neither.
struct Target {
  PrefValue whole;
  std::optional<ElementPath> element;
  Value array;  // the array of the element
};

Target TargetOf(const Context& context, const CommandLine& line) {
  Target target;
  target.whole = ReadPreference(context.scope, KeyAt(line), NameAt(line), context.domain);
  if (target.whole.ok()) return target;
  std::optional<ElementPath> element = ParseElement(NameAt(line));
  if (!element) return target;
  PrefValue array = ReadPreference(context.scope, KeyAt(line), element->name, context.domain);
  if (!array.ok() || !array.value.is_array()) return target;
  target.element = std::move(element);
  target.array = std::move(array.value);
  return target;
}

PrefValue FindValue(const Context& context, const CommandLine& line, bool& is_value) {
  is_value = line.count() > 1;
  if (!is_value) return FindByPath(context, KeyAt(line), is_value);
  Target target = TargetOf(context, line);
  Value value = target.element ? ElementAt(target.array, target.element->indices) : Value();
  return value ? PrefValue{PrefStatus::Ok(), std::move(value)} : std::move(target.whole);
}

// Prints every scope that has the value, or the one given: scope, file, type, value. A scope whose
// file cannot be read is a failure, because the value may be there; the other scopes are printed.
int ShowScopes(const Context& given, const CommandLine& line) {
  JsonWriter rows;
  rows.BeginArray();
  std::size_t count = 0;
  int failure = kDone;
  for (const ScopeName& scope : kScopeNames) {
    // Only the rows with names, or only the first row of the given scope.
    if (line.Has("--scope") ? scope.scope != given.scope || count > 0 : scope.name[0] <= '9') {
      continue;
    }
    Context context = given;
    context.scope = scope.scope;
    bool is_value = false;
    const PrefValue found = FindValue(context, line, is_value);
    const PrefError error = found.status.error;
    if (error == PrefError::kNotFound || error == PrefError::kNotAKey) continue;
    ++count;
    if (!found.ok()) {
      failure = context.Fail(found.status, is_value ? Address(line) : KeyText(KeyAt(line)), false);
      continue;
    }
    const std::string file = PreferenceFilePath(context.scope, context.domain);
    if (context.json) {
      rows.BeginObject().Name("scope").Text(scope.name).Name("file").File(file);
      WriteJson(rows.Name("value"), found.value);
      rows.EndObject();
    } else {
      context.Record({scope.name, file, TypeName(found.value), ValueText(found.value)});
    }
  }
  if (given.json) *given.out << rows.EndArray().json() << '\n';
  return count > 0 ? failure : kNotFound;
}

std::string WithArticle(Type type) {
  const std::string name = TypeName(type);
  return (name[0] == 'a' || name[0] == 'i' ? "an " : "a ") + name;
}

// Why "set" must not replace the present value, as the end of a sentence; "" when it may.
std::string RefusalOf(const CommandLine& line, const Value& present, const Value& wanted) {
  if (line.Has("--if-equals")) {
    const std::string expected = line.Value("--if-equals");
    if (!present) return ": there is no value";
    // It may be another spelling of the value: "yes" for true, "1e0" for 1.0.
    if (ValueText(present) != expected && ParseValue(present.type(), expected) != present) {
      return ": the present value is not " + Quoted(expected);
    }
  }
  if (!present) return "";
  if (line.Has("--if-absent")) return ": there is a value already";
  // Replacing a key by an equal one loses nothing.
  if (present.is_dictionary() && !line.Has("--replace-key") && present != wanted) {
    return " is a key; --replace-key replaces it with all that lies below it";
  }
  if (!line.Has("--keep-type") || present.type() == wanted.type()) return "";
  return " is " + WithArticle(present.type()) + ", not " + WithArticle(wanted.type()) +
         "; give VALUE that type (--int, --real, --bool, --date, --data, --json)";
}

// Changes one element in a transaction that looks the array up under the lock, so that an element
// that another process adds meanwhile is not lost. The array must exist; kAppend without indices
// makes a missing one.
int ChangeElement(const Context& context, const CommandLine& line, const ElementPath& element,
                  ElementChange change, const Value& value, const char* done) {
  bool is_array = true;
  Transaction transaction = context.Change();
  transaction.Update(KeyAt(line), element.name, [&](const Value& present) {
    const bool is_within = change == ElementChange::kAppend && present.is_array();
    const Value changed = is_within ? ElementAt(present, element.indices) : present;
    is_array = !changed || changed.is_array();
    return WithElement(present, element.indices, change, value);
  });
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kConditionNotMet) {
    return is_array ? context.Fail({PrefError::kNotFound}, Address(line), false)
                    : context.Fail(kConditionNotMet, Address(line) + " is not an array");
  }
  return context.End(status, Address(line), done);
}

int SetElement(const Context& context, const CommandLine& line,
               const std::optional<ElementPath>& element, const Value& value) {
  for (const char* const option : {"--if-equals", "--if-absent", "--keep-type", "--replace-key"}) {
    if (line.Has(option)) {
      return context.Fail(kUsage, std::string(option) + " does not apply to elements of arrays");
    }
  }
  const bool appends = line.Has("--append"), inserts = line.Has("--insert");
  if (appends && inserts) {
    return context.Fail(kUsage, "--append and --insert cannot be combined");
  }
  if (inserts && !element) {
    return context.Fail(kUsage, "--insert needs an element of an array, such as NAME[0]");
  }
  const ElementPath whole = {NameAt(line), {}};
  const ElementChange change = appends   ? ElementChange::kAppend
                               : inserts ? ElementChange::kInsert
                                         : ElementChange::kReplace;
  return ChangeElement(context, line, element.value_or(whole), change, value, "set ");
}

}  // namespace

int Get(const Context& context, const CommandLine& line) {
  if (line.Has("--show-scope")) {
    for (const char* const option : {"--type", "--default", "--format"}) {
      if (line.Has(option)) {
        return context.Fail(kUsage, std::string(option) + " and --show-scope cannot be combined");
      }
    }
    return ShowScopes(context, line);
  }
  bool is_value = false;
  const PrefValue found = FindValue(context, line, is_value);
  if (found.ok()) return PrintValue(context, line, found.value, is_value);
  const bool missing =
      found.status.error == PrefError::kNotFound || found.status.error == PrefError::kNotAKey;
  if (!missing || !line.Has("--default")) {
    return context.Fail(found.status, line.count() > 1 ? Address(line) : KeyText(KeyAt(line)),
                        false);
  }
  return PrintValue(context, line, ParseValue(Type::kString, line.Value("--default")), true);
}

int Set(const Context& context, const CommandLine& line) {
  if (context.json) {
    return context.Fail(kUsage,
                        "--json before \"set\" has no effect, because set prints no result; put it "
                        "after \"set\" to give VALUE as JSON");
  }
  const Value value = NewValue(context, line);
  if (!value) return kUsage;
  if (line.Has("--if-equals") && line.Has("--if-absent")) {
    return context.Fail(kUsage, "--if-equals and --if-absent cannot be combined");
  }
  const std::optional<ElementPath> element = TargetOf(context, line).element;
  if (element || line.Has("--append") || line.Has("--insert")) {
    return SetElement(context, line, element, value);
  }
  const KeyPath key = KeyAt(line);
  const CAtlString name = NameAt(line);
  const Type type = value.type();
  Transaction transaction = context.Change();
  std::string reason;
  Type old_type = type;
  transaction.RequireThat(key, name, [&](const Value& present) {
    if (present) old_type = present.type();
    reason = RefusalOf(line, present, value);
    return reason.empty();
  });
  transaction.Set(key, name, value,
                  line.Has("--replace-key") ? ReplaceKeys::kYes : ReplaceKeys::kNo);
  const PrefStatus status = transaction.Commit();
  const std::string address = Address(line);
  if (status.error == PrefError::kIsAValue) {
    reason = " is a value; --replace-key replaces it by a key";
  }
  if (!reason.empty()) return context.Fail(kConditionNotMet, address + reason);
  if (status.ok() && old_type != type && !context.quiet) {
    *context.error << "orvikprefs: " << address << " was " << WithArticle(old_type) << " and is "
                   << WithArticle(type) << " now\n";
  }
  return context.End(status, address, "set ");
}

int Delete(const Context& context, const CommandLine& line) {
  if (const std::optional<ElementPath> element = TargetOf(context, line).element) {
    return ChangeElement(context, line, *element, ElementChange::kRemove, {}, "deleted ");
  }
  Transaction transaction = context.Change();
  if (!line.Has("--recursive")) transaction.RequireNotKey(KeyAt(line), NameAt(line));
  transaction.Delete(KeyAt(line), NameAt(line), IfMissing::kFail);
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kIsAKey) {
    return context.Fail(kConditionNotMet, Address(line) +
                                              " is a key; --recursive deletes it with all that "
                                              "lies below it");
  }
  return context.EndRemoval(status, Address(line), "deleted ");
}

}  // namespace orvik::prefstool
