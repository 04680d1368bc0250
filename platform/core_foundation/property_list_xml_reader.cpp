#include "platform/core_foundation/property_list_encoding.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_xml_content.h"
#include "text/transcoding.h"

namespace orvik {
namespace {

using Document = XmlPropertyListDocument;

// Makes the objects of one value, whose nodes have been checked.
class Maker {
 public:
  Maker(const std::shared_ptr<const Document>& document, const pugi::xml_node& root,
        CFOptionFlags mutability_option)
      : builder(mutability_option),
        document_(document),
        root_(root),
        mutability_option_(mutability_option) {}

  XmlStep Begin(const pugi::xml_node& node, XmlElement element) {
    if (element == XmlElement::kArray) {
      return builder.OpenArray() ? XmlStep::kInto : XmlStep::kStop;
    }
    if (node == root_ || !Document::FirstElement(node.first_child())) {
      return Open(node) ? XmlStep::kInto : XmlStep::kStop;
    }
    const bool added = builder.AddDeferred(
        std::make_shared<XmlDictionaryContent>(document_, node, mutability_option_));
    return added ? XmlStep::kPast : XmlStep::kStop;
  }

  bool End(const pugi::xml_node&, XmlElement) { return builder.Close(); }

  bool Leaf(const pugi::xml_node& node, XmlElement element) {
    switch (element) {
      case XmlElement::kKey:
        return AddText(node, &PropertyListBuilder::SetAsciiKey, &PropertyListBuilder::SetKey);
      case XmlElement::kString:
        return AddText(node, &PropertyListBuilder::AddAscii, &PropertyListBuilder::AddString);
      case XmlElement::kInteger:
        return builder.AddInteger(*ParsePropertyListInteger(AsciiText(node)));
      case XmlElement::kReal:
        return builder.AddReal(*ParsePropertyListReal(AsciiText(node)));
      case XmlElement::kDate:
        return builder.AddDate(*ParsePropertyListDate(AsciiText(node)));
      case XmlElement::kData:
        return builder.AddData(*ParsePropertyListData(AsciiText(node)));
      default:
        return builder.AddBoolean(element == XmlElement::kTrue);
    }
  }

  PropertyListBuilder builder;
  // The dictionary whose entries the root's are to be, when it exists already.
  NSDictionary* existing = nullptr;

 private:
  bool Open(const pugi::xml_node& node) {
    if (node != root_ || existing == nullptr) return builder.OpenDictionary();
    builder.Reopen(existing);
    return true;
  }

  std::string_view AsciiText(const pugi::xml_node& node) {
    std::string_view text;
    Document::AsciiText(node, storage_, text);
    return text;
  }

  bool AddText(const pugi::xml_node& node, bool (PropertyListBuilder::*add_ascii)(std::string_view),
               bool (PropertyListBuilder::*add)(std::u16string_view)) {
    std::string_view text;
    if (Document::PlainText(node, text) && AsciiPrefix(text) == text.size()) {
      return (builder.*add_ascii)(text);
    }
    return Document::DecodedText(node, decoded_) && (builder.*add)(decoded_);
  }

  const std::shared_ptr<const Document>& document_;
  const pugi::xml_node root_;
  CFOptionFlags mutability_option_;
  std::string storage_;
  std::u16string decoded_;
};

}  // namespace

void XmlDictionaryContent::MakeEntries(NSDictionary* dictionary) const {
  Maker maker(document_, node_, mutability_option_);
  maker.existing = dictionary;
  Document::Walk(node_, maker);
}

int XmlDictionaryContent::depth() const {
  int depth = 0;
  for (pugi::xml_node node = node_; node != document_->root(); node = node.parent()) ++depth;
  return depth;
}

OwnedObject MakeXmlValue(const std::shared_ptr<const Document>& document,
                         const pugi::xml_node& node, CFOptionFlags mutability_option) {
  Maker maker(document, node, mutability_option);
  return Document::Walk(node, maker) ? maker.builder.Take() : nullptr;
}

PropertyListReading ReadXmlPropertyList(std::string text, CFOptionFlags mutability_option) {
  PropertyListReading reading;
  const auto document = Document::Parse(std::move(text), reading.error);
  if (document == nullptr) return reading;
  reading.root = MakeXmlValue(document, document->root(), mutability_option);
  reading.format = kCFPropertyListXMLFormat_v1_0;
  return reading;
}

}  // namespace orvik
