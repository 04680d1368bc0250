#include "text/text_place.h"

#include <gtest/gtest.h>

#include <string>

namespace orvik {
namespace {

TEST(PlaceInText, CountsLinesAndCharacters) {
  const std::string text = "a\n\u00E9b\r\nc\rd";
  const struct {
    std::size_t position, line, column;
  } kCases[] = {{0, 1, 1}, {1, 1, 2}, {2, 2, 1}, {4, 2, 2}, {7, 3, 1}, {9, 4, 1}, {99, 4, 2}};
  for (const auto& one : kCases) {
    const TextPlace place = PlaceInText(text, one.position);
    EXPECT_EQ(place.line, one.line) << one.position;
    EXPECT_EQ(place.column, one.column) << one.position;
  }
}

}  // namespace
}  // namespace orvik
