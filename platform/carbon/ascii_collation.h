// Comparing ASCII text by the ranks of its characters.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <string_view>

#include "text/unicode_library.h"

namespace orvik::carbon {

struct CloseCollator {
  void operator()(UCollator* collator) const { icu::ucol_close(collator); }
};
using Collator = std::unique_ptr<UCollator, CloseCollator>;

// The order that a collator gives to ASCII text, if it depends only on the single characters. A
// table then gives the same results in a fraction of the time.
class AsciiCollation {
 public:
  // A table that is not valid, as for a null collator.
  AsciiCollation() = default;
  // Asks the collator. It was opened for `locale`, and all its other attributes are set. Leaves the
  // collator unchanged.
  AsciiCollation(const UCollator* collator, UCollationStrength strength);

  // False when the collator joins ASCII characters ("ch" in Czech), sorts digits as numbers or
  // distinguishes ASCII characters by accents. `Compare` must not be called then.
  bool IsValid() const { return is_valid_; }

  // Compares two ASCII texts: below, at or above 0.
  int Compare(std::u16string_view a, std::u16string_view b) const;

 private:
  struct Rank {
    unsigned char letter = 0;   // the rank of the primary weight; 0 is ignored
    unsigned char variant = 0;  // the rank of the tertiary weight within the letter
  };

  std::array<Rank, 128> ranks_{};
  bool is_valid_ = false;
};

// The table of a collator, made only when that pays off: making it takes some milliseconds, too
// long for a program that compares a few texts.
class LazyAsciiCollation {
 public:
  // The collator must outlive this object.
  LazyAsciiCollation(const UCollator* collator, UCollationStrength strength)
      : collator_(collator), strength_(strength) {}
  ~LazyAsciiCollation() { delete table_.load(std::memory_order_relaxed); }
  LazyAsciiCollation(const LazyAsciiCollation&) = delete;
  LazyAsciiCollation& operator=(const LazyAsciiCollation&) = delete;

  // Call this for each comparison of ASCII texts. Null at first, and for a collator without a
  // table.
  const AsciiCollation* Get() const {
    const AsciiCollation* const table = table_.load(std::memory_order_acquire);
    if (table != nullptr) return table->IsValid() ? table : nullptr;
    if (asked_.fetch_add(1, std::memory_order_relaxed) == kPaysOff) Make();
    return nullptr;
  }

  // About this many comparisons by the collator take as long as making the table.
  static constexpr unsigned kPaysOff = 100'000;

 private:
  void Make() const;

  const UCollator* collator_;
  UCollationStrength strength_;
  mutable std::atomic<const AsciiCollation*> table_{nullptr};
  mutable std::atomic<unsigned> asked_{0};
};

}  // namespace orvik::carbon
