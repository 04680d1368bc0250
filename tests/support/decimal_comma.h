// A locale of the C library with a decimal comma, as in German.
#pragma once

#include <clocale>

#include "tests/support/test_environment.h"

namespace orvik::test {

// During its life, printf and strtod of this process use a decimal comma. It writes a locale file
// for glibc, because build machines seldom have such a locale. Has no effect if glibc cannot read
// the file.
class DecimalComma {
 public:
  DecimalComma() {
    // The magic number of LC_NUMERIC, the number of fields and their offsets: the decimal point,
    // the thousands separator, the group sizes, the first two as wide characters, the encoding.
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
