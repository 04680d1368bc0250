#include "tools/orvikprefs/json.h"

#include <array>
#include <bit>
#include <charconv>
#include <cinttypes>
#include <cmath>
#include <ctime>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "plist/escape.h"
#include "text/byte_encodings.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

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

namespace {

void WriteWrapped(JsonWriter& writer, const char* name, std::string_view text) {
  writer.BeginObject().Name(name).Text(text).EndObject();
}

void WriteNumber(JsonWriter& writer, CFNumberRef number) {
  std::array<char, 32> digits;
  char* const end = digits.data() + digits.size();
  const auto written = [&](const std::to_chars_result& result) {
    return std::string_view(digits.data(), static_cast<std::size_t>(result.ptr - digits.data()));
  };
  if (CFNumberIsFloatType(number)) {
    double real = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &real);
    if (!std::isfinite(real)) {
      WriteWrapped(writer, kRealWrapper, std::isnan(real) ? "nan" : real > 0 ? "inf" : "-inf");
      return;
    }
    std::string text(written(std::to_chars(digits.data(), end, real)));
    if (text.find_first_of(".e") == std::string::npos) text += ".0";
    writer.Raw(text);
    return;
  }
  SInt64 integer = 0;
  if (CFNumberGetValue(number, kCFNumberSInt64Type, &integer)) {
    writer.Raw(written(std::to_chars(digits.data(), end, integer)));
  } else {
    writer.Raw(written(std::to_chars(digits.data(), end, number->unsignedLongLongValue())));
  }
}

std::string Base64(CFDataRef data) {
  return EncodedBase64({reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                        static_cast<std::size_t>(CFDataGetLength(data))});
}

// The bits of a date that no calendar text can express.
std::string DateBits(double seconds) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%016" PRIx64, std::bit_cast<std::uint64_t>(seconds));
  return text;
}

std::string DateText(CFDateRef date) {
  constexpr double kFirst = -63113904000, kEnd = 252455616000;  // the years 1 to 9999
  const double seconds = CFDateGetAbsoluteTime(date);
  const double whole = std::floor(seconds), fraction = seconds - whole;
  const bool is_exact =
      seconds >= kFirst && seconds < kEnd && fraction < 1 &&
      std::bit_cast<std::uint64_t>(whole + fraction) == std::bit_cast<std::uint64_t>(seconds) &&
      !(seconds == 0 && std::signbit(seconds));
  if (!is_exact) return DateBits(seconds);
  const std::time_t since_1970 =
      static_cast<std::time_t>(whole) + static_cast<std::time_t>(kCFAbsoluteTimeIntervalSince1970);
  std::tm parts = {};
  char text[64] = "";
  if (gmtime_r(&since_1970, &parts) == nullptr) return DateBits(seconds);
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
  std::string shown = text;
  if (fraction != 0) {
    // As few digits as give the same fraction again, behind the zero.
    std::array<char, 400> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), fraction,
                                   std::chars_format::fixed);
    if (end.ec != std::errc()) return DateBits(seconds);
    shown.append(digits.data() + 1, end.ptr);
  }
  return shown + 'Z';
}

// Writes the values of one tree; one buffer serves all of its strings.
class TreeWriter {
 public:
  explicit TreeWriter(JsonWriter& writer) : writer_(writer) {}

  // Containers that are open stand on a stack of their own, not on the thread's.
  void Write(CFPropertyListRef root) {
    WriteValue(root);
    while (!open_.empty()) {
      Container& container = open_.back();
      if (container.next == container.count) {
        Close(container);
        open_.pop_back();
      } else if (container.array != nullptr) {
        WriteValue(CFArrayGetValueAtIndex(container.array, static_cast<CFIndex>(container.next++)));
      } else {
        const Entry entry = container.entries[container.next++];
        writer_.Name(Text(entry.name));
        WriteValue(entry.value);
      }
    }
  }

 private:
  struct Container {
    CFArrayRef array;  // null: a dictionary
    std::vector<Entry> entries;
    bool is_wrapped;
    std::size_t count;
    std::size_t next = 0;
  };

  // Writes a leaf, or begins a container.
  void WriteValue(CFPropertyListRef value) {
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) {
      writer_.Text(Text(static_cast<CFStringRef>(value)));
    } else if (type == CFBooleanGetTypeID()) {
      writer_.Boolean(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
    } else if (type == CFNumberGetTypeID()) {
      WriteNumber(writer_, static_cast<CFNumberRef>(value));
    } else if (type == CFDataGetTypeID()) {
      WriteWrapped(writer_, kDataWrapper, Base64(static_cast<CFDataRef>(value)));
    } else if (type == CFDateGetTypeID()) {
      WriteWrapped(writer_, kDateWrapper, DateText(static_cast<CFDateRef>(value)));
    } else if (type == CFArrayGetTypeID()) {
      const CFArrayRef array = static_cast<CFArrayRef>(value);
      writer_.BeginArray();
      open_.push_back({array, {}, false, static_cast<std::size_t>(CFArrayGetCount(array))});
    } else {
      std::vector<Entry> entries = SortedEntries(static_cast<CFDictionaryRef>(value));
      const bool is_wrapped = entries.size() == 1 && IsWrapperName(Text(entries[0].name));
      if (is_wrapped) writer_.BeginObject().Name(kDictionaryWrapper);
      writer_.BeginObject();
      const std::size_t count = entries.size();
      open_.push_back({nullptr, std::move(entries), is_wrapped, count});
    }
  }

  void Close(const Container& container) {
    if (container.array != nullptr) {
      writer_.EndArray();
    } else {
      writer_.EndObject();
    }
    if (container.is_wrapped) writer_.EndObject();
  }

  // Valid up to the next call.
  const std::string& Text(CFStringRef string) {
    text_.resize(static_cast<std::size_t>(CFStringGetLength(string)));
    if (!CopyAscii(string, text_.data()))
      text_ = plist::EscapedSurrogates(CAtlString(string).View());
    return text_;
  }

  JsonWriter& writer_;
  std::vector<Container> open_;
  std::string text_;
};

}  // namespace

bool IsWrapperName(std::string_view name) {
  return name == kDateWrapper || name == kDataWrapper || name == kRealWrapper ||
         name == kDictionaryWrapper;
}

void WriteJson(JsonWriter& writer, CFPropertyListRef value) {
  TreeWriter(writer).Write(value);
}

std::string JsonText(CFPropertyListRef value, JsonWriter::Layout layout) {
  JsonWriter writer(layout);
  WriteJson(writer, value);
  return writer.Release();
}

}  // namespace orvik::prefstool
