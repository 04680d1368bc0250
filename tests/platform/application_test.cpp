// The running program and its surroundings: arguments, log, folders, processes, clock, machine,
// alerts.
#include "platform/foundation/application.h"

#include <syslog.h>

#include <thread>

#include "host/system.h"
#include "platform/carbon/alerts.h"
#include "platform/carbon/machine.h"
#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/locale.h"
#include "platform/core_foundation/user_notification.h"
#include "tests/support/alert_answer.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(UserDefaults, TakesPairsInAnyOrder) {
  const ScopedArguments arguments({"stray", "-b", "-2", "-", "-a", "1", "more", "-empty", "", "-a",
                                   "3", "--double", "x", "-path", "/caf\xE9", "-last"});
  const std::pair<const char16_t*, const char16_t*> kCases[] = {
      {u"a", u"3"},       {u"b", u"-2"},       {u"empty", u""},         {u"-double", u"x"},
      {u"last", nullptr}, {u"stray", nullptr}, {u"more", nullptr},      {u"2", nullptr},
      {u"", nullptr},     {u"A", nullptr},     {u"path", u"/caf\xDCE9"}};  // not UTF-8
  for (const auto& [name, value] : kCases) {
    const NSString* found = NSUserDefaults::standardUserDefaults()->stringForKey(CFSTR(name));
    ASSERT_EQ(found == nullptr, value == nullptr);
    EXPECT_TRUE(value == nullptr || found->ToUnits() == value) << found->ToUtf8();
  }
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
  for (const char* copied : {"1", "0"}) {
    const ScopedVariable variable("ORVIK_LOG_STDERR", copied);
    host::SystemLog(LOG_NOTICE, "100% of %s %n");
    host::SystemLog(LOG_NOTICE, "red \x1b[31m, two\nlines, \xE2\x80\xAEturned");
    host::SystemLog(LOG_NOTICE, std::string_view("up to\0here", 10));
    NSLog(CFSTR(u"%@ and %d"), CFSTR(u"text"), 7);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "100% of %s %n\nred \\x1b[31m, two\\nlines, \\u202eturned\nup to\ntext and 7\n");
}

using FileManager = EnvironmentTest;

TEST_F(FileManager, LooksForSystemPathsBelowTheSystemRootAndNamesTheFoldersOfTheUser) {
  const NSAutoreleasePool pool;
  const NSFileManager* const manager = NSFileManager::defaultManager();
  ObjCBool is_folder = NO;
  EXPECT_EQ(manager->fileExistsAtPath(CFSTR(u"/Library/Some.pkg")), NO);
  fs::create_directories(env_.system_root() / "Library/Some.pkg");
  EXPECT_EQ(manager->fileExistsAtPath(CFSTR(u"/Library/Some.pkg"), &is_folder), YES);
  EXPECT_EQ(is_folder, YES);
  EXPECT_EQ(manager->fileExistsAtPath(nullptr), NO);
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

using Processes = EnvironmentTest;

TEST_F(Processes, AZombieAReusedIdAndAThreadAreNotTheProcess) {
  OtherProcess other;
  const pid_t child = other.pid();
  ProcessSerialNumber process;
  EXPECT_EQ(GetProcessForPID(child, &process), noErr);
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

TEST_F(Processes, HaveTheWholeNameOfAReplacedProgram) {
  const auto program = env_.folder() / "a (rather) long name of a program";
  fs::copy_file("/bin/sleep", program);
  OtherProcess child([&] { execl(program.c_str(), "other", "60", nullptr); });
  for (int tries = 0; tries < 500 && NameOf(child.pid()) != program.filename(); ++tries) {
    usleep(2000);
  }
  fs::remove(program);
  EXPECT_EQ(NameOf(child.pid()), program.filename());
}

TEST(Machine, CountsTicksAndKnowsTheSystemVersion) {
  UInt32 after = 0;
  const UInt32 before = TickCount();
  Delay(3, &after);
  EXPECT_TRUE(after - before >= 3 && after - before < 600) << before << " to " << after;
  SInt32 response = 7;
  EXPECT_EQ(Gestalt(FourCC("none"), &response), gestaltUndefSelectorErr);
  EXPECT_EQ(response, 7);
  EXPECT_EQ(Gestalt(gestaltSystemVersion, &response), 0);
  EXPECT_GE(response, 0x1000);
}

TEST(DateFormatter, ShowsLocalTimeByPatternsOfAnyLength) {
  const ScopedVariable zone("TZ", "EST5");
  const Owned<NSDateFormatter> formatter(
      CFDateFormatterCreate(nullptr, nullptr, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  CFDateFormatterSetFormat(formatter.get(), CFSTR(u"yyyy HH-mm-ss"));
  const Owned<const NSString> text(
      CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter.get(), 61.25));
  EXPECT_EQ(text->ToUtf8(), "2000 19-01-01");
  formatter->setFormat(std::u16string(300, u'-'));
  EXPECT_EQ(formatter->Format(0).size(), 300u);
}

TEST(Alerts, TranslateTheRecordAndTheAnswer) {
  AlertStdAlertParamRec record;
  record.otherText = reinterpret_cast<ConstStr255Param>("\3Non");
  record.defaultButton = kAlertStdAlertOtherButton;
  record.cancelButton = kAlertStdAlertCancelButton;
  // Without a second button there is none to cancel with.
  for (const auto& [button, hit] :
       {std::pair(std::optional<int>(), 0), {1, 3}, {desktop::kAlertClosed, 1}}) {
    DialogItemIndex item = 0;
    const auto [status, shown] = Answered(button, [&] {
      return StandardAlert(kAlertStopAlert, reinterpret_cast<ConstStr255Param>("\1\xE9"), nullptr,
                           &record, &item);
    });
    EXPECT_EQ(status != 0, !button);
    EXPECT_EQ(item, hit);
    EXPECT_EQ(shown.level, desktop::AlertLevel::kStop);
    EXPECT_EQ(shown.header + shown.message, "\xC3\xA9");
    EXPECT_EQ(shown.buttons, (std::vector<std::string>{"OK", "Non"}));
    EXPECT_EQ(shown.default_button, 1);
  }
}

TEST(Alerts, ANotificationTranslatesTextsAndAnswers) {
  for (const auto& [button, response] :
       {std::pair(std::optional<int>(), 99u), {0, 0u}, {1, 2u}, {desktop::kAlertClosed, 3u}}) {
    CFOptionFlags flags = 99;
    const auto [status, shown] = Answered(button, [&] {
      return CFUserNotificationDisplayAlert(2.5, kCFUserNotificationNoteAlertLevel, nullptr,
                                            nullptr, nullptr, CFSTR(u"Caf\u00E9"), CFSTR(u"\xD800"),
                                            nullptr, nullptr, CFSTR(u"Other"), &flags);
    });
    EXPECT_EQ(status != 0, !button);
    EXPECT_EQ(flags, response);
    EXPECT_EQ(shown.level, desktop::AlertLevel::kNote);
    EXPECT_EQ(shown.header + shown.message, "Caf\xC3\xA9?");
    EXPECT_EQ(shown.buttons, (std::vector<std::string>{"OK", "Other"}));
    EXPECT_EQ(shown.timeout, 2.5);
  }
}

}  // namespace
}  // namespace orvik::test
