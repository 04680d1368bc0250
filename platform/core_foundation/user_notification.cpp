#include "platform/core_foundation/user_notification.h"

#include <string>

#include "desktop/alert.h"
#include "platform/core_foundation/errno_status.h"

namespace orvik {
namespace {

std::string Utf8(CFStringRef text) {
  if (text == nullptr) return {};
  const CFRange all = CFRangeMake(0, CFStringGetLength(text));
  CFIndex size = 0;
  CFStringGetBytes(text, all, kCFStringEncodingUTF8, '?', 0, nullptr, 0, &size);
  std::string utf8(static_cast<std::size_t>(size), '\0');
  CFStringGetBytes(text, all, kCFStringEncodingUTF8, '?', 0, reinterpret_cast<UInt8*>(utf8.data()),
                   size, &size);
  return utf8;
}

desktop::AlertLevel LevelOf(CFOptionFlags flags) {
  switch (flags & 3) {
    case kCFUserNotificationStopAlertLevel:
      return desktop::AlertLevel::kStop;
    case kCFUserNotificationNoteAlertLevel:
      return desktop::AlertLevel::kNote;
    case kCFUserNotificationCautionAlertLevel:
      return desktop::AlertLevel::kCaution;
    default:
      return desktop::AlertLevel::kPlain;
  }
}

}  // namespace

SInt32 CFUserNotificationDisplayAlert(CFTimeInterval timeout, CFOptionFlags flags,
                                      CFURLRef /*icon*/, CFURLRef /*sound*/,
                                      CFURLRef /*localization*/, CFStringRef header,
                                      CFStringRef message, CFStringRef default_title,
                                      CFStringRef alternate_title, CFStringRef other_title,
                                      CFOptionFlags* response) {
  desktop::AlertRequest request{.level = LevelOf(flags),
                                .header = Utf8(header),
                                .message = Utf8(message),
                                .buttons = {default_title != nullptr ? Utf8(default_title) : "OK"},
                                .default_button = 0,
                                .cancel_button = -1,
                                .destructive_button = -1,
                                .timeout = timeout};
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
