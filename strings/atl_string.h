// CAtlString: the text type of the system, UTF-16 in a shared, copy-on-write buffer.
//
// The rules of the buffer and the errors are those of strings/string_buffer.h. char16_t stands for
// every 16-bit unit type of the interface; no operation looks at surrogate pairs. 8-bit text
// (`char`) is widened byte by byte, as ISO 8859-1.
//
// Two comparisons, chosen by the right-hand side: with another CAtlString by code units (NoCase: by
// Unicode case folding), with a zero-terminated array by the collation of the current locale. So
// the operators may order a pair differently from the same pair written with a literal.
//
// Choices: a negative start of a search is 0; a null text is an empty text everywhere; an empty
// text is found nowhere and replaced nowhere.
#pragma once

#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/core_foundation/base.h"
#include "strings/string_buffer.h"

namespace [[gnu::visibility("default")]] orvik {

class NSString;
using CFStringRef = const NSString*;
class CAtlString;
class CAtlStringA;

struct CAtlStringData {
  std::int32_t ref_count;
  std::int32_t data_length;
  std::int32_t allocated_length;
};

// The shared empty block.
struct CAtlStringNil {
  CAtlStringData header;
  char16_t terminator;
};
inline constinit CAtlStringNil _afxDataNil{{-1, 0, 0}, 0};
inline constexpr char16_t* _afxPchNil = &_afxDataNil.terminator;

struct WideUnits {
  using Unit = char16_t;
  using Header = CAtlStringData;
  static char16_t* Empty() { return _afxPchNil; }
  // Tab, line feed, vertical tab, form feed, carriage return and space.
  static bool IsSpace(char16_t unit) { return (unit >= 9 && unit <= 13) || unit == 32; }
  // What a search for a text or a set sees of the content, and whether it finds an empty text.
  static std::u16string_view Searched(std::u16string_view content) { return content; }
  static constexpr bool kFindsEmptyText = false;
  // Spare units in the buffer that a replaced text gets.
  static constexpr std::size_t kSpareAfterReplace = 0;
};

class CAtlString : public StringBuffer<CAtlString, WideUnits> {
  using Base = StringBuffer<CAtlString, WideUnits>;

 public:
  // NOLINTBEGIN(google-explicit-constructor)
  CAtlString() noexcept = default;
  CAtlString(const CAtlString& other) = default;
  CAtlString(CAtlString&& other) noexcept = default;
  CAtlString(std::nullptr_t) noexcept {}
  CAtlString(const char16_t* text);
  CAtlString(const char16_t* text, int n);
  CAtlString(const char* text);
  CAtlString(const char* text, int n);
  CAtlString(char16_t unit, int n);
  CAtlString(char byte, int n);
  // The string's UTF-16 code units; the reference stays the caller's.
  CAtlString(CFStringRef text);
  CAtlString(const CAtlStringA& text);
  explicit CAtlString(std::u16string_view text) : Base(text.size(), text.data()) {}
  // NOLINTEND(google-explicit-constructor)

  CAtlString& operator=(const CAtlString& other) {
    Assign(other);
    return *this;
  }
  CAtlString& operator=(CAtlString&& other) {
    Assign(static_cast<Base&&>(other));
    return *this;
  }
  CAtlString& operator=(std::nullptr_t) { return *this = static_cast<const char16_t*>(nullptr); }
  CAtlString& operator=(const char16_t* text);
  CAtlString& operator=(char16_t unit);
  CAtlString& operator=(char byte);
  CAtlString& operator=(const char* text);
  CAtlString& operator=(CFStringRef text);
  CAtlString& operator=(const CAtlStringA& text);

  using Base::ConcatCopy;
  void ConcatCopy(int a_length, const char16_t* a, int b_length, const char* b);
  void ConcatCopy(int a_length, const char* a, int b_length, const char16_t* b);
  using Base::ConcatInPlace;
  void ConcatInPlace(int n, const char* text);
  using Base::Append;
  void Append(const char* text);
  CAtlString& operator+=(const CAtlString& other);
  CAtlString& operator+=(const char16_t* text);
  CAtlString& operator+=(const char* text);
  CAtlString& operator+=(char16_t unit);
  CAtlString& operator+=(char byte);

