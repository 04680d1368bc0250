// Shared by the sources of the objects: views of strings, and conversion between strings and paths.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {

// A string's UTF-16 units; a string that is kept as bytes is widened into a buffer. Valid as long
// as the string and this object.
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

// The bytes of a path, moved below the system root where host::ResolvePath says so. Nothing for
// null, the empty text and a text that cannot be a path.
std::optional<std::string> FilePath(const NSString* path);

// A string for a path on disk; the caller owns it. FilePath returns the same bytes again
// (host/file_names.h).
NSString* NewStringFromPath(std::string_view path);

}  // namespace orvik
