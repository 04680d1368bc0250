#include "xml/document_check.h"

#include <expat.h>

#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

namespace orvik {
namespace {

struct FreeParser {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<std::remove_pointer_t<XML_Parser>, FreeParser>;

void SetError(XMLDocumentError& error, const char* reason, XML_Parser parser) {
  error.reason = reason;
  error.line = static_cast<int>(XML_GetCurrentLineNumber(parser));
  error.column = static_cast<int>(XML_GetCurrentColumnNumber(parser)) + 1;
}

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

struct CheckProgress {
  XML_Parser parser;
  const char* text;
  int depth = 0;
  bool run_has_mark = false;  // a byte order mark in the character data since the last markup
  bool run_has_text = false;  // characters other than marks and white space
  bool is_in_section = false;
  XML_Index external_type_end = -1;  // the end of a document type with external declarations
  XMLDocumentError refusal{};        // why a well-formed document is refused

  // Noted before the parser stops: its position is then behind the construct.
  void Refuse(const char* reason) {
    if (refusal.reason.IsEmpty()) SetError(refusal, reason, parser);
    XML_StopParser(parser, XML_FALSE);
  }
};

// TinyXML takes a byte order mark as white space, and drops a text that is only white space.
void EndRun(void* data) {
  auto& progress = *static_cast<CheckProgress*>(data);
  if (progress.run_has_mark && !progress.run_has_text) {
    progress.Refuse("a text holds only a byte order mark");
  }
  progress.run_has_mark = progress.run_has_text = false;
}

void CharacterData(void* data, const XML_Char* characters, int length) {
  auto& progress = *static_cast<CheckProgress*>(data);
  if (progress.is_in_section) return;
  std::string_view rest(characters, static_cast<std::size_t>(length));
  // TinyXML takes a reference as text, whatever its character.
  if (progress.text[XML_GetCurrentByteIndex(progress.parser)] == '&') progress.run_has_text = true;
  while (!rest.empty() && !progress.run_has_text) {
    const bool is_mark = rest.starts_with(kByteOrderMark);
    if (is_mark) progress.run_has_mark = true;
    if (!is_mark && std::strchr(" \t\n\r", rest.front()) == nullptr) progress.run_has_text = true;
    rest.remove_prefix(is_mark ? kByteOrderMark.size() : 1);
  }
}

void StartSection(void* data) {
  EndRun(data);
  static_cast<CheckProgress*>(data)->is_in_section = true;
}

void EndSection(void* data) {
  static_cast<CheckProgress*>(data)->is_in_section = false;
}

// Expat accepts an empty version, but TinyXML writes none for it, and a declaration needs one.
void Declaration(void* data, const XML_Char* version, const XML_Char*, int) {
  if (*version == '\0') {
    static_cast<CheckProgress*>(data)->Refuse("the XML declaration has no version");
  }
}

void Comment(void* data, const XML_Char*) {
  EndRun(data);
}

// TinyXML does not read a name that begins with a colon.
void CheckName(CheckProgress& progress, const XML_Char* name) {
  if (*name == ':') progress.Refuse("a name begins with a colon");
}

void StartElement(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto& progress = *static_cast<CheckProgress*>(data);
  EndRun(data);
  if (++progress.depth > kMostXmlDepth) progress.Refuse("elements are nested too deep");
  CheckName(progress, name);
  int count = 0;
  for (; attributes[2 * count] != nullptr; ++count) CheckName(progress, attributes[2 * count]);
  if (count > kMostXmlAttributes) progress.Refuse("an element has too many attributes");
}

void EndElement(void* data, const XML_Char*) {
  EndRun(data);
  --static_cast<CheckProgress*>(data)->depth;
}

// TinyXML takes the first ">" as the end of both, and the text after it as content.
bool HoldsEnd(const XML_Char* text) {
  return text != nullptr && std::strchr(text, '>') != nullptr;
}

void ProcessingInstruction(void* data, const XML_Char*, const XML_Char* text) {
  EndRun(data);
  if (HoldsEnd(text))
    static_cast<CheckProgress*>(data)->Refuse("a processing instruction holds \">\"");
}

void StartDocumentType(void* data, const XML_Char*, const XML_Char* system_id,
                       const XML_Char* public_id, int has_declarations) {
  auto& progress = *static_cast<CheckProgress*>(data);
  if (has_declarations != 0) progress.Refuse("the document type holds declarations");
  if (HoldsEnd(system_id) || HoldsEnd(public_id)) {
    progress.Refuse("the document type holds \">\"");
  }
  if (system_id != nullptr && progress.refusal.reason.IsEmpty()) {
    progress.external_type_end = XML_GetCurrentByteIndex(progress.parser);
    XML_StopParser(progress.parser, XML_FALSE);
  }
}

// Blanks out the external declarations of the document type that ends at `end` and has no other
// ">".
std::string WithoutExternalType(std::string_view text, std::size_t end) {
  constexpr std::string_view kStart = "<!DOCTYPE", kSpace = " \t\r\n";
  const std::size_t start = text.find(kStart, text.substr(0, end).rfind('>') + 1) + kStart.size();
  std::string result(text);
  for (std::size_t i = text.find_first_of(kSpace, text.find_first_not_of(kSpace, start)); i < end;
       ++i) {
    if (result[i] != '\n') result[i] = ' ';
  }
  return result;
}

}  // namespace

bool CheckDocument(const char* text, XMLDocumentError* error) {
  XMLDocumentError found;
  const std::string_view whole = text;
  const Parser parser(XML_ParserCreate("UTF-8"));
  // Without memory a sound document must not be reported as damaged.
  if (parser == nullptr) throw std::bad_alloc();
  if (whole.size() > INT_MAX) {
    found.reason = "the document is too long";
  } else {
    CheckProgress progress{parser.get(), text};
    XML_SetUserData(parser.get(), &progress);
    XML_SetXmlDeclHandler(parser.get(), Declaration);
    XML_SetElementHandler(parser.get(), StartElement, EndElement);
    XML_SetProcessingInstructionHandler(parser.get(), ProcessingInstruction);
    XML_SetStartDoctypeDeclHandler(parser.get(), StartDocumentType);
    XML_SetCommentHandler(parser.get(), Comment);
    if (whole.find(kByteOrderMark, 1) != whole.npos) {
      XML_SetCharacterDataHandler(parser.get(), CharacterData);
      XML_SetCdataSectionHandler(parser.get(), StartSection, EndSection);
    }
    // In one piece: with several, a long attribute would be scanned again for each.
    const auto result = XML_Parse(parser.get(), text, static_cast<int>(whole.size()), XML_TRUE);
    if (result == XML_STATUS_OK) return true;
    // Declarations in other files, which are not read, might define an entity. Expat would
    // therefore not report an unknown entity as an error.
    if (progress.external_type_end >= 0) {
      const auto end = static_cast<std::size_t>(progress.external_type_end);
      return CheckDocument(WithoutExternalType(whole, end).c_str(), error);
    }
    const XML_Error code = XML_GetErrorCode(parser.get());
    if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    found = progress.refusal;
    if (found.reason.IsEmpty()) SetError(found, XML_ErrorString(code), parser.get());
  }
  if (error != nullptr) *error = found;
  return false;
}

}  // namespace orvik
