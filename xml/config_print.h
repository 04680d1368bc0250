// The text of a document as TinyXML lays it out.
#pragma once

#include <string>

class TiXmlDocument;

namespace orvik {

// What TiXmlDocument::SaveFile writes, except that every "&#x" in a value or text is escaped:
// TinyXML takes it for the start of a character reference and would write what follows unescaped.
// The document is the same afterwards. False when it cannot be printed.
bool PrintConfigDocument(TiXmlDocument& document, std::string& text);

}  // namespace orvik
