// CAtlString: the text type of the system, UTF-16 in a shared, copy-on-write buffer.
//
// The rules of the buffer, the errors and what threads may do are those of strings/string_buffer.h;
// searching, editing and cutting are in strings/string_operations.h. char16_t is used for every
// 16-bit unit type of the interface; no operation looks at surrogate pairs. 8-bit text (`char`) is
// widened byte by byte, as ISO 8859-1.
//
// Comparisons go by the type of the other side:
//
//   a CAtlString, a view, 8-bit text    code units (NoCase: Unicode case folding), in any locale
//   a zero-terminated char16_t array    the collation of the current locale
//
// So the operators may order a pair of strings differently from the same pair with a literal on one
// side. The names of EqualUnits, EqualFolded and Collated say how they compare.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

#include "platform/core_foundation/base.h"
#include "strings/format_text.h"
#include "strings/string_buffer.h"
#include "strings/string_operations.h"
#include "text/characters.h"

namespace [[gnu::visibility("default")]] orvik {

class NSString;
using CFStringRef = const NSString*;
class CAtlString;
class CAtlStringA;

// The shared empty block.
using CAtlStringNil = StringNil<char16_t>;
inline constinit CAtlStringNil _afxDataNil{{-1, 0, 0}, 0};
inline constexpr char16_t* _afxPchNil = &_afxDataNil.terminator;

struct WideUnits {
  using Unit = char16_t;
  using Foreign = char;
  static char16_t* Empty() { return _afxPchNil; }
  // Tab, line feed, vertical tab, form feed, carriage return and space.
  static bool IsSpace(char16_t unit) { return IsAsciiSpace(unit); }
  static void Convert(const char* from, char16_t* to, std::size_t n);
  static void WriteFormatted(std::u16string_view units, char16_t* to);
  static std::u16string_view Searched(std::u16string_view text) { return text; }
  static constexpr bool kIsNarrow = false;
};

class CAtlString : public StringOperations<CAtlString, WideUnits> {
  using Base = StringOperations<CAtlString, WideUnits>;

 public:
  // NOLINTBEGIN(google-explicit-constructor)
  CAtlString() noexcept = default;
  CAtlString(const CAtlString& other) = default;
  CAtlString(CAtlString&& other) noexcept = default;
  CAtlString(std::nullptr_t) noexcept {}
  CAtlString(const char16_t* text) : Base(ViewOf(text)) {}
  CAtlString(const char16_t* text, int n) : Base(First(text, n)) {}
  CAtlString(const char* text) { Append(text); }
  CAtlString(const char* text, int n) { ConcatInPlace(n, text); }
  CAtlString(char16_t unit, int n) : Base(n, unit) {}
  CAtlString(char byte, int n) : Base(n, OneUnit(byte)) {}
  // The string's UTF-16 code units; the reference stays the caller's.
  CAtlString(CFStringRef text);
  CAtlString(const CAtlStringA& text);
  template <IsStdText<char16_t> StdText>
  CAtlString(const StdText& text) : Base(std::u16string_view(text)) {}
  // The encoding of the bytes is unknown. Explicit, so that it does not hide other overloads.
  template <IsStdText<char> StdText>
  explicit CAtlString(const StdText&) = delete;  // FromUtf8, or CAtlStringA for ISO 8859-1
  // NOLINTEND(google-explicit-constructor)

  // UTF-8 (RFC 3629) from and to the standard library's strings. Malformed text and unpaired
  // surrogates become U+FFFD (utf8_strings.h reports both).
  [[nodiscard]] static CAtlString FromUtf8(std::string_view text);
  [[nodiscard]] static CAtlString FromUtf8(std::u8string_view text);
  [[nodiscard]] std::string ToUtf8() const;

