#include "tools/orvikprefs/json.h"

#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <utility>

#include "host/file_names.h"
#include "plist/events.h"
#include "text/byte_encodings.h"
#include "text/shown_text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::prefstool {

namespace {

constexpr std::array<bool, 256> PlainBytes() {
  std::array<bool, 256> plain = {};
  for (std::size_t byte = 0x20; byte < 0x7F; ++byte) plain[byte] = byte != '"' && byte != '\\';
  return plain;
}
// The bytes that are unchanged in a string. Bytes beyond ASCII may begin a control character.
constexpr std::array<bool, 256> kPlain = PlainBytes();

// The length of the text from the start that needs no check of single characters. Eight bytes are
// tested at once: a byte below 0x20, a quote, a backslash or a byte from 0x7F sets its highest bit;
// a byte above such a one may also be set.
std::size_t PlainEnd(std::string_view utf8, std::size_t at) {
  constexpr std::uint64_t kOnes = 0x0101010101010101, kHighBits = 0x80 * kOnes;
  const auto equals = [](std::uint64_t word, std::uint64_t byte) {
    return ((word ^ byte * kOnes) - kOnes);
  };
  for (; at + sizeof(std::uint64_t) <= utf8.size(); at += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, utf8.data() + at, sizeof word);
    const std::uint64_t special =
        (word - 0x20 * kOnes) | word | (word + kOnes) | equals(word, '"') | equals(word, '\\');
    if ((special & kHighBits) != 0) break;
  }
  while (at < utf8.size() && kPlain[static_cast<unsigned char>(utf8[at])]) ++at;
  return at;
}

// Writes the values that a walk, or a reader of XML, sends.
//
// A dictionary with one entry may need a wrapper around it. That is known only with its key, so the
// brace is written then. A walk over values sends the count of entries; unparsed XML has no count,
// so it is accepted only if it cannot contain a wrapper's name.
class JsonSink final : public plist::Sink {
 public:
  explicit JsonSink(JsonWriter& writer) : writer_(writer) {}

  bool String(const plist::Text& text, const Value*) override {
    writer_.Text(Utf8(text));
    return true;
  }
  bool Integer(plist::Integer value) override { return Leaf(value); }
  bool Boolean(bool value) override { return Leaf(value); }
  bool Real(double value, int) override {
    return std::isfinite(value) ? Leaf(value) : Wrapped(kRealWrapper, value);
  }
  bool Date(double seconds) override { return Wrapped(kDateWrapper, Value::Date(seconds)); }
  bool Data(std::string_view bytes, const plist::Bytes&) override {
    writer_.BeginObject().Name(kDataWrapper).Text(EncodedBase64(bytes)).EndObject();
    return true;
  }

  bool OpenArray(std::size_t) override {
    writer_.BeginArray();
    open_.push_back(Open::kArray);
    return true;
  }
  // `count` is the number of entries in a walk over values.
  bool OpenDictionary(std::size_t count) override {
    open_.push_back(Open::kDictionary);
    is_single_ = count == 1;
    if (!is_single_) writer_.BeginObject();
    return true;
  }
  bool Key(const plist::Text& key, const Value*) override {
    const std::string_view name = Utf8(key);
    if (std::exchange(is_single_, false)) {
      if (IsWrapperName(name)) {
        open_.back() = Open::kWrapped;
        writer_.BeginObject().Name(kDictionaryWrapper);
      }
      writer_.BeginObject();
    }
    writer_.Name(name);
    return true;
  }
  bool Close() override {
    const Open closed = open_.back();
    open_.pop_back();
    if (closed == Open::kArray) {
      writer_.EndArray();
    } else {
      writer_.EndObject();
    }
    if (closed == Open::kWrapped) writer_.EndObject();
    return true;
  }

  // Entries are converted directly from the text if all below are in order and none can have a
  // wrapper's name.
  plist::Taking Dictionary(const plist::XmlDictionary& dictionary) override {
    if (sends_xml_ || !dictionary.in_order() || MayHaveWrappers(dictionary.whole_text())) {
      return plist::Taking::kWantsEntries;
    }
    sends_xml_ = true;
    const bool is_done = dictionary.Send(*this);
    sends_xml_ = false;
    return is_done ? plist::Taking::kTaken : plist::Taking::kFailed;
  }

 private:
  enum class Open : char { kArray, kDictionary, kWrapped };

  bool Leaf(const Value& value) {
    writer_.Raw(ValueText(value));
    return true;
  }
  bool Wrapped(const char* name, const Value& value) {
    writer_.BeginObject().Name(name).Text(ValueText(value)).EndObject();
    return true;
  }

  // The names of wrappers begin with a dollar sign, which may be written as a reference.
  bool MayHaveWrappers(std::string_view xml) {
    if (std::exchange(searched_, xml.data()) != xml.data()) {
      has_dollar_ =
          xml.find('$') != std::string_view::npos || xml.find("&#") != std::string_view::npos;
    }
    return has_dollar_;
  }

  // Valid up to the next call.
  std::string_view Utf8(const plist::Text& text) {
    if (text.is_ascii()) return text.bytes();
    text_ = NameText(text);
    return text_;
  }

  JsonWriter& writer_;
  std::vector<Open> open_;
  bool is_single_ = false;  // the last opened dictionary has one entry and waits for its key
  bool sends_xml_ = false;
  const char* searched_ = nullptr;
  bool has_dollar_ = false;
  std::string text_;
};

}  // namespace

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

JsonWriter& JsonWriter::File(std::string_view path) {
  return Text(NameText(plist::Text(host::FileNameFromBytes(path))));
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
    i = PlainEnd(utf8, i);
    if (i == utf8.size()) break;
    const char byte = utf8[i];
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

bool IsWrapperName(std::string_view name) {
  return name == kDateWrapper || name == kDataWrapper || name == kRealWrapper ||
         name == kDictionaryWrapper;
}

void WriteJson(JsonWriter& writer, const Value& value) {
  JsonSink sink(writer);
  plist::ValueWalk(plist::EntryOrder::kByKey, sink).Run(&value);
}

std::string JsonText(const Value& value, JsonWriter::Layout layout) {
  JsonWriter writer(layout);
  WriteJson(writer, value);
  return writer.Release();
}

}  // namespace orvik::prefstool
