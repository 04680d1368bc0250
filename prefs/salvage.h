// What can still be read of a property list that went wrong.
#pragma once

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/dictionary.h"
#include "prefs/auto_release.h"

namespace orvik {

// The entries of the longest part of an XML property list, from its beginning, that is sound once
// its open containers are closed; null when there is none. A value that is itself incomplete is
// left out. The other forms keep their directory at the end or have none: nothing is salvaged.
CAutoCFRelease<CFMutableDictionaryRef> SalvageEntries(CFDataRef bytes);

}  // namespace orvik
