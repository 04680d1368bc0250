#include "files/pascal_strings.h"

#include <cstddef>

namespace orvik {

namespace {

constexpr std::size_t kLongest = 255;

template <class Unit>
int ToPascal(unsigned char* target, const Unit* source) {
  std::size_t length = 0;
  if (source != nullptr) {
    for (; length < kLongest && source[length] != 0; ++length) {
      target[length + 1] = static_cast<unsigned char>(source[length]);
    }
  }
  target[0] = static_cast<unsigned char>(length);
  return static_cast<int>(length);
}

}  // namespace

int CToPStr(unsigned char* target, const char* source) {
  return ToPascal(target, source);
}

int WideToPStr(unsigned char* target, const char16_t* source) {
  return ToPascal(target, source);
}

}  // namespace orvik
