// A forward-only XML text writer.
//
// It writes exactly the text of the calls, without indentation or line breaks, and escapes five
// bytes (& ' " < >). It refuses nothing: GetFault reports text that cannot be XML. All text is
// zero-terminated UTF-8; a null text counts as empty. The caller owns the first reference to a
// writer. A file is complete when its writer has been released, or after Finish, which reports
// whether it is.
//
//   startElement("a")  WriteTextAttribute("x", "1<2")  startElement("b")  endElement("b")
//   WriteElementContents("t")  endElement("a")
//   gives  <a x="1&lt;2"><b/>t</a>
//
// Threads: one writer is used in one thread at a time; different writers share no state.
//
// Results: S_OK; E_FAIL when there is no stream to write to. Only GetStatus and Finish report
// errors of the stream itself (a full disk). An attribute written outside a start tag becomes
// content.
#pragma once

#include <string>

#include "files/file_path.h"
#include "strings/atl_array.h"
#include "strings/atl_string_a.h"
#include "strings/unknown.h"
#include "strings/windows_types.h"

class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

// The reason why the written text is not XML.
enum class XMLWriterFault {
  kNone,
  kControlCharacter,  // a byte below 0x20 other than tab, line feed and carriage return
  kNesting,  // an end of an element that is not the innermost, or is not open; an attribute
             // outside a start tag; at the end of the document an element that is open
};

class IORVIKXMLWriter : public IUnknown {
 public:
  // The XML declaration: version 1.0, UTF-8, standalone.
  virtual HRESULT OutputXMLHeader() = 0;
  // Writes the text unchanged and does not close an open start tag.
  virtual HRESULT OutputSVGBlockForExport(const char* text) = 0;
  // Closes a start tag that is still open and begins another; the next attributes go into it.
  virtual HRESULT startElement(const char* name) = 0;
  // Ends an element. If it is empty, writes "/>" and ignores the name.
  virtual HRESULT endElement(const char* name) = 0;
  // From a writer on a string: all text so far. It can be taken once: later calls return nothing,
  // and later text is dropped. Empty from a writer on a file.
  virtual CAtlStringA get_output() = 0;
  // Writes the name unchanged and the value escaped, in quotation marks.
  virtual HRESULT WriteTextAttribute(const char* name, const char* value) = 0;
  // The value is the three parts in a row; parts two and three may be null. Without the second the
  // third is ignored.
  virtual HRESULT WriteLongTextAttribute(const char* name, const char* part1, const char* part2,
                                         const char* part3) = 0;
  // Writes the value in UTF-8; an unpaired surrogate becomes "?".
  virtual HRESULT WriteTextAttributeW(const char* name, const char16_t* value) = 0;
  // The value in apostrophes.
  virtual HRESULT WriteTextAttributeBySingleQuotation(const char* name, const char* value) = 0;
  // Both close a start tag that is still open, also for an empty text. The second writes the text
  // unchanged, so that it can contain markup.
  virtual HRESULT WriteEscapedElementContents(const char* text) = 0;
  virtual HRESULT WriteElementContents(const char* text) = 0;

  // S_OK, or the first failure of the stream so far: the other operations do not report it.
  virtual HRESULT GetStatus() = 0;
  // Ends the document: puts the file in its place and closes it. Returns GetStatus for the whole
  // document, which is E_FAIL when not all of it arrived. A file accepts no more text afterwards.
  // The text of a writer on a string can still be taken with get_output.
  [[nodiscard("it alone says whether the document is whole")]] virtual HRESULT Finish() = 0;

  // The first fault of the text so far. Finish and get_output also check that the document is
  // complete. Text that is written unchanged is only checked for control characters.
  virtual XMLWriterFault GetFault() = 0;

  // The same for strings of the standard library, up to their first NUL.
  HRESULT WriteTextAttribute(const char* name, const std::string& value) {
    return WriteTextAttribute(name, value.c_str());
  }
  HRESULT WriteEscapedElementContents(const std::string& text) {
    return WriteEscapedElementContents(text.c_str());
  }
  HRESULT WriteElementContents(const std::string& text) {
    return WriteElementContents(text.c_str());
  }
  // The same as WriteEscapedElementContents.
  HRESULT WriteElementValue(const char* text);
  // An element with the text as its only content, unchanged or escaped.
  HRESULT WriteSimpleTextElement(const char* name, const char* text);
  HRESULT WriteEscapedSimpleTextElement(const char* name, const char* text);
  // "]]>" in the text is written unchanged and ends the section.
  HRESULT WriteCDATAElement(const char* text);
  // The escapes stay in the section, where XML does not resolve them.
  HRESULT WriteEscapedCDATAElement(const char* text);
  HRESULT WriteBOOLAttribute(const char* name, bool value);  // "0" or "1"
  HRESULT WriteLongAttribute(const char* name, long value);
  // Writes two decimals.
  HRESULT WriteFloatAttribute(const char* name, float value);
  // `color` is 0x00BBGGRR and becomes "#rrggbb"; 0xFFFFFFFE and 0xFFFFFFFF become "none". Only the
  // low 32 bits count, so that -1 is "none" everywhere.
  HRESULT WriteColorAttribute(const char* name, unsigned long color);
  // Writes "data:;base64," and the encoding. E_FAIL, and nothing written, when they are too long
  // for a string (about 1.5 GiB of bytes).
  HRESULT WriteBase64Attribute(const char* name, const unsigned char* bytes, long length);
  // Writes the items with "," between them; nothing for an empty array. A comma inside an item is
  // not escaped.
  HRESULT WriteCommaSeperatedArrayAttribute(const char* name, const CAtlArray<CAtlStringA>& items);
  // The same with ";", the value in apostrophes.
  HRESULT WriteSemiColonSeperatedArrayAttribute(const char* name,
                                                const CAtlArray<CAtlStringA>& items);

  // Writes an element with its attributes, its first text and its child elements, to any depth;
  // other nodes are left out. The text of elements named "persistence" becomes a CDATA section.
  // E_INVALIDARG for null.
  HRESULT CopyElementToXMLWriter(TiXmlElement* element);
  // Writes a file's bytes as content, unchanged; of each 4096 bytes only those before the first
  // NUL. S_FALSE for success, E_FAIL for a device and when the file cannot be opened.
  HRESULT CopyFileToXMLWriter(const COrvikFilePath& path);

  // Makes a writer into a file, which is created or emptied. On failure E_FAIL, and null in *out.
  static HRESULT CreateORVIKXMLWriter(IORVIKXMLWriter** out, const COrvikFilePath& path);
  // The same for a file compressed with zlib, which replaces the old one when the writer is
  // released.
  static HRESULT CreateORVIKXMLWriterCompressed(IORVIKXMLWriter** out, const COrvikFilePath& path);
  // A writer in memory; get_output hands the text over.
  static HRESULT CreateORVIKXMLWriterOnString(IORVIKXMLWriter** out);
};

}  // namespace orvik
