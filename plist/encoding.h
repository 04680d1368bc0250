// Converts the bytes of a textual property list, in any encoding that ICU knows, to UTF-8.
//
//   the bytes begin with                              encoding
//   a byte-order mark (Unicode, section 23.8)         that of the mark
//   zero bytes beside "<", "{", "(" or a blank        UTF-16 or UTF-32 of that byte order
//   <?xml version="1.0" encoding="NAME"?>             NAME
//   anything else                                     UTF-8
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "plist/value.h"

namespace orvik::plist {

// The text is either a part of the bytes or all of `converted`.
struct Utf8Text {
  Bytes converted;  // null: the text is a part of the bytes
  std::string_view text;
};

// Returns the text of `bytes` as UTF-8, without its byte-order mark. Nothing if the bytes are not
// valid in their encoding, if the encoding is unknown, or if the text contains U+0000. UTF-8 is
// checked but not copied; the result then refers to `bytes`.
std::optional<Utf8Text> TextAsUtf8(std::string_view bytes);

// The reason why TextAsUtf8 gives nothing for `bytes`, for a message. For malformed UTF-8 it has
// line and column.
std::string WhyNotText(std::string_view bytes);

}  // namespace orvik::plist
