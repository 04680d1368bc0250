#include "platform/core_foundation/encodings.h"

#include <bit>
#include <cstring>
#include <limits>

#include "platform/core_foundation/encoding_converter.h"
#include "text/transcoding.h"

namespace orvik {

namespace {

constexpr bool kIsLittle = std::endian::native == std::endian::little;

// Where encoded bytes go: into a target with an end, or nowhere but into a count.
class Sink {
 public:
  Sink(char* target, CFIndex room)
      : target_(target), room_(target != nullptr ? room : std::numeric_limits<CFIndex>::max()) {}

  bool Put(const void* bytes, CFIndex count) {
    if (room_ - used_ < count) return false;
    if (target_ != nullptr) std::memcpy(target_ + used_, bytes, static_cast<size_t>(count));
    used_ += count;
    return true;
  }
  CFIndex used() const { return used_; }

 private:
  char* target_;
  CFIndex room_;
  CFIndex used_ = 0;
};

char32_t CharacterAt(std::u16string_view text, size_t i) {
  return IsHighSurrogate(text[i]) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])
             ? FromSurrogates(text[i], text[i + 1])
             : char32_t{text[i]};
}

int ByteOf(CFStringEncoding encoding, char16_t unit) {
  if (encoding == kCFStringEncodingMacRoman) return MacRomanOfUnit(unit);
  return unit < (encoding == kCFStringEncodingASCII ? 0x80 : 0x100) ? unit : -1;
}

EncodedLength EncodeBytes(CFStringEncoding encoding, std::u16string_view text, UInt8 loss_byte,
                          char* target, CFIndex room) {
  Sink sink(target, room);
  size_t i = 0;
  // A long ASCII start goes in one piece.
  const size_t ascii = AsciiPrefix(text);
  if (target != nullptr) {
    i = std::min(ascii, static_cast<size_t>(std::max<CFIndex>(room, 0)));
    NarrowLatin1(text.data(), target, i);
    sink = Sink(target + i, room - static_cast<CFIndex>(i));
  }
  const size_t start = i;
  while (i < text.size()) {
    const char32_t character = CharacterAt(text, i);
    const int byte = character < 0x10000 ? ByteOf(encoding, static_cast<char16_t>(character)) : -1;
    const UInt8 put = byte < 0 ? loss_byte : static_cast<UInt8>(byte);
    if ((byte < 0 && loss_byte == 0) || !sink.Put(&put, 1)) break;
    i += character < 0x10000 ? 1 : 2;
  }
  return {static_cast<CFIndex>(i), static_cast<CFIndex>(start) + sink.used()};
}

EncodedLength EncodeToUtf8(std::u16string_view text, UInt8 loss_byte, char* target, CFIndex room) {
  const char16_t* source = text.data();
  const char16_t* source_end = source + text.size();
  if (target == nullptr) {
    if (loss_byte != 0) {
      return {static_cast<CFIndex>(text.size()), static_cast<CFIndex>(Utf8Length(text))};
    }
    size_t good = 0;
    while (good < text.size() && !(CharacterAt(text, good) < 0x10000 && IsSurrogate(text[good]))) {
      good += CharacterAt(text, good) < 0x10000 ? 1 : 2;
    }
    return {static_cast<CFIndex>(good), static_cast<CFIndex>(Utf8Length(text.substr(0, good)))};
  }
  char* at = target;
  char* target_end = target + std::max<CFIndex>(room, 0);
  for (;;) {
    const TranscodingStop stop = EncodeUtf8(source, source_end, at, target_end);
    if (stop == TranscodingStop::kDone || stop == TranscodingStop::kTargetFull) break;
    if (loss_byte == 0 || at == target_end) break;
    *at++ = static_cast<char>(loss_byte);
    ++source;
  }
  return {source - text.data(), at - target};
}

