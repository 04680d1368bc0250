// The XML writer's escapes: any text that XML can hold is read back by the element reader.
#include <tinyxml.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "streams/com_ptr.h"
#include "xml/tixml_helper.h"
#include "xml/xml_writer.h"

using orvik::fuzz::Require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    const char byte = static_cast<char>(data[i] & 0x7F);
    if (byte >= ' ' || byte == '\t' || byte == '\n' || byte == '\r') text += byte;
  }

  orvik::IORVIKXMLWriter* writer = nullptr;
  Require(orvik::IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer) == orvik::S_OK);
  writer->OutputXMLHeader();
  writer->startElement("a");
  writer->WriteTextAttribute("x", text.c_str());
  writer->WriteTextAttributeBySingleQuotation("y", text.c_str());
  writer->WriteEscapedSimpleTextElement("b", text.c_str());
  writer->endElement("a");
  const orvik::CAtlStringA written = writer->get_output();
  writer->Release();

  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  Require(orvik::TiXmlHelper::InitializeTiXmlDocumentFromText(document, written.GetString()) == 0);
  const TiXmlElement* const root = document->RootElement();
  Require(root != nullptr && root->FirstChildElement("b") != nullptr);
  const bool has_return = text.find('\r') != std::string::npos;  // the reader makes it a line feed
  if (has_return) return 0;
  Require(root->Attribute("x") != nullptr && root->Attribute("x") == text);
  Require(root->Attribute("y") != nullptr && root->Attribute("y") == text);
  return 0;
}
