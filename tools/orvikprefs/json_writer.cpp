#include "tools/orvikprefs/json_writer.h"

#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

JsonWriter& JsonWriter::Name(std::string_view utf8) {
  BeginValue();
  Append(utf8);
  json_ += indented_ ? ": " : ":";
  after_name_ = true;
  return *this;
}

JsonWriter& JsonWriter::Text(std::string_view utf8) {
  BeginValue();
  Append(utf8);
  return *this;
}

JsonWriter& JsonWriter::Raw(std::string_view json) {
  BeginValue();
  json_ += json;
  return *this;
}

JsonWriter& JsonWriter::Texts(const std::vector<std::string>& texts) {
  BeginArray();
  for (const std::string& text : texts) Text(text);
  return EndArray();
}

JsonWriter& JsonWriter::Begin(char bracket) {
  BeginValue();
  json_ += bracket;
  empty_ = true;
  ++depth_;
  return *this;
}

JsonWriter& JsonWriter::End(char bracket) {
  --depth_;
  if (!empty_) BreakLine();
  json_ += bracket;
  empty_ = false;
  return *this;
}

void JsonWriter::BeginValue() {
  if (after_name_) {
    after_name_ = false;
    return;
  }
  if (depth_ > 0) {
    if (!empty_) json_ += ',';
    BreakLine();
  }
  empty_ = false;
}

void JsonWriter::BreakLine() {
  if (!indented_) return;
  json_ += '\n';
  json_.append(static_cast<std::size_t>(depth_) * 2, ' ');
}

void JsonWriter::Append(std::string_view utf8) {
  static constexpr char kDigits[] = "0123456789abcdef";
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kLetters = "\"\\bfnrt";
  json_ += '"';
  std::size_t written = 0;
  for (std::size_t i = 0; i < utf8.size();) {
    const char byte = utf8[i];
    // The most frequent bytes first.
    if (byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\') {
      ++i;
      continue;
    }
    const std::optional<ControlCharacter> control = ControlAt(utf8, i);
    const std::size_t named = kNamed.find(byte);
    if (!control && named == std::string_view::npos) {
      ++i;
      continue;
    }
    json_ += utf8.substr(written, i - written);
    if (named != std::string_view::npos) {
      json_ += '\\';
      json_ += kLetters[named];
    } else {
      json_ += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) {
        json_ += kDigits[(control->point >> shift) & 15];
      }
    }
    i += control ? control->length : 1;
    written = i;
  }
  json_ += utf8.substr(written);
  json_ += '"';
}

}  // namespace orvik::prefstool
