#include "text/transcoding.h"

#include <bit>
#include <cstdint>

#include "text/transcoding_blocks.h"
#include "text/transcoding_variants.h"

namespace orvik {

namespace {

inline bool IsTrail(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// Shorter sources do not fill a block of wide vectors.
constexpr std::ptrdiff_t kWideSource = 64;  // bytes
constexpr std::ptrdiff_t kWideUnits = 16;

// False for continuation bytes and for bytes that never occur in UTF-8.
constexpr bool CanStart(unsigned char byte) {
  return byte < 0x80 || (byte >= 0xC2 && byte <= 0xF4);
}

constexpr char32_t kNoCharacter = 0xFFFFFFFF;
constexpr char32_t kCutCharacter = 0xFFFFFFFE;

// Returns the character of two to four bytes at `source`, and moves `source` behind it when it is
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

// Reads one character of two to four bytes with one load; four bytes must be readable. False, and
// nothing moves, when the bytes are not a well-formed character of that length.
inline bool DecodeQuickly(const char*& s, char16_t*& t) {
  const auto at = [&](int i) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(s[i]));
  };
  const std::uint32_t word = at(0) | at(1) << 8 | at(2) << 16 | at(3) << 24;
  if ((word & 0x00C0C0F0) == 0x008080E0) {
    const std::uint32_t value = (word & 0x0F) << 12 | (word >> 2 & 0xFC0) | (word >> 16 & 0x3F);
    if (value < 0x800 || (value & 0xF800) == 0xD800) return false;
    *t++ = static_cast<char16_t>(value);
    s += 3;
    return true;
  }
  if ((word & 0xC0E0) == 0x80C0) {
    if ((word & 0x1E) == 0) return false;
    *t++ = static_cast<char16_t>((word & 0x1F) << 6 | (word >> 8 & 0x3F));
    s += 2;
    return true;
  }
  if ((word & 0xC0C0C0F8) == 0x808080F0) {
    const std::uint32_t value =
        (word & 0x07) << 18 | (word << 4 & 0x3F000) | (word >> 10 & 0xFC0) | (word >> 24 & 0x3F);
    if (value - 0x10000 > 0xFFFFF) return false;
    t[0] = HighSurrogate(value);
    t[1] = LowSurrogate(value);
    t += 2;
    s += 4;
    return true;
  }
  return false;
}

// Writes one character above 0x7F; there must be room for four bytes. False, and nothing moves, for
// an unpaired surrogate.
inline bool EncodeQuickly(const char16_t*& s, const char16_t* source_end, char*& t) {
  const char16_t unit = *s;
  if (unit < 0x800) {
    t[0] = static_cast<char>(0xC0 | (unit >> 6));
    t[1] = static_cast<char>(0x80 | (unit & 0x3F));
    t += 2;
    ++s;
    return true;
  }
  if (!IsSurrogate(unit)) {
    t[0] = static_cast<char>(0xE0 | (unit >> 12));
    t[1] = static_cast<char>(0x80 | ((unit >> 6) & 0x3F));
    t[2] = static_cast<char>(0x80 | (unit & 0x3F));
    t += 3;
    ++s;
    return true;
  }
  if (!IsHighSurrogate(unit) || source_end - s < 2 || !IsLowSurrogate(s[1])) return false;
  const char32_t value = FromSurrogates(unit, s[1]);
  t[0] = static_cast<char>(0xF0 | (value >> 18));
  t[1] = static_cast<char>(0x80 | ((value >> 12) & 0x3F));
  t[2] = static_cast<char>(0x80 | ((value >> 6) & 0x3F));
  t[3] = static_cast<char>(0x80 | (value & 0x3F));
  t += 4;
  s += 2;
  return true;
}

inline TranscodingStop DecodeLoop(const char*& s, const char* source_end, char16_t*& t,
                                  char16_t* target_end) {
  // Far from both ends, the room need not be checked.
  while (source_end - s >= 16 && target_end - t >= 16) {
    const unsigned others = NonAsciiBits(s);
    if (others == 0) {
      WidenBlock(s, t);
      s += kBlock;
      t += kBlock;
      // More ASCII is likely to follow.
      while (source_end - s >= 32 && target_end - t >= 32 && AreAscii(s)) {
        WidenBlock(s, t);
        WidenBlock(s + kBlock, t + kBlock);
        s += 2 * kBlock;
        t += 2 * kBlock;
      }
      continue;
    }
    for (int ascii = std::countr_zero(others); ascii > 0; --ascii) {
      *t++ = static_cast<unsigned char>(*s++);
    }
    // Decodes up to the next run of ASCII.
    const char* const near_end = source_end - 4;
    char16_t* const near_full = target_end - 2;
    while (s <= near_end && t <= near_full && static_cast<unsigned char>(*s) >= 0x80) {
      if (!DecodeQuickly(s, t)) return StopOf(DecodeMultiByte(s, source_end));
    }
  }
  while (s < source_end) {
    const auto byte = static_cast<unsigned char>(*s);
    if (byte < 0x80) {
      if (t == target_end) return TranscodingStop::kTargetFull;
      *t++ = byte;
      ++s;
      continue;
    }
    if (source_end - s >= 4 && target_end - t >= 2 && DecodeQuickly(s, t)) continue;
    const char* next = s;
    const char32_t value = DecodeMultiByte(next, source_end);
    if (value >= kCutCharacter) return StopOf(value);
    if (target_end - t < (value < 0x10000 ? 1 : 2)) return TranscodingStop::kTargetFull;
    if (value < 0x10000) {
      *t++ = static_cast<char16_t>(value);
    } else {
      *t++ = HighSurrogate(value);
      *t++ = LowSurrogate(value);
    }
    s = next;
  }
  return TranscodingStop::kDone;
}

inline TranscodingStop StopAtSurrogate(const char16_t* s, const char16_t* source_end) {
  return IsHighSurrogate(*s) && source_end - s < 2 ? TranscodingStop::kSourceEnds
                                                   : TranscodingStop::kIllegal;
}

inline TranscodingStop EncodeLoop(const char16_t*& s, const char16_t* source_end, char*& t,
                                  char* target_end) {
  while (source_end - s >= 16 && target_end - t >= 16) {
    const unsigned others = BitsAbove<0x7F>(s);
    if (others == 0) {
      NarrowBlock(s, t);
      s += kBlock;
      t += kBlock;
      // More ASCII is likely to follow.
      while (source_end - s >= 32 && target_end - t >= 32 && AreAscii(s)) {
        NarrowBlock(s, t);
        NarrowBlock(s + kBlock, t + kBlock);
        s += 2 * kBlock;
        t += 2 * kBlock;
      }
      continue;
    }
    for (int ascii = std::countr_zero(others); ascii > 0; --ascii) {
      *t++ = static_cast<char>(*s++);
    }
    char* const near_full = target_end - 4;
    while (s < source_end && t <= near_full && *s >= 0x80) {
      if (!EncodeQuickly(s, source_end, t)) return StopAtSurrogate(s, source_end);
    }
  }
  while (s < source_end) {
    const char16_t unit = *s;
    if (unit < 0x80) {
      if (t == target_end) return TranscodingStop::kTargetFull;
      *t++ = static_cast<char>(unit);
      ++s;
      continue;
    }
    if (target_end - t >= 4) {
      if (!EncodeQuickly(s, source_end, t)) return StopAtSurrogate(s, source_end);
      continue;
    }
    char bytes[4];
    char* end = bytes;
    const char16_t* next = s;
    if (!EncodeQuickly(next, source_end, end)) return StopAtSurrogate(s, source_end);
    if (target_end - t < end - bytes) return TranscodingStop::kTargetFull;
    for (const char* from = bytes; from != end; ++from) *t++ = *from;
    s = next;
  }
  return TranscodingStop::kDone;
}

}  // namespace

