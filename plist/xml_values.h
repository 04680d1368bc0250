// The values of a property list's XML, one after the other: the tokens that the check of a text and
// the sending of its parts share.
//
//   XmlValues values(xml);
//   XmlValue value;
//   while (values.Next(value) && !IsEndOfRoot(value)) ...
//
// Next also fails at the end of the text, because a caller stops at the end of the root element.
// Comments and processing instructions are skipped. The nesting of containers is the caller's to
// check. Views refer to the text.
#pragma once

#include <string>
#include <string_view>

#include "plist/sink.h"
#include "plist/xml.h"
#include "text/xml_scanner.h"

namespace orvik::plist {

// A key, a simple value with its end, an empty container, or the beginning or end of a container.
struct XmlValue {
  enum Part { kSimple, kEmpty, kOpens, kCloses };

  XmlElement element = XmlElement::kUnknown;
  Part part = kSimple;
  std::size_t begin = 0;
  std::size_t end = 0;
  // Between the value before and this one.
  std::string_view gap;
  std::string_view attributes;
  // The text of a simple value, and the whole of it with its tags when these are plain, too.
  std::string_view text;
  std::string_view plain_element;
  bool is_mixed = false;
  // Plain as leaves.h says.
  bool is_plain = false;
  // The tags have no other spelling than the writer's; the attributes of a date are not compared.
  bool has_plain_tags = false;
};

class XmlValues {
 public:
  explicit XmlValues(std::string_view xml, std::size_t position = 0)
      : xml_(xml), scanner_(xml, position) {}

  // Moves to the next value and describes it in `value`, whose views are valid as long as the text.
  // False with a reason when what follows is no value, and at the end of the text; `value` is then
  // unspecified.
  bool Next(XmlValue& value);

  const char* reason() const { return reason_; }
  // Of the last failure.
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

// Hands simple values and keys over. Keeps the memory that decoding takes from one to the next.
class XmlValueSender {
 public:
  // Makes one call of the sink for a key or a simple value. False if the sink refuses it, and for a
  // text that is no value of its element ("<integer>x</integer>"), of which the sink learns
  // nothing.
  bool Send(const XmlValue& value, Sink& sink);

  // Into `text`, references and escapes undone.
  static bool Decode(std::string_view xml, std::u16string& text);

 private:
  bool SendText(const XmlValue& value, Sink& sink);
  // The text of a value that uses ASCII alone.
  bool TakeAscii(const XmlValue& value, std::string_view& text);

  std::u16string decoded_;
  std::string ascii_;
};

}  // namespace orvik::plist
