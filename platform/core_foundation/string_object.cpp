#include "platform/core_foundation/string.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "text/case_and_spelling.h"
#include "text/transcoding.h"
#include "text/user_locale.h"

namespace orvik {

namespace {

// Copying a shorter string costs less than keeping its value.
constexpr size_t kSharedUnits = 64;

int Sign(int value) {
  return value < 0 ? -1 : value > 0;
}

bool IsTooLong(size_t length) {
  return length > static_cast<size_t>(kMaximumStringLength);
}

size_t SkipWhiteSpace(const plist::Text& text) {
  size_t i = 0;
  while (i < text.size() && IsWhiteSpace(text[i])) ++i;
  return i;
}

}  // namespace

void* NSString::operator new(size_t size, size_t extra) {
  return ::operator new(size + extra);
}

void NSString::operator delete(void* block, size_t) {
  ::operator delete(block);
}

void NSString::operator delete(void* block) {
  ::operator delete(block);
}

NSString::~NSString() {
  if ((flags_ & kShared) != 0) {
    std::destroy_at(shared());
    return;
  }
  if ((flags_ & (kOutside | kBorrowed)) == kOutside) std::free(const_cast<void*>(units_));
}

// The bytes are behind the object in the same block of memory.
NSString* NSString::NewInline(UInt32 flags, CFIndex length, size_t bytes) {
  auto* string = new (bytes) NSString(flags, length, nullptr);
  string->units_ = string->inline_bytes();
  return string;
}

NSString* NSString::NewFromAscii(std::string_view bytes) {
  if (IsTooLong(bytes.size())) return nullptr;
  NSString* string = NewInline(kAscii, static_cast<CFIndex>(bytes.size()), bytes.size());
  CopyUnits(string->inline_bytes(), bytes.data(), bytes.size());
  return string;
}

NSString* NSString::NewFromLatin1(std::string_view bytes) {
  NSString* string = NewFromAscii(bytes);
  if (string != nullptr && AsciiPrefix(bytes) != bytes.size()) string->flags_ = 0;
  return string;
}

// Chooses the narrowest form that holds all units, by the bitwise or of them.
NSString* NSString::NewFromUnits(std::u16string_view units) {
  if (IsTooLong(units.size())) return nullptr;
  const auto length = static_cast<CFIndex>(units.size());
  const char16_t all = OrOfUnits(units);
  if (all >= 0x100) {
    NSString* string = NewInline(kWide, length, units.size() * sizeof(char16_t));
    std::memcpy(string->inline_bytes(), units.data(), units.size() * sizeof(char16_t));
    return string;
  }
  NSString* string = NewInline(all < 0x80 ? kAscii : 0u, length, units.size());
  NarrowLatin1(units.data(), string->inline_bytes(), units.size());
  return string;
}

NSString* NSString::NewFromUtf8(std::string_view bytes) {
  const size_t ascii = AsciiPrefix(bytes);
  if (ascii == bytes.size()) return NewFromAscii(bytes);
  const std::ptrdiff_t length = Utf16Length(bytes);
  if (length < 0 || IsTooLong(static_cast<size_t>(length))) return nullptr;
  const size_t count = static_cast<size_t>(length);
  NSString* string = NewInline(kWide, length, count * sizeof(char16_t));
  const char* source = bytes.data();
  char16_t* target = string->mutable_units();
  DecodeUtf8(source, source + bytes.size(), target, target + length);
  if (OrOfUnits(string->wide()) >= 0x100) return string;
  // All units fit into bytes after all.
  NSString* narrow = NewFromUnits(string->wide());
  string->release();
  return narrow;
}

NSString* NSString::NewFromText(const plist::Text& text) {
  if (text.is_wide()) return NewFromUnits(text.units());
  return text.is_ascii() ? NewFromAscii(text.bytes()) : NewFromLatin1(text.bytes());
}

NSString* NSString::NewFromValue(const plist::Value& value) {
  const plist::Text text = value.text();
  if (text.size() < kSharedUnits) return NewFromText(text);
  if (IsTooLong(text.size())) return nullptr;
  const UInt32 form = text.is_wide() ? kWide : text.is_ascii() ? kAscii : 0u;
  const void* units = text.is_wide() ? static_cast<const void*>(text.units().data())
                                     : static_cast<const void*>(text.bytes().data());
  auto* string = new (sizeof value)
      NSString(form | kOutside | kShared, static_cast<CFIndex>(text.size()), units);
  new (string->inline_bytes()) plist::Value(value);
  return string;
}

plist::Value NSString::value() const {
  return (flags_ & kShared) != 0 ? *shared() : plist::Value::String(text());
}

NSString* NSString::NewMutable(std::u16string_view units) {
  if (IsTooLong(units.size())) return nullptr;
  auto* string = new (0) NSString(kWide | kMutable | kOutside, 0, nullptr);
  if (!units.empty()) string->append(units);
  return string;
}

NSString* NSString::NewNoCopy(std::u16string_view units, bool owned) {
  if (IsTooLong(units.size())) return nullptr;
  const UInt32 flags = kWide | kOutside | (owned ? 0u : kBorrowed);
  return new (0) NSString(flags, static_cast<CFIndex>(units.size()), units.data());
}

NSString* NSString::NewInBuffer(char16_t* units, CFIndex length, CFIndex capacity) {
  if (units == nullptr || length < 0 || length > capacity ||
      IsTooLong(static_cast<size_t>(capacity))) {
    return nullptr;
  }
  auto* string = new (0) NSString(kWide | kMutable | kOutside | kBorrowed, length, units);
  string->hash_or_capacity_.store(static_cast<UInt32>(capacity), std::memory_order_relaxed);
  return string;
}

void NSString::getCharacters(char16_t* buffer, CFIndex first, CFIndex count) const {
  if (count <= 0) return;
  const size_t n = static_cast<size_t>(count);
  if (isLatin1()) {
    WidenLatin1(latin1().data() + first, buffer, n);
  } else {
    std::memcpy(buffer, wide().data() + first, n * sizeof(char16_t));
  }
}

// Doubles the room, so that many appends take time proportional to the text. False if the buffer
// belongs to the caller and is too small.
bool NSString::Reserve(CFIndex length) {
  const UInt32 capacity = hash_or_capacity_.load(std::memory_order_relaxed);
  const auto needed = static_cast<UInt32>(length);
  if (needed <= capacity) return true;
  if ((flags_ & kBorrowed) != 0) return false;
  const UInt32 doubled = capacity < kMaximumStringLength / 2
                             ? capacity * 2
                             : static_cast<UInt32>(kMaximumStringLength);
  const UInt32 grown = needed > doubled ? needed : doubled;
  void* block = std::realloc(const_cast<void*>(units_), size_t{grown} * sizeof(char16_t));
  if (block == nullptr) throw std::bad_alloc();
  units_ = block;
  hash_or_capacity_.store(grown, std::memory_order_relaxed);
  return true;
}

// If the caller's buffer is too small, the new units are kept and the tail after them is cut.
void NSString::replaceCharacters(CFIndex first, CFIndex count, std::u16string_view units) {
  if (!isMutable() || first < 0 || first > length_ || count < 0) return;
  if (count > length_ - first) count = length_ - first;
  const char16_t* own = wide().data();
  if (own != nullptr && units.data() >= own && units.data() <= own + length_) {
    const std::u16string copy(units);
    replaceCharacters(first, count, copy);
    return;
  }
  CFIndex new_length = length_ - count + static_cast<CFIndex>(units.size());
  CFIndex tail = length_ - first - count;
  if (IsTooLong(units.size()) || new_length > kMaximumStringLength) return;
  if (!Reserve(new_length)) {
    const CFIndex room = hash_or_capacity_.load(std::memory_order_relaxed) - first;
    if (static_cast<CFIndex>(units.size()) > room)
      units = units.substr(0, static_cast<size_t>(room));
    tail = std::min(tail, room - static_cast<CFIndex>(units.size()));
    new_length = first + static_cast<CFIndex>(units.size()) + tail;
  }
  char16_t* place = mutable_units() + first;
  if (tail > 0) {
    std::memmove(place + units.size(), place + count, static_cast<size_t>(tail) * sizeof(char16_t));
  }
  if (!units.empty()) std::memcpy(place, units.data(), units.size() * sizeof(char16_t));
  length_ = static_cast<SInt32>(new_length);
}

NSComparisonResult NSString::compare(const NSString* other) const {
  return other == nullptr ? NSOrderedDescending : Sign(text().Compare(other->text()));
}

ObjCBool NSString::isEqualToString(const NSString* other) const {
  return this == other || (other != nullptr && text() == other->text()) ? YES : NO;
}

bool NSString::isEqual(const NSObject* other) const {
  if (this == other) return true;
  return other != nullptr && other->typeID() == TypeID() &&
         isEqualToString(static_cast<const NSString*>(other)) == YES;
}

CFHashCode NSString::hash() const {
  if (isMutable()) return text().Hash() | 1u;
  UInt32 hash = hash_or_capacity_.load(std::memory_order_relaxed);
  if (hash == 0) {
    hash = text().Hash() | 1u;
    hash_or_capacity_.store(hash, std::memory_order_relaxed);
  }
  return hash;
}

CFTypeID NSString::TypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

NSString* NSString::copy() const {
  // Text in a caller's memory may change at any time.
  const bool is_own = (flags_ & (kMutable | kBorrowed)) == 0;
  return is_own ? const_cast<NSString*>(Retained(this)) : NewFromUnits(wide());
}

NSString* NSString::mutableCopy() const {
  return NewMutable(isLatin1() ? ToUnits() : std::u16string(wide()));
}

const NSString* NSString::description() const {
  return isMutable() ? Autoreleased(copy()) : Autoreleased(Retained(this));
}

const NSString* NSString::stringByAppendingString(const NSString* other) const {
  if (other == nullptr || other->length() == 0) return description();
  if (isLatin1() && other->isLatin1()) {
    return Autoreleased(NewFromLatin1(std::string(latin1()).append(other->latin1())));
  }
  return Autoreleased(NewFromUnits(ToUnits() + other->ToUnits()));
}

const NSString* NSString::stringWithCharacters(std::u16string_view units) {
  return Autoreleased(NewFromUnits(units));
}

const NSString* NSString::stringWithUTF8String(const char* bytes) {
  return bytes == nullptr ? nullptr : Autoreleased(NewFromUtf8(bytes));
}

int NSString::intValue() const {
  const plist::Text units = text();
  size_t i = SkipWhiteSpace(units);
  bool is_negative = false;
  if (i < units.size() && (units[i] == u'-' || units[i] == u'+')) is_negative = units[i++] == u'-';
  std::int64_t value = 0;
  for (; i < units.size() && units[i] >= u'0' && units[i] <= u'9'; ++i) {
    value = std::min(value * 10 + (units[i] - u'0'), -std::int64_t{INT_MIN});
  }
  return static_cast<int>(is_negative ? -value : std::min<std::int64_t>(value, INT_MAX));
}

double NSString::doubleValue() const {
  std::string number;
  const plist::Text units = text();
  for (size_t i = SkipWhiteSpace(units); i < units.size(); ++i) {
    constexpr std::u16string_view kTaken = u"0123456789+-.eE";
    if (kTaken.find(units[i]) == kTaken.npos) break;
    number += static_cast<char>(units[i]);
  }
  return RealAtStart(number.c_str());
}

}  // namespace orvik
