#include "platform/carbon/alerts.h"

#include <gtest/gtest.h>

#include "host/alert_host.h"
#include "platform/core_foundation/user_notification.h"

namespace orvik {
namespace {

TEST(Alerts, TranslatesTheRecordAndTheAnswer) {
  host::AlertRequest shown;
  std::optional<int> button;
  const host::ScopedAlertAnswer answer([&](const host::AlertRequest& request) {
    shown = request;
    return button;
  });
  AlertStdAlertParamRec record;
  record.otherText = reinterpret_cast<ConstStr255Param>("\3Non");
  record.defaultButton = kAlertStdAlertOtherButton;
  record.cancelButton = kAlertStdAlertCancelButton;
  const auto show = [&] {
    DialogItemIndex hit = 0;
    const OSErr status = StandardAlert(
        kAlertStopAlert, reinterpret_cast<ConstStr255Param>("\1\xE9"), nullptr, &record, &hit);
    EXPECT_EQ(status != 0, hit == 0);
    return hit;
  };
  EXPECT_EQ(show(), 0);  // nobody could be asked
  EXPECT_EQ(shown.level, host::AlertLevel::kStop);
  EXPECT_EQ(shown.header, "\xC3\xA9");
  EXPECT_EQ(shown.message, "");
  EXPECT_EQ(shown.buttons, (std::vector<std::string>{"OK", "Non"}));
  EXPECT_EQ(shown.default_button, 1);
  button = 1;
  EXPECT_EQ(show(), kAlertStdAlertOtherButton);
  button = host::kAlertClosed;
  EXPECT_EQ(show(), kAlertStdAlertOKButton);  // there is no second button to cancel with
  record.cancelText = reinterpret_cast<ConstStr255Param>("\2No");
  EXPECT_EQ(show(), kAlertStdAlertCancelButton);

  button = 0;
  EXPECT_EQ(StandardAlert(kAlertPlainAlert, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(shown.buttons, std::vector<std::string>{"OK"});
}

CFStringRef Make(std::u16string_view text) {
  return CFStringCreateWithCharacters(kCFAllocatorDefault, text.data(),
                                      static_cast<CFIndex>(text.size()));
}

TEST(UserNotification, TranslatesTextsAndAnswers) {
  host::AlertRequest shown;
  std::optional<int> button;
  const host::ScopedAlertAnswer answer([&](const host::AlertRequest& request) {
    shown = request;
    return button;
  });
  const CFStringRef header = Make(u"Caf\u00E9");
  const CFStringRef message = Make(u"\U0001F600\xD800");
  const CFStringRef other = Make(u"Other");
  const auto show = [&](CFStringRef other_title) {
    CFOptionFlags response = 99;
    const SInt32 status = CFUserNotificationDisplayAlert(2.5, kCFUserNotificationNoteAlertLevel,
                                                         nullptr, nullptr, nullptr, header, message,
                                                         nullptr, nullptr, other_title, &response);
    EXPECT_EQ(status != 0, response == 99);
    return response;
  };
  EXPECT_EQ(show(nullptr), 99u);  // nobody could be asked
  EXPECT_EQ(shown.level, host::AlertLevel::kNote);
  EXPECT_EQ(shown.header, "Caf\xC3\xA9");
  EXPECT_EQ(shown.message, "\xF0\x9F\x98\x80?");
  EXPECT_EQ(shown.buttons, std::vector<std::string>{"OK"});
  EXPECT_EQ(shown.timeout, 2.5);
  button = 0;
  EXPECT_EQ(show(nullptr), kCFUserNotificationDefaultResponse);
  button = 1;
  EXPECT_EQ(show(other), kCFUserNotificationOtherResponse);
  button = host::kAlertClosed;
  EXPECT_EQ(show(other), kCFUserNotificationCancelResponse);
  CFRelease(header);
  CFRelease(message);
  CFRelease(other);
}

}  // namespace
}  // namespace orvik
