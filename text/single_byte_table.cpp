#include "text/single_byte_table.h"

#include <algorithm>

#include "text/transcoding.h"

namespace orvik {

SingleByteTable::SingleByteTable(const std::array<char16_t, 256>& units) : units_(units) {
  bytes_of_low_.fill(-1);
  starts_with_ascii_ = true;
  // Of several bytes for a unit the lowest is written.
  for (int byte = 255; byte >= 0; --byte) {
    const char16_t unit = units_[static_cast<size_t>(byte)];
    if (byte < 0x80 && unit != byte) starts_with_ascii_ = false;
    if (unit < 0x100) {
      bytes_of_low_[unit] = static_cast<short>(byte);
    } else if (unit != kNoUnit) {
      bytes_of_high_.push_back({unit, static_cast<unsigned char>(byte)});
    }
  }
  std::ranges::sort(bytes_of_high_, [](const Entry& a, const Entry& b) {
    return a.unit != b.unit ? a.unit < b.unit : a.byte < b.byte;
  });
}

int SingleByteTable::ByteOf(char16_t unit) const {
  if (unit < 0x100) return bytes_of_low_[unit];
  const auto found = std::ranges::lower_bound(bytes_of_high_, unit, {}, &Entry::unit);
  return found != bytes_of_high_.end() && found->unit == unit ? found->byte : -1;
}

EncodedLength SingleByteTable::Encode(std::u16string_view text, char loss_byte, char* target,
                                      size_t room) const {
  EncodedLength done;
  if (starts_with_ascii_) {
    // A long ASCII start goes in one piece.
    done.units = done.bytes = std::min(AsciiPrefix(text), room);
    if (target != nullptr) NarrowLatin1(text.data(), target, done.bytes);
  }
  for (; done.units < text.size() && done.bytes < room; ++done.bytes) {
    const size_t length = CharacterLength(text.substr(done.units));
    const int byte = length == 1 ? ByteOf(text[done.units]) : -1;
    if (byte < 0 && loss_byte == 0) break;
    if (target != nullptr) target[done.bytes] = byte < 0 ? loss_byte : static_cast<char>(byte);
    done.units += length;
  }
  return done;
}

std::optional<std::u16string> SingleByteTable::Decode(std::string_view bytes) const {
  std::u16string text(bytes.size(), u'\0');
  const size_t ascii = starts_with_ascii_ ? AsciiPrefix(bytes) : 0;
  WidenLatin1(bytes.data(), text.data(), ascii);
  for (size_t i = ascii; i < bytes.size(); ++i) {
    text[i] = units_[static_cast<unsigned char>(bytes[i])];
    if (text[i] == kNoUnit) return std::nullopt;
  }
  return text;
}

}  // namespace orvik
