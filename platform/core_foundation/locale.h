// Locales, whose language rules text operations follow, and the formatting of dates in local time
// by a pattern of Unicode's date fields ("HH-mm-ss").
#pragma once

#include <string>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

class NSLocale final : public NSObject {
 public:
  // `identifier` names language, script and territory: "tr_TR", "de", "" for the root.
  explicit NSLocale(std::string identifier) : identifier_(std::move(identifier)) {}

  const std::string& identifier() const { return identifier_; }

 private:
  std::string identifier_;
};

// The user's locale for text: the first of LC_ALL, LC_CTYPE and LANG that is set and not empty,
// without its encoding ("tr_TR.UTF-8" is tr_TR). The root locale for "C" and "POSIX", and when none
// is set. The caller owns the result.
CFLocaleRef CFLocaleCopyCurrent();

using CFDateFormatterStyle = CFIndex;
inline constexpr CFDateFormatterStyle kCFDateFormatterNoStyle = 0;

class NSDateFormatter final : public NSObject {
 public:
  explicit NSDateFormatter(CFLocaleRef locale);
  ~NSDateFormatter() override;

  // Sets a pattern of the Unicode Locale Data Markup Language (UTS #35, part 4).
  void setFormat(std::u16string_view pattern);
  // `absolute_time` is in seconds since 2001-01-01 00:00 UTC. Empty when it cannot be formatted.
  std::u16string Format(double absolute_time) const;

 private:
  void* formatter_ = nullptr;
};

using CFDateFormatterRef = NSDateFormatter*;

// The caller owns the result. A null locale means the current one. Both styles must be
// kCFDateFormatterNoStyle, because only the pattern defines the text; null for any other style.
CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                         CFDateFormatterStyle date_style,
                                         CFDateFormatterStyle time_style);
// Sets the pattern (NSDateFormatter::setFormat); null has no effect.
void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef pattern);
// The caller owns the result; null on failure.
CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator,
                                                        CFDateFormatterRef formatter,
                                                        double absolute_time);

}  // namespace orvik
