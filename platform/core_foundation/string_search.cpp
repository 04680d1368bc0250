// Comparing strings, and searching in them.
#include <optional>
#include <vector>

#include "platform/core_foundation/string.h"
#include "platform/core_foundation/string_views.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

struct Match {
  size_t first;
  size_t length;
};

// A folded text that knows, for each of its units, where in the text the character begins that the
// unit came from.
class FoldedText {
 public:
  explicit FoldedText(std::u16string_view text) {
    for (size_t i = 0; i < text.size();) {
      const size_t length = CharacterLength(text.substr(i));
      const std::u16string piece = FoldCase(text.substr(i, length));
      starts_.push_back(i);
      starts_.insert(starts_.end(), piece.size() - 1, kInside);
      folded_ += piece;
      i += length;
    }
    starts_.push_back(text.size());
  }

  std::optional<Match> Find(std::u16string_view wanted) const {
    for (size_t at = folded_.find(wanted); at != std::u16string::npos;
         at = folded_.find(wanted, at + 1)) {
      const size_t first = starts_[at];
      const size_t end = starts_[at + wanted.size()];
      // A match within what one character is folded to is none: "s" is not in "\u00DF".
      if (first != kInside && end != kInside) return Match{first, end - first};
    }
    return std::nullopt;
  }

 private:
  static constexpr size_t kInside = static_cast<size_t>(-1);

  std::u16string folded_;
  std::vector<size_t> starts_;
};

std::optional<Match> FindText(std::u16string_view where, std::u16string_view text,
                              CFStringCompareFlags options) {
  if (text.empty()) return std::nullopt;
  if ((options & kCFCompareCaseInsensitive) != 0) return FoldedText(where).Find(FoldCase(text));
  const size_t at = where.find(text);
  if (at == std::u16string_view::npos) return std::nullopt;
  return Match{at, text.size()};
}

}  // namespace

CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFStringCompareFlags options) {
  if (b == nullptr) return kCFCompareGreaterThan;
  const CFIndex order = (options & kCFCompareCaseInsensitive) != 0
                            ? CompareFolded(WideView(a), WideView(b))
                            : a->compare(b);
  return static_cast<CFComparisonResult>(order);
}

Boolean CFStringFindWithOptions(CFStringRef string, CFStringRef text, CFRange range,
                                CFStringCompareFlags options, CFRange* result) {
  range = CutRange(range, string->length());
  const WideView where(string);
  const std::optional<Match> match = FindText(
      where.view().substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length)),
      WideView(text), options);
  if (match && result != nullptr) {
    *result = CFRangeMake(range.location + static_cast<CFIndex>(match->first),
                          static_cast<CFIndex>(match->length));
  }
  return match.has_value();
}

}  // namespace orvik
