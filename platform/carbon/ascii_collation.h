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

// The order that a collator gives to ASCII text, where it comes from the single characters alone.
// A table then answers as the collator does, in a fraction of the time.
class AsciiCollation {
 public:
  // No order: for a null collator.
  AsciiCollation() = default;
  // Asks the collator, which is opened for `locale` and whose other attributes are set. Leaves it
  // as it was.
  AsciiCollation(const UCollator* collator, UCollationStrength strength);

  // False when the collator joins ASCII characters ("ch" in Czech), counts digits as numbers or
  // distinguishes them by accents: `Compare` must not be called then.
  bool IsValid() const { return is_valid_; }

  // Below, at or above 0 by the order of the texts, which are ASCII.
  int Compare(std::u16string_view a, std::u16string_view b) const;

 private:
  struct Rank {
    unsigned char letter = 0;   // the primary weights in their order; 0 is ignored
    unsigned char variant = 0;  // the tertiary weights of one letter in their order
  };

  std::array<Rank, 128> ranks_{};
  bool is_valid_ = false;
};

// The table of a collator, made when that pays off: it takes some milliseconds, which a program
// that compares a few texts does not have.
class LazyAsciiCollation {
 public:
  // The collator must outlive this object.
  LazyAsciiCollation(const UCollator* collator, UCollationStrength strength)
      : collator_(collator), strength_(strength) {}
  ~LazyAsciiCollation() { delete table_.load(std::memory_order_relaxed); }
  LazyAsciiCollation(const LazyAsciiCollation&) = delete;
  LazyAsciiCollation& operator=(const LazyAsciiCollation&) = delete;

  // To be called for each comparison of ASCII texts. Null at first, and where there is no table.
  const AsciiCollation* Get() const {
    const AsciiCollation* const table = table_.load(std::memory_order_acquire);
    if (table != nullptr) return table->IsValid() ? table : nullptr;
    if (asked_.fetch_add(1, std::memory_order_relaxed) == kPaysOff) Make();
    return nullptr;
  }

  // About as many comparisons by the collator take as long as the table.
  static constexpr unsigned kPaysOff = 100'000;

 private:
  void Make() const;

  const UCollator* collator_;
  UCollationStrength strength_;
  mutable std::atomic<const AsciiCollation*> table_{nullptr};
  mutable std::atomic<unsigned> asked_{0};
};

}  // namespace orvik::carbon
