#include "platform/carbon/ascii_collation.h"

#include <algorithm>
#include <vector>

#include "text/characters.h"

namespace orvik::carbon {

namespace {

struct CloseSet {
  void operator()(USet* set) const { icu::uset_close(set); }
};
using Set = std::unique_ptr<USet, CloseSet>;

Collator CopyWithStrength(const UCollator* collator, UCollationStrength strength) {
  UErrorCode status = U_ZERO_ERROR;
  Collator copy(icu::ucol_clone(collator, &status));
  if (U_FAILURE(status)) return nullptr;
  icu::ucol_setStrength(copy.get(), strength);
  return copy;
}

bool HasAsciiAlone(const USet* set) {
  for (int32_t item = icu::uset_getItemCount(set) - 1; item >= 0; --item) {
    UChar32 first;
    UChar32 last;
    UChar text[16];
    UErrorCode status = U_ZERO_ERROR;
    // Gives the length of a text, or 0 and a range of characters.
    const int32_t length = icu::uset_getItem(set, item, &first, &last, text, 16, &status);
    if (length == 0 && first < 0x80) return true;
    if (length >= 2 && U_SUCCESS(status) &&
        std::all_of(text, text + length, [](UChar unit) { return unit < 0x80; })) {
      return true;
    }
  }
  return false;
}

// Whether the weight of every ASCII character is independent of its neighbours.
bool WeighsCharactersAlone(const UCollator* collator) {
  UErrorCode status = U_ZERO_ERROR;
  if (icu::ucol_getAttribute(collator, UCOL_NUMERIC_COLLATION, &status) != UCOL_OFF ||
      icu::ucol_getAttribute(collator, UCOL_CASE_LEVEL, &status) != UCOL_OFF) {
    return false;
  }
  const Set contractions(icu::uset_openEmpty());
  const Set expansions(icu::uset_openEmpty());
  icu::ucol_getContractionsAndExpansions(collator, contractions.get(), expansions.get(), true,
                                         &status);
  return U_SUCCESS(status) && !HasAsciiAlone(contractions.get()) &&
         !HasAsciiAlone(expansions.get());
}

int OrderOf(const UCollator* collator, char16_t a, char16_t b) {
  return icu::ucol_strcoll(collator, &a, 1, &b, 1);
}

}  // namespace

AsciiCollation::AsciiCollation(const UCollator* collator, UCollationStrength strength) {
  if (collator == nullptr || !WeighsCharactersAlone(collator)) return;
  const Collator primary = CopyWithStrength(collator, UCOL_PRIMARY);
  const Collator secondary = CopyWithStrength(collator, UCOL_SECONDARY);
  const Collator tertiary = CopyWithStrength(collator, UCOL_TERTIARY);
  if (primary == nullptr || secondary == nullptr || tertiary == nullptr) return;
  std::vector<char16_t> characters;
  for (char16_t unit = 0; unit < 0x80; ++unit) {
    if (icu::ucol_strcoll(tertiary.get(), &unit, 1, nullptr, 0) != 0) {
      // The table cannot hold a character that counts only at a lower level.
      if (icu::ucol_strcoll(primary.get(), &unit, 1, nullptr, 0) == 0) return;
      characters.push_back(unit);
    }
  }
  std::sort(characters.begin(), characters.end(),
            [&](char16_t a, char16_t b) { return OrderOf(tertiary.get(), a, b) < 0; });
  Rank rank;
  for (std::size_t i = 0; i < characters.size(); ++i) {
    const bool is_same = i > 0 && OrderOf(primary.get(), characters[i - 1], characters[i]) == 0;
    if (is_same && OrderOf(secondary.get(), characters[i - 1], characters[i]) != 0) return;
    rank.variant = is_same ? rank.variant : 0;
    rank.letter = static_cast<unsigned char>(rank.letter + (is_same ? 0 : 1));
    if (is_same && strength >= UCOL_TERTIARY &&
        OrderOf(tertiary.get(), characters[i - 1], characters[i]) != 0) {
      ++rank.variant;
    }
    ranks_[characters[i]] = rank;
  }
  is_valid_ = true;
}

int AsciiCollation::Compare(std::u16string_view a, std::u16string_view b) const {
  // A common start does not affect the order.
  const std::size_t start = CommonStart(a, b);
  const char16_t* left = a.data() + start;
  const char16_t* right = b.data() + start;
  const char16_t* const left_end = a.data() + a.size();
  const char16_t* const right_end = b.data() + b.size();
  int variant = 0;  // the first difference between variants of the same letter
  for (;;) {
    while (left != left_end && ranks_[*left].letter == 0) ++left;
    while (right != right_end && ranks_[*right].letter == 0) ++right;
    if (left == left_end || right == right_end) break;
    const Rank left_rank = ranks_[*left++];
    const Rank right_rank = ranks_[*right++];
    if (left_rank.letter != right_rank.letter) return left_rank.letter < right_rank.letter ? -1 : 1;
    if (variant == 0) variant = left_rank.variant - right_rank.variant;
  }
  if (left != left_end) return 1;
  if (right != right_end) return -1;
  return (variant > 0) - (variant < 0);
}

void LazyAsciiCollation::Make() const {
  table_.store(new AsciiCollation(collator_, strength_), std::memory_order_release);
}

}  // namespace orvik::carbon
