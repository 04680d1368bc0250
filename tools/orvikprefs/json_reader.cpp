#include <algorithm>
#include <charconv>
#include <cstdint>
#include <utility>
#include <vector>

#include "plist/forms.h"
#include "plist/leaves.h"
#include "plist/sink.h"
#include "text/characters.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kEscapeUtf8 = "\xEF\xB7\x90";  // U+FDD0
// A dictionary in a wrapper is two objects of JSON.
constexpr std::size_t kMaximumNesting = 2 * plist::kMaximumDepth + 2;

// RFC 8259, straight into property lists.
class Reader {
 public:
  explicit Reader(std::string_view text, std::size_t at) : text_(text), at_(at) {}

  // Containers that are open stand on a stack of their own, not on the thread's.
  Value ReadValue() {
    for (;;) {
      SkipBlanks();
      const char first = at_ < text_.size() ? text_[at_] : '\0';
      Value value;
      if (first == '{' || first == '[') {
        if (!Open(first)) return {};
        if (!Accept(first == '{' ? '}' : ']')) {
          if (first == '{' && !ReadName()) return {};
          continue;
        }
        value = Close();
      } else {
        value = ReadLeaf();
      }
      // The value may end the container that it is in, which may end the one around it.
      for (;;) {
        if (!value || open_.empty()) return value;
        AddToContainer(std::move(value));
        if (Accept(',')) break;
        if (!Accept(open_.back().is_array ? ']' : '}')) {
          return Fail(open_.back().is_array ? "\",\" or \"]\" is expected"
                                            : "\",\" or \"}\" is expected");
        }
        value = Close();
      }
      if (!open_.back().is_array && !ReadName()) return {};
    }
  }

