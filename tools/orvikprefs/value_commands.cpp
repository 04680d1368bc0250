#include <array>
#include <ostream>

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list_equality.h"
#include "prefs/reporting.h"
#include "prefs/transaction.h"
#include "tools/orvikprefs/commands.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

using Value = CAutoCFRelease<CFPropertyListRef>;

std::string Address(const CommandLine& line) {
  return Quoted(line.Argument(1)) + " in key " + Quoted(line.Argument(0));
}

// The grammar lets only UTF-8 through.
KeyPath Key(const CommandLine& line) {
  return *ParseKey(line.Argument(0));
}
CAtlString Name(const CommandLine& line) {
  return *FromUtf8(line.Argument(1));
}

struct TypeOption {
  const char* name;
  ValueType type;
};
constexpr std::array<TypeOption, 5> kTypeOptions = {{{"--int", ValueType::kInteger},
                                                     {"--real", ValueType::kReal},
                                                     {"--bool", ValueType::kBoolean},
                                                     {"--date", ValueType::kDate},
                                                     {"--data", ValueType::kData}}};

// The value that the command line gives; null after a message.
Value NewValue(const Context& context, const CommandLine& line) {
  const std::string text = line.Argument(2);
  const bool json = line.Has(OrvikPrefsGrammar().FindOption(line.command(), "--json"));
  int types = json ? 1 : 0;
  ValueType type = ValueType::kString;
  for (const TypeOption& option : kTypeOptions) {
    if (!line.Has(option.name)) continue;
    type = option.type;
    ++types;
  }
  if (types > 1) {
    context.Fail(kUsage, "a value has one type");
    return Value();
  }
  if (!json) {
    Value value = ParseValue(type, text);
    if (!value) context.Fail(kUsage, Quoted(text) + " is not " + TypeForm(type));
    return value;
  }
  TextError error;
  Value value = ReadJson(text, &error);
  if (!value) context.Fail(kUsage, Quoted(text) + " is no JSON: " + error.Message());
  return value;
}

int PrintXml(const Context& context, CFPropertyListRef value) {
  const CAutoCFRelease<CFDataRef> xml(CFPropertyListCreateXMLData(kCFAllocatorDefault, value));
  if (!xml) return context.Fail(kNotSaved, "the value cannot be written as XML");
  context.out->write(reinterpret_cast<const char*>(CFDataGetBytePtr(xml)),
                     static_cast<std::streamsize>(CFDataGetLength(xml)));
  return kDone;
}

int PrintValue(const Context& context, const CommandLine& line, CFPropertyListRef value) {
  if (line.Has("--type")) {
    if (context.json) {
      *context.out << '"' << TypeName(value) << "\"\n";
    } else {
      context.Item(TypeName(value));
    }
    return kDone;
  }
  const std::string format = line.Value("--format");
  if (format == "xml") return PrintXml(context, value);
  if (format == "json" || context.json || line.count() == 1) {
    *context.out << JsonText(value, JsonWriter::Layout::kIndented) << '\n';
  } else {
    context.Item(ValueText(value));
  }
  return kDone;
}

}  // namespace

int Get(const Context& context, const CommandLine& line) {
  PrefResult<CFTypeRef> found;
  std::string what = "key " + Quoted(line.Argument(0));
  if (line.count() == 1) {
    PrefResult<CFDictionaryRef> key = CopyPreferenceKey(context.scope, Key(line), context.domain);
    found = {key.status, CAutoCFRelease<CFTypeRef>(key.value.Detach())};
  } else {
    found = CopyPreference(context.scope, Key(line), Name(line), context.domain);
    what = Address(line);
  }
  if (found.ok()) return PrintValue(context, line, found.value);
  const bool missing =
      found.status.error == PrefError::kNotFound || found.status.error == PrefError::kNotAKey;
  if (!missing || !line.Has("--default")) return context.Fail(found.status, what, false);
  const std::string text = line.Value("--default");
  return PrintValue(context, line, ParseValue(ValueType::kString, text));
}

int Set(const Context& context, const CommandLine& line) {
  const Value value = NewValue(context, line);
  if (!value) return kUsage;
  const bool if_equals = line.Has("--if-equals"), if_absent = line.Has("--if-absent");
  if (if_equals && if_absent) {
    return context.Fail(kUsage, "--if-equals and --if-absent exclude each other");
  }
  Transaction transaction = context.Change();
  const std::string expected = line.Value("--if-equals");
  bool present = true;
  if (if_absent) transaction.RequireAbsent(Key(line), Name(line));
  if (if_equals) {
    transaction.RequireThat(Key(line), Name(line), [&](CFTypeRef found) {
      present = found != nullptr;
      return present && IsTextOf(found, expected);
    });
  }
  bool is_other_key = false;
  if (line.Has("--replace-key")) {
    transaction.Set(Key(line), Name(line), value);
  } else {
    // A key that is this one already loses nothing.
    transaction.RequireThat(Key(line), Name(line), [&](CFTypeRef found) {
      is_other_key = IsDictionary(found) && !IsSameValue(found, value);
      return !is_other_key;
    });
    transaction.Set(Key(line), Name(line), value, ReplaceKeys::kNo);
  }
  const PrefStatus status = transaction.Commit();
  if (is_other_key || status.error == PrefError::kIsAKey) {
    return context.Fail(kConditionNotMet, Address(line) +
                                              " is a key; --replace-key replaces it with all "
                                              "that lies below it");
  }
  switch (status.error) {
    case PrefError::kConditionNotMet:
      return context.Fail(kConditionNotMet,
                          Address(line) + ": " +
                              (if_absent  ? "there is a value already"
                               : !present ? "there is no value"
                                          : "the present value is not " + Quoted(expected)));
    case PrefError::kIsAValue:
      return context.Fail(kConditionNotMet,
                          Address(line) + " is a value; --replace-key replaces it by a key");
    default:
      break;
  }
  if (!status.ok()) return context.Fail(status, Address(line), true);
  context.Confirm("set " + Address(line));
  return kDone;
}

int Delete(const Context& context, const CommandLine& line) {
  Transaction transaction = context.Change();
  if (!line.Has("--recursive")) transaction.RequireNotKey(Key(line), Name(line));
  transaction.Delete(Key(line), Name(line), IfMissing::kFail);
  const PrefStatus status = transaction.Commit();
  if (status.error == PrefError::kIsAKey) {
    return context.Fail(kConditionNotMet, Address(line) +
                                              " is a key; --recursive deletes it with all that "
                                              "lies below it");
  }
  if (!status.ok()) return context.Fail(status, Address(line), false);
  context.Confirm("deleted " + Address(line));
  return kDone;
}

}  // namespace orvik::prefstool
