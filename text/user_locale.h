// The user's locale, from the environment.
//
// Every call reads the environment, so a program may change it; setlocale has no effect. Several
// threads may call these functions at once as long as no thread changes the environment.
#pragma once

#include <clocale>

namespace [[gnu::visibility("default")]] orvik {

// The category whose variable is read after LC_ALL and before LANG.
enum class LocaleCategory { kCharacters, kCollation, kTime };  // LC_CTYPE, LC_COLLATE, LC_TIME

// The first of LC_ALL, the category's variable and LANG that is set and not empty, without its
// encoding ("tr_TR.UTF-8" is tr_TR); "", the root locale, for "C" and "POSIX" and when none is set.
// The text lives as long as the program; equal identifiers are one pointer. The call is cheap
// enough for every comparison.
const char* CurrentLocaleIdentifier(LocaleCategory category);

// The "C" locale of the C library, in which numbers have a decimal point. setlocale does not change
// it.
locale_t PlainLocale();

// The number at the start of the text as strtod reads it in PlainLocale; 0 when there is none.
double RealAtStart(const char* text);

}  // namespace orvik
