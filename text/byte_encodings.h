// Bytes as ASCII text: Base64 (RFC 4648, section 4: the standard alphabet, "=" padding) and
// percent-encoding (RFC 3986, section 2.1).
//
// The Base64 codec uses the widest vector instructions of the processor. Lengths are in bytes and
// in characters. The codec writes no line breaks. The functions keep no state, and only those that
// return a string allocate memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// The number of characters that encode so many bytes, with the padding. Correct below 2^63 bytes.
constexpr std::uint64_t Base64Length(std::uint64_t bytes) {
  return (bytes + 2) / 3 * 4;
}

// Writes Base64Length(length) characters, the padding included, without a terminator.
void EncodeBase64(const void* bytes, size_t length, char* text);
// The same, but returns a new string.
std::string EncodedBase64(std::string_view bytes);

// Decodes `groups` groups of four characters, up to the first bad group, and moves `bytes` behind
// the bytes that it has written: at most three for each group. Padding ends its own group only.
// False when it found a bad group.
bool DecodeBase64(const char* text, size_t groups, unsigned char*& bytes);

// The position where the text breaks the rules of RFC 4648: a character outside the alphabet,
// missing or misplaced padding, or bits that belong to no byte. Nothing for a valid text.
std::optional<std::size_t> Base64Fault(std::string_view text);

// Decodes up to the first "=". Characters outside the alphabet are skipped, and a last group of two
// or three characters needs no padding. Nothing when a single character is left over.
std::optional<std::string> DecodeLooseBase64(std::string_view text);

// Letters, digits and the bytes of `kept` stay; every other byte becomes "%" and two upper-case
// digits.
std::string PercentEncoded(std::string_view bytes, std::string_view kept);
}  // namespace orvik

namespace orvik::base64 {

// The variants of the Base64 codec, which all give the same result. For the codec and tests.

bool IsInAlphabet(char character);

// Encodes complete groups: three bytes in, four characters out.
void EncodePortable(const unsigned char* input, std::size_t groups, char* output);

// Decodes `groups` groups of four characters, up to the first bad group, and moves `output` behind
// the bytes that it has written: at most three for each group. False when it found a bad group.
bool DecodePortable(const char* input, std::size_t groups, unsigned char*& output);

// The same, 32 characters a step. Call these only on a processor that has AVX2.
#if defined(__x86_64__)
bool HasAvx2();
void EncodeAvx2(const unsigned char* input, std::size_t groups, char* output);
bool DecodeAvx2(const char* input, std::size_t groups, unsigned char*& output);
#else
constexpr bool HasAvx2() {
  return false;
}
inline constexpr auto EncodeAvx2 = EncodePortable;
inline constexpr auto DecodeAvx2 = DecodePortable;
#endif

}  // namespace orvik::base64
