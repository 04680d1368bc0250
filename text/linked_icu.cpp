// ICU for programs without shared libraries. The part of the static library that holds this file is
// linked only into programs that ask for its symbol: -Wl,-u,orvik_linked_icu. Such a program
// contains all functions that the libraries call, and the data of ICU.
#include <cstring>

#include "text/unicode_library.h"

// Returns the function `name`, or null.
extern "C" void* orvik_linked_icu(const char* name) {
  struct Row {
    const char* name;
    void* function;
  };
#define ORVIK_ROW(function) {ORVIK_TEXT_OF(function), reinterpret_cast<void*>(&::function)},
  static const Row kRows[] = {ORVIK_ICU_FUNCTIONS(ORVIK_ROW, ORVIK_ROW)};
  for (const Row& row : kRows) {
    if (std::strcmp(row.name, name) == 0) return row.function;
  }
  return nullptr;
}
