// The one way in which a single value of a domain is changed.
#pragma once

#include "prefs/key_path.h"
#include "prefs/result_codes.h"

#include "platform/core_foundation/base.h"

namespace orvik {

// The writers: sets one value, making missing keys.
DWORD WriteEntry(int scope, const CAtlString& domain, const KeyPath& path, const CAtlString& name,
                 CFTypeRef value);

// The deleters: removes one value or key.
DWORD DeleteEntry(int scope, const CAtlString& domain, const KeyPath& path, const CAtlString& name);

}  // namespace orvik
