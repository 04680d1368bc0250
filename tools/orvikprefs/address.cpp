#include "tools/orvikprefs/address.h"

#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

std::string QuotedPath(const Path& path) {
  constexpr std::size_t kLongest = 200;
  const std::string joined = JoinedPath(path);
  return joined.starts_with('[') && joined.size() <= kLongest ? joined : Quoted(joined);
}

std::string KeyText(const KeyPath& key) {
  return key.empty() ? "the domain's top level" : "key " + QuotedPath(PathOf(key));
}

std::string ValueAddress(const KeyPath& key, const CAtlString& name) {
  return Quoted(name) + " in " + KeyText(key);
}

KeyPath KeyAt(const CommandLine& line, std::size_t index) {
  return *ParseKey(line.Argument(index));
}

CAtlString NameAt(const CommandLine& line, std::size_t index) {
  return *FromUtf8(line.Argument(index));
}

}  // namespace orvik::prefstool
