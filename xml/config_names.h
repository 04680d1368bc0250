// How the configuration store finds its elements.
#pragma once

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

class TiXmlElement;

namespace orvik {

// A name that is compared with many: what CAtlStringA::CompareNoCase finds equal, without its cost
// where the bytes alone decide.
class AnyCaseName {
 public:
  explicit AnyCaseName(CAtlStringA name) : name_(name) {}
  // False for null.
  bool Matches(const char* text) const;

 private:
  CAtlStringA name_;
};

// The first child element of the type "key" or "value" with the name; null when there is none.
TiXmlElement* FindConfigChild(TiXmlElement* parent, const char* type, const CAtlString& name);

}  // namespace orvik
