#include "text/text_place.h"

namespace orvik {

TextPlace PlaceInText(std::string_view text, std::size_t position) {
  TextPlace place;
  const std::string_view before = text.substr(0, position);
  std::size_t line_begin = 0;
  for (std::size_t at = before.find_first_of("\r\n"); at != std::string_view::npos;
       at = before.find_first_of("\r\n", line_begin)) {
    line_begin = before.substr(at).starts_with("\r\n") ? at + 2 : at + 1;
    ++place.line;
  }
  for (const char byte : before.substr(line_begin)) {
    if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80) ++place.column;
  }
  return place;
}

}  // namespace orvik
