// Comparing text in the order of the current locale (LC_ALL, LC_COLLATE, LANG), or of the root
// locale when the name is unknown.
//
// Functions return a status: 0, paramErr (-50) for a null argument, or -1 when the collation cannot
// be opened. After a failure the results are unchanged. Lengths are in UTF-16 code units.
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

// Stores in `*collator` the collator of the current locale for `options`. `locale` and `variant`
// have no effect, and unknown options are ignored. A collator is opened once for each locale and
// set of options and kept until the process ends, so getting it again is cheap. Threads may share
// it.
//
//   option                 without it
//   ComposeInsensitive     "e" with an accent and the composed letter differ
//   WidthInsensitive       full-width and half-width forms differ from the normal ones
//   CaseInsensitive        letters that differ only in case differ; lower case comes first
//   PunctuationSignificant punctuation and blanks are ignored
OSStatus UCCreateCollator(LocaleRef locale, UCCollationVariant variant, UCCollateOptions options,
                          CollatorRef* collator);
// Sets `*collator` to null.
OSStatus UCDisposeCollator(CollatorRef* collator);

// Compares two texts by the Unicode Collation Algorithm (UTS #10) with the rules of the locale.
// `*order` receives -1, 0 or 1, `*equivalent` whether the texts are equivalent; both may be null. A
// text may be null if its length is 0. The longest text has 2^31 - 1 units.
OSStatus UCCompareText(CollatorRef collator, const UniChar* a, UniCharCount a_length,
                       const UniChar* b, UniCharCount b_length, Boolean* equivalent, SInt32* order);
// The same with the collator that UCCreateCollator gives for `options`.
OSStatus UCCompareTextDefault(UCCollateOptions options, const UniChar* a, UniCharCount a_length,
                              const UniChar* b, UniCharCount b_length, Boolean* equivalent,
                              SInt32* order);

}  // namespace orvik
