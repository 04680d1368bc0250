// Names of files: UTF-16 in the system, bytes on disk.
//
// A name on disk is UTF-8 as a rule, but may be any bytes. A byte that belongs to no well-formed
// UTF-8 sequence becomes one unit of U+DC80..U+DCFF (0xDC00 + the byte) and such a unit, when no
// high surrogate precedes it, becomes the byte again. So every name that was listed opens the
// file it was listed for.
//
// Path values turn "\" into "/", so what hands a name on to one writes U+DC5C for a "\" in it. That
// unit becomes "\" here and is never made here.
//
// Any other lone surrogate becomes the three bytes UTF-8 would have for it. They are no well-formed
// UTF-8, so the file is listed as three units that turn into the same bytes.
//
//   "caf\xC3\xA9"  <->  u"café"
//   "caf\xE9"      <->  u"caf\xDCE9"
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {
namespace host {

// Never fails.
std::u16string FileNameFromBytes(std::string_view bytes);

// Works for whole paths too. Nothing when the text holds NUL: no file can have that name.
std::optional<std::string> FileNameToBytes(std::u16string_view name);

}  // namespace host
}  // namespace orvik
