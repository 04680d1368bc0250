// StringBuffer: the reference-counted, copy-on-write buffer under CAtlString and CAtlStringA.
//
// The string object is one pointer to its first unit. A header of three signed 32-bit fields lies
// right before that unit, in the same block. The unit after the content is always 0, so the pointer
// is a zero-terminated array at all times. A string without a buffer points at the static empty
// block of its kind, whose count is -1 and never changes.
//
//   reference count >= 1   shared by that many strings; a change first makes a private copy
//   reference count  -1    locked (LockBuffer): belongs to one string, a copy gets its own block
//
// Lengths, indices and counts are in units. Negative ones count as 0 and those beyond the end as
// the end, unless a function says otherwise. A text argument may be the string's own content or a
// piece of it; a null text counts as an empty one.
//
// The allocated length in the header is exactly the length that an operation asks for. The memory
// behind it grows in larger steps when text is appended to a string that owns its block, so that n
// appends take a time proportional to n.
//
// Errors: too little memory throws the exception of operator new[]. A length above 2^31 - 1 counts
// as too little memory (std::bad_array_new_length, a std::bad_alloc). The string is then as it was.
// Nothing else fails.
//
// Threads: strings in different threads may share a block. One string may be read in several
// threads at once as long as none changes it.
#pragma once

#include <climits>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "host/reference_count.h"
#include "strings/text_view.h"
#include "text/transcoding.h"

namespace [[gnu::visibility("default")]] orvik {

// The header before the units, and the static empty block of a kind of units.
struct CAtlStringData {
  std::int32_t ref_count;
  std::int32_t data_length;
  std::int32_t allocated_length;
};
template <typename Unit>
struct StringNil {
  CAtlStringData header;
  Unit terminator;
};

// `Units` describes the units: Unit, Foreign (the unit of the other string), Empty() (the static
// empty block's data), IsSpace(unit), Convert(from, to, n) (n foreign units), WriteFormatted(units,
// to) (the result of a format), Searched(text) (the part of a text that searches see) and
// kIsNarrow. A narrow string is searched up to its first 0 byte, finds an empty text, and has one
// spare byte after a replacement. The library instantiates the definitions that this header lacks.
template <typename Units>
class StringBuffer {
 public:
  using Unit = typename Units::Unit;
  using Foreign = typename Units::Foreign;
  using Header = CAtlStringData;

  // ---- The block ----

  // Points at the shared empty block without releasing the old one: for raw memory.
  void Init() { data_ = Units::Empty(); }
  // Points at a fresh block of n units with count 1, length n and unset content, or at the shared
  // empty block for n < 1. Does not release the old block.
  void AllocBuffer(int n);
  // Frees a block, even if other strings point at it.
  static void FreeData(Header* block);
  // Drops the string's reference to its block (a locked block is freed) and becomes empty.
  void Release() {
    Unit* const old = data_;
    Init();
    Drop(old);
  }
  // Replaces a shared block by a private copy of exactly its length.
  void CopyBeforeWrite() {
    if (References(GetData()->ref_count) > 1) CopyShared();
  }
  // Makes room for n units of new content. A private block that is large enough is kept, with its
  // length unchanged; otherwise a fresh block without the old content replaces it.
  void AllocBeforeWrite(int n);
  // Empties the string; a locked buffer stays, with length 0.
  void Empty();

  // ---- Reading ----

