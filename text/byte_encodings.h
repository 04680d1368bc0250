// Bytes as ASCII text: Base64 (RFC 4648, section 4: the standard alphabet, "=" padding) and
// percent-encoding (RFC 3986, section 2.1).
//
// The Base64 codec uses the widest vector instructions of the processor. Lengths are bytes and
// characters. No line breaks are written. Nothing here keeps state, and nothing but the functions
// that make a string allocates.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] orvik {

// The characters that so many bytes take, padding included. Any number below 2^63 is right.
constexpr std::uint64_t Base64Length(std::uint64_t bytes) {
  return (bytes + 2) / 3 * 4;
}

// Writes Base64Length(length) characters, the padding included, without a terminator.
void EncodeBase64(const void* bytes, size_t length, char* text);
// The same as a new string.
std::string EncodedBase64(std::string_view bytes);

// Decodes groups of four characters up to a bad one, and moves `bytes` behind what was produced: at
// most three bytes a group. Padding ends its group only. False when there was a bad group.
bool DecodeBase64(const char* text, size_t groups, unsigned char*& bytes);

// Where a text breaks the rules of RFC 4648: a character outside the alphabet, missing or misplaced
// padding, or bits that no byte takes. Nothing for a text that keeps them.
std::optional<std::size_t> Base64Fault(std::string_view text);

// Decodes up to the first "=". Characters outside the alphabet are skipped, and a last group of two
// or three characters need not be padded. Empty when one character is left over.
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

// Decodes groups of four characters until a bad one, and moves `output` past what was produced: at
// most three bytes a group. False when there was a bad one.
bool DecodePortable(const char* input, std::size_t groups, unsigned char*& output);

// The same, 32 characters a step. To be called only on a processor that has AVX2.
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
