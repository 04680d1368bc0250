// The user's locale, by the environment.
//
// The environment is read with each call, so that a program may change it; setlocale has no effect.
// Threads may call at once as long as none changes the environment.
#pragma once

#include <clocale>

namespace [[gnu::visibility("default")]] orvik {

// The variable that decides between LC_ALL and LANG.
enum class LocaleCategory { kCharacters, kCollation, kTime };  // LC_CTYPE, LC_COLLATE, LC_TIME

// The first of LC_ALL, the category's variable and LANG that is set and not empty, without its
// encoding ("tr_TR.UTF-8" is tr_TR); "", the root locale, for "C" and "POSIX" and when none is set.
// The text lives as long as the program; equal identifiers are one pointer. The call is cheap
// enough for every comparison.
const char* CurrentLocaleIdentifier(LocaleCategory category);

// The "C" locale of the C library, in which numbers have a point whatever setlocale was given.
locale_t PlainLocale();

// The number at the start of the text as strtod reads it in that locale; 0 when there is none.
double RealAtStart(const char* text);

}  // namespace orvik
