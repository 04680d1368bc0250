#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <pugixml.hpp>

#include "platform/core_foundation/property_list_encoding.h"
#include "platform/core_foundation/property_list_escape.h"
#include "platform/core_foundation/property_list_forms.h"

namespace orvik {
namespace {

// Entities are left to this reader, which tells an unknown one from an escaped ampersand. The top
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

bool IsBlank(const char* text) {
  return text[strspn(text, " \t\r\n")] == '\0';
}

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

class XmlReader {
 public:
  explicit XmlReader(CFOptionFlags mutability_option) : builder_(mutability_option) {}

  OwnedObject Read(const pugi::xml_document& document) {
    const pugi::xml_node root = RootValue(document);
    if (!root || !ReadTree(root)) return nullptr;
    return builder_.Take();
  }

 private:
  static bool IsElement(const pugi::xml_node& node) { return node.type() == pugi::node_element; }

  // The next element from the node on, past blank text. Nothing, and no element, when there is
  // other text.
  pugi::xml_node NextElement(pugi::xml_node node) {
    for (; node; node = node.next_sibling()) {
      if (IsElement(node)) return node;
      if (!IsBlank(node.value())) failed_ = true;
    }
    return node;
  }

  pugi::xml_node OnlyElement(const pugi::xml_node& parent) {
    const pugi::xml_node element = NextElement(parent.first_child());
    if (element && NextElement(element.next_sibling())) failed_ = true;
    return failed_ || !IsBlank(parent.value()) ? pugi::xml_node() : element;
  }

  pugi::xml_node RootValue(const pugi::xml_document& document) {
    const pugi::xml_node root = OnlyElement(document);
    return root && strcmp(root.name(), "plist") == 0 ? OnlyElement(root) : root;
  }

  bool ReadTree(const pugi::xml_node root) {
    pugi::xml_node node = root;
    for (;;) {
      const bool is_container = IsContainer(node.name());
      if (is_container ? !Open(node) : !ReadLeaf(node)) return false;
      pugi::xml_node next = is_container ? NextElement(node.first_child()) : pugi::xml_node();
      bool closes = is_container && !next;
      while (!next) {
        if (failed_ || (closes && !builder_.Close())) return false;
        if (node == root) return true;
        next = NextElement(node.next_sibling());
        if (!next) node = node.parent();
        closes = true;
      }
      if (failed_) return false;
      node = next;
    }
  }

  static bool IsContainer(const char* name) {
    return strcmp(name, "dict") == 0 || strcmp(name, "array") == 0;
  }

  bool Open(const pugi::xml_node& node) {
    if (!IsBlank(node.value())) return false;
    return node.name()[0] == 'd' ? builder_.OpenDictionary() : builder_.OpenArray();
  }

  bool ReadLeaf(const pugi::xml_node& node) {
    const char* name = node.name();
    switch (name[0]) {
      case 'k':
        return strcmp(name, "key") == 0 && ReadText(node, true);
      case 's':
        return strcmp(name, "string") == 0 && ReadText(node, false);
      case 'i':
        return strcmp(name, "integer") == 0 &&
               AddParsed(node, ParsePropertyListInteger,
                         [this](PropertyListInteger value) { return builder_.AddInteger(value); });
      case 'r':
        return strcmp(name, "real") == 0 &&
               AddParsed(node, ParsePropertyListReal,
                         [this](double value) { return builder_.AddReal(value); });
      case 'd':
        if (strcmp(name, "date") == 0) {
          return AddParsed(node, ParsePropertyListDate,
                           [this](double value) { return builder_.AddDate(value); });
        }
        return strcmp(name, "data") == 0 &&
               AddParsed(node, ParsePropertyListData,
                         [this](const std::string& bytes) { return builder_.AddData(bytes); });
      case 't':
        return strcmp(name, "true") == 0 && IsEmpty(node) && builder_.AddBoolean(true);
      case 'f':
        return strcmp(name, "false") == 0 && IsEmpty(node) && builder_.AddBoolean(false);
      default:
        return false;
    }
  }

  static bool IsEmpty(const pugi::xml_node& node) {
    return !node.first_child() && node.value()[0] == '\0';
  }

  // Text without references is not copied; false for an element inside, or an unknown entity.
  bool ReadText(const pugi::xml_node& node, bool is_key) {
    if (!node.first_child()) {
      const std::string_view text = node.value();
      if (AsciiPrefixLength(text) == text.size() && text.find('&') == std::string_view::npos) {
        return is_key ? builder_.SetAsciiKey(text) : builder_.AddAscii(text);
      }
    }
    text_.clear();
    if (!AppendText(node.value(), true)) return false;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
      if (IsElement(child) || !AppendText(child.value(), child.type() == pugi::node_pcdata)) {
        return false;
      }
    }
    UnescapePropertyListText(text_);
    return is_key ? builder_.SetKey(text_) : builder_.AddString(text_);
  }

  bool AppendText(std::string_view text, bool has_references) {
    for (size_t i = 0; i < text.size();) {
      if (text[i] != '&' || !has_references) {
        AppendCodePoint(text_, NextCodePoint(text, i));
        continue;
      }
      const size_t end = text.find(';', i);
      if (end == std::string_view::npos) return false;
      const char32_t character = ReferencedCharacter(text.substr(i + 1, end - i - 1));
      if (character == kNoCharacter) return false;
      AppendCodePoint(text_, character);
      i = end + 1;
    }
    return true;
  }

  // The text of a value that has no use for characters outside ASCII.
  bool PlainText(const pugi::xml_node& node, std::string_view& text) {
    text = node.value();
    if (!node.first_child()) return text.find('&') == std::string_view::npos;
    plain_text_ = text;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
      if (IsElement(child)) return false;
      plain_text_ += child.value();
    }
    text = plain_text_;
    return text.find('&') == std::string_view::npos;
  }

  template <typename Parse, typename AddValue>
  bool AddParsed(const pugi::xml_node& node, Parse parse, AddValue add) {
    std::string_view text;
    if (!PlainText(node, text)) return false;
    const auto value = parse(text);
    return value && add(*value);
  }

  PropertyListBuilder builder_;
  bool failed_ = false;
  std::u16string text_;
  std::string plain_text_;
};

}  // namespace

PropertyListReading ReadXmlPropertyList(std::string text, CFOptionFlags mutability_option) {
  pugi::xml_document document;
  const unsigned int flags = HasMixedContent(text) ? kMixedFlags : kPlainFlags;
  // With the terminator: the parser takes the last byte for its own.
  const pugi::xml_parse_result result =
      document.load_buffer_inplace(text.data(), text.size() + 1, flags, pugi::encoding_utf8);
  PropertyListReading reading;
  if (!result) {
    reading.error = std::string(result.description()) + " at byte " +
                    std::to_string(result.offset) + " of the XML";
    return reading;
  }
  reading.root = XmlReader(mutability_option).Read(document);
  if (reading.root) {
    reading.format = kCFPropertyListXMLFormat_v1_0;
  } else {
    reading.error = "The XML is no property list";
  }
  return reading;
}

}  // namespace orvik
