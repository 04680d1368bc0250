// What can still be read of a damaged property list in the XML form.
#pragma once

#include <string_view>
#include <vector>

#include "prefs/salvage.h"

namespace orvik {

// Something lost, by its place in the text.
struct XmlLoss {
  CAtlString path;
  const char* what;
  std::size_t place = 0;
  std::size_t bytes = 0;
};

struct XmlSalvage {
  CAutoCFRelease<CFMutableDictionaryRef> entries;  // null when no dictionary is at the root
  std::vector<XmlLoss> losses;
  std::size_t lost = 0;
};

// Takes every value that is whole and whose place is known. Tags of which a byte is wrong count as
// what they were. Where the list is indented as this system writes it, the indentation shows whose
// end tag is lost. Takes time and memory proportional to the text.
XmlSalvage SalvageXml(std::string_view text);

}  // namespace orvik
