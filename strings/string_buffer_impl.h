// Definitions of StringBuffer, included only by the sources that instantiate it.
#pragma once

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>
#include <utility>

#include "strings/string_buffer.h"
#include "strings/text_view.h"
#include "strings/unit_search.h"

namespace orvik {

namespace string_buffer {

template <typename Unit>
void CopyUnits(Unit* to, const Unit* from, std::size_t n) {
  if (n != 0) std::memcpy(to, from, n * sizeof(Unit));
}

template <typename Unit>
void MoveUnits(Unit* to, const Unit* from, std::size_t n) {
  if (n != 0) std::memmove(to, from, n * sizeof(Unit));
}

// The first n units of a text.
template <typename Unit>
std::basic_string_view<Unit> First(const Unit* text, int n) {
  if (n < 1 || text == nullptr) return {};
  return {text, static_cast<std::size_t>(n)};
}

// A length that fits a string.
inline int Length(std::size_t n) {
  if (n > INT_MAX) throw std::bad_array_new_length();
  return static_cast<int>(n);
}

inline std::size_t NotNegative(int n) {
  return n < 0 ? 0 : static_cast<std::size_t>(n);
}

}  // namespace string_buffer

// ---- The block ----

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::NewBlock(std::size_t length) -> Unit* {
  if (length == 0) return Units::Empty();
  if (length > INT_MAX) throw std::bad_array_new_length();
  char* const memory = new char[sizeof(Header) + sizeof(Unit) * (length + 1)];
  const auto n = static_cast<std::int32_t>(length);
  ::new (static_cast<void*>(memory)) Header{1, n, n};
  Unit* const data = reinterpret_cast<Unit*>(memory + sizeof(Header));
  data[length] = 0;
  return data;
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::AllocBuffer(int n) {
  data_ = NewBlock(string_buffer::NotNegative(n));
}

template <typename Derived, typename Units>
StringBuffer<Derived, Units>::StringBuffer(std::size_t length, const Unit* text)
    : data_(NewBlock(length)) {
  string_buffer::CopyUnits(data_, text, length);
}

template <typename Derived, typename Units>
StringBuffer<Derived, Units>::StringBuffer(int count, Unit unit)
    : data_(NewBlock(string_buffer::NotNegative(count))) {
  std::fill_n(data_, Size(), unit);
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::ShareCopy(const StringBuffer& other) {
  data_ = NewBlock(other.Size());
  string_buffer::CopyUnits(data_, other.data_, Size());
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::CopyShared() {
  Unit* const fresh = NewBlock(Size());
  string_buffer::CopyUnits(fresh, data_, Size());
  Adopt(fresh);
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::SetLength(std::size_t length) {
  if (data_ == Units::Empty()) return;
  GetData()->data_length = static_cast<std::int32_t>(length);
  data_[length] = 0;
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::AllocBeforeWrite(int n) {
  const std::size_t length = string_buffer::NotNegative(n);
  if (!CanHold(length)) Adopt(NewBlock(length));
}

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::FreshBuffer(std::size_t length, std::size_t spare) -> Unit* {
  Adopt(NewBlock(length + spare));
  SetLength(length);
  return data_;
}

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::AssignBuffer(std::size_t length) -> Unit* {
  AllocBeforeWrite(string_buffer::Length(length));
  SetLength(length);
  return data_;
}

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::AppendBuffer(std::size_t n) -> Unit* {
  const std::size_t old = Size();
  if (n > INT_MAX) throw std::bad_array_new_length();
  if (!CanHold(old + n)) {
    Unit* const fresh = NewBlock(old + n);
    string_buffer::CopyUnits(fresh, data_, old);
    Adopt(fresh);
  }
  SetLength(old + n);
  return data_ + old;
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::Empty() {
  if (IsEmpty()) return;
  if (IsLocked()) {
    SetLength(0);
  } else {
    Release();
  }
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::Assign(const StringBuffer& other) {
  if (data_ == other.data_) return;
  if (IsLocked() || other.IsLocked()) {
    Assign(other.Size(), other.data_);
    return;
  }
  Unit* const old = data_;
  Share(other);
  Drop(old);
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::Assign(StringBuffer&& other) {
  if (IsLocked() || other.IsLocked()) {
    Assign(other.Size(), other.data_);
  } else {
    std::swap(data_, other.data_);
  }
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::Assign(std::size_t length, const Unit* text) {
  // A piece of the string's own content fits, so that its block stays unless others share it.
  AllocBeforeWrite(string_buffer::Length(length));
  string_buffer::MoveUnits(data_, text, length);
  SetLength(length);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::SafeStrlen(const Unit* text) {
  return static_cast<int>(std::min<std::size_t>(ViewOf(text).size(), INT_MAX));
}

// ---- Writing into the buffer ----

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::GetBuffer(int n) -> Unit* {
  const std::size_t room = string_buffer::NotNegative(n);
  if (!CanHold(room)) {
    const std::size_t length = Size();
    Unit* const fresh = NewBlock(std::max(room, length));
    string_buffer::CopyUnits(fresh, data_, length);
    Adopt(fresh);
    SetLength(length);
  }
  return data_;
}

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::GetBufferSetLength(int n) -> Unit* {
  GetBuffer(n);
  SetLength(string_buffer::NotNegative(n));
  return data_;
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::ReleaseBuffer(int n) {
  CopyBeforeWrite();
  const auto room = static_cast<std::size_t>(GetAllocLength());
  std::size_t length = Size();
  if (n != -1) {
    length = std::min(string_buffer::NotNegative(n), room);
  } else if (length == 0) {
    while (length < room && data_[length] != 0) ++length;
  }
  SetLength(length);
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::Truncate(int n) {
  const int length = std::clamp(n, 0, GetLength());
  GetBuffer(length);
  ReleaseBuffer(length);
}

template <typename Derived, typename Units>
auto StringBuffer<Derived, Units>::LockBuffer() -> Unit* {
  GetBuffer(0);
  if (data_ != Units::Empty()) GetData()->ref_count = -1;
  return data_;
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::UnlockBuffer() {
  if (IsLocked()) GetData()->ref_count = 1;
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::FreeExtra() {
  if (GetAllocLength() != GetLength()) CopyShared();
}

// ---- Concatenation ----

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::ConcatCopy(int a_length, const Unit* a, int b_length,
                                              const Unit* b) {
  const auto first = string_buffer::First(a, a_length);
  const auto second = string_buffer::First(b, b_length);
  Unit* const fresh = NewBlock(first.size() + second.size());
  string_buffer::CopyUnits(fresh, first.data(), first.size());
  string_buffer::CopyUnits(fresh + first.size(), second.data(), second.size());
  Adopt(fresh);
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::ConcatInPlace(int n, const Unit* text) {
  if (n < 1 || text == nullptr) return;
  const auto added = static_cast<std::size_t>(n);
  const std::size_t old = Size();
  if (CanHold(old + added)) {
    string_buffer::MoveUnits(data_ + old, text, added);
    SetLength(old + added);
  } else {
    ConcatCopy(static_cast<int>(old), data_, n, text);
  }
}

template <typename Derived, typename Units>
void StringBuffer<Derived, Units>::Append(const Unit* text) {
  ConcatInPlace(string_buffer::Length(ViewOf(text).size()), text);
}

// ---- Searching ----

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::FindFrom(std::size_t start,
                                           std::basic_string_view<Unit> text) const {
  if (start > Size() || (text.empty() && (!Units::kFindsEmptyText || start == Size()))) return -1;
  const std::size_t found = FindUnits(Units::Searched(View().substr(start)), text);
  return found == kNotFound ? -1 : static_cast<int>(start + found);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Find(const Unit* text, int start) const {
  return FindFrom(string_buffer::NotNegative(start), ViewOf(text));
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Find(const StringBuffer& text, int start) const {
  return FindFrom(string_buffer::NotNegative(start), Units::Searched(text.View()));
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Find(Unit unit, int start) const {
  const std::size_t from = string_buffer::NotNegative(start);
  if (from >= Size()) return -1;
  const std::size_t found = FindUnit(View().substr(from), unit);
  return found == kNotFound ? -1 : static_cast<int>(from + found);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::FindFirstOf(std::basic_string_view<Unit> set) const {
  const auto content = Units::Searched(View());
  const std::size_t run = UnitSet<Unit>(set).RunOut(content);
  return run == content.size() ? -1 : static_cast<int>(run);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::FindOneOf(const Unit* set) const {
  return FindFirstOf(ViewOf(set));
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::FindOneOf(const StringBuffer& set) const {
  return FindFirstOf(Units::Searched(set.View()));
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::ReverseFind(Unit unit) const {
  const std::size_t found = View().rfind(unit);
  return found == View().npos ? -1 : static_cast<int>(found);
}

// ---- Trimming ----

template <typename Derived, typename Units>
template <typename Predicate>
Derived& StringBuffer<Derived, Units>::CutLeft(Predicate is_cut) {
  CopyBeforeWrite();
  const std::size_t length = Size();
  std::size_t cut = 0;
  while (cut < length && is_cut(data_[cut])) ++cut;
  if (cut != 0) {
    string_buffer::MoveUnits(data_, data_ + cut, length - cut);
    SetLength(length - cut);
  }
  return Self();
}

template <typename Derived, typename Units>
template <typename Predicate>
Derived& StringBuffer<Derived, Units>::CutRight(Predicate is_cut) {
  CopyBeforeWrite();
  std::size_t length = Size();
  while (length > 0 && is_cut(data_[length - 1])) --length;
  SetLength(length);
  return Self();
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimLeft() {
  return CutLeft(Units::IsSpace);
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimRight() {
  return CutRight(Units::IsSpace);
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::Trim() {
  TrimLeft();
  return TrimRight();
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimLeft(Unit unit) {
  return CutLeft([unit](Unit other) { return other == unit; });
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimRight(Unit unit) {
  return CutRight([unit](Unit other) { return other == unit; });
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimLeft(const Unit* set) {
  return TrimLeftOf(ViewOf(set));
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimRight(const Unit* set) {
  return TrimRightOf(ViewOf(set));
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimLeft(const StringBuffer& set) {
  return TrimLeftOf(set.View());
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimRight(const StringBuffer& set) {
  return TrimRightOf(set.View());
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimLeftOf(std::basic_string_view<Unit> set) {
  if (set.empty()) return Self();
  return CutLeft([units = UnitSet<Unit>(set)](Unit unit) { return units.Contains(unit); });
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::TrimRightOf(std::basic_string_view<Unit> set) {
  if (set.empty()) return Self();
  return CutRight([units = UnitSet<Unit>(set)](Unit unit) { return units.Contains(unit); });
}

// ---- Editing ----

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Remove(Unit unit) {
  CopyBeforeWrite();
  const std::size_t length = Size();
  const std::size_t kept =
      static_cast<std::size_t>(std::remove(data_, data_ + length, unit) - data_);
  SetLength(kept);
  return static_cast<int>(length - kept);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Replace(Unit old_unit, Unit new_unit) {
  if (old_unit == new_unit) return 0;
  CopyBeforeWrite();
  int count = 0;
  for (std::size_t i = 0, length = Size(); i < length; ++i) {
    if (data_[i] == old_unit) {
      data_[i] = new_unit;
      ++count;
    }
  }
  return count;
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Replace(const Unit* old_text, const Unit* new_text) {
  const auto from = ViewOf(old_text);
  const auto to = ViewOf(new_text);
  const auto content = View();
  if (from.empty()) return 0;
  // The first places are kept, so that few texts are searched twice.
  std::array<std::size_t, 32> places;
  std::size_t count = 0;
  for (std::size_t at = 0, hop; (hop = FindUnits(content.substr(at), from)) != kNotFound; ++count) {
    at += hop;
    if (count < places.size()) places[count] = at;
    at += from.size();
  }
  if (count == 0) return 0;

  const std::size_t length = content.size() - count * from.size() + count * to.size();
  Unit* const fresh = NewBlock(length + Units::kSpareAfterReplace);
  Unit* out = fresh;
  std::size_t at = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t place =
        i < places.size() ? places[i] : at + FindUnits(content.substr(at), from);
    string_buffer::CopyUnits(out, content.data() + at, place - at);
    out += place - at;
    string_buffer::CopyUnits(out, to.data(), to.size());
    out += to.size();
    at = place + from.size();
  }
  string_buffer::CopyUnits(out, content.data() + at, content.size() - at);
  Adopt(fresh);
  SetLength(length);
  return static_cast<int>(count);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Insert(int index, const Unit* text) {
  return InsertUnits(index, ViewOf(text));
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::InsertUnits(int index, std::basic_string_view<Unit> text) {
  const std::size_t length = Size();
  const std::size_t n = text.size();
  if (n == 0) return GetLength();
  if (n > INT_MAX) throw std::bad_array_new_length();
  const std::size_t at = std::min(string_buffer::NotNegative(index), length);
  if (!CanHold(length + n)) {
    Unit* const fresh = NewBlock(length + n);
    string_buffer::CopyUnits(fresh, data_, at);
    string_buffer::CopyUnits(fresh + at, text.data(), n);
    string_buffer::CopyUnits(fresh + at + n, data_ + at, length - at);
    Adopt(fresh);
    return GetLength();
  }
  string_buffer::MoveUnits(data_ + at + n, data_ + at, length - at);
  // A text of our own that lies behind the gap has moved up by n.
  std::size_t before = n;
  const std::less<const Unit*> less;
  if (!less(text.data(), data_) && less(text.data(), data_ + length)) {
    const auto offset = static_cast<std::size_t>(text.data() - data_);
    before = offset < at ? std::min(at - offset, n) : 0;
    string_buffer::CopyUnits(data_ + at + before, data_ + offset + before + n, n - before);
  }
  string_buffer::CopyUnits(data_ + at, text.data(), before);
  SetLength(length + n);
  return GetLength();
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::Delete(int index, int count) {
  const std::size_t length = Size();
  const std::size_t at = string_buffer::NotNegative(index);
  if (count < 1 || at >= length) return GetLength();
  CopyBeforeWrite();
  const std::size_t n = std::min(static_cast<std::size_t>(count), length - at);
  string_buffer::MoveUnits(data_ + at, data_ + at + n, length - at - n);
  SetLength(length - n);
  return static_cast<int>(length);
}

template <typename Derived, typename Units>
int StringBuffer<Derived, Units>::SetAt(int index, Unit unit) {
  CopyBeforeWrite();
  data_[index] = unit;
  return index;
}

template <typename Derived, typename Units>
Derived& StringBuffer<Derived, Units>::MakeReverse() {
  CopyBeforeWrite();
  std::reverse(data_, data_ + Size());
  return Self();
}

// ---- Pieces ----

template <typename Derived, typename Units>
Derived StringBuffer<Derived, Units>::Piece(std::size_t first, std::size_t count) const {
  if (first == 0 && count == Size()) return static_cast<const Derived&>(*this);
  return Derived(View().substr(first, count));
}

template <typename Derived, typename Units>
Derived StringBuffer<Derived, Units>::Left(int count) const {
  return Piece(0, std::min(string_buffer::NotNegative(count), Size()));
}

template <typename Derived, typename Units>
Derived StringBuffer<Derived, Units>::Right(int count) const {
  const std::size_t n = std::min(string_buffer::NotNegative(count), Size());
  return Piece(Size() - n, n);
}

template <typename Derived, typename Units>
Derived StringBuffer<Derived, Units>::Mid(int first, int count) const {
  const std::size_t from = std::min(string_buffer::NotNegative(first), Size());
  return Piece(from, std::min(string_buffer::NotNegative(count), Size() - from));
}

template <typename Derived, typename Units>
Derived StringBuffer<Derived, Units>::Mid(int first) const {
  return Mid(first, INT_MAX);
}

template <typename Derived, typename Units>
Derived StringBuffer<Derived, Units>::Tokenize(const Unit* set, int& position) const {
  if (position < 0 || position >= GetLength()) {
    position = -1;
    return Derived();
  }
  const auto content = View();
  const UnitSet<Unit> delimiters(ViewOf(set));
  std::size_t at = static_cast<std::size_t>(position);
  at += delimiters.RunIn(content.substr(at));
  const auto searched = Units::Searched(content.substr(at));
  const std::size_t token = delimiters.RunOut(searched);
  if (token == searched.size()) {
    position = -1;
    return Piece(at, content.size() - at);
  }
  const std::size_t end = at + token;
  const std::size_t next = end + delimiters.RunIn(content.substr(end));
  position = next < content.size() ? static_cast<int>(next) : -1;
  return Piece(at, token);
}

}  // namespace orvik
