// The changes that turn one tree of values into another.
#pragma once

#include "platform/core_foundation/dictionary.h"
#include "prefs/transaction.h"

namespace orvik::prefstool {

// Adds to the transaction, for the key, what makes `after` of `before`: no more than what differs.
// A value may take the place of a key, and a key that of a value.
void AddTreeChanges(Transaction& transaction, const KeyPath& key, CFDictionaryRef before,
                    CFDictionaryRef after);

}  // namespace orvik::prefstool
