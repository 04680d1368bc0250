// The writer into any stream. xml_writer.h describes its operations.
//
// Every piece of text goes to the stream with one Write call; a failed call changes only the
// status. A stream of this library gets the text without a call while its buffer has room. The
// writer has no buffer of its own, so the stream can be examined between two operations.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "streams/com_ptr.h"
#include "streams/stream_interfaces.h"
#include "xml/xml_writer.h"

namespace [[gnu::visibility("default")]] orvik {

class CMyWriter : public ReferenceCounted<IORVIKXMLWriter> {
 public:
  // Always E_NOTIMPL; the output pointer is not touched.
  HRESULT QueryInterface(const _GUID& identifier, void** out) override;

  HRESULT OutputXMLHeader() override;
  HRESULT OutputSVGBlockForExport(const char* text) override;
  HRESULT startElement(const char* name) override;
  HRESULT endElement(const char* name) override;
  HRESULT WriteTextAttribute(const char* name, const char* value) override;
  HRESULT WriteLongTextAttribute(const char* name, const char* part1, const char* part2,
                                 const char* part3) override;
  HRESULT WriteTextAttributeW(const char* name, const char16_t* value) override;
  HRESULT WriteTextAttributeBySingleQuotation(const char* name, const char* value) override;
  HRESULT WriteEscapedElementContents(const char* text) override;
  HRESULT WriteElementContents(const char* text) override;

  using IORVIKXMLWriter::WriteTextAttribute, IORVIKXMLWriter::WriteEscapedElementContents,
      IORVIKXMLWriter::WriteElementContents;

  HRESULT GetStatus() override { return status_; }
  HRESULT Finish() override;
  XMLWriterFault GetFault() override { return fault_; }

  // Closes a start tag that is still open.
  void FinishOpenElement();

 protected:
  CMyWriter() = default;

  void SetOutput(IStream* stream) {
    output_ = stream;
    room_ = RoomOfStream(stream);
  }
  bool HasOutput() const { return output_ != nullptr; }
  // Stores the first failure.
  void Note(HRESULT result) {
    if (result < 0 && status_ == S_OK) status_ = result;
  }
  void Note(XMLWriterFault fault) {
    if (fault_ == XMLWriterFault::kNone) fault_ = fault;
  }
  void NoteEnd() {
    if (!open_.empty()) Note(XMLWriterFault::kNesting);
  }

 private:
  // Both give E_FAIL without a stream.
  HRESULT nonescapedcharacters(std::string_view text);
  HRESULT escapedcharacters(const char* text);
  // Writes text of the caller unchanged.
  HRESULT PutGiven(const char* text);

  void Put(std::string_view text);
  HRESULT BeginAttribute(const char* name, std::string_view opening);

  CComPtr<IStream> output_;
  WriteRoom* room_ = nullptr;  // the free bytes of the stream, or null
  bool start_tag_open_ = false;
  HRESULT status_ = S_OK;
  XMLWriterFault fault_ = XMLWriterFault::kNone;
  std::string names_;              // of the open elements, one after the other
  std::vector<std::size_t> open_;  // where each name begins
};

// Collects the text in memory.
class CMyStringWriter final : public CMyWriter {
 public:
  CMyStringWriter();
  CAtlStringA get_output() override;

 private:
  CComPtr<IStreamOnBuffer> buffer_;
};

// Writes into a file, plain or compressed.
class CMyFileWriter final : public CMyWriter {
 public:
  CMyFileWriter(const COrvikFilePath& path, bool compressed);
  // False when the file could not be opened; then nothing is written.
  bool opened() const { return HasOutput(); }
  CAtlStringA get_output() override;
};

}  // namespace orvik
