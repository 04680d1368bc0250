#include "strings/atl_string.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/carbon/collation.h"
#include "platform/core_foundation/string.h"
#include "strings/atl_string_a.h"
#include "strings/platform_text.h"
#include "strings/string_operations_impl.h"
#include "strings/text_view.h"
#include "strings/uca.h"
#include "strings/utf8_strings.h"
#include "text/case_and_spelling.h"
#include "text/characters.h"
#include "text/code_page_codec.h"
#include "text/transcoding.h"
#include "text/user_locale.h"

namespace orvik {

template class StringBuffer<WideUnits>;
template class StringOperations<CAtlString, WideUnits>;

void WideUnits::Convert(const char* from, char16_t* to, std::size_t n) {
  WidenLatin1(from, to, n);
}

void WideUnits::WriteFormatted(std::u16string_view units, char16_t* to) {
  CopyUnits(to, units.data(), units.size());
}

CAtlString::CAtlString(const CAtlStringA& text) {
  Append(text);
}

const CAtlString& AfxGetEmptyString() {
  static const CAtlString empty;
  return empty;
}

// A friend does not inherit the visibility of its class.
[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out, const CAtlString& text) {
  return out << MakeUTF8StringFromUnicodeString(text);
}

// Both string classes from and to platform strings.

namespace {

CFIndex LengthOf(CFStringRef text) {
  return text == nullptr ? 0 : CFStringGetLength(text);
}

}  // namespace

CAtlString::CAtlString(CFStringRef text) {
  *this = text;
}

CAtlString& CAtlString::operator=(CFStringRef text) {
  const CFIndex length = LengthOf(text);
  if (length == 0) {
    Empty();
  } else {
    CFStringGetCharacters(text, CFRangeMake(0, length),
                          AssignBuffer(static_cast<std::size_t>(length)));
  }
  return *this;
}

CFStringRef CAtlString::CreateCFStringRef(CFAllocatorRef allocator) const {
  return CFStringCreateWithCharacters(allocator, GetString(), GetLength());
}

CAtlString::operator CFStringRef() const {
  return CFStringCreateWithCharactersNoCopy(kCFAllocatorDefault, GetString(), GetLength(),
                                            kCFAllocatorNull);
}

CAtlStringA::CAtlStringA(CFStringRef text) {
  *this = text;
}

CAtlStringA& CAtlStringA::operator=(CFStringRef text) {
  const CFIndex length = LengthOf(text);
  if (length == 0) {
    Empty();
    return *this;
  }
  // Converts into a separate string first: the platform may run out of memory halfway.
  CAtlStringA converted;
  char* const bytes = converted.GetBuffer(static_cast<int>(length));
  CFIndex used = 0;
  CFStringGetBytes(text, CFRangeMake(0, length), kCFStringEncodingMacRoman, '?', false,
                   reinterpret_cast<UInt8*>(bytes), length, &used);
  converted.ReleaseBuffer(static_cast<int>(used));
  Assign(converted.View());
  return *this;
}

CFStringRef CAtlStringA::CreateCFStringRef(CFAllocatorRef allocator) const {
  return CFStringCreateWithCString(allocator, GetString(), kCFStringEncodingMacRoman);
}

// Comparison of both string classes.

namespace {

constexpr UCCollateOptions kCaseInsensitive =
    kUCCollateCaseInsensitiveMask | kUCCollatePunctuationSignificantMask;

std::u16string UnitsOf(std::string_view mac_roman) {
  std::u16string units(mac_roman.size(), u'\0');
  std::transform(mac_roman.begin(), mac_roman.end(), units.begin(),
                 [](char byte) { return UnitOfMacRoman(static_cast<unsigned char>(byte)); });
  return units;
}
std::u16string_view UnitsOf(std::u16string_view units) {
  return units;
}

template <typename A, typename B>
int CompareWithoutCase(std::basic_string_view<A> a, std::basic_string_view<B> b) {
  return CompareInPieces(a, b, [](auto piece_a, auto piece_b) {
    return CompareFolded(UnitsOf(piece_a), UnitsOf(piece_b));
  });
}

int CollateUnits(std::u16string_view a, std::u16string_view b, bool case_sensitive) {
  CollatorRef collator = nullptr;
  if (UCCreateCollator(nullptr, 0, case_sensitive ? kUCCollateStandardOptions : kCaseInsensitive,
                       &collator) != 0) {
    return 0;
  }
  Boolean equivalent = false;
  SInt32 order = 0;
  const OSStatus status =
      UCCompareText(collator, a.data(), a.size(), b.data(), b.size(), &equivalent, &order);
  UCDisposeCollator(&collator);
  return status != 0 || equivalent ? 0 : order;
}

char16_t UnitOf(char mac_roman) {
  const auto byte = static_cast<unsigned char>(mac_roman);
  return byte < 0x80 ? byte : UnitOfMacRoman(byte);
}
char16_t UnitOf(char16_t unit) {
  return unit;
}

// Compares by code units; bytes count as Mac OS Roman.
template <typename Text>
int CompareUnits(std::string_view a, Text b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t unit_a = UnitOf(a[i]);
    const char16_t unit_b = UnitOf(b[i]);
    if (unit_a != unit_b) return unit_a < unit_b ? -1 : 1;
  }
  return (a.size() > common) - (b.size() > common);
}

}  // namespace

