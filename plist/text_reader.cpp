#include <algorithm>
#include <utility>
#include <vector>

#include "plist/encoding.h"
#include "plist/events.h"
#include "plist/forms.h"
#include "plist/salvage.h"
#include "text/shown_text.h"
#include "text/transcoding.h"

namespace orvik::plist {
namespace {

// The characters of octal escapes above 0177: the upper half of the NeXTSTEP character set.
constexpr char16_t kNextStepUpperHalf[128] = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB,
    0x00CC, 0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9,
    0x00DA, 0x00DB, 0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3,
    0x2044, 0x00A5, 0x0192, 0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x00AE, 0x2013, 0x2020, 0x2021, 0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB,
    0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9, 0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9,
    0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD, 0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD,
    0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5, 0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB,
    0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1, 0x0141, 0x00D8, 0x0152, 0x00BA,
    0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB, 0x0131, 0x00FC, 0x00FD,
    0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD};

bool IsBareCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '$' || c == '/' || c == ':' || c == '.' || c == '-';
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

class TextReader {
 public:
  // With `losses`, skips damaged parts below the root.
  explicit TextReader(std::string_view text, Losses* losses = nullptr)
      : text_(text), losses_(losses) {}

  Value Read() { return ReadRoot() ? builder_.Take() : Value(); }

  size_t position() const { return position_; }

 private:
  struct Container {
    enum class Kind { kDictionary, kStringsFile, kArray };

    Kind kind;
    bool has_value = false;   // a comma or a semicolon must follow
    std::size_t count = 0;    // the number of elements of an array
    std::u16string key = {};  // of the present entry, for the path of a loss
  };

  bool at_end() const { return position_ == text_.size(); }
  char peek() const { return at_end() ? '\0' : text_[position_]; }

  bool TakeIf(char c) {
    if (peek() != c) return false;
    ++position_;
    return true;
  }

  // Skips white space and comments, even an unfinished comment at the end.
  void SkipBlank() {
    while (!at_end()) {
      const std::string_view rest = text_.substr(position_);
      if (rest.starts_with("//")) {
        position_ += std::min(rest.size(), rest.find_first_of("\r\n"));
      } else if (rest.starts_with("/*")) {
        const size_t end = rest.find("*/", 2);
        if (end == std::string_view::npos && losses_ != nullptr) {
          Lose("a comment that does not end", position_, rest.size());
        }
        position_ += end == std::string_view::npos ? rest.size() : end + 2;
      } else if (const size_t space = SpaceLength(rest); space > 0) {
        position_ += space;
      } else {
        return;
      }
    }
  }

  static size_t SpaceLength(std::string_view rest) {
    if (rest[0] == ' ' || (rest[0] >= '\t' && rest[0] <= '\r')) return 1;
    return rest.starts_with("\u2028") || rest.starts_with("\u2029") ? 3 : 0;
  }

  bool ReadRoot() {
    SkipBlank();
    if (at_end()) return builder_.OpenDictionary(0) && builder_.Close();
    if (IsBareCharacter(peek()) || peek() == '"' || peek() == '\'') return ReadStringRoot();
    if (!ReadValue() || !ReadContainers()) return false;
    SkipBlank();
    if (at_end() || losses_ == nullptr) return at_end();
    Lose("text behind the list", position_, text_.size() - position_);
    return true;
  }

  // Reads a single string, or the first key of a file of strings. A single bare word is refused,
  // because then nearly any damaged file would be a property list.
  bool ReadStringRoot() {
    const bool quoted = !IsBareCharacter(peek());
    const size_t start = position_;
    if (!ReadString()) return false;
    SkipBlank();
    if (at_end()) return quoted && builder_.String(string_);
    if (peek() != '=' && peek() != ';') return false;
    position_ = start;
    if (!builder_.OpenDictionary(0)) return false;
    open_.push_back({Container::Kind::kStringsFile});
    return ReadContainers();
  }

  bool ReadContainers() {
    while (!open_.empty()) {
      SkipBlank();
      const size_t begin = position_;
      if (!(builder_.in_dictionary() ? ReadEntry() : ReadElement())) {
        if (losses_ == nullptr) return false;
        Recover(begin);
      }
    }
    return true;
  }

  void Lose(const char* what, size_t place, size_t bytes) {
    losses_->Add([this] { return Path(); }, what, place, bytes);
  }

