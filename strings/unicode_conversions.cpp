#include "strings/unicode_conversions.h"

#include "text/transcoding.h"

namespace orvik {

namespace {

// The readers advance `at` over one character if they return conversionOK.

// Accepts encoded surrogates, which ConvertOne handles.
ConversionResult Read(const UTF8*& at, const UTF8* end, ConversionFlags, UTF32* value) {
  const int trailing = trailingBytesForUTF8[*at];
  if (end - at <= trailing) return sourceExhausted;
  if (!isLegalUTF8(at, trailing + 1)) return sourceIllegal;
  UTF32 sum = 0;
  for (int i = 0; i < trailing; ++i) sum = (sum + at[i]) << 6;
  sum += at[trailing];
  sum -= offsetsFromUTF8[trailing];
  at += trailing + 1;
  *value = sum;
  return conversionOK;
}

ConversionResult Read(const UTF16*& at, const UTF16* end, ConversionFlags flags, UTF32* value) {
  const UTF16 unit = *at;
  if (IsHighSurrogate(unit)) {
    if (end - at < 2) return sourceExhausted;
    if (IsLowSurrogate(at[1])) {
      *value = FromSurrogates(unit, at[1]);
      at += 2;
      return conversionOK;
    }
  }
  if (IsSurrogate(unit) && flags == strictConversion) return sourceIllegal;
  *value = unit;
  ++at;
  return conversionOK;
}

// The writers advance `at` over the units written; false when the value does not fit.

bool Write(UTF32 value, UTF8*& at, const UTF8* end) {
  const std::size_t length = Utf8Bytes(value);
  if (static_cast<std::size_t>(end - at) < length) return false;
  WriteUtf8(value, at);
  at += length;
  return true;
}

bool Write(UTF32 value, UTF16*& at, const UTF16* end) {
  const std::size_t length = Utf16Units(value);
  if (static_cast<std::size_t>(end - at) < length) return false;
  if (length == 1) {
    *at++ = static_cast<UTF16>(value);
  } else {
    *at++ = HighSurrogate(value);
    *at++ = LowSurrogate(value);
  }
  return true;
}

bool Write(UTF32 value, UTF32*& at, const UTF32* end) {
  if (at == end) return false;
  *at++ = value;
  return true;
}

template <class Source, class Target>
ConversionResult ConvertOne(const Source*& source, const Source* source_end, Target*& target,
                            Target* target_end, ConversionFlags flags) {
  UTF32 value = 0;
  const Source* next = source;
  const ConversionResult result = Read(next, source_end, flags, &value);
  if (result != conversionOK) return result;
  if constexpr (sizeof(Source) == 1) {
    // A full target is reported before an encoded surrogate.
    if (IsSurrogate(value) && target < target_end) {
      if (flags == strictConversion) return sourceIllegal;
      value = kReplacementCharacter;
    }
  }
  if (!Write(value, target, target_end)) return targetExhausted;
  source = next;
  return conversionOK;
}

// The fast loop converts well-formed text; the other characters are converted one by one.
template <class Source, class Target, class Fast>
ConversionResult ConvertFast(const Source** source_start, const Source* source_end,
                             Target** target_start, Target* target_end, ConversionFlags flags,
                             const Fast& fast) {
  for (;;) {
    const TranscodingStop stop = fast(source_start, target_start);
    if (stop == TranscodingStop::kDone) return conversionOK;
    if (stop == TranscodingStop::kTargetFull) return targetExhausted;
    const ConversionResult result =
        ConvertOne(*source_start, source_end, *target_start, target_end, flags);
    if (result != conversionOK) return result;
  }
}

template <class Source, class Target>
ConversionResult ConvertPlainly(const Source** source_start, const Source* source_end,
                                Target** target_start, Target* target_end, ConversionFlags flags) {
  const Source* source = *source_start;
  Target* target = *target_start;
  ConversionResult result = conversionOK;
  while (source < source_end && result == conversionOK) {
    if (*source < 0x80 && target < target_end) {
      *target++ = static_cast<Target>(*source++);
    } else {
      result = ConvertOne(source, source_end, target, target_end, flags);
    }
  }
  *source_start = source;
  *target_start = target;
  return result;
}

}  // namespace

const char trailingBytesForUTF8[256] = {
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
    2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5};

const UTF32 offsetsFromUTF8[6] = {0x00000000, 0x00003080, 0x000E2080,
                                  0x03C82080, 0xFA082080, 0x82082080};

const UTF8 firstByteMark[7] = {0x00, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};

bool isLegalUTF8(const UTF8* bytes, int length) {
  if (length < 1 || length > 4) return false;
  for (int i = 2; i < length; ++i) {
    if (!IsContinuation(static_cast<char>(bytes[i]))) return false;
  }
  const UTF8 first = bytes[0];
  if (length >= 2) {
    const UTF8 lowest = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const UTF8 highest = first == 0xF4 ? 0x8F : 0xBF;
    if (bytes[1] < lowest || bytes[1] > highest) return false;
  }
  return first < 0x80 || (first >= 0xC2 && first <= 0xF4);
}

bool isLegalUTF8Sequence(const UTF8* start, const UTF8* end) {
  if (start >= end) return false;
  const int length = trailingBytesForUTF8[*start] + 1;
  return end - start >= length && isLegalUTF8(start, length);
}

ConversionResult ConvertUTF8toUTF16(const UTF8** source_start, const UTF8* source_end,
                                    UTF16** target_start, UTF16* target_end,
                                    ConversionFlags flags) {
  return ConvertFast(source_start, source_end, target_start, target_end, flags,
                     [&](const UTF8** source, UTF16** target) {
                       const char* bytes = reinterpret_cast<const char*>(*source);
                       const TranscodingStop stop = DecodeUtf8(
                           bytes, reinterpret_cast<const char*>(source_end), *target, target_end);
                       *source = reinterpret_cast<const UTF8*>(bytes);
                       return stop;
                     });
}

ConversionResult ConvertUTF16toUTF8(const UTF16** source_start, const UTF16* source_end,
                                    UTF8** target_start, UTF8* target_end, ConversionFlags flags) {
  return ConvertFast(source_start, source_end, target_start, target_end, flags,
                     [&](const UTF16** source, UTF8** target) {
                       char* bytes = reinterpret_cast<char*>(*target);
                       const TranscodingStop stop = EncodeUtf8(*source, source_end, bytes,
                                                               reinterpret_cast<char*>(target_end));
                       *target = reinterpret_cast<UTF8*>(bytes);
                       return stop;
                     });
}

ConversionResult ConvertUTF8toUTF32(const UTF8** source_start, const UTF8* source_end,
                                    UTF32** target_start, UTF32* target_end,
                                    ConversionFlags flags) {
  return ConvertPlainly(source_start, source_end, target_start, target_end, flags);
}

ConversionResult ConvertUTF16toUTF32(const UTF16** source_start, const UTF16* source_end,
                                     UTF32** target_start, UTF32* target_end,
                                     ConversionFlags flags) {
  return ConvertPlainly(source_start, source_end, target_start, target_end, flags);
}

ConversionResult ConvertUTF32toUTF8(const UTF32** source_start, const UTF32* source_end,
                                    UTF8** target_start, UTF8* target_end, ConversionFlags flags) {
  ConversionResult result = conversionOK;
  for (; *source_start < source_end; ++*source_start) {
    UTF32 value = **source_start;
    if (flags == strictConversion && !IsCharacter(value)) return sourceIllegal;
    const bool is_legal = value <= kLastCharacter;
    if (!Write(is_legal ? value : kReplacementCharacter, *target_start, target_end))
      return targetExhausted;
    if (!is_legal) result = sourceIllegal;
  }
  return result;
}

ConversionResult ConvertUTF32toUTF16(const UTF32** source_start, const UTF32* source_end,
                                     UTF16** target_start, UTF16* target_end,
                                     ConversionFlags flags) {
  for (; *source_start < source_end; ++*source_start) {
    if (*target_start >= target_end) return targetExhausted;
    UTF32 value = **source_start;
    if (!IsCharacter(value)) {
      if (flags == strictConversion) return sourceIllegal;
      value = kReplacementCharacter;
    }
    if (!Write(value, *target_start, target_end)) return targetExhausted;
  }
  return conversionOK;
}

}  // namespace orvik
