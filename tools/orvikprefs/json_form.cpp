#include "tools/orvikprefs/json_form.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <limits>
#include <optional>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list_escape.h"
#include "platform/foundation/number.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"
#include "xml/base64.h"

namespace orvik::prefstool {

namespace {

constexpr const char* kDate = "$date";
constexpr const char* kData = "$data";
constexpr const char* kReal = "$real";
constexpr const char* kDictionary = "$dictionary";

using Value = CAutoCFRelease<CFPropertyListRef>;

bool IsWrapper(const Json& object) {
  if (object.size() != 1) return false;
  const std::string& name = object.begin().key();
  return name == kDate || name == kData || name == kReal || name == kDictionary;
}

constexpr char16_t kEscape = 0xFDD0;

bool IsHex(char16_t unit) {
  return (unit >= '0' && unit <= '9') || (unit >= 'A' && unit <= 'F');
}

// UTF-8 of any string, lone surrogates escaped.
std::string JsonString(CFStringRef string) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  const CAtlString units(string);
  const std::u16string_view text(units.GetString(), static_cast<size_t>(units.GetLength()));
  std::u16string escaped;
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    const std::u16string_view rest = text.substr(i + 1);
    if (unit >= 0xD800 && unit < 0xDC00 && !rest.empty() && rest[0] >= 0xDC00 &&
        rest[0] <= 0xDFFF) {
      escaped += unit;
      escaped += text[++i];
      continue;
    }
    const bool looks_escaped = unit == kEscape && rest.size() >= 4 && IsHex(rest[0]) &&
                               IsHex(rest[1]) && IsHex(rest[2]) && IsHex(rest[3]);
    if (looks_escaped || (unit >= 0xD800 && unit <= 0xDFFF)) {
      escaped += kEscape;
      for (int shift = 12; shift >= 0; shift -= 4) escaped += kDigits[(unit >> shift) & 15];
    } else {
      escaped += unit;
    }
  }
  return ToUtf8(CAtlString(escaped.data(), static_cast<int>(escaped.size())));
}

// Null when the bytes are not UTF-8.
CAutoCFRelease<CFStringRef> StringFromJson(const std::string& bytes) {
  const std::optional<CAtlString> text = FromUtf8(bytes);
  if (!text) return CAutoCFRelease<CFStringRef>();
  std::u16string units(text->GetString(), static_cast<size_t>(text->GetLength()));
  UnescapePropertyListText(units);
  return CAutoCFRelease<CFStringRef>(CFStringCreateWithCharacters(
      kCFAllocatorDefault, units.data(), static_cast<CFIndex>(units.size())));
}

Json NumberToJson(CFNumberRef number) {
  if (CFNumberIsFloatType(number)) {
    double real = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &real);
    if (std::isfinite(real)) return real;
    return Json{{kReal, std::isnan(real) ? "nan" : real > 0 ? "inf" : "-inf"}};
  }
  if (number->kind() == NSNumber::Kind::kUnsigned) return number->unsignedLongLongValue();
  SInt64 integer = 0;
  CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
  return integer;
}

Json DataToJson(CFDataRef data) {
  const unsigned length = static_cast<unsigned>(CFDataGetLength(data));
  std::string text((static_cast<size_t>(length) + 2) / 3 * 4, '\0');
  unsigned used = 0;
  encode64(CFDataGetBytePtr(data), length, text.data(), static_cast<unsigned>(text.size()), &used);
  text.resize(used);
  return Json{{kData, std::move(text)}};
}

Json DateToJson(CFDateRef date) {
  const double seconds = CFDateGetAbsoluteTime(date) + kCFAbsoluteTimeIntervalSince1970;
  const std::time_t whole = static_cast<std::time_t>(std::floor(seconds));
  std::tm parts = {};
  char text[64] = "";
  if (gmtime_r(&whole, &parts) != nullptr) {
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  }
  return Json{{kDate, text}};
}

class Reader {
 public:
  explicit Reader(std::string& error) : error_(error) {}

