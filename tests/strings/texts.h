// Strings as standard ones, so that lists of them are compared by their units.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace orvik::test {

template <typename String>
auto TextsOf(std::initializer_list<String> strings) {
  std::vector<std::basic_string<typename String::Unit>> texts;
  for (const String& string : strings) texts.emplace_back(string.View());
  return texts;
}

}  // namespace orvik::test
