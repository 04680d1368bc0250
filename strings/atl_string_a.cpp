#include "strings/atl_string_a.h"

#include <algorithm>
#include <cctype>

#include "strings/string_buffer_impl.h"
#include "strings/text_view.h"
#include "strings/uca.h"

namespace orvik {

template class StringBuffer<CAtlStringA, NarrowUnits>;

using string_buffer::First;

namespace {

void Write(char* to, std::string_view text) {
  string_buffer::CopyUnits(to, text.data(), text.size());
}
void Write(char* to, std::u16string_view text) {
  NarrowLatin1(text.data(), to, text.size());
}

char Narrowed(char16_t unit) {
  char byte;
  NarrowLatin1(&unit, &byte, 1);
  return byte;
}

template <typename A, typename B>
CAtlStringA Joined(std::basic_string_view<A> a, std::basic_string_view<B> b) {
  CAtlStringA joined;
  char* const bytes = joined.GetBufferSetLength(string_buffer::Length(a.size() + b.size()));
  Write(bytes, a);
  Write(bytes + a.size(), b);
  return joined;
}

}  // namespace

bool NarrowUnits::IsSpace(char byte) {
  return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

CAtlStringA::CAtlStringA(const char* text) : CAtlStringA(ViewOf(text)) {}

CAtlStringA::CAtlStringA(const char* text, int n) : CAtlStringA(First(text, n)) {}

CAtlStringA::CAtlStringA(const char16_t* text) {
  const auto view = ViewOf(text);
  Write(AppendBuffer(view.size()), view);
}

CAtlStringA::CAtlStringA(const char16_t* text, int n) {
  const auto view = First(text, n);
  Write(AppendBuffer(view.size()), view);
}

CAtlStringA::CAtlStringA(char byte, int n) : Base(n, byte) {}

CAtlStringA::CAtlStringA(char16_t unit, int n) : Base(n, Narrowed(unit)) {}

CAtlStringA::CAtlStringA(const CAtlString& text) {
  Write(AppendBuffer(text.View().size()), text.View());
}

CAtlStringA& CAtlStringA::operator=(const char* text) {
  const auto view = ViewOf(text);
  if (view.empty()) {
    Empty();
  } else {
    Assign(view.size(), view.data());
  }
  return *this;
}

CAtlStringA& CAtlStringA::operator=(char byte) {
  Assign(1, &byte);
  return *this;
}

CAtlStringA& CAtlStringA::operator=(char16_t unit) {
  return *this = Narrowed(unit);
}

CAtlStringA& CAtlStringA::operator=(const char16_t* text) {
  const auto view = ViewOf(text);
  Write(AssignBuffer(view.size()), view);
  return *this;
}

CAtlStringA& CAtlStringA::operator=(const CAtlString& text) {
  Write(AssignBuffer(text.View().size()), text.View());
  return *this;
}

CAtlStringA& CAtlStringA::operator+=(const CAtlStringA& other) {
  Append(other);
  return *this;
}

CAtlStringA& CAtlStringA::operator+=(const char* text) {
  Append(text);
  return *this;
}

CAtlStringA& CAtlStringA::operator+=(char byte) {
  ConcatInPlace(1, &byte);
  return *this;
}

CAtlStringA& CAtlStringA::operator+=(const char16_t* text) {
  const auto added = ViewOf(text);
  Write(AppendBuffer(added.size()), added);
  return *this;
}

CAtlStringA& CAtlStringA::operator+=(char16_t unit) {
  return *this += Narrowed(unit);
}

CAtlStringA& CAtlStringA::MakeUpper() {
  CopyBeforeWrite();
  char* const bytes = GetBuffer();
  std::transform(bytes, bytes + GetLength(), bytes, [](char byte) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(byte)));
  });
  return *this;
}

CAtlStringA& CAtlStringA::MakeLower() {
  CopyBeforeWrite();
  char* const bytes = GetBuffer();
  std::transform(bytes, bytes + GetLength(), bytes, [](char byte) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  });
  return *this;
}

CAtlStringA CAtlStringA::SpanIncluding(const char* set) const {
  const auto content = NarrowUnits::Searched(View());
  return Left(static_cast<int>(UnitSet<char>(ViewOf(set)).RunIn(content)));
}

CAtlStringA CAtlStringA::SpanExcluding(const char* set) const {
  const auto content = NarrowUnits::Searched(View());
  return Left(static_cast<int>(UnitSet<char>(ViewOf(set)).RunOut(content)));
}

CAtlStringA CAtlStringA::Tokenize(const char16_t* set, int& position) const {
  return Tokenize(CAtlStringA(set).GetString(), position);
}

CAtlStringA operator+(const CAtlStringA& a, const CAtlStringA& b) {
  return Joined(a.View(), b.View());
}
CAtlStringA operator+(const CAtlStringA& a, const char* b) {
  return Joined(a.View(), ViewOf(b));
}
CAtlStringA operator+(const char* a, const CAtlStringA& b) {
  return Joined(ViewOf(a), b.View());
}
CAtlStringA operator+(const CAtlStringA& a, char b) {
  return Joined(a.View(), First(&b, 1));
}
CAtlStringA operator+(char a, const CAtlStringA& b) {
  return Joined(First(&a, 1), b.View());
}
CAtlStringA operator+(const CAtlStringA& a, const char16_t* b) {
  return Joined(a.View(), ViewOf(b));
}
CAtlStringA operator+(const char16_t* a, const CAtlStringA& b) {
  return Joined(ViewOf(a), b.View());
}
CAtlStringA operator+(const CAtlStringA& a, char16_t b) {
  return Joined(a.View(), First(&b, 1));
}
CAtlStringA operator+(char16_t a, const CAtlStringA& b) {
  return Joined(First(&a, 1), b.View());
}
CAtlStringA operator+(const CAtlStringA& a, const CAtlString& b) {
  return Joined(a.View(), b.View());
}
CAtlStringA operator+(const CAtlString& a, const CAtlStringA& b) {
  return Joined(a.View(), b.View());
}

const CAtlStringA& AfxGetEmptyStringA() {
  static const CAtlStringA empty;
  return empty;
}

}  // namespace orvik
