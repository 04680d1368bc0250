// The XML form of a property list, in any layout: checked once as a whole, then sent to sinks any
// number of times.
//
//   XmlText::Read        checks the whole text, and notes where each dictionary begins and ends
//   XmlText::Send        sends the root; a dictionary goes to Sink::Dictionary as text
//   XmlDictionary::Send  sends the entries of one dictionary; dictionaries inside it go as text
//
// The text stays in memory as long as an XmlText or XmlDictionary refers to it. Both are immutable
// and may be used from several threads. A text that Read accepted is valid for good: Send returns
// false only if the sink does.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "plist/sink.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// The names of the elements.
enum class XmlElement {
  kKey,
  kString,
  kInteger,
  kReal,
  kTrue,
  kFalse,
  kDate,
  kData,
  kArray,
  kDictionary,
  kUnknown,
};
inline constexpr std::string_view kXmlElementNames[] = {
    "key", "string", "integer", "real", "true", "false", "date", "data", "array", "dict"};
constexpr std::string_view XmlElementName(XmlElement element) {
  return kXmlElementNames[static_cast<std::size_t>(element)];
}

class XmlText {
 public:
  // Returns null and sets `error` to the reason, line and column unless the text (UTF-8) is a
  // complete property list. `text` must be a part of `data`.
  static std::shared_ptr<const XmlText> Read(Bytes data, std::string_view text, std::string& error);

  // Sends the root. Comments, attributes and the layout are not sent.
  static bool Send(const std::shared_ptr<const XmlText>& xml, Sink& sink);

 private:
  friend class XmlDictionary;
  class Check;

  // The place of a dictionary in the text. The dictionaries inside it follow it in the list, up to
  // the index `next`.
  struct Extent {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t next = 0;
    std::uint16_t depth = 0;  // the containers around it
    // The XML writer would write exactly this text for the dictionary at this depth.
    bool is_written = true;
    // The keys ascend, here and in the dictionaries inside, so that all entries can be written in
    // the order of the text.
    bool in_order = true;
  };

  static bool SendFrom(const std::shared_ptr<const XmlText>& xml, std::size_t begin,
                       std::size_t extent, bool is_open, Sink& sink);

  Bytes data_;
  std::string_view text_;
  std::size_t root_ = 0;
  std::vector<Extent> extents_;
};

// A dictionary that is a piece of XML.
class XmlDictionary {
 public:
  XmlDictionary(std::shared_ptr<const XmlText> xml, std::size_t extent)
      : xml_(std::move(xml)), index_(extent) {}

  // Sends OpenDictionary, the entries one by one, and Close.
  bool Send(Sink& sink) const;
  // The same without OpenDictionary, for a sink whose dictionary is already open.
  bool SendEntries(Sink& sink) const;

  // The number of containers around it in the text.
  int depth() const { return extent().depth; }
  // Whether the XML writer would write exactly this text at this depth.
  bool is_written() const { return extent().is_written; }
  // Whether the keys ascend, here and in all dictionaries inside.
  bool in_order() const { return extent().in_order; }
  // The dictionary in the text, from the "<" of its start tag to the ">" of its end tag.
  std::string_view text() const {
    return xml_->text_.substr(extent().begin, extent().end - extent().begin);
  }
  // The whole text that contains the dictionary.
  std::string_view whole_text() const { return xml_->text_; }

 private:
  const XmlText::Extent& extent() const { return xml_->extents_[index_]; }

  std::shared_ptr<const XmlText> xml_;
  std::size_t index_;
};

}  // namespace plist
}  // namespace orvik
