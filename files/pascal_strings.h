// Pascal strings: a length byte and at most 255 bytes, without terminator.
#pragma once

namespace [[gnu::visibility("default")]] orvik {

// Makes a Pascal string of the text (null is empty text), of a unit the low byte; the target has
// room for 256 bytes. What is longer than 255 is cut. Returns the length.
int CToPStr(unsigned char* target, const char* source);
int WideToPStr(unsigned char* target, const char16_t* source);

}  // namespace orvik
