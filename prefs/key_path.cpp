#include "prefs/key_path.h"

#include <string>
#include <utility>

namespace orvik {

namespace {

constexpr char16_t kSeparator = u'\\';

// Replaces every separator by a backslash and removes those at the ends; those inside stay.
std::u16string Normalised(const CAtlString& path) {
  std::u16string text(path.View());
  for (char16_t& unit : text) {
    if (unit == u'/') unit = kSeparator;
  }
  const std::size_t first = text.find_first_not_of(kSeparator);
  if (first == std::u16string::npos) return {};
  return text.substr(first, text.find_last_not_of(kSeparator) - first + 1);
}

}  // namespace

KeyPath::KeyPath(const CAtlString& path) {
  const std::u16string normalised = Normalised(path);
  text_ = CAtlString(normalised);
  if (normalised.empty()) return;
  std::u16string_view rest = normalised;
  for (;;) {
    const std::size_t end = rest.find(kSeparator);
    names_.emplace_back(rest.substr(0, end));
    if (end == std::u16string_view::npos) return;
    rest.remove_prefix(end + 1);
  }
}

KeyPath KeyPath::FromNames(std::vector<CAtlString> names) {
  KeyPath path;
  std::u16string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += kSeparator;
    text += names[i].View();
  }
  path.text_ = CAtlString(text);
  path.names_ = std::move(names);
  return path;
}

KeyPath KeyPath::Parent() const {
  if (count() <= 1) return KeyPath();
  return FromNames({names_.begin(), names_.end() - 1});
}

int GetDirCountFromPath(CAtlString path) {
  return KeyPath(path).count();
}

CAtlString GetPreferenceNameFromPath(CAtlString path, int index) {
  const KeyPath key_path(path);
  return index < 1 || index > key_path.count() ? CAtlString() : key_path.name(index);
}

CAtlString GetCompanyName() {
  return GetPreferenceNameFromPath(CAtlString(u"Software\\ORVIK Technologies"), 2);
}

CAtlString ExtractMacPreferencePathFromFullPath(CAtlString path) {
  const KeyPath key_path(path);
  CAtlString result = key_path.text();
  if (!key_path.empty() && key_path.name(1) == CAtlString(u"SOFTWARE")) {
    result.Replace(u"SOFTWARE\\ORVIK Technologies\\", u"");
  }
  return result;
}

}  // namespace orvik
