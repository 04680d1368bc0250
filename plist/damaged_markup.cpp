#include "plist/damaged_markup.h"

#include <algorithm>

namespace orvik::plist {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kNames[] = {"dict", "array", "key",  "string", "integer", "real",
                                       "true", "false", "date", "data",   "plist"};
constexpr std::size_t kNowhere = std::string_view::npos;
using Kind = DamagedMarkup::Kind;
using Token = DamagedMarkup::Token;

// The text of a tag between "<" and ">", in one of the forms "dict", "/dict" or "dict/".
struct Form {
  Kind kind;
  std::string_view name;

  std::size_t size() const { return name.size() + (kind == Kind::kStart ? 0 : 1); }
  char at(std::size_t index) const {
    if (kind == Kind::kEnd) return index == 0 ? '/' : name[index - 1];
    return index < name.size() ? name[index] : '/';
  }
  // Whether the body has the same length and differs in at most `most` bytes.
  bool IsNear(std::string_view body, int most) const {
    if (body.size() != size()) return false;
    int wrong = 0;
    for (std::size_t i = 0; i < body.size(); ++i) wrong += body[i] != at(i) ? 1 : 0;
    return wrong <= most;
  }
  // Whether the body is this form without one of its bytes.
  bool IsLongerByOne(std::string_view body) const {
    if (body.size() + 1 != size()) return false;
    std::size_t same = 0;
    while (same < body.size() && body[same] == at(same)) ++same;
    for (std::size_t i = same; i < body.size(); ++i) {
      if (body[i] != at(i + 1)) return false;
    }
    return true;
  }
  bool Begins(std::string_view text) const {
    return text.size() > size() && IsNear(text.substr(0, size()), 0);
  }
};

template <class Match>
bool FindForm(Match match, Form& found) {
  // Tries the longer forms first, because "dict/" begins with "dict".
  for (const Kind kind : {Kind::kEnd, Kind::kEmpty, Kind::kStart}) {
    for (const std::string_view name : kNames) {
      const Form form{kind, name};
      if (match(form)) {
        found = form;
        return true;
      }
    }
  }
  return false;
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kBlanks) == kNowhere;
}

int TabsAfterLineEnd(std::string_view gap) {
  const bool is_line = !gap.empty() && gap[0] == '\n' && gap.find_first_not_of('\t', 1) == kNowhere;
  return is_line ? static_cast<int>(gap.size()) - 1 : -1;
}

// The body of a tag up to its attributes.
std::string_view WithoutAttributes(std::string_view body) {
  const std::size_t blank = body.find_first_of(kBlanks);
  if (blank == kNowhere) return body;
  return body.substr(0, blank);
}

}  // namespace

Token DamagedMarkup::Next() {
  int tabs = -1;
  while (position_ < text_.size()) {
    if (text_[position_] != '<') {
      const std::size_t begin = position_;
      position_ = std::min(text_.size(), text_.find('<', begin));
      const std::string_view gap = text_.substr(begin, position_ - begin);
      tabs = TabsAfterLineEnd(gap);
      if (IsBlank(gap)) continue;
      return {Kind::kText, {}, false, false, begin, position_, -1};
    }
    if (SkipUnseen()) {
      tabs = -1;
      continue;
    }
    Token token = ReadTag();
    token.tabs = tabs;
    position_ = token.end;
    is_in_prolog_ = is_in_prolog_ && token.name == "plist";
    return token;
  }
  return {Kind::kNone, {}, false, false, text_.size(), text_.size(), -1};
}

// Skips a comment, an instruction or the document type.
bool DamagedMarkup::SkipUnseen() {
  const std::string_view rest = text_.substr(position_);
  if (rest.starts_with("<?")) {
    const std::size_t next = std::min(rest.size(), rest.find('<', 1));
    const std::size_t end = rest.substr(0, next).find("?>", 2);
    if (end == kNowhere) return false;
    position_ += end + 2;
    return true;
  }
  return rest.starts_with("<!--") ? SkipComment()
                                  : rest.starts_with("<!DOCTYPE") && SkipDocumentType();
}

// XML allows no "--" in a comment. A comment that contains one has a damaged end, unless its end
// follows before the next markup.
bool DamagedMarkup::SkipComment() {
  const std::size_t dashes = text_.find("--", position_ + 4);
  if (dashes == kNowhere) return false;
  const std::size_t next = std::min(text_.size(), text_.find('<', dashes));
  const std::size_t end = text_.substr(dashes, next - dashes).find("-->");
  if (end == kNowhere) return false;
  position_ = dashes + end + 3;
  return true;
}

