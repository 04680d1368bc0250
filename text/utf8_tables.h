// The tables by which UTF-8 is validated with vectors.
//
// They say what can be wrong with two bytes in a row. Each of three tables says what one half of a
// byte still allows: the upper and the lower half of the first byte, and the upper half of the
// second. What all three allow is wrong.
#pragma once

#include <cstddef>

namespace orvik::transcoding {

inline constexpr unsigned char kTooShort = 1 << 0;   // a first byte without what must follow
inline constexpr unsigned char kTooLong = 1 << 1;    // ASCII, and a continuation
inline constexpr unsigned char kOverlong3 = 1 << 2;  // E0 80..9F
inline constexpr unsigned char kTooLarge = 1 << 3;   // F4 90..BF, F5..FF 90..BF
inline constexpr unsigned char kSurrogate = 1 << 4;  // ED A0..BF
inline constexpr unsigned char kOverlong2 = 1 << 5;  // C0, C1
inline constexpr unsigned char kOverlong4 =
    1 << 6;  // F0 80..8F, and F5..FF 80..8F, which is too large
inline constexpr unsigned char kTwoFollow = 1 << 7;  // two continuations: wrong where none is due
inline constexpr unsigned char kAnyLower = kTooShort | kTooLong | kTwoFollow;
inline constexpr unsigned char kAbove4 = kAnyLower | kTooLarge | kOverlong4;
inline constexpr unsigned char kContinues = kTooLong | kOverlong2 | kTwoFollow;

inline constexpr unsigned char kFirstUpper[16] = {kTooLong,
                                                  kTooLong,
                                                  kTooLong,
                                                  kTooLong,
                                                  kTooLong,
                                                  kTooLong,
                                                  kTooLong,
                                                  kTooLong,
                                                  kTwoFollow,
                                                  kTwoFollow,
                                                  kTwoFollow,
                                                  kTwoFollow,
                                                  kTooShort | kOverlong2,
                                                  kTooShort,
                                                  kTooShort | kOverlong3 | kSurrogate,
                                                  kTooShort | kTooLarge | kOverlong4};
inline constexpr unsigned char kFirstLower[16] = {kAnyLower | kOverlong2 | kOverlong3 | kOverlong4,
                                                  kAnyLower | kOverlong2,
                                                  kAnyLower,
                                                  kAnyLower,
                                                  kAnyLower | kTooLarge,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4,
                                                  kAbove4 | kSurrogate,
                                                  kAbove4,
                                                  kAbove4};
inline constexpr unsigned char kSecondUpper[16] = {kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kContinues | kOverlong3 | kOverlong4,
                                                   kContinues | kOverlong3 | kTooLarge,
                                                   kContinues | kSurrogate | kTooLarge,
                                                   kContinues | kSurrogate | kTooLarge,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort,
                                                   kTooShort};

// How many of the bytes before `s` belong to a character that does not end before it.
inline std::ptrdiff_t BytesOfCutCharacter(const char* start, const char* s) {
  for (std::ptrdiff_t back = 1; back <= 3 && s - start >= back; ++back) {
    const auto byte = static_cast<unsigned char>(s[-back]);
    if (byte < 0x80) return 0;
    if (byte < 0xC0) continue;
    const std::ptrdiff_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    return length > back ? back : 0;
  }
  return 0;
}

}  // namespace orvik::transcoding
