#include "prefs/platform_value.h"

#include <cstring>
#include <utility>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/ns_number.h"
#include "prefs/dictionary_type.h"
#include "prefs/platform_values.h"

namespace orvik {

namespace {

using Object = CAutoCFRelease<CFTypeRef>;

std::u16string Text(CFTypeRef string) {
  return std::u16string(CAtlString(static_cast<CFStringRef>(string)).View());
}

PreferenceValue Number(CFNumberRef number) {
  std::int64_t integer = 0;
  const bool is_real = CFNumberIsFloatType(number) != 0;
  if (!is_real) {
    return CFNumberGetValue(number, kCFNumberSInt64Type, &integer)
               ? PreferenceValue(integer)
               : PreferenceValue(static_cast<std::uint64_t>(number->unsignedLongLongValue()));
  }
  double real = 0;
  CFNumberGetValue(number, kCFNumberDoubleType, &real);
  return real;
}

PreferenceData Bytes(CFDataRef data) {
  PreferenceData bytes(static_cast<std::size_t>(CFDataGetLength(data)));
  if (!bytes.empty()) {
    std::memcpy(bytes.data(), CFDataGetBytePtr(data), bytes.size());
  }
  return bytes;
}

std::optional<PreferenceValue> Array(CFArrayRef array) {
  PreferenceArray values;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    auto value = ValueOfPlatform(CFArrayGetValueAtIndex(array, i));
    if (!value) {
      return std::nullopt;
    }
    values.push_back(*std::move(value));
  }
  return values;
}

std::optional<PreferenceValue> Dictionary(CFDictionaryRef dictionary) {
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
  std::vector<const void*> names(count), values(count);
  CFDictionaryGetKeysAndValues(dictionary, names.data(), values.data());
  PreferenceDictionary entries;
  for (std::size_t i = 0; i < count; ++i) {
    auto value = ValueOfPlatform(values[i]);
    if (!value) {
      return std::nullopt;
    }
    entries.emplace(Text(names[i]), *std::move(value));
  }
  return entries;
}

CAutoCFRelease<CFStringRef> String(const std::u16string& text) {
  return PlatformString(CAtlString(std::u16string_view(text)));
}

// Makes the object of each kind of value.
struct Maker {
  Object operator()(const std::u16string& text) const { return Object(String(text).Detach()); }
  Object operator()(std::int64_t number) const {
    return Object(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
  }
  Object operator()(std::uint64_t number) const {
    return Object(CFTypeRef(NSNumber::CreateUnsigned(number)));
  }
  Object operator()(double number) const {
    return Object(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &number));
  }
  Object operator()(bool boolean) const {
    return Object::Retaining(boolean ? kCFBooleanTrue : kCFBooleanFalse);
  }
  Object operator()(PreferenceDate date) const {
    const double since_1970 = date.time_since_epoch().count();
    return Object(CFDateCreate(kCFAllocatorDefault, since_1970 - kCFAbsoluteTimeIntervalSince1970));
  }
  Object operator()(const PreferenceData& bytes) const {
    return Object(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                               static_cast<CFIndex>(bytes.size())));
  }
  Object operator()(const PreferenceArray& values) const {
    CAutoCFRelease<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const PreferenceValue& value : values) {
      CFArrayAppendValue(array, PlatformOf(value));
    }
    return Object(array.Detach());
  }
  Object operator()(const PreferenceDictionary& entries) const {
    CAutoCFRelease<CFMutableDictionaryRef> dictionary = NewDictionary();
    for (const auto& [name, value] : entries) {
      CFDictionarySetValue(dictionary, String(name), PlatformOf(value));
    }
    return Object(dictionary.Detach());
  }
};

}  // namespace

std::optional<PreferenceValue> ValueOfPlatform(CFTypeRef object) {
  if (object == nullptr) {
    return std::nullopt;
  }
  const CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID()) {
    return PreferenceValue(std::u16string_view(Text(object)));
  }
  if (type == CFBooleanGetTypeID()) {
    return PreferenceValue(CFBooleanGetValue(static_cast<CFBooleanRef>(object)) != 0);
  }
  if (type == CFNumberGetTypeID()) {
    return Number(static_cast<CFNumberRef>(object));
  }
  if (type == CFDateGetTypeID()) {
    const double time = CFDateGetAbsoluteTime(static_cast<CFDateRef>(object));
    return PreferenceDate(std::chrono::duration<double>(time + kCFAbsoluteTimeIntervalSince1970));
  }
  if (type == CFDataGetTypeID()) {
    return Bytes(static_cast<CFDataRef>(object));
  }
  if (type == CFArrayGetTypeID()) {
    return Array(static_cast<CFArrayRef>(object));
  }
  return IsADictionaryType(object) ? Dictionary(static_cast<CFDictionaryRef>(object))
                                   : std::nullopt;
}

CAutoCFRelease<CFTypeRef> PlatformOf(const PreferenceValue& value) {
  return std::visit(Maker(), value.variant());
}

}  // namespace orvik
