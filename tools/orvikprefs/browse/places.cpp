#include "tools/orvikprefs/browse/places.h"

#include <optional>

#include "prefs/reporting.h"
#include "prefs/scope.h"
#include "tools/orvikprefs/domains.h"
#include "tools/orvikprefs/lock_holder.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

const char* ScopeName(int scope) {
  switch (EffectiveDomain(scope, u"").scope) {
    case 1:
      return "user";
    case 4:
      return "machine";
    default:
      return "shared";
  }
}

std::vector<Place> PlacesWith(const Path& path) {
  std::vector<Place> places;
  for (const int scope : kScopes) {
    for (const DomainFile& file : DomainsOf(scope)) {
      const std::optional<CAtlString> domain = FromUtf8(file.name);
      if (!domain) continue;
      const PrefResult<CFDictionaryRef> read = CopyDomain(scope, *domain);
      const CFPropertyListRef value = read.ok() ? FindIn(read.value, path) : nullptr;
      if (value != nullptr) places.push_back({scope, *domain, Value::Retaining(value)});
    }
  }
  return places;
}

std::string LockHolderText(int scope, const CAtlString& domain) {
  Context context;
  context.scope = scope;
  context.domain = domain;
  const LockHolder holder = FindHolder(context);
  if (!holder.is_held) return {};
  std::string text = holder.process.empty() ? "another process" : Quoted(holder.process);
  std::string details;
  if (holder.pid > 0) details += "process " + std::to_string(holder.pid);
  if (!holder.user.empty()) details += " of " + Escaped(holder.user);
  if (!holder.host.empty()) details += " on " + Escaped(holder.host);
  if (!details.empty()) text += " (" + details + ")";
  return text;
}

}  // namespace orvik::prefstool::browse
