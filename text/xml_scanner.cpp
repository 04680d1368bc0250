#include "text/xml_scanner.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <system_error>

#include "text/transcoding.h"

namespace orvik {
namespace {

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::string_view kSection = "<![CDATA[";
constexpr std::string_view kSectionEnd = "]]>";
constexpr std::string_view kComment = "<!--";
constexpr std::string_view kCommentEnd = "-->";
constexpr std::string_view kDocumentType = "<!DOCTYPE";
constexpr std::string_view kInstruction = "<?";
constexpr std::string_view kInstructionEnd = "?>";

constexpr char32_t kNoCharacter = std::numeric_limits<char32_t>::max();

// Skips the construct that begins at `at` with `opening`; false without its `closing`.
bool SkipBehind(std::string_view text, std::size_t& at, std::string_view opening,
                std::string_view closing) {
  const std::size_t end = text.find(closing, at + opening.size());
  if (end == std::string_view::npos) return false;
  at = end + closing.size();
  return true;
}

// A document type ends with the first ">" outside quotes, comments and the internal subset in
// brackets.
bool SkipDocumentType(std::string_view text, std::size_t& at) {
  bool in_subset = false;
  for (std::size_t i = at + 2; i < text.size();) {
    const std::string_view rest = text.substr(i);
    const char c = rest[0];
    if (c == '"' || c == '\'') {
      const std::size_t end = text.find(c, i + 1);
      if (end == std::string_view::npos) return false;
      i = end + 1;
    } else if (rest.starts_with(kComment)) {
      if (!SkipBehind(text, i, kComment, kCommentEnd)) return false;
    } else if (rest.starts_with(kInstruction)) {
      if (!SkipBehind(text, i, kInstruction, kInstructionEnd)) return false;
    } else if (c == '>' && !in_subset) {
      at = i + 1;
      return true;
    } else {
      if (c == '[') in_subset = true;
      if (c == ']') in_subset = false;
      ++i;
    }
  }
  return false;
}

// Skips the markup at `at`, which begins with "<!" or "<?".
bool SkipMarkup(std::string_view text, std::size_t& at) {
  const std::string_view rest = text.substr(at);
  if (rest.starts_with(kInstruction)) {
    return SkipBehind(text, at, kInstruction, kInstructionEnd);
  }
  if (rest.starts_with(kComment)) return SkipBehind(text, at, kComment, kCommentEnd);
  if (rest.starts_with(kSection)) return SkipBehind(text, at, kSection, kSectionEnd);
  return rest.starts_with(kDocumentType) && SkipDocumentType(text, at);
}

// The character of an entity or character reference. `name` has no "&" and ";".
char32_t ReferencedCharacter(std::string_view name) {
  if (name == "lt") return U'<';
  if (name == "gt") return U'>';
  if (name == "amp") return U'&';
  if (name == "quot") return U'"';
  if (name == "apos") return U'\'';
  if (name.size() < 2 || name[0] != '#') return kNoCharacter;
  name.remove_prefix(1);
  int base = 10;
  if (name[0] == 'x') {
    base = 16;
    name.remove_prefix(1);
  }
  std::uint32_t character = 0;
  const auto [stop, error] =
      std::from_chars(name.data(), name.data() + name.size(), character, base);
  if (error != std::errc() || stop != name.data() + name.size() || character > kLastCharacter) {
    return kNoCharacter;
  }
  return character;
}

bool AppendUtf8(std::u16string& result, std::string_view bytes) {
  const std::size_t before = result.size();
  result.resize(before + bytes.size());
  const char* source = bytes.data();
  char16_t* target = result.data() + before;
  const TranscodingStop stop =
      DecodeUtf8(source, source + bytes.size(), target, result.data() + result.size());
  result.resize(static_cast<std::size_t>(target - result.data()));
  return stop == TranscodingStop::kDone;
}

// Takes a reference or a line end off the front of `data`.
bool AppendSpecial(std::u16string& result, std::string_view& data) {
  if (data.front() == '\r') {
    data.remove_prefix(data.starts_with("\r\n") ? 2 : 1);
    result += u'\n';
    return true;
  }
  const std::size_t end = data.find(';');
  if (end == std::string_view::npos) return false;
  const char32_t character = ReferencedCharacter(data.substr(1, end - 1));
  if (character == kNoCharacter) return false;
  AppendCharacter(result, character);
  data.remove_prefix(end + 1);
  return true;
}

// Appends a run without markup. `specials` is "\r" in a section and "&\r" elsewhere.
bool AppendRun(std::u16string& result, std::string_view data, const char* specials) {
  while (!data.empty()) {
    const std::size_t plain = std::min(data.size(), data.find_first_of(specials));
    if (!AppendUtf8(result, data.substr(0, plain))) return false;
    data.remove_prefix(plain);
    if (!data.empty() && !AppendSpecial(result, data)) return false;
  }
  return true;
}

// Takes the next run of characters off the front of mixed data. A comment or an instruction gives
// an empty run.
std::string_view TakeRun(std::string_view& data, bool& is_section) {
  std::size_t end = std::min(data.size(), data.find('<'));
  std::size_t behind = end;
  const bool is_whole = end != 0 || SkipMarkup(data, behind);
  if (!is_whole) end = behind = data.size();
  is_section = end == 0 && data.starts_with(kSection);
  std::string_view run = data.substr(0, end);
  if (is_section) {
    run = data.substr(kSection.size(), behind - kSection.size() - kSectionEnd.size());
  }
  data.remove_prefix(behind);
  return run;
}

}  // namespace

XmlScanner::Tag XmlScanner::Next() {
  const std::size_t start = position_;
  std::size_t at = start;
  is_mixed_ = false;
  for (;;) {
    at = text_.find('<', at);
    if (at == std::string_view::npos) {
      character_data_ = text_.substr(start);
      begin_ = position_ = text_.size();
      return Tag::kNone;
    }
    begin_ = at;
    const char next = at + 1 < text_.size() ? text_[at + 1] : '\0';
    if (next != '!' && next != '?') break;
    is_mixed_ = true;
    const bool in_element = start > 0;
    if ((in_element && text_.substr(at).starts_with(kDocumentType)) || !SkipMarkup(text_, at)) {
      return Tag::kMalformed;
    }
  }
  character_data_ = text_.substr(start, at - start);
  return ReadTag();
}

XmlScanner::Tag XmlScanner::ReadTag() {
  std::size_t at = begin_ + 1;
  const bool is_end = at < text_.size() && text_[at] == '/';
  if (is_end) ++at;
  const std::size_t name_begin = at;
  while (at < text_.size() && text_[at] != '>' && text_[at] != '/' && text_[at] != '<' &&
         !IsXmlSpace(text_[at])) {
    ++at;
  }
  name_ = text_.substr(name_begin, at - name_begin);
  attributes_ = {};
  if (name_.empty() || at == text_.size()) return Tag::kMalformed;
  if (text_[at] != '>') {
    const std::size_t attributes_begin = at;
    if (!FindTagEnd(at)) return Tag::kMalformed;
    attributes_ = text_.substr(attributes_begin, at - attributes_begin);
  }
  position_ = at + 1;
  if (attributes_.ends_with('/')) {
    attributes_.remove_suffix(1);
    return is_end ? Tag::kMalformed : Tag::kEmpty;
  }
  if (is_end && attributes_.find_first_not_of(kSpace) != std::string_view::npos) {
    return Tag::kMalformed;
  }
  return is_end ? Tag::kEnd : Tag::kStart;
}

// Moves to the ">" of a tag with attributes: names, "=" and quoted values without "<".
bool XmlScanner::FindTagEnd(std::size_t& at) const {
  const auto skip_space = [&] {
    while (at < text_.size() && IsXmlSpace(text_[at])) ++at;
  };
  for (;;) {
    const std::size_t before = at;
    skip_space();
    if (at == text_.size()) return false;
    if (text_[at] == '>') return true;
    if (text_[at] == '/') return ++at < text_.size() && text_[at] == '>';
    const std::size_t name = at;
    at = text_.find_first_of("=<>\"'/ \t\r\n", at);
    if (at == std::string_view::npos || at == name || name == before) return false;
    skip_space();
    if (at == text_.size() || text_[at] != '=') return false;
    ++at;
    skip_space();
    if (at == text_.size() || (text_[at] != '"' && text_[at] != '\'')) return false;
    const std::size_t value = at + 1;
    at = text_.find(text_[at], value);
    if (at == std::string_view::npos ||
        text_.substr(value, at - value).find('<') != std::string_view::npos) {
      return false;
    }
    ++at;
  }
}

bool AppendXmlText(std::u16string& result, std::string_view data) {
  while (!data.empty()) {
    bool is_section = false;
    const std::string_view run = TakeRun(data, is_section);
    if (!AppendRun(result, run, is_section ? "\r" : "&\r")) return false;
  }
  return true;
}

std::string_view XmlReference(char byte) {
  if (byte == '&') return "&amp;";
  if (byte == '<') return "&lt;";
  if (byte == '>') return "&gt;";
  if (byte == '"') return "&quot;";
  if (byte == '\'') return "&apos;";
  return byte == '\r' ? "&#13;" : std::string_view();
}

std::size_t FindXmlText(std::string_view data) {
  const char* const begin = data.data();
  while (!data.empty()) {
    bool is_section = false;
    const std::string_view run = TakeRun(data, is_section);
    const std::size_t text = run.find_first_not_of(kSpace);
    if (text != std::string_view::npos) return static_cast<std::size_t>(run.data() - begin) + text;
  }
  return std::string_view::npos;
}

std::string_view XmlAttribute(std::string_view attributes, std::string_view name) {
  while (!attributes.empty()) {
    const std::size_t equals = attributes.find('=');
    const std::size_t quote = attributes.find_first_of("\"'", equals);
    if (equals == std::string_view::npos || quote == std::string_view::npos) break;
    const std::size_t end = attributes.find(attributes[quote], quote + 1);
    if (end == std::string_view::npos) break;
    std::string_view own_name = attributes.substr(0, equals);
    own_name.remove_prefix(std::min(own_name.size(), own_name.find_first_not_of(kSpace)));
    own_name = own_name.substr(0, own_name.find_last_not_of(kSpace) + 1);
    if (own_name == name) return attributes.substr(quote + 1, end - quote - 1);
    attributes.remove_prefix(end + 1);
  }
  return {};
}

}  // namespace orvik
