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
#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/scalars.h"
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
  EXPECT_EQ(manager->fileExistsAtPath(CFSTR(u"/Library/Some.pkg")), YES);
  WriteFile(top_ / "file", "x");
  const NSString* const file = Autoreleased(NewStringFromPath((top_ / "file").string()));
  EXPECT_EQ(manager->fileExistsAtPath(file, &is_folder), YES);
  EXPECT_EQ(is_folder, NO);
  EXPECT_EQ(manager->fileExistsAtPath(nullptr), NO);
  const NSData* const data = Autoreleased(NSData::Create("bytes"));
  EXPECT_EQ(data->writeToFile(file, YES), YES);
  EXPECT_EQ(NSData::dataWithContentsOfFile(file)->View(), "bytes");
  fs::remove(top_ / "file");
  EXPECT_EQ(NSData::dataWithContentsOfFile(file), nullptr);
  EXPECT_EQ(NSData::dataWithContentsOfFile(nullptr), nullptr);
  EXPECT_EQ(data->writeToFile(nullptr, YES), NO);
  EXPECT_EQ(data->writeToFile(Autoreleased(NewStringFromPath("/dev/null/x")), YES), NO);
  EXPECT_EQ(NSApplicationLoad(), YES);
  EXPECT_NE(NSApp(), nullptr);
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
  timespec now;
  clock_gettime(CLOCK_BOOTTIME, &now);
  const double ticks =
      60 * (static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9);
  EXPECT_TRUE(after <= ticks && after > ticks - 600) << after << " and " << ticks;
  EXPECT_LT(std::abs(CFAbsoluteTimeGetCurrent() + 978307200 - static_cast<double>(time(nullptr))),
            10);
  Delay(0, nullptr);
  EXPECT_EQ(Gestalt(gestaltSystemVersion, nullptr), paramErr);
  EXPECT_EQ(GetProcessForPID(getpid(), nullptr), paramErr);
  CFStringRef name = nullptr;
  EXPECT_EQ(CopyProcessName(nullptr, &name), paramErr);
  SInt32 response = 7;
  EXPECT_EQ(Gestalt(FourCC("none"), &response), gestaltUndefSelectorErr);
  EXPECT_EQ(response, 7);
  EXPECT_EQ(Gestalt(gestaltSystemVersion, &response), 0);
  EXPECT_EQ(response, 0x1049);
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
  formatter->setFormat(std::u16string(64, u'-'));
  EXPECT_EQ(formatter->Format(0), std::u16string(64, u'-'));
  CFDateFormatterSetFormat(formatter.get(), CFSTR(u""));
  CFDateFormatterSetFormat(formatter.get(), nullptr);
  EXPECT_EQ(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter.get(), 0), nullptr);
  for (const int style : {1, 0}) {
    EXPECT_EQ(CFDateFormatterCreate(nullptr, nullptr, static_cast<CFDateFormatterStyle>(style),
                                    static_cast<CFDateFormatterStyle>(1 - style)),
              nullptr);
  }
}

ConstStr255Param Pascal(const char* text) {
  return reinterpret_cast<ConstStr255Param>(text);
}

TEST(Alerts, TranslateTheRecordAndTheAnswer) {
  AlertStdAlertParamRec two, three;
  two.otherText = three.otherText = Pascal("\3Non");
  two.defaultButton = three.defaultButton = kAlertStdAlertOtherButton;
  two.cancelButton = three.cancelButton = kAlertStdAlertCancelButton;
  three.defaultText = Pascal("\2Ja");
  three.cancelText = Pascal("\4Nein");
  using Buttons = std::vector<std::string>;
  const struct {
    const AlertStdAlertParamRec* record;
    std::optional<int> button;
    DialogItemIndex item;
    Buttons buttons;
    int default_button, cancel_button;
  } kCases[] = {// Without a second button there is none to cancel with.
                {&two, {}, 0, {"OK", "Non"}, 1, -1},
                {&two, 1, 3, {"OK", "Non"}, 1, -1},
                {&two, desktop::kAlertClosed, 1, {"OK", "Non"}, 1, -1},
                {&three, 0, 1, {"Ja", "Nein", "Non"}, 2, 1},
                {&three, 2, 3, {"Ja", "Nein", "Non"}, 2, 1},
                {&three, 3, 2, {"Ja", "Nein", "Non"}, 2, 1},
                {&three, desktop::kAlertClosed, 2, {"Ja", "Nein", "Non"}, 2, 1},
                {nullptr, 0, 1, {"OK"}, 0, -1}};
  for (const auto& c : kCases) {
    DialogItemIndex item = 0;
    const auto call = [&](DialogItemIndex* hit) {
      return Answered(c.button, [&] {
        return StandardAlert(kAlertStopAlert, Pascal("\1\xE9"), nullptr, c.record, hit);
      });
    };
    const auto [status, shown] = call(&item);
    EXPECT_EQ(status, c.button ? 0 : userCanceledErr);
    EXPECT_EQ(call(nullptr).first, status);
    EXPECT_EQ(item, c.item);
    EXPECT_EQ(shown.header + shown.message, "\xC3\xA9");
    EXPECT_EQ(shown.buttons, c.buttons);
    EXPECT_EQ(shown.default_button, c.default_button);
    EXPECT_EQ(shown.cancel_button, c.cancel_button);
  }
  using enum desktop::AlertLevel;
  for (const auto& [type, level] :
       {std::pair(0, kStop), {1, kNote}, {2, kCaution}, {3, kPlain}, {4, kPlain}, {-1, kPlain}}) {
    const auto alert = Answered(0, [type = type] {
      return StandardAlert(static_cast<AlertType>(type), nullptr, nullptr, nullptr, nullptr);
    });
    EXPECT_EQ(alert.second.level, level);
  }
}

TEST(Alerts, ANotificationTranslatesTextsAndAnswers) {
  // The second button of a warning does the action that the warning is about.
  for (const bool is_warning : {true, false}) {
    for (const auto& [button, response] : {std::pair(0, 0u), {1, 1u}, {2, 3u}}) {
      CFOptionFlags flags = 99;
      const auto shown = Answered(button, [&] {
                           return CFUserNotificationDisplayAlert(
                               0,
                               is_warning ? kCFUserNotificationCautionAlertLevel
                                          : kCFUserNotificationPlainAlertLevel,
                               nullptr, nullptr, nullptr, nullptr, nullptr, CFSTR(u"Keep"),
                               CFSTR(u"Delete"), nullptr, &flags);
                         }).second;
      EXPECT_EQ(flags, response);
      EXPECT_EQ(shown.buttons, (std::vector<std::string>{"Keep", "Delete"}));
      EXPECT_EQ(shown.cancel_button, is_warning ? 0 : -1);
      EXPECT_EQ(shown.destructive_button, is_warning ? 1 : -1);
    }
  }
  for (const auto& [button, response] :
       {std::pair(std::optional<int>(), 99u), {0, 0u}, {1, 2u}, {desktop::kAlertClosed, 3u}}) {
    CFOptionFlags flags = 99;
    CFOptionFlags* const wanted = button == 0 ? nullptr : &flags;
    const auto [status, shown] = Answered(button, [&] {
      return CFUserNotificationDisplayAlert(2.5, kCFUserNotificationNoteAlertLevel, nullptr,
                                            nullptr, nullptr, CFSTR(u"Caf\u00E9"), CFSTR(u"\xD800"),
                                            nullptr, nullptr, CFSTR(u"Other"), wanted);
    });
    if (button == 0) flags = kCFUserNotificationDefaultResponse;
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
