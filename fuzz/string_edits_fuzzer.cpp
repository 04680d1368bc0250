// Edits and searches of a string that often shares its block, compared with those of a standard
// string.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace orvik::fuzz {
namespace {

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
    // The argument: letters, or a part of the string in its own block.
    const std::string letters = choices.Letters(3, 3);
    const bool is_own = pick(0, 3) == 0;
    const auto offset = is_own ? choices.Below(plain.size() + 1) : 0;
    const Plain text =
        is_own ? plain.substr(offset, choices.Below(20)) : Plain(letters.begin(), letters.end());
    const std::basic_string_view<Unit> given =
        is_own ? string.View().substr(offset, text.size()) : std::basic_string_view<Unit>(text);
    const Unit a = static_cast<Unit>(pick('a', 'c')), b = static_cast<Unit>(pick('a', 'c'));
    const auto replace_all = [&] {
      std::size_t times = 0;
      for (std::size_t found = 0; !text.empty() && (found = plain.find(text, found)) != kNone;
           found += length, ++times) {
        plain.replace(found, text.size(), length, b);
      }
      return times;
    };
    const auto replace_units = [&] {
      const auto found = std::count(plain.begin(), plain.end(), a);
      std::replace(plain.begin(), plain.end(), a, b);
      return a == b ? 0 : found;
    };
    // The result of the edit, or the length after it; and the same of the standard string.
    using Both = std::pair<int, std::size_t>;
    const std::function<Both()> edits[] = {
        [&] { return Both(string.Insert(index, given), plain.insert(at, text).size()); },
        [&] {
          const std::size_t before = plain.size();
          plain.erase(at, length);
          return Both(string.Delete(index, count), before);
        },
        [&] { return Both(string.Remove(a), std::erase(plain, a)); },
        [&] { return Both(string.Replace(a, b), replace_units()); },
        [&] { return Both(string.Replace(given, Plain(length, b).c_str()), replace_all()); },
        [&] {
          string.Append(given);
          return Both(string.GetLength(), plain.append(text).size());
        },
        [&] {
          std::reverse(plain.begin(), plain.end());
          return Both(string.MakeReverse().GetLength(), plain.size());
        },
        [&] {
          const auto start = text.empty() ? 0 : plain.find_first_not_of(text);
          plain.erase(0, std::min(start, plain.size()));
          return Both(string.TrimLeft(given).GetLength(), plain.size());
        },
        [&] {
          if (!text.empty()) plain.erase(plain.find_last_not_of(text) + 1);
          return Both(string.TrimRight(given).GetLength(), plain.size());
        },
        [&] {
          plain.erase(plain.find_last_not_of(a) + 1);
          return Both(string.TrimRight(a).GetLength(), plain.size());
        },
        [&] { return Both((other = string).GetLength(), (other_plain = plain).size()); },
        [&] { return Both((string = other).GetLength(), (plain = other_plain).size()); },
        [&] { return Both((string = given).GetLength(), (plain = text).size()); },
        [&] {
          plain = plain.substr(at, 3 * length);
          return Both((string = string.Mid(index, count * 3)).GetLength(), plain.size());
        },
        [&] {
          plain.resize(at);
          return Both((string = string.Left(index)).GetLength(), at);
        },
        [&] {
          plain.erase(0, plain.size() - at);
          return Both((string = string.Right(index)).GetLength(), at);
        },
        [&] {
          string.GetBuffer(pick(0, 30));
          return Both(string.GetLength(), plain.size());
        },
        [&] {
          plain = plain.size() > 60 ? Plain() : plain + plain.substr(0, 8);
          if (plain.empty()) string.Empty();
          string.Append(string.Left(8));
          return Both(string.GetLength(), plain.size());
        }};
    const std::size_t edit = choices.Below(std::size(edits));
    const auto [result, expected] = edits[edit]();
    const auto fault = [&](const std::string& what) {
      return what + " after edit " + std::to_string(edit) + " to " +
             std::string(plain.begin(), plain.end());
    };
    if (result != static_cast<int>(expected)) return fault("another result");
    for (const String* each : {&string, &other}) {
      if (each->View() != (each == &string ? plain : other_plain)) return fault("another text");
      if (each->GetString()[each->GetLength()] != 0) return fault("no end");
      if (each->GetLength() > each->GetAllocLength()) return fault("too long");
    }
    const auto start = static_cast<std::size_t>(std::max(index, 0));
    // The narrow string finds an empty text at the start of the search.
    const bool is_at_once = text.empty() && sizeof(Unit) == 1 && start < plain.size();
    const auto place = text.empty() ? (is_at_once ? start : kNone) : plain.find(text, start);
    if (string.Find(text.c_str(), index) != position(place) ||
        string.Find(a, index) != position(plain.find(a, start)) ||
        string.ReverseFind(a) != position(plain.rfind(a)) ||
        string.FindOneOf(text.c_str()) != position(plain.find_first_of(text))) {
      return fault("finds another place");
    }
    // Compares the tokens one by one with the tokens as views.
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

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  fuzz::CheckProperty(fuzz::StringEditsFault<CAtlStringA>, data, size);
  return fuzz::CheckProperty(fuzz::StringEditsFault<CAtlString>, data, size);
}
