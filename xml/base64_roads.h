// The ways in which groups are encoded and decoded; all give the same result. For base64.cpp and
// tests.
#pragma once

#include <cstddef>

namespace orvik::base64 {

// Encodes complete groups: three bytes in, four characters out.
void EncodePortable(const unsigned char* input, std::size_t groups, char* output);

// Decodes groups of four characters until a bad one, and moves `output` past what was produced: at
// most three bytes a group. False when there was a bad one.
bool DecodePortable(const char* input, std::size_t groups, unsigned char*& output);

// The same, 32 characters a step. Only to be called when the processor has it.
bool HasWideRoad();
void EncodeWide(const unsigned char* input, std::size_t groups, char* output);
bool DecodeWide(const char* input, std::size_t groups, unsigned char*& output);

}  // namespace orvik::base64
