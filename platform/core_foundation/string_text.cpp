// The methods of a string that make other texts and numbers.
//
// Comparing strings, and searching in them.
//
// Case mapping of strings.
#include <algorithm>
#include <climits>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/string.h"
#include "platform/core_foundation/string_support.h"
#include "text/case_and_spelling.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

CFIndex SkipWhiteSpace(const NSString& string) {
  CFIndex i = 0;
  while (i < string.length() && IsWhiteSpace(string.characterAtIndex(i))) ++i;
  return i;
}

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

void SetContent(CFMutableStringRef string, const std::u16string& content) {
  string->replaceCharacters(0, string->length(), content);
}

const char* IdentifierOf(CFLocaleRef locale) {
  return locale == nullptr ? "" : locale->identifier().c_str();
}

}  // namespace

std::string NSString::ToUtf8() const {
  if (isAscii()) return std::string(latin1());
  const std::u16string widened = isLatin1() ? ToUnits() : std::u16string();
  const std::u16string_view units = isLatin1() ? std::u16string_view(widened) : wide();
  std::string utf8(Utf8Length(units), '\0');
  const char16_t* source = units.data();
  const char16_t* source_end = source + units.size();
  char* target = utf8.data();
  while (EncodeUtf8(source, source_end, target, utf8.data() + utf8.size()) !=
         TranscodingStop::kDone) {
    *target++ = '?';
    ++source;
  }
  return utf8;
}

const NSString* NSString::stringByAppendingString(const NSString* other) const {
  if (other == nullptr || other->length() == 0) return description();
  if (isLatin1() && other->isLatin1()) {
    std::string bytes;
    bytes.reserve(static_cast<size_t>(length_) + static_cast<size_t>(other->length_));
    bytes.append(latin1()).append(other->latin1());
    return Autoreleased(NewFromLatin1(bytes));
  }
  return Autoreleased(NewFromUnits(ToUnits() + other->ToUnits()));
}

const NSString* NSString::stringWithCharacters(std::u16string_view units) {
  return Autoreleased(NewFromUnits(units));
}

const NSString* NSString::stringWithUTF8String(const char* bytes) {
  return bytes == nullptr ? nullptr : Autoreleased(NewFromUtf8(bytes));
}

int NSString::intValue() const {
  CFIndex i = SkipWhiteSpace(*this);
  bool is_negative = false;
  if (i < length_ && (characterAtIndex(i) == u'-' || characterAtIndex(i) == u'+')) {
    is_negative = characterAtIndex(i++) == u'-';
  }
  std::int64_t value = 0;
  for (; i < length_; ++i) {
    const char16_t unit = characterAtIndex(i);
    if (unit < u'0' || unit > u'9') break;
    value = std::min(value * 10 + (unit - u'0'), std::int64_t{1} << 32);
  }
  if (is_negative) value = -value;
  return static_cast<int>(std::clamp<std::int64_t>(value, INT_MIN, INT_MAX));
}

double NSString::doubleValue() const {
  static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
  std::string number;
  for (CFIndex i = SkipWhiteSpace(*this); i < length_; ++i) {
    const char16_t unit = characterAtIndex(i);
    if (unit > 0x7F || std::string_view("0123456789+-.eE").find(static_cast<char>(unit)) ==
                           std::string_view::npos) {
      break;
    }
    number += static_cast<char>(unit);
  }
  return strtod_l(number.c_str(), nullptr, plain);
}

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

void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToLower(string->wide(), IdentifierOf(locale)));
}

void CFStringUppercase(CFMutableStringRef string, CFLocaleRef locale) {
  SetContent(string, ToUpper(string->wide(), IdentifierOf(locale)));
}

}  // namespace orvik
