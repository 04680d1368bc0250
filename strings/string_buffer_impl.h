// Definitions of StringBuffer, included only by the sources that instantiate it.
#pragma once

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "strings/string_buffer.h"
#include "text/transcoding.h"

namespace orvik {

namespace string_buffer {

template <typename Unit>
void CopyUnits(Unit* to, std::basic_string_view<Unit> from) {
  orvik::CopyUnits(to, from.data(), from.size());
}

template <typename Unit>
void MoveUnits(Unit* to, const Unit* from, std::size_t n) {
  if (n != 0) std::memmove(to, from, n * sizeof(Unit));
}

// Checks that a length fits a string.
inline std::size_t Length(std::size_t n) {
  if (n > INT_MAX) throw std::bad_array_new_length();
  return n;
}

inline std::size_t NotNegative(int n) {
  return n < 0 ? 0 : static_cast<std::size_t>(n);
}

}  // namespace string_buffer

template <typename Units>
auto StringBuffer<Units>::NewBlock(std::size_t length, std::size_t capacity) -> Unit* {
  static_assert(sizeof(Block) == sizeof(std::int32_t) + sizeof(Header));
  if (capacity == 0) return Units::Empty();
  const auto shown = static_cast<std::int32_t>(string_buffer::Length(length));
  char* memory = nullptr;
  // Memory beyond `length` is optional: without it the exact length is tried.
  if (capacity > length) {
    memory = new (std::nothrow) char[sizeof(Block) + sizeof(Unit) * (capacity + 1)];
    if (memory == nullptr) capacity = length;
  }
  if (memory == nullptr) memory = new char[sizeof(Block) + sizeof(Unit) * (capacity + 1)];
  ::new (static_cast<void*>(memory)) Block{static_cast<std::int32_t>(capacity), {1, shown, shown}};
  Unit* const data = reinterpret_cast<Unit*>(memory + sizeof(Block));
  data[length] = 0;
  return data;
}

template <typename Units>
auto StringBuffer<Units>::NewGrownBlock(std::size_t length) const -> Unit* {
  std::size_t capacity = length;
  // A string that owns its block was probably appended to before and will be again.
  if (IsOwned() && length <= INT_MAX) {
    const std::size_t twice = 2 * static_cast<std::size_t>(Capacity());
    capacity = std::max(length, std::min<std::size_t>(twice, INT_MAX));
  }
  return NewBlock(length, capacity);
}

template <typename Units>
void StringBuffer<Units>::FreeData(Header* block) {
  delete[](reinterpret_cast<char*>(block + 1) - sizeof(Block));
}

template <typename Units>
void StringBuffer<Units>::AllocBuffer(int n) {
  data_ = NewBlock(string_buffer::NotNegative(n));
}

template <typename Units>
StringBuffer<Units>::StringBuffer(UnitView text) : data_(NewBlock(text.size())) {
  string_buffer::CopyUnits(data_, text);
}

template <typename Units>
StringBuffer<Units>::StringBuffer(int count, Unit unit)
    : data_(NewBlock(string_buffer::NotNegative(count))) {
  std::fill_n(data_, size(), unit);
}

template <typename Units>
void StringBuffer<Units>::Share(const StringBuffer& other) {
  // Far below the largest count, since several threads may add a reference at once.
  constexpr std::int32_t kMostReferences = INT_MAX / 2;
  Header* const block = other.GetData();
  const std::int32_t references = References(block->ref_count);
  if (references >= 1 && references < kMostReferences) {
    AddReference(block->ref_count);
    data_ = other.data_;
  } else {
    data_ = NewBlock(other.size());
    string_buffer::CopyUnits(data_, other.View());
  }
}

template <typename Units>
void StringBuffer<Units>::CopyShared() {
  Unit* const fresh = NewBlock(size());
  string_buffer::CopyUnits(fresh, View());
  Adopt(fresh);
}

template <typename Units>
void StringBuffer<Units>::SetLength(std::size_t length) {
  if (data_ == Units::Empty()) return;
  GetData()->data_length = static_cast<std::int32_t>(length);
  data_[length] = 0;
}

template <typename Units>
void StringBuffer<Units>::AllocBeforeWrite(int n) {
  const std::size_t length = string_buffer::NotNegative(n);
  if (!CanHold(length)) Adopt(NewBlock(length));
}

template <typename Units>
auto StringBuffer<Units>::FreshBuffer(std::size_t length, std::size_t spare) -> Unit* {
  const std::size_t room = length + spare;
  // A private block of about that size replaces a fresh one.
  if (IsOwned() && static_cast<std::size_t>(Capacity()) - room < kWorthKeeping) {
    GetData()->allocated_length = static_cast<std::int32_t>(room);
  } else {
    Adopt(NewBlock(room));
  }
  SetLength(length);
  return data_;
}

template <typename Units>
auto StringBuffer<Units>::AssignBuffer(std::size_t length) -> Unit* {
  AllocBeforeWrite(static_cast<int>(string_buffer::Length(length)));
  SetLength(length);
  return data_;
}

template <typename Units>
bool StringBuffer<Units>::MakeRoom(std::size_t n) {
  if (CanHold(n)) return true;
  if (!IsOwned() || static_cast<std::size_t>(Capacity()) < n) return false;
  GetData()->allocated_length = static_cast<std::int32_t>(n);
  return true;
}

template <typename Units>
auto StringBuffer<Units>::AppendBuffer(std::size_t n) -> Unit* {
  const std::size_t old = size();
  if (!MakeRoom(old + string_buffer::Length(n))) {
    Unit* const fresh = NewGrownBlock(old + n);
    string_buffer::CopyUnits(fresh, View());
    Adopt(fresh);
  }
  SetLength(old + n);
  return data_ + old;
}

template <typename Units>
void StringBuffer<Units>::AppendToMore(UnitView text) {
  if (text.empty()) return;
  const std::size_t old = size();
  const std::size_t length = old + string_buffer::Length(text.size());
  if (MakeRoom(length)) {
    string_buffer::MoveUnits(data_ + old, text.data(), text.size());
    SetLength(length);
  } else {
    Unit* const fresh = NewGrownBlock(length);
    string_buffer::CopyUnits(fresh, View());
    string_buffer::CopyUnits(fresh + old, text);
    Adopt(fresh);
  }
}

template <typename Units>
void StringBuffer<Units>::AppendForeign(ForeignView text) {
  if (!text.empty()) Units::Convert(text.data(), AppendBuffer(text.size()), text.size());
}

template <typename Units>
void StringBuffer<Units>::Empty() {
  if (IsEmpty()) return;
  if (IsLocked()) {
    SetLength(0);
  } else {
    Release();
  }
}

template <typename Units>
void StringBuffer<Units>::Assign(const StringBuffer& other) {
  if (data_ == other.data_) return;
  if (IsLocked() || other.IsLocked()) {
    Assign(other.View());
    return;
  }
  Unit* const old = data_;
  Share(other);
  Drop(old);
}

template <typename Units>
void StringBuffer<Units>::Assign(StringBuffer&& other) noexcept {
  if (IsLocked() && CanHold(other.size())) {
    Assign(other.View());
    return;
  }
  SwapBlocks(other);
  // Other assignments give up a locked block that is too small, and so does this one.
  if (other.IsLocked()) other.Release();
}

template <typename Units>
void StringBuffer<Units>::Assign(UnitView text) {
  const std::size_t length = text.size();
  if (CanHold(length)) {
    string_buffer::MoveUnits(data_, text.data(), length);
    SetLength(length);
  } else {
    Unit* const fresh = NewBlock(length);
    string_buffer::CopyUnits(fresh, text);
    Adopt(fresh);
  }
}

template <typename Units>
void StringBuffer<Units>::AssignForeign(ForeignView text) {
  Units::Convert(text.data(), AssignBuffer(text.size()), text.size());
}

template <typename Units>
int StringBuffer<Units>::SafeStrlen(const Unit* text) {
  return static_cast<int>(std::min<std::size_t>(ViewOf(text).size(), INT_MAX));
}

// ---- Writing into the buffer ----

template <typename Units>
auto StringBuffer<Units>::GetBuffer(int n) -> Unit* {
  const std::size_t room = string_buffer::NotNegative(n);
  if (!MakeRoom(room)) {
    const std::size_t length = size();
    Unit* const fresh = NewBlock(std::max(room, length));
    string_buffer::CopyUnits(fresh, View());
    Adopt(fresh);
    SetLength(length);
  }
  return data_;
}

template <typename Units>
auto StringBuffer<Units>::GetBufferSetLength(int n) -> Unit* {
  GetBuffer(n);
  SetLength(string_buffer::NotNegative(n));
  return data_;
}

template <typename Units>
void StringBuffer<Units>::ReleaseBuffer(int n) {
  CopyBeforeWrite();
  const auto room = static_cast<std::size_t>(GetAllocLength());
  std::size_t length = size();
  if (n != -1) {
    length = std::min(string_buffer::NotNegative(n), room);
  } else if (length == 0) {
    while (length < room && data_[length] != 0) ++length;
  }
  SetLength(length);
}

template <typename Units>
void StringBuffer<Units>::Truncate(int n) {
  const int length = std::clamp(n, 0, GetLength());
  GetBuffer(length);
  ReleaseBuffer(length);
}

template <typename Units>
auto StringBuffer<Units>::LockBuffer() -> Unit* {
  GetBuffer(0);
  if (data_ != Units::Empty()) GetData()->ref_count = -1;
  return data_;
}

template <typename Units>
void StringBuffer<Units>::UnlockBuffer() {
  if (IsLocked()) GetData()->ref_count = 1;
}

template <typename Units>
void StringBuffer<Units>::FreeExtra() {
  if (GetAllocLength() != GetLength() || (IsOwned() && Capacity() != GetLength())) CopyShared();
}

// ---- Appending ----

template <typename Units>
void StringBuffer<Units>::ConcatInPlace(int n, const Unit* text) {
  if (n > 0 && text != nullptr) AppendUnits({text, static_cast<std::size_t>(n)});
}

template <typename Units>
void StringBuffer<Units>::ConcatInPlace(int n, const Foreign* text) {
  if (n > 0 && text != nullptr) AppendForeign({text, static_cast<std::size_t>(n)});
}

}  // namespace orvik
