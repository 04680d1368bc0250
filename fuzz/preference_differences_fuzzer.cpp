// The comparison of orvikprefs: equal lists have no differences, and other lists have some. Each
// difference has the values of both sides. Both directions agree, and the text of a difference is
// one line with everything in it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "plist/forms.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/text.h"

using orvik::fuzz::Require;
using namespace orvik::prefstool;

namespace {

// The value at a path; no value when there is none.
Value Lookup(Value value, const Path& path) {
  for (const std::string& name : path) {
    const auto text = NameUnits(name);
    Require(text.has_value());
    const Value* const found = value.is_dictionary() ? value.Find(*text) : nullptr;
    if (found == nullptr) return {};
    value = Value(*found);
  }
  return value;
}

void Check(const Value& before, const Value& after) {
  Require(Differences(before, before).empty());
  const std::vector<Difference> found = Differences(before, after);
  Require(found.empty() == (before == after));
  const std::vector<Difference> mirrored = Differences(after, before);
  Require(mirrored.size() == found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Difference& one = found[i];
    Require(mirrored[i].path == one.path && mirrored[i].before == one.after &&
            mirrored[i].after == one.before);
    Require(Lookup(before, one.path) == one.before && Lookup(after, one.path) == one.after);
    Require(Escaped(JoinedPath(one.path)).find('\n') == std::string::npos);
  }
}

// Restores the bytes of an escaped text, which must have no control characters.
std::string Unescaped(std::string_view shown) {
  std::string bytes;
  for (std::size_t i = 0; i < shown.size(); ++i) {
    const auto byte = static_cast<unsigned char>(shown[i]);
    Require(byte >= 0x20 && byte != 0x7F);
    if (byte != '\\') {
      bytes += shown[i];
      continue;
    }
    Require(++i < shown.size());
    constexpr std::string_view kLetters = "\\ntr";
    if (const std::size_t letter = kLetters.find(shown[i]); letter != std::string_view::npos) {
      bytes += "\\\n\t\r"[letter];
      continue;
    }
    const std::size_t digits = shown[i] == 'x' ? 2 : 4;
    Require((shown[i] == 'x' || shown[i] == 'u') && i + digits < shown.size());
    const auto value =
        static_cast<char16_t>(std::stoi(std::string(shown.substr(i + 1, digits)), nullptr, 16));
    i += digits;
    bytes += ToUtf8(orvik::CAtlString(std::u16string_view(&value, 1)));
  }
  return bytes;
}

}  // namespace

// The input is two property lists with a 0 byte between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  if (FromUtf8(bytes)) Require(Unescaped(Escaped(bytes)) == bytes);
  std::string_view rest(bytes);
  const std::string_view first = orvik::fuzz::TakePart(rest, '\0');
  const Value before = orvik::plist::Read(first).root, after = orvik::plist::Read(rest).root;
  if (before.is_dictionary() && after.is_dictionary()) Check(before, after);
  return 0;
}
