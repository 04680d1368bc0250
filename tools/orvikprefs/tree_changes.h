// The changes that put one tree in place of another.
#pragma once

#include "platform/core_foundation/dictionary.h"
#include "prefs/transaction.h"

namespace orvik::prefstool {

// Adds to the transaction, for the key, what makes `after` of `before`: no more than what differs.
// A value may take the place of a key, and a key that of a value.
void AddTreeChanges(Transaction& transaction, const KeyPath& key, CFDictionaryRef before,
                    CFDictionaryRef after);

// The key then holds these entries and no others. With kYes a value of the key's name is replaced,
// too; else, and for a value further up, the transaction fails with kNotAKey.
void ReplaceKey(Transaction& transaction, const KeyPath& key, CFDictionaryRef entries,
                ReplaceKeys replace);

}  // namespace orvik::prefstool
