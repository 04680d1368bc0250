// The running program and its surroundings: arguments, log, folders, processes, clock, machine.
#include "platform/foundation/application.h"

#include <signal.h>
#include <sys/wait.h>
#include <syslog.h>

#include <ctime>
#include <thread>

#include "host/system.h"
#include "platform/carbon/machine.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/locale.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

std::string Argument(const char16_t* name) {
  const NSString* value = NSUserDefaults::standardUserDefaults()->stringForKey(CFSTR(name));
  return value == nullptr ? "(none)" : value->ToUtf8();
}

TEST(UserDefaults, TakesPairsInAnyOrder) {
  const ScopedArguments arguments({"stray", "-b", "-2", "-", "-a", "1", "more", "-empty", "", "-a",
                                   "3", "--double", "x", "-path", "/caf\xE9", "-last"});
  const std::pair<const char16_t*, const char*> kCases[] = {
      {u"a", "3"},         {u"b", "-2"},         {u"empty", ""},      {u"-double", "x"},
      {u"last", "(none)"}, {u"stray", "(none)"}, {u"more", "(none)"}, {u"2", "(none)"},
      {u"", "(none)"},     {u"A", "(none)"}};
  for (const auto& [name, value] : kCases) EXPECT_EQ(Argument(name), value);
  // Bytes that are not UTF-8.
  const NSString* path = NSUserDefaults::standardUserDefaults()->stringForKey(CFSTR(u"path"));
  EXPECT_EQ(path->ToUnits(), u"/caf\xDCE9");
}

TEST(UserDefaults, ReadsBooleans) {
  static constexpr std::pair<const char*, ObjCBool> kCases[] = {
      {"YES", YES}, {"yes", YES}, {"True", YES}, {"1", YES},         {" -012x", YES},
      {"NO", NO},   {"", NO},     {"0", NO},     {"yes please", NO}, {"on", NO}};
  for (const auto& [text, is_true] : kCases) {
    const ScopedArguments arguments({"-x", text});
    const NSUserDefaults* defaults = NSUserDefaults::standardUserDefaults();
    EXPECT_EQ(defaults->boolForKey(CFSTR(u"x")), is_true) << text;
    EXPECT_EQ(defaults->boolForKey(CFSTR(u"y")), NO);
  }
}

TEST(SystemLog, CopiesLinesToStandardErrorWhenAskedTo) {
  testing::internal::CaptureStderr();
  {
    const ScopedVariable copied("ORVIK_LOG_STDERR", "1");
    host::SystemLog(LOG_NOTICE, "100% of %s %n");
    host::SystemLog(LOG_NOTICE, "red \x1b[31m, two\nlines, \xE2\x80\xAEturned");
    host::SystemLog(LOG_NOTICE, std::string_view("up to\0here", 10));
    NSLog(CFSTR(u"%@ and %d"), CFSTR(u"text"), 7);
  }
  const ScopedVariable not_copied("ORVIK_LOG_STDERR", "0");
  host::SystemLog(LOG_NOTICE, "not copied");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "100% of %s %n\nred \\x1b[31m, two\\nlines, \\u202eturned\nup to\ntext and 7\n");
}

TEST(SystemLog, AReaderThatWentAwayEndsNothing) {
  const std::vector<int> statuses = InProcesses(1, [](int) {
    int ends[2];
    if (pipe(ends) != 0) return 1;
    close(ends[0]);
    dup2(ends[1], STDERR_FILENO);
    setenv("ORVIK_LOG_STDERR", "1", 1);
    for (int line = 0; line < 2; ++line) host::SystemLog(LOG_NOTICE, "nobody reads this");
    return 0;
  });
  EXPECT_EQ(statuses[0], 0);
}

using FileManager = EnvironmentTest;

