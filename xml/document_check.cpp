#include "xml/document_check.h"

#include <cctype>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace orvik {
namespace {

int ContinuationBytes(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 1;
  if (lead >= 0xE0 && lead <= 0xEF) return 2;
  if (lead >= 0xF0 && lead <= 0xF4) return 3;
  return 0;
}

bool HasWholeCharacters(const char* text) {
  while (*text != '\0') {
    int missing = ContinuationBytes(static_cast<unsigned char>(*text++));
    for (; missing != 0; --missing) {
      if ((static_cast<unsigned char>(*text++) & 0xC0) != 0x80) return false;
    }
  }
  return true;
}

bool IsSpace(char byte) {
  return std::isspace(static_cast<unsigned char>(byte)) != 0;
}

// The parser's notion of a letter.
bool StartsName(char byte) {
  const auto unit = static_cast<unsigned char>(byte);
  return unit >= 127 || std::isalpha(unit) != 0 || byte == '_';
}

bool ContinuesName(char byte) {
  return StartsName(byte) || std::isdigit(static_cast<unsigned char>(byte)) != 0 || byte == '-' ||
         byte == '.' || byte == ':';
}

// `prefix` is in lower case.
bool StartsWithAnyCase(const char* text, std::string_view prefix) {
  for (const char expected : prefix) {
    if (std::tolower(static_cast<unsigned char>(*text++)) != expected) return false;
  }
  return true;
}

// Goes through a text as the parser does, level by level, and stops where the parser stops with an
// error. Functions that return false have stopped.
class Walk {
 public:
  explicit Walk(std::string_view text) : next_(text.data()), end_(next_ + text.size()) {}

  bool IsSafe() {
    while (safe_ && (next_ = std::strchr(next_, '<')) != nullptr && Markup()) {
    }
    return safe_;
  }

 private:
  bool Refuse() {
    safe_ = false;
    return false;
  }

  // White space, and the three code points that the parser drops like it.
  void SkipSpace() {
    for (;;) {
      if (IsSpace(*next_)) {
        ++next_;
        continue;
      }
      bool dropped = false;
      for (const char* mark : {"\xEF\xBB\xBF", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
        dropped = dropped || std::strncmp(next_, mark, 3) == 0;
      }
      if (!dropped) return;
      next_ += 3;
    }
  }

  bool SkipPast(std::string_view end) {
    const std::string_view rest(next_, static_cast<std::size_t>(end_ - next_));
    const std::size_t at = rest.find(end);
    if (at == std::string_view::npos) return false;
    next_ += at + end.size();
    return true;
  }

  bool Markup() {
    if (StartsWithAnyCase(next_, "<?xml")) return Declaration();
    if (std::strncmp(next_, "<!--", 4) == 0) {
      next_ += 4;
      return SkipPast("-->");
    }
    if (std::strncmp(next_, "<![CDATA[", 9) == 0) {
      next_ += 9;
      return SkipPast("]]>");
    }
    if (next_[1] == '/' && depth_ != 0) {
      --depth_;
      return SkipPast(">");
    }
    if (StartsName(next_[1])) return StartTag();
    return SkipPast(">");
  }

  bool Declaration() {
    next_ += 5;
    while (*next_ != '>') {
      SkipSpace();
      if (*next_ == '\0') return Refuse();
      if (StartsWithAnyCase(next_, "version") || StartsWithAnyCase(next_, "encoding") ||
          StartsWithAnyCase(next_, "standalone")) {
        if (!Attribute()) return Refuse();
      } else {
        while (*next_ != '\0' && *next_ != '>' && !IsSpace(*next_)) ++next_;
      }
    }
    ++next_;
    return true;
  }

  bool StartTag() {
    ++next_;
    while (ContinuesName(*next_)) ++next_;
    for (int attributes = 0;; ++attributes) {
      SkipSpace();
      if (*next_ == '>') {
        ++next_;
        return ++depth_ <= kMostXmlDepth || Refuse();
      }
      if (*next_ == '/') {
        if (next_[1] != '>') return false;
        next_ += 2;
        return true;
      }
      if (attributes == kMostXmlAttributes) return Refuse();
      if (!Attribute()) return false;
    }
  }

  bool Attribute() {
    if (!StartsName(*next_)) return false;
    while (ContinuesName(*next_)) ++next_;
    SkipSpace();
    if (*next_ != '=') return false;
    ++next_;
    SkipSpace();
    if (*next_ == '"' || *next_ == '\'') {
      const char quote = *next_++;
      return SkipPast({&quote, 1});
    }
    while (*next_ != '\0' && *next_ != '/' && *next_ != '>' && !IsSpace(*next_)) ++next_;
    return *next_ != '\0';
  }

  const char* next_;
  const char* end_;
  int depth_ = 0;
  bool safe_ = true;
};

}  // namespace

bool IsSafeToParse(const char* text) {
  return HasWholeCharacters(text) && Walk(text).IsSafe();
}

}  // namespace orvik
