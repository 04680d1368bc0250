// What is looked at before a text goes to TinyXML's parser, which calls itself once for every level
// of nesting, compares every attribute of an element with all before it, and steps over multi-byte
// characters without looking for the end of the text.
#pragma once

namespace orvik {

inline constexpr int kMostXmlDepth = 1000;
inline constexpr int kMostXmlAttributes = 1000;  // on one element

// False when the text holds elements nested deeper than kMostXmlDepth, an element with more than
// kMostXmlAttributes attributes, a UTF-8 lead byte without the continuation bytes it announces, or
// an XML declaration without an end. Everything else, well-formed or not, is for the parser to
// judge. Takes time in proportion to the text and no stack.
bool IsSafeToParse(const char* text);

}  // namespace orvik