TEST_F(FileManager, LooksForSystemPathsBelowTheSystemRootAndNamesTheFoldersOfTheUser) {
  const NSAutoreleasePool pool;
  const NSFileManager* const manager = NSFileManager::defaultManager();
  const NSString* receipt = CFSTR(u"/Library/Receipts/Some.pkg");
  EXPECT_EQ(manager->fileExistsAtPath(receipt), NO);
  fs::create_directories(env_.system_root() / "Library/Receipts/Some.pkg");
  ObjCBool is_folder = NO;
  EXPECT_EQ(manager->fileExistsAtPath(receipt, &is_folder), YES);
  EXPECT_EQ(is_folder, YES);
  EXPECT_EQ(manager->fileExistsAtPath(nullptr), NO);
  EXPECT_EQ(manager->fileExistsAtPath(CFSTR(u"")), NO);
  EXPECT_EQ(NSHomeDirectory()->ToUtf8(), env_.home().string());
  EXPECT_EQ(NSTemporaryDirectory()->ToUtf8(), env_.temp().string() + "/");
}

std::string NameOf(pid_t pid) {
  ProcessSerialNumber process;
  CFStringRef name = nullptr;
  if (GetProcessForPID(pid, &process) != noErr || CopyProcessName(&process, &name) != noErr) {
    return "(none)";
  }
  return Owned<const NSString>(name)->ToUtf8();
}

TEST(Processes, AZombieAReusedIdAndAThreadAreNotTheProcess) {
  OtherProcess other;
  const pid_t child = other.pid();
  ProcessSerialNumber process, same;
  EXPECT_EQ(GetProcessForPID(child, &process), noErr);
  EXPECT_EQ(GetProcessForPID(child, &same), noErr);
  EXPECT_EQ(process.highLongOfPSN, same.highLongOfPSN);
  for (const pid_t pid : {child, getpid()}) EXPECT_EQ(NameOf(pid), "orvik_platform_tests");
  ProcessSerialNumber earlier = process;
  earlier.highLongOfPSN -= 1;
  CFStringRef name = nullptr;
  EXPECT_EQ(CopyProcessName(&earlier, &name), procNotFound);
  other.Kill();
  EXPECT_EQ(GetProcessForPID(child, &process), procNotFound);
  EXPECT_EQ(CopyProcessName(&process, &name), procNotFound);
  other.End();
  for (const pid_t none : {0, -1, child}) EXPECT_EQ(GetProcessForPID(none, &process), procNotFound);
  std::thread([] { EXPECT_EQ(NameOf(gettid()), "(none)"); }).join();
}

using ProcessName = EnvironmentTest;

TEST_F(ProcessName, IsWholeForALongNameAndAReplacedProgram) {
  const auto program = env_.folder() / "a (rather) long name of a program";
  fs::copy_file("/bin/sleep", program);
  const pid_t child = fork();
  if (child == 0) {
    execl(program.c_str(), "other", "60", nullptr);
    _exit(1);
  }
  std::string name;
  for (int tries = 0; tries < 500 && name != program.filename(); ++tries) {
    usleep(2000);
    name = NameOf(child);
  }
  EXPECT_EQ(name, program.filename());
  fs::remove(program);
  EXPECT_EQ(NameOf(child), program.filename());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST(Machine, CountsTicksAndKnowsTheSystemVersion) {
  UInt32 after = 0;
  const UInt32 before = TickCount();
  Delay(3, &after);
  EXPECT_GE(after - before, 3u);
  EXPECT_LT(after - before, 600u);
  SInt32 response = 7;
  EXPECT_EQ(Gestalt(FourCC("none"), &response), gestaltUndefSelectorErr);
  EXPECT_EQ(response, 7);
  EXPECT_EQ(Gestalt(gestaltSystemVersion, &response), 0);
  EXPECT_GE(response, 0x1000);
}

TEST(DateFormatter, ShowsLocalTimeByPatternsOfAnyLength) {
  const double absolute_time = 123456789.25;
  const auto seconds = static_cast<std::time_t>(absolute_time) + 978307200;
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char expected[32];
  std::strftime(expected, sizeof expected, "%Y %H-%M-%S", &parts);
  const Owned<NSDateFormatter> formatter(
      CFDateFormatterCreate(nullptr, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  CFDateFormatterSetFormat(formatter.get(), CFSTR(u"yyyy HH-mm-ss"));
  const Owned<const NSString> text(
      CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter.get(), absolute_time));
  EXPECT_EQ(text->ToUtf8(), expected);
  std::u16string pattern;
  for (int i = 0; i < 100; ++i) pattern += u"HH-";
  formatter->setFormat(pattern);
  EXPECT_EQ(formatter->Format(0).size(), 300u);
}

}  // namespace
}  // namespace orvik::test
