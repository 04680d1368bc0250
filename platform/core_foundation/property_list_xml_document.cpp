#include "platform/core_foundation/property_list_xml_document.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "platform/core_foundation/property_list_encoding.h"
#include "platform/core_foundation/property_list_escape.h"
#include "platform/core_foundation/property_list_leaves.h"
#include "text/transcoding.h"

namespace orvik {
namespace {

// References are left to this reader, which tells an unknown one from an escaped ampersand. The top
// level is read as a fragment, so that text beside the root is seen.
constexpr unsigned int kParseFlags = pugi::parse_eol | pugi::parse_fragment;

// Without comments, processing instructions and CDATA sections every text is the only child of its
// element and needs no node of its own.
constexpr unsigned int kPlainFlags =
    kParseFlags | pugi::parse_ws_pcdata_single | pugi::parse_embed_pcdata;
constexpr unsigned int kMixedFlags = kParseFlags | pugi::parse_ws_pcdata | pugi::parse_cdata;

bool HasMixedContent(std::string_view text) {
  for (size_t at = text.find('!'); at != std::string_view::npos; at = text.find('!', at + 1)) {
    if (at > 0 && text[at - 1] == '<' && !text.substr(at + 1).starts_with("DOCTYPE")) return true;
  }
  const size_t declaration_end = text.find("?>");
  const size_t from = declaration_end == std::string_view::npos ? 0 : declaration_end + 2;
  for (size_t at = text.find('?', from); at != std::string_view::npos;
       at = text.find('?', at + 1)) {
    if (at > 0 && text[at - 1] == '<') return true;
  }
  return false;
}

// The shortest values, "<true/>" and "<array/>", take some nine times their length, and with a node
// for each blank text twice that; other XML may ask for far more.
constexpr size_t kPlainNodeBytes = 12;
constexpr size_t kMixedNodeBytes = 24;
constexpr size_t kSmallestLimit = size_t{256} << 10;

constexpr char32_t kNoCharacter = std::numeric_limits<char32_t>::max();

// The character of an entity or character reference without its "&" and ";". A character that XML
// forbids is taken when it is written as a number: some writers do so.
char32_t ReferencedCharacter(std::string_view name) {
  if (name == "lt") return U'<';
  if (name == "gt") return U'>';
  if (name == "amp") return U'&';
  if (name == "quot") return U'"';
  if (name == "apos") return U'\'';
  if (name.size() < 2 || name[0] != '#') return kNoCharacter;
  name.remove_prefix(1);
  int base = 10;
  if (name[0] == 'x') {
    base = 16;
    name.remove_prefix(1);
  }
  std::uint32_t character = 0;
  const auto [stop, error] =
      std::from_chars(name.data(), name.data() + name.size(), character, base);
  if (error != std::errc() || stop != name.data() + name.size() || character > 0x10FFFF) {
    return kNoCharacter;
  }
  return character;
}

bool AppendDecoded(std::string_view text, bool has_references, std::u16string& result) {
  for (size_t i = 0; i < text.size();) {
    if (text[i] != '&' || !has_references) {
      AppendCharacter(result, NextCharacter(text, i));
      continue;
    }
    const size_t end = text.find(';', i);
    if (end == std::string_view::npos) return false;
    const char32_t character = ReferencedCharacter(text.substr(i + 1, end - i - 1));
    if (character == kNoCharacter) return false;
    AppendCharacter(result, character);
    i = end + 1;
  }
  return true;
}

// In the order of XmlElement.
constexpr const char* kElementNames[] = {"",      "key",  "string", "integer", "real", "true",
                                         "false", "date", "data",   "array",   "dict"};

bool HasElementName(const pugi::xml_node& node, XmlElement element) {
  return strcmp(node.name(), kElementNames[static_cast<size_t>(element)]) == 0;
}

class Checker {
 public:
  explicit Checker(std::unordered_set<const void*>& unordered) : unordered_(unordered) {}

  XmlStep Begin(const pugi::xml_node& node, XmlElement element) {
    if (!HasElementName(node, element) || !TakePlace() || !HasBlankText(node) ||
        open_.size() == kPropertyListMaximumDepth) {
      return XmlStep::kStop;
    }
    open_.push_back({element == XmlElement::kDictionary, false, true, {}});
    return XmlStep::kInto;
  }

  bool End(const pugi::xml_node& node, XmlElement) {
    const Container& container = open_.back();
    if (container.has_key) return false;
    if (!container.in_order) unordered_.insert(node.internal_object());
    open_.pop_back();
    return true;
  }

  bool Leaf(const pugi::xml_node& node, XmlElement element) {
    if (!HasElementName(node, element)) return false;
    if (element == XmlElement::kKey) return TakeKey(node);
    if (!TakePlace()) return false;
    switch (element) {
      case XmlElement::kString:
        return IsText(node);
      case XmlElement::kInteger:
        return Parses(node, ParsePropertyListInteger);
      case XmlElement::kReal:
        return Parses(node, ParsePropertyListReal);
      case XmlElement::kDate:
        return Parses(node, ParsePropertyListDate);
      case XmlElement::kData:
        return Parses(node, ParsePropertyListData);
      case XmlElement::kTrue:
      case XmlElement::kFalse:
        return !node.first_child() && node.value()[0] == '\0';
      default:
        return false;
    }
  }

 private:
  struct Container {
    bool is_dictionary;
    bool has_key;
    bool in_order;
    std::string_view last_key;
  };

  // The place of a value: in an array, or behind a key.
  bool TakePlace() {
    if (open_.empty()) return true;
    Container& container = open_.back();
    return !container.is_dictionary || std::exchange(container.has_key, false);
  }

