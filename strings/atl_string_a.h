// CAtlStringA: the 8-bit twin of CAtlString, on the same buffer.
//
// The rules of the buffer and the errors are those of strings/string_buffer.h, with bytes for
// units. The bytes have no encoding of their own. At the borders:
//
//   CAtlString, char16_t arrays and units   ISO 8859-1; a unit above 255 becomes "?"
//   platform strings, comparison, Format    Mac OS Roman
//   UTF-8                                   strings/utf8_strings.h
//
// Searches for a text or a set and the Span functions go through the C library: they see the
// content up to its first 0 byte. Other operations see all of it.
//
// Choices: a platform string's characters that Mac OS Roman lacks become "?"; a negative start is
// 0, a negative position of Tokenize gives -1 and an empty string; an empty text is found at the
// start of the search.
#pragma once

#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/core_foundation/base.h"
#include "strings/atl_string.h"
#include "strings/string_buffer.h"

namespace [[gnu::visibility("default")]] orvik {

struct CAtlStringAData {
  std::int32_t ref_count;
  std::int32_t data_length;
  std::int32_t allocated_length;
};

// The shared empty block.
struct CAtlStringANil {
  CAtlStringAData header;
  char terminator;
};
inline constinit CAtlStringANil _afxDataANil{{-1, 0, 0}, 0};
inline constexpr char* _afxPchANil = &_afxDataANil.terminator;

struct NarrowUnits {
  using Unit = char;
  using Header = CAtlStringAData;
  static char* Empty() { return _afxPchANil; }
  // The C library's space class under its current locale.
  static bool IsSpace(char byte);
  // What a search for a text or a set sees of the content, and whether it finds an empty text.
  static std::string_view Searched(std::string_view content) {
    return content.substr(0, content.find('\0'));
  }
  static constexpr bool kFindsEmptyText = true;
  // Spare units in the buffer that a replaced text gets.
  static constexpr std::size_t kSpareAfterReplace = 1;
};

class CAtlStringA : public StringBuffer<CAtlStringA, NarrowUnits> {
  using Base = StringBuffer<CAtlStringA, NarrowUnits>;

 public:
  // NOLINTBEGIN(google-explicit-constructor)
  CAtlStringA() noexcept = default;
  CAtlStringA(const CAtlStringA& other) = default;
  CAtlStringA(CAtlStringA&& other) noexcept = default;
  CAtlStringA(std::nullptr_t) noexcept {}
  CAtlStringA(const char* text);
  CAtlStringA(const char* text, int n);
  CAtlStringA(const char16_t* text);
  CAtlStringA(const char16_t* text, int n);
  CAtlStringA(char byte, int n);
  CAtlStringA(char16_t unit, int n);
  CAtlStringA(const CAtlString& text);
  // The string's Mac OS Roman form; the reference stays the caller's.
  CAtlStringA(CFStringRef text);
  explicit CAtlStringA(std::string_view text) : Base(text.size(), text.data()) {}
  // NOLINTEND(google-explicit-constructor)

  CAtlStringA& operator=(const CAtlStringA& other) {
    Assign(other);
    return *this;
  }
  CAtlStringA& operator=(CAtlStringA&& other) {
    Assign(static_cast<Base&&>(other));
    return *this;
  }
  CAtlStringA& operator=(std::nullptr_t) { return *this = static_cast<const char*>(nullptr); }
  CAtlStringA& operator=(const char* text);
  CAtlStringA& operator=(char byte);
  CAtlStringA& operator=(char16_t unit);
  CAtlStringA& operator=(const char16_t* text);
  CAtlStringA& operator=(const CAtlString& text);
  CAtlStringA& operator=(CFStringRef text);

  // The content widened. A template, so that the constructor of CAtlString is the better match
  // where both would do.
  template <std::same_as<CAtlString> Wide>
  operator Wide() const {  // NOLINT(google-explicit-constructor)
    return CAtlString(*this);
  }

