// Dates as text by a pattern of Unicode's date fields ("HH-mm-ss"), in local time.
#pragma once

#include <string>

#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

using CFDateFormatterStyle = CFIndex;
inline constexpr CFDateFormatterStyle kCFDateFormatterNoStyle = 0;

class NSDateFormatter final : public NSObject {
 public:
  explicit NSDateFormatter(CFLocaleRef locale);
  ~NSDateFormatter() override;

  void setFormat(std::u16string_view pattern);
  // Seconds since 2001-01-01 00:00 UTC. Empty when that cannot be shown.
  std::u16string Format(double absolute_time) const;

  static CFTypeID TypeID();
  CFTypeID typeID() const override { return TypeID(); }

 private:
  void* formatter_ = nullptr;
};

using CFDateFormatterRef = NSDateFormatter*;

// The caller owns the result. A null locale is the current one. Null for any style but
// kCFDateFormatterNoStyle: the pattern alone says what is shown.
CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                         CFDateFormatterStyle date_style,
                                         CFDateFormatterStyle time_style);
void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef pattern);
// The caller owns the result; null on failure.
CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef allocator,
                                                        CFDateFormatterRef formatter,
                                                        double absolute_time);

}  // namespace orvik
