#include "tools/orvikprefs/browse/text_columns.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "text/columns.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {

int ColumnsOfUtf8(std::string_view utf8) {
  const CAtlString units = FromUtf8(utf8).value_or(u"");
  return ColumnsOf(
      std::u16string_view(units.GetString(), static_cast<std::size_t>(units.GetLength())));
}

std::string FitColumns(std::string_view utf8, int width) {
  if (width <= 0) return {};
  // A character has no more columns than bytes; longer texts are not measured whole.
  constexpr std::size_t kMeasured = 4096;
  const auto room = static_cast<std::size_t>(width);
  if (utf8.size() <= room || (utf8.size() <= kMeasured && ColumnsOfUtf8(utf8) <= width)) {
    return std::string(utf8);
  }
  std::string fitted;
  int columns = 0;
  for (std::size_t at = 0; at < utf8.size();) {
    std::size_t end = at + 1;
    while (end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80) ++end;
    const std::string_view character = utf8.substr(at, end - at);
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
  std::size_t blank = 0;  // behind the last blank of the line
  for (std::size_t at = 0; at < utf8.size();) {
    std::size_t end = at + 1;
    while (end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80) ++end;
    const std::string_view character = utf8.substr(at, end - at);
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

}  // namespace orvik::prefstool::browse
