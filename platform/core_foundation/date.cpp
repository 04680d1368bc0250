#include "platform/core_foundation/date.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>

#include "platform/core_foundation/string.h"

namespace orvik {

const NSDate* NSDate::Create(CFAbsoluteTime time) {
  return new NSDate(time);
}

CFTypeID NSDate::typeID() const {
  return CFDateGetTypeID();
}

CFHashCode NSDate::hash() const {
  return std::hash<double>()(time_);
}

NSObject* NSDate::copy() const {
  return const_cast<NSDate*>(Retained(this));
}

const NSString* NSDate::description() const {
  // What the calendar of the library can express.
  constexpr double kFarthest = 60.0 * 60 * 24 * 365 * 30000;
  if (!(std::abs(time_) < kFarthest)) return Autoreleased(NSString::NewFromAscii("no date"));
  using namespace std::chrono;
  const sys_seconds moment =
      sys_days(2001y / January / 1) + seconds(static_cast<long>(std::floor(time_)));
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(moment - day);
  char text[64];
  const int length = std::snprintf(
      text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  return Autoreleased(NSString::NewFromAscii({text, static_cast<std::size_t>(length)}));
}

CFTypeID CFDateGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime time) {
  return NSDate::Create(time);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) {
  return date->timeIntervalSinceReferenceDate();
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
  const std::chrono::duration<double> since_1970 =
      std::chrono::system_clock::now().time_since_epoch();
  return since_1970.count() - kCFAbsoluteTimeIntervalSince1970;
}

}  // namespace orvik