  bool TakeKey(const pugi::xml_node& node) {
    if (open_.empty() || !open_.back().is_dictionary || open_.back().has_key || !IsText(node)) {
      return false;
    }
    Container& container = open_.back();
    container.has_key = true;
    std::string_view key;
    const bool is_plain =
        XmlPropertyListDocument::PlainText(node, key) && AsciiPrefix(key) == key.size();
    const bool ascends = container.last_key.data() == nullptr || container.last_key < key;
    if (!is_plain || !ascends) container.in_order = false;
    container.last_key = key;
    return true;
  }

  bool IsText(const pugi::xml_node& node) {
    std::string_view text;
    return XmlPropertyListDocument::PlainText(node, text) ||
           XmlPropertyListDocument::DecodedText(node, decoded_);
  }

  template <typename Parse>
  bool Parses(const pugi::xml_node& node, Parse parse) {
    std::string_view text;
    return XmlPropertyListDocument::AsciiText(node, storage_, text) && parse(text).has_value();
  }

  static bool HasBlankText(const pugi::xml_node& node) {
    if (!XmlPropertyListDocument::IsBlank(node.value())) return false;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
      if (!XmlPropertyListDocument::IsElement(child) &&
          !XmlPropertyListDocument::IsBlank(child.value())) {
        return false;
      }
    }
    return true;
  }

  std::unordered_set<const void*>& unordered_;
  std::vector<Container> open_;
  std::u16string decoded_;
  std::string storage_;
};

// The only element inside, with blank text around it, or nothing.
pugi::xml_node OnlyElement(const pugi::xml_node& parent) {
  pugi::xml_node only;
  if (!XmlPropertyListDocument::IsBlank(parent.value())) return only;
  for (pugi::xml_node child = parent.first_child(); child; child = child.next_sibling()) {
    if (!XmlPropertyListDocument::IsElement(child)) {
      if (!XmlPropertyListDocument::IsBlank(child.value())) return {};
    } else if (only) {
      return {};
    } else {
      only = child;
    }
  }
  return only;
}

}  // namespace

// Known elements are told apart by as few characters as it takes; the checker has seen to the rest.
XmlElement XmlElementOf(const pugi::xml_node& node) {
  const char* name = node.name();
  switch (name[0]) {
    case 'k':
      return XmlElement::kKey;
    case 's':
      return XmlElement::kString;
    case 'i':
      return XmlElement::kInteger;
    case 'r':
      return XmlElement::kReal;
    case 't':
      return XmlElement::kTrue;
    case 'f':
      return XmlElement::kFalse;
    case 'a':
      return XmlElement::kArray;
    case 'd':
      if (name[1] == 'i') return XmlElement::kDictionary;
      return name[1] == 'a' && name[2] == 't' && name[3] == 'a' ? XmlElement::kData
                                                                : XmlElement::kDate;
    default:
      return XmlElement::kUnknown;
  }
}

XmlPropertyListDocument::XmlPropertyListDocument(std::string text, bool is_mixed)
    : text_(std::move(text)),
      memory_(kSmallestLimit + text_.size() * (is_mixed ? kMixedNodeBytes : kPlainNodeBytes)) {}

XmlPropertyListDocument::~XmlPropertyListDocument() {
  const XmlNodeMemory::Scope scope(memory_);
  document_.reset();
}

std::shared_ptr<const XmlPropertyListDocument> XmlPropertyListDocument::Parse(std::string text,
                                                                              std::string& error) {
  const bool is_mixed = HasMixedContent(text);
  auto document = std::make_shared<XmlPropertyListDocument>(std::move(text), is_mixed);
  std::string& buffer = document->text_;
  // With the terminator: the parser takes the last byte for its own.
  const XmlNodeMemory::Scope scope(document->memory_);
  document->document_ = std::make_unique<pugi::xml_document>();
  const pugi::xml_parse_result result = document->document_->load_buffer_inplace(
      buffer.data(), buffer.size() + 1, is_mixed ? kMixedFlags : kPlainFlags, pugi::encoding_utf8);
  if (!result) {
    error = std::string(result.description()) + " at byte " + std::to_string(result.offset) +
            " of the XML";
    return nullptr;
  }
  if (!document->Check()) {
    error = "The XML is no property list";
    return nullptr;
  }
  return document;
}

bool XmlPropertyListDocument::Check() {
  root_ = OnlyElement(*document_);
  if (root_ && strcmp(root_.name(), "plist") == 0) root_ = OnlyElement(root_);
  Checker checker(unordered_);
  return root_ && Walk(root_, checker);
}

bool XmlPropertyListDocument::PlainText(const pugi::xml_node& node, std::string_view& text) {
  text = node.value();
  return !node.first_child() && text.find('&') == std::string_view::npos;
}

bool XmlPropertyListDocument::DecodedText(const pugi::xml_node& node, std::u16string& text) {
  text.clear();
  if (!AppendDecoded(node.value(), true, text)) return false;
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
    if (IsElement(child) ||
        !AppendDecoded(child.value(), child.type() == pugi::node_pcdata, text)) {
      return false;
    }
  }
  UnescapePropertyListText(text);
  return true;
}

bool XmlPropertyListDocument::Decoded(std::string_view xml, std::u16string& text) {
  text.clear();
  if (!AppendDecoded(xml, true, text)) return false;
  UnescapePropertyListText(text);
  return true;
}

bool XmlPropertyListDocument::AsciiText(const pugi::xml_node& node, std::string& storage,
                                        std::string_view& text) {
  if (PlainText(node, text)) return true;
  storage = node.value();
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
    if (IsElement(child)) return false;
    storage += child.value();
  }
  text = storage;
  return text.find('&') == std::string_view::npos;
}

bool XmlPropertyListDocument::IsBlank(const char* text) {
  return text[strspn(text, " \t\r\n")] == '\0';
}

}  // namespace orvik
