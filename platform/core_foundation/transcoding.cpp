#include "platform/core_foundation/transcoding.h"

#include <cstdint>
#include <cstring>

namespace orvik {

namespace {

constexpr size_t kBlock = 16;
constexpr std::uint64_t kHighBitsOfBytes = 0x8080808080808080;
constexpr std::uint64_t kAboveAsciiOfUnits = 0xFF80FF80FF80FF80;
constexpr std::uint64_t kAboveLatin1OfUnits = 0xFF00FF00FF00FF00;

inline std::uint64_t Load64(const void* place) {
  std::uint64_t value;
  std::memcpy(&value, place, sizeof value);
  return value;
}

inline bool IsAsciiBlock(const char* bytes) {
  return ((Load64(bytes) | Load64(bytes + 8)) & kHighBitsOfBytes) == 0;
}

inline std::uint64_t OrOfBlock(const char16_t* units) {
  return Load64(units) | Load64(units + 4) | Load64(units + 8) | Load64(units + 12);
}

// Fixed counts, so that the compiler makes them a few vector instructions.
inline void WidenBlock(const char* source, char16_t* target) {
  for (size_t i = 0; i < kBlock; ++i) target[i] = static_cast<unsigned char>(source[i]);
}

inline void NarrowBlock(const char16_t* source, char* target) {
  for (size_t i = 0; i < kBlock; ++i) target[i] = static_cast<char>(source[i]);
}

inline bool IsTrail(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

constexpr char32_t kNoCharacter = 0xFFFFFFFF;
constexpr char32_t kCutCharacter = 0xFFFFFFFE;

// The character of two to four bytes that starts at `source`, which is moved over it when it is
// well formed.
inline char32_t DecodeMultiByte(const char*& source, const char* end) {
  const auto* s = reinterpret_cast<const unsigned char*>(source);
  const auto available = end - source;
  const unsigned char first = s[0];
  if (first < 0xE0) {
    if (first < 0xC2) return kNoCharacter;
    if (available < 2) return kCutCharacter;
    if (!IsTrail(s[1])) return kNoCharacter;
    source += 2;
    return ((first & 0x1Fu) << 6) | (s[1] & 0x3Fu);
  }
  if (first < 0xF0) {
    if (available < 2) return kCutCharacter;
    const unsigned char lowest = first == 0xE0 ? 0xA0 : 0x80;
    const unsigned char highest = first == 0xED ? 0x9F : 0xBF;
    if (s[1] < lowest || s[1] > highest) return kNoCharacter;
    if (available < 3) return kCutCharacter;
    if (!IsTrail(s[2])) return kNoCharacter;
    source += 3;
    return ((first & 0x0Fu) << 12) | ((s[1] & 0x3Fu) << 6) | (s[2] & 0x3Fu);
  }
  if (first > 0xF4) return kNoCharacter;
  if (available < 2) return kCutCharacter;
  const unsigned char lowest = first == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = first == 0xF4 ? 0x8F : 0xBF;
  if (s[1] < lowest || s[1] > highest) return kNoCharacter;
  for (int i = 2; i < 4; ++i) {
    if (available <= i) return kCutCharacter;
    if (!IsTrail(s[i])) return kNoCharacter;
  }
  source += 4;
  return ((first & 0x07u) << 18) | ((s[1] & 0x3Fu) << 12) | ((s[2] & 0x3Fu) << 6) | (s[3] & 0x3Fu);
}

inline TranscodingStop StopOf(char32_t failure) {
  return failure == kCutCharacter ? TranscodingStop::kSourceEnds : TranscodingStop::kIllegal;
}

inline TranscodingStop DecodeLoop(const char*& s, const char* source_end, char16_t*& t,
                                  char16_t* target_end) {
  while (s < source_end) {
    while (source_end - s >= 16 && target_end - t >= 16 && IsAsciiBlock(s)) {
      WidenBlock(s, t);
      s += kBlock;
      t += kBlock;
    }
    // One stretch without the test for blocks: mixed text rarely has any.
    const char* stretch_end = source_end - s > 16 ? s + 16 : source_end;
    while (s < stretch_end) {
      const auto byte = static_cast<unsigned char>(*s);
      if (byte < 0x80) {
        if (t == target_end) return TranscodingStop::kTargetFull;
        *t++ = byte;
        ++s;
        continue;
      }
      const char* before = s;
      const char32_t value = DecodeMultiByte(s, source_end);
      if (value >= kCutCharacter) return StopOf(value);
      if (value < 0x10000) {
        if (t == target_end) {
          s = before;
          return TranscodingStop::kTargetFull;
        }
        *t++ = static_cast<char16_t>(value);
      } else {
        if (target_end - t < 2) {
          s = before;
          return TranscodingStop::kTargetFull;
        }
        *t++ = HighSurrogate(value);
        *t++ = LowSurrogate(value);
      }
    }
  }
  return TranscodingStop::kDone;
}

inline TranscodingStop EncodeLoop(const char16_t*& s, const char16_t* source_end, char*& t,
                                  char* target_end) {
  while (s < source_end) {
    while (source_end - s >= 16 && target_end - t >= 16 &&
           (OrOfBlock(s) & kAboveAsciiOfUnits) == 0) {
      NarrowBlock(s, t);
      s += kBlock;
      t += kBlock;
    }
    const char16_t* stretch_end = source_end - s > 16 ? s + 16 : source_end;
    while (s < stretch_end) {
      const char16_t unit = *s;
      if (unit < 0x80) {
        if (t == target_end) return TranscodingStop::kTargetFull;
        *t++ = static_cast<char>(unit);
        ++s;
      } else if (unit < 0x800) {
        if (target_end - t < 2) return TranscodingStop::kTargetFull;
        t[0] = static_cast<char>(0xC0 | (unit >> 6));
        t[1] = static_cast<char>(0x80 | (unit & 0x3F));
        t += 2;
        ++s;
      } else if (!IsSurrogate(unit)) {
        if (target_end - t < 3) return TranscodingStop::kTargetFull;
        t[0] = static_cast<char>(0xE0 | (unit >> 12));
        t[1] = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
        t[2] = static_cast<char>(0x80 | (unit & 0x3F));
        t += 3;
        ++s;
      } else {
        if (!IsHighSurrogate(unit)) return TranscodingStop::kIllegal;
        if (source_end - s < 2) return TranscodingStop::kSourceEnds;
        if (!IsLowSurrogate(s[1])) return TranscodingStop::kIllegal;
        if (target_end - t < 4) return TranscodingStop::kTargetFull;
        const char32_t value = FromSurrogates(unit, s[1]);
        t[0] = static_cast<char>(0xF0 | (value >> 18));
        t[1] = static_cast<char>(0x80 | ((value >> 12) & 0x3F));
        t[2] = static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        t[3] = static_cast<char>(0x80 | (value & 0x3F));
        t += 4;
        s += 2;
      }
    }
  }
  return TranscodingStop::kDone;
}

}  // namespace

TranscodingStop DecodeUtf8(const char*& source, const char* source_end, char16_t*& target,
                           char16_t* target_end) {
  const char* s = source;
  char16_t* t = target;
  const TranscodingStop stop = DecodeLoop(s, source_end, t, target_end);
  source = s;
  target = t;
  return stop;
}

TranscodingStop EncodeUtf8(const char16_t*& source, const char16_t* source_end, char*& target,
                           char* target_end) {
  const char16_t* s = source;
  char* t = target;
  const TranscodingStop stop = EncodeLoop(s, source_end, t, target_end);
  source = s;
  target = t;
  return stop;
}

size_t Utf8Length(std::u16string_view units) {
  const char16_t* s = units.data();
  const char16_t* end = s + units.size();
  size_t length = 0;
  while (s < end) {
    while (end - s >= 16) {
      unsigned surrogates = 0;
      unsigned more = 0;
      for (size_t i = 0; i < kBlock; ++i) {
        more += (s[i] >= 0x80u) + (s[i] >= 0x800u);
        surrogates += IsSurrogate(s[i]);
      }
      if (surrogates != 0) break;
      length += kBlock + more;
      s += kBlock;
    }
    const char16_t* stretch_end = end - s > 16 ? s + 16 : end;
    while (s < stretch_end) {
      const char16_t unit = *s;
      if (!IsSurrogate(unit)) {
        length += 1u + (unit >= 0x80) + (unit >= 0x800);
        ++s;
      } else if (IsHighSurrogate(unit) && end - s >= 2 && IsLowSurrogate(s[1])) {
        length += 4;
        s += 2;
      } else {
        ++length;
        ++s;
      }
    }
  }
  return length;
}

std::ptrdiff_t Utf16Length(std::string_view bytes) {
  const char* s = bytes.data();
  const char* end = s + bytes.size();
  std::ptrdiff_t length = 0;
  while (s < end) {
    while (end - s >= 16 && IsAsciiBlock(s)) {
      length += kBlock;
      s += kBlock;
    }
    const char* stretch_end = end - s > 16 ? s + 16 : end;
    while (s < stretch_end) {
      if (static_cast<unsigned char>(*s) < 0x80) {
        ++length;
        ++s;
        continue;
      }
      const char32_t value = DecodeMultiByte(s, end);
      if (value >= kCutCharacter) return -1;
      length += value < 0x10000 ? 1 : 2;
    }
  }
  return length;
}

size_t AsciiPrefix(std::string_view bytes) {
  size_t i = 0;
  while (bytes.size() - i >= kBlock && IsAsciiBlock(bytes.data() + i)) i += kBlock;
  while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
  return i;
}

size_t AsciiPrefix(std::u16string_view units) {
  size_t i = 0;
  while (units.size() - i >= kBlock && (OrOfBlock(units.data() + i) & kAboveAsciiOfUnits) == 0) {
    i += kBlock;
  }
  while (i < units.size() && units[i] < 0x80) ++i;
  return i;
}

char16_t OrOfUnits(std::u16string_view units) {
  std::uint64_t all = 0;
  size_t i = 0;
  for (; units.size() - i >= kBlock; i += kBlock) all |= OrOfBlock(units.data() + i);
  all |= all >> 32;
  all |= all >> 16;
  char16_t result = static_cast<char16_t>(all);
  for (; i < units.size(); ++i) result |= units[i];
  return result;
}

void WidenLatin1(const char* source, char16_t* target, size_t n) {
  size_t i = 0;
  for (; n - i >= kBlock; i += kBlock) WidenBlock(source + i, target + i);
  for (; i < n; ++i) target[i] = static_cast<unsigned char>(source[i]);
}

void NarrowLatin1(const char16_t* source, char* target, size_t n) {
  size_t i = 0;
  while (i < n) {
    while (n - i >= kBlock && (OrOfBlock(source + i) & kAboveLatin1OfUnits) == 0) {
      NarrowBlock(source + i, target + i);
      i += kBlock;
    }
    const size_t stretch_end = n - i > kBlock ? i + kBlock : n;
    for (; i < stretch_end; ++i) {
      target[i] = source[i] < 0x100 ? static_cast<char>(source[i]) : '?';
    }
  }
}

}  // namespace orvik
