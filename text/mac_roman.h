// Mac OS Roman, the 8-bit encoding of the platform: the mapping of 1999, with the euro sign at
// 0xDB. Bytes below 0x80 are ASCII.
#pragma once

namespace [[gnu::visibility("default")]] orvik {

char16_t UnitOfMacRoman(unsigned char byte);
// -1 for a unit that Mac OS Roman lacks.
int MacRomanOfUnit(char16_t unit);

}  // namespace orvik
