// The standard alert.
//
// Functions return a status: 0, or one of errno_status.h.
#pragma once

#include "platform/core_foundation/base.h"

namespace [[gnu::visibility("default")]] orvik {

using AlertType = SInt16;
inline constexpr AlertType kAlertStopAlert = 0;
inline constexpr AlertType kAlertNoteAlert = 1;
inline constexpr AlertType kAlertCautionAlert = 2;
inline constexpr AlertType kAlertPlainAlert = 3;

using DialogItemIndex = SInt16;
inline constexpr SInt16 kAlertStdAlertOKButton = 1;      // the first button
inline constexpr SInt16 kAlertStdAlertCancelButton = 2;  // the second
inline constexpr SInt16 kAlertStdAlertOtherButton = 3;   // the third

inline constexpr UInt16 kWindowDefaultPosition = 0;

// A length byte, followed by that many bytes of ISO 8859-1.
using ConstStr255Param = const unsigned char*;

struct AlertStdAlertParamRec {
  Boolean movable = 0;
  Boolean helpButton = 0;
  void* filterProc = nullptr;
  ConstStr255Param defaultText = nullptr;  // first button; null is "OK"
  ConstStr255Param cancelText = nullptr;   // null: no second button
  ConstStr255Param otherText = nullptr;    // null: no third button
  SInt16 defaultButton = kAlertStdAlertOKButton;
  SInt16 cancelButton = 0;
  UInt16 position = kWindowDefaultPosition;
};

// Shows the alert and blocks the calling thread until the user answers. `*item_hit` (may be null)
// receives the button that was pressed. Closing the window counts as the cancel button, or as the
// first button of an alert without a cancel button. desktop/alert.h says where alerts appear.
// Returns -128 (userCanceledErr) when the alert cannot be shown. `error` is the headline,
// `explanation` the text under it; both may be null. With a null `param` the alert has one button
// "OK". Help button, filter and position are not used.
OSErr StandardAlert(AlertType type, ConstStr255Param error, ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param, DialogItemIndex* item_hit);

}  // namespace orvik
