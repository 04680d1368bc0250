// Dictionaries whose entries are still nodes of the XML they came from.
#pragma once

#include <memory>

#include "platform/core_foundation/property_list_builder.h"
#include "platform/core_foundation/property_list_xml_document.h"

namespace orvik {

class XmlDictionaryContent final : public DeferredPropertyList {
 public:
  XmlDictionaryContent(std::shared_ptr<const XmlPropertyListDocument> document, pugi::xml_node node,
                       CFOptionFlags mutability_option)
      : document_(std::move(document)), node_(node), mutability_option_(mutability_option) {}

  void MakeEntries(NSDictionary* dictionary) const override;
  std::shared_ptr<const DeferredPropertyList> WithMutability(
      CFOptionFlags mutability_option) const override {
    return std::make_shared<XmlDictionaryContent>(document_, node_, mutability_option);
  }
  int depth() const override;

  const std::shared_ptr<const XmlPropertyListDocument>& document() const { return document_; }
  const pugi::xml_node& node() const { return node_; }

 private:
  std::shared_ptr<const XmlPropertyListDocument> document_;
  pugi::xml_node node_;
  CFOptionFlags mutability_option_;
};

// The objects of a value. Dictionaries below it are deferred.
OwnedObject MakeXmlValue(const std::shared_ptr<const XmlPropertyListDocument>& document,
                         const pugi::xml_node& node, CFOptionFlags mutability_option);

}  // namespace orvik