  CAtlString& operator=(const CAtlString& other) {
    Assign(other);
    return *this;
  }
  CAtlString& operator=(CAtlString&& other) noexcept {
    Assign(static_cast<Base&&>(other));
    return *this;
  }
  CAtlString& operator=(std::nullptr_t) { return *this = Text(); }
  template <IsTextOf<char16_t> Other>
  CAtlString& operator=(const Other& text) {
    Assign(Text(text));
    return *this;
  }
  template <IsTextOf<char> Other>
  CAtlString& operator=(const Other& text) {
    const TextView<char> bytes(text);
    if (bytes.empty() && IsArrayOf<Other, char> && !HasViewOf<Other, char>) {
      Empty();
    } else {
      AssignForeign(bytes);
    }
    return *this;
  }
  CAtlString& operator=(char16_t unit) { return *this = Text(std::u16string_view(&unit, 1)); }
  CAtlString& operator=(char byte) { return *this = static_cast<char16_t>(OneUnit(byte)); }
  CAtlString& operator=(CFStringRef text);

  // Return a value below, equal to or above 0. Compare goes by code units, CompareNoCase by Unicode
  // case folding.
  [[nodiscard]] int Compare(std::u16string_view other) const;
  [[nodiscard]] int CompareNoCase(std::u16string_view other) const;
  template <std::same_as<std::u16string> StdString>
  [[nodiscard]] int Compare(const StdString& other) const {
    return Compare(std::u16string_view(other));
  }
  template <std::same_as<std::u16string> StdString>
  [[nodiscard]] int CompareNoCase(const StdString& other) const {
    return CompareNoCase(std::u16string_view(other));
  }
  [[nodiscard]] int Compare(const CAtlString& other) const { return Compare(other.View()); }
  [[nodiscard]] int CompareNoCase(const CAtlString& other) const;
  [[nodiscard]] int Collate(const CAtlString& other, bool case_sensitive = true) const {
    return case_sensitive ? Compare(other) : CompareNoCase(other);
  }
  [[nodiscard]] int CollateNoCase(const CAtlString& other) const { return CompareNoCase(other); }
  // By the current locale's collation; 0 also when the collation fails.
  ORVIK_COMPARES_BY_COLLATION
  [[nodiscard]] int Compare(const char16_t* text) const { return Collated(text); }
  ORVIK_COMPARES_BY_COLLATION
  [[nodiscard]] int CompareNoCase(const char16_t* text) const { return Collated(text, false); }
  ORVIK_COMPARES_BY_COLLATION
  [[nodiscard]] int Collate(const char16_t* text, bool case_sensitive = true) const {
    return Collated(text, case_sensitive);
  }
  ORVIK_COMPARES_BY_COLLATION
  [[nodiscard]] int CollateNoCase(const char16_t* text) const { return Collated(text, false); }
  [[nodiscard]] int Collated(Text other, bool case_sensitive = true) const;

  // A platform string with a copy of the content; the caller releases it.
  [[nodiscard]] CFStringRef CreateCFStringRef(CFAllocatorRef allocator) const;
  // A platform string over this string's own characters, valid while this string is neither changed
  // nor destroyed; the caller releases it.
  operator CFStringRef() const;  // NOLINT(google-explicit-constructor)

  // Map the case under the current locale. A result that is longer than the old content is cut at
  // the old length: "\u00DFa" becomes "SS".
  CAtlString& MakeUpper();
  CAtlString& MakeLower();
  // Return the whole mapped text: "SSA".
  [[nodiscard]] CAtlString Uppercased() const;
  [[nodiscard]] CAtlString Lowercased() const;

  // Writes the text in UTF-8; an unpaired surrogate becomes "?".
  friend std::ostream& operator<<(std::ostream& out, const CAtlString& text);
};

// The shared empty string.
const CAtlString& AfxGetEmptyString();

inline namespace literals {
// The string of u"text"_s, 0 units inside it included.
inline CAtlString operator""_s(const char16_t* text, std::size_t length) {
  return CAtlString(std::u16string_view(text, length));
}
}  // namespace literals

extern template class StringBuffer<WideUnits>;
extern template class StringOperations<CAtlString, WideUnits>;

}  // namespace orvik

template <>
struct std::hash<orvik::CAtlString> {
  std::size_t operator()(const orvik::CAtlString& text) const {
    return std::hash<std::u16string_view>()(text.View());
  }
};
