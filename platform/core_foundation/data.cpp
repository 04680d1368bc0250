#include "platform/core_foundation/data.h"

namespace orvik {

CFTypeID CFDataGetTypeID() {
  static const CFTypeID id = RegisterTypeID();
  return id;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  return NSData::Create(
      std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)));
}

CFIndex CFDataGetLength(CFDataRef data) {
  return data->length();
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return static_cast<const UInt8*>(data->bytes());
}

}  // namespace orvik
