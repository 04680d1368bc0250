#include "platform/core_foundation/data.h"

#include <algorithm>
#include <cstring>

namespace orvik {

CFTypeID CFDataGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  return NSData::Create(
      std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)));
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef data) {
  return static_cast<CFDataRef>(data->copy());
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) {
  return NSData::Create({}, true);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex, CFDataRef data) {
  return NSData::Create(std::string(data->View()), true);
}

CFIndex CFDataGetLength(CFDataRef data) {
  return data->length();
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return static_cast<const UInt8*>(data->bytes());
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef data) {
  std::string* bytes = data->MutableBytes();
  return bytes == nullptr ? nullptr : reinterpret_cast<UInt8*>(bytes->data());
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
  const CFIndex length = data->length();
  const CFIndex first = std::clamp<CFIndex>(range.location, 0, length);
  const CFIndex count = std::clamp<CFIndex>(range.length, 0, length - first);
  if (count > 0) {
    std::memcpy(buffer, CFDataGetBytePtr(data) + first, static_cast<std::size_t>(count));
  }
}

void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex length) {
  if (std::string* content = data->MutableBytes(); content != nullptr && length > 0) {
    content->append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
  }
}

void CFDataSetLength(CFMutableDataRef data, CFIndex length) {
  if (std::string* content = data->MutableBytes(); content != nullptr && length >= 0) {
    content->resize(static_cast<std::size_t>(length));
  }
}

}  // namespace orvik
