#include "text/spelling.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/uset.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <compare>
#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

#include "text/transcoding.h"

namespace orvik {

namespace {

const UNormalizer2* Composing() {
  UErrorCode status = U_ZERO_ERROR;
  static const UNormalizer2* const form = unorm2_getNFCInstance(&status);
  return form;
}

std::u32string Characters(std::u16string_view units) {
  std::u32string characters;
  for (std::size_t at = 0; at < units.size();) {
    UChar32 character = 0;
    U16_NEXT(units.data(), at, units.size(), character);
    characters += static_cast<char32_t>(character);
  }
  return characters;
}

// What the character is taken apart into in one step: one or two characters, or none.
std::u32string Parts(char32_t character) {
  UErrorCode status = U_ZERO_ERROR;
  char16_t units[4];
  const int32_t length =
      unorm2_getRawDecomposition(Composing(), static_cast<UChar32>(character), units, 4, &status);
  return length < 0 || U_FAILURE(status)
             ? std::u32string()
             : Characters(std::u16string_view(units, static_cast<std::size_t>(length)));
}

// A character into which normalisation never puts its parts together. `second` is 0 where it is
// spelled as one other character.
struct Double {
  char32_t first;
  char32_t second;
  char32_t whole;
  auto operator<=>(const Double&) const = default;
};

struct Rules {
  USet* many;  // The characters without which a text has one spelling.
  std::vector<Double> doubles;
};

Rules MakeRules() {
  UErrorCode status = U_ZERO_ERROR;
  const auto set_of = [&status](std::u16string_view pattern) {
    return uset_openPattern(pattern.data(), static_cast<int32_t>(pattern.size()), &status);
  };
  Rules rules{set_of(u"[[:NFD_QC=No:][:NFC_QC=Maybe:][:^ccc=0:]]"), {}};
  USet* const apart = set_of(u"[[:NFD_QC=No:]-[\\uAC00-\\uD7A3]]");  // Hangul follows its own rule.
  for (int32_t i = 0; i < uset_size(apart); ++i) {
    const UChar32 whole = uset_charAt(apart, i);
    const std::u32string parts = Parts(static_cast<char32_t>(whole));
    if (parts.empty()) continue;
    const bool is_pair = parts.size() == 2;
    if (is_pair && unorm2_composePair(Composing(), static_cast<UChar32>(parts[0]),
                                      static_cast<UChar32>(parts[1])) == whole) {
      continue;
    }
    if (!is_pair && parts[0] >= 0x80) uset_add(rules.many, static_cast<UChar32>(parts[0]));
    rules.doubles.push_back({parts[0], is_pair ? parts[1] : 0, static_cast<char32_t>(whole)});
  }
  uset_close(apart);
  uset_freeze(rules.many);
  std::sort(rules.doubles.begin(), rules.doubles.end());
  return rules;
}

const Rules& TheRules() {
  static const Rules rules = MakeRules();
  return rules;
}

std::uint8_t CombiningClass(char32_t character) {
  return u_getCombiningClass(static_cast<UChar32>(character));
}

// Calls `visit` with each text that is one step of normalisation away, in either direction.
template <class Visit>
void VisitNeighbours(const std::u32string& text, const Visit& visit) {
  const std::vector<Double>& doubles = TheRules().doubles;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto replace = [&](std::size_t count, std::u32string_view by) {
      visit(std::u32string(text).replace(i, count, by));
    };
    const auto put_together = [&](char32_t second) {
      for (auto found =
               std::lower_bound(doubles.begin(), doubles.end(), Double{text[i], second, 0});
           found != doubles.end() && found->first == text[i] && found->second == second; ++found) {
        replace(second == 0 ? 1 : 2, {&found->whole, 1});
      }
    };
    if (const std::u32string parts = Parts(text[i]); !parts.empty()) replace(1, parts);
    put_together(0);
    if (i + 1 == text.size()) break;
    const char32_t next = text[i + 1];
    put_together(next);
    const UChar32 whole =
        unorm2_composePair(Composing(), static_cast<UChar32>(text[i]), static_cast<UChar32>(next));
    if (whole >= 0) replace(2, std::u32string(1, static_cast<char32_t>(whole)));
    const std::uint8_t marks[] = {CombiningClass(text[i]), CombiningClass(next)};
    if (marks[0] != 0 && marks[1] != 0 && marks[0] != marks[1]) {
      replace(2, std::u32string{next, text[i]});
    }
  }
}

}  // namespace

bool HasOneSpelling(std::u16string_view units) {
  units.remove_prefix(AsciiPrefix(units));
  if (units.empty()) return true;
  const auto length = static_cast<int32_t>(units.size());
  return uset_span(TheRules().many, units.data(), length, USET_SPAN_NOT_CONTAINED) == length;
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