  Value Read(const Json& json, int depth) {
    if (depth > kPropertyListMaximumDepth) return Fail("nested too deeply");
    switch (json.type()) {
      case Json::value_t::string:
        return ReadString(json);
      case Json::value_t::boolean:
        return Value::Retaining(json.get<bool>() ? kCFBooleanTrue : kCFBooleanFalse);
      case Json::value_t::number_integer:
      case Json::value_t::number_unsigned:
        return ReadInteger(json);
      case Json::value_t::number_float: {
        const double real = json.get<double>();
        return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &real));
      }
      case Json::value_t::array:
        return ReadArray(json, depth);
      case Json::value_t::object:
        if (IsWrapper(json)) return ReadWrapper(json, depth);
        return ReadDictionary(json, depth);
      default:
        return Fail("null is no property-list value");
    }
  }

 private:
  Value Fail(const std::string& reason) {
    if (error_.empty()) error_ = reason;
    return Value();
  }

  Value ReadString(const Json& json) {
    CAutoCFRelease<CFStringRef> text = StringFromJson(json.get_ref<const std::string&>());
    return text ? Value(text.Detach()) : Fail("a text is not UTF-8");
  }

  Value ReadInteger(const Json& json) {
    if (json.is_number_unsigned() &&
        json.get<std::uint64_t>() >
            static_cast<std::uint64_t>(std::numeric_limits<SInt64>::max())) {
      return ReadThroughXml("<integer>" + std::to_string(json.get<std::uint64_t>()) + "</integer>");
    }
    const SInt64 integer = json.get<SInt64>();
    return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &integer));
  }

  Value ReadArray(const Json& json, int depth) {
    CAutoCFRelease<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const Json& element : json) {
      const Value value = Read(element, depth + 1);
      if (!value) return Value();
      CFArrayAppendValue(array, value);
    }
    return Value(array.Detach());
  }

  Value ReadDictionary(const Json& json, int depth) {
    CAutoCFRelease<CFMutableDictionaryRef> dictionary(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    for (const auto& [key, element] : json.items()) {
      const CAutoCFRelease<CFStringRef> name = StringFromJson(key);
      if (!name) return Fail("a name is not UTF-8");
      const Value value = Read(element, depth + 1);
      if (!value) return Value();
      CFDictionarySetValue(dictionary, name, value);
    }
    return Value(dictionary.Detach());
  }

  Value ReadWrapper(const Json& json, int depth) {
    const std::string& name = json.begin().key();
    const Json& content = json.begin().value();
    if (name == kDictionary && content.is_object()) return ReadDictionary(content, depth);
    if (!content.is_string()) return Fail("\"" + name + "\" holds no text");
    const std::string& text = content.get_ref<const std::string&>();
    // The property-list reader knows these forms already; only text without markup may reach it.
    if (text.find_first_of("<&") == std::string::npos) {
      const std::string element = name.substr(1);
      if (name == kReal && text != "nan" && text != "inf" && text != "-inf") {
        return Fail("\"$real\" is for nan, inf and -inf");
      }
      Value value = ReadThroughXml("<" + element + ">" + text + "</" + element + ">");
      if (value) return value;
    }
    return Fail("\"" + name + "\" is malformed");
  }

  Value ReadThroughXml(const std::string& element) {
    const std::string document = "<plist version=\"1.0\">" + element + "</plist>";
    const CAutoCFRelease<CFDataRef> bytes(
        CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(document.data()),
                     static_cast<CFIndex>(document.size())));
    return Value(CFPropertyListCreateFromXMLData(kCFAllocatorDefault, bytes,
                                                 kCFPropertyListImmutable, nullptr));
  }

  std::string& error_;
};

}  // namespace

Json ToJson(CFPropertyListRef value) {
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFStringGetTypeID()) return JsonString(static_cast<CFStringRef>(value));
  if (type == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
  if (type == CFNumberGetTypeID()) return NumberToJson(static_cast<CFNumberRef>(value));
  if (type == CFDataGetTypeID()) return DataToJson(static_cast<CFDataRef>(value));
  if (type == CFDateGetTypeID()) return DateToJson(static_cast<CFDateRef>(value));
  if (type == CFArrayGetTypeID()) {
    Json list = Json::array();
    const CFArrayRef array = static_cast<CFArrayRef>(value);
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      list.push_back(ToJson(CFArrayGetValueAtIndex(array, i)));
    }
    return list;
  }
  Json object = Json::object();
  for (const Entry& entry : SortedEntries(static_cast<CFDictionaryRef>(value))) {
    object[JsonString(entry.name)] = ToJson(entry.value);
  }
  if (IsWrapper(object)) return Json{{kDictionary, std::move(object)}};
  return object;
}

CAutoCFRelease<CFPropertyListRef> FromJson(const Json& json, std::string& error) {
  return Reader(error).Read(json, 0);
}

std::string JsonText(const Json& json, bool indented) {
  return json.dump(indented ? 2 : -1, ' ', false, Json::error_handler_t::replace);
}

Json ParseJson(std::string_view bytes, std::string& error) {
  try {
    return Json::parse(bytes);
  } catch (const Json::parse_error& failure) {
    error = "not JSON at byte " + std::to_string(failure.byte);
    return Json(Json::value_t::discarded);
  } catch (const Json::out_of_range&) {
    error = "JSON with a number beyond all doubles";
    return Json(Json::value_t::discarded);
  }
}

}  // namespace orvik::prefstool
