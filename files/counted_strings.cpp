#include "files/counted_strings.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "strings/uca.h"

namespace orvik {
namespace {

constexpr std::size_t kLengthSize = sizeof(std::uint32_t);

BSTR New(const void* source, int bytes) {
  if (bytes < 0) return nullptr;
  const auto length = static_cast<std::uint32_t>(bytes);
  auto* block = new char[length + kLengthSize + sizeof(char16_t)]();
  std::memcpy(block, &length, kLengthSize);
  if (source != nullptr) std::memcpy(block + kLengthSize, source, length);
  return reinterpret_cast<BSTR>(block + kLengthSize);
}

char* BlockOf(BSTR string) {
  return reinterpret_cast<char*>(string) - kLengthSize;
}

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

BSTR SysAllocStringLen(const char16_t* source, int n) {
  return n < 0 || n > INT_MAX / 2 ? nullptr : New(source, 2 * n);
}

BSTR SysAllocString(const char16_t* source) {
  return source == nullptr ? nullptr : SysAllocStringLen(source, ucalen(source));
}

BSTR SysAllocStringByteLen(const char* source, int n) {
  return New(source, n);
}

BOOL SysReAllocString(BSTR* string, const char16_t* source) {
  if (string == nullptr) return FALSE;
  SysFreeString(std::exchange(*string, SysAllocString(source)));
  return TRUE;
}

BOOL SysReAllocStringLen(BSTR* string, const char16_t* source, int n) {
  if (string == nullptr) return FALSE;
  SysFreeString(std::exchange(*string, SysAllocStringLen(source, n)));
  return TRUE;
}

void SysFreeString(BSTR string) {
  if (string != nullptr) delete[] BlockOf(string);
}

int SysStringLen(BSTR string) {
  return SysStringByteLen(string) / 2;
}

int SysStringByteLen(BSTR string) {
  if (string == nullptr) return 0;
  std::uint32_t length;
  std::memcpy(&length, BlockOf(string), kLengthSize);
  return static_cast<int>(length);
}

int CToPStr(unsigned char* target, const char* source) {
  return ToPascal(target, source);
}

int WideToPStr(unsigned char* target, const char16_t* source) {
  return ToPascal(target, source);
}

}  // namespace orvik