  std::string Path() const {
    std::string path;
    for (const Container& container : open_) {
      const bool is_array = container.kind == Container::Kind::kArray;
      if (!is_array && container.key.empty()) break;
      if (!path.empty()) path += '/';
      path += is_array ? std::to_string(container.count - (container.count != 0))
                       : Text(container.key).ToUtf8();
    }
    return path;
  }

  // Continues after the entry or element that begins at `begin`.
  void Recover(size_t begin) {
    // A container that was too deep for the builder.
    while (open_.size() > builder_.depth()) open_.pop_back();
    builder_.DropKey();
    if (begin == text_.size()) {
      Lose("the list breaks off", begin, 0);
      while (!open_.empty()) Close();
      return;
    }
    const size_t place = position_;
    std::string path = Path();
    // An extra quotation mark swallows the text up to the end.
    if (at_end()) position_ = begin;
    Container& container = open_.back();
    container.has_value = false;
    const bool is_array = container.kind == Container::Kind::kArray;
    const bool is_file = container.kind == Container::Kind::kStringsFile;
    const bool goes_on_here = std::exchange(goes_on_here_, false);
    if (!goes_on_here) position_ = EndOfLost(is_array ? ",);}" : is_file ? ";" : ";}");
    losses_->Add([&path] { return path; }, "text that cannot be read", place, position_ - begin);
    if (goes_on_here) return;
    if (at_end() || TakeIf(is_array ? ',' : ';') || !is_array || peek() == ')') return;
    // The end of the array is missing.
    Close();
    if (!open_.empty()) open_.back().has_value = true;
  }

  // The next of the characters `ends` outside brackets, within reach; otherwise the next one
  // anywhere.
  size_t EndOfLost(std::string_view ends) const {
    constexpr size_t kReach = 4096;
    const size_t limit = std::min(text_.size(), position_ + kReach);
    int depth = 0;
    for (size_t at = position_; at < limit; ++at) {
      const char c = text_[at];
      if (depth == 0 && ends.find(c) != std::string_view::npos) return at;
      if (c == '{' || c == '(') ++depth;
      if ((c == '}' || c == ')') && depth > 0) --depth;
    }
    return std::min(text_.size(), text_.find_first_of(ends, position_));
  }

  bool ReadElement() {
    if (TakeIf(')')) return Close();
    if (open_.back().has_value && !TakeIf(',') && !MaySeparatorMiss(')')) return false;
    SkipBlank();
    // A comma may also follow the last element.
    if (TakeIf(')')) return open_.back().has_value && Close();
    open_.back().has_value = true;
    ++open_.back().count;
    return ReadValue();
  }

  bool ReadEntry() {
    Container& container = open_.back();
    if (container.has_value) {
      container.has_value = false;
      return TakeIf(';') || MaySeparatorMiss('}');
    }
    container.key.clear();
    const bool is_file = container.kind == Container::Kind::kStringsFile;
    if (is_file ? at_end() : TakeIf('}')) return Close();
    if (!ReadString() || !builder_.Key(string_)) return false;
    if (losses_ != nullptr) container.key = string_;
    SkipBlank();
    container.has_value = true;
    if (peek() == ';') return builder_.String(string_);
    if (!TakeIf('=')) return false;
    SkipBlank();
    return ReadValue();
  }

  // Reports a missing separator, unless the missing end of the container is already reported.
  bool MaySeparatorMiss(char closing) {
    if (losses_ == nullptr) return false;
    if (at_end() ? open_.back().kind == Container::Kind::kStringsFile
                 : closing == '}' || peek() != closing) {
      Lose("a separator is missing", position_, 0);
    }
    return true;
  }

  // Whether a separator, a closing bracket or the end follows the leaf. Otherwise a quotation mark
  // or a separator may be missing, and the leaf is not a value. If blanks follow it, reading
  // continues with the text after them.
  bool EndsAsLeaf() {
    if (losses_ == nullptr || open_.empty()) return true;
    const size_t end = position_;
    SkipBlank();
    if (at_end() || std::string_view(",;)}").find(peek()) != std::string_view::npos) return true;
    goes_on_here_ = position_ != end;
    return false;
  }

  bool Close() {
    open_.pop_back();
    return builder_.Close();
  }

  bool ReadValue() {
    if (TakeIf('{')) {
      open_.push_back({Container::Kind::kDictionary});
      return builder_.OpenDictionary(0);
    }
    if (TakeIf('(')) {
      open_.push_back({Container::Kind::kArray});
      return builder_.OpenArray(0);
    }
    if (TakeIf('<')) return ReadData();
    return ReadString() && EndsAsLeaf() && builder_.String(string_);
  }

