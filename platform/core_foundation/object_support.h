// Shared by the sources of the objects: views of strings, and strings from and to paths on disk.
#pragma once

#include <optional>
#include <string>
#include <string_view>

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

// Bytes, moved below the system root where host::ResolvePath says so. Nothing for null, the empty
// text and a text that no path can have.
std::optional<std::string> FilePath(const NSString* path);

// A string owned by the caller for a path on disk, whose bytes come back unchanged from FilePath
// (host/file_names.h).
NSString* NewStringFromPath(std::string_view path);

}  // namespace orvik
