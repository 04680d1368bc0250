// Why a document could not be loaded.
#pragma once

#include "strings/atl_string_a.h"

namespace [[gnu::visibility("default")]] orvik {

struct XMLDocumentError {
  CAtlStringA reason;  // a few English words for logs, without a full stop; empty: no error
  int line = 0;        // from 1; 0 when the error has no place in the text
  int column = 0;      // in characters, from 1
};

}  // namespace orvik
