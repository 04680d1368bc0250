#include "platform/core_foundation/property_list_written_xml.h"

#include <algorithm>
#include <utility>

#include "host/large_buffer.h"
#include "platform/core_foundation/property_list_encoding.h"
#include "platform/core_foundation/property_list_escape.h"
#include "platform/core_foundation/property_list_leaves.h"
#include "text/transcoding.h"

namespace orvik {
namespace {

// A line of the file, or the lines of a text or of data.
struct Line {
  XmlElement element = XmlElement::kUnknown;
  enum { kWhole, kOpens, kCloses } part = kWhole;
  size_t begin = 0;
  std::string_view text;
};

class Lines {
 public:
  Lines(std::string_view text, size_t position) : text_(text), position_(position) {}

  size_t position() const { return position_; }

  // The next line, which must be indented as one of a container's entries, or as its end.
  bool Next(size_t depth, Line& line) {
    line.begin = position_;
    line.part = Line::kWhole;
    size_t tabs = 0;
    while (position_ < text_.size() && text_[position_] == '\t') ++position_, ++tabs;
    if (text_.size() - position_ < 2 || text_[position_] != '<') return false;
    if (text_[position_ + 1] == '/') {
      line.part = Line::kCloses;
      return depth > 0 && tabs == depth - 1 &&
             (Take("</dict>\n", XmlElement::kDictionary, line) ||
              Take("</array>\n", XmlElement::kArray, line));
    }
    if (tabs != depth) return false;
    switch (text_[position_ + 1]) {
      case 'k':
        return Take("<key>", XmlElement::kKey, line) && TakeText("</key>\n", line);
      case 's':
        return Take("<string>", XmlElement::kString, line) && TakeText("</string>\n", line);
      case 'i':
        return Take("<integer>", XmlElement::kInteger, line) && TakeText("</integer>\n", line);
      case 'r':
        return Take("<real>", XmlElement::kReal, line) && TakeText("</real>\n", line);
      case 't':
        return Take("<true/>\n", XmlElement::kTrue, line);
      case 'f':
        return Take("<false/>\n", XmlElement::kFalse, line);
      case 'a':
        if (Take("<array/>\n", XmlElement::kArray, line)) return true;
        line.part = Line::kOpens;
        return Take("<array>\n", XmlElement::kArray, line);
      case 'd':
        if (Take("<dict/>\n", XmlElement::kDictionary, line)) return true;
        if (Take("<date>", XmlElement::kDate, line)) return TakeText("</date>\n", line);
        if (Take("<data>\n", XmlElement::kData, line)) return TakeText("</data>\n", line);
        line.part = Line::kOpens;
        return Take("<dict>\n", XmlElement::kDictionary, line);
      default:
        return false;
    }
  }

  bool Take(std::string_view expected) {
    if (!text_.substr(position_).starts_with(expected)) return false;
    position_ += expected.size();
    return true;
  }

  void MoveTo(size_t position) { position_ = position; }

 private:
  bool Take(std::string_view expected, XmlElement element, Line& line) {
    line.element = element;
    return Take(expected);
  }

  bool TakeText(std::string_view end, Line& line) {
    const size_t markup = text_.find('<', position_);
    if (markup == std::string_view::npos) return false;
    line.text = text_.substr(position_, markup - position_);
    position_ = markup;
    return Take(end);
  }

  std::string_view text_;
  size_t position_;
};

// Tells whether lines are what the writer would make of their values.
class WriterCheck {
 public:
  bool IsWritten(const Line& line, size_t depth) {
    again_.clear();
    switch (line.element) {
      case XmlElement::kKey:
      case XmlElement::kString:
        return IsWrittenText(line.text);
      case XmlElement::kInteger:
        return Matches(line.text, ParsePropertyListInteger, AppendPropertyListInteger);
      case XmlElement::kReal:
        return Matches(line.text, ParsePropertyListReal, AppendPropertyListReal);
      case XmlElement::kDate:
        return Matches(line.text, ParsePropertyListDate, AppendPropertyListDate);
      case XmlElement::kData:
        return Matches(line.text, ParsePropertyListData,
                       [depth](std::string& xml, const std::string& bytes) {
                         AppendPropertyListData(xml, bytes, static_cast<int>(depth));
                         xml.append(depth, '\t');
                       });
      default:
        return true;
    }
  }

  bool Ascends(std::string_view last_key, std::string_view key) {
    if (IsPropertyListXmlText(last_key) && IsPropertyListXmlText(key)) return last_key < key;
    return XmlPropertyListDocument::Decoded(last_key, last_decoded_) &&
           XmlPropertyListDocument::Decoded(key, decoded_) && last_decoded_ < decoded_;
  }

 private:
  bool IsWrittenText(std::string_view text) {
    if (IsPropertyListXmlText(text)) return true;
    if (!IsValidUtf8(text) || !XmlPropertyListDocument::Decoded(text, decoded_)) return false;
    AppendPropertyListText(again_, decoded_);
    return again_ == text;
  }

  template <typename Parse, typename Append>
  bool Matches(std::string_view text, Parse parse, Append append) {
    const auto value = parse(text);
    if (!value) return false;
    append(again_, *value);
    return again_ == text;
  }

