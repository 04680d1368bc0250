// CAtlStringA: the 8-bit twin of CAtlString, on the same buffer.
//
// The rules of the buffer, the errors and what threads may do are those of strings/string_buffer.h,
// with bytes for units; searching, editing and cutting are in strings/string_operations.h. The
// bytes have no encoding of their own. At the borders:
//
//   CAtlString, char16_t arrays and units   ISO 8859-1; a unit above 255 becomes "?"
//   platform strings, comparison, Format    Mac OS Roman
//   UTF-8                                   strings/utf8_strings.h
//
// Searches for a text or a set and the Span functions work like the C library's: they see the
// content up to its first 0 byte. Other operations see the whole content.
//
// Characters of a platform string that Mac OS Roman lacks become "?".
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
#include "strings/atl_string.h"
#include "strings/string_buffer.h"
#include "strings/string_operations.h"

namespace [[gnu::visibility("default")]] orvik {

using CAtlStringAData = CAtlStringData;

// The shared empty block.
using CAtlStringANil = StringNil<char>;
inline constinit CAtlStringANil _afxDataANil{{-1, 0, 0}, 0};
inline constexpr char* _afxPchANil = &_afxDataANil.terminator;

struct NarrowUnits {
  using Unit = char;
  using Foreign = char16_t;
  static char* Empty() { return _afxPchANil; }
  // The C library's space class under its current locale.
  static bool IsSpace(char byte);
  static void Convert(const char16_t* from, char* to, std::size_t n);
  // Writes the units in Mac OS Roman, which must have all of them.
  static void WriteFormatted(std::u16string_view units, char* to);
  static std::string_view Searched(std::string_view text) {
    return text.substr(0, text.find('\0'));
  }
  static constexpr bool kIsNarrow = true;
};

class CAtlStringA : public StringOperations<CAtlStringA, NarrowUnits> {
  using Base = StringOperations<CAtlStringA, NarrowUnits>;

 public:
  // NOLINTBEGIN(google-explicit-constructor)
  CAtlStringA() noexcept = default;
  CAtlStringA(const CAtlStringA& other) = default;
  CAtlStringA(CAtlStringA&& other) noexcept = default;
  CAtlStringA(std::nullptr_t) noexcept {}
  CAtlStringA(const char* text) : Base(ViewOf(text)) {}
  CAtlStringA(const char* text, int n) : Base(First(text, n)) {}
  CAtlStringA(const char16_t* text) { Append(text); }
  CAtlStringA(const char16_t* text, int n) { ConcatInPlace(n, text); }
  CAtlStringA(char byte, int n) : Base(n, byte) {}
  CAtlStringA(char16_t unit, int n) : Base(n, OneUnit(unit)) {}
  CAtlStringA(const CAtlString& text) { Append(text); }
  // The string's Mac OS Roman form; the reference stays the caller's.
  CAtlStringA(CFStringRef text);
  template <IsStdText<char> StdText>
  CAtlStringA(const StdText& text) : Base(std::string_view(text)) {}
  // NOLINTEND(google-explicit-constructor)

  CAtlStringA& operator=(const CAtlStringA& other) {
    Assign(other);
    return *this;
  }
  CAtlStringA& operator=(CAtlStringA&& other) noexcept {
    Assign(static_cast<Base&&>(other));
    return *this;
  }
  CAtlStringA& operator=(std::nullptr_t) {
    Empty();
    return *this;
  }
  template <IsTextOf<char> Other>
  CAtlStringA& operator=(const Other& text) {
    const Text bytes(text);
    if (bytes.empty() && IsArrayOf<Other, char>) {
      Empty();
    } else {
      Assign(bytes);
    }
    return *this;
  }
  template <IsTextOf<char16_t> Other>
  CAtlStringA& operator=(const Other& text) {
    AssignForeign(TextView<char16_t>(text));
    return *this;
  }
  CAtlStringA& operator=(char byte) { return *this = Text(std::string_view(&byte, 1)); }
  CAtlStringA& operator=(char16_t unit) { return *this = static_cast<char>(OneUnit(unit)); }
  CAtlStringA& operator=(CFStringRef text);

  // The content widened. A template, so that the constructor of CAtlString is the better match
  // where both are possible.
  template <std::same_as<CAtlString> Wide>
  operator Wide() const {  // NOLINT(google-explicit-constructor)
    return CAtlString(*this);
  }

  // Return -1, 0 or 1, in any locale. Compare goes by the Unicode values of the Mac OS Roman
  // characters, CompareNoCase by Unicode case folding.
  [[nodiscard]] int Compare(std::string_view other) const;
  [[nodiscard]] int CompareNoCase(std::string_view other) const;
  template <std::same_as<std::string> StdString>
  [[nodiscard]] int Compare(const StdString& other) const {
    return Compare(std::string_view(other));
  }
  template <std::same_as<std::string> StdString>
  [[nodiscard]] int CompareNoCase(const StdString& other) const {
    return CompareNoCase(std::string_view(other));
  }
  [[nodiscard]] int Compare(const CAtlStringA& other) const { return Compare(other.View()); }
  [[nodiscard]] int CompareNoCase(const CAtlStringA& other) const {
    return CompareNoCase(other.View());
  }
  [[nodiscard]] int Compare(const char* text) const { return Compare(ViewOf(text)); }
  [[nodiscard]] int CompareNoCase(const char* text) const { return CompareNoCase(ViewOf(text)); }
  [[nodiscard]] int Compare(const char16_t* text) const;
  [[nodiscard]] int CompareNoCase(const char16_t* text) const;
  template <typename Other>
  [[nodiscard]] int Collate(const Other& text, bool case_sensitive = true) const {
    return case_sensitive ? Compare(text) : CompareNoCase(text);
  }
  template <typename Other>
  [[nodiscard]] int CollateNoCase(const Other& text) const {
    return CompareNoCase(text);
  }

  // By the current locale's collation; 0 also when the collation fails.
  [[nodiscard]] int Collated(Text other, bool case_sensitive = true) const;

  // A platform string of the content up to its first 0 byte, taken as Mac OS Roman; the caller
  // releases it.
  [[nodiscard]] CFStringRef CreateCFStringRef(CFAllocatorRef allocator) const;

  // Each byte through the C library's toupper or tolower.
  CAtlStringA& MakeUpper();
  CAtlStringA& MakeLower();

  // The leading run of bytes that are in the set (SpanIncluding) or not in it (SpanExcluding).
  [[nodiscard]] CAtlStringA SpanIncluding(Text set) const;
  [[nodiscard]] CAtlStringA SpanExcluding(Text set) const;

  // Writes the bytes.
  friend std::ostream& operator<<(std::ostream& out, const CAtlStringA& text);
};

// The shared empty string.
const CAtlStringA& AfxGetEmptyStringA();

inline namespace literals {
// The string of "text"_s, 0 bytes inside it included.
inline CAtlStringA operator""_s(const char* text, std::size_t length) {
  return CAtlStringA(std::string_view(text, length));
}
}  // namespace literals

extern template class StringBuffer<NarrowUnits>;
extern template class StringOperations<CAtlStringA, NarrowUnits>;

}  // namespace orvik

template <>
struct std::hash<orvik::CAtlStringA> {
  std::size_t operator()(const orvik::CAtlStringA& text) const {
    return std::hash<std::string_view>()(text.View());
  }
};
