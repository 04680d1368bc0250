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
// piece of it; a null text is an empty one.
//
// The allocated length is exact: it grows to what an operation asks for and no further. The memory
// behind it grows in larger steps when a string that owns its block is appended to, so that n
// appends take n steps.
//
// Errors: too little memory throws what the array allocator throws, and a length above 2^31 - 1
// counts as too little memory (std::bad_array_new_length, a std::bad_alloc); the string is then as
// it was. Nothing else fails.
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

// `Units` says what the units are: Unit, Foreign (the unit of the other string), Empty() (data of
// the static empty block), IsSpace(unit), Convert(from, to, n) (n foreign units),
// WriteFormatted(units, to) (the result of a format), Searched(text) (the part of a text that
// searches see) and kIsNarrow. A narrow string is searched as far as its first 0 byte, finds an
// empty text, and has one spare byte after a replacement. The library instantiates the definitions
// that are not here.
template <typename Units>
class StringBuffer {
 public:
  using Unit = typename Units::Unit;
  using Foreign = typename Units::Foreign;
  using Header = CAtlStringData;

  // ---- The block ----

  // Points at the shared empty block and releases nothing: for raw memory.
  void Init() { data_ = Units::Empty(); }
  // Points at a fresh block of n units, count 1, length n, whose content is not set; at the shared
  // empty block for n < 1. Releases nothing.
  void AllocBuffer(int n);
  // Frees a block, whoever else points at it.
  static void FreeData(Header* block);
  // Gives up the share of the block (a locked block is freed) and becomes empty.
  void Release() {
    Unit* const old = data_;
    Init();
    Drop(old);
  }
  // Makes a shared block private: a block of exactly the length with the same content.
  void CopyBeforeWrite() {
    if (References(GetData()->ref_count) > 1) CopyShared();
  }
  // Makes room for a content of n units, which replaces the whole old one: keeps the block when it
  // is not shared and large enough. The length is not set when it is kept.
  void AllocBeforeWrite(int n);
  // Empties the string; a locked buffer stays, with length 0.
  void Empty();

  // ---- Reading ----

  [[nodiscard]] int GetLength() const { return GetData()->data_length; }
  [[nodiscard]] bool IsEmpty() const { return GetLength() == 0; }
  [[nodiscard]] int GetAllocLength() const { return GetData()->allocated_length; }
  [[nodiscard]] Header* GetData() const { return HeaderOf(data_); }
  // No check: the index lies in 0 to the length, where the terminator is.
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
  // The same as a standard string: std::u16string(text). An assignment, s = text, reads the
  // zero-terminated array instead and ends at the first 0 unit; write s = text.View().
  explicit operator std::basic_string<Unit>() const { return std::basic_string<Unit>(View()); }
  [[nodiscard]] const Unit* data() const { return data_; }
  [[nodiscard]] std::size_t size() const { return static_cast<std::size_t>(GetLength()); }
  [[nodiscard]] const Unit* begin() const { return data_; }
  [[nodiscard]] const Unit* end() const { return data_ + size(); }
  // Units before the terminator, at most 2^31 - 1; 0 for null.
  [[nodiscard]] static int SafeStrlen(const Unit* text);
  // There are no string resources: always false.
  bool LoadString(unsigned id) {
    static_cast<void>(id);
    return false;
  }

  // ---- Writing into the buffer ----

  // For reading, or for writing when the caller knows that the block is not shared.
  [[nodiscard]] Unit* GetBuffer() { return data_; }
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
  // Makes the block private and locks it: copies of the string get blocks of their own, and
  // assignments write into it as long as they fit. Returns the units. The shared empty block cannot
  // be locked.
  Unit* LockBuffer();
  // Ends the lock; nothing happens without one.
  void UnlockBuffer();
  // Moves to a block without spare room.
  void FreeExtra();

  // ---- Appending: in place when the block is not shared and has room ----

  // Appends the first n units of `text`, those of the other width converted; nothing for n < 1 and
  // a null text.
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
  // The other is empty or has the old content afterwards.
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
    // The header first: a unit may be a byte, after which all would be read again.
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

  // A fresh block for a content of that length with some spare units. Like with the next two, the
  // caller writes the content at once; the terminator is there.
  Unit* FreshBuffer(std::size_t length, std::size_t spare);
  // The own block for a content of that length, when it is not shared and large enough.
  Unit* AssignBuffer(std::size_t length);
  // A private block with n more units after the content; points at the first of them.
  Unit* AppendBuffer(std::size_t n);
  // Makes the block of the other, which is left empty, the own one.
  void TakeBlock(StringBuffer&& other) {
    Adopt(other.data_);
    other.Init();
  }

  // Room for a content of n units in the own block, which is not shared and has the allocated
  // length for it afterwards.
  bool MakeRoom(std::size_t n);
  // A block of that length, count 1, terminated; the empty block for 0.
  static Unit* NewBlock(std::size_t length) { return NewBlock(length, length); }
  // Sets length and terminator of a block that is not shared.
  void SetLength(std::size_t length);
  // Gives up the share of the block and points at this one.
  void Adopt(Unit* fresh) {
    Drop(data_);
    data_ = fresh;
  }
  // The block for a content of that length, which is larger than the own one has room for.
  Unit* NewGrownBlock(std::size_t length) const;

  Unit* data_;

 private:
  // A block that is larger than needed by fewer units than this is not exchanged.
  static constexpr std::size_t kWorthKeeping = 64;

  // The block before the units. The capacity is the room of the memory, the allocated length of the
  // header the part of it that the interface shows.
  struct Block {
    std::int32_t capacity;
    Header header;
  };
  static Header* HeaderOf(Unit* data) {
    return reinterpret_cast<Header*>(reinterpret_cast<char*>(data) - sizeof(Header));
  }
  static Unit* NewBlock(std::size_t length, std::size_t capacity);
  // Of a block that is not the static one.
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

  // Whether the memory of a block that only this string has takes n more units.
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
