#include "xml/config_print.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <utility>
#include <vector>

#include <tinyxml.h>

namespace orvik {
namespace {

constexpr char kReference[] = "&#x";

std::string Escaped(const char* text) {
  std::string escaped;
  for (const char* found; (found = std::strstr(text, kReference)) != nullptr; text = found + 1) {
    escaped.append(text, found);
    escaped += "&#x26;";
  }
  return escaped += text;
}

// Escapes what TinyXML would not, and puts it back in the end.
class EscapedForPrinting {
 public:
  explicit EscapedForPrinting(TiXmlDocument& document) {
    for (TiXmlNode* node = &document; node != nullptr; node = Next(node)) {
      if (TiXmlElement* const element = node->ToElement()) {
        for (TiXmlAttribute* attribute = element->FirstAttribute(); attribute != nullptr;
             attribute = attribute->Next()) {
          Escape(attribute);
        }
      } else if (TiXmlText* const text = node->ToText(); text != nullptr && !text->CDATA()) {
        Escape(text);
      }
    }
  }
  ~EscapedForPrinting() {
    for (const auto& undo : undo_) undo();
  }
  EscapedForPrinting(const EscapedForPrinting&) = delete;
  EscapedForPrinting& operator=(const EscapedForPrinting&) = delete;

 private:
  // In document order, without a stack.
  static TiXmlNode* Next(TiXmlNode* node) {
    if (node->FirstChild() != nullptr) return node->FirstChild();
    while (node != nullptr && node->NextSibling() == nullptr) node = node->Parent();
    return node == nullptr ? nullptr : node->NextSibling();
  }

  template <typename Holder>
  void Escape(Holder* holder) {
    if (std::strstr(holder->Value(), kReference) == nullptr) return;
    std::string value = holder->Value();
    holder->SetValue(Escaped(value.c_str()).c_str());
    undo_.emplace_back([holder, value = std::move(value)] { holder->SetValue(value.c_str()); });
  }

  std::vector<std::function<void()>> undo_;
};

}  // namespace

bool PrintConfigDocument(TiXmlDocument& document, std::string& text) {
  const EscapedForPrinting escaped(document);
  char* bytes = nullptr;
  std::size_t length = 0;
  std::FILE* const memory = open_memstream(&bytes, &length);
  if (memory == nullptr) return false;
  const bool printed = document.SaveFile(memory);
  const bool closed = std::fclose(memory) == 0;
  if (closed) text.assign(bytes, length);
  std::free(bytes);
  return printed && closed;
}

}  // namespace orvik
