#include "platform/carbon/alerts.h"

#include <gtest/gtest.h>

#include "host/alert_host.h"

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

}  // namespace
}  // namespace orvik
