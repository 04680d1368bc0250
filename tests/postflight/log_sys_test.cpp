#include "postflight/log_sys.h"

#include "tests/postflight/log_fixture.h"

namespace orvik::test {
namespace {

using LogSysTest = LogTest;

TEST_F(LogSysTest, LinesAreVerbatim) {
  logSys::notice(Text("100%s %n%d"));
  logSys::notice(Text(""));
  logSys::notice(Text("\xC3\xBC \xE6\x96\x87"));
  EXPECT_EQ(Log(), "100%s %n%d\n\n\xC3\xBC \xE6\x96\x87\n");
  const char16_t lone[] = {u'a', 0xD800, u'b', 0};
  logSys::notice(NSString::stringWithCharacters(lone));
  const std::string line = Log();
  EXPECT_TRUE(line.starts_with("a") && line.ends_with("b\n")) << line;
  logSys::notice(nullptr);
  EXPECT_EQ(Log(), "");
}

TEST_F(LogSysTest, Banners) {
  logSys::pipes();
  logSys::pipes2();
  logSys::stripes();
  logSys::stripes2();
  EXPECT_EQ(Log(), std::string(74, '|') + "\n" + std::string(148, '|') + "\n" +
                       std::string(75, '/') + "\n" + std::string(150, '/') + "\n");
}

}  // namespace
}  // namespace orvik::test
