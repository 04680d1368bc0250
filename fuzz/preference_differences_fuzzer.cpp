// How orvikprefs compares: equal lists do not differ, others do, each difference is what exists
// on both sides, the other way round they mirror, and the text shown is one line that holds all.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "platform/core_foundation/property_list.h"
#include "plist/forms.h"
#include "prefs/auto_release.h"
#include "tools/orvikprefs/differences.h"
#include "tools/orvikprefs/text.h"

using orvik::fuzz::Require;
using namespace orvik::prefstool;
using Kind = Difference::Kind;

namespace {

// The value at a path; null when there is none. False when the path cannot be followed, because a
// name in it has no UTF-8.
bool Lookup(orvik::CFDictionaryRef root, const Path& path, orvik::CFPropertyListRef* value) {
  *value = root;
  for (const std::string& name : path) {
    if (name.find("\xEF\xBF\xBD") != std::string::npos) return false;
    const auto text = FromUtf8(name);
    Require(text.has_value());
    const orvik::CAutoCFRelease<orvik::CFStringRef> key(text->CreateCFStringRef(nullptr));
    if (!IsDictionary(*value)) {
      *value = nullptr;
      return true;
    }
    *value = orvik::CFDictionaryGetValue(static_cast<orvik::CFDictionaryRef>(*value), key);
  }
  return true;
}

void Check(orvik::CFDictionaryRef before, orvik::CFDictionaryRef after) {
  Require(Differences(before, before).empty());
  const std::vector<Difference> found = Differences(before, after);
  Require(found.empty() == orvik::IsSameValue(before, after));
  const std::vector<Difference> mirrored = Differences(after, before);
  Require(mirrored.size() == found.size());
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Difference& one = found[i];
    Require((one.before == nullptr) == (one.kind == Kind::kAdded));
    Require((one.after == nullptr) == (one.kind == Kind::kRemoved));
    Require(mirrored[i].path == one.path && mirrored[i].before == one.after &&
            mirrored[i].after == one.before);
    orvik::CFPropertyListRef value = nullptr;
    if (Lookup(before, one.path, &value)) Require(value == one.before);
    if (Lookup(after, one.path, &value)) Require(value == one.after);
    const std::string shown = Escaped(JoinedPath(one.path));
    Require(shown.find('\n') == std::string::npos);
  }
}

// The bytes behind an escaped text, which has no control character.
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

// Two property lists with a 0 byte between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes = orvik::fuzz::Bytes(data, size);
  if (FromUtf8(bytes)) Require(Unescaped(Escaped(bytes)) == bytes);
  std::string_view rest(bytes);
  const std::string_view first = orvik::fuzz::TakePart(rest, '\0');
  const orvik::CAutoCFRelease<orvik::CFTypeRef> before(
      orvik::CreateObject(orvik::plist::Read(first).root, 0));
  const orvik::CAutoCFRelease<orvik::CFTypeRef> after(
      orvik::CreateObject(orvik::plist::Read(rest).root, 0));
  if (!before || !after || !IsDictionary(before) || !IsDictionary(after)) return 0;
  Check(static_cast<orvik::CFDictionaryRef>(before.Get()),
        static_cast<orvik::CFDictionaryRef>(after.Get()));
  return 0;
}
