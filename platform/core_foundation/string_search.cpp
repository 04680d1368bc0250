// Comparing strings, and searching in them.
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <optional>
#include <vector>

#include "platform/core_foundation/string.h"
#include "platform/core_foundation/string_case.h"
#include "platform/core_foundation/string_views.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

constexpr CFStringCompareFlags kLoose = kCFCompareCaseInsensitive | kCFCompareNonliteral;

// The form in which texts that are the same under the options are equal.
std::u16string KeyOf(std::u16string_view text, CFStringCompareFlags options) {
  std::u16string key(text);
  if ((options & kCFCompareNonliteral) != 0) key = Normalize(key, kCFStringNormalizationFormD);
  if ((options & kCFCompareCaseInsensitive) != 0) {
    key = FoldCase(key);
    if ((options & kCFCompareNonliteral) != 0) key = Normalize(key, kCFStringNormalizationFormD);
  }
  return key;
}

// The key of a text with, for each unit of it, where in the text the piece that it came from
// starts; pieces are characters, with their marks in a nonliteral search.
class KeyedText {
 public:
  static constexpr size_t kInside = static_cast<size_t>(-1);

  KeyedText(std::u16string_view text, CFStringCompareFlags options) {
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* normalizer =
        (options & kCFCompareNonliteral) != 0 ? unorm2_getNFDInstance(&status) : nullptr;
    for (size_t i = 0; i < text.size();) {
      size_t end = NextCharacter(text, i);
      while (normalizer != nullptr && end < text.size() &&
             !unorm2_hasBoundaryBefore(normalizer, CharacterAt(text, end))) {
        end = NextCharacter(text, end);
      }
      const std::u16string piece = KeyOf(text.substr(i, end - i), options);
      if (!piece.empty()) {
        starts_.push_back(i);
        starts_.insert(starts_.end(), piece.size() - 1, kInside);
        key_ += piece;
      }
      i = end;
    }
    starts_.push_back(text.size());
  }

  const std::u16string& key() const { return key_; }
  size_t StartOf(size_t key_index) const { return starts_[key_index]; }

 private:
  static size_t NextCharacter(std::u16string_view text, size_t i) {
    return i + (CharacterAt(text, i) < 0x10000 ? 1 : 2);
  }
  static UChar32 CharacterAt(std::u16string_view text, size_t i) {
    return IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])
               ? static_cast<UChar32>(FromSurrogates(text[i], text[i + 1]))
               : text[i];
  }

  std::u16string key_;
  std::vector<size_t> starts_;
};

struct Match {
  size_t first;
  size_t length;
};

std::optional<Match> FindLoosely(const KeyedText& where, std::u16string_view text_key,
                                 CFStringCompareFlags options) {
  const std::u16string& key = where.key();
  const bool backwards = (options & kCFCompareBackwards) != 0;
  const bool anchored = (options & kCFCompareAnchored) != 0;
  if (text_key.empty() || text_key.size() > key.size()) return std::nullopt;
  const size_t last = key.size() - text_key.size();
  size_t at = backwards ? last : 0;
  const auto matches = [&](size_t i) {
    return where.StartOf(i) != KeyedText::kInside &&
           where.StartOf(i + text_key.size()) != KeyedText::kInside &&
           key.compare(i, text_key.size(), text_key) == 0;
  };
  while (!matches(at)) {
    if (anchored || (backwards && at == 0)) return std::nullopt;
    at = backwards ? key.rfind(text_key, at - 1) : key.find(text_key, at + 1);
    if (at == std::u16string::npos) return std::nullopt;
  }
  return Match{where.StartOf(at), where.StartOf(at + text_key.size()) - where.StartOf(at)};
}

std::optional<Match> FindLiterally(std::u16string_view where, std::u16string_view text,
                                   CFStringCompareFlags options) {
  const bool backwards = (options & kCFCompareBackwards) != 0;
  if (text.empty() || text.size() > where.size()) return std::nullopt;
  size_t at;
  if ((options & kCFCompareAnchored) != 0) {
    at = backwards ? where.size() - text.size() : 0;
    if (where.substr(at, text.size()) != text) return std::nullopt;
  } else {
    at = backwards ? where.rfind(text) : where.find(text);
  }
  if (at == std::u16string_view::npos) return std::nullopt;
  return Match{at, text.size()};
}

std::optional<Match> FindMatch(std::u16string_view where, std::u16string_view text,
                               CFStringCompareFlags options) {
  if ((options & kLoose) == 0) return FindLiterally(where, text, options);
  return FindLoosely(KeyedText(where, options), KeyOf(text, options), options);
}

CFRange RangeOf(const Match& match, size_t offset) {
  return CFRangeMake(static_cast<CFIndex>(offset + match.first),
                     static_cast<CFIndex>(match.length));
}

