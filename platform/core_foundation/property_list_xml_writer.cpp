#include <utility>

#include "platform/core_foundation/property_list_escape.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_walk.h"
#include "platform/core_foundation/property_list_written_xml.h"
#include "platform/core_foundation/property_list_xml_content.h"
#include "host/large_buffer.h"

namespace orvik {
namespace {

// What stands before and behind the text of a simple value.
struct Tags {
  std::string_view before;
  std::string_view behind;
};
constexpr Tags kKey = {"<key>", "</key>\n"};
constexpr Tags kString = {"<string>", "</string>\n"};
constexpr Tags kInteger = {"<integer>", "</integer>\n"};
constexpr Tags kReal = {"<real>", "</real>\n"};
constexpr Tags kDate = {"<date>", "</date>\n"};
constexpr Tags kData = {"<data>\n", "</data>\n"};

constexpr std::string_view kTabs = "\t\t\t\t\t\t\t\t";

constexpr size_t kRoomForChanges = 4096;

class XmlWriter : public PropertyListWalk::Visitor {
 public:
  XmlWriter() : xml_(kPropertyListXmlHeader) {}

  bool Leaf(const NSObject* object, PropertyListKind kind) override {
    switch (kind) {
      case PropertyListKind::kString:
        AppendString(kString, static_cast<CFStringRef>(object));
        return true;
      case PropertyListKind::kNumber: {
        const auto number = static_cast<CFNumberRef>(object);
        if (number->isReal()) {
          AppendReal(number->doubleValue());
        } else {
          AppendInteger(IntegerOf(*number));
        }
        return true;
      }
      case PropertyListKind::kBoolean:
        AppendBoolean(CFBooleanGetValue(static_cast<CFBooleanRef>(object)));
        return true;
      case PropertyListKind::kDate:
        return AppendDate(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
      case PropertyListKind::kData:
        AppendData(static_cast<CFDataRef>(object)->View());
        return true;
      default:
        return false;
    }
  }

  bool Key(const NSString* key) override {
    AppendString(kKey, key);
    return true;
  }

  bool Begin(const NSObject*, PropertyListKind kind, size_t count) override {
    return BeginContainer(kind == PropertyListKind::kArray, count == 0);
  }

  bool End(PropertyListKind kind) override {
    EndContainer(kind == PropertyListKind::kArray);
    return true;
  }

  PropertyListDeferral Deferred(const NSDictionary& dictionary) override {
    const auto deferred = dictionary.deferredContent();
    if (const auto* lines = dynamic_cast<const WrittenDictionaryContent*>(deferred.get())) {
      if (lines->depth() != depth_) return PropertyListDeferral::kOpen;
      ReserveFor(&lines->xml(), lines->xml().size());
      xml_ += lines->Text();
      is_empty_ = false;
      return PropertyListDeferral::kDone;
    }
    if (const auto* nodes = dynamic_cast<const XmlDictionaryContent*>(deferred.get())) {
      ReserveFor(nodes->document().get(), nodes->document()->size());
      NodeWriter writer(*this, nodes->document());
      return XmlPropertyListDocument::Walk(nodes->node(), writer) ? PropertyListDeferral::kDone
                                                                  : PropertyListDeferral::kFailed;
    }
    return PropertyListDeferral::kOpen;
  }

  std::string Take() {
    xml_ += kPropertyListXmlFooter;
    return std::move(xml_);
  }

 private:
  // Writes nodes that were never made objects, to the same effect.
  class NodeWriter {
   public:
    NodeWriter(XmlWriter& writer, const std::shared_ptr<const XmlPropertyListDocument>& document)
        : writer_(writer), document_(document) {}

    XmlStep Begin(const pugi::xml_node& node, XmlElement element) {
      if (element == XmlElement::kDictionary && !document_->IsInOrder(node)) {
        const OwnedObject object = MakeXmlValue(document_, node, kCFPropertyListImmutable);
        return PropertyListWalk::Run(object.get(), PropertyListOrder::kByKey, writer_)
                   ? XmlStep::kPast
                   : XmlStep::kStop;
      }
      const bool is_empty = !XmlPropertyListDocument::FirstElement(node.first_child());
      return writer_.BeginContainer(element == XmlElement::kArray, is_empty) ? XmlStep::kInto
                                                                             : XmlStep::kStop;
    }

    bool End(const pugi::xml_node&, XmlElement element) {
      writer_.EndContainer(element == XmlElement::kArray);
      return true;
    }

    bool Leaf(const pugi::xml_node& node, XmlElement element) {
      switch (element) {
        case XmlElement::kKey:
          AppendText(kKey, node);
          return true;
        case XmlElement::kString:
          AppendText(kString, node);
          return true;
        case XmlElement::kInteger:
          writer_.AppendInteger(*ParsePropertyListInteger(AsciiText(node)));
          return true;
        case XmlElement::kReal:
          writer_.AppendReal(*ParsePropertyListReal(AsciiText(node)));
          return true;
        case XmlElement::kDate:
          return writer_.AppendDate(*ParsePropertyListDate(AsciiText(node)));
        case XmlElement::kData:
          writer_.AppendData(*ParsePropertyListData(AsciiText(node)));
          return true;
        default:
          writer_.AppendBoolean(element == XmlElement::kTrue);
          return true;
      }
    }

   private:
    std::string_view AsciiText(const pugi::xml_node& node) {
      std::string_view text;
      XmlPropertyListDocument::AsciiText(node, storage_, text);
      return text;
    }

    void AppendText(const Tags& tags, const pugi::xml_node& node) {
      writer_.Open(tags);
      const std::string_view text = node.value();
      if (!node.first_child() && IsPropertyListXmlText(text)) {
        writer_.xml_ += text;
      } else {
        XmlPropertyListDocument::DecodedText(node, decoded_);
        AppendPropertyListText(writer_.xml_, decoded_);
      }
      writer_.Close(tags);
    }

    XmlWriter& writer_;
    const std::shared_ptr<const XmlPropertyListDocument>& document_;
    std::string storage_;
    std::u16string decoded_;
  };

  // Makes room once for what comes from the same source.
  void ReserveFor(const void* source, size_t size) {
    if (std::exchange(last_source_, source) == source) return;
    host::ReserveLarge(xml_, xml_.size() + size + kRoomForChanges);
  }

  void Indent() {
    for (int left = depth_; left > 0; left -= static_cast<int>(kTabs.size())) {
      xml_ += kTabs.substr(0, static_cast<size_t>(left));
    };
  }

  void Open(const Tags& tags) {
    Indent();
    xml_ += tags.before;
  }

  void Close(const Tags& tags) { xml_ += tags.behind; }

  bool BeginContainer(bool is_array, bool is_empty) {
    if (depth_ == kPropertyListMaximumDepth) return false;
    Indent();
    if (is_empty) {
      xml_ += is_array ? "<array/>\n" : "<dict/>\n";
    } else {
      xml_ += is_array ? "<array>\n" : "<dict>\n";
    }
    is_empty_ = is_empty;
    ++depth_;
    return true;
  }

  void EndContainer(bool is_array) {
    --depth_;
    if (!is_empty_) {
      Indent();
      xml_ += is_array ? "</array>\n" : "</dict>\n";
    }
    is_empty_ = false;
  }

  void AppendString(const Tags& tags, const NSString* text) {
    Open(tags);
    if (text->isAscii()) {
      AppendPropertyListAscii(xml_, text->latin1());
    } else if (text->isLatin1()) {
      AppendPropertyListText(xml_, text->ToUnits());
    } else {
      AppendPropertyListText(xml_, text->wide());
    }
    Close(tags);
  }

  void AppendInteger(PropertyListInteger value) {
    Open(kInteger);
    AppendPropertyListInteger(xml_, value);
    Close(kInteger);
  }

  void AppendReal(double value) {
    Open(kReal);
    AppendPropertyListReal(xml_, value);
    Close(kReal);
  }

  void AppendBoolean(bool value) {
    Indent();
    xml_ += value ? "<true/>\n" : "<false/>\n";
  }

  bool AppendDate(double seconds) {
    if (!IsPropertyListDate(seconds)) return false;
    Open(kDate);
    AppendPropertyListDate(xml_, seconds);
    Close(kDate);
    return true;
  }

  void AppendData(std::string_view bytes) {
    Open(kData);
    AppendPropertyListData(xml_, bytes, depth_);
    Indent();
    Close(kData);
  }

  std::string xml_;
  const void* last_source_ = nullptr;
  int depth_ = 0;
  bool is_empty_ = false;
};

}  // namespace

std::optional<std::string> WriteXmlPropertyList(const NSObject* property_list) {
  XmlWriter writer;
  if (!PropertyListWalk::Run(property_list, PropertyListOrder::kByKey, writer)) {
    return std::nullopt;
  }
  return writer.Take();
}

}  // namespace orvik
