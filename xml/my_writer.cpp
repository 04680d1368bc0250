#include "xml/my_writer.h"

#include <array>

#include "streams/stream_factory.h"
#include "strings/utf8_strings.h"

namespace orvik {
namespace {

std::string_view TextOf(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

std::string_view EntityOf(char byte) {
  switch (byte) {
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '"':
      return "&quot;";
    case '<':
      return "&lt;";
    default:
      return "&gt;";
  }
}

// Where a stretch that is written unchanged ends: the five bytes, and the terminator.
constexpr std::array<bool, 256> kEndsStretch = [] {
  std::array<bool, 256> ends{};
  for (const char byte : {'\0', '&', '\'', '"', '<', '>'})
    ends[static_cast<unsigned char>(byte)] = true;
  return ends;
}();

}  // namespace

HRESULT CMyWriter::QueryInterface(const _GUID&, void**) {
  return E_NOTIMPL;
}

inline void CMyWriter::Put(std::string_view text) {
  if (room_ != nullptr && room_->Put(text.data(), text.size())) return;
  Note(output_->Write(text.data(), text.size(), nullptr));
}

inline HRESULT CMyWriter::nonescapedcharacters(std::string_view text) {
  if (output_ == nullptr) return E_FAIL;
  Put(text);
  return S_OK;
}

HRESULT CMyWriter::escapedcharacters(const char* text) {
  if (output_ == nullptr) return E_FAIL;
  const char* stretch = text == nullptr ? "" : text;
  for (;;) {
    const char* end = stretch;
    while (!kEndsStretch[static_cast<unsigned char>(*end)]) ++end;
    Put({stretch, static_cast<std::size_t>(end - stretch)});
    if (*end == '\0') return S_OK;
    Put(EntityOf(*end));
    stretch = end + 1;
  }
}

void CMyWriter::FinishOpenElement() {
  if (!start_tag_open_) return;
  nonescapedcharacters(">");
  start_tag_open_ = false;
}

HRESULT CMyWriter::OutputXMLHeader() {
  nonescapedcharacters("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>");
  return S_OK;
}

HRESULT CMyWriter::OutputSVGBlockForExport(const char* text) {
  nonescapedcharacters(TextOf(text));
  return S_OK;
}

HRESULT CMyWriter::startElement(const char* name) {
  FinishOpenElement();
  nonescapedcharacters("<");
  nonescapedcharacters(TextOf(name));
  start_tag_open_ = true;
  return S_OK;
}

HRESULT CMyWriter::endElement(const char* name) {
  if (start_tag_open_) {
    nonescapedcharacters("/>");
  } else {
    nonescapedcharacters("</");
    nonescapedcharacters(TextOf(name));
    nonescapedcharacters(">");
  }
  start_tag_open_ = false;
  return S_OK;
}

inline HRESULT CMyWriter::BeginAttribute(const char* name, std::string_view opening) {
  nonescapedcharacters(" ");
  nonescapedcharacters(TextOf(name));
  return nonescapedcharacters(opening);
}

HRESULT CMyWriter::WriteTextAttribute(const char* name, const char* value) {
  return WriteLongTextAttribute(name, value, nullptr, nullptr);
}

HRESULT CMyWriter::WriteLongTextAttribute(const char* name, const char* part1, const char* part2,
                                          const char* part3) {
  BeginAttribute(name, "=\"");
  escapedcharacters(part1);
  if (part2 != nullptr) {
    escapedcharacters(part2);
    if (part3 != nullptr) escapedcharacters(part3);
  }
  return nonescapedcharacters("\"");
}

HRESULT CMyWriter::WriteTextAttributeW(const char* name, const char16_t* value) {
  return WriteTextAttribute(name, MakeUTF8StringFromUnicodeString(CAtlString(value)).GetString());
}

HRESULT CMyWriter::WriteTextAttributeBySingleQuotation(const char* name, const char* value) {
  BeginAttribute(name, "='");
  escapedcharacters(value);
  return nonescapedcharacters("'");
}

HRESULT CMyWriter::WriteEscapedElementContents(const char* text) {
  FinishOpenElement();
  escapedcharacters(text);
  return S_OK;
}

HRESULT CMyWriter::WriteElementContents(const char* text) {
  FinishOpenElement();
  return nonescapedcharacters(TextOf(text));
}

HRESULT CMyWriter::Finish() {
  Note(output_ == nullptr ? E_FAIL : FinishStream(output_));
  return status_;
}

CMyStringWriter::CMyStringWriter() {
  CStreamFactory::CreateWritableBufferStream(&buffer_);
  SetOutput(buffer_);
}

CAtlStringA CMyStringWriter::get_output() {
  CAtlStringA text = buffer_->DetachBufferAsString();
  Note(FinishStream(buffer_));  // no string holds 2 GiB
  return text;
}

CMyFileWriter::CMyFileWriter(const COrvikFilePath& path, bool compressed) {
  SetOutput(compressed ? CStreamFactory::CreateWritableCompressedFileStream(path)
                       : CStreamFactory::CreateWritableFileStream(path));
}

CAtlStringA CMyFileWriter::get_output() {
  return CAtlStringA();
}

}  // namespace orvik
