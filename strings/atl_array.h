// CAtlArray: a growable array whose elements move as raw bytes.
//
// Elements are kept in one malloc block and are moved with memmove when the array grows or when
// others are inserted, so an element type must not hold pointers into itself (std::string does;
// CAtlString, CAtlStringA and plain data do not).
//
// Errors: an index that is not below the count throws std::out_of_range. Too little memory is a
// result (false, or kNoIndex; std::bad_alloc from a constructor) and leaves the array as it was. An
// exception of an element's constructor reaches the caller and leaves the array as it was.
//
// Threads: one array may be read in several threads at once as long as none changes it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace [[gnu::visibility("default")]] orvik {

// How CAtlArray moves elements of type E.
template <typename E>
struct CElementTraits {
  // Moves `count` elements to `to` as bytes; the ranges may overlap. `from` is raw memory
  // afterwards.
  static void RelocateElements(E* to, const E* from, std::size_t count) {
    if (count != 0)
      std::memmove(static_cast<void*>(to), static_cast<const void*>(from), count * sizeof(E));
  }
};

template <typename E, typename Traits = CElementTraits<E>>
class CAtlArray {
 public:
  static_assert(alignof(E) <= alignof(std::max_align_t), "malloc does not align more than that");

  static constexpr std::size_t kNoIndex = static_cast<std::size_t>(-1);

  using value_type = E;
  using iterator = E*;
  using const_iterator = const E*;

  CAtlArray() = default;
  // Copies the elements. Too little memory throws std::bad_alloc.
  CAtlArray(std::initializer_list<E> elements) : CAtlArray() {
    if (!Reserve(elements.size())) throw std::bad_alloc();
    std::uninitialized_copy(elements.begin(), elements.end(), data_);
    count_ = elements.size();
  }
  ~CAtlArray() { RemoveAll(); }
  CAtlArray(const CAtlArray&) = delete;
  CAtlArray& operator=(const CAtlArray&) = delete;
  CAtlArray(CAtlArray&& other) noexcept { Swap(other); }
  CAtlArray& operator=(CAtlArray&& other) noexcept {
    CAtlArray taken(std::move(other));
    Swap(taken);
    return *this;
  }

  std::size_t GetCount() const { return count_; }
  bool IsEmpty() const { return count_ == 0; }
  // The elements, GetCount() of them; null as long as nothing has been allocated. Valid until the
  // array is changed.
  E* GetData() { return data_; }
  const E* GetData() const { return data_; }
  // The same functions under the names of the standard library's containers.
  [[nodiscard]] std::size_t size() const { return count_; }
  [[nodiscard]] bool empty() const { return count_ == 0; }
  E* data() { return data_; }
  const E* data() const { return data_; }
  E* begin() { return data_; }
  E* end() { return data_ + count_; }
  const E* begin() const { return data_; }
  const E* end() const { return data_ + count_; }

  E& GetAt(std::size_t index) { return data_[Checked(index)]; }
  const E& GetAt(std::size_t index) const { return data_[Checked(index)]; }
  E& operator[](std::size_t index) { return data_[Checked(index)]; }
  const E& operator[](std::size_t index) const { return data_[Checked(index)]; }

  // Copies the element, which may be one of this array, to the end. Returns its index, or kNoIndex
  // when there is no memory for it.
  std::size_t Add(const E& element);

  // Makes the array `count` elements long: constructs the missing ones with their default value or
  // destroys the last ones. A count of 0 frees the storage. Later growth enlarges the storage by
  // `grow_by` elements, or by an automatic number for 0; a negative value keeps the setting. False
  // when there is too little memory.
  bool SetCount(std::size_t count, int grow_by = -1);

  // Destroys all elements and frees the storage; the grow-by setting stays.
  void RemoveAll() {
    std::destroy_n(data_, count_);
    std::free(static_cast<void*>(data_));
    data_ = nullptr;
    count_ = capacity_ = 0;
  }

