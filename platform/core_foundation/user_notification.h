// Notifications that ask the user.
#pragma once

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"

namespace [[gnu::visibility("default")]] orvik {

using CFTimeInterval = double;

// Levels, in the flags of an alert.
inline constexpr CFOptionFlags kCFUserNotificationStopAlertLevel = 0;
inline constexpr CFOptionFlags kCFUserNotificationNoteAlertLevel = 1;
inline constexpr CFOptionFlags kCFUserNotificationCautionAlertLevel = 2;
inline constexpr CFOptionFlags kCFUserNotificationPlainAlertLevel = 3;

// Answers, in the low two bits of the response.
inline constexpr CFOptionFlags kCFUserNotificationDefaultResponse = 0;
inline constexpr CFOptionFlags kCFUserNotificationAlternateResponse = 1;
inline constexpr CFOptionFlags kCFUserNotificationOtherResponse = 2;
inline constexpr CFOptionFlags kCFUserNotificationCancelResponse = 3;

// Shows an alert, blocks the calling thread until the user answers, and stores the answer in
// `*response` (may be null). Closing the window, and the end of `timeout` seconds (0 waits for
// ever), give the cancel response. Without a default title the default button is "OK"; without an
// alternate or other title there is no such button. Icon, sound and localization are not used. A
// caution alert warns of its alternate button: it shows the default button as the one that changes
// nothing. Returns non-zero, and leaves the response unchanged, when the alert cannot be shown
// (desktop/alert.h says where alerts appear).
SInt32 CFUserNotificationDisplayAlert(CFTimeInterval timeout, CFOptionFlags flags, CFURLRef icon,
                                      CFURLRef sound, CFURLRef localization, CFStringRef header,
                                      CFStringRef message, CFStringRef default_title,
                                      CFStringRef alternate_title, CFStringRef other_title,
                                      CFOptionFlags* response);

}  // namespace orvik
