#include "plist/xml_values.h"

#include <algorithm>
#include <cstring>

#include "plist/leaves.h"
#include "text/characters.h"

namespace orvik::plist {
namespace {

using Tag = XmlScanner::Tag;

XmlElement ElementNamed(std::string_view name) {
  const auto found = std::find(std::begin(kXmlElementNames), std::end(kXmlElementNames), name);
  return static_cast<XmlElement>(found - std::begin(kXmlElementNames));
}

bool IsContainer(XmlElement element) {
  return element == XmlElement::kArray || element == XmlElement::kDictionary;
}

}  // namespace

// Most values are plain keys, strings and integers without attributes; these take one pass over
// their bytes. All other values, and malformed ones, take the general way.
bool XmlValues::Next(XmlValue& value) {
  return NextPlain(value) || NextOfAnyKind(value);
}

bool XmlValues::NextPlain(XmlValue& value) {
  const std::size_t start = scanner_.position();
  std::size_t at = start;
  while (at < xml_.size() && IsXmlSpace(xml_[at])) ++at;
  if (xml_.size() - at < 2 || xml_[at] != '<') return false;
  value.begin = at;
  value.gap = xml_.substr(start, at - start);
  switch (xml_[at + 1]) {
    case 'k':
      return TakePlain(value, XmlElement::kKey, "key");
    case 's':
      return TakePlain(value, XmlElement::kString, "string");
    case 'i':
      return TakePlain(value, XmlElement::kInteger, "integer");
    default:
      return false;
  }
}

// The length of the name is a compile-time constant, so that the comparisons need no calls.
template <std::size_t kName>
bool XmlValues::TakePlain(XmlValue& value, XmlElement element, const char (&name)[kName]) {
  constexpr std::size_t kLength = kName - 1;
  const char* tag = xml_.data() + value.begin;
  if (xml_.size() - value.begin < kLength + 2 || tag[kLength + 1] != '>' ||
      std::memcmp(tag + 1, name, kLength) != 0) {
    return false;
  }
  const std::size_t text = value.begin + kLength + 2;
  const std::size_t end = PlainTextEnd(xml_, text);
  if (xml_.size() - end < kLength + 3) return false;
  const char* end_tag = xml_.data() + end;
  if (end_tag[0] != '<' || end_tag[1] != '/' || end_tag[kLength + 2] != '>' ||
      std::memcmp(end_tag + 2, name, kLength) != 0) {
    return false;
  }
  value.element = element;
  value.part = XmlValue::kSimple;
  value.end = end + kLength + 3;
  value.attributes = {};
  value.text = xml_.substr(text, end - text);
  value.plain_element = xml_.substr(value.begin, value.end - value.begin);
  value.is_mixed = false;
  value.is_plain = true;
  value.has_plain_tags = true;
  scanner_.MoveTo(value.end);
  return true;
}

// The general way: one tag of the scanner, and for a simple value its text and end tag. Only white
// space, comments and instructions are allowed between two values.
bool XmlValues::NextOfAnyKind(XmlValue& value) {
  const std::size_t start = scanner_.position();
  const Tag tag = scanner_.Next();
  value.gap = scanner_.text();
  value.is_mixed = scanner_.is_mixed();
  if (tag == Tag::kMalformed) return Fail("malformed markup", scanner_.begin());
  const std::size_t text = FindXmlText(value.gap);
  if (text < value.gap.size()) return Fail("text between the values", start + text);
  if (tag == Tag::kNone) return Fail("the text ends too early", scanner_.begin());
  value.begin = scanner_.begin();
  value.element = ElementNamed(scanner_.name());
  value.attributes = scanner_.attributes();
  value.has_plain_tags =
      (value.attributes.empty() || value.element == XmlElement::kDate) && !value.is_mixed;
  value.end = scanner_.position();
  if (IsContainer(value.element)) {
    value.part = tag == Tag::kStart ? XmlValue::kOpens
                 : tag == Tag::kEnd ? XmlValue::kCloses
                                    : XmlValue::kEmpty;
    return true;
  }
  if (value.element == XmlElement::kUnknown) return Fail("unknown element", value.begin);
  if (tag == Tag::kEnd) return Fail("unexpected end tag", value.begin);
  value.part = XmlValue::kSimple;
  value.plain_element = {};
  if (tag == Tag::kEmpty) {
    const bool is_boolean =
        value.element == XmlElement::kTrue || value.element == XmlElement::kFalse;
    value.has_plain_tags = value.has_plain_tags && is_boolean;
    value.text = {};
    value.is_plain = true;
    return true;
  }
  return NextSimple(value);
}

bool XmlValues::NextSimple(XmlValue& value) {
  const std::string_view name = XmlElementName(value.element);
  if (!scanner_.TakePlainEnd(name)) {
    const Tag tag = scanner_.Next();
    if (tag != Tag::kEnd || scanner_.name() != name) {
      return Fail("the end tag of the value is missing", scanner_.begin());
    }
    value.has_plain_tags = false;
  }
  if (value.element == XmlElement::kTrue || value.element == XmlElement::kFalse) {
    value.has_plain_tags = false;
  }
  value.text = scanner_.text();
  value.is_mixed = scanner_.is_mixed();
  value.is_plain = PlainTextEnd(value.text, 0) == value.text.size();
  value.end = scanner_.position();
  return true;
}

bool XmlValues::Fail(const char* reason, std::size_t at) {
  reason_ = reason;
  failed_at_ = at;
  return false;
}

bool XmlValueSender::Send(const XmlValue& value, Sink& sink) {
  switch (value.element) {
    case XmlElement::kKey:
    case XmlElement::kString:
      return SendText(value, sink);
    case XmlElement::kTrue:
    case XmlElement::kFalse:
      return value.text.empty() && sink.Boolean(value.element == XmlElement::kTrue);
    default:
      break;
  }
  std::string_view text;
  if (!TakeAscii(value, text)) return false;
  switch (value.element) {
    case XmlElement::kInteger: {
      const auto integer = ParseInteger(text);
      return integer && sink.Integer(*integer);
    }
    case XmlElement::kReal: {
      const auto real = ParseReal(text);
      return real && sink.Real(*real, sizeof(double));
    }
    case XmlElement::kDate: {
      const auto date = ParseDate(text, XmlAttribute(value.attributes, kExactDate));
      return date && sink.Date(*date);
    }
    case XmlElement::kData: {
      const auto bytes = ParseData(text);
      return bytes && sink.Data(*bytes, nullptr);
    }
    default:
      return false;
  }
}

bool XmlValueSender::Decode(std::string_view xml, std::u16string& text) {
  text.clear();
  if (!AppendXmlText(text, xml)) return false;
  UnescapeText(text);
  return true;
}

bool XmlValueSender::SendText(const XmlValue& value, Sink& sink) {
  const bool is_key = value.element == XmlElement::kKey;
  if (value.is_plain) {
    const Text text = Text::Ascii(value.text, value.plain_element);
    return is_key ? sink.Key(text) : sink.String(text);
  }
  if (!Decode(value.text, decoded_)) return false;
  const Text text{std::u16string_view(decoded_)};
  return is_key ? sink.Key(text) : sink.String(text);
}

// Numbers, dates and Base64 consist of ASCII, but may contain references or sections.
bool XmlValueSender::TakeAscii(const XmlValue& value, std::string_view& text) {
  text = value.text;
  if (value.is_plain) return true;
  if (!Decode(value.text, decoded_)) return false;
  ascii_.clear();
  for (const char16_t unit : decoded_) {
    if (unit >= 0x80) return false;
    ascii_ += static_cast<char>(unit);
  }
  text = ascii_;
  return true;
}

}  // namespace orvik::plist