  void SkipBlanks() {
    while (at_ < text_.size() &&
           (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r')) {
      ++at_;
    }
  }

  // Keeps the first reason alone: later ones follow from it.
  Value Fail(const std::string& reason, std::size_t at) {
    if (reason_.empty()) {
      reason_ = reason;
      failed_at_ = at;
    }
    return {};
  }
  Value Fail(const std::string& reason) { return Fail(reason, at_); }

  // Fails on JSON that is not a property list: names the way to it, too.
  Value Refuse(const std::string& reason, std::size_t at) {
    return Refuse(reason, at, open_.size());
  }

  std::size_t at() const { return at_; }
  bool is_deep() const { return deepest_ > static_cast<int>(plist::kMaximumDepth); }
  TextError error() const {
    return ErrorAt(text_, failed_at_, way_.empty() ? reason_ : reason_ + ": " + Quoted(way_));
  }

 private:
  // The members of an object.
  struct Object {
    Value members = Value::Dictionary();
    std::string only_name;  // of the first member
    std::size_t begin = 0;

    bool IsWrapper() const { return members.count() == 1 && IsWrapperName(only_name); }
  };

  struct Container {
    bool is_array = false;
    Value array;
    Object object;
    Value name;          // of the member that is read
    bool wraps = false;  // whether that name is "$dictionary"
    // Whether an object is a wrapper, and what one in it that is named "$dictionary" means, is only
    // known when everything around it has been read. Until then the objects of such a chain are
    // kept here, the innermost first.
    std::vector<Object> inner;
  };

  bool Open(char bracket) {
    deepest_ = std::max(deepest_, static_cast<int>(open_.size()) + 1);
    if (open_.size() == kMaximumNesting) {
      Refuse("nested too deeply", at_);
      return false;
    }
    Container container;
    container.is_array = bracket == '[';
    container.object.begin = at_++;
    if (container.is_array) container.array = Value::Array();
    open_.push_back(std::move(container));
    return true;
  }

  void AddToContainer(Value value) {
    Container& container = open_.back();
    if (container.is_array) {
      container.array.Append(std::move(value));
    } else {
      container.object.members.SetSharing(std::move(container.name), std::move(value));
    }
  }

  // The value of the innermost container, which is complete.
  Value Close() {
    Container closed = std::move(open_.back());
    open_.pop_back();
    if (closed.is_array) return std::move(closed.array);
    const bool is_kept = !open_.empty() && open_.back().wraps && closed.object.IsWrapper();
    if (!is_kept) return Interpret(std::move(closed.object), std::move(closed.inner));
    Value members = closed.object.members;
    open_.back().inner = std::move(closed.inner);
    open_.back().inner.push_back(std::move(closed.object));
    return members;
  }

  // As the public one, with the way to the container at this depth.
  Value Refuse(const std::string& reason, std::size_t at, std::size_t depth) {
    if (reason_.empty()) {
      for (std::size_t i = 0; i < depth; ++i) {
        const Container& above = open_[i];
        if (i > 0) way_ += '/';
        way_ += above.is_array ? std::to_string(above.array.elements().size())
                               : NameText(above.name.text());
      }
    }
    return Fail(reason, at);
  }

  // Past the character, after blanks.
  bool Accept(char expected) {
    SkipBlanks();
    if (at_ == text_.size() || text_[at_] != expected) return false;
    ++at_;
    return true;
  }

  Value ReadWord(std::string_view word, Value value) {
    if (text_.substr(at_, word.size()) != word) return Fail("this is not a JSON value");
    if (!value) return Refuse("a property list cannot hold null", at_);
    at_ += word.size();
    return value;
  }

  Value ReadLeaf() {
    if (at_ == text_.size()) return Fail("the text ends where a value is expected");
    switch (text_[at_]) {
      case '"':
        return ReadString();
      case 't':
        return ReadWord("true", true);
      case 'f':
        return ReadWord("false", false);
      case 'n':
        return ReadWord("null", Value());
      default:
        return ReadNumber();
    }
  }

  // The name of the next member, and the colon.
  bool ReadName() {
    Container& container = open_.back();
    Object& object = container.object;
    SkipBlanks();
    if (at_ == text_.size() || text_[at_] != '"') {
      Fail("a name in double quotes is expected");
      return false;
    }
    const std::size_t begin = at_;
    Value name = ReadString();
    if (!name) return false;
    if (object.members.Find(name.text()) != nullptr) {
      Refuse("duplicate name " + Quoted(NameText(name.text())), begin, open_.size() - 1);
      return false;
    }
    if (!Accept(':')) {
      Fail("\":\" is expected");
      return false;
    }
    if (object.members.count() == 0) object.only_name = last_string_;
    container.wraps = last_string_ == kDictionaryWrapper;
    container.name = std::move(name);
    return true;
  }

  // The meaning of an object to which nothing around it gives another one. Along the chain of inner
  // objects (the innermost first), a wrapper is followed by the dictionary that it holds.
  Value Interpret(Object object, std::vector<Object> inner) {
    std::size_t wrappers_at = object.IsWrapper() ? 0 : 1;  // whether even or odd links are wrappers
    inner.push_back(std::move(object));
    wrappers_at = (inner.size() - 1 + wrappers_at) % 2;
    Value value = wrappers_at == 0 ? Unwrapped(inner[0]) : inner[0].members;
    for (std::size_t i = 1; i < inner.size() && value; ++i) {
      if (i % 2 == wrappers_at) continue;  // its value is the dictionary inside
      inner[i].members.Set(plist::Text::Ascii(kDictionaryWrapper), std::move(value));
      value = std::move(inner[i].members);
    }
    return value;
  }

  // The value of a wrapper whose content is not a wrapper.
  Value Unwrapped(const Object& object) {
    const Value content = *object.members.Find(plist::Text::Ascii(object.only_name));
    if (object.only_name == kDictionaryWrapper) {
      return content.is_dictionary() ? content
                                     : Refuse("\"$dictionary\" must hold an object", object.begin);
    }
    if (!content.is_string()) {
      return Refuse("\"" + object.only_name + "\" must hold a string", object.begin);
    }
    const Type type = object.only_name == kDateWrapper   ? Type::kDate
                      : object.only_name == kDataWrapper ? Type::kData
                                                         : Type::kReal;
    const std::string text = content.text().ToUtf8();
    const bool other_real = type == Type::kReal && text != "nan" && text != "inf" && text != "-inf";
    Value value = other_real ? Value() : ParseValue(type, text);
    const std::string why = other_real ? "not \"nan\", \"inf\" or \"-inf\"" : WhyNot(type, text);
    return value ? std::move(value)
                 : Refuse("\"" + object.only_name + "\" is malformed: " + why, object.begin);
  }

  Value ReadNumber() {
    const std::size_t begin = at_;
    const auto digits = [&] {
      const std::size_t first = at_;
      while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9') ++at_;
      return at_ > first;
    };
    const auto take = [&](char one, char other) {
      const bool found = at_ < text_.size() && (text_[at_] == one || text_[at_] == other);
      if (found) ++at_;
      return found;
    };
    take('-', '-');
    const bool zero = at_ < text_.size() && text_[at_] == '0';
    if (zero ? (++at_, false) : !digits()) return Fail("this is not a JSON value", begin);
    bool real = false;
    if (take('.', '.')) {
      real = true;
      if (!digits()) return Fail("a digit is expected");
    }
    if (take('e', 'E')) {
      real = true;
      take('+', '-');
      if (!digits()) return Fail("a digit is expected");
    }
    Value value = ParseValue(real ? Type::kReal : Type::kInteger, text_.substr(begin, at_ - begin));
    return value ? std::move(value)
                 : Refuse(real ? "the number is out of the range of a double"
                               : "an integer of more than 64 bits",
                          begin);
  }

  // Also puts the text into last_string_.
  Value ReadString() {
    const std::size_t begin = at_++;
    last_string_.clear();
    for (;;) {
      std::size_t end = at_;
      while (end < text_.size() && text_[end] != '"' && text_[end] != '\\' &&
             static_cast<unsigned char>(text_[end]) >= 0x20) {
        ++end;
      }
      last_string_.append(text_, at_, end - at_);
      at_ = end;
      if (end == text_.size()) return Fail("unterminated string", begin);
      if (text_[end] == '"') break;
      if (text_[end] != '\\') {
        return Fail("unescaped control character in a string", at_);
      }
      if (!ReadEscape()) return {};
    }
    ++at_;
    return MakeString(begin);
  }

  Value MakeString(std::size_t begin) {
    std::optional<Value> string = Value::FromUtf8(last_string_);
    if (!string) return Fail("the string is not UTF-8", begin);
    if (last_string_.find(kEscapeUtf8) == std::string::npos) return *std::move(string);
    std::u16string units = string->text().ToUnits();
    plist::UnescapeText(units);
    return units;
  }

  bool ReadEscape() {
    const std::size_t begin = at_++;
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const char letter = at_ < text_.size() ? text_[at_++] : '\0';
    if (const std::size_t known = kLetters.find(letter); known != std::string_view::npos) {
      last_string_ += kMeanings[known];
      return true;
    }
    std::uint32_t point = 0;
    bool sound = letter == 'u' && ReadUnit(&point);
    if (sound && IsHighSurrogate(point)) {
      std::uint32_t low = 0;
      sound = text_.substr(at_, 2) == "\\u" && (at_ += 2, ReadUnit(&low)) && IsLowSurrogate(low);
      point = FromSurrogates(point, low);
    } else if (IsLowSurrogate(point)) {
      sound = false;
    }
    if (!sound) {
      Fail("a malformed escape in a string", begin);
      return false;
    }
    AppendCharacter(last_string_, point);
    return true;
  }

  bool ReadUnit(std::uint32_t* unit) {
    const std::string_view digits = text_.substr(at_, 4);
    const auto [end, error] =
        std::from_chars(digits.data(), digits.data() + digits.size(), *unit, 16);
    if (error != std::errc() || end != digits.data() + 4) return false;
    at_ += 4;
    return true;
  }

  std::string_view text_;
  std::size_t at_;
  std::vector<Container> open_;  // the innermost last
  int deepest_ = 0;
  std::string last_string_;
  std::string way_;  // names and indices that lead to what failed
  std::string reason_;
  std::size_t failed_at_ = 0;
};

Value Finish(Reader& reader, Value value, TextError* error) {
  if (value && reader.is_deep() && plist::FindFault(value)) {
    value = reader.Fail("nested too deeply");
  }
  if (!value) *error = reader.error();
  return value;
}

}  // namespace

TextError ErrorAt(std::string_view text, std::size_t byte, std::string reason) {
  TextError error;
  error.byte = std::min(byte, text.size());
  const std::string_view before = text.substr(0, error.byte);
  error.line = 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
  const std::size_t line_end = before.rfind('\n');
  error.column = before.size() - (line_end == std::string_view::npos ? 0 : line_end + 1) + 1;
  error.reason = std::move(reason);
  return error;
}

std::string TextError::Message() const {
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + " (byte " +
         std::to_string(byte) + "): " + reason;
}

Value ReadJson(std::string_view text, TextError* error) {
  Reader reader(text, text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
  Value value = reader.ReadValue();
  reader.SkipBlanks();
  if (value && reader.at() != text.size()) value = reader.Fail("unexpected text after the value");
  return Finish(reader, std::move(value), error);
}

Value ReadJsonPart(std::string_view text, std::size_t* at, TextError* error) {
  Reader reader(text, *at);
  Value value = reader.ReadValue();
  *at = reader.at();
  return Finish(reader, std::move(value), error);
}

}  // namespace orvik::prefstool
