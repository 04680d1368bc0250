#include "tests/postflight/log_fixture.h"

namespace orvik::test {

const NSString* LogTest::Text(const std::string& utf8) {
  return NSString::stringWithUTF8String(utf8.c_str());
}

}  // namespace orvik::test
