// Any text as an XML document: it is loaded or refused, every element can be read, and the text
// written for a document is loaded again and written the same.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <tinyxml.h>

#include "xml/element_reader.h"
#include "xml/tixml_helper.h"

namespace {

using orvik::CXMLElementReader;

void ReadAll(TiXmlElement* element) {
  orvik::CAtlStringA text;
  orvik::CAtlString wide;
  orvik::CAtlArray<orvik::CAtlStringA> pieces;
  orvik::CAtlArray<TiXmlElement*> children;
  long number;
  float decimal;
  unsigned long color;
  CXMLElementReader::GetElementValueW(element, wide);
  for (const TiXmlAttribute* attribute = element->FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    CXMLElementReader::GetTextAttributeFromNodeW(element, attribute->Name(), wide);
    CXMLElementReader::GetLongAttributeFromNode(element, attribute->Name(), &number);
    CXMLElementReader::GetFloatAttributeFromNode(element, attribute->Name(), &decimal);
    CXMLElementReader::GetColorAttributeFromNode(element, attribute->Name(), &color);
    CXMLElementReader::GetCommaSeperatedArrayAttribute(element, attribute->Name(), pieces);
    CXMLElementReader::GetBase64AttributeFromNode(element, attribute->Name(), text);
    CXMLElementReader::GetBase64FlashDataFromNode(element, attribute->Name(), text);
  }
  CXMLElementReader::GetChildNodes(element, children);
  CXMLElementReader::GetNamedChildNodes(element, children, "/a/b");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  if (orvik::TiXmlHelper::InitializeTiXmlDocumentFromText(document, text.c_str()) != 0) return 0;
  TiXmlElement* const root = document->RootElement();
  if (root == nullptr) return 0;
  ReadAll(root);
  for (TiXmlElement* child = root->FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    ReadAll(child);
  }

  // Only a "persistence" element with "]]>" in its text is not written as XML.
  orvik::CAtlStringA written, again;
  CXMLElementReader::GetNodeXML(root, written);
  boost::shared_ptr<TiXmlDocument> copy(new TiXmlDocument());
  if (orvik::TiXmlHelper::InitializeTiXmlDocumentFromText(copy, written.GetString()) != 0) return 0;
  CXMLElementReader::GetNodeXML(copy->RootElement(), again);
  orvik::CAtlStringA third;
  boost::shared_ptr<TiXmlDocument> last(new TiXmlDocument());
  if (orvik::TiXmlHelper::InitializeTiXmlDocumentFromText(last, again.GetString()) != 0) return 0;
  CXMLElementReader::GetNodeXML(last->RootElement(), third);
  if (text.find("persistence") == std::string::npos && third.View() != again.View()) std::abort();
  return 0;
}