EncodedLength EncodeToUtf16(std::u16string_view text, bool is_little, bool with_mark, char* target,
                            CFIndex room) {
  Sink sink(target, room);
  const bool swaps = is_little != kIsLittle;
  const auto put = [&](char16_t unit) {
    if (swaps) unit = static_cast<char16_t>((unit << 8) | (unit >> 8));
    return sink.Put(&unit, 2);
  };
  if (with_mark && !put(0xFEFF)) return {};
  size_t i = 0;
  while (i < text.size()) {
    const bool is_pair = CharacterAt(text, i) >= 0x10000;
    if (target != nullptr && room - sink.used() < (is_pair ? 4 : 2)) break;
    put(text[i]);
    if (is_pair) put(text[i + 1]);
    i += is_pair ? 2 : 1;
  }
  return {static_cast<CFIndex>(i), sink.used()};
}

EncodedLength EncodeToUtf32(std::u16string_view text, bool is_little, UInt8 loss_byte,
                            bool with_mark, char* target, CFIndex room) {
  Sink sink(target, room);
  const auto put = [&](char32_t value) {
    unsigned char bytes[4];
    for (int i = 0; i < 4; ++i) {
      bytes[is_little ? i : 3 - i] = static_cast<unsigned char>(value >> (8 * i));
    }
    return sink.Put(bytes, 4);
  };
  if (with_mark && !put(0xFEFF)) return {};
  size_t i = 0;
  while (i < text.size()) {
    char32_t value = CharacterAt(text, i);
    const size_t length = value < 0x10000 ? 1 : 2;
    if (length == 1 && IsSurrogate(text[i])) {
      if (loss_byte == 0) break;
      value = loss_byte;
    }
    if (!put(value)) break;
    i += length;
  }
  return {static_cast<CFIndex>(i), sink.used()};
}

std::optional<std::u16string> DecodeBytes(CFStringEncoding encoding, std::string_view bytes,
                                          bool lenient) {
  std::u16string text(bytes.size(), u'\0');
  if (encoding == kCFStringEncodingISOLatin1) {
    WidenLatin1(bytes.data(), text.data(), bytes.size());
    return text;
  }
  const size_t ascii = AsciiPrefix(bytes);
  WidenLatin1(bytes.data(), text.data(), ascii);
  if (encoding == kCFStringEncodingASCII && ascii < bytes.size() && !lenient) return std::nullopt;
  for (size_t i = ascii; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text[i] = encoding == kCFStringEncodingMacRoman ? UnitOfMacRoman(byte)
              : byte < 0x80                         ? char16_t{byte}
                                                    : u'\xFFFD';
  }
  return text;
}

std::optional<std::u16string> DecodeFromUtf8(std::string_view bytes, bool lenient) {
  std::u16string text(bytes.size(), u'\0');
  const char* source = bytes.data();
  const char* source_end = source + bytes.size();
  char16_t* target = text.data();
  for (;;) {
    const TranscodingStop stop = DecodeUtf8(source, source_end, target, text.data() + text.size());
    if (stop == TranscodingStop::kDone) break;
    if (!lenient) return std::nullopt;
    *target++ = u'\xFFFD';
    // One mark for each maximal start of a character.
    ++source;
    while (source < source_end && (static_cast<unsigned char>(*source) & 0xC0) == 0x80) ++source;
  }
  text.resize(static_cast<size_t>(target - text.data()));
  return text;
}

std::optional<std::u16string> DecodeFromUtf16(std::string_view bytes, bool is_little,
                                              bool lenient) {
  if (bytes.size() % 2 != 0 && !lenient) return std::nullopt;
  std::u16string text(bytes.size() / 2, u'\0');
  if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * 2);
  if (is_little != kIsLittle) {
    for (char16_t& unit : text) unit = static_cast<char16_t>((unit << 8) | (unit >> 8));
  }
  if (bytes.size() % 2 != 0) text += u'\xFFFD';
  return text;
}

