#include "platform/carbon/collation.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "platform/carbon/ascii_collation.h"
#include "platform/core_foundation/errno_status.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"
#include "text/unicode_library.h"
#include "text/user_locale.h"

namespace orvik {

// The orders that compare two texts:
//
//   case-sensitive    the tertiary order
//   case-insensitive  the secondary order, then the tertiary order of the folded texts (the
//                     secondary order alone ignores more differences than case)
//
// With `ignores_width`, texts are compared in their normal widths.
struct OpaqueCollator {
  struct Level {
    std::shared_ptr<UCollator> any;
    // Does not normalise and is several times as fast; for texts that have nothing to compose.
    std::shared_ptr<UCollator> simple;
    std::unique_ptr<carbon::LazyAsciiCollation> ascii;
  };
  Level tertiary;
  Level secondary;  // null if case-sensitive
  bool ignores_width;
  const char* locale;
};

namespace {

constexpr OSStatus kCannotOpen = -1;

constexpr UCCollateOptions kUsedOptions =
    kUCCollateComposeInsensitiveMask | kUCCollateWidthInsensitiveMask |
    kUCCollateCaseInsensitiveMask | kUCCollatePunctuationSignificantMask;

// Null when the collator cannot be opened.
std::shared_ptr<UCollator> Open(const char* locale, UCCollateOptions options,
                                UCollationStrength strength, bool normalizes) {
  UErrorCode status = U_ZERO_ERROR;
  carbon::Collator collator(icu::ucol_open(locale, &status));
  if (U_FAILURE(status)) {
    // The locale is unknown, so the root collation sorts. Without it all texts would be equal.
    status = U_ZERO_ERROR;
    collator.reset(icu::ucol_open("", &status));
  }
  if (U_FAILURE(status)) return nullptr;
  icu::ucol_setStrength(collator.get(), strength);
  if (normalizes) icu::ucol_setAttribute(collator.get(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
  icu::ucol_setAttribute(
      collator.get(), UCOL_ALTERNATE_HANDLING,
      (options & kUCCollatePunctuationSignificantMask) != 0 ? UCOL_NON_IGNORABLE : UCOL_SHIFTED,
      &status);
  return U_SUCCESS(status) ? std::move(collator) : nullptr;
}

bool OpenLevel(const char* locale, UCCollateOptions options, UCollationStrength strength,
               OpaqueCollator::Level& level) {
  const bool normalizes = (options & kUCCollateComposeInsensitiveMask) != 0;
  level.any = Open(locale, options, strength, normalizes);
  level.simple = normalizes ? Open(locale, options, strength, false) : level.any;
  if (level.any == nullptr || level.simple == nullptr) return false;
  level.ascii = std::make_unique<carbon::LazyAsciiCollation>(level.simple.get(), strength);
  return true;
}

// Collators live as long as the program.
CollatorRef OpenOnce(const char* locale, UCCollateOptions options) {
  static std::mutex guard;
  static auto* const open = new std::map<std::pair<const char*, UCCollateOptions>, OpaqueCollator>;
  const std::lock_guard lock(guard);
  const auto found = open->find({locale, options});
  if (found != open->end()) return &found->second;
  OpaqueCollator collator{{}, {}, (options & kUCCollateWidthInsensitiveMask) != 0, locale};
  if (!OpenLevel(locale, options, UCOL_TERTIARY, collator.tertiary) ||
      ((options & kUCCollateCaseInsensitiveMask) != 0 &&
       !OpenLevel(locale, options, UCOL_SECONDARY, collator.secondary))) {
    return nullptr;
  }
  return &open->emplace(std::pair(locale, options), std::move(collator)).first->second;
}

// Looks among the last collators of this thread first, which needs no lock.
CollatorRef Find(UCCollateOptions options) {
  struct Recent {
    const char* locale = nullptr;
    UCCollateOptions options{};
    CollatorRef collator = nullptr;
  };
  thread_local Recent recent[4];
  thread_local unsigned next = 0;
  const char* locale = CurrentLocaleIdentifier(LocaleCategory::kCollation);
  options &= kUsedOptions;
  for (const Recent& one : recent) {
    if (one.locale == locale && one.options == options) return one.collator;
  }
  CollatorRef collator = OpenOnce(locale, options);
  if (collator != nullptr) recent[next++ % 4] = {locale, options, collator};
  return collator;
}

// Units below this are neither combining marks nor variants in width.
constexpr char16_t kSimple = 0x200;

int Order(const UCollator* collator, std::u16string_view a, std::u16string_view b) {
  return icu::ucol_strcoll(collator, a.data(), static_cast<int32_t>(a.size()), b.data(),
                           static_cast<int32_t>(b.size()));
}

// `all` is the bitwise or of all units of both texts.
int Order(const OpaqueCollator::Level& level, char16_t all, std::u16string_view a,
          std::u16string_view b) {
  if (all < 0x80) {
    if (const carbon::AsciiCollation* const table = level.ascii->Get()) return table->Compare(a, b);
  }
  return Order((all < kSimple ? level.simple : level.any).get(), a, b);
}

int Order(const OpaqueCollator::Level& level, std::u16string_view a, std::u16string_view b) {
  return Order(level, OrOfUnits(a) | OrOfUnits(b), a, b);
}

constexpr bool IsWidthVariant(char16_t unit) {
  return unit == 0x3000 || (unit >= 0xFF01 && unit <= 0xFFEE);
}

bool HasWidthVariant(std::u16string_view text) {
  return OrOfUnits(text) >= 0x3000 && std::any_of(text.begin(), text.end(), IsWidthVariant);
}

std::u16string InNormalWidths(std::u16string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* forms = icu::unorm2_getNFKDInstance(&status);
  std::u16string result;
  for (const char16_t unit : text) {
    char16_t mapped[8];
    const int32_t length = IsWidthVariant(unit) && U_SUCCESS(status)
                               ? icu::unorm2_getRawDecomposition(forms, unit, mapped, 8, &status)
                               : -1;
    if (length < 0) {
      result += unit;
    } else {
      result.append(mapped, static_cast<size_t>(length));
    }
  }
  return result;
}

// Equal texts are usually ASCII, which needs no folding.
bool AreEqualAsciiWithoutCase(std::u16string_view a, std::u16string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char16_t left, char16_t right) {
    return left == right || (left < 0x80 && LowerAscii(left) == LowerAscii(right));
  });
}

int Compare(const OpaqueCollator& collator, std::u16string_view a, std::u16string_view b) {
  const char16_t all = OrOfUnits(a) | OrOfUnits(b);
  if (collator.secondary.any == nullptr) {
    const int order = Order(collator.tertiary, all, a, b);
    if (all < kSimple || order == 0 || !collator.ignores_width ||
        (!HasWidthVariant(a) && !HasWidthVariant(b))) {
      return order;
    }
    return Order(collator.tertiary, InNormalWidths(a), InNormalWidths(b));
  }
  const int order = Order(collator.secondary, all, a, b);
  if (order != 0 || AreEqualAsciiWithoutCase(a, b)) return order;
  const auto folded = [&](std::u16string_view text) {
    return FoldCase(collator.ignores_width ? InNormalWidths(text) : text, collator.locale);
  };
  return Order(collator.tertiary, folded(a), folded(b));
}

bool IsText(const UniChar* text, UniCharCount length) {
  return (text != nullptr || length == 0) &&
         length <= static_cast<UniCharCount>(std::numeric_limits<int32_t>::max());
}

}  // namespace

OSStatus UCCreateCollator(LocaleRef, UCCollationVariant, UCCollateOptions options,
                          CollatorRef* collator) {
  if (collator == nullptr) return paramErr;
  CollatorRef found = Find(options);
  if (found == nullptr) return kCannotOpen;
  *collator = found;
  return 0;
}

OSStatus UCDisposeCollator(CollatorRef* collator) {
  if (collator == nullptr) return paramErr;
  *collator = nullptr;
  return 0;
}

OSStatus UCCompareText(CollatorRef collator, const UniChar* a, UniCharCount a_length,
                       const UniChar* b, UniCharCount b_length, Boolean* equivalent,
                       SInt32* order) {
  if (collator == nullptr || !IsText(a, a_length) || !IsText(b, b_length)) return paramErr;
  const int result = Compare(*collator, {a, a_length}, {b, b_length});
  if (equivalent != nullptr) *equivalent = result == 0;
  if (order != nullptr) *order = result;
  return 0;
}

OSStatus UCCompareTextDefault(UCCollateOptions options, const UniChar* a, UniCharCount a_length,
                              const UniChar* b, UniCharCount b_length, Boolean* equivalent,
                              SInt32* order) {
  CollatorRef collator = Find(options);
  if (collator == nullptr) return kCannotOpen;
  return UCCompareText(collator, a, a_length, b, b_length, equivalent, order);
}

}  // namespace orvik
