#include "tools/orvikprefs/text.h"

#include "strings/utf8_strings.h"
#include "text/characters.h"

namespace orvik::prefstool {

std::optional<CAtlString> FromUtf8(std::string_view bytes) {
  CAtlString text;
  if (!WideFromUtf8(bytes, text)) return std::nullopt;
  return text;
}

std::string ToUtf8(const CAtlString& text) {
  return plist::Text(text.View()).ToUtf8();
}

std::string Quoted(std::string_view utf8) {
  constexpr std::size_t kHead = 120, kTail = 60;
  if (utf8.size() <= kHead + kTail + 20) return '"' + Escaped(utf8) + '"';
  std::size_t head = kHead, tail = utf8.size() - kTail;
  while (head > 0 && IsContinuation(utf8[head])) --head;
  while (tail < utf8.size() && IsContinuation(utf8[tail])) ++tail;
  return '"' + Escaped(utf8.substr(0, head)) + "\"...\"" + Escaped(utf8.substr(tail)) + "\" (" +
         std::to_string(utf8.size()) + " bytes)";
}

std::string Quoted(const CAtlString& text) {
  return Quoted(ToUtf8(text));
}

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

std::string Counted(std::size_t count, std::string_view one, std::string_view several) {
  return std::to_string(count) + " " + std::string(count == 1 ? one : several);
}

KeyPath KeyAt(const CommandLine& line, std::size_t index) {
  return *ParseKey(line.Argument(index));
}

CAtlString NameAt(const CommandLine& line, std::size_t index) {
  return *NameUnits(line.Argument(index));
}

}  // namespace orvik::prefstool
