#include "platform/core_foundation/locale.h"

#include "platform/core_foundation/string.h"
#include "text/characters.h"
#include "text/unicode_library.h"
#include "text/user_locale.h"

namespace orvik {

namespace {

// 2001-01-01 00:00 UTC, from which the platform counts, in seconds since 1970.
constexpr double kEpochOfPlatform = 978307200.0;

UDateFormat* Of(void* formatter) {
  return static_cast<UDateFormat*>(formatter);
}

}  // namespace

CFLocaleRef CFLocaleCopyCurrent() {
  return new NSLocale(CurrentLocaleIdentifier(LocaleCategory::kCharacters));
}

NSDateFormatter::NSDateFormatter(CFLocaleRef locale) {
  const char* identifier = locale == nullptr ? CurrentLocaleIdentifier(LocaleCategory::kTime)
                                             : locale->identifier().c_str();
  UErrorCode status = U_ZERO_ERROR;
  formatter_ = icu::udat_open(UDAT_NONE, UDAT_NONE, identifier, nullptr, 0, nullptr, 0, &status);
  if (U_FAILURE(status)) {
    // The locale is unknown; the root locale has the same digits.
    status = U_ZERO_ERROR;
    formatter_ = icu::udat_open(UDAT_NONE, UDAT_NONE, "", nullptr, 0, nullptr, 0, &status);
  }
  if (U_FAILURE(status)) formatter_ = nullptr;
}

NSDateFormatter::~NSDateFormatter() {
  if (formatter_ != nullptr) icu::udat_close(Of(formatter_));
}

void NSDateFormatter::setFormat(std::u16string_view pattern) {
  if (formatter_ == nullptr) return;
  icu::udat_applyPattern(Of(formatter_), false, pattern.data(),
                         static_cast<int32_t>(pattern.size()));
}

std::u16string NSDateFormatter::Format(double absolute_time) const {
  if (formatter_ == nullptr) return {};
  std::u16string text(64, u'\0');
  for (;;) {
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length =
        icu::udat_format(Of(formatter_), (absolute_time + kEpochOfPlatform) * 1000.0, text.data(),
                         static_cast<int32_t>(text.size()), nullptr, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return {};
    const bool fits = status != U_BUFFER_OVERFLOW_ERROR;
    text.resize(static_cast<size_t>(length));
    if (fits) return text;
  }
}

CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef, CFLocaleRef locale,
                                         CFDateFormatterStyle date_style,
                                         CFDateFormatterStyle time_style) {
  if (date_style != kCFDateFormatterNoStyle || time_style != kCFDateFormatterNoStyle) {
    return nullptr;
  }
  return new NSDateFormatter(locale);
}

void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef pattern) {
  if (pattern != nullptr) formatter->setFormat(pattern->ToUnits());
}

CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef,
                                                        CFDateFormatterRef formatter,
                                                        double absolute_time) {
  const std::u16string text = formatter->Format(absolute_time);
  return text.empty() ? nullptr : NSString::NewFromUnits(text);
}

}  // namespace orvik
