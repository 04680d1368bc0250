#include "xml/xml_writer.h"

#include <sys/stat.h>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string>

#include <tinyxml.h>

#include "host/paths.h"
#include "streams/stream_factory.h"
#include "xml/base64.h"
#include "xml/element_reader.h"
#include "xml/my_writer.h"

namespace orvik {
namespace {

std::string Joined(const CAtlArray<CAtlStringA>& items, char separator) {
  std::string joined;
  for (const CAtlStringA& item : items) {
    if (&item != items.begin()) joined += separator;
    joined += item.View();
  }
  return joined;
}

// Starts the copy of an element: writes all of it up to its first child element.
void BeginCopy(IORVIKXMLWriter& writer, TiXmlElement& element) {
  writer.startElement(element.Value());
  for (const TiXmlAttribute* attribute = element.FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    writer.WriteTextAttribute(attribute->Name(), attribute->Value());
  }
  const char* const text = ElementText(&element);
  if (text == nullptr) return;
  if (std::string_view(element.Value()) == "persistence") {
    writer.WriteCDATAElement(text);
  } else {
    writer.WriteElementValue(text);
  }
}

HRESULT MakeFileWriter(IORVIKXMLWriter** out, const COrvikFilePath& path, bool compressed) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  auto* const writer = new CMyFileWriter(path, compressed);
  if (!writer->opened()) {
    writer->Release();
    return E_FAIL;
  }
  *out = writer;
  return S_OK;
}

}  // namespace

HRESULT IORVIKXMLWriter::WriteElementValue(const char* text) {
  return WriteEscapedElementContents(text);
}

HRESULT IORVIKXMLWriter::WriteSimpleTextElement(const char* name, const char* text) {
  startElement(name);
  WriteElementContents(text);
  return endElement(name);
}

HRESULT IORVIKXMLWriter::WriteEscapedSimpleTextElement(const char* name, const char* text) {
  startElement(name);
  WriteEscapedElementContents(text);
  return endElement(name);
}

HRESULT IORVIKXMLWriter::WriteCDATAElement(const char* text) {
  WriteElementContents("<![CDATA[");
  WriteElementContents(text);
  return WriteElementContents("]]>");
}

HRESULT IORVIKXMLWriter::WriteEscapedCDATAElement(const char* text) {
  WriteElementContents("<![CDATA[");
  WriteEscapedElementContents(text);
  return WriteElementContents("]]>");
}

HRESULT IORVIKXMLWriter::WriteBOOLAttribute(const char* name, bool value) {
  return WriteLongAttribute(name, value ? 1 : 0);
}

HRESULT IORVIKXMLWriter::WriteLongAttribute(const char* name, long value) {
  char text[32];
  *std::to_chars(text, text + sizeof text - 1, value).ptr = '\0';
  return WriteTextAttribute(name, text);
}

HRESULT IORVIKXMLWriter::WriteFloatAttribute(const char* name, float value) {
  char text[64];
  *std::to_chars(text, text + sizeof text - 1, double{value}, std::chars_format::fixed, 2).ptr =
      '\0';
  return WriteTextAttribute(name, text);
}

HRESULT IORVIKXMLWriter::WriteColorAttribute(const char* name, unsigned long color) {
  const auto bits = static_cast<std::uint32_t>(color);
  if (bits >= 0xFFFFFFFE) return WriteTextAttribute(name, "none");
  char text[8];
  std::snprintf(text, sizeof text, "#%02x%02x%02x", unsigned{bits & 0xFF},
                unsigned{bits >> 8 & 0xFF}, unsigned{bits >> 16 & 0xFF});
  return WriteTextAttribute(name, text);
}

HRESULT IORVIKXMLWriter::WriteBase64Attribute(const char* name, const unsigned char* bytes,
                                              long length) {
  const CAtlStringA value = ConvertRawBytesIntoBase64String(bytes, length, "data:;base64,");
  return value.IsEmpty() ? E_FAIL : WriteTextAttribute(name, value.GetString());
}

HRESULT IORVIKXMLWriter::WriteCommaSeperatedArrayAttribute(const char* name,
                                                           const CAtlArray<CAtlStringA>& items) {
  if (items.IsEmpty()) return S_OK;
  return WriteTextAttribute(name, Joined(items, ','));
}

HRESULT IORVIKXMLWriter::WriteSemiColonSeperatedArrayAttribute(
    const char* name, const CAtlArray<CAtlStringA>& items) {
  if (items.IsEmpty()) return S_OK;
  return WriteTextAttributeBySingleQuotation(name, Joined(items, ';').c_str());
}

// Follows the links between the elements instead of recursing, so that no depth exhausts the stack.
HRESULT IORVIKXMLWriter::CopyElementToXMLWriter(TiXmlElement* element) {
  if (element == nullptr) return E_INVALIDARG;
  TiXmlElement* current = element;
  BeginCopy(*this, *current);
  for (;;) {
    TiXmlElement* next = current->FirstChildElement();
    while (next == nullptr) {
      endElement(current->Value());
      if (current == element) return S_OK;
      next = current->NextSiblingElement();
      if (next == nullptr) current = current->Parent()->ToElement();
    }
    current = next;
    BeginCopy(*this, *current);
  }
}

HRESULT IORVIKXMLWriter::CopyFileToXMLWriter(const COrvikFilePath& path) {
  const CComPtr<IStream> stream = CStreamFactory::CreateReadableStreamOnFile(path);
  struct stat file;
  if (stream == nullptr || host::StatPath(path.ToBytes(), 0, &file) != 0) return E_FAIL;
  if (!S_ISREG(file.st_mode)) return E_FAIL;  // a device may have no end
  constexpr unsigned long kPiece = 4096;
  char buffer[kPiece + 1];
  for (;;) {
    unsigned long count = 0;
    const HRESULT read = stream->Read(buffer, kPiece, &count);
    buffer[count] = '\0';
    const HRESULT written = WriteElementContents(buffer);
    if (written < 0) return written;
    if (read < 0 || count == 0) return read;
  }
}

HRESULT IORVIKXMLWriter::CreateORVIKXMLWriter(IORVIKXMLWriter** out, const COrvikFilePath& path) {
  return MakeFileWriter(out, path, false);
}

HRESULT IORVIKXMLWriter::CreateORVIKXMLWriterCompressed(IORVIKXMLWriter** out,
                                                        const COrvikFilePath& path) {
  return MakeFileWriter(out, path, true);
}

HRESULT IORVIKXMLWriter::CreateORVIKXMLWriterOnString(IORVIKXMLWriter** out) {
  if (out == nullptr) return E_POINTER;
  *out = new CMyStringWriter();
  return S_OK;
}

}  // namespace orvik
