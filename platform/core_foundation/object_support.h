// What the sources of the objects share: views of strings, strings from and to paths on disk, and
// releasing and describing nested collections, which may be deeper than the stack of a small thread
// allows.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {

// A string's units, widened into a buffer of its own when the string keeps bytes. Valid as long as
// the string and this object.
class WideView {
 public:
  explicit WideView(const NSString* string) {
    if (string == nullptr) return;
    if (string->isLatin1()) {
      widened_ = string->ToUnits();
      view_ = widened_;
    } else {
      view_ = string->wide();
    }
  }
  WideView(const WideView&) = delete;
  WideView& operator=(const WideView&) = delete;

  std::u16string_view view() const { return view_; }
  operator std::u16string_view() const { return view_; }  // NOLINT(google-explicit-constructor)

 private:
  std::u16string widened_;
  std::u16string_view view_;
};

// The part of the range that lies within `length` units.
inline CFRange CutRange(CFRange range, CFIndex length) {
  const CFIndex first = std::clamp<CFIndex>(range.location, 0, length);
  return CFRangeMake(first, std::clamp<CFIndex>(range.length, 0, length - first));
}

// Bytes, moved below the system root where host::ResolvePath says so. Nothing for null, the empty
// text and a text that no path can have.
std::optional<std::string> FilePath(const NSString* path);

// A string owned by the caller for a path on disk.
NSString* NewStringFromPath(std::string_view path);

// Lives while a container releases its elements. Below the first few containers inside one another
// the elements wait on a list until the outermost one is done, so that destruction does not recurse
// any further.
class ElementRelease {
 public:
  ElementRelease();
  ~ElementRelease();
  ElementRelease(const ElementRelease&) = delete;
  ElementRelease& operator=(const ElementRelease&) = delete;

  void operator()(const NSObject* element) const;

 private:
  ElementRelease* outermost_;
  bool is_deep_;
  mutable std::vector<const NSObject*> waiting_;  // of the outermost
};

// Appends an object's description, its further lines indented by one level.
void AppendDescription(std::u16string& text, const NSObject* object);

}  // namespace orvik
