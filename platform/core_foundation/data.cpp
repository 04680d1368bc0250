#include "platform/core_foundation/data.h"

#include <functional>
#include <memory>
#include <utility>

#include "host/replace_file.h"
#include "platform/core_foundation/string.h"
#include "platform/core_foundation/string_support.h"

namespace orvik {

NSData* NSData::Create(std::string bytes) {
  return Create(std::make_shared<const std::string>(std::move(bytes)));
}

NSData* NSData::Create(plist::Bytes bytes) {
  return new NSData(std::move(bytes));
}

const NSData* NSData::dataWithContentsOfFile(const NSString* path) {
  const auto file = FilePath(path);
  std::string content;
  if (!file || host::ReadWholeFile(*file, &content) != 0) return nullptr;
  return Autoreleased(Create(std::move(content)));
}

ObjCBool NSData::writeToFile(const NSString* path, ObjCBool atomically) const {
  const auto file = FilePath(path);
  if (!file) return NO;
  const int error =
      atomically != NO
          ? host::ReplaceFile(*file, *bytes_).error
          : host::ReplaceFile(*file, *bytes_, {.present = host::Present::kWriteInto}).error;
  return error == 0 ? YES : NO;
}

CFTypeID NSData::typeID() const {
  return CFDataGetTypeID();
}

CFHashCode NSData::hash() const {
  return std::hash<std::string_view>()(View());
}

NSObject* NSData::copy() const {
  return const_cast<NSData*>(Retained(this));
}

NSObject* NSData::mutableCopy() const {
  return new NSData(bytes_);
}

const NSString* NSData::description() const {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "<";
  for (std::size_t i = 0; i < bytes_->size(); ++i) {
    if (i != 0 && i % 4 == 0) text += ' ';
    const auto byte = static_cast<unsigned char>((*bytes_)[i]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  text += '>';
  return Autoreleased(NSString::NewFromAscii(text));
}

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
