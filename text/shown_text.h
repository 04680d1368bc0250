// Text as people see it, on terminals, in sentences and in logs.
//
//   Escaped          a text on one line, in which nothing moves the cursor or the text around it
//   NameForSentence  a name that cannot change how the sentence around it is read
//   ColumnsOf        the width of a text in character cells
//   PlaceInText      the line and the column of a position, for messages
//
// The functions accept malformed text, too, and depend on no locale. When memory runs out, they
// throw std::bad_alloc; they have no other failure.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// A character that must not reach a terminal from a foreign text: the control characters of ASCII
// and U+0080 to U+009F, and the characters that reorder or break lines (U+061C, U+200E, U+200F,
// U+2028 to U+202E, U+2066 to U+2069).
struct ControlCharacter {
  char32_t point;
  std::size_t length;  // in bytes
};
// Returns the control character that begins at the byte `at`, which must lie within the text.
// Nothing for every other character, and for a byte inside a character.
std::optional<ControlCharacter> ControlAt(std::string_view utf8, std::size_t at);

// The text on one line, safe to print: a backslash, and every character of ControlAt, as an escape
// ("\\", "\n", "\t", "\r", "\x1b", "\u202e").
std::string Escaped(std::string_view utf8);

// Names inside sentences for people. A name must not change how the sentence around it, or the name
// itself, is read (Unicode Standard Annex #9; Unicode Technical Report #36, section 2.8).

// Embedding and override controls, U+202A to U+202E.
constexpr bool OverridesDirection(char16_t unit) {
  return unit >= 0x202A && unit <= 0x202E;
}

// The controls of OverridesDirection, the isolate controls U+2066 to U+2069 and the marks U+200E,
// U+200F, U+061C.
constexpr bool ControlsDirection(char16_t unit) {
  return OverridesDirection(unit) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0x200E ||
         unit == 0x200F || unit == 0x061C;
}

// The form of the name inside the sentence:
//
//   a control character, a direction control         "[U+202E]", its number
//   a name or a sentence with right-to-left text     surrounded by U+2068 and U+2069 (an isolate)
//   every other name                                 unchanged
std::u16string NameForSentence(std::u16string_view name, std::u16string_view sentence);

// The width of characters where all character cells are alike, as on a terminal.

// Columns of one character (Unicode Standard Annex #11): 2 for wide and full-width characters, 0
// for combining marks and format characters, otherwise 1. Control characters count as 0.
int ColumnsOf(char32_t character);

// Columns of a text; an unpaired surrogate counts as 1.
int ColumnsOf(std::u16string_view text);

// Lines and columns count from 1. A column is a character of UTF-8: a tab counts as one, and so
// does a byte that is not UTF-8. Lines end with a line feed, a carriage return, or both.
struct TextPlace {
  std::size_t line = 1;
  std::size_t column = 1;
};
// The place of the byte at `position`. A position behind the end gives the place of the end. Takes
// time proportional to `position`.
TextPlace PlaceInText(std::string_view text, std::size_t position);

}  // namespace orvik
