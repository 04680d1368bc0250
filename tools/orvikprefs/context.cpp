#include "tools/orvikprefs/context.h"

#include <cerrno>
#include <cstring>
#include <ostream>

#include "tools/orvikprefs/lock_holder.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

std::string WhoHoldsTheLock(const Context& context) {
  const LockHolder holder = FindHolder(context);
  if (!holder.is_held) return " (it is free now)";
  std::string text = ": " + Quoted(holder.process);
  if (holder.pid > 0) text += ", process " + std::to_string(holder.pid);
  if (!holder.user.empty()) text += " of " + Escaped(holder.user);
  if (!holder.host.empty()) text += " on " + Escaped(holder.host);
  if (!holder.since.empty()) text += ", since " + holder.since;
  return text;
}

}  // namespace

Transaction Context::Change() const {
  Transaction change(scope, domain);
  change.WaitAtMost(lock_wait);
  return change;
}

int Context::Fail(ExitStatus status, const std::string& text) const {
  *error << "orvikprefs: " << text << '\n';
  return status;
}

int Context::Fail(const PrefStatus& status, const std::string& what, bool writing,
                  const std::string& advice) const {
  ExitStatus exit = kNotSaved;
  std::string hint = advice.empty() ? "" : "; " + advice;
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
      hint = WhoHoldsTheLock(*this);
      break;
    case PrefError::kRefusedDomain:
    case PrefError::kUnknownScope:
      exit = kUsage;
      break;
    case PrefError::kDamaged:
      exit = kDamagedFile;
      hint = "; orvikprefs repair keeps a copy of it and saves what can be read";
      break;
    case PrefError::kRootNotDictionary:
      exit = kDamagedFile;
      hint = "; orvikprefs repair --replace keeps a copy of it and starts an empty domain";
      break;
    case PrefError::kNothingSaved:
      exit = kNothingSaved;
      hint = "; orvikprefs repair --replace keeps a copy of it and starts an empty domain";
      break;
    case PrefError::kUnreadable:
      exit = status.error_number == EACCES ? kNotPermitted : kDamagedFile;
      break;
    case PrefError::kIsAKey:
    case PrefError::kIsAValue:
    case PrefError::kKeyNotEmpty:
      exit = kConditionNotMet;
      break;
    case PrefError::kTooLarge:
    case PrefError::kForeignLink:
    case PrefError::kInTheWay:
      exit = writing ? kNotSaved : kDamagedFile;
      break;
    default:
      break;
  }
  return Fail(exit, what + ": " + Describe(status) + hint);
}

int Context::FailFile(const std::string& file, int reason, bool writing) const {
  const ExitStatus status = writing                                 ? kNotSaved
                            : reason == ENOENT || reason == ENOTDIR ? kNotFound
                            : reason == EACCES || reason == EPERM   ? kNotPermitted
                                                                    : kDamagedFile;
  return Fail(status, Quoted(file) + " cannot be " + (writing ? "written" : "read") + ": " +
                          std::strerror(reason));
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
    if (null_separated && !terminal) {
      *out << fields[i] << '\0';
    } else {
      *out << (i > 0 ? "\t" : "") << Escaped(fields[i]);
    }
  }
  if (!null_separated || terminal) *out << '\n';
}

void Context::Item(const std::string& text) const {
  if (null_separated && !terminal) {
    *out << text << '\0';
  } else {
    *out << (terminal ? Escaped(text) : text) << '\n';
  }
}

}  // namespace orvik::prefstool
