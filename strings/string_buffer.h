// StringBuffer: the reference-counted, copy-on-write buffer under CAtlString and CAtlStringA.
//
// The string object is one pointer to its first unit. Right before that unit, in the same block,
// lies a header of three signed 32-bit fields. The unit after the content is always 0, so the
// pointer is a zero-terminated array at all times. A string without a buffer points at the static
// empty block of its kind, whose count is -1 and never changes.
//
//   reference count >= 1   shared by that many strings; a change first makes a private copy
//   reference count  -1    locked (LockBuffer): belongs to one string, a copy gets its own block
//
// Lengths, indices and counts are in units. Negative ones count as 0 and those beyond the end as
// the end, unless a function says otherwise. A text handed in may be the string's own content or a
// piece of it; a null text is an empty one. Capacity is exact: nothing allocates spare room.
//
// Errors: too little memory throws what the array allocator throws, and a length above 2^31 - 1
// counts as too little memory (std::bad_array_new_length, a std::bad_alloc); the string is then as
// it was. Nothing else fails. The count is not atomic: strings sharing a block stay on one thread.
#pragma once

#include <climits>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// `Units` says what the units are: Unit, Header, Empty() (data of the static empty block),
// IsSpace(unit), Searched(content), kFindsEmptyText and kSpareAfterReplace. The definitions that
// are not here are in strings/string_buffer_impl.h, for the two sources that instantiate them.
template <typename Derived, typename Units>
class StringBuffer {
 public:
  using Unit = typename Units::Unit;
  using Header = typename Units::Header;

  // ---- The block ----

  // Points at the shared empty block and releases nothing: for raw memory.
  void Init() { data_ = Units::Empty(); }
  // Points at a fresh block of n units, count 1, length n, whose content is not set; at the shared
  // empty block for n < 1. Releases nothing.
  void AllocBuffer(int n);
  static void FreeData(Header* block) { delete[] reinterpret_cast<char*>(block); }
  // Gives up the share of the block (a locked block is freed) and becomes empty.
  void Release() {
    Unit* const old = data_;
    Init();
    Drop(old);
  }
  // Makes a shared block private: a block of exactly the length with the same content.
  void CopyBeforeWrite() {
    if (GetData()->ref_count > 1) CopyShared();
  }
  // Makes room for a content of n units, which replaces the whole old one: keeps the block when it
  // is not shared and large enough. The length is not set when it is kept.
  void AllocBeforeWrite(int n);
  // Empties the string; a locked buffer stays, with length 0.
  void Empty();

  // ---- Reading ----

  int GetLength() const { return GetData()->data_length; }
  bool IsEmpty() const { return GetLength() == 0; }
  int GetAllocLength() const { return GetData()->allocated_length; }
  Header* GetData() const { return HeaderOf(data_); }
  // No check: the index lies in 0 to the length, where the terminator is.
  Unit GetAt(int index) const { return data_[index]; }
  template <std::integral Index>
  Unit operator[](Index index) const {
    return data_[index];
  }
  // Never null; valid until the string is changed or destroyed.
  const Unit* GetString() const { return data_; }
  operator const Unit*() const { return data_; }  // NOLINT(google-explicit-constructor)
  // The content, 0 units inside it included; valid as long as GetString().
  std::basic_string_view<Unit> View() const {
    return {data_, static_cast<std::size_t>(GetLength())};
  }
  // Units before the terminator, at most 2^31 - 1; 0 for null.
  static int SafeStrlen(const Unit* text);
  // There are no string resources: always false.
  bool LoadString(unsigned id) {
    static_cast<void>(id);
    return false;
  }

  // ---- Writing into the buffer ----

  // For reading, or for writing when the caller knows that the block is not shared.
  Unit* GetBuffer() { return data_; }
  // A private buffer of at least n units with the old content; the length stays. Follow it with
  // ReleaseBuffer.
  Unit* GetBuffer(int n);
  // The same with length n; what lies beyond the old content is not set.
  Unit* GetBufferSetLength(int n);
  // Takes over what was written: n is the new length, limited to the capacity. With -1 the length
  // stays if it is not 0, else it becomes that of the zero-terminated array in the buffer.
  void ReleaseBuffer(int n = -1);
  // Cuts the content to its first n units.
  void Truncate(int n);
  Unit* LockBuffer();
  void UnlockBuffer();
  // Moves to a block without spare room.
  void FreeExtra();

  // ---- Concatenation ----

  // The content becomes the first a_length units of a followed by the first b_length of b, in a
  // fresh block of exactly that size.
  void ConcatCopy(int a_length, const Unit* a, int b_length, const Unit* b);
  // Appends the first n units: in place when the block is not shared and has room, else in a fresh
  // block of exactly the new length.
  void ConcatInPlace(int n, const Unit* text);
  void Append(const Unit* text);
  void Append(const Unit* text, int n) { ConcatInPlace(n, text); }
  void Append(const StringBuffer& other) { ConcatInPlace(other.GetLength(), other.data_); }

  // ---- Searching: literal, case-sensitive; an index or -1. A negative start is 0. ----

