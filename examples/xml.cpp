// XML: write a document into a string.
#include <cstdio>

#include <orvik/streams/com_ptr.h>
#include <orvik/xml/xml_writer.h>

using namespace orvik;

int main() {
  CComPtr<IORVIKXMLWriter> writer;
  if (IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer) != S_OK) return 1;
  writer->OutputXMLHeader();
  writer->startElement("drawing");
  writer->WriteTextAttribute("title", "a < b");
  writer->WriteColorAttribute("fill", 0x00FF8000);
  writer->WriteEscapedSimpleTextElement("note", "salt & pepper");
  writer->endElement("drawing");
  if (writer->Finish() != S_OK) return 1;  // the other results say nothing about the output
  std::printf("%s\n", writer->get_output().GetString());
  return 0;
}
