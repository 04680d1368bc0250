// Comparison of both string classes.
#include <algorithm>
#include <string_view>

#include "platform/carbon/collation.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/pieces.h"
#include "strings/text_view.h"
#include "strings/uca.h"
#include "text/case_mapping.h"
#include "text/mac_roman.h"

namespace orvik {

namespace {

constexpr UCCollateOptions kCaseInsensitive =
    kUCCollateCaseInsensitiveMask | kUCCollatePunctuationSignificantMask;

int Sign(int order) {
  return (order > 0) - (order < 0);
}

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

int CAtlString::Compare(std::u16string_view other) const {
  return Sign(View().compare(other));
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

}  // namespace orvik
