#include "xml/document_check.h"

#include <expat.h>

#include <climits>
#include <cstring>
#include <memory>
#include <new>
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

struct Progress {
  XML_Parser parser;
  int depth = 0;
  XMLDocumentError refusal;  // why a well-formed document is refused all the same

  // The position is that of the construct; once the parser has stopped, it is behind it.
  void Refuse(const char* reason) {
    if (refusal.reason.IsEmpty()) SetError(refusal, reason, parser);
    XML_StopParser(parser, XML_FALSE);
  }
};

void StartElement(void* data, const XML_Char*, const XML_Char** attributes) {
  auto& progress = *static_cast<Progress*>(data);
  if (++progress.depth > kMostXmlDepth) progress.Refuse("elements are nested too deep");
  int count = 0;
  while (attributes[2 * count] != nullptr) ++count;
  if (count > kMostXmlAttributes) progress.Refuse("an element has too many attributes");
}

void EndElement(void* data, const XML_Char*) {
  --static_cast<Progress*>(data)->depth;
}

// TinyXML takes the first ">" for the end of both, and what follows for content.
bool HoldsEnd(const XML_Char* text) {
  return text != nullptr && std::strchr(text, '>') != nullptr;
}

void ProcessingInstruction(void* data, const XML_Char*, const XML_Char* text) {
  if (HoldsEnd(text)) static_cast<Progress*>(data)->Refuse("a processing instruction holds \">\"");
}

void StartDocumentType(void* data, const XML_Char*, const XML_Char* system_id,
                       const XML_Char* public_id, int has_declarations) {
  auto& progress = *static_cast<Progress*>(data);
  if (has_declarations != 0) progress.Refuse("the document type holds declarations");
  if (HoldsEnd(system_id) || HoldsEnd(public_id)) {
    progress.Refuse("the document type holds \">\"");
  }
}

}  // namespace

bool CheckDocument(const char* text, XMLDocumentError* error) {
  XMLDocumentError found;
  const std::size_t length = std::strlen(text);
  const Parser parser(XML_ParserCreate("UTF-8"));
  // A sound document must not pass for a damaged one.
  if (parser == nullptr) throw std::bad_alloc();
  if (length > INT_MAX) {
    found.reason = "the document is too long";
  } else {
    Progress progress{parser.get(), 0, {}};
    XML_SetUserData(parser.get(), &progress);
    XML_SetElementHandler(parser.get(), StartElement, EndElement);
    XML_SetProcessingInstructionHandler(parser.get(), ProcessingInstruction);
    XML_SetStartDoctypeDeclHandler(parser.get(), StartDocumentType);
    // In one piece: a long attribute in several would be scanned again with each.
    const auto result = XML_Parse(parser.get(), text, static_cast<int>(length), XML_TRUE);
    if (result == XML_STATUS_OK) return true;
    const XML_Error code = XML_GetErrorCode(parser.get());
    if (code == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    found = progress.refusal;
    if (found.reason.IsEmpty()) SetError(found, XML_ErrorString(code), parser.get());
  }
  if (error != nullptr) *error = found;
  return false;
}

}  // namespace orvik
