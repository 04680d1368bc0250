// The nodes of a property list's XML, checked once and then read as often as needed.
#pragma once

#include <memory>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <unordered_set>

#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_xml_memory.h"
#include "platform/foundation/dictionary.h"

namespace orvik {

enum class XmlElement {
  kUnknown,
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
};

XmlElement XmlElementOf(const pugi::xml_node& node);

enum class XmlStep { kInto, kPast, kStop };

class XmlPropertyListDocument {
 public:
  // For Parse.
  XmlPropertyListDocument(std::string text, bool is_mixed);
  ~XmlPropertyListDocument();

  // Null, with the reason, unless the text (UTF-8 without NUL) is a whole property list.
  static std::shared_ptr<const XmlPropertyListDocument> Parse(std::string text, std::string& error);

  // Of the text, in bytes.
  size_t size() const { return text_.size(); }

  // The element of the root value.
  pugi::xml_node root() const { return root_; }

  // Whether the keys of the dictionary ascend and are plain ASCII, so that its entries can be
  // written as they stand.
  bool IsInOrder(const pugi::xml_node& dictionary) const {
    return !unordered_.contains(dictionary.internal_object());
  }

  // Goes through a value depth first and without recursion. The visitor has `bool Leaf(node,
  // element)` for keys and simple values, `XmlStep Begin(node, element)` and `bool End(node,
  // element)` for containers; false and kStop end the walk with false.
  template <typename Visitor>
  static bool Walk(const pugi::xml_node& root, Visitor& visitor);

  // The text of a simple value that needs no decoding: without a reference, in one piece.
  static bool PlainText(const pugi::xml_node& node, std::string_view& text);
  // Any text, without its references; false for an unknown reference or an element in it. Escapes
  // (property_list_escape.h) are undone.
  static bool DecodedText(const pugi::xml_node& node, std::u16string& text);
  // The same for character data (valid UTF-8) in one piece.
  static bool Decoded(std::string_view xml, std::u16string& text);
  // The text of a value that uses ASCII alone, as PlainText or in the storage.
  static bool AsciiText(const pugi::xml_node& node, std::string& storage, std::string_view& text);

  static bool IsBlank(const char* text);
  static bool IsElement(const pugi::xml_node& node) { return node.type() == pugi::node_element; }
  static pugi::xml_node FirstElement(pugi::xml_node node) {
    for (;; node = node.next_sibling()) {
      const pugi::xml_node_type type = node.type();
      if (type == pugi::node_element || type == pugi::node_null) return node;
    }
  }

 private:
  bool Check();

  std::string text_;
  XmlNodeMemory memory_;
  std::unique_ptr<pugi::xml_document> document_;
  pugi::xml_node root_;
  std::unordered_set<const void*> unordered_;
};

template <typename Visitor>
bool XmlPropertyListDocument::Walk(const pugi::xml_node& root, Visitor& visitor) {
  pugi::xml_node node = root;
  for (;;) {
    const XmlElement element = XmlElementOf(node);
    bool ends = true;
    if (element == XmlElement::kArray || element == XmlElement::kDictionary) {
      const XmlStep step = visitor.Begin(node, element);
      if (step == XmlStep::kStop) return false;
      if (step == XmlStep::kInto) {
        if (const pugi::xml_node child = FirstElement(node.first_child())) {
          node = child;
          continue;
        }
        if (!visitor.End(node, element)) return false;
      }
    } else if (!visitor.Leaf(node, element)) {
      return false;
    }
    while (ends) {
      if (node == root) return true;
      if (const pugi::xml_node next = FirstElement(node.next_sibling())) {
        node = next;
        ends = false;
      } else {
        node = node.parent();
        if (!visitor.End(node, XmlElementOf(node))) return false;
      }
    }
  }
}

}  // namespace orvik
