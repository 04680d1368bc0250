// Numbers of the C library with a comma, as in German.
#pragma once

#include <clocale>

#include "tests/support/test_environment.h"

namespace orvik::test {

// While it lives, printf and strtod of this process have a decimal comma, if glibc still reads the
// file of a locale that is written here: builders seldom have one with a comma.
class DecimalComma {
 public:
  DecimalComma() {
    // The magic number of numbers, six fields and where they lie: the decimal point, the separator
    // of thousands, the size of groups, the first two as wide characters, the encoding.
    const std::uint32_t head[] = {0x20031114, 6, 32, 34, 36, 40, 44, 48};
    const std::uint32_t wide[] = {',', 0};
    const auto bytes = [](const auto& words) {
      return std::string(reinterpret_cast<const char*>(words), sizeof words);
    };
    WriteFile(
        env_.folder() / "comma" / "LC_NUMERIC",
        bytes(head) + std::string(",\0\0\0\0\0\0\0", 8) + bytes(wide) + std::string("UTF-8\0", 6));
    setlocale(LC_NUMERIC, "comma");
  }
  ~DecimalComma() { setlocale(LC_NUMERIC, old_.c_str()); }
  DecimalComma(const DecimalComma&) = delete;
  DecimalComma& operator=(const DecimalComma&) = delete;

  bool is_there() const { return localeconv()->decimal_point == std::string(","); }

 private:
  const ScopedEnvironment env_;
  const ScopedVariable folder_{"LOCPATH", env_.folder().string()};
  const std::string old_ = setlocale(LC_NUMERIC, nullptr);
};

}  // namespace orvik::test
