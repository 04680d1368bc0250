#include "text/case_and_spelling.h"

#include <algorithm>
#include <compare>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

#include "text/transcoding.h"
#include "text/unicode_library.h"

namespace orvik {

namespace {

// The result of a longer text might have more units than 32 bits can count.
constexpr size_t kLongestMapped = 0x3FFFFFFF;

// Calls ICU's mapping again until its result fits. Text that cannot be mapped comes back unchanged.
template <class Map, class... Options>
std::u16string MappedByIcu(std::u16string_view text, const Map& map, Options... options) {
  if (text.size() > kLongestMapped) return std::u16string(text);
  std::u16string result(text.size() + text.size() / 8 + 8, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = map(result.data(), static_cast<int32_t>(result.size()), text.data(),
                               static_cast<int32_t>(text.size()), options..., &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return std::u16string(text);
    const bool fits = status != U_BUFFER_OVERFLOW_ERROR;
    result.resize(static_cast<size_t>(length));
    if (fits) return result;
  }
}

std::string_view LanguageOf(std::string_view locale) {
  return locale.substr(0, locale.find_first_of("_-@"));
}

constexpr char16_t UpperAscii(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
}

// Maps ASCII without ICU, so that the library need not be loaded. Only Turkish and Azeri map ASCII
// letters differently where no combining mark follows them.
template <char16_t (*kMap)(char16_t)>
std::u16string MappedAscii(std::u16string_view text) {
  std::u16string result(text);
  for (char16_t& unit : result) unit = kMap(unit);
  return result;
}

}  // namespace

std::u16string ToUpper(std::u16string_view text, const char* locale) {
  if (IsAscii(text) && !HasDotlessI(locale)) return MappedAscii<UpperAscii>(text);
  return MappedByIcu(text, icu::u_strToUpper, locale);
}

std::u16string ToLower(std::u16string_view text, const char* locale) {
  if (IsAscii(text) && !HasDotlessI(locale)) return MappedAscii<LowerAscii>(text);
  return MappedByIcu(text, icu::u_strToLower, locale);
}

bool HasDotlessI(std::string_view locale) {
  const std::string_view language = LanguageOf(locale);
  return language == "tr" || language == "az" || language == "tur" || language == "aze";
}

std::u16string FoldCase(std::u16string_view text, const char* locale) {
  const bool dotless = HasDotlessI(locale);
  if (!dotless && IsAscii(text)) return MappedAscii<LowerAscii>(text);
  const std::uint32_t options = dotless ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
  return MappedByIcu(text, icu::u_strFoldCase, options);
}

int CompareFolded(std::u16string_view a, std::u16string_view b) {
  // The ASCII start needs no folded copy.
  size_t i = 0;
  for (; i < a.size() && i < b.size() && a[i] < 0x80 && b[i] < 0x80; ++i) {
    const char16_t left = LowerAscii(a[i]);
    const char16_t right = LowerAscii(b[i]);
    if (left != right) return left < right ? -1 : 1;
  }
  a.remove_prefix(i);
  b.remove_prefix(i);
  if (a.empty() || b.empty()) return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
  const int order = FoldCase(a).compare(FoldCase(b));
  return order < 0 ? -1 : order > 0;
}

namespace {

// ICU's data for form C, which live as long as the program.
const UNormalizer2* Composing() {
  UErrorCode status = U_ZERO_ERROR;
  static const UNormalizer2* const form = icu::unorm2_getNFCInstance(&status);
  return form;
}

std::u32string Characters(std::u16string_view units) {
  std::u32string characters;
  for (std::size_t at = 0; at < units.size();) {
    characters += NextCharacter(units, at);
  }
  return characters;
}

// Decomposes the character by one step, into one or two characters. Empty for a character that does
// not decompose.
std::u32string Parts(char32_t character) {
  UErrorCode status = U_ZERO_ERROR;
  char16_t units[4];
  const int32_t length = icu::unorm2_getRawDecomposition(
      Composing(), static_cast<UChar32>(character), units, 4, &status);
  return length < 0 || U_FAILURE(status)
             ? std::u32string()
             : Characters(std::u16string_view(units, static_cast<std::size_t>(length)));
}

// A character that normalisation never composes from its parts (a composition exclusion). `second`
// is 0 when the character decomposes into one other character.
struct Exclusion {
  char32_t first;
  char32_t second;
  char32_t whole;
  auto operator<=>(const Exclusion&) const = default;
};

struct Spellings {
  USet* respelled;  // a text without these characters has one spelling
  std::vector<Exclusion> exclusions;
};

Spellings MakeSpellings() {
  UErrorCode status = U_ZERO_ERROR;
  const auto set_of = [&status](std::u16string_view pattern) {
    return icu::uset_openPattern(pattern.data(), static_cast<int32_t>(pattern.size()), &status);
  };
  Spellings rules{set_of(u"[[:NFD_QC=No:][:NFC_QC=Maybe:][:^ccc=0:]]"), {}};
  USet* const apart = set_of(u"[[:NFD_QC=No:]-[\\uAC00-\\uD7A3]]");  // Hangul follows its own rule.
  for (int32_t i = 0; i < icu::uset_size(apart); ++i) {
    const UChar32 whole = icu::uset_charAt(apart, i);
    const std::u32string parts = Parts(static_cast<char32_t>(whole));
    if (parts.empty()) continue;
    const bool is_pair = parts.size() == 2;
    if (is_pair && icu::unorm2_composePair(Composing(), static_cast<UChar32>(parts[0]),
                                           static_cast<UChar32>(parts[1])) == whole) {
      continue;
    }
    if (!is_pair && parts[0] >= 0x80)
      icu::uset_add(rules.respelled, static_cast<UChar32>(parts[0]));
    rules.exclusions.push_back({parts[0], is_pair ? parts[1] : 0, static_cast<char32_t>(whole)});
  }
  icu::uset_close(apart);
  icu::uset_freeze(rules.respelled);
  std::sort(rules.exclusions.begin(), rules.exclusions.end());
  return rules;
}

const Spellings& SpellingRules() {
  static const auto* const rules = new Spellings(MakeSpellings());
  return *rules;
}

std::uint8_t CombiningClass(char32_t character) {
  return icu::u_getCombiningClass(static_cast<UChar32>(character));
}

// Calls `visit` with each text that differs by one step of normalisation, in either direction.
template <class Visit>
void VisitNeighbours(const std::u32string& text, const Visit& visit) {
  const std::vector<Exclusion>& exclusions = SpellingRules().exclusions;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto replace = [&](std::size_t count, std::u32string_view by) {
      visit(std::u32string(text).replace(i, count, by));
    };
    const auto compose = [&](char32_t second) {
      for (auto found = std::lower_bound(exclusions.begin(), exclusions.end(),
                                         Exclusion{text[i], second, 0});
           found != exclusions.end() && found->first == text[i] && found->second == second;
           ++found) {
        replace(second == 0 ? 1 : 2, {&found->whole, 1});
      }
    };
    if (const std::u32string parts = Parts(text[i]); !parts.empty()) replace(1, parts);
    compose(0);
    if (i + 1 == text.size()) break;
    const char32_t next = text[i + 1];
    compose(next);
    const UChar32 whole = icu::unorm2_composePair(Composing(), static_cast<UChar32>(text[i]),
                                                  static_cast<UChar32>(next));
    if (whole >= 0) replace(2, std::u32string(1, static_cast<char32_t>(whole)));
    const std::uint8_t marks[] = {CombiningClass(text[i]), CombiningClass(next)};
    if (marks[0] != 0 && marks[1] != 0 && marks[0] != marks[1]) {
      replace(2, std::u32string{next, text[i]});
    }
  }
}

}  // namespace

std::u16string Composed(std::u16string_view text) {
  if (IsAscii(text) || Composing() == nullptr) return std::u16string(text);
  return MappedByIcu(text, [](UChar* target, int32_t room, const UChar* source, int32_t length,
                              UErrorCode* error) {
    return icu::unorm2_normalize(Composing(), source, length, target, room, error);
  });
}

bool HasOneSpelling(std::u16string_view units) {
  units.remove_prefix(AsciiPrefix(units));
  if (units.empty()) return true;
  const auto length = static_cast<int32_t>(units.size());
  return icu::uset_span(SpellingRules().respelled, units.data(), length, USET_SPAN_NOT_CONTAINED) ==
         length;
}

bool VisitOtherSpellings(std::u16string_view units, int limit,
                         const std::function<void(std::u16string_view)>& visit) {
  std::unordered_set<std::u32string> seen{Characters(units)};
  std::deque<const std::u32string*> unfinished{&*seen.begin()};
  std::u16string spelling;
  bool is_complete = true;
  for (; !unfinished.empty() && is_complete; unfinished.pop_front()) {
    VisitNeighbours(*unfinished.front(), [&](std::u32string neighbour) {
      if (!is_complete) return;
      const auto [added, is_new] = seen.insert(std::move(neighbour));
      if (!is_new) return;
      is_complete = seen.size() - 1 <= static_cast<std::size_t>(limit);
      if (!is_complete) return;
      spelling.clear();
      for (const char32_t character : *added) AppendCharacter(spelling, character);
      visit(spelling);
      unfinished.push_back(&*added);
    });
  }
  return is_complete;
}

}  // namespace orvik