std::optional<std::u16string> DecodeFromUtf32(std::string_view bytes, bool is_little,
                                              bool lenient) {
  std::u16string text;
  text.reserve(bytes.size() / 4);
  for (; bytes.size() >= 4; bytes.remove_prefix(4)) {
    char32_t value = 0;
    for (int i = 0; i < 4; ++i) {
      value = (value << 8) | static_cast<unsigned char>(bytes[is_little ? 3u - i : 0u + i]);
    }
    if (value >= 0x110000 || (value < 0x10000 && IsSurrogate(static_cast<char16_t>(value)))) {
      if (!lenient) return std::nullopt;
      value = 0xFFFD;
    }
    if (value < 0x10000) {
      text += static_cast<char16_t>(value);
    } else {
      text += HighSurrogate(value);
      text += LowSurrogate(value);
    }
  }
  if (bytes.empty()) return text;
  if (!lenient) return std::nullopt;
  return text + u'\xFFFD';
}

// The order that a mark tells, else the machine's; the mark is taken off.
bool TakeMark(std::string_view* bytes, std::string_view big_mark, std::string_view little_mark) {
  const bool is_big = bytes->starts_with(big_mark);
  const bool is_little = bytes->starts_with(little_mark);
  if (is_big || is_little) bytes->remove_prefix(big_mark.size());
  return is_little || (!is_big && kIsLittle);
}

std::optional<std::u16string> Decode(CFStringEncoding encoding, std::string_view bytes,
                                     bool lenient) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return DecodeFromUtf8(bytes, lenient);
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingASCII:
      return DecodeBytes(encoding, bytes, lenient);
    case kCFStringEncodingUTF16: {
      const bool is_little = TakeMark(&bytes, "\xFE\xFF", "\xFF\xFE");
      return DecodeFromUtf16(bytes, is_little, lenient);
    }
    case kCFStringEncodingUTF16BE:
      return DecodeFromUtf16(bytes, false, lenient);
    case kCFStringEncodingUTF16LE:
      return DecodeFromUtf16(bytes, true, lenient);
    case kCFStringEncodingUTF32: {
      const bool is_little = TakeMark(&bytes, std::string_view("\0\0\xFE\xFF", 4),
                                      std::string_view("\xFF\xFE\0\0", 4));
      return DecodeFromUtf32(bytes, is_little, lenient);
    }
    case kCFStringEncodingUTF32BE:
      return DecodeFromUtf32(bytes, false, lenient);
    case kCFStringEncodingUTF32LE:
      return DecodeFromUtf32(bytes, true, lenient);
    default:
      return DecodeWithConverter(encoding, bytes, lenient);
  }
}

}  // namespace

std::optional<EncodedLength> EncodeText(CFStringEncoding encoding, std::u16string_view text,
                                        UInt8 loss_byte, bool with_mark, char* target,
                                        CFIndex room) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return EncodeToUtf8(text, loss_byte, target, room);
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingASCII:
      return EncodeBytes(encoding, text, loss_byte, target, room);
    case kCFStringEncodingUTF16:
      return EncodeToUtf16(text, kIsLittle, with_mark, target, room);
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
      return EncodeToUtf16(text, encoding == kCFStringEncodingUTF16LE, false, target, room);
    case kCFStringEncodingUTF32:
      return EncodeToUtf32(text, kIsLittle, loss_byte, with_mark, target, room);
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
      return EncodeToUtf32(text, encoding == kCFStringEncodingUTF32LE, loss_byte, false, target,
                           room);
    default:
      return EncodeWithConverter(encoding, text, loss_byte, target, room);
  }
}

std::optional<std::u16string> DecodeText(CFStringEncoding encoding, std::string_view bytes) {
  return Decode(encoding, bytes, false);
}

std::optional<std::u16string> DecodeTextLeniently(CFStringEncoding encoding,
                                                  std::string_view bytes) {
  return Decode(encoding, bytes, true);
}

}  // namespace orvik