  [[nodiscard]] int GetLength() const { return GetData()->data_length; }
  [[nodiscard]] bool IsEmpty() const { return GetLength() == 0; }
  [[nodiscard]] int GetAllocLength() const { return GetData()->allocated_length; }
  [[nodiscard]] Header* GetData() const { return HeaderOf(data_); }
  // Not checked: the index must be at least 0 and at most the length, where the terminator is.
  [[nodiscard]] Unit GetAt(int index) const { return data_[index]; }
  template <std::integral Index>
  Unit operator[](Index index) const {
    return data_[index];
  }
  // Never null; valid until the string is changed or destroyed.
  [[nodiscard]] const Unit* GetString() const { return data_; }
  operator const Unit*() const { return data_; }  // NOLINT(google-explicit-constructor)
  // The content, 0 units inside it included; valid as long as GetString().
  [[nodiscard]] std::basic_string_view<Unit> View() const { return {data_, size()}; }
  operator std::basic_string_view<Unit>() const { return View(); }  // NOLINT
  // The same as a standard string: std::u16string(text). But an assignment, s = text, reads the
  // zero-terminated array and ends at the first 0 unit; write s = text.View() instead.
  explicit operator std::basic_string<Unit>() const { return std::basic_string<Unit>(View()); }
  [[nodiscard]] const Unit* data() const { return data_; }
  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(GetLength()); }
  [[nodiscard]] const Unit* begin() const { return data_; }
  [[nodiscard]] const Unit* end() const { return data_ + size(); }
  // The number of units before the terminator, at most 2^31 - 1; 0 for null.
  [[nodiscard]] static int SafeStrlen(const Unit* text);
  // There are no string resources: always false.
  bool LoadString(unsigned id) {
    static_cast<void>(id);
    return false;
  }

  // ---- Writing into the buffer ----

  // The units, for reading, or for writing when the caller knows that the block is not shared.
  [[nodiscard]] Unit* GetBuffer() { return data_; }
  // A private buffer of at least n units with the old content; the length stays. Follow it with
  // ReleaseBuffer.
  Unit* GetBuffer(int n);
  // The same with length n; the units after the old content are not set.
  Unit* GetBufferSetLength(int n);
  // Ends direct writing: n becomes the length, limited to the capacity. For -1 a length that is not
  // 0 stays, and a length of 0 becomes that of the zero-terminated array in the buffer.
  void ReleaseBuffer(int n = -1);
  // Cuts the content to its first n units.
  void Truncate(int n);
  // Makes the block private and locks it: copies of the string get blocks of their own, and
  // assignments write into it as long as they fit. Returns the units. The shared empty block cannot
  // be locked.
  Unit* LockBuffer();
  // Ends the lock; does nothing without one.
  void UnlockBuffer();
  // Moves to a block without spare room.
  void FreeExtra();

  // ---- Appending: in place when the block is not shared and has room ----

  // Append the first n units of `text`, converted if they are of the other width. Do nothing for n
  // < 1 and for a null text.
  void ConcatInPlace(int n, const Unit* text);
  void ConcatInPlace(int n, const Foreign* text);
  void Append(TextView<Unit> text) { AppendUnits(text); }
  template <IsTextOf<Foreign> Text>
  void Append(const Text& text) {
    AppendForeign(TextView<Foreign>(text));
  }
  void Append(const Unit* text, int n) { ConcatInPlace(n, text); }

 protected:
  using UnitView = std::basic_string_view<Unit>;
  using ForeignView = std::basic_string_view<Foreign>;

  StringBuffer() noexcept { Init(); }
  StringBuffer(const StringBuffer& other) { Share(other); }
  StringBuffer(StringBuffer&& other) noexcept : data_(other.data_) { other.Init(); }
  StringBuffer& operator=(const StringBuffer&) = delete;
  explicit StringBuffer(UnitView text);
  StringBuffer(int count, Unit unit);
  ~StringBuffer() { Drop(data_); }