namespace transcoding {

TranscodingStop DecodePlain(const char*& source, const char* source_end, char16_t*& target,
                            char16_t* target_end) {
  const char* s = source;
  char16_t* t = target;
  const TranscodingStop stop = DecodeLoop(s, source_end, t, target_end);
  source = s;
  target = t;
  return stop;
}

TranscodingStop EncodePlain(const char16_t*& source, const char16_t* source_end, char*& target,
                            char* target_end) {
  const char16_t* s = source;
  char* t = target;
  const TranscodingStop stop = EncodeLoop(s, source_end, t, target_end);
  source = s;
  target = t;
  return stop;
}

}  // namespace transcoding

TranscodingStop DecodeUtf8(const char*& source, const char* source_end, char16_t*& target,
                           char16_t* target_end) {
  // In a run of malformed bytes only the first takes more than one comparison.
  if (source != source_end && !CanStart(static_cast<unsigned char>(*source))) {
    return TranscodingStop::kIllegal;
  }
  if (transcoding::HasAvx512()) {
    transcoding::DecodeAvx512(source, source_end, target, target_end);
    if (source == source_end) return TranscodingStop::kDone;
  } else if (source_end - source >= kWideSource && transcoding::HasAvx2()) {
    transcoding::DecodeBlocksAvx2(source, source_end, target, target_end);
  }
  return transcoding::DecodePlain(source, source_end, target, target_end);
}

TranscodingStop EncodeUtf8(const char16_t*& source, const char16_t* source_end, char*& target,
                           char* target_end) {
  if (transcoding::HasAvx512()) {
    transcoding::EncodeAvx512(source, source_end, target, target_end);
    if (source == source_end) return TranscodingStop::kDone;
  } else if (source_end - source >= kWideUnits && transcoding::HasAvx2()) {
    transcoding::EncodeBlocksAvx2(source, source_end, target, target_end);
  }
  return transcoding::EncodePlain(source, source_end, target, target_end);
}

