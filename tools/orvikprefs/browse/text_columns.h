// Text in the columns of a terminal. Texts are UTF-8 without control characters.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orvik::prefstool::browse {

// The text in at most `width` columns; one that is cut ends in an ellipsis.
std::string FitColumns(std::string_view utf8, int width);
int ColumnsOfUtf8(std::string_view utf8);
// The text in lines of at most `width` columns, cut behind blanks where there are any.
std::vector<std::string> WrapColumns(std::string_view utf8, int width);
// As many of the hints as fit, two blanks between them; the important ones come first.
std::string FitHints(const std::vector<std::string>& hints, int width);
// "812", "1.2K", "72.4M": in at most six columns.
std::string SizeText(std::size_t size);

}  // namespace orvik::prefstool::browse
