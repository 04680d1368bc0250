#include "xml/config_element.h"

#include <utility>

#include "xml/config_index.h"

namespace orvik {
namespace {

// The depth is that of a document that was loaded: kMostXmlDepth at most.
std::unique_ptr<TiXmlElement> Copied(const TiXmlElement& element,
                                     const std::shared_ptr<ConfigIndex>& index) {
  auto copy = std::make_unique<ConfigElement>(element.Value(), index);
  for (const TiXmlAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    copy->SetAttribute(attribute->Name(), attribute->Value());
  }
  for (const TiXmlNode* child = element.FirstChild(); child != nullptr;
       child = child->NextSibling()) {
    const TiXmlElement* const inner = child->ToElement();
    copy->LinkEndChild(inner == nullptr ? child->Clone() : Copied(*inner, index).release());
  }
  return copy;
}

}  // namespace

ConfigElement::ConfigElement(const char* tag, std::weak_ptr<ConfigIndex> index)
    : TiXmlElement(tag), index_(std::move(index)) {}

ConfigElement::~ConfigElement() {
  if (const std::shared_ptr<ConfigIndex> index = index_.lock()) index->Forget(this);
}

void MakeConfigElements(TiXmlDocument& document, const std::shared_ptr<ConfigIndex>& index) {
  TiXmlNode* const last = document.LastChild();
  for (bool is_done = last == nullptr; !is_done;) {
    TiXmlNode* const old = document.FirstChild();
    const TiXmlElement* const element = old->ToElement();
    is_done = old == last;
    document.LinkEndChild(element == nullptr ? old->Clone() : Copied(*element, index).release());
    document.RemoveChild(old);
  }
}

}  // namespace orvik