size_t Utf8Length(std::u16string_view units) {
  const char16_t* s = units.data();
  const char16_t* const end = s + units.size();
  size_t length = 0;
  if (transcoding::HasAvx512()) {
    for (;; ++s, ++length) {
      length += transcoding::MeasureAvx512(s, end);
      if (s == end) return length;
    }
  }
  if (units.size() >= static_cast<size_t>(kWideUnits) && transcoding::HasAvx2()) {
    length = transcoding::MeasureBlocksAvx2(s, end);
  }
  return length + transcoding::MeasurePlain(s, end);
}

// Measures ASCII two blocks at a time. After a block with another character it measures sixteen
// units one by one, so that mixed text is not read twice.
size_t transcoding::MeasurePlain(const char16_t* s, const char16_t* end) {
  size_t length = 0;
  while (s < end) {
    while (end - s >= static_cast<std::ptrdiff_t>(2 * kBlock) && AreAscii(s)) {
      length += 2 * kBlock;
      s += 2 * kBlock;
    }
    const char16_t* const stretch_end =
        end - s > static_cast<std::ptrdiff_t>(kBlock) ? s + kBlock : end;
    while (s < stretch_end) {
      const char16_t unit = *s++;
      if (!IsSurrogate(unit)) {
        length += 1u + (unit >= 0x80) + (unit >= 0x800);
      } else if (IsHighSurrogate(unit) && s < end && IsLowSurrogate(*s)) {
        length += 4;
        ++s;
      } else {
        ++length;
      }
    }
  }
  return length;
}

std::ptrdiff_t Utf16Length(std::string_view bytes) {
  const char* s = bytes.data();
  const char* end = s + bytes.size();
  std::ptrdiff_t length = 0;
  if (transcoding::HasAvx512()) {
    length = static_cast<std::ptrdiff_t>(transcoding::CountAvx512(s, end));
    return s == end ? length : -1;
  }
  if (end - s >= kWideSource && transcoding::HasAvx2()) {
    length = static_cast<std::ptrdiff_t>(transcoding::CountBlocksAvx2(s, end));
  }
  const std::ptrdiff_t rest = transcoding::CountPlain(s, end);
  return rest < 0 ? rest : length + rest;
}

// The same for UTF-8. A malformed character ends the count.
std::ptrdiff_t transcoding::CountPlain(const char* s, const char* end) {
  std::ptrdiff_t length = 0;
  while (s < end) {
    while (end - s >= 16 && NonAsciiBits(s) == 0) {
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

bool IsValidUtf8(std::string_view bytes) {
  return Utf16Length(bytes) >= 0;
}

char32_t NextCharacter(std::string_view bytes, size_t& position) {
  const char* at = bytes.data() + position;
  const auto byte = static_cast<unsigned char>(*at);
  if (byte < 0x80) {
    ++position;
    return byte;
  }
  const char32_t character = DecodeMultiByte(at, bytes.data() + bytes.size());
  if (character >= kCutCharacter) {
    ++position;
    return kReplacementCharacter;
  }
  position = static_cast<size_t>(at - bytes.data());
  return character;
}

// Compares whole blocks, then the rest byte by byte. The rest of an ASCII text takes one more
// block.
size_t AsciiPrefix(std::string_view bytes) {
  size_t i = 0;
  while (bytes.size() - i >= kBlock && NonAsciiBits(bytes.data() + i) == 0) i += kBlock;
  // The last block may overlap the block before it.
  if (i > 0 && bytes.size() - i < kBlock &&
      NonAsciiBits(bytes.data() + bytes.size() - kBlock) == 0) {
    return bytes.size();
  }
  while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) < 0x80) ++i;
  return i;
}

size_t AsciiPrefix(std::u16string_view units) {
  size_t i = 0;
  while (units.size() - i >= kBlock && BitsAbove<0x7F>(units.data() + i) == 0) i += kBlock;
  while (i < units.size() && units[i] < 0x80) ++i;
  return i;
}

char16_t OrOfUnits(std::u16string_view units) {
  if (units.size() < kOrBlock) {
    char16_t result = 0;
    for (const char16_t unit : units) result |= unit;
    return result;
  }
  // The last block may overlap the block before it.
  UnitsOr all;
  for (size_t i = 0; units.size() - i > kOrBlock; i += kOrBlock) all.Add(units.data() + i);
  all.Add(units.data() + units.size() - kOrBlock);
  return all.Result();
}

void WidenLatin1(const char* source, char16_t* target, size_t n) {
  if (n < kBlock) {
    for (size_t i = 0; i < n; ++i) target[i] = static_cast<unsigned char>(source[i]);
    return;
  }
  for (size_t i = 0; n - i > kBlock; i += kBlock) WidenBlock(source + i, target + i);
  WidenBlock(source + n - kBlock, target + n - kBlock);
}

// Converts a block without units above 255 at once, and every other block unit by unit.
void NarrowLatin1(const char16_t* source, char* target, size_t n) {
  size_t i = 0;
  while (i < n) {
    while (n - i >= kBlock && BitsAbove<0xFF>(source + i) == 0) {
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
