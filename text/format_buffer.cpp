#include <algorithm>
#include <cstring>
#include <utility>

#include "text/copy_units.h"
#include "text/format_buffer.h"
#include "text/mac_roman.h"
#include "text/transcoding.h"

namespace orvik {

char16_t* FormatBuffer::Grow(size_t count) {
  if (count > kMaximumFormattedLength - length_) return nullptr;
  const size_t grown = std::max(capacity_ * 2, length_ + count);
  // NOLINTNEXTLINE(modernize-make-unique): that would zero it
  std::unique_ptr<char16_t[]> block(new char16_t[grown]);
  std::memcpy(block.get(), data_, length_ * sizeof(char16_t));
  heap_ = std::move(block);
  data_ = heap_.get();
  capacity_ = grown;
  return data_ + length_;
}

bool FormatBuffer::Append(std::u16string_view units) {
  char16_t* room = Room(units.size());
  if (room == nullptr) return false;
  CopyUnits(room, units.data(), units.size());
  Take(units.size());
  return true;
}

bool FormatBuffer::Append(size_t count, char16_t unit) {
  char16_t* room = Room(count);
  if (room == nullptr) return false;
  std::fill_n(room, count, unit);
  Take(count);
  return true;
}

bool FormatBuffer::AppendLatin1(std::string_view bytes) {
  char16_t* room = Room(bytes.size());
  if (room == nullptr) return false;
  WidenLatin1(bytes.data(), room, bytes.size());
  Take(bytes.size());
  return true;
}

bool FormatBuffer::AppendMacRoman(std::string_view bytes) {
  char16_t* room = Room(bytes.size());
  if (room == nullptr) return false;
  constexpr size_t kFew = 16;  // are done before the calls would be
  const size_t ascii = bytes.size() < kFew ? 0 : AsciiPrefix(bytes);
  if (ascii != 0) WidenLatin1(bytes.data(), room, ascii);
  for (size_t i = ascii; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    room[i] = byte < 0x80 ? byte : UnitOfMacRoman(byte);
  }
  Take(bytes.size());
  return true;
}

}  // namespace orvik
