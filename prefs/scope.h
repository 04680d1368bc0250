// The scopes of the preference store.
//
//   scope given   effective scope   effective domain
//   0, 3          0 shared          the domain
//   2             0 shared          "." followed by the domain
//   1             1 user            the domain
//   4             4 machine         the domain
//   5             4 machine         "." followed by the domain
//   any other     unchanged         the domain; nothing is read or written
#pragma once

#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr int kSharedScope = 0;
inline constexpr int kUserScope = 1;
inline constexpr int kMachineScope = 4;

// Changes the scope into its effective scope in place and returns the effective domain. The key
// path is ignored.
CAtlString
HackToWorkAroundAnotherHackForAnnoyingTendencyOfOurSoftwareToWriteIntoGlobalWithoutPermission(
    int& scope, const CAtlString& key_path, const CAtlString& domain);

// Whether an effective scope has a store behind it.
constexpr bool IsKnownScope(int effective_scope) {
  return effective_scope == kSharedScope || effective_scope == kUserScope ||
         effective_scope == kMachineScope;
}

// Whether the domain can name its own file in a preferences folder (PreferenceFilePath): not empty,
// at most 1,023 bytes of UTF-8, without NUL, "\" and lone surrogates, without "/" at its beginning
// or end, without empty, "." or ".." components, and each component at most 243 bytes. The marker
// "kCFPreferencesCurrentApplication" is refused, too: a program without a bundle has no identifier
// to replace it. Every operation refuses other domains before it touches a file.
bool IsUsableDomain(const CAtlString& domain);

// A scope and domain as the operations use them, remapped once.
struct EffectiveDomain {
  // `given_scope` may be any number; IsKnownScope is false for a scope without a store.
  EffectiveDomain(int given_scope, const CAtlString& given_domain);

  // Whether the given domain and the effective one can both name a file.
  bool usable() const { return usable_; }

  int scope;
  CAtlString domain;
  CAtlString given;  // the domain before the scope changed it; the shared scope takes its lock

 private:
  bool usable_;
};

}  // namespace orvik
