#include "platform/carbon/alerts.h"

#include <gtest/gtest.h>

#include "desktop/alert.h"
#include "platform/core_foundation/user_notification.h"

namespace orvik {
namespace {

class AlertsTest : public testing::Test {
 protected:
  desktop::AlertRequest shown_;
  std::optional<int> button_;
  const desktop::ScopedAlertAnswer answer_{[this](const desktop::AlertRequest& request) {
    shown_ = request;
    return button_;
  }};
};

TEST_F(AlertsTest, TranslatesTheRecordAndTheAnswer) {
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
  EXPECT_EQ(shown_.level, desktop::AlertLevel::kStop);
  EXPECT_EQ(shown_.header, "\xC3\xA9");
  EXPECT_EQ(shown_.message, "");
  EXPECT_EQ(shown_.buttons, (std::vector<std::string>{"OK", "Non"}));
  EXPECT_EQ(shown_.default_button, 1);
  button_ = 1;
  EXPECT_EQ(show(), kAlertStdAlertOtherButton);
  button_ = desktop::kAlertClosed;
  EXPECT_EQ(show(), kAlertStdAlertOKButton);  // there is no second button to cancel with
  record.cancelText = reinterpret_cast<ConstStr255Param>("\2No");
  EXPECT_EQ(show(), kAlertStdAlertCancelButton);

  button_ = 0;
  EXPECT_EQ(StandardAlert(kAlertPlainAlert, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(shown_.buttons, std::vector<std::string>{"OK"});
}

TEST_F(AlertsTest, ANotificationTranslatesTextsAndAnswers) {
  const CFStringRef header = CFSTR(u"Caf\u00E9"), message = CFSTR(u"\U0001F600\xD800");
  const CFStringRef other = CFSTR(u"Other");
  const auto show = [&](CFStringRef other_title) {
    CFOptionFlags response = 99;
    const SInt32 status = CFUserNotificationDisplayAlert(2.5, kCFUserNotificationNoteAlertLevel,
                                                         nullptr, nullptr, nullptr, header, message,
                                                         nullptr, nullptr, other_title, &response);
    EXPECT_EQ(status != 0, response == 99);
    return response;
  };
  EXPECT_EQ(show(nullptr), 99u);  // nobody could be asked
  EXPECT_EQ(shown_.level, desktop::AlertLevel::kNote);
  EXPECT_EQ(shown_.header, "Caf\xC3\xA9");
  EXPECT_EQ(shown_.message, "\xF0\x9F\x98\x80?");
  EXPECT_EQ(shown_.buttons, std::vector<std::string>{"OK"});
  EXPECT_EQ(shown_.timeout, 2.5);
  button_ = 0;
  EXPECT_EQ(show(nullptr), kCFUserNotificationDefaultResponse);
  button_ = 1;
  EXPECT_EQ(show(other), kCFUserNotificationOtherResponse);
  button_ = desktop::kAlertClosed;
  EXPECT_EQ(show(other), kCFUserNotificationCancelResponse);
}

}  // namespace
}  // namespace orvik
