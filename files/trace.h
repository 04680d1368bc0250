// Trace hooks, which do nothing on this platform.
#pragma once

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace [[gnu::visibility("default")]] orvik {

template <class... Arguments>
void ATLTRACE(const char*, const Arguments&...) {}
template <class... Arguments>
void ATLTRACE(const char16_t*, const Arguments&...) {}
template <class... Arguments>
void ATLTRACE(const CAtlStringA&, const Arguments&...) {}
template <class... Arguments>
void ATLTRACE(const CAtlString&, const Arguments&...) {}
template <class... Arguments>
void ATLTRACE(CFStringRef, const Arguments&...) {}

// Always null.
void* AfxGetStaticModuleState();

}  // namespace orvik
