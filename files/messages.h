// Message boxes and error texts.
#pragma once

#include <cstddef>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Fields of the type of a message box.
inline constexpr unsigned MB_OK = 0x0;
inline constexpr unsigned MB_OKCANCEL = 0x1;
inline constexpr unsigned MB_ABORTRETRYIGNORE = 0x2;
inline constexpr unsigned MB_YESNOCANCEL = 0x3;
inline constexpr unsigned MB_YESNO = 0x4;
inline constexpr unsigned MB_RETRYCANCEL = 0x5;
inline constexpr unsigned MB_ICONSTOP = 0x10;
inline constexpr unsigned MB_ICONQUESTION = 0x20;
inline constexpr unsigned MB_ICONEXCLAMATION = 0x30;
inline constexpr unsigned MB_ICONINFORMATION = 0x40;
inline constexpr unsigned MB_DEFBUTTON2 = 0x100;
inline constexpr unsigned MB_DEFBUTTON3 = 0x200;

// Answers of a message box.
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDABORT = 3;
inline constexpr int IDRETRY = 4;
inline constexpr int IDIGNORE = 5;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;

// Copies the text of an error number (0xF021..0xF025; "Unknown error" for others) into a buffer of
// `buffer_length` units, cut to fit and terminated, and returns the number of units copied. Nothing
// is written when the length is below 1 or the buffer is null.
int AfxLoadString(unsigned number, char16_t* buffer, int buffer_length);

// Shows a message and waits for the answer: one of the ID values; 0 when no alert can be shown. The
// message keeps the low byte of each unit and at most 255 of them; null shows "None". An unknown
// button set shows "OK" and gives 0, because that does not answer the question.
int AfxMessageBox(const char16_t* message, unsigned type = MB_OK, unsigned help_id = 0);

// The same with the text of an error number as the message.
int AfxMessageBox(unsigned number, unsigned type = MB_OK, unsigned help_id = 0);
// Makes a plain 0 a number, not a null message.
inline int AfxMessageBox(int number, unsigned type = MB_OK, unsigned help_id = 0) {
  return AfxMessageBox(static_cast<unsigned>(number), type, help_id);
}

// Whether the pointer is not null; the other arguments are ignored.
inline BOOL AtlIsValidAddress(const void* pointer, std::size_t, BOOL = TRUE) {
  return pointer != nullptr;
}
inline BOOL AfxIsValidAddress(const void* pointer, std::size_t size, BOOL writable = TRUE) {
  return AtlIsValidAddress(pointer, size, writable);
}

// Does nothing on this platform. The format may be a text of any kind, also a platform string; it
// and the arguments are ignored.
template <class Format, class... Arguments>
void ATLTRACE(const Format&, const Arguments&...) {}

// Always null.
inline void* AfxGetStaticModuleState() {
  return nullptr;
}

}  // namespace orvik
