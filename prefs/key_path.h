// Registry-style key paths: components separated by "/" or "\", counted from 1.
//
// Every operation first normalises its own copy of the path: "/" becomes "\", leading and trailing
// separators are removed. A doubled separator inside stays and makes an empty component.
//
//   path                                 components
//   Software/ORVIK Technologies/         2: "Software", "ORVIK Technologies"
//   \Software\ORVIK Technologies         2: the same
//   Software//Glyphra                    3: "Software", "", "Glyphra"
//   "", "/", "\\/"                       0
#pragma once

#include <vector>

#include "strings/atl_string.h"

namespace [[gnu::visibility("default")]] orvik {

// The number of components.
int GetDirCountFromPath(CAtlString path);

// Component `index`; empty when there is no such component.
CAtlString GetPreferenceNameFromPath(CAtlString path, int index);

// "ORVIK Technologies"
CAtlString GetCompanyName();

// The normalised path; when its first component is "SOFTWARE" (in capitals), without every
// occurrence of "SOFTWARE\ORVIK Technologies\".
//
//   SOFTWARE/ORVIK Technologies/Pagewell Software/A    Pagewell Software\A
//   Software/ORVIK Technologies/Pagewell Software      Software\ORVIK Technologies\Pagewell
//   Software
CAtlString ExtractMacPreferencePathFromFullPath(CAtlString path);

// A normalised path, split once for a walk. A text converts to a KeyPath.
class KeyPath {
 public:
  KeyPath(const CAtlString& path);  // NOLINT(google-explicit-constructor)
  KeyPath(const char16_t* path) : KeyPath(CAtlString(path)) {}  // NOLINT
  template <IsStdText<char16_t> StdText>
  KeyPath(const StdText& path) : KeyPath(CAtlString(path)) {}  // NOLINT
  // Takes the names unchanged: a "/" or "\" in a name does not separate.
  static KeyPath FromNames(std::vector<CAtlString> names);

  int count() const { return static_cast<int>(names_.size()); }
  bool empty() const { return names_.empty(); }
  // Component 1 to count().
  const CAtlString& name(int index) const { return names_[static_cast<std::size_t>(index - 1)]; }
  // All components but the last; empty when there is at most one.
  KeyPath Parent() const;
  // The path with "\" between its components. As a path it leads to the same key only if no name
  // contains a separator.
  const CAtlString& text() const { return text_; }

 private:
  KeyPath() = default;

  CAtlString text_;
  std::vector<CAtlString> names_;
};

}  // namespace orvik
