#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "plist/forms.h"
#include "plist/leaves.h"
#include "plist/sink.h"
#include "text/characters.h"
#include "text/shown_text.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
// A dictionary in a wrapper is two objects of JSON.
constexpr std::size_t kMaximumNesting = 2 * plist::kMaximumDepth + 2;

// RFC 8259, directly into property lists, without a tree of JSON in between.
//
// A text of n bytes takes time and memory proportional to n, however deep it is nested: open
// containers are on the reader's own stack. The first fault ends the reading; its position is the
// byte where it is detected, or the beginning of the faulty string, number or wrapper.
class Reader {
 public:
  explicit Reader(std::string_view text, std::size_t at) : text_(text), at_(at) {}

  // Open containers are on a stack of the reader, not on the thread's.
  Value ReadValue() {
    for (;;) {
      SkipBlanks();
      const char first = at_ < text_.size() ? text_[at_] : '\0';
      Reading reading;
      if (first == '{' || first == '[') {
        if (!Open(first)) return {};
        if (!Accept(first == '{' ? '}' : ']')) {
          if (first == '{' && !ReadName()) return {};
          continue;
        }
        reading = Close();
      } else {
        reading.value = ReadLeaf();
        if (!reading.value) return {};
      }
      // The value may be the last of its container, which may be the last of its own container.
      for (;;) {
        const bool is_content = !open_.empty() && open_.back().wraps;
        if (!reading.value && !is_content) return Fail(std::move(reading.fault));
        if (open_.empty()) return std::move(reading.value);
        AddToContainer(std::move(reading));
        if (Accept(',')) break;
        if (!Accept(open_.back().is_array ? ']' : '}')) {
          return Fail(open_.back().is_array ? "\",\" or \"]\" is expected"
                                            : "\",\" or \"}\" is expected");
        }
        reading = Close();
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

  struct Fault {
    std::string reason;
    std::size_t at = 0;
    std::string way;  // names and indices that lead to it
  };

  // The result of every reading function after a fault.
  struct Failed {
    operator Value() const { return {}; }
    operator bool() const { return false; }
  };
  // Keeps only the first fault: later ones follow from it.
  Failed Fail(Fault fault) {
    if (fault_.reason.empty()) fault_ = std::move(fault);
    return {};
  }
  Failed Fail(const std::string& reason, std::size_t at) { return Fail(Fault{reason, at, ""}); }
  Failed Fail(const std::string& reason) { return Fail(reason, at_); }
  // Fails for JSON that cannot be a property list.
  Failed Refuse(const std::string& reason, std::size_t at) {
    return Fail(FaultBelow(open_.size(), reason, at));
  }

  std::size_t at() const { return at_; }
  bool is_deep() const { return deepest_ > static_cast<int>(plist::kMaximumDepth); }
  TextError error() const {
    const std::string way = fault_.way.empty() ? "" : ": " + Quoted(fault_.way);
    return ErrorAt(text_, fault_.at, fault_.reason + way);
  }

 private:
  // A complete value. An object with only the name of a wrapper is a wrapper, except as the content
  // of "$dictionary": there it is a plain dictionary. Which of the two it is, is known only when
  // the objects around it have been read, so both are kept until then.
  struct Reading {
    Value value;  // none for a fault
    Value plain;  // the object as a dictionary; none for a fault or another type
    Fault fault;  // the fault of one of the two
  };

  struct Container {
    bool is_array = false;
    std::size_t begin = 0;
    Value value;                     // the array, or the members of the object
    Value name;                      // of the current member
    bool wraps = false;              // whether that name is "$dictionary"
    std::string only_name;           // of the first member
    std::optional<Reading> content;  // of the member "$dictionary"
  };

  bool Open(char bracket) {
    deepest_ = std::max(deepest_, static_cast<int>(open_.size()) + 1);
    if (open_.size() == kMaximumNesting) return Refuse("nested too deeply", at_);
    Container container;
    container.is_array = bracket == '[';
    container.begin = at_++;
    container.value = container.is_array ? Value::Array() : Value::Dictionary();
    open_.push_back(std::move(container));
    return true;
  }

  void AddToContainer(Reading reading) {
    Container& container = open_.back();
    if (container.is_array) {
      container.value.Append(std::move(reading.value));
      return;
    }
    const Value& value = reading.value ? reading.value : Value::Dictionary();
    container.value.SetSharing(std::move(container.name), value);
    if (container.wraps) container.content = std::move(reading);
  }

  // Ends the innermost container, which is complete.
  Reading Close() {
    const Container closed = std::move(open_.back());
    open_.pop_back();
    if (closed.is_array) return {closed.value, {}, {}};
    Reading reading;
    if (closed.content) reading.fault = closed.content->fault;
    if (!closed.content || closed.content->value) reading.plain = closed.value;
    const bool is_wrapper = closed.value.count() == 1 && IsWrapperName(closed.only_name);
    if (!is_wrapper) {
      reading.value = reading.plain;
    } else if (!closed.content) {
      reading.value = Unwrapped(closed, &reading.fault);
    } else {
      reading.value = closed.content->plain;
      const bool is_object = reading.value || !reading.fault.reason.empty();
      if (!is_object) reading.fault = WrapperFault(closed, " must hold an object");
    }
    return reading;
  }

  // The fault, with the path to the container at this depth.
  Fault FaultBelow(std::size_t depth, const std::string& reason, std::size_t at) const {
    std::string way;
    for (std::size_t i = 0; i < depth; ++i) {
      const Container& above = open_[i];
      if (i > 0) way += '/';
      way += above.is_array ? std::to_string(above.value.elements().size())
                            : NameText(above.name.text());
    }
    return {reason, at, way};
  }
  Fault WrapperFault(const Container& wrapper, const std::string& reason) const {
    return FaultBelow(open_.size(), '"' + wrapper.only_name + '"' + reason, wrapper.begin);
  }

  // Skips blanks, then the character if it is the expected one.
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

  // Reads the name of the next member, and the colon.
  bool ReadName() {
    Container& container = open_.back();
    SkipBlanks();
    if (at_ == text_.size() || text_[at_] != '"') {
      return Fail("a name in double quotes is expected");
    }
    const std::size_t begin = at_;
    Value name = ReadString();
    if (!name) return false;
    if (container.value.Find(name.text()) != nullptr) {
      const std::string reason = "duplicate name " + Quoted(NameText(name.text()));
      return Fail(FaultBelow(open_.size() - 1, reason, begin));
    }
    if (!Accept(':')) return Fail("\":\" is expected");
    if (container.value.count() == 0) container.only_name = last_string_;
    container.wraps = last_string_ == kDictionaryWrapper;
    container.name = std::move(name);
    return true;
  }

  // The value of a wrapper other than "$dictionary"; none, and the fault, when it is malformed.
  Value Unwrapped(const Container& wrapper, Fault* fault) const {
    const Value content = *wrapper.value.Find(plist::Text::Ascii(wrapper.only_name));
    if (!content.is_string()) {
      *fault = WrapperFault(wrapper, " must hold a string");
      return {};
    }
    const Type type = wrapper.only_name == kDateWrapper   ? Type::kDate
                      : wrapper.only_name == kDataWrapper ? Type::kData
                                                          : Type::kReal;
    const std::string text = content.text().ToUtf8();
    const bool other_real = type == Type::kReal && text != "nan" && text != "inf" && text != "-inf";
    Value value = other_real ? Value() : ParseValue(type, text);
    if (value) return value;
    const std::string why = other_real ? "not \"nan\", \"inf\" or \"-inf\"" : WhyNot(type, text);
    *fault = WrapperFault(wrapper, " is malformed: " + why);
    return {};
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
    if (value) return value;
    return Refuse(
        real ? "the number is out of the range of a double" : "an integer of more than 64 bits",
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
    Value string = ParseValue(Type::kString, last_string_);
    if (!string) return Fail("the string is not UTF-8", begin);
    return string;
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
    if (!sound) return Fail("a malformed escape in a string", begin);
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
  std::vector<Container> open_;  // the innermost one is last
  int deepest_ = 0;
  std::string last_string_;
  Fault fault_;
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
  const TextPlace place = PlaceInText(text, byte);
  return {place.line, place.column, std::min(byte, text.size()), std::move(reason)};
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
