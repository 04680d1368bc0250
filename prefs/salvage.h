// What can still be read of an XML property list that went wrong.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/dictionary.h"
#include "prefs/auto_release.h"
#include "prefs/reporting.h"

namespace orvik {

struct Salvage {
  // Null when the bytes hold no dictionary at their root.
  CAutoCFRelease<CFMutableDictionaryRef> entries;
  // In the order of their places, kMostLosses of them at most.
  std::vector<PrefLoss> losses;
  std::size_t lost = 0;

  static constexpr std::size_t kMostLosses = 1000;
};

// Takes every value that is whole and has its place, passes over the others and goes on behind
// them. Bytes in an encoding that is not based on ASCII, and the binary and the old text form, have
// no dictionary here.
Salvage SalvageEntries(CFDataRef bytes);

}  // namespace orvik
