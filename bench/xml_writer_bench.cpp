// The XML writer beside libxml2's text writer: 1,000,000 elements with two attributes, one of them
// with something to escape, into memory and into a file.
#include <benchmark/benchmark.h>
#include <libxml/xmlwriter.h>

#include <charconv>
#include <filesystem>
#include <string>

#include "streams/com_ptr.h"
#include "xml/xml_writer.h"

namespace orvik {
namespace {

constexpr int kElements = 1'000'000;

std::filesystem::path File() {
  return std::filesystem::temp_directory_path() / "orvik-xml-writer-bench.xml";
}

void WriteDocument(IORVIKXMLWriter& writer) {
  writer.OutputXMLHeader();
  writer.startElement("items");
  char number[16];
  for (int i = 0; i < kElements; ++i) {
    *std::to_chars(number, number + sizeof number - 1, i).ptr = '\0';
    writer.startElement("item");
    writer.WriteTextAttribute("id", number);
    writer.WriteTextAttribute("title", "cats & dogs <together>");
    writer.endElement("item");
  }
  writer.endElement("items");
}

void WriteDocument(xmlTextWriterPtr writer) {
  const auto text = [](const char* bytes) { return reinterpret_cast<const xmlChar*>(bytes); };
  xmlTextWriterStartDocument(writer, nullptr, "UTF-8", "yes");
  xmlTextWriterStartElement(writer, text("items"));
  char number[16];
  for (int i = 0; i < kElements; ++i) {
    *std::to_chars(number, number + sizeof number - 1, i).ptr = '\0';
    xmlTextWriterStartElement(writer, text("item"));
    xmlTextWriterWriteAttribute(writer, text("id"), text(number));
    xmlTextWriterWriteAttribute(writer, text("title"), text("cats & dogs <together>"));
    xmlTextWriterEndElement(writer);
  }
  xmlTextWriterEndElement(writer);
  xmlTextWriterEndDocument(writer);
}

void XmlToMemory(benchmark::State& state) {
  for (auto _ : state) {
    CComPtr<IORVIKXMLWriter> writer;
    IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer);
    WriteDocument(*writer);
    benchmark::DoNotOptimize(writer->get_output());
  }
}
BENCHMARK(XmlToMemory)->Name("Xml/WriteMemory/1000000/ours")->Unit(benchmark::kMillisecond);

void XmlToMemoryLibxml2(benchmark::State& state) {
  for (auto _ : state) {
    const xmlBufferPtr buffer = xmlBufferCreate();
    const xmlTextWriterPtr writer = xmlNewTextWriterMemory(buffer, 0);
    WriteDocument(writer);
    xmlFreeTextWriter(writer);
    benchmark::DoNotOptimize(buffer->content);
    xmlBufferFree(buffer);
  }
}
BENCHMARK(XmlToMemoryLibxml2)
    ->Name("Xml/WriteMemory/1000000/peer:libxml2")
    ->Unit(benchmark::kMillisecond);

void XmlToFile(benchmark::State& state) {
  const COrvikFilePath path(CAtlString(File().u16string()));
  for (auto _ : state) {
    CComPtr<IORVIKXMLWriter> writer;
    IORVIKXMLWriter::CreateORVIKXMLWriter(&writer, path);
    WriteDocument(*writer);
  }
  std::filesystem::remove(File());
}
BENCHMARK(XmlToFile)->Name("Xml/WriteFile/1000000/ours")->Unit(benchmark::kMillisecond);

void XmlToFileLibxml2(benchmark::State& state) {
  for (auto _ : state) {
    const xmlTextWriterPtr writer = xmlNewTextWriterFilename(File().c_str(), 0);
    WriteDocument(writer);
    xmlFreeTextWriter(writer);
  }
  std::filesystem::remove(File());
}
BENCHMARK(XmlToFileLibxml2)
    ->Name("Xml/WriteFile/1000000/peer:libxml2")
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvik
