#include "platform/carbon/alerts.h"

#include <algorithm>
#include <string>

#include "desktop/alert.h"
#include "platform/core_foundation/errno_status.h"
#include "text/transcoding.h"

namespace orvik {
namespace {

// ISO 8859-1 is the first 256 characters of Unicode.
std::string Utf8FromPascal(ConstStr255Param text) {
  std::string utf8;
  if (text == nullptr) return utf8;
  for (int i = 1; i <= text[0]; ++i) AppendCharacter(utf8, text[i]);
  return utf8;
}

desktop::AlertLevel LevelOf(AlertType type) {
  const bool is_known = type >= kAlertStopAlert && type < kAlertPlainAlert;
  return is_known ? static_cast<desktop::AlertLevel>(type) : desktop::AlertLevel::kPlain;
}

}  // namespace

OSErr StandardAlert(AlertType type, ConstStr255Param error, ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param, DialogItemIndex* item_hit) {
  const AlertStdAlertParamRec standard;
  const AlertStdAlertParamRec& record = param != nullptr ? *param : standard;
  desktop::AlertRequest request{.level = LevelOf(type),
                                .header = Utf8FromPascal(error),
                                .message = Utf8FromPascal(explanation),
                                .buttons = {}};
  // The item of each button of the request, in which no index is unused.
  std::vector<DialogItemIndex> items;
  const auto add = [&](DialogItemIndex item, std::string label) {
    if (item == record.defaultButton) request.default_button = static_cast<int>(items.size());
    if (item == record.cancelButton) request.cancel_button = static_cast<int>(items.size());
    items.push_back(item);
    request.buttons.push_back(std::move(label));
  };
  add(kAlertStdAlertOKButton,
      record.defaultText != nullptr ? Utf8FromPascal(record.defaultText) : "OK");
  if (record.cancelText != nullptr) {
    add(kAlertStdAlertCancelButton, Utf8FromPascal(record.cancelText));
  }
  if (record.otherText != nullptr) add(kAlertStdAlertOtherButton, Utf8FromPascal(record.otherText));

  const std::optional<int> answer = desktop::ShowAlert(request);
  if (!answer) return userCanceledErr;
  if (item_hit == nullptr) return noErr;
  if (*answer >= 0 && *answer < static_cast<int>(items.size())) {
    *item_hit = items[static_cast<std::size_t>(*answer)];
  } else {
    const bool can_cancel =
        std::find(items.begin(), items.end(), record.cancelButton) != items.end();
    *item_hit = can_cancel ? record.cancelButton : kAlertStdAlertOKButton;
  }
  return noErr;
}

}  // namespace orvik
