// Units that XML cannot carry, written as U+FDD0 and four hexadecimal digits: the rule that
// forms.h states.
#pragma once

#include <string>
#include <string_view>

#include "plist/value.h"

namespace orvik::plist {

// Appends the text as UTF-8 character data of XML: every unit that XML cannot carry escaped, markup
// characters as entities, a carriage return as "&#13;".
void AppendEscapedText(std::string& xml, const Text& text);

// Character data of XML is plain when it is ASCII and the function above would write the same.
// (Some that it would write is not plain: text with references, or beyond ASCII.) This finds the
// first byte that is not plain, "<" included.
size_t PlainTextEnd(std::string_view xml, size_t position);

// UTF-8 of a text for a form that carries controls, but no lone surrogates: those, and what would
// read as an escape, are escaped.
std::string EscapedSurrogates(const Text& text);

// Undoes the escapes of either in place.
void UnescapeText(std::u16string& text);

}  // namespace orvik::plist
