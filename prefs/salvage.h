// What can still be read of a property list that went wrong.
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
  // Empty when the bytes hold no dictionary at their root.
  CAutoCFRelease<CFMutableDictionaryRef> entries;
  // In the order of their places, kMostLosses of them at most.
  std::vector<PrefLoss> losses;
  std::size_t lost = 0;

  static constexpr std::size_t kMostLosses = 1000;
  // Of all paths together: long keys must not make the list larger than the file.
  static constexpr std::size_t kMostPathUnits = 1 << 16;
};

// Takes every value that is whole and has its place, passes over the others and goes on behind
// them: of XML and the old text form in UTF-8, in UTF-16 or, in XML, in another encoding that is
// based on ASCII, and of the binary form as long as its table of objects is whole.
Salvage SalvageEntries(CFDataRef bytes);

// No entries, and the whole file as one loss.
Salvage NothingOf(const char* what, CFDataRef bytes);

}  // namespace orvik