  // Below, equal to or above 0.
  int Compare(const CAtlString& other) const;
  int CompareNoCase(const CAtlString& other) const;
  int Collate(const CAtlString& other, bool case_sensitive = true) const;
  int CollateNoCase(const CAtlString& other) const { return CompareNoCase(other); }
  // By the current locale's collation; 0 also when it fails.
  int Compare(const char16_t* text) const { return Collate(text, true); }
  int CompareNoCase(const char16_t* text) const { return Collate(text, false); }
  int Collate(const char16_t* text, bool case_sensitive = true) const;
  int CollateNoCase(const char16_t* text) const { return Collate(text, false); }

  // A platform string with a copy of the content; the caller releases it.
  CFStringRef CreateCFStringRef(CFAllocatorRef allocator) const;
  // A platform string over this string's own characters, valid while this string is neither changed
  // nor destroyed; the caller releases it.
  operator CFStringRef() const;  // NOLINT(google-explicit-constructor)

  using Base::Find;
  int Find(const char* text, int start = 0) const;
  int Find(char byte, int start = 0) const;
  using Base::FindOneOf;
  int FindOneOf(const char* set) const;
  using Base::ReverseFind;
  int ReverseFind(char byte) const;
  using Base::TrimLeft;
  CAtlString& TrimLeft(char byte);
  CAtlString& TrimLeft(const char* set);
  using Base::TrimRight;
  CAtlString& TrimRight(char byte);
  CAtlString& TrimRight(const char* set);

  // Under the current locale. The length stays: a longer result is cut at it.
  CAtlString& MakeUpper();
  CAtlString& MakeLower();

  // "%s" and "%S" take a zero-terminated char16_t array, "%@" a platform object, the rest is
  // printf. Every "%s" of the format is taken as "%S", after a "%%" too. When the format cannot be
  // carried out the string stays. The arguments may be this string's own content.
  void Format(const char16_t* format, ...);
  void FormatV(const char16_t* format, std::va_list arguments);
  void AppendFormat(const char16_t* format, ...);
  void AppendFormat(const char16_t* format, std::va_list arguments);
  // Keeps a literal 0 from being taken for the argument list.
  template <typename First, typename... Rest>
  requires std::integral<First> || std::same_as<First, std::nullptr_t>
  void AppendFormat(const char16_t* format, First first, Rest... rest) {
    AppendFormatOf(format, first, rest...);
  }

 private:
  void AppendFormatOf(const char16_t* format, ...);
};

CAtlString operator+(const CAtlString& a, const CAtlString& b);
CAtlString operator+(const CAtlString& a, const char16_t* b);
CAtlString operator+(const char16_t* a, const CAtlString& b);
CAtlString operator+(const CAtlString& a, const char* b);
CAtlString operator+(const char* a, const CAtlString& b);
CAtlString operator+(const CAtlString& a, char16_t b);
CAtlString operator+(char16_t a, const CAtlString& b);
CAtlString operator+(const CAtlString& a, char b);
CAtlString operator+(char a, const CAtlString& b);

// With these, ==, !=, <, >, <= and >= exist with the array on either side.
inline bool operator==(const CAtlString& a, const CAtlString& b) {
  return a.View() == b.View();
}
inline bool operator==(const CAtlString& a, const char16_t* b) {
  return a.Compare(b) == 0;
}
inline std::weak_ordering operator<=>(const CAtlString& a, const CAtlString& b) {
  return a.Compare(b) <=> 0;
}
inline std::weak_ordering operator<=>(const CAtlString& a, const char16_t* b) {
  return a.Compare(b) <=> 0;
}

// The shared empty string.
const CAtlString& AfxGetEmptyString();

extern template class StringBuffer<CAtlString, WideUnits>;

}  // namespace orvik