  void Assign(const StringBuffer& other);
  // `other` is empty or has the old content afterwards.
  void Assign(StringBuffer&& other) noexcept;
  void Assign(UnitView text);
  void AssignForeign(ForeignView text);
  void AppendUnits(UnitView text) {
    if (!HasSpareFor(text.size())) {
      AppendToMore(text);
      return;
    }
    CopyUnits(data_ + size(), text.data(), text.size());
    TakeAppended(text.size());
  }
  void AppendUnit(Unit unit) {
    Header& block = *GetData();
    const std::int32_t old = block.data_length;
    if (!IsOwned() || Capacity() == old) {
      AppendToMore({&unit, 1});
      return;
    }
    // The header first: if a unit is a byte, its store makes the compiler read the header again.
    block.data_length = old + 1;
    if (block.allocated_length == old) block.allocated_length = old + 1;
    Unit* const end = data_ + old;
    end[0] = unit;
    end[1] = 0;
  }
  void AppendForeign(ForeignView text);
  void SwapBlocks(StringBuffer& other) noexcept {
    Unit* const data = data_;
    data_ = other.data_;
    other.data_ = data;
  }

  // A private block for a content of `length` units with some spare ones. As with the next two
  // functions, the caller writes the content at once; the terminator is there.
  Unit* FreshBuffer(std::size_t length, std::size_t spare);
  // The string's block, made private and large enough for a content of `length` units.
  Unit* AssignBuffer(std::size_t length);
  // A private block with n more units after the content; returns the first of them.
  Unit* AppendBuffer(std::size_t n);
  // Takes over the block of `other`, which becomes empty.
  void TakeBlock(StringBuffer&& other) {
    Adopt(other.data_);
    other.Init();
  }

  // Whether the string's own block has memory for n units and is not shared. Then its allocated
  // length is n or more afterwards.
  bool MakeRoom(std::size_t n);
  // A block of `length` units, count 1, terminated; the empty block for 0.
  static Unit* NewBlock(std::size_t length) { return NewBlock(length, length); }
  // Sets length and terminator of a block that is not shared.
  void SetLength(std::size_t length);
  // Drops the string's reference to its block and points at `fresh`.
  void Adopt(Unit* fresh) {
    Drop(data_);
    data_ = fresh;
  }
  // A block for a content of `length` units, for which the string's own block has too little room.
  Unit* NewGrownBlock(std::size_t length) const;

  Unit* data_;

 private:
  // A private block that is larger than needed by fewer units than this is kept.
  static constexpr std::size_t kWorthKeeping = 64;

  // The memory before the units. The capacity counts the units that the memory holds; the header's
  // allocated length is the part of it that the interface shows.
  struct Block {
    std::int32_t capacity;
    Header header;
  };
  static Header* HeaderOf(Unit* data) {
    return reinterpret_cast<Header*>(reinterpret_cast<char*>(data) - sizeof(Header));
  }
  static Unit* NewBlock(std::size_t length, std::size_t capacity);
  // The capacity of a block other than the static empty one.
  std::int32_t Capacity() const {
    return reinterpret_cast<const Block*>(reinterpret_cast<const char*>(data_) - sizeof(Block))
        ->capacity;
  }
  static void Drop(Unit* data) {
    if (data == Units::Empty()) return;
    Header* const block = HeaderOf(data);
    if (DropReference(block->ref_count) < 1) FreeData(block);
  }
  void Share(const StringBuffer& other);
  bool IsLocked() const { return References(GetData()->ref_count) < 0 && data_ != Units::Empty(); }
  bool IsOwned() const { return References(GetData()->ref_count) == 1; }
  bool CanHold(std::size_t n) const {
    const Header& block = *GetData();
    return References(block.ref_count) < 2 && static_cast<std::size_t>(block.allocated_length) >= n;
  }
  void CopyShared();

  // Whether the block belongs to this string alone and its memory holds n more units.
  bool HasSpareFor(std::size_t n) const {
    return IsOwned() && n <= static_cast<std::size_t>(Capacity() - GetLength()) && n != 0;
  }
  void TakeAppended(std::size_t n) {
    Header& block = *GetData();
    block.data_length += static_cast<std::int32_t>(n);
    data_[block.data_length] = 0;
    if (block.allocated_length < block.data_length) block.allocated_length = block.data_length;
  }
  void AppendToMore(UnitView text);
};

}  // namespace orvik
