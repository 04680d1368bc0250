#include "platform/core_foundation/scalars.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

#include "host/replace_file.h"
#include "platform/core_foundation/object_support.h"
#include "platform/core_foundation/string.h"

namespace orvik {

const NSNumber* NSNumber::Create(const plist::Value& value) {
  if (value.type() == plist::Type::kBoolean) {
    return Retained(numberWithBool(value.boolean() ? YES : NO));
  }
  return new NSNumber(value);
}

const NSNumber* NSNumber::numberWithBool(ObjCBool value) {
  // Never destroyed, so that they can be used until the process ends.
  static const NSNumber* const booleans[] = {new NSNumber(false), new NSNumber(true)};
  return booleans[value != NO ? 1 : 0];
}

// Equal numbers have the same type, so numbers of different types may have equal hashes.
CFHashCode NSNumber::hash() const {
  if (value_.type() == plist::Type::kBoolean) return value_.boolean() ? 1 : 0;
  if (value_.type() == plist::Type::kInteger) return value_.integer().bits;
  // All reals that are not a number are equal.
  return std::isnan(value_.real()) ? 0 : std::hash<double>()(value_.real());
}

const NSString* NSNumber::description() const {
  char text[32];
  const auto print = [&](auto number) { return std::to_chars(text, text + sizeof text, number); };
  const plist::Integer integer = value_.integer();
  const std::to_chars_result end = value_.type() == plist::Type::kReal ? print(value_.real())
                                   : value_.type() == plist::Type::kInteger && !integer.is_unsigned
                                       ? print(static_cast<std::int64_t>(integer.bits))
                                       : print(integer.bits);
  return Autoreleased(NSString::NewFromAscii({text, static_cast<std::size_t>(end.ptr - text)}));
}

const NSDate* NSDate::Create(CFAbsoluteTime time) {
  return new NSDate(time);
}

CFHashCode NSDate::hash() const {
  return std::hash<double>()(time_);
}

const NSString* NSDate::description() const {
  // The range of the library's calendar.
  constexpr double kFarthest = 60.0 * 60 * 24 * 365 * 30000;
  if (!(std::abs(time_) < kFarthest)) return Autoreleased(NSString::NewFromAscii("no date"));
  using namespace std::chrono;
  const sys_seconds moment =
      sys_days(2001y / January / 1) + seconds(static_cast<std::int64_t>(std::floor(time_)));
  const sys_days day = floor<days>(moment);
  const year_month_day date(day);
  const hh_mm_ss time(moment - day);
  char text[64];
  const int length = std::snprintf(
      text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000", static_cast<int>(date.year()),
      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
      static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
      static_cast<int>(time.seconds().count()));
  return Autoreleased(NSString::NewFromAscii({text, static_cast<std::size_t>(length)}));
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
  constexpr double kSecondsFrom1970To2001 = 978307200;
  const std::chrono::duration<double> since_1970 =
      std::chrono::system_clock::now().time_since_epoch();
  return since_1970.count() - kSecondsFrom1970To2001;
}

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

ObjCBool NSData::writeToFile(const NSString* path, ObjCBool) const {
  const auto file = FilePath(path);
  return file && host::ReplaceFile(*file, *bytes_).error == 0 ? YES : NO;
}

CFHashCode NSData::hash() const {
  return std::hash<std::string_view>()(View());
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

const NSURL* NSURL::CreateWithPath(std::string path) {
  if (path.empty() || path.find('\0') != std::string::npos) return nullptr;
  if (!path.starts_with('/')) {
    std::error_code error;
    const std::string folder = std::filesystem::current_path(error).string();
    if (error) return nullptr;
    path = (folder == "/" ? "" : folder) + '/' + path;
  }
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return new NSURL(std::move(path));
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer,
                                                 CFIndex length, Boolean) {
  if (buffer == nullptr || length <= 0) return nullptr;
  return NSURL::CreateWithPath(
      std::string(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(length)));
}

}  // namespace orvik
