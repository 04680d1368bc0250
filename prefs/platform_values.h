// Platform objects from and to the types of the store's callers.
#pragma once

#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/string.h"
#include "prefs/auto_release.h"
#include "strings/atl_array.h"
#include "strings/atl_string.h"

namespace orvik {

CAutoCFRelease<CFStringRef> PlatformString(const CAtlString& text);

// A number of kCFNumberIntType.
CAutoCFRelease<CFTypeRef> PlatformNumber(int value);

// Empty and modifiable.
CAutoCFRelease<CFMutableDictionaryRef> NewDictionary();

// The dictionary itself, for one that is known to be modifiable.
CFMutableDictionaryRef AsMutable(CFTypeRef dictionary);

// Appends the names of a dictionary's entries.
void AppendNames(CFDictionaryRef dictionary, CAtlArray<CAtlString>& names);

}  // namespace orvik
