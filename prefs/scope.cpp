#include "prefs/scope.h"

#include <string_view>

#include "platform/core_foundation/string.h"
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
  std::u16string_view text = domain.View();
  if (text.empty() || text.front() == u'/' || text.find(u'\0') != std::u16string_view::npos) {
    return false;
  }
  const CAutoCFRelease<CFStringRef> name(domain.CreateCFStringRef(kCFAllocatorDefault));
  char utf8[kMaximumDomainBytes + 1];
  if (!CFStringGetCString(name, utf8, sizeof utf8, kCFStringEncodingUTF8)) {
    return false;
  }
  for (;;) {
    const std::size_t end = text.find(u'/');
    if (text.substr(0, end) == u"..") {
      return false;
    }
    if (end == std::u16string_view::npos) {
      return true;
    }
    text.remove_prefix(end + 1);
  }
}

EffectiveDomain::EffectiveDomain(int given_scope, const CAtlString& given_domain)
    : scope(given_scope) {
  domain =
      HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
          scope, CAtlString(), given_domain);
  usable_ = IsUsableDomain(given_domain) && IsUsableDomain(domain);
}

}  // namespace orvik
