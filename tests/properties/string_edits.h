// Edits and searches of a string that often shares its block, beside those of a plain string.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "tests/properties/choices.h"

namespace orvik::test {

template <typename String>
std::string StringEditsFault(std::string_view bytes) {
  using Unit = typename String::Unit;
  using Plain = std::basic_string<Unit>;
  constexpr auto kNone = Plain::npos;
  Choices choices(bytes);
  String string, other;
  Plain plain, other_plain;
  const auto position = [](std::size_t at) { return at == kNone ? -1 : static_cast<int>(at); };
  while (!choices.is_empty()) {
    const auto pick = [&](int low, int high) {
      return low + static_cast<int>(choices.Below(static_cast<std::size_t>(high - low + 1)));
    };
    const int index = pick(-2, static_cast<int>(plain.size()) + 2), count = pick(-1, 4);
    const auto at = std::min<std::size_t>(std::max(index, 0), plain.size());
    const auto length = static_cast<std::size_t>(std::max(count, 0));
    const std::string letters = choices.Letters(3, 3);
    const Plain text(letters.begin(), letters.end());
    const Unit a = static_cast<Unit>(pick('a', 'c')), b = static_cast<Unit>(pick('a', 'c'));
    const int edit = pick(0, 16);
    int result = 0, expected = 0;
    switch (edit) {
      case 0:
        result = string.Insert(index, text.c_str());
        expected = static_cast<int>(plain.insert(at, text).size());
        break;
      case 1:
        result = string.Delete(index, count);
        expected = static_cast<int>(plain.size());
        plain.erase(at, length);
        break;
      case 2:
        result = string.Remove(a);
        expected = static_cast<int>(std::erase(plain, a));
        break;
      case 3:
        result = string.Replace(a, b);
        expected = a == b ? 0 : static_cast<int>(std::count(plain.begin(), plain.end(), a));
        std::replace(plain.begin(), plain.end(), a, b);
        break;
      case 4:
        result = string.Replace(text.c_str(), Plain(length, b).c_str());
        for (std::size_t found = 0; !text.empty() && (found = plain.find(text, found)) != kNone;
             found += length) {
          plain.replace(found, text.size(), length, b);
          ++expected;
        }
        break;
      case 5:
        string.Append(text.c_str());
        plain.append(text);
        break;
      case 6:
        string.MakeReverse();
        std::reverse(plain.begin(), plain.end());
        break;
      case 7:
        string.TrimLeft(text.c_str());
        if (!text.empty()) plain.erase(0, std::min(plain.find_first_not_of(text), plain.size()));
        break;
      case 8:
        string.TrimRight(text.c_str());
        if (!text.empty()) plain.erase(plain.find_last_not_of(text) + 1);
        break;
      case 9:
        string.TrimRight(a);
        plain.erase(plain.find_last_not_of(a) + 1);
        break;
      case 10:
        other = string;
        other_plain = plain;
        break;
      case 11:
        string = other;
        plain = other_plain;
        break;
      case 12:
        string = string.Mid(index, count * 3);
        plain = plain.substr(at, 3 * length);
        break;
      case 13:
        string = string.Left(index);
        plain.resize(at);
        break;
      case 14:
        string = string.Right(index);
        plain.erase(0, plain.size() - at);
        break;
      case 15:
        string.GetBuffer(pick(0, 30));
        break;
      default:
        string.Append(string.Left(8));
        plain += plain.substr(0, 8);
        if (plain.size() > 60) {
          string.Empty();
          plain.clear();
        }
    }
    const auto fault = [&](const std::string& what) {
      return what + " after edit " + std::to_string(edit) + " to " +
             std::string(plain.begin(), plain.end());
    };
    if (result != expected) return fault("another result");
    for (const String* each : {&string, &other}) {
      if (each->View() != (each == &string ? plain : other_plain)) return fault("another text");
      if (each->GetString()[each->GetLength()] != 0) return fault("no end");
      if (each->GetLength() > each->GetAllocLength()) return fault("too long");
    }
    const auto start = static_cast<std::size_t>(std::max(index, 0));
    // The narrow string finds an empty text at once.
    const bool is_at_once = text.empty() && sizeof(Unit) == 1 && start < plain.size();
    const auto place = text.empty() ? (is_at_once ? start : kNone) : plain.find(text, start);
    if (string.Find(text.c_str(), index) != position(place) ||
        string.Find(a, index) != position(plain.find(a, start)) ||
        string.ReverseFind(a) != position(plain.rfind(a)) ||
        string.FindOneOf(text.c_str()) != position(plain.find_first_of(text))) {
      return fault("finds another place");
    }
    // The tokens in turn, and as views.
    auto views = string.Tokens(text);
    auto view = views.begin();
    for (int next = std::max(index, 0), from = next; next >= 0; from = next) {
      const auto begin = plain.find_first_not_of(text, static_cast<std::size_t>(from));
      const auto end = plain.find_first_of(text, begin);
      const auto after = begin == kNone ? kNone : plain.find_first_not_of(text, end);
      const String token = string.Tokenize(text.c_str(), next);
      if (next != position(after) ||
          token.View() != (begin == kNone ? Plain() : plain.substr(begin, end - begin))) {
        return fault("another token");
      }
      if (index > 0 || begin == kNone) continue;
      if (view == views.end() || Plain(*view) != token.View()) return fault("another view");
      ++view;
    }
    if (index <= 0 && view != views.end()) return fault("a view too many");
  }
  return "";
}

}  // namespace orvik::test
