// Decides whether a text is an XML document that TinyXML reads as it was meant.
//
// TinyXML accepts much that is not well-formed, drops what it does not understand, calls itself
// once for every level of nesting and compares every attribute of an element with all before it. So
// a conforming parser, Expat, goes over the text first. text/xml_scanner.h is not one: it takes
// names of any characters and matches no end tags, and would let such documents pass.
#pragma once

#include "xml/tixml_helper.h"

namespace orvik {

inline constexpr int kMostXmlDepth = 1000;
inline constexpr int kMostXmlAttributes = 1000;  // on one element

// Whether the text is well-formed XML 1.0 in UTF-8, nests at most kMostXmlDepth elements, has at
// most kMostXmlAttributes attributes on an element, and holds nothing that TinyXML would read
// otherwise than XML: declarations inside a document type, references that no declaration explains,
// ">" inside a processing instruction or a document type, names that begin with a colon, texts of
// byte order marks alone. The encoding that the document declares is not looked at. On failure
// `error`, unless null, says what is wrong and where.
bool CheckDocument(const char* text, XMLDocumentError* error);

}  // namespace orvik