  int Find(const Unit* text, int start = 0) const;
  int Find(const StringBuffer& text, int start = 0) const;
  int Find(Unit unit, int start = 0) const;
  int FindOneOf(const Unit* set) const;
  int FindOneOf(const StringBuffer& set) const;
  int ReverseFind(Unit unit) const;

  // ---- Trimming ----

  Derived& TrimLeft();
  Derived& TrimRight();
  Derived& Trim();
  Derived& TrimLeft(Unit unit);
  Derived& TrimRight(Unit unit);
  // A null or empty set changes nothing.
  Derived& TrimLeft(const Unit* set);
  Derived& TrimRight(const Unit* set);
  Derived& TrimLeft(const StringBuffer& set);
  Derived& TrimRight(const StringBuffer& set);

  // ---- Editing ----

  // Drops every occurrence; returns their number.
  int Remove(Unit unit);
  // Returns the number of replacements.
  int Replace(Unit old_unit, Unit new_unit);
  // Replaces every occurrence, left to right without overlap, in a fresh buffer. An empty old text
  // occurs nowhere. Returns the number of replacements; with none the block stays shared.
  int Replace(const Unit* old_text, const Unit* new_text);
  // Return the new length.
  int Insert(int index, const Unit* text);
  int Insert(int index, Unit unit) { return InsertUnits(index, {&unit, 1}); }
  // Removes up to `count` units from index on; returns the length before the call.
  int Delete(int index, int count = 1);
  // The index lies in 0 to length - 1: no check. Returns it.
  int SetAt(int index, Unit unit);
  Derived& MakeReverse();

  // ---- Pieces: the whole content shares the buffer (unless it is locked) ----

  Derived Left(int count) const;
  Derived Right(int count) const;
  Derived Mid(int first, int count) const;
  Derived Mid(int first) const;
  // The next run of units from `position` on (0 at the start) that are not in the set. Moves the
  // position to the start of the token after it, or to -1 when this is the last one. A position
  // that is negative or not below the length gives -1 and an empty string.
  Derived Tokenize(const Unit* set, int& position) const;

 protected:
  StringBuffer() noexcept { Init(); }
  StringBuffer(const StringBuffer& other) { Share(other); }
  StringBuffer(StringBuffer&& other) noexcept : data_(other.data_) { other.Init(); }
  StringBuffer(std::size_t length, const Unit* text);
  StringBuffer(int count, Unit unit);
  ~StringBuffer() { Drop(data_); }

  void Assign(const StringBuffer& other);
  void Assign(StringBuffer&& other);
  void Assign(std::size_t length, const Unit* text);
  // A fresh block for a content of that length with some spare units. Like with the next two, the
  // caller writes the content at once; the terminator is there.
  Unit* FreshBuffer(std::size_t length, std::size_t spare);
  // The own block for a content of that length, when it is not shared and large enough.
  Unit* AssignBuffer(std::size_t length);
  // Makes the block of the other, which is left empty, the own one.
  void TakeBlock(StringBuffer&& other) {
    Adopt(other.data_);
    other.Init();
  }
  // A private block with n more units after the content; points at the first of them.
  Unit* AppendBuffer(std::size_t n);

 private:
  static Header* HeaderOf(Unit* data) {
    return reinterpret_cast<Header*>(reinterpret_cast<char*>(data) - sizeof(Header));
  }
  // A block of that capacity and length, count 1, terminated; the empty block for 0.
  static Unit* NewBlock(std::size_t length);
  static void Drop(Unit* data) {
    if (data == Units::Empty()) return;
    Header* const block = HeaderOf(data);
    if (--block->ref_count < 1) FreeData(block);
  }
  void Share(const StringBuffer& other) {
    Header* const block = other.GetData();
    if (static_cast<unsigned>(block->ref_count) - 1u < static_cast<unsigned>(INT_MAX) - 1u) {
      ++block->ref_count;
      data_ = other.data_;
    } else {
      ShareCopy(other);
    }
  }
  void ShareCopy(const StringBuffer& other);
  bool IsLocked() const { return GetData()->ref_count < 0 && data_ != Units::Empty(); }
  bool CanHold(std::size_t n) const {
    const Header& block = *GetData();
    return block.ref_count < 2 && static_cast<std::size_t>(block.allocated_length) >= n;
  }
  std::size_t Size() const { return static_cast<std::size_t>(GetLength()); }
  // Sets length and terminator of a block that is not shared.
  void SetLength(std::size_t length);
  // Gives up the share of the block and points at this one.
  void Adopt(Unit* fresh) {
    Drop(data_);
    data_ = fresh;
  }
  void CopyShared();
  int FindFrom(std::size_t start, std::basic_string_view<Unit> text) const;
  int FindFirstOf(std::basic_string_view<Unit> set) const;
  Derived& Self() { return static_cast<Derived&>(*this); }
  template <typename Predicate>
  Derived& CutLeft(Predicate is_cut);
  template <typename Predicate>
  Derived& CutRight(Predicate is_cut);
  Derived& TrimLeftOf(std::basic_string_view<Unit> set);
  Derived& TrimRightOf(std::basic_string_view<Unit> set);
  int InsertUnits(int index, std::basic_string_view<Unit> text);
  Derived Piece(std::size_t first, std::size_t count) const;

  Unit* data_;
};

}  // namespace orvik
