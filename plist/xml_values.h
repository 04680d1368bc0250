// The values of a property list's XML, one after the other. XmlText uses these tokens to check a
// text and to send its parts.
//
//   XmlValues values(xml);
//   XmlValue value;
//   while (values.Next(value) && !IsEndOfRoot(value)) ...
//
// Next also fails at the end of the text, because a caller stops at the end of the root element.
// Comments and processing instructions are skipped. The caller must check the nesting of
// containers. Views refer to the text.
#pragma once

#include <string>
#include <string_view>

#include "plist/sink.h"
#include "plist/xml.h"
#include "text/xml_scanner.h"

namespace orvik::plist {

// A key, a simple value with its end tag, an empty container, or the start or end of a container.
struct XmlValue {
  enum Part { kSimple, kEmpty, kOpens, kCloses };

  XmlElement element = XmlElement::kUnknown;
  Part part = kSimple;
  std::size_t begin = 0;
  std::size_t end = 0;
  // The text between the previous value and this one.
  std::string_view gap;
  std::string_view attributes;
  // The text of a simple value, and its whole element if text and tags are plain.
  std::string_view text;
  std::string_view plain_element;
  bool is_mixed = false;
  // The text is plain (PlainTextEnd in leaves.h).
  bool is_plain = false;
  // The tags are spelled as the XML writer spells them; the attributes of a date are not compared.
  bool has_plain_tags = false;
};

class XmlValues {
 public:
  explicit XmlValues(std::string_view xml, std::size_t position = 0)
      : xml_(xml), scanner_(xml, position) {}

  // Moves to the next value and describes it in `value`, whose views are valid as long as the text.
  // False, with a reason, at the end of the text and when no value follows; `value` is then
  // unspecified.
  bool Next(XmlValue& value);

  const char* reason() const { return reason_; }
  // The position of the last failure.
  std::size_t failed_at() const { return failed_at_; }
  void MoveTo(std::size_t position) { scanner_.MoveTo(position); }

 private:
  bool NextPlain(XmlValue& value);
  template <std::size_t kName>
  bool TakePlain(XmlValue& value, XmlElement element, const char (&name)[kName]);
  bool NextOfAnyKind(XmlValue& value);
  bool NextSimple(XmlValue& value);
  bool Fail(const char* reason, std::size_t at);

  std::string_view xml_;
  XmlScanner scanner_;
  const char* reason_ = "";
  std::size_t failed_at_ = 0;
};

// Sends simple values and keys to a sink. Reuses its memory for decoding.
class XmlValueSender {
 public:
  // Makes one call of the sink for a key or a simple value. False if the sink refuses it. Also
  // false, without a call, for a text that is not a value of its element ("<integer>x</integer>").
  bool Send(const XmlValue& value, Sink& sink);

  // Decodes references and escapes into `text`.
  static bool Decode(std::string_view xml, std::u16string& text);

 private:
  bool SendText(const XmlValue& value, Sink& sink);
  // Gives the text of a value that consists of ASCII.
  bool TakeAscii(const XmlValue& value, std::string_view& text);

  std::u16string decoded_;
  std::string ascii_;
};

}  // namespace orvik::plist
