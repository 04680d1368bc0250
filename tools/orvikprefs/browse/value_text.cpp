#include "tools/orvikprefs/browse/value_text.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "text/characters.h"
#include "text/shown_text.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

int ColumnsOfUtf8(std::string_view utf8) {
  return ColumnsOf(FromUtf8(utf8).value_or(u"").View());
}

std::string FitColumns(std::string_view utf8, int width) {
  if (width <= 0) return {};
  // A character has at most as many columns as bytes. Long texts are not measured completely.
  constexpr std::size_t kMeasured = 4096;
  const auto room = static_cast<std::size_t>(width);
  if (utf8.size() <= room || (utf8.size() <= kMeasured && ColumnsOfUtf8(utf8) <= width)) {
    return std::string(utf8);
  }
  std::string fitted;
  int columns = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    const std::string_view character = utf8.substr(at, CharacterLength(utf8.substr(at)));
    const std::size_t end = at + character.size();
    const int taken = ColumnsOfUtf8(character);
    if (columns + taken > width - 1) break;
    fitted += character;
    columns += taken;
    at = end;
  }
  return fitted + "\u2026";
}

std::vector<std::string> WrapColumns(std::string_view utf8, int width) {
  std::vector<std::string> lines(1);
  int columns = 0;
  std::size_t blank = 0;  // the end of the last blank in the line
  for (std::size_t at = 0; at < utf8.size();) {
    const std::string_view character = utf8.substr(at, CharacterLength(utf8.substr(at)));
    const std::size_t end = at + character.size();
    const int taken = character.size() == 1 ? 1 : ColumnsOfUtf8(character);
    if (columns + taken > std::max(1, width) && columns > 0) {
      if (blank == 0) blank = lines.back().size();
      std::string rest = lines.back().substr(blank);
      lines.back().resize(blank);
      columns = ColumnsOfUtf8(rest);
      lines.push_back(std::move(rest));
      blank = 0;
    }
    lines.back() += character;
    columns += taken;
    if (character == " ") blank = lines.back().size();
    at = end;
  }
  return lines;
}

std::string FitHints(const std::vector<std::string>& hints, int width) {
  std::string line;
  for (const std::string& hint : hints) {
    std::string longer = line;
    if (!longer.empty()) longer += "  ";
    longer += hint;
    if (ColumnsOfUtf8(longer) <= width) line = std::move(longer);
  }
  return line;
}

std::string SizeText(std::size_t size) {
  constexpr char kUnits[] = "KMGT";
  if (size < 1000) return std::to_string(size);
  double shown = static_cast<double>(size);
  std::size_t unit = 0;
  shown /= 1000;
  // 999.95 would be shown as 1000.0.
  for (; shown >= 999.95 && unit < 3; ++unit) shown /= 1000;
  char text[32];
  std::snprintf(text, sizeof text, "%.1f%c", shown, kUnits[unit]);
  return text;
}

namespace {

// In bytes. Longer values open in an editor.
constexpr std::size_t kLongestLine = 4096;
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
      return {};
    }
    if (digits++ % 2 == 0) bytes += '\0';
    bytes.back() = static_cast<char>(static_cast<unsigned char>(bytes.back()) << 4 | digit);
  }
  if (digits % 2 != 0) {
    mistake = "a byte has two digits";
    return {};
  }
  return Value::Data(std::move(bytes));
}

// Two lower-case digits for each byte, with blanks between the bytes.
std::string HexOf(std::string_view bytes) {
  std::string hex;
  for (const char byte : bytes) {
    if (!hex.empty()) hex += ' ';
    hex += kDigits[static_cast<unsigned char>(byte) >> 4];
    hex += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  return hex;
}

std::string Heading(const Value& value) {
  std::string type = TypeName(value);
  switch (value.type()) {
    case Type::kString:
      return type + ", " + Counted(value.text().size(), "UTF-16 unit", "UTF-16 units");
    case Type::kData:
      return type + ", " + Counted(value.data()->size(), "byte", "bytes");
    case Type::kArray:
      return type + ", " + Counted(value.elements().size(), "element", "elements");
    case Type::kDictionary:
      return type + ", " + std::to_string(CountBelow(value)) + " below it";
    default:
      return type;
  }
}

void AddValue(std::vector<std::string>& lines, const Value& value, int columns) {
  std::string text;
  if (IsContainer(value)) {
    text = JsonText(value, JsonWriter::Layout::kIndented);
  } else if (value.type() == Type::kData) {
    text = HexOf(*value.data());
  } else {
    text = ValueText(value);
  }
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    for (std::string& part : WrapColumns(Escaped(line), columns)) lines.push_back(std::move(part));
    at = end + 1;
  }
}

}  // namespace

Value Converted(const Value& value, Type type) {
  if (value.type() == type) return value;
  if (type == Type::kArray) return Value::Array({value});
  // "true" and 1234 would pass for Base64.
  if (type == Type::kData && value.type() != Type::kString) return {};
  std::string text = ValueText(value);
  const bool to_number = type == Type::kInteger || type == Type::kReal;
  if (to_number && value.type() == Type::kBoolean) text = value.boolean() ? "1" : "0";
  if (value.type() == Type::kReal && text.ends_with(".0")) text.resize(text.size() - 2);
  return ParseValue(type, text);
}

std::optional<std::string> LineOf(const Value& value) {
  if (IsContainer(value)) return std::nullopt;
  if (value.type() == Type::kData) {
    if (value.data()->size() > kLongestLine / 3) return std::nullopt;
    return HexOf(*value.data());
  }
  std::string text = ValueText(value);
  if (text.size() > kLongestLine) return std::nullopt;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (ControlAt(text, at)) return std::nullopt;
  }
  return text;
}

Value FromLine(Type type, const std::string& line, std::string& mistake) {
  if (type == Type::kData) return DataFromHex(line, mistake);
  Value value = ParseValue(type, line);
  if (!value) mistake = std::string("this is not ") + TypeForm(type);
  return value;
}

std::vector<std::string> ViewLines(const Value& now, const Value& before, int columns) {
  std::vector<std::string> lines;
  lines.push_back(now ? Heading(now) : "(nothing)");
  if (now) AddValue(lines, now, columns);
  if (now == before) return lines;
  lines.emplace_back();
  lines.push_back("before: " + (before ? Heading(before) : "(nothing)"));
  if (before) AddValue(lines, before, columns);
  return lines;
}

}  // namespace orvik::prefstool::browse
