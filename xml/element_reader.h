// Typed access to elements that TinyXML has parsed.
//
// Results: S_OK; E_INVALIDARG when the element, the attribute or the text does not exist; E_FAIL
// when it is empty or not in the expected form; E_POINTER for a null output pointer. An output is
// written on success only, unless stated. Names are zero-terminated; a null name matches nothing.
// Texts are UTF-8 with entities resolved; the functions that end in W give UTF-16.
//
// Elements belong to their document and live as long as it does. Threads may read one document at
// once as long as none changes it.
//
// The value of an element is the text of its first child node, if that is a text or a CDATA
// section. Otherwise the element has no value, whatever its other children are.
#pragma once

#include "strings/atl_array.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/windows_types.h"

class TiXmlAttribute;
class TiXmlElement;

namespace [[gnu::visibility("default")]] orvik {

class CXMLElementReader {
 public:
  CXMLElementReader() = delete;

  // An empty value is a success here, in the Base64 readers and in the array reader; other readers
  // of attributes give E_FAIL.
  static HRESULT GetTextAttributeFromNode(TiXmlElement* element, const char* name,
                                          CAtlStringA& out);
  static HRESULT GetTextAttributeFromNodeW(TiXmlElement* element, const char* name,
                                           CAtlString& out);
  // Reads leading digits: "12abc" is 12, "abc" is 0. A number outside the range of long becomes the
  // nearest long.
  static HRESULT GetLongAttributeFromNode(TiXmlElement* element, const char* name, long* out);
  // The decimal point is "." in every locale, as WriteFloatAttribute writes it.
  static HRESULT GetFloatAttributeFromNode(TiXmlElement* element, const char* name, float* out);
  // Whether the number is not 0; "true" is not a number.
  static HRESULT GetBOOLAttributeFromNode(TiXmlElement* element, const char* name, bool* out);
  // "none" is 0xFFFFFFFF, "#rrggbb" is 0x00BBGGRR. Missing parts are 0.
  static HRESULT GetColorAttributeFromNode(TiXmlElement* element, const char* name,
                                           unsigned long* out);
  // The pieces between commas, also empty ones, not trimmed. Every failure is E_INVALIDARG.
  static HRESULT GetCommaSeperatedArrayAttribute(TiXmlElement* element, const char* name,
                                                 CAtlArray<CAtlStringA>& out);
  // The value without every "data:;base64,"; E_FAIL when the value does not contain it.
  static HRESULT GetBase64AttributeFromNode(TiXmlElement* element, const char* name,
                                            CAtlStringA& out);
  // The value without every "data:application/x-shockwave-flash;base64," and every space. If the
  // value does not begin with that prefix: E_FAIL, and `out` is the whole value.
  static HRESULT GetBase64FlashDataFromNode(TiXmlElement* element, const char* name,
                                            CAtlStringA& out);

  // The tag name.
  static HRESULT GetNodeName(TiXmlElement* element, CAtlStringA& out);
  // The value of the element; both names do the same.
  static HRESULT GetElementValue(TiXmlElement* element, CAtlStringA& out);
  static HRESULT GetDataElementValue(TiXmlElement* element, CAtlStringA& out);
  // S_OK without touching `out` when the element has no value.
  static HRESULT GetElementValueW(TiXmlElement* element, CAtlString& out);

  // The first child element with that name, and the first of any name; null if there is none.
  static TiXmlElement* GetNamedChildNode(TiXmlElement* element, const char* name);
  static TiXmlElement* GetFirstNonEmptyChild(TiXmlElement* element);
  // All child elements. `out` is always emptied first. E_FAIL when memory is lacking.
  static HRESULT GetChildNodes(TiXmlElement* element, CAtlArray<TiXmlElement*>& out);
  // The elements at a path of names below `element`. The part before the first "/" is ignored:
  // "x/a/b" and "/a/b" find every b in every a in the element. E_INVALIDARG for a path without "/",
  // E_FAIL when memory is lacking. An empty result is a success.
  static HRESULT GetNamedChildNodes(TiXmlElement* element, CAtlArray<TiXmlElement*>& out,
                                    const char* path);

  // The element as text, without an XML declaration, as CopyElementToXMLWriter writes it. Always
  // S_OK; empty for a null element.
  static HRESULT GetNodeXML(TiXmlElement* element, CAtlStringA& out);
};

// Appends every attribute in document order. E_INVALIDARG for a null element.
HRESULT GetNodeAttributes(TiXmlElement* element, CAtlArray<TiXmlAttribute*>& out);

// The attribute of an element as TinyXML stores it; null when the element or attribute is missing.
const char* AttributeText(const TiXmlElement* element, const char* name);

// The value of an element as TinyXML stores it; null if it has none.
const char* ElementText(const TiXmlElement* element);

}  // namespace orvik