  // Pairs of hexadecimal digits, with white space anywhere.
  bool ReadData() {
    std::string bytes;
    int high = -1;
    while (!TakeIf('>')) {
      if (at_end()) return false;
      if (const size_t space = SpaceLength(text_.substr(position_)); space > 0) {
        position_ += space;
        continue;
      }
      const int digit = HexValue(text_[position_++]);
      if (digit < 0) return false;
      if (high < 0) {
        high = digit;
      } else {
        bytes += static_cast<char>(high * 16 + digit);
        high = -1;
      }
    }
    return high < 0 && EndsAsLeaf() && builder_.Data(bytes, nullptr);
  }

  // Reads a string into string_.
  bool ReadString() {
    string_.clear();
    const char quote = peek();
    if (quote != '"' && quote != '\'') return ReadBareString();
    const size_t begin = position_++;
    // If one string has no closing quotation mark, no later string has one.
    bool& has_no_end = has_no_end_[quote == '"' ? 0 : 1];
    while (!TakeIf(quote)) {
      if (has_no_end) position_ = text_.size();
      if (at_end()) {
        has_no_end = true;
        return false;
      }
      if (TakeIf('\\')) {
        if (!ReadEscape()) return false;
      } else {
        AppendCharacter(string_, NextCharacter(text_, position_));
      }
    }
    // An undamaged list was already checked for UTF-8.
    return losses_ == nullptr || IsValidUtf8(text_.substr(begin, position_ - begin));
  }

  bool ReadBareString() {
    // "//" inside a word does not begin a comment, so URLs need no quotation marks.
    while (IsBareCharacter(peek())) string_ += static_cast<char16_t>(text_[position_++]);
    return !string_.empty();
  }

  bool ReadEscape() {
    if (at_end()) return false;
    const char c = text_[position_];
    if (c >= '0' && c <= '7') {
      string_ += OctalCharacter();
      return true;
    }
    if (c == 'U') {
      ++position_;
      string_ += HexCharacter();
      return true;
    }
    constexpr std::string_view kLetters = "abfnrtv";
    constexpr std::u16string_view kMeanings = u"\a\b\f\n\r\t\v";
    if (const size_t letter = kLetters.find(c); letter != std::string_view::npos) {
      string_ += kMeanings[letter];
      ++position_;
    } else {
      AppendCharacter(string_, NextCharacter(text_, position_));
    }
    return true;
  }

  // Up to three digits, cut to a byte.
  char16_t OctalCharacter() {
    unsigned int value = 0;
    for (int i = 0; i < 3 && peek() >= '0' && peek() <= '7'; ++i) {
      value = value * 8 + static_cast<unsigned int>(text_[position_++] - '0');
    }
    value &= 0xFF;
    return value < 0x80 ? static_cast<char16_t>(value) : kNextStepUpperHalf[value - 0x80];
  }

  // Up to four digits: a UTF-16 unit, which may be a surrogate.
  char16_t HexCharacter() {
    int value = 0;
    for (int i = 0; i < 4 && HexValue(peek()) >= 0; ++i) {
      value = value * 16 + HexValue(text_[position_++]);
    }
    return static_cast<char16_t>(value);
  }

  std::string_view text_;
  Losses* losses_;
  size_t position_ = 0;
  ValueBuilder builder_;
  std::vector<Container> open_;
  std::u16string string_;
  // After a failure, the next entry or element begins at position_.
  bool goes_on_here_ = false;
  bool has_no_end_[2] = {};  // for strings in double and in single quotation marks
};

}  // namespace

Reading ReadOldText(std::string_view text) {
  TextReader reader(text);
  Reading reading;
  reading.root = reader.Read();
  if (reading.root) {
    reading.format = Format::kOldText;
  } else {
    const TextPlace place = PlaceInText(text, reader.position());
    const bool at_end = reader.position() == text.size();
    reading.error = std::string("The text is not a property list: ") +
                    (at_end ? "the text ends too early" : "unexpected character") + " in line " +
                    std::to_string(place.line) + ", column " + std::to_string(place.column);
  }
  return reading;
}

Value SalvageOldText(std::string_view text, Losses& losses) {
  return TextReader(text, &losses).Read();
}

}  // namespace orvik::plist
