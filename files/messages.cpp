#include "files/messages.h"

#include <iterator>
#include <string_view>

#include "files/counted_strings.h"
#include "platform/carbon/alerts.h"

namespace orvik {
namespace {

// The texts of the numbers from 0xF021.
constexpr std::u16string_view kErrorTexts[] = {u"Operation not supported", u"Resource not found",
                                               u"Out of memory", u"User cannot perform operation",
                                               u"Invalid argument"};

std::u16string_view ErrorText(unsigned number) {
  const unsigned index = number - 0xF021;
  return index < std::size(kErrorTexts) ? kErrorTexts[index] : u"Unknown error";
}

// Pascal strings: each begins with its length.
constexpr unsigned char kAlertTitle[] = "\5Alert";
constexpr unsigned char kOk[] = "\2OK";
constexpr unsigned char kCancel[] = "\6Cancel";
constexpr unsigned char kYes[] = "\3Yes";
constexpr unsigned char kNo[] = "\2No";
constexpr unsigned char kAbort[] = "\5Abort";
constexpr unsigned char kRetry[] = "\5Retry";
constexpr unsigned char kIgnore[] = "\6Ignore";

struct ButtonSet {
  const unsigned char* labels[3];
  int results[3];
};
constexpr ButtonSet kButtonSets[] = {
    {{kOk, nullptr, nullptr}, {IDOK, 0, 0}},
    {{kOk, kCancel, nullptr}, {IDOK, IDCANCEL, 0}},
    {{kAbort, kRetry, kIgnore}, {IDABORT, IDRETRY, IDIGNORE}},
    {{kYes, kNo, kCancel}, {IDYES, IDNO, IDCANCEL}},
    {{kYes, kNo, nullptr}, {IDYES, IDNO, 0}},
    {{kRetry, kCancel, nullptr}, {IDRETRY, IDCANCEL, 0}},
};
constexpr ButtonSet kUnknownSet = {{kOk, nullptr, nullptr}, {0, 0, 0}};

AlertType AlertOf(unsigned type) {
  if ((type & 0x30) == 0x30) return kAlertCautionAlert;
  if ((type & 0x60) != 0) return kAlertNoteAlert;
  if ((type & 0x10) != 0) return kAlertStopAlert;
  return kAlertPlainAlert;
}

SInt16 DefaultButtonOf(unsigned type) {
  if ((type & MB_DEFBUTTON2) != 0) return kAlertStdAlertCancelButton;
  if ((type & MB_DEFBUTTON3) != 0) return kAlertStdAlertOtherButton;
  return kAlertStdAlertOKButton;
}

}  // namespace

int AfxLoadString(unsigned number, char16_t* buffer, int buffer_length) {
  if (buffer == nullptr || buffer_length < 1) return 0;
  const std::u16string_view text =
      ErrorText(number).substr(0, static_cast<std::size_t>(buffer_length) - 1);
  buffer[text.copy(buffer, text.size())] = u'\0';
  return static_cast<int>(text.size());
}

int AfxMessageBox(const char16_t* message, unsigned type, unsigned /*help_id*/) {
  unsigned char text[256];
  WideToPStr(text, message != nullptr ? message : u"None");

  const unsigned set_number = type & 0x0F;
  const ButtonSet& set =
      set_number < std::size(kButtonSets) ? kButtonSets[set_number] : kUnknownSet;
  AlertStdAlertParamRec record;
  record.defaultText = set.labels[0];
  record.cancelText = set.labels[1];
  record.otherText = set.labels[2];
  record.defaultButton = DefaultButtonOf(type);
  record.cancelButton = kAlertStdAlertCancelButton;
  DialogItemIndex pressed = 0;
  if (StandardAlert(AlertOf(type), kAlertTitle, text, &record, &pressed) != 0) return 0;
  if (pressed < kAlertStdAlertOKButton || pressed > kAlertStdAlertOtherButton) return 0;
  return set.results[pressed - kAlertStdAlertOKButton];
}

int AfxMessageBox(unsigned number, unsigned type, unsigned help_id) {
  char16_t text[255];
  AfxLoadString(number, text, static_cast<int>(std::size(text)));
  return AfxMessageBox(text, type, help_id);
}

}  // namespace orvik
