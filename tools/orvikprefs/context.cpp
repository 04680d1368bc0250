#include "tools/orvikprefs/context.h"

#include <ostream>

#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

int Context::Fail(ExitStatus status, const std::string& text) const {
  *error << "orvikprefs: " << text << '\n';
  return status;
}

int Context::Fail(const PrefStatus& status, const std::string& what, bool writing) const {
  ExitStatus exit = kNotSaved;
  std::string hint;
  switch (status.error) {
    case PrefError::kNone:
      return kDone;
    case PrefError::kNotFound:
      exit = kNotFound;
      break;
    case PrefError::kNotAKey:
      exit = writing ? kNotSaved : kNotFound;
      break;
    case PrefError::kConditionNotMet:
      exit = kConditionNotMet;
      break;
    case PrefError::kLockNotObtained:
      exit = kLockNotObtained;
      hint = " (orvikprefs lock tells who holds it)";
      break;
    case PrefError::kRefusedDomain:
    case PrefError::kUnknownScope:
      exit = kUsage;
      break;
    case PrefError::kDamaged:
    case PrefError::kRootNotDictionary:
      exit = kDamagedFile;
      hint = "; orvikprefs repair keeps a copy of it and saves what can be read";
      break;
    case PrefError::kUnreadable:
      exit = kDamagedFile;
      break;
    default:
      break;
  }
  return Fail(exit, what + ": " + Describe(status) + hint);
}

void Context::Confirm(const std::string& text) const {
  if (terminal && !quiet && !json) *out << text << '\n';
}

std::string Context::Coloured(std::string_view text, const char* code) const {
  if (!colour) return std::string(text);
  return std::string("\x1b[") + code + "m" + std::string(text) + "\x1b[0m";
}

void Context::Record(const std::vector<std::string>& fields) const {
  for (size_t i = 0; i < fields.size(); ++i) {
    if (null_separated) {
      *out << fields[i] << '\0';
    } else {
      *out << (i > 0 ? "\t" : "") << Escaped(fields[i]);
    }
  }
  if (!null_separated) *out << '\n';
}

void Context::Item(const std::string& text) const {
  if (null_separated) {
    *out << text << '\0';
  } else {
    *out << (terminal ? Escaped(text) : text) << '\n';
  }
}

namespace {

struct KindOfDifference {
  const char* sign;
  const char* word;
  const char* colour;
};

const KindOfDifference& KindOf(const Difference& difference) {
  static constexpr KindOfDifference kKinds[] = {
      {"+", "added", "32"}, {"-", "removed", "31"}, {"~", "changed", "33"}};
  return kKinds[static_cast<int>(difference.kind)];
}

std::string TypeAndValue(CFPropertyListRef value) {
  return std::string(TypeName(value)) + " " + Escaped(ValueText(value));
}

}  // namespace

void PrintDifferences(const Context& context, const std::vector<Difference>& differences) {
  if (context.json) {
    *context.out << JsonText(DifferencesToJson(differences), true) << '\n';
    return;
  }
  for (const Difference& difference : differences) {
    const KindOfDifference& kind = KindOf(difference);
    const CFPropertyListRef shown =
        difference.after != nullptr ? difference.after : difference.before;
    if (context.terminal && !context.null_separated) {
      std::string line =
          std::string(kind.sign) + " " + Escaped(JoinedPath(difference.path)) + " = ";
      if (difference.kind == Difference::Kind::kChanged) {
        line += TypeAndValue(difference.before) + " -> ";
      }
      *context.out << context.Coloured(line + TypeAndValue(shown), kind.colour) << '\n';
      continue;
    }
    std::vector<std::string> fields = {kind.sign, JoinedPath(difference.path)};
    for (const CFPropertyListRef side : {difference.before, difference.after}) {
      fields.push_back(side != nullptr ? TypeName(side) : "");
      fields.push_back(side != nullptr ? ValueText(side) : "");
    }
    context.Record(fields);
  }
}

Json DifferencesToJson(const std::vector<Difference>& differences) {
  Json list = Json::array();
  for (const Difference& difference : differences) {
    Json row = {{"change", KindOf(difference).word}, {"path", difference.path}};
    if (difference.before != nullptr) row["before"] = ToJson(difference.before);
    if (difference.after != nullptr) row["after"] = ToJson(difference.after);
    list.push_back(std::move(row));
  }
  return list;
}

}  // namespace orvik::prefstool
