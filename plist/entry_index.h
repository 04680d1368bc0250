// The hash table of a dictionary. It finds entries in a list that keeps their order.
//
//   index.Find(list.size(), hash, matches)             look up
//   if (list.size() == index.room()) Rebuild and Place every entry of the list again
//   list.push_back(entry); index.Place(list.size() - 1, hash)   insert
//   list[at] = {}                                       remove: `matches` must reject the entry
//
// A list has at most 2^32 - 1 entries. Only Rebuild allocates.
//
// Open addressing with linear probing over the indices of the entries, at most two thirds full. A
// list of at most kSearched entries has no table, because a linear search is as fast. A removed
// entry keeps its slot until the next Rebuild, so that searches find the entries behind it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// The hash of a string's units: SipHash-1-3 (Aumasson and Bernstein, 2012) with a random key of the
// process, so that no file can contain keys that were chosen to collide. ISO 8859-1 bytes have the
// same hash as the same text in UTF-16.
std::uint32_t HashOfUnits(std::string_view latin1);
std::uint32_t HashOfUnits(std::u16string_view units);

class EntryIndex {
 public:
  static constexpr std::size_t kSearched = 8;
  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

  // The index of the entry with this hash for which matches(index) is true, or kNowhere. The list
  // has `size` entries, including removed ones.
  template <class Matches>
  std::size_t Find(std::size_t size, std::uint64_t hash, Matches matches) const {
    if (slots_.empty()) {
      for (std::size_t i = 0; i < size; ++i) {
        if (matches(i)) return i;
      }
      return kNowhere;
    }
    for (std::size_t slot = First(hash); slots_[slot] != 0; slot = Next(slot)) {
      if (matches(slots_[slot] - 1)) return slots_[slot] - 1;
    }
    return kNowhere;
  }

  // The number of entries, including removed ones, for which the table has room.
  std::size_t room() const { return slots_.empty() ? kSearched : slots_.size() / 3 * 2; }

  // Empties the table and makes room for `capacity` entries; the caller then adds each with Place.
  void Rebuild(std::size_t capacity) {
    slots_.clear();
    if (capacity <= kSearched) return;
    std::size_t size = 2 * kSearched;
    while (size < capacity + capacity / 2) size *= 2;
    slots_.resize(size);
  }

  // Adds the entry at `index` of the list. The table must have room and must not contain the key.
  void Place(std::size_t index, std::uint64_t hash) {
    if (slots_.empty()) return;
    std::size_t slot = First(hash);
    while (slots_[slot] != 0) slot = Next(slot);
    slots_[slot] = static_cast<std::uint32_t>(index + 1);
  }

 private:
  std::size_t First(std::uint64_t hash) const {
    const std::uint64_t mixed = hash * 0x9E3779B97F4A7C15u;
    return static_cast<std::size_t>(mixed ^ (mixed >> 32)) & (slots_.size() - 1);
  }
  std::size_t Next(std::size_t slot) const { return (slot + 1) & (slots_.size() - 1); }

  std::vector<std::uint32_t> slots_;  // index + 1; 0 for a free slot
};

}  // namespace plist
}  // namespace orvik