std::u16string_view Part(std::u16string_view text, CFRange range) {
  return text.substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length));
}

}  // namespace

CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFStringCompareFlags options) {
  if ((options & kLoose) == 0) return static_cast<CFComparisonResult>(a->compare(b));
  return CFStringCompareWithOptions(a, b, CFRangeMake(0, a->length()), options);
}

CFComparisonResult CFStringCompareWithOptions(CFStringRef a, CFStringRef b, CFRange range,
                                              CFStringCompareFlags options) {
  if (b == nullptr) return kCFCompareGreaterThan;
  const WideView a_units(a);
  const WideView b_units(b);
  const std::u16string_view left = Part(a_units, CutRange(range, a->length()));
  int order = 0;
  if ((options & kLoose) == kCFCompareCaseInsensitive) {
    order = CompareFolded(left, b_units);
  } else if ((options & kLoose) == 0) {
    order = left.compare(b_units);
  } else {
    order = KeyOf(left, options).compare(KeyOf(b_units, options));
  }
  return order < 0 ? kCFCompareLessThan : order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

Boolean CFStringHasPrefix(CFStringRef string, CFStringRef prefix) {
  return WideView(string).view().starts_with(WideView(prefix).view());
}

Boolean CFStringHasSuffix(CFStringRef string, CFStringRef suffix) {
  return WideView(string).view().ends_with(WideView(suffix).view());
}

CFRange CFStringFind(CFStringRef string, CFStringRef text, CFStringCompareFlags options) {
  CFRange result = CFRangeMake(kCFNotFound, 0);
  CFStringFindWithOptions(string, text, CFRangeMake(0, string->length()), options, &result);
  return result;
}

Boolean CFStringFindWithOptions(CFStringRef string, CFStringRef text, CFRange range,
                                CFStringCompareFlags options, CFRange* result) {
  range = CutRange(range, string->length());
  const WideView where(string);
  const std::optional<Match> match = FindMatch(Part(where, range), WideView(text), options);
  if (match && result != nullptr) {
    *result = RangeOf(*match, static_cast<size_t>(range.location));
  }
  return match.has_value();
}

Boolean CFStringFindCharacterFromSet(CFStringRef string, CFCharacterSetRef set, CFRange range,
                                     CFStringCompareFlags options, CFRange* result) {
  range = CutRange(range, string->length());
  const bool backwards = (options & kCFCompareBackwards) != 0;
  const CFIndex tries =
      (options & kCFCompareAnchored) != 0 ? std::min<CFIndex>(range.length, 1) : range.length;
  for (CFIndex i = 0; i < tries; ++i) {
    const CFIndex at = range.location + (backwards ? range.length - 1 - i : i);
    if (!set->contains(string->characterAtIndex(at))) continue;
    if (result != nullptr) *result = CFRangeMake(at, 1);
    return true;
  }
  return false;
}

CFIndex CFStringFindAndReplace(CFMutableStringRef string, CFStringRef text, CFStringRef replacement,
                               CFRange range, CFStringCompareFlags options) {
  range = CutRange(range, string->length());
  const std::u16string where(Part(string->wide(), range));
  const WideView wanted(text);
  const WideView put(replacement);
  std::vector<Match> matches;
  if ((options & kLoose) == 0) {
    size_t offset = 0;
    while (const auto match = FindLiterally(std::u16string_view(where).substr(offset), wanted,
                                            options & kCFCompareAnchored)) {
      matches.push_back({offset + match->first, match->length});
      offset += match->first + match->length;
      if ((options & kCFCompareAnchored) != 0) break;
    }
  } else {
    const KeyedText keyed(where, options);
    const std::u16string key = KeyOf(wanted, options);
    for (size_t at = 0; !key.empty() && (at = keyed.key().find(key, at)) != std::u16string::npos;) {
      const size_t first = keyed.StartOf(at);
      const size_t end = keyed.StartOf(at + key.size());
      if (first == KeyedText::kInside || end == KeyedText::kInside) {
        ++at;
        continue;
      }
      if (first != 0 && (options & kCFCompareAnchored) != 0) break;
      matches.push_back({first, end - first});
      at += key.size();
    }
  }
  if (matches.empty()) return 0;
  std::u16string result;
  size_t copied = 0;
  for (const Match& match : matches) {
    if (result.size() > static_cast<size_t>(kMaximumStringLength)) return 0;
    result.append(where, copied, match.first - copied).append(put.view());
    copied = match.first + match.length;
  }
  result.append(where, copied);
  if (result.size() > static_cast<size_t>(kMaximumStringLength)) return 0;
  string->replaceCharacters(range.location, range.length, result);
  return static_cast<CFIndex>(matches.size());
}

}  // namespace orvik
