#include "tools/orvikprefs/browse/help.h"

#include <algorithm>
#include <iterator>

namespace orvik::prefstool::browse {
namespace {

struct KeyHelp {
  const char* keys;
  const char* what;
};

constexpr KeyHelp kKeys[] = {
    {"Arrows h j k l", "move, open, close"},
    {"Home End Page", "far"},
    {"Tab, mouse", "other side, select"},
    {"/  n N", "search, next hit"},
    {"f  Esc", "filter, show all"},
    {"g", "go to a path"},
    {"]  [", "next changed row"},
    {"o  z", "order, sizes"},
    {"s  D", "scope, domain"},
    {"=", "same path elsewhere"},
    {"v", "view whole value"},
    {"p  P", "copy path, value"},
    {"x", "export to a file"},
    {"Enter  e", "edit the value"},
    {"t", "change its type"},
    {"a  A", "add value, key"},
    {"r  m  y", "rename, move, copy"},
    {"d", "delete"},
    {"Space", "pick rows for d"},
    {"u  U", "undo, redo"},
    {"c  C", "changes, conflicts"},
    {"w", "write all or nothing"},
    {"R", "repair damaged file"},
    {"q  Ctrl-C", "quit"},
    {"?  F1", "this help"},
    {"*  +", "changed, added"},
    {"~  !", "by others, conflict"},
    {"#", "picked"},
};

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

std::string LineOfKey(const KeyHelp& help) {
  return Padded(help.keys, 15) + help.what;
}

}  // namespace

std::vector<std::string> HelpLines(int columns) {
  constexpr std::size_t kWidth = 38;
  const std::size_t count = std::size(kKeys);
  const bool in_two = columns >= static_cast<int>(2 * kWidth);
  const std::size_t rows = in_two ? (count + 1) / 2 : count;
  std::vector<std::string> lines;
  for (std::size_t row = 0; row < rows; ++row) {
    std::string line = LineOfKey(kKeys[row]);
    if (in_two && row + rows < count) line = Padded(line, kWidth) + LineOfKey(kKeys[row + rows]);
    lines.push_back(std::move(line));
  }
  lines.emplace_back("Nothing is written before w.");
  return lines;
}

}  // namespace orvik::prefstool::browse
