// Base64 (RFC 4648, section 4: the standard alphabet, "=" padding, no line breaks).
//
// encode64 and decode64 return 1 for success and 0 for failure. Decoding takes text without line
// breaks only and never accepts part of it: one bad group of four fails the whole call. If a text
// has line breaks, as in MIME, remove them first:
//
//   std::erase_if(text, [](char c) { return c == '\r' || c == '\n' || c == ' ' || c == '\t'; });
//
// Lengths are bytes. The functions keep no state and may be called from any thread.
//
//   bytes   text        text decoded by groups        bytes
//   Man     TWFu        TQ=x  (x is only checked)      M
//   Ma      TWE=        QQ==QQ==                       AA
//   M       TQ==        TWFu + up to 3 characters      Man
#pragma once

#include "files/file_path.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

namespace [[gnu::visibility("default")]] orvik {

// Writes the encoding without a terminator. If it is longer than `output_room`, returns 0 and
// writes nothing. `output_length` (may be null) receives the encoded length in both cases, modulo
// 2^32; an encoding of 4 GiB or more is always refused.
int encode64(const unsigned char* input, unsigned int input_length, char* output,
             unsigned int output_room, unsigned int* output_length);

// Skips a leading "+ ". `output` must have room for input_length / 4 * 3 bytes. 0 for empty input
// and for a bad group; then `output_length` is not set, but `output` has the bytes of the groups
// before the bad one.
int decode64(const char* input, unsigned int input_length, unsigned char* output,
             unsigned int* output_length);

// `prefix` (may be null) followed by the encoding. Empty when the result is too long for a string
// (2 GiB, which about 1.5 GiB of bytes reach).
CAtlStringA ConvertRawBytesIntoBase64String(const unsigned char* bytes, long length,
                                            const char* prefix);

// The same for the content of a file. E_INVALIDARG when the file does not exist, E_FAIL when the
// text is too long for a string; then `result` does not change. A folder, a device and an
// unreadable file count as empty: S_OK, and `prefix` alone.
HRESULT ConvertBinaryFileToBase64String(const COrvikFilePath& path, CAtlStringA& result,
                                        const char* prefix);

// Decodes into a file, which is created or replaced as a whole; empty input gives an empty file. A
// replaced file keeps the properties listed in host/file_replacement.h. E_INVALIDARG when the file
// cannot be opened or is not a regular file. E_FAIL for a bad group and a failed write: a regular
// file at the path is then removed, but a link stays, and so does its target.
HRESULT decode64ToFile(const COrvikFilePath& path, const char* input, unsigned int input_length);

}  // namespace orvik
