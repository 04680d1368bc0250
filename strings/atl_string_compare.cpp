// Comparison of both string classes.
#include <algorithm>
#include <string_view>

#include "platform/carbon/collation.h"
#include "platform/core_foundation/encodings.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/pieces.h"
#include "strings/text_view.h"
#include "strings/uca.h"

namespace orvik {

namespace {

constexpr UCCollateOptions kCaseInsensitive =
    kUCCollateCaseInsensitiveMask | kUCCollatePunctuationSignificantMask;

int Sign(int order) {
  return (order > 0) - (order < 0);
}

Owned<const NSString> StringOver(std::u16string_view units) {
  return Owned<const NSString>(CFStringCreateWithCharactersNoCopy(
      kCFAllocatorDefault, units.data(), static_cast<CFIndex>(units.size()), kCFAllocatorNull));
}

Owned<const NSString> StringOver(std::string_view mac_roman) {
  return Owned<const NSString>(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(mac_roman.data()),
      static_cast<CFIndex>(mac_roman.size()), kCFStringEncodingMacRoman, false));
}

template <typename A, typename B>
int CompareFolded(std::basic_string_view<A> a, std::basic_string_view<B> b) {
  return CompareInPieces(a, b, [](auto piece_a, auto piece_b) {
    return static_cast<int>(CFStringCompare(StringOver(piece_a).get(), StringOver(piece_b).get(),
                                            kCFCompareCaseInsensitive));
  });
}

char16_t UnitOf(char mac_roman) {
  const auto byte = static_cast<unsigned char>(mac_roman);
  return byte < 0x80 ? byte : UnitOfMacRoman(byte);
}
char16_t UnitOf(char16_t unit) {
  return unit;
}

// By code units, the bytes as Mac OS Roman.
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

int CAtlString::Compare(const CAtlString& other) const {
  return Sign(View().compare(other.View()));
}

int CAtlString::CompareNoCase(const CAtlString& other) const {
  if (GetString() == other.GetString()) return 0;
  return CompareFolded(View(), other.View());
}

int CAtlString::Collate(const CAtlString& other, bool case_sensitive) const {
  return case_sensitive ? Compare(other) : CompareNoCase(other);
}

int CAtlString::Collate(const char16_t* text, bool case_sensitive) const {
  CollatorRef collator = nullptr;
  if (UCCreateCollator(nullptr, 0, case_sensitive ? kUCCollateStandardOptions : kCaseInsensitive,
                       &collator) != 0) {
    return 0;
  }
  const std::u16string_view other = ViewOf(text);
  Boolean equivalent = false;
  SInt32 order = 0;
  const OSStatus status =
      UCCompareText(collator, GetString(), static_cast<UniCharCount>(GetLength()), other.data(),
                    other.size(), &equivalent, &order);
  UCDisposeCollator(&collator);
  return status != 0 || equivalent ? 0 : order;
}

int CAtlStringA::Compare(const CAtlStringA& other) const {
  return CompareUnits(View(), other.View());
}

int CAtlStringA::Compare(const char* text) const {
  return CompareUnits(View(), ViewOf(text));
}

int CAtlStringA::Compare(const char16_t* text) const {
  return CompareUnits(View(), ViewOf(text));
}

int CAtlStringA::CompareNoCase(const CAtlStringA& other) const {
  return CompareFolded(View(), other.View());
}

int CAtlStringA::CompareNoCase(const char* text) const {
  return CompareFolded(View(), ViewOf(text));
}

int CAtlStringA::CompareNoCase(const char16_t* text) const {
  return CompareFolded(View(), ViewOf(text));
}

}  // namespace orvik
