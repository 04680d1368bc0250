// What the writers and deleters of the preference store answer.
#pragma once

#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

inline constexpr DWORD kPreferenceSuccess = 0;
inline constexpr DWORD kPreferenceNotFound = 2;
inline constexpr DWORD kPreferenceInvalidDomain = 123;  // IsUsableDomain; nothing was touched
// A value that is no key lies on the key path, or the path has more components than a property list
// may have levels.
inline constexpr DWORD kPreferenceBadKey = 1010;
inline constexpr DWORD kPreferenceLockNotObtained = 1460;  // shared scope; nothing was changed

}  // namespace orvik
