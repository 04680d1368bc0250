#include "prefs/scope.h"

#include "platform/core_foundation/cf_preferences.h"
#include "prefs/auto_release.h"

namespace orvik {

CAtlString
HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
    int& scope, const CAtlString& /*key_path*/, const CAtlString& domain) {
  switch (scope) {
    case 2:
      scope = kSharedScope;
      return u"." + domain;
    case 3:
      scope = kSharedScope;
      return domain;
    case 5:
      scope = kMachineScope;
      return u"." + domain;
    default:
      return domain;
  }
}

bool IsUsableDomain(const CAtlString& domain) {
  // A path value would turn it into a separator.
  if (domain.Find(u'\\') >= 0) {
    return false;
  }
  const CAutoCFRelease<CFStringRef> name(domain.CreateCFStringRef(kCFAllocatorDefault));
  return !host::PreferencesFile(name, kCFPreferencesCurrentUser, kCFPreferencesAnyHost).empty();
}

EffectiveDomain::EffectiveDomain(int given_scope, const CAtlString& given_domain)
    : scope(given_scope) {
  domain =
      HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
          scope, CAtlString(), given_domain);
  usable_ = IsUsableDomain(given_domain) && IsUsableDomain(domain);
}

}  // namespace orvik