  std::string again_;
  std::u16string last_decoded_;
  std::u16string decoded_;
};

}  // namespace

std::shared_ptr<const WrittenXml> WrittenXml::Scan(std::string_view bytes) {
  if (!bytes.starts_with(kPropertyListXmlHeader) || !bytes.ends_with(kPropertyListXmlFooter)) {
    return nullptr;
  }
  auto xml = std::make_shared<WrittenXml>();
  host::ReserveLarge(xml->text_, bytes.size());
  xml->text_ = bytes;
  return xml->ScanAll() ? xml : nullptr;
}

bool WrittenXml::ScanAll() {
  struct Container {
    XmlElement element;
    bool has_key;
    bool is_empty;
    size_t extent;
    std::string_view last_key;
  };
  std::vector<Container> open;
  Lines lines(text_, kPropertyListXmlHeader.size());
  WriterCheck check;
  Line line;
  do {
    if (!lines.Next(open.size(), line)) return false;
    if (line.part == Line::kCloses) {
      const Container& container = open.back();
      if (container.element != line.element || container.has_key || container.is_empty) {
        return false;
      }
      if (line.element == XmlElement::kDictionary) {
        extents_[container.extent].end = lines.position();
      }
      open.pop_back();
      continue;
    }
    if (open.empty()) {
      if (line.element != XmlElement::kDictionary || line.part != Line::kOpens) return false;
    } else {
      Container& container = open.back();
      const bool is_key = line.element == XmlElement::kKey;
      const bool wants_key = container.element == XmlElement::kDictionary && !container.has_key;
      if (is_key != wants_key) return false;
      if (is_key) {
        if (!container.is_empty && !check.Ascends(container.last_key, line.text)) return false;
        container.last_key = line.text;
      }
      container.has_key = is_key;
      container.is_empty = false;
    }
    if (!check.IsWritten(line, open.size())) return false;
    if (line.part == Line::kOpens) {
      if (open.size() == kPropertyListMaximumDepth) return false;
      open.push_back({line.element, false, true, extents_.size(), {}});
      if (line.element == XmlElement::kDictionary) extents_.push_back({line.begin, 0});
    }
  } while (!open.empty());
  return text_.size() - lines.position() == kPropertyListXmlFooter.size();
}

size_t WrittenXml::EndOf(size_t begin) const {
  return std::lower_bound(
             extents_.begin(), extents_.end(), begin,
             [](const Extent& extent, size_t position) { return extent.begin < position; })
      ->end;
}

void WrittenDictionaryContent::MakeEntries(NSDictionary* dictionary) const {
  PropertyListBuilder builder(mutability_option_);
  builder.Reopen(dictionary);
  auto depth = static_cast<size_t>(depth_) + 1;
  Line line;
  Lines lines(xml_->Slice(0, xml_->size()), begin_);
  lines.Next(depth - 1, line);
  std::u16string decoded;
  const auto add_text = [&](auto add_ascii, auto add) {
    if (IsPropertyListXmlText(line.text)) return (builder.*add_ascii)(line.text);
    return XmlPropertyListDocument::Decoded(line.text, decoded) && (builder.*add)(decoded);
  };
  while (builder.is_open() && lines.Next(depth, line)) {
    if (line.part == Line::kCloses) {
      builder.Close();
      --depth;
      continue;
    }
    switch (line.element) {
      case XmlElement::kKey:
        add_text(&PropertyListBuilder::SetAsciiKey, &PropertyListBuilder::SetKey);
        break;
      case XmlElement::kString:
        add_text(&PropertyListBuilder::AddAscii, &PropertyListBuilder::AddString);
        break;
      case XmlElement::kInteger:
        builder.AddInteger(*ParsePropertyListInteger(line.text));
        break;
      case XmlElement::kReal:
        builder.AddReal(*ParsePropertyListReal(line.text));
        break;
      case XmlElement::kDate:
        builder.AddDate(*ParsePropertyListDate(line.text));
        break;
      case XmlElement::kData:
        builder.AddData(*ParsePropertyListData(line.text));
        break;
      case XmlElement::kArray:
        builder.OpenArray();
        if (line.part == Line::kOpens) {
          ++depth;
        } else {
          builder.Close();
        }
        break;
      case XmlElement::kDictionary:
        if (line.part == Line::kOpens) {
          builder.AddDeferred(std::make_shared<WrittenDictionaryContent>(
              xml_, line.begin, static_cast<int>(depth), mutability_option_));
          lines.MoveTo(xml_->EndOf(line.begin));
        } else {
          builder.OpenDictionary();
          builder.Close();
        }
        break;
      default:
        builder.AddBoolean(line.element == XmlElement::kTrue);
    }
  }
}

OwnedObject ReadWrittenXml(std::string_view bytes, CFOptionFlags mutability_option) {
  auto xml = WrittenXml::Scan(bytes);
  if (xml == nullptr) return nullptr;
  PropertyListBuilder builder(mutability_option);
  builder.AddDeferred(std::make_shared<WrittenDictionaryContent>(
      std::move(xml), kPropertyListXmlHeader.size(), 0, mutability_option));
  return builder.Take();
}

}  // namespace orvik
