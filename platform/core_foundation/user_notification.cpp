#include "platform/core_foundation/user_notification.h"

#include <string>

#include "desktop/alert.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

std::string Utf8(CFStringRef text) {
  return text == nullptr ? std::string() : text->ToUtf8();
}

}  // namespace

SInt32 CFUserNotificationDisplayAlert(CFTimeInterval timeout, CFOptionFlags flags,
                                      CFURLRef /*icon*/, CFURLRef /*sound*/,
                                      CFURLRef /*localization*/, CFStringRef header,
                                      CFStringRef message, CFStringRef default_title,
                                      CFStringRef alternate_title, CFStringRef other_title,
                                      CFOptionFlags* response) {
  desktop::AlertRequest request{.level = static_cast<desktop::AlertLevel>(flags & 3),
                                .header = Utf8(header),
                                .message = Utf8(message),
                                .buttons = {default_title != nullptr ? Utf8(default_title) : "OK"},
                                .timeout = timeout};
  // The response for each button of the request.
  std::vector<CFOptionFlags> responses{kCFUserNotificationDefaultResponse};
  if (alternate_title != nullptr) {
    request.buttons.push_back(Utf8(alternate_title));
    responses.push_back(kCFUserNotificationAlternateResponse);
    if (request.level == desktop::AlertLevel::kCaution) {
      request.cancel_button = 0;
      request.destructive_button = 1;
    }
  }
  if (other_title != nullptr) {
    request.buttons.push_back(Utf8(other_title));
    responses.push_back(kCFUserNotificationOtherResponse);
  }
  const std::optional<int> answer = desktop::ShowAlert(request);
  if (!answer) return userCanceledErr;
  if (response != nullptr) {
    const bool pressed = *answer >= 0 && *answer < static_cast<int>(responses.size());
    *response =
        pressed ? responses[static_cast<std::size_t>(*answer)] : kCFUserNotificationCancelResponse;
  }
  return noErr;
}

}  // namespace orvik