bool DamagedMarkup::SkipDocumentType() {
  const std::size_t end = text_.find_first_of("<>[", position_ + 2);
  if (!is_in_prolog_ || end == kNowhere || text_[end] == '<') return false;
  std::size_t behind = end + 1;
  if (text_[end] == '[') {
    is_in_prolog_ = false;  // a list has one document type
    const std::size_t subset_end = text_.find("]>", end);
    if (subset_end == kNowhere) return false;
    behind = subset_end + 2;
  }
  position_ = behind;
  return true;
}

// Tries the surest reading first: the exact name, then one wrong byte, then one missing byte.
// Otherwise the tag is an unknown element with the name as it is written.
Token DamagedMarkup::ReadTag() const {
  const std::size_t end = text_.find_first_of("<>", position_ + 1);
  const bool is_whole = end != kNowhere && text_[end] == '>';
  Token token;
  token.begin = position_;
  token.end = is_whole ? end + 1 : std::min(end, text_.size());
  std::string_view body = text_.substr(position_ + 1, token.end - position_ - (is_whole ? 2 : 1));
  const std::string_view written = WithoutAttributes(body);
  const bool is_empty_with_attributes = written.size() < body.size() && body.ends_with('/');
  Form form{};
  if (end != kNowhere && !is_whole) {
    // A wrong byte inside the tag may have become a "<".
    constexpr std::size_t kLongest = sizeof "/integer" - 1;
    const std::string_view rest = text_.substr(position_ + 1, kLongest + 1);
    const std::size_t close = std::min(rest.size(), rest.find('>'));
    const auto is_near = [&](const Form& f) { return f.IsNear(rest.substr(0, close), 1); };
    if (close < rest.size() && FindForm(is_near, form)) {
      return {form.kind, form.name, true, true, position_, position_ + close + 2, -1};
    }
  }
  if (is_whole && FindForm([&](const Form& f) { return f.IsNear(written, 0); }, form)) {
    token.kind = is_empty_with_attributes ? Kind::kEmpty : form.kind;
    token.name = form.name;
    token.ends_in_blank = token.kind == Kind::kStart && written.size() + 1 == body.size();
    return token;
  }
  token.is_damaged = true;
  const bool is_found =
      is_whole ? FindForm([&](const Form& f) { return f.IsNear(body, 1); }, form) ||
                     FindForm([&](const Form& f) { return f.IsNear(written, 1); }, form) ||
                     FindForm([&](const Form& f) { return f.IsLongerByOne(written); }, form)
               : FindForm([&](const Form& f) { return f.Begins(body); }, form);
  if (is_found) {
    token.kind = form.kind;
    token.name = form.name;
    return token;
  }
  token.is_known = false;
  token.kind = written.starts_with('/') ? Kind::kEnd
               : written.ends_with('/') ? Kind::kEmpty
                                        : Kind::kStart;
  token.name = written;
  if (token.kind == Kind::kEnd) token.name.remove_prefix(1);
  return token;
}

std::size_t DamagedMarkup::FindEnd(std::string_view end, std::size_t from, bool& is_missing) const {
  const std::size_t found = is_missing ? kNowhere : text_.find(end, from);
  is_missing = found == kNowhere;
  return found;
}

std::size_t DamagedMarkup::EndOfSimple(std::string_view name, std::size_t from,
                                       std::size_t& found) {
  const std::size_t back = position_;
  for (std::size_t at = from;;) {
    at = found = std::min(text_.size(), text_.find('<', at));
    const std::string_view rest = text_.substr(at);
    if (rest.starts_with("</") && rest.substr(2).starts_with(name)) {
      const std::size_t end = rest.find_first_not_of(kBlanks, 2 + name.size());
      return end != kNowhere && rest[end] == '>' ? at + end + 1 : kNowhere;
    }
    if (rest.starts_with("<![CDATA[")) {
      const std::size_t end = FindEnd("]]>", at, no_section_end_);
      if (end == kNowhere) return kNowhere;
      at = end + 3;
      continue;
    }
    position_ = at;
    const bool is_skipped = (rest.starts_with("<!--") || rest.starts_with("<?")) && SkipUnseen();
    at = position_;
    position_ = back;
    if (!is_skipped) return kNowhere;
  }
}

Token DamagedMarkup::ContainerIn(std::string_view text) {
  for (std::size_t end = text.find('>'); end != kNowhere; end = text.find('>', end + 1)) {
    Form form{};
    const auto is_before = [&](const Form& f) {
      return f.size() < end && f.IsNear(text.substr(end - f.size(), f.size()), 0);
    };
    if (FindForm(is_before, form) && (form.name == "dict" || form.name == "array")) {
      return {form.kind, form.name, true, true, end - form.size(), end + 1, -1};
    }
  }
  return {};
}

}  // namespace orvik::plist
