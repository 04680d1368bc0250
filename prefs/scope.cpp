#include "prefs/scope.h"

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/string.h"
#include "plist/file.h"

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
  // The marker of the running application's bundle, which a plain program does not have.
  return domain.View() != kCFPreferencesCurrentApplication->ToUnits() &&
         !plist::PreferenceFile(plist::PreferenceFolder::kUser, domain.View()).empty();
}

EffectiveDomain::EffectiveDomain(int given_scope, const CAtlString& given_domain)
    : scope(given_scope) {
  domain =
      HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
          scope, CAtlString(), given_domain);
  usable_ = IsUsableDomain(given_domain) && IsUsableDomain(domain);
}

}  // namespace orvik
