#include "strings/atl_string.h"

#include "strings/atl_string_a.h"
#include "strings/string_buffer_impl.h"
#include "strings/text_view.h"
#include "strings/uca.h"

namespace orvik {

template class StringBuffer<CAtlString, WideUnits>;

using string_buffer::First;

namespace {

void Write(char16_t* to, std::u16string_view text) {
  string_buffer::CopyUnits(to, text.data(), text.size());
}
void Write(char16_t* to, std::string_view text) {
  WidenLatin1(text.data(), to, text.size());
}

template <typename A, typename B>
CAtlString Joined(std::basic_string_view<A> a, std::basic_string_view<B> b) {
  CAtlString joined;
  char16_t* const units = joined.GetBufferSetLength(string_buffer::Length(a.size() + b.size()));
  Write(units, a);
  Write(units + a.size(), b);
  return joined;
}

}  // namespace

CAtlString::CAtlString(const char16_t* text) : CAtlString(ViewOf(text)) {}

CAtlString::CAtlString(const char16_t* text, int n) : CAtlString(First(text, n)) {}

CAtlString::CAtlString(const char* text) {
  Append(text);
}

CAtlString::CAtlString(const char* text, int n) {
  ConcatInPlace(n, text);
}

CAtlString::CAtlString(char16_t unit, int n) : Base(n, unit) {}

CAtlString::CAtlString(char byte, int n) : Base(n, makeUCHFromCH(byte)) {}

CAtlString::CAtlString(const CAtlStringA& text) {
  ConcatInPlace(text.GetLength(), text.GetString());
}

CAtlString& CAtlString::operator=(const char16_t* text) {
  const auto view = ViewOf(text);
  Assign(view.size(), view.data());
  return *this;
}

CAtlString& CAtlString::operator=(char16_t unit) {
  Assign(1, &unit);
  return *this;
}

CAtlString& CAtlString::operator=(char byte) {
  return *this = makeUCHFromCH(byte);
}

CAtlString& CAtlString::operator=(const char* text) {
  const auto view = ViewOf(text);
  if (view.empty()) {
    Empty();
  } else {
    Write(AssignBuffer(view.size()), view);
  }
  return *this;
}

CAtlString& CAtlString::operator=(const CAtlStringA& text) {
  Write(AssignBuffer(text.View().size()), text.View());
  return *this;
}

void CAtlString::ConcatCopy(int a_length, const char16_t* a, int b_length, const char* b) {
  TakeBlock(Joined(First(a, a_length), First(b, b_length)));
}

void CAtlString::ConcatCopy(int a_length, const char* a, int b_length, const char16_t* b) {
  TakeBlock(Joined(First(a, a_length), First(b, b_length)));
}

void CAtlString::ConcatInPlace(int n, const char* text) {
  const auto added = First(text, n);
  if (!added.empty()) Write(AppendBuffer(added.size()), added);
}

void CAtlString::Append(const char* text) {
  const auto added = ViewOf(text);
  ConcatInPlace(string_buffer::Length(added.size()), added.data());
}

CAtlString& CAtlString::operator+=(const CAtlString& other) {
  Append(other);
  return *this;
}

CAtlString& CAtlString::operator+=(const char16_t* text) {
  Append(text);
  return *this;
}

CAtlString& CAtlString::operator+=(const char* text) {
  Append(text);
  return *this;
}

CAtlString& CAtlString::operator+=(char16_t unit) {
  ConcatInPlace(1, &unit);
  return *this;
}

CAtlString& CAtlString::operator+=(char byte) {
  ConcatInPlace(1, &byte);
  return *this;
}

int CAtlString::Find(const char* text, int start) const {
  return Find(CAtlString(text), start);
}

int CAtlString::Find(char byte, int start) const {
  return Find(makeUCHFromCH(byte), start);
}

int CAtlString::FindOneOf(const char* set) const {
  return FindOneOf(CAtlString(set));
}

int CAtlString::ReverseFind(char byte) const {
  return ReverseFind(makeUCHFromCH(byte));
}

CAtlString& CAtlString::TrimLeft(char byte) {
  return TrimLeft(makeUCHFromCH(byte));
}

CAtlString& CAtlString::TrimLeft(const char* set) {
  return TrimLeft(CAtlString(set));
}

CAtlString& CAtlString::TrimRight(char byte) {
  return TrimRight(makeUCHFromCH(byte));
}

CAtlString& CAtlString::TrimRight(const char* set) {
  return TrimRight(CAtlString(set));
}

CAtlString operator+(const CAtlString& a, const CAtlString& b) {
  return Joined(a.View(), b.View());
}
CAtlString operator+(const CAtlString& a, const char16_t* b) {
  return Joined(a.View(), ViewOf(b));
}
CAtlString operator+(const char16_t* a, const CAtlString& b) {
  return Joined(ViewOf(a), b.View());
}
CAtlString operator+(const CAtlString& a, const char* b) {
  return Joined(a.View(), ViewOf(b));
}
CAtlString operator+(const char* a, const CAtlString& b) {
  return Joined(ViewOf(a), b.View());
}
CAtlString operator+(const CAtlString& a, char16_t b) {
  return Joined(a.View(), First(&b, 1));
}
CAtlString operator+(char16_t a, const CAtlString& b) {
  return Joined(First(&a, 1), b.View());
}
CAtlString operator+(const CAtlString& a, char b) {
  return Joined(a.View(), First(&b, 1));
}
CAtlString operator+(char a, const CAtlString& b) {
  return Joined(First(&a, 1), b.View());
}

const CAtlString& AfxGetEmptyString() {
  static const CAtlString empty;
  return empty;
}

}  // namespace orvik
