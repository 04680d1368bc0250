// How the configuration store finds its elements.
#pragma once

#include <string>

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

class TiXmlElement;

namespace orvik {

// A name that is compared with many: finds equal what CAtlStringA::CompareNoCase finds equal, and
// allocates nothing. The name ends at its first NUL.
class AnyCaseName {
 public:
  explicit AnyCaseName(const CAtlStringA& name);
  // False for null.
  bool Matches(const char* text) const;

 private:
  std::u16string folded_;
};

// The first child element of the type "key" or "value" with the name; null when there is none.
TiXmlElement* FindConfigChild(TiXmlElement* parent, const char* type, const CAtlString& name);

}  // namespace orvik
