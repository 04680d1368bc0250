#include "strings/atl_string_a.h"

#include <algorithm>
#include <cctype>
#include <ostream>

#include "strings/string_operations_impl.h"
#include "text/transcoding.h"

namespace orvik {

template class StringBuffer<NarrowUnits>;
template class StringOperations<CAtlStringA, NarrowUnits>;

bool NarrowUnits::IsSpace(char byte) {
  return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

void NarrowUnits::Convert(const char16_t* from, char* to, std::size_t n) {
  NarrowLatin1(from, to, n);
}

void NarrowUnits::WriteFormatted(std::u16string_view units, char* to) {
  if (IsAscii(units)) {
    NarrowLatin1(units.data(), to, units.size());
  } else {
    std::transform(units.begin(), units.end(), to,
                   [](char16_t unit) { return static_cast<char>(MacRomanOf(unit)); });
  }
}

CAtlStringA& CAtlStringA::MakeUpper() {
  CopyBeforeWrite();
  std::transform(begin(), end(), GetBuffer(), [](char byte) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
  });
  return *this;
}

CAtlStringA& CAtlStringA::MakeLower() {
  CopyBeforeWrite();
  std::transform(begin(), end(), GetBuffer(), [](char byte) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  });
  return *this;
}

CAtlStringA CAtlStringA::SpanIncluding(Text set) const {
  return Left(static_cast<int>(UnitSet<char>(NarrowUnits::Searched(set)).RunIn(View())));
}

CAtlStringA CAtlStringA::SpanExcluding(Text set) const {
  UnitSet<char> stops(NarrowUnits::Searched(set));
  stops.Add(0);
  return Left(static_cast<int>(stops.RunOut(View())));
}

const CAtlStringA& AfxGetEmptyStringA() {
  static const CAtlStringA empty;
  return empty;
}

// A friend does not inherit the visibility of its class.
[[gnu::visibility("default")]] std::ostream& operator<<(std::ostream& out,
                                                        const CAtlStringA& text) {
  return out << text.View();
}

}  // namespace orvik
