// Comparing text in the order of the current locale (LC_ALL, LC_COLLATE, LANG), or in that of the
// root locale when the name is unknown.
//
// Functions return a status: 0, or paramErr (-50) for a null argument, or -1 when the collation
// cannot be opened; results are then left alone. Lengths count UTF-16 code units.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using UCCollateOptions = UInt32;
inline constexpr UCCollateOptions kUCCollateComposeInsensitiveMask = 0x0002;
inline constexpr UCCollateOptions kUCCollateWidthInsensitiveMask = 0x0004;
inline constexpr UCCollateOptions kUCCollateCaseInsensitiveMask = 0x0008;
inline constexpr UCCollateOptions kUCCollatePunctuationSignificantMask = 0x8000;
inline constexpr UCCollateOptions kUCCollateStandardOptions = kUCCollateComposeInsensitiveMask |
                                                              kUCCollateWidthInsensitiveMask |
                                                              kUCCollatePunctuationSignificantMask;

using UCCollationVariant = UInt32;

struct OpaqueLocale;
using LocaleRef = const OpaqueLocale*;  // null is the current locale, the only one there is
struct OpaqueCollator;
using CollatorRef = const OpaqueCollator*;

// Stores in `*collator` the collator of the current locale for `options`; `locale` and `variant`
// play no part, and unknown options are ignored. Collators are opened once for each locale and set
// of options and kept to the end of the process, so that making one again is cheap. Threads may
// share one.
//
//   option                 without it
//   ComposeInsensitive     "e" with an accent and the composed letter differ
//   WidthInsensitive       full-width and half-width forms differ from the normal ones
//   CaseInsensitive        letters that differ in case alone differ, the lower case first
//   PunctuationSignificant punctuation and blanks are passed over
OSStatus UCCreateCollator(LocaleRef locale, UCCollationVariant variant, UCCollateOptions options,
                          CollatorRef* collator);
// Sets `*collator` to null.
OSStatus UCDisposeCollator(CollatorRef* collator);

// Compares two texts by the Unicode Collation Algorithm (UTS #10) as the locale tailors it.
// `*order` receives -1, 0 or 1, `*equivalent` whether the texts are equivalent; either may be null.
// A text may be null only with length 0; the longest has 2^31 - 1 units.
OSStatus UCCompareText(CollatorRef collator, const UniChar* a, UniCharCount a_length,
                       const UniChar* b, UniCharCount b_length, Boolean* equivalent, SInt32* order);
// The same by the collator that UCCreateCollator gives for `options`.
OSStatus UCCompareTextDefault(UCCollateOptions options, const UniChar* a, UniCharCount a_length,
                              const UniChar* b, UniCharCount b_length, Boolean* equivalent,
                              SInt32* order);

}  // namespace orvik
