#include "xml/my_writer.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

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

constexpr bool IsControl(char byte) {
  return static_cast<unsigned char>(byte) < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
}

enum class ByteClass : unsigned char { kPlain, kEndsStretch, kControl };

// A stretch that is written unchanged ends at the five bytes, and at the terminator.
constexpr std::array<ByteClass, 256> kClasses = [] {
  std::array<ByteClass, 256> classes{};
  for (unsigned char byte = 1; byte < 0x20; ++byte) {
    if (IsControl(static_cast<char>(byte))) classes[byte] = ByteClass::kControl;
  }
  for (const char byte : {'\0', '&', '\'', '"', '<', '>'}) {
    classes[static_cast<unsigned char>(byte)] = ByteClass::kEndsStretch;
  }
  return classes;
}();

ByteClass ClassOf(char byte) {
  return kClasses[static_cast<unsigned char>(byte)];
}

// Eight bytes at a time, of which one below 0x20 borrows from its highest bit.
bool HasControl(std::string_view text) {
  constexpr std::uint64_t kOnes = 0x0101010101010101, kHighest = 0x80 * kOnes;
  std::size_t at = 0;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t bytes;
    std::memcpy(&bytes, text.data() + at, sizeof bytes);
    if (((bytes - 0x20 * kOnes) & ~bytes & kHighest) == 0) continue;
    if (std::any_of(text.begin() + at, text.begin() + at + 8, IsControl)) return true;
  }
  return std::any_of(text.begin() + at, text.end(), IsControl);
}

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

HRESULT CMyWriter::PutGiven(const char* text) {
  const std::string_view given = TextOf(text);
  if (HasControl(given)) Note(XMLWriterFault::kControlCharacter);
  return nonescapedcharacters(given);
}

HRESULT CMyWriter::escapedcharacters(const char* text) {
  if (output_ == nullptr) return E_FAIL;
  const char* stretch = text == nullptr ? "" : text;
  for (const char* end = stretch;;) {
    while (ClassOf(*end) == ByteClass::kPlain) ++end;
    if (ClassOf(*end) == ByteClass::kControl) {
      Note(XMLWriterFault::kControlCharacter);
      ++end;
      continue;
    }
    Put({stretch, static_cast<std::size_t>(end - stretch)});
    if (*end == '\0') return S_OK;
    Put(EntityOf(*end));
    stretch = ++end;
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
  PutGiven(text);
  return S_OK;
}

HRESULT CMyWriter::startElement(const char* name) {
  FinishOpenElement();
  nonescapedcharacters("<");
  PutGiven(name);
  start_tag_open_ = true;
  open_.push_back(names_.size());
  names_ += TextOf(name);
  return S_OK;
}

HRESULT CMyWriter::endElement(const char* name) {
  const std::string_view ended = TextOf(name);
  if (open_.empty()) {
    Note(XMLWriterFault::kNesting);
  } else {
    // "/>" ends the right one whatever the name.
    const std::string_view innermost = std::string_view(names_).substr(open_.back());
    if (!start_tag_open_ && innermost != ended) Note(XMLWriterFault::kNesting);
    names_.resize(open_.back());
    open_.pop_back();
  }
  if (start_tag_open_) {
    nonescapedcharacters("/>");
  } else {
    nonescapedcharacters("</");
    nonescapedcharacters(ended);
    nonescapedcharacters(">");
  }
  start_tag_open_ = false;
  return S_OK;
}

inline HRESULT CMyWriter::BeginAttribute(const char* name, std::string_view opening) {
  if (!start_tag_open_) Note(XMLWriterFault::kNesting);
  nonescapedcharacters(" ");
  PutGiven(name);
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
  return PutGiven(text);
}

HRESULT CMyWriter::Finish() {
  NoteEnd();
  Note(output_ == nullptr ? E_FAIL : FinishStream(output_));
  return status_;
}

CMyStringWriter::CMyStringWriter() {
  CStreamFactory::CreateWritableBufferStream(&buffer_);
  SetOutput(buffer_);
}

CAtlStringA CMyStringWriter::get_output() {
  NoteEnd();
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
