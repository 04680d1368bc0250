#include "xml/element_reader.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <tinyxml.h>

#include "streams/com_ptr.h"
#include "strings/utf8_strings.h"
#include "text/user_locale.h"
#include "xml/xml_writer.h"

namespace orvik {
namespace {

constexpr std::string_view kBase64Prefix = "data:;base64,";
constexpr std::string_view kFlashPrefix = "data:application/x-shockwave-flash;base64,";

// Stores parse(text) for an attribute, which must not be empty.
template <typename Value, typename Parse>
HRESULT ReadFilled(const TiXmlElement* element, const char* name, Value* out, const Parse& parse) {
  if (out == nullptr) return E_POINTER;
  const char* const text = AttributeText(element, name);
  if (text == nullptr) return E_INVALIDARG;
  if (*text == '\0') return E_FAIL;
  *out = parse(text);
  return S_OK;
}

long LongOf(const char* text) {
  return std::strtol(text, nullptr, 10);
}

unsigned long ColorOf(const char* text) {
  if (std::string_view(text) == "none") return 0xFFFFFFFF;
  unsigned red = 0, green = 0, blue = 0;
  std::sscanf(text, "#%02x%02x%02x", &red, &green, &blue);
  return (red & 0xFF) | (green & 0xFF) << 8 | (blue & 0xFF) << 16;
}

std::string Without(std::string_view text, std::string_view part) {
  std::string rest;
  rest.reserve(text.size());
  for (std::size_t at; (at = text.find(part)) != std::string_view::npos;) {
    rest += text.substr(0, at);
    text.remove_prefix(at + part.size());
  }
  rest += text;
  return rest;
}

}  // namespace

HRESULT CXMLElementReader::GetTextAttributeFromNode(TiXmlElement* element, const char* name,
                                                    CAtlStringA& out) {
  const char* const text = AttributeText(element, name);
  if (text == nullptr) return E_INVALIDARG;
  out = text;
  return S_OK;
}

HRESULT CXMLElementReader::GetTextAttributeFromNodeW(TiXmlElement* element, const char* name,
                                                     CAtlString& out) {
  return ReadFilled(element, name, &out,
                    [](const char* text) { return MakeWideStringFromUTF8String(text); });
}

HRESULT CXMLElementReader::GetLongAttributeFromNode(TiXmlElement* element, const char* name,
                                                    long* out) {
  return ReadFilled(element, name, out, LongOf);
}

HRESULT CXMLElementReader::GetFloatAttributeFromNode(TiXmlElement* element, const char* name,
                                                     float* out) {
  return ReadFilled(element, name, out,
                    [](const char* text) { return static_cast<float>(RealAtStart(text)); });
}

HRESULT CXMLElementReader::GetBOOLAttributeFromNode(TiXmlElement* element, const char* name,
                                                    bool* out) {
  return ReadFilled(element, name, out, [](const char* text) { return LongOf(text) != 0; });
}

HRESULT CXMLElementReader::GetColorAttributeFromNode(TiXmlElement* element, const char* name,
                                                     unsigned long* out) {
  return ReadFilled(element, name, out, ColorOf);
}

HRESULT CXMLElementReader::GetCommaSeperatedArrayAttribute(TiXmlElement* element, const char* name,
                                                           CAtlArray<CAtlStringA>& out) {
  const char* const text = AttributeText(element, name);
  if (text == nullptr) return E_INVALIDARG;
  out.RemoveAll();
  std::string_view rest = text;
  for (std::size_t comma; (comma = rest.find(',')) != std::string_view::npos;) {
    if (out.Add(CAtlStringA(rest.substr(0, comma))) == out.kNoIndex) return E_INVALIDARG;
    rest.remove_prefix(comma + 1);
  }
  return out.Add(CAtlStringA(rest)) == out.kNoIndex ? E_INVALIDARG : S_OK;
}

HRESULT CXMLElementReader::GetBase64AttributeFromNode(TiXmlElement* element, const char* name,
                                                      CAtlStringA& out) {
  const char* const text = AttributeText(element, name);
  if (text == nullptr) return E_INVALIDARG;
  const std::string_view value = text;
  if (value.find(kBase64Prefix) == std::string_view::npos) return E_FAIL;
  out = CAtlStringA(Without(value, kBase64Prefix));
  return S_OK;
}

HRESULT CXMLElementReader::GetBase64FlashDataFromNode(TiXmlElement* element, const char* name,
                                                      CAtlStringA& out) {
  const HRESULT result = GetTextAttributeFromNode(element, name, out);
  if (result != S_OK) return result;
  if (!out.View().starts_with(kFlashPrefix)) return E_FAIL;
  out = CAtlStringA(Without(Without(out.View(), kFlashPrefix), " "));
  return S_OK;
}

HRESULT CXMLElementReader::GetNodeName(TiXmlElement* element, CAtlStringA& out) {
  if (element == nullptr) return E_INVALIDARG;
  out = element->Value();
  return S_OK;
}

HRESULT CXMLElementReader::GetElementValue(TiXmlElement* element, CAtlStringA& out) {
  const char* const text = ElementText(element);
  if (text == nullptr) return E_INVALIDARG;
  out = text;
  return S_OK;
}

HRESULT CXMLElementReader::GetDataElementValue(TiXmlElement* element, CAtlStringA& out) {
  return GetElementValue(element, out);
}

HRESULT CXMLElementReader::GetElementValueW(TiXmlElement* element, CAtlString& out) {
  if (element == nullptr) return E_INVALIDARG;
  const char* const text = ElementText(element);
  if (text != nullptr) out = MakeWideStringFromUTF8String(text);
  return S_OK;
}

TiXmlElement* CXMLElementReader::GetNamedChildNode(TiXmlElement* element, const char* name) {
  return element == nullptr || name == nullptr ? nullptr : element->FirstChildElement(name);
}

TiXmlElement* CXMLElementReader::GetFirstNonEmptyChild(TiXmlElement* element) {
  return element == nullptr ? nullptr : element->FirstChildElement();
}

HRESULT CXMLElementReader::GetChildNodes(TiXmlElement* element, CAtlArray<TiXmlElement*>& out) {
  out.RemoveAll();
  if (element == nullptr) return E_INVALIDARG;
  for (TiXmlElement* child = element->FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    if (out.Add(child) == out.kNoIndex) return E_FAIL;
  }
  return S_OK;
}

HRESULT CXMLElementReader::GetNamedChildNodes(TiXmlElement* element, CAtlArray<TiXmlElement*>& out,
                                              const char* path) {
  std::string_view rest = path == nullptr ? std::string_view() : path;
  const std::size_t start = rest.find('/');
  if (element == nullptr || start == std::string_view::npos) return E_INVALIDARG;
  rest.remove_prefix(start + 1);
  CAtlArray<TiXmlElement*> current;
  if (current.Add(element) == current.kNoIndex) return E_FAIL;
  for (bool last = false; !last;) {
    const std::size_t end = rest.find('/');
    last = end == std::string_view::npos;
    const std::string component(rest.substr(0, end));
    if (!last) rest.remove_prefix(end + 1);
    CAtlArray<TiXmlElement*> next;
    for (TiXmlElement* const parent : current) {
      for (TiXmlElement* child = parent->FirstChildElement(component.c_str()); child != nullptr;
           child = child->NextSiblingElement(component.c_str())) {
        if (next.Add(child) == next.kNoIndex) return E_FAIL;
      }
    }
    current = std::move(next);
  }
  out = std::move(current);
  return S_OK;
}

HRESULT CXMLElementReader::GetNodeXML(TiXmlElement* element, CAtlStringA& out) {
  CComPtr<IORVIKXMLWriter> writer;
  IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer);
  writer->CopyElementToXMLWriter(element);
  out = writer->get_output();
  return S_OK;
}

HRESULT GetNodeAttributes(TiXmlElement* element, CAtlArray<TiXmlAttribute*>& out) {
  if (element == nullptr) return E_INVALIDARG;
  for (TiXmlAttribute* attribute = element->FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    out.Add(attribute);
  }
  return S_OK;
}

const char* AttributeText(const TiXmlElement* element, const char* name) {
  return element == nullptr || name == nullptr ? nullptr : element->Attribute(name);
}

const char* ElementText(const TiXmlElement* element) {
  const TiXmlNode* const first = element == nullptr ? nullptr : element->FirstChild();
  return first == nullptr || first->ToText() == nullptr ? nullptr : first->Value();
}

}  // namespace orvik
