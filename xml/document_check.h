// Decides whether TinyXML reads a text as the XML document that it is.
//
// TinyXML accepts much that is not well-formed, drops text that it does not understand, recurses
// for every level of nesting and compares every attribute of an element with all before it. So a
// conforming parser, Expat, checks the text first. text/xml_scanner.h cannot replace it: it accepts
// names of any characters and does not match end tags.
#pragma once

#include "xml/tixml_helper.h"

namespace orvik {

inline constexpr int kMostXmlDepth = 1000;
inline constexpr int kMostXmlAttributes = 1000;  // on one element

// Whether the text is well-formed XML 1.0 in UTF-8, nests at most kMostXmlDepth elements, has at
// most kMostXmlAttributes attributes on an element, and contains nothing that TinyXML would read
// differently from XML: declarations inside a document type, references to undeclared entities, ">"
// inside a processing instruction or a document type, names that begin with a colon, texts of byte
// order marks alone. The declared encoding is ignored. On failure `error`, unless null, gets the
// reason and the place.
bool CheckDocument(const char* text, XMLDocumentError* error);

}  // namespace orvik
