// The bytes of a textual property list, in whichever encoding, as UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace orvik::plist {

// The text is a part of the bytes, or all of what they were converted to.
struct Utf8Text {
  Bytes converted;  // null: the text is a part of the bytes
  std::string_view text;
};

// The text without its byte-order mark: in the encoding of the mark, else in UTF-16 or UTF-32 when
// the zero bytes around the first characters show it, else in the encoding that an XML declaration
// names, else in UTF-8. Nothing when the bytes are no text of that encoding, or hold a NUL.
std::optional<Utf8Text> TextAsUtf8(std::string_view bytes);

}  // namespace orvik::plist
