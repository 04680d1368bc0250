#include "prefs/scope.h"

#include "platform/core_foundation/cf_preferences.h"
#include "platform/core_foundation/string.h"
#include "plist/file.h"

namespace orvik {

CAtlString
HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
    int& scope, const CAtlString& /*key_path*/, const CAtlString& domain) {
  const bool is_hidden = scope == 2 || scope == 5;
  scope = scope == 2 || scope == 3 ? kSharedScope : scope == 5 ? kMachineScope : scope;
  return is_hidden ? u"." + domain : domain;
}

bool IsUsableDomain(const CAtlString& domain) {
  // The marker of the current application's bundle identifier, which a plain program does not have.
  return domain.View() != kCFPreferencesCurrentApplication.text &&
         !plist::PreferenceFile(plist::PreferenceFolder::kUser, domain.View()).empty();
}

EffectiveDomain::EffectiveDomain(int given_scope, const CAtlString& given_domain)
    : scope(given_scope), given(given_domain) {
  domain =
      HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
          scope, CAtlString(), given_domain);
  usable_ = IsUsableDomain(given_domain) && IsUsableDomain(domain);
}

}  // namespace orvik
