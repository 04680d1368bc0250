// The bytes of a textual property list, in whichever encoding, as UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvik {

// The text without its byte-order mark: in the encoding of the mark, else in UTF-16 or UTF-32 when
// the zero bytes around the first characters tell so, else in the encoding that an XML declaration
// names, else in UTF-8. Nothing when the bytes are no text of that encoding, or hold a NUL.
std::optional<std::string> PropertyListTextAsUtf8(std::string_view bytes);

bool IsValidUtf8(std::string_view text);

// The length of the longest prefix without bytes above 0x7F.
size_t AsciiPrefixLength(std::string_view text);

// The code point of the sequence at position, which moves behind it. The text is valid UTF-8.
char32_t NextCodePoint(std::string_view text, size_t& position);

// One or two UTF-16 units.
void AppendCodePoint(std::u16string& text, char32_t code_point);

}  // namespace orvik
