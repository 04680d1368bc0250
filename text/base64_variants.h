// The variants of the Base64 codec, which all give the same result. For base64_codec.cpp and tests.
#pragma once

#include <cstddef>

namespace orvik::base64 {

bool IsInAlphabet(char character);

// Encodes complete groups: three bytes in, four characters out.
void EncodePortable(const unsigned char* input, std::size_t groups, char* output);

// Decodes groups of four characters until a bad one, and moves `output` past what was produced: at
// most three bytes a group. False when there was a bad one.
bool DecodePortable(const char* input, std::size_t groups, unsigned char*& output);

// The same, 32 characters a step. To be called only on a processor that has AVX2.
bool HasAvx2();
void EncodeAvx2(const unsigned char* input, std::size_t groups, char* output);
bool DecodeAvx2(const char* input, std::size_t groups, unsigned char*& output);

}  // namespace orvik::base64
