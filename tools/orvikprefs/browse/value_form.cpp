#include "tools/orvikprefs/browse/value_form.h"

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list_equality.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

constexpr std::size_t kLongestLine = 4096;  // in bytes
constexpr char kDigits[] = "0123456789abcdef";

Value DataFromHex(const std::string& line, std::string& mistake) {
  std::string bytes;
  int digits = 0;
  for (const char c : line) {
    if (c == ' ') continue;
    const char lower = c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c;
    const std::size_t digit = std::string_view(kDigits).find(lower);
    if (digit == std::string_view::npos) {
      mistake = "data is written in hexadecimal digits";
      return Value();
    }
    if (digits++ % 2 == 0) bytes += '\0';
    bytes.back() = static_cast<char>(static_cast<unsigned char>(bytes.back()) << 4 | digit);
  }
  if (digits % 2 != 0) {
    mistake = "a byte has two digits";
    return Value();
  }
  return Value(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                            static_cast<CFIndex>(bytes.size())));
}

}  // namespace

std::string HexOf(CFDataRef data) {
  std::string hex;
  const UInt8* bytes = CFDataGetBytePtr(data);
  for (CFIndex at = 0; at < CFDataGetLength(data); ++at) {
    if (at > 0) hex += ' ';
    hex += kDigits[bytes[at] >> 4];
    hex += kDigits[bytes[at] & 15];
  }
  return hex;
}

Value Converted(CFPropertyListRef value, ValueType type) {
  if (TypeOf(value) == type) return Value::Retaining(value);
  std::string text = ValueText(value);
  const bool to_number = type == ValueType::kInteger || type == ValueType::kReal;
  if (type == ValueType::kArray) {
    const CAutoCFRelease<CFMutableArrayRef> array(
        CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(array, value);
    return Value::Retaining(array.Get());
  }
  if (to_number && TypeOf(value) == ValueType::kBoolean) text = text == "true" ? "1" : "0";
  if (TypeOf(value) == ValueType::kReal && text.ends_with(".0")) text.resize(text.size() - 2);
  return ParseValue(type, text);
}

std::optional<std::string> LineOf(CFPropertyListRef value) {
  switch (TypeOf(value)) {
    case ValueType::kArray:
    case ValueType::kDictionary:
      return std::nullopt;
    case ValueType::kData:
      if (CFDataGetLength(static_cast<CFDataRef>(value)) > CFIndex{kLongestLine / 3})
        return std::nullopt;
      return HexOf(static_cast<CFDataRef>(value));
    default:
      break;
  }
  std::string text = ValueText(value);
  if (text.size() > kLongestLine) return std::nullopt;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (ControlAt(text, at)) return std::nullopt;
  }
  // A lone surrogate has no text of its own.
  const bool is_string = TypeOf(value) == ValueType::kString;
  if (is_string && !IsSameValue(value, ParseValue(ValueType::kString, text))) return std::nullopt;
  return text;
}

Value FromLine(ValueType type, const std::string& line, std::string& mistake) {
  if (type == ValueType::kData) return DataFromHex(line, mistake);
  Value value = ParseValue(type, line);
  if (!value) mistake = std::string("this is not ") + TypeForm(type);
  return value;
}

}  // namespace orvik::prefstool::browse