  // Destroys `count` elements from `index` on and moves the later elements down to the gap. Throws
  // std::out_of_range, and changes nothing, unless the array has all of them. The storage stays.
  void RemoveAt(std::size_t index, std::size_t count = 1) {
    if (index > count_ || count > count_ - index) {
      throw std::out_of_range("CAtlArray: not so many elements from the index on");
    }
    std::destroy_n(data_ + index, count);
    Traits::RelocateElements(data_ + index, data_ + index + count, count_ - index - count);
    count_ -= count;
  }

  // Inserts `count` copies of the element, which may be one of this array, before `index`. An index
  // past the end makes the array index + count long; the elements in between have their default
  // value. False when there is too little memory.
  bool InsertAt(std::size_t index, const E& element, std::size_t count = 1);

 private:
  std::size_t Checked(std::size_t index) const {
    if (index >= count_) throw std::out_of_range("CAtlArray: index not below the count");
    return index;
  }

  void Swap(CAtlArray& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
    std::swap(grow_by_, other.grow_by_);
  }

  // Makes room for `count` elements.
  bool Reserve(std::size_t count);

  E* data_ = nullptr;
  std::size_t count_ = 0;
  std::size_t capacity_ = 0;
  std::size_t grow_by_ = 0;  // 0: automatic
};

template <typename E, typename Traits>
bool CAtlArray<E, Traits>::Reserve(std::size_t count) {
  if (count <= capacity_) return true;
  constexpr std::size_t kMost = static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(E);
  if (count > kMost) return false;
  std::size_t capacity;
  if (data_ == nullptr) {
    capacity = std::max(count, grow_by_);
  } else {
    const std::size_t step =
        grow_by_ != 0 ? grow_by_ : std::clamp<std::size_t>(count_ / 8, 4, 1024);
    capacity = std::max(count, capacity_ + step);
  }
  if (capacity > kMost) capacity = count;
  E* const data = static_cast<E*>(std::malloc(capacity * sizeof(E)));
  if (data == nullptr) return false;
  Traits::RelocateElements(data, data_, count_);
  std::free(static_cast<void*>(data_));
  data_ = data;
  capacity_ = capacity;
  return true;
}

template <typename E, typename Traits>
std::size_t CAtlArray<E, Traits>::Add(const E& element) {
  if (count_ < capacity_) {
    ::new (static_cast<void*>(data_ + count_)) E(element);
    return count_++;
  }
  // The element may belong to this array, and Reserve moves it. So copy it first.
  alignas(E) unsigned char copy[sizeof(E)];
  E* const made = ::new (static_cast<void*>(copy)) E(element);
  if (!Reserve(count_ + 1)) {
    made->~E();
    return kNoIndex;
  }
  Traits::RelocateElements(data_ + count_, made, 1);
  return count_++;
}

template <typename E, typename Traits>
bool CAtlArray<E, Traits>::SetCount(std::size_t count, int grow_by) {
  if (grow_by >= 0) grow_by_ = static_cast<std::size_t>(grow_by);
  if (count == 0) {
    RemoveAll();
    return true;
  }
  if (count > count_) {
    if (!Reserve(count)) return false;
    std::uninitialized_value_construct_n(data_ + count_, count - count_);
  } else {
    std::destroy_n(data_ + count, count_ - count);
  }
  count_ = count;
  return true;
}

template <typename E, typename Traits>
bool CAtlArray<E, Traits>::InsertAt(std::size_t index, const E& element, std::size_t count) {
  const std::size_t start = std::max(index, count_);
  if (count > kNoIndex - start) return false;
  const E copy(element);
  if (!Reserve(start + count)) return false;
  if (index >= count_) {
    std::uninitialized_value_construct_n(data_ + count_, index - count_);
    try {
      std::uninitialized_fill_n(data_ + index, count, copy);
    } catch (...) {
      std::destroy_n(data_ + count_, index - count_);
      throw;
    }
  } else {
    Traits::RelocateElements(data_ + index + count, data_ + index, count_ - index);
    try {
      std::uninitialized_fill_n(data_ + index, count, copy);
    } catch (...) {
      Traits::RelocateElements(data_ + index, data_ + index + count, count_ - index);
      throw;
    }
  }
  count_ = start + count;
  return true;
}

}  // namespace orvik
