// Typed access to elements that TinyXML has parsed.
//
// Results: S_OK; E_INVALIDARG when there is no element, no such attribute or no text; E_FAIL when
// it is there but empty or not in the expected form; E_POINTER for a null output pointer. An output
// is written on success only, unless stated. Names are zero-terminated; a null name names nothing.
// Texts are UTF-8 with entities resolved; the functions that end in W give UTF-16.
//
// Elements belong to their document: what is found lives as long as it does. Threads may read one
// document at once as long as none changes it.
//
// The value of an element is the text of its first child node, when that is a text or a CDATA
// section; whatever else an element holds, it has no value.
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

  // An empty value is a success here, and in no other reader of attributes but the Base64 ones and
  // the array one.
  static HRESULT GetTextAttributeFromNode(TiXmlElement* element, const char* name,
                                          CAtlStringA& out);
  static HRESULT GetTextAttributeFromNodeW(TiXmlElement* element, const char* name,
                                           CAtlString& out);
  // Leading digits count: "12abc" is 12, "abc" is 0. What a long cannot hold becomes the nearest
  // that it can.
  static HRESULT GetLongAttributeFromNode(TiXmlElement* element, const char* name, long* out);
  // With a point in every locale, as WriteFloatAttribute writes it.
  static HRESULT GetFloatAttributeFromNode(TiXmlElement* element, const char* name, float* out);
  // Whether the number is not 0; "true" is not a number.
  static HRESULT GetBOOLAttributeFromNode(TiXmlElement* element, const char* name, bool* out);
  // "none" is 0xFFFFFFFF, "#rrggbb" is 0x00BBGGRR. Parts that are not there are 0.
  static HRESULT GetColorAttributeFromNode(TiXmlElement* element, const char* name,
                                           unsigned long* out);
  // The pieces between commas, empty ones included, nothing trimmed. E_INVALIDARG for every
  // failure.
  static HRESULT GetCommaSeperatedArrayAttribute(TiXmlElement* element, const char* name,
                                                 CAtlArray<CAtlStringA>& out);
  // The value without every "data:;base64,"; E_FAIL when there is none.
  static HRESULT GetBase64AttributeFromNode(TiXmlElement* element, const char* name,
                                            CAtlStringA& out);
  // The value without every "data:application/x-shockwave-flash;base64," and every space. When it
  // does not begin with that prefix: E_FAIL, and `out` is the whole value.
  static HRESULT GetBase64FlashDataFromNode(TiXmlElement* element, const char* name,
                                            CAtlStringA& out);

  // The tag name.
  static HRESULT GetNodeName(TiXmlElement* element, CAtlStringA& out);
  // The value of the element; both names do the same.
  static HRESULT GetElementValue(TiXmlElement* element, CAtlStringA& out);
  static HRESULT GetDataElementValue(TiXmlElement* element, CAtlStringA& out);
  // S_OK without touching `out` when the element has no value.
  static HRESULT GetElementValueW(TiXmlElement* element, CAtlString& out);

  // The first child element with that name, and the first of any name; null when there is none.
  static TiXmlElement* GetNamedChildNode(TiXmlElement* element, const char* name);
  static TiXmlElement* GetFirstNonEmptyChild(TiXmlElement* element);
  // All child elements. `out` is emptied first in every case. E_FAIL without memory for them.
  static HRESULT GetChildNodes(TiXmlElement* element, CAtlArray<TiXmlElement*>& out);
  // The elements at a path of names below `element`. What comes before the first "/" is not looked
  // at: "x/a/b" and "/a/b" find every b in every a in it. E_INVALIDARG for a path without "/",
  // E_FAIL without memory. To find none is a success.
  static HRESULT GetNamedChildNodes(TiXmlElement* element, CAtlArray<TiXmlElement*>& out,
                                    const char* path);

  // The element as text, without an XML declaration: what CopyElementToXMLWriter writes. Always
  // S_OK; the text is empty for a null element.
  static HRESULT GetNodeXML(TiXmlElement* element, CAtlStringA& out);
};

// Appends every attribute in document order. E_INVALIDARG for a null element.
HRESULT GetNodeAttributes(TiXmlElement* element, CAtlArray<TiXmlAttribute*>& out);

// The attribute of an element as TinyXML holds it; null when there is no such element or attribute.
const char* AttributeText(const TiXmlElement* element, const char* name);

// The value of an element as TinyXML holds it; null when it has none.
const char* ElementText(const TiXmlElement* element);

}  // namespace orvik