  using Base::Append;
  CAtlStringA& operator+=(const CAtlStringA& other);
  CAtlStringA& operator+=(const char* text);
  CAtlStringA& operator+=(char byte);
  CAtlStringA& operator+=(const char16_t* text);
  CAtlStringA& operator+=(char16_t unit);

  // -1, 0 or 1, by the Unicode values of the Mac OS Roman characters; NoCase: by case folding.
  int Compare(const CAtlStringA& other) const;
  int Compare(const char* text) const;
  int Compare(const char16_t* text) const;
  int CompareNoCase(const CAtlStringA& other) const;
  int CompareNoCase(const char* text) const;
  int CompareNoCase(const char16_t* text) const;
  template <typename Text>
  int Collate(const Text& text, bool case_sensitive = true) const {
    return case_sensitive ? Compare(text) : CompareNoCase(text);
  }
  template <typename Text>
  int CollateNoCase(const Text& text) const {
    return CompareNoCase(text);
  }

  // A platform string of the content up to its first 0 byte, taken as Mac OS Roman; the caller
  // releases it.
  CFStringRef CreateCFStringRef(CFAllocatorRef allocator) const;

  // Each byte through the C library's toupper or tolower.
  CAtlStringA& MakeUpper();
  CAtlStringA& MakeLower();

  // "%s" takes a zero-terminated char array, "%S" a char16_t array, "%@" a platform object, the
  // rest is printf. When the format cannot be carried out, or the result has characters that Mac OS
  // Roman lacks, the string stays. The arguments may be this string's own content.
  void Format(const char* format, ...);
  void FormatV(const char* format, std::va_list arguments);
  void AppendFormat(const char* format, ...);
  void AppendFormat(const char* format, std::va_list arguments);
  // Keeps a literal 0 from being taken for the argument list.
  template <typename First, typename... Rest>
  requires std::integral<First> || std::same_as<First, std::nullptr_t>
  void AppendFormat(const char* format, First first, Rest... rest) {
    AppendFormatOf(format, first, rest...);
  }

  // The leading run of bytes that are in the set, or that are not.
  CAtlStringA SpanIncluding(const char* set) const;
  CAtlStringA SpanExcluding(const char* set) const;

  using Base::Tokenize;
  CAtlStringA Tokenize(const char16_t* set, int& position) const;

 private:
  void AppendFormatOf(const char* format, ...);
};

CAtlStringA operator+(const CAtlStringA& a, const CAtlStringA& b);
CAtlStringA operator+(const CAtlStringA& a, const char* b);
CAtlStringA operator+(const char* a, const CAtlStringA& b);
CAtlStringA operator+(const CAtlStringA& a, char b);
CAtlStringA operator+(char a, const CAtlStringA& b);
CAtlStringA operator+(const CAtlStringA& a, const char16_t* b);
CAtlStringA operator+(const char16_t* a, const CAtlStringA& b);
CAtlStringA operator+(const CAtlStringA& a, char16_t b);
CAtlStringA operator+(char16_t a, const CAtlStringA& b);
CAtlStringA operator+(const CAtlStringA& a, const CAtlString& b);
CAtlStringA operator+(const CAtlString& a, const CAtlStringA& b);

// With these, ==, !=, <, >, <= and >= exist with the array on either side.
inline bool operator==(const CAtlStringA& a, const CAtlStringA& b) {
  return a.View() == b.View();
}
inline bool operator==(const CAtlStringA& a, const char* b) {
  return a.Compare(b) == 0;
}
inline bool operator==(const CAtlStringA& a, const char16_t* b) {
  return a.Compare(b) == 0;
}
inline std::weak_ordering operator<=>(const CAtlStringA& a, const CAtlStringA& b) {
  return a.Compare(b) <=> 0;
}
inline std::weak_ordering operator<=>(const CAtlStringA& a, const char* b) {
  return a.Compare(b) <=> 0;
}
inline std::weak_ordering operator<=>(const CAtlStringA& a, const char16_t* b) {
  return a.Compare(b) <=> 0;
}

// The shared empty string.
const CAtlStringA& AfxGetEmptyStringA();

extern template class StringBuffer<CAtlStringA, NarrowUnits>;

}  // namespace orvik