int CAtlString::Compare(std::u16string_view other) const {
  const std::size_t common = CommonStart(View(), other);
  if (common == View().size() || common == other.size()) {
    return (View().size() > common) - (other.size() > common);
  }
  return View()[common] < other[common] ? -1 : 1;
}

int CAtlString::CompareNoCase(std::u16string_view other) const {
  return CompareWithoutCase(View(), other);
}

int CAtlString::CompareNoCase(const CAtlString& other) const {
  return GetString() == other.GetString() ? 0 : CompareNoCase(other.View());
}

int CAtlString::Collated(Text other, bool case_sensitive) const {
  return CollateUnits(View(), other, case_sensitive);
}

int CAtlStringA::Collated(Text other, bool case_sensitive) const {
  return CollateUnits(UnitsOf(View()), UnitsOf(other), case_sensitive);
}

int CAtlStringA::Compare(std::string_view other) const {
  return CompareUnits(View(), other);
}

int CAtlStringA::Compare(const char16_t* text) const {
  return CompareUnits(View(), ViewOf(text));
}

int CAtlStringA::CompareNoCase(std::string_view other) const {
  return CompareWithoutCase(View(), other);
}

int CAtlStringA::CompareNoCase(const char16_t* text) const {
  return CompareWithoutCase(View(), ViewOf(text));
}

CAtlString CAtlString::FromUtf8(std::string_view text) {
  CAtlString wide;
  // Malformed bytes are rare: the text between them is converted in one call.
  while (!text.empty()) {
    const char* source = text.data();
    const char* const source_end = source + text.size();
    char16_t units[256];
    char16_t* end = units;
    const TranscodingStop stop = DecodeUtf8(source, source_end, end, std::end(units));
    wide.Append(std::u16string_view(units, static_cast<std::size_t>(end - units)));
    text.remove_prefix(static_cast<std::size_t>(source - text.data()));
    if (stop == TranscodingStop::kIllegal || stop == TranscodingStop::kSourceEnds) {
      std::size_t behind = 0;
      NextCharacter(text, behind);
      wide += kReplacementCharacter;
      text.remove_prefix(behind);
    }
  }
  return wide;
}

CAtlString CAtlString::FromUtf8(std::u8string_view text) {
  return FromUtf8(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()));
}

std::string CAtlString::ToUtf8() const {
  std::string utf8;
  const std::u16string_view content = View();
  utf8.resize(Utf8Length(content));
  const char16_t* source = content.data();
  const char16_t* const source_end = source + content.size();
  char* end = utf8.data();
  if (EncodeUtf8(source, source_end, end, utf8.data() + utf8.size()) == TranscodingStop::kDone) {
    return utf8;
  }
  utf8.resize(static_cast<std::size_t>(end - utf8.data()));
  for (std::size_t at = static_cast<std::size_t>(source - content.data()); at < content.size();) {
    const char32_t character = NextCharacter(content, at);
    AppendCharacter(utf8, IsSurrogate(character) ? kReplacementCharacter : character);
  }
  return utf8;
}

CAtlString& CAtlString::MakeUpper() {
  CopyBeforeWrite();
  MapCaseInPlace(GetBuffer(), View().size(), CFStringUppercase);
  return *this;
}

CAtlString CAtlString::Uppercased() const {
  return CAtlString(ToUpper(View(), CurrentLocaleIdentifier(LocaleCategory::kCharacters)));
}

CAtlString CAtlString::Lowercased() const {
  return CAtlString(ToLower(View(), CurrentLocaleIdentifier(LocaleCategory::kCharacters)));
}

CAtlString& CAtlString::MakeLower() {
  CopyBeforeWrite();
  MapCaseInPlace(GetBuffer(), View().size(), CFStringLowercase);
  return *this;
}

}  // namespace orvik
