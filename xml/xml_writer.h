// A forward-only XML text writer.
//
// It writes exactly what it is asked for: no indentation, no line breaks, and five escaped bytes
// (& ' " < >). It refuses nothing: GetFault says whether the text can be no XML. All text is
// zero-terminated UTF-8; a null text counts as empty. Writers start with one reference, the
// caller's. A file is complete when its writer has been released, or with Finish, which reports
// whether it is.
//
//   startElement("a")  WriteTextAttribute("x", "1<2")  startElement("b")  endElement("b")
//   WriteElementContents("t")  endElement("a")
//   gives  <a x="1&lt;2"><b/>t</a>
//
// Threads: one writer is used in one thread at a time; different writers share nothing.
//
// Results: S_OK; E_FAIL when there is no stream to write to. Errors of the stream itself (a full
// disk) are reported by GetStatus and Finish only. An attribute written outside a start tag becomes
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

// Why what was written is not XML.
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
  // Closes a start tag that is still open and begins another, which attributes then go into.
  virtual HRESULT startElement(const char* name) = 0;
  // Ends an element with nothing inside with "/>"; the name is not used then.
  virtual HRESULT endElement(const char* name) = 0;
  // All text so far, from a writer on a string, once: later calls give nothing and later text is
  // dropped. Empty from a writer on a file.
  virtual CAtlStringA get_output() = 0;
  // Writes the name as it is and the value escaped, in quotation marks.
  virtual HRESULT WriteTextAttribute(const char* name, const char* value) = 0;
  // The value is the three parts in a row; parts two and three may be null, the third counts only
  // when the second is there.
  virtual HRESULT WriteLongTextAttribute(const char* name, const char* part1, const char* part2,
                                         const char* part3) = 0;
  // The value in UTF-8, an unpaired surrogate as "?".
  virtual HRESULT WriteTextAttributeW(const char* name, const char16_t* value) = 0;
  // The value in apostrophes.
  virtual HRESULT WriteTextAttributeBySingleQuotation(const char* name, const char* value) = 0;
  // Both close a start tag that is still open, also for an empty text. The second writes the text
  // unchanged: markup in it is markup.
  virtual HRESULT WriteEscapedElementContents(const char* text) = 0;
  virtual HRESULT WriteElementContents(const char* text) = 0;

  // S_OK, or the first failure of the stream so far: the other operations do not report it.
  virtual HRESULT GetStatus() = 0;
  // Ends the document: brings it to its place, closes the file, and gives GetStatus of the whole,
  // which is E_FAIL when not all of it arrived. A file takes nothing more afterwards. The text of a
  // writer on a string is still to be had from get_output.
  [[nodiscard("it alone says whether the document is whole")]] virtual HRESULT Finish() = 0;

  // The first fault of the text so far. After Finish or get_output the document is at its end. Text
  // that is written unchanged is looked at for control characters only.
  virtual XMLWriterFault GetFault() = 0;

  // The same for strings of the standard library, which count up to their first NUL.
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
  // "]]>" in the text is written as it is and ends the section.
  HRESULT WriteCDATAElement(const char* text);
  // The escapes stay inside the section as they are.
  HRESULT WriteEscapedCDATAElement(const char* text);
  HRESULT WriteBOOLAttribute(const char* name, bool value);  // "0" or "1"
  HRESULT WriteLongAttribute(const char* name, long value);
  // Two decimals.
  HRESULT WriteFloatAttribute(const char* name, float value);
  // `color` is 0x00BBGGRR and becomes "#rrggbb"; 0xFFFFFFFE and 0xFFFFFFFF become "none". Only the
  // low 32 bits count, so that -1 is "none" everywhere.
  HRESULT WriteColorAttribute(const char* name, unsigned long color);
  // "data:;base64," and the encoding. E_FAIL, and nothing written, when no string can hold them
  // (about 1.5 GiB of bytes).
  HRESULT WriteBase64Attribute(const char* name, const unsigned char* bytes, long length);
  // The items with "," between them; nothing for an empty array. A comma inside an item is not
  // marked.
  HRESULT WriteCommaSeperatedArrayAttribute(const char* name, const CAtlArray<CAtlStringA>& items);
  // The same with ";", the value in apostrophes.
  HRESULT WriteSemiColonSeperatedArrayAttribute(const char* name,
                                                const CAtlArray<CAtlStringA>& items);

  // Writes an element with its attributes, its first text and its child elements, to any depth;
  // other nodes are left out. The text of elements named "persistence" becomes a CDATA section.
  // E_INVALIDARG for null.
  HRESULT CopyElementToXMLWriter(TiXmlElement* element);
  // Writes a file's bytes as content, unchanged; of each 4096 bytes only those before the first
  // NUL. S_FALSE when all went well, E_FAIL when the file cannot be opened and for a device.
  HRESULT CopyFileToXMLWriter(const COrvikFilePath& path);

  // Makes a writer into a file, which is created or emptied. E_FAIL and null when that fails.
  static HRESULT CreateORVIKXMLWriter(IORVIKXMLWriter** out, const COrvikFilePath& path);
  // The file is compressed (zlib) and takes its place as a whole when the writer is released.
  static HRESULT CreateORVIKXMLWriterCompressed(IORVIKXMLWriter** out, const COrvikFilePath& path);
  // A writer in memory; get_output hands the text over.
  static HRESULT CreateORVIKXMLWriterOnString(IORVIKXMLWriter** out);
};

}  // namespace orvik
