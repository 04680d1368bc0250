#include "platform/core_foundation/locale.h"

#include <ctime>

#include "platform/core_foundation/object.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using Formatter = Owned<NSDateFormatter>;

Formatter Make(const NSString* pattern) {
  Formatter formatter(
      CFDateFormatterCreate(nullptr, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  CFDateFormatterSetFormat(formatter.get(), pattern);
  return formatter;
}

TEST(DateFormatter, ShowsLocalTime) {
  const double absolute_time = 123456789.25;
  const auto seconds = static_cast<std::time_t>(absolute_time) + 978307200;
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char expected[32];
  std::strftime(expected, sizeof expected, "%Y %H-%M-%S", &parts);
  const Owned<const NSString> text(CFDateFormatterCreateStringWithAbsoluteTime(
      nullptr, Make(CFSTR(u"yyyy HH-mm-ss")).get(), absolute_time));
  EXPECT_EQ(text->ToUtf8(), expected);
}

TEST(DateFormatter, LongPatternsFit) {
  std::u16string pattern;
  for (int i = 0; i < 100; ++i) pattern += u"HH-";
  EXPECT_EQ(Make(CFSTR(pattern))->Format(0).size(), 300u);
}

}  // namespace
}  // namespace orvik::test
