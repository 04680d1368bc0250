#include "xml/tixml_helper.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <utility>

#include <tinyxml.h>

#include "files/file_manipulator.h"
#include "strings/utf8_strings.h"
#include "text/user_locale.h"
#include "xml/document_check.h"
#include "xml/element_reader.h"

namespace orvik {
namespace {

// parse(text) for an attribute, or the default if it is missing.
template <typename Value, typename Parse>
Value Load(const TiXmlElement* element, const CAtlStringA& name, const Value& default_value,
           const Parse& parse) {
  const char* const text = AttributeText(element, name.GetString());
  return text == nullptr ? default_value : static_cast<Value>(parse(text));
}

HRESULT Refuse(XMLDocumentError* error, XMLDocumentError reason) {
  if (error != nullptr) *error = std::move(reason);
  return E_INVALIDARG;
}

}  // namespace

void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, bool value,
                                           bool default_value) {
  if (element == nullptr || value == default_value) return;
  element->SetAttribute(name.GetString(), value ? TRUE_STRING : FALSE_STRING);
}

void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, const CAtlString& value,
                                           const CAtlString& default_value) {
  if (element == nullptr || value.CompareNoCase(default_value) == 0) return;
  element->SetAttribute(name.GetString(), MakeUTF8StringFromUnicodeString(value).GetString());
}

void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, double value,
                                           double default_value) {
  if (element == nullptr || value == default_value) return;
  CAtlStringA text;
  text.Format("%g", value);
  element->SetAttribute(name.GetString(), text.GetString());
}

void SaveAttributeToXmlElementIfNotDefault(const boost::shared_ptr<TiXmlElement>& element,
                                           const CAtlStringA& name, unsigned int value,
                                           unsigned int default_value) {
  if (element == nullptr || value == default_value) return;
  element->SetAttribute(name.GetString(), static_cast<int>(value));
}

CAtlString TiXmlHelper::LoadStringAttributeFromXmlElement(const TiXmlElement* element,
                                                          const CAtlStringA& name, bool& found) {
  const char* const text = AttributeText(element, name.GetString());
  if (text != nullptr) return MakeWideStringFromUTF8String(text);
  found = false;
  return CAtlString();
}

CAtlString TiXmlHelper::LoadStringAttributeFromXmlElementWithDefault(
    const TiXmlElement* element, const CAtlStringA& name, const CAtlString& default_value) {
  return Load(element, name, default_value,
              [](const char* text) { return MakeWideStringFromUTF8String(text); });
}

int TiXmlHelper::LoadIntAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                           const CAtlStringA& name,
                                                           int default_value) {
  return Load(element, name, default_value, [](const char* text) {
    return std::clamp<long>(std::strtol(text, nullptr, 10), INT_MIN, INT_MAX);
  });
}

float TiXmlHelper::LoadFloatAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                               const CAtlStringA& name,
                                                               float default_value) {
  return Load(element, name, default_value, RealAtStart);
}

bool TiXmlHelper::LoadBoolAttributeFromXmlElementWithDefault(const TiXmlElement* element,
                                                             const CAtlStringA& name,
                                                             bool default_value) {
  return Load(element, name, default_value, [default_value](const CAtlStringA& text) {
    if (text.CompareNoCase(TRUE_STRING) == 0) return true;
    return default_value && text.CompareNoCase(FALSE_STRING) != 0;
  });
}

HRESULT TiXmlHelper::InitializeTiXmlDocumentFromFile(
    const boost::shared_ptr<TiXmlDocument>& document, const COrvikFilePath& path,
    XMLDocumentError* error) {
  TiXmlBase::SetCondenseWhiteSpace(false);  // even if the file cannot be read
  CAtlStringA text;
  if (CFileManipulator::ReadAsciiFileIntoAsciiString(path, text, "") < 0) {
    return Refuse(error, {"the file cannot be read"});
  }
  if (static_cast<DWORD>(text.GetLength()) != path.GetFileSize()) {
    return Refuse(error, {"the file holds a NUL byte"});
  }
  return InitializeTiXmlDocumentFromText(document, text.GetString(), error);
}

HRESULT TiXmlHelper::InitializeTiXmlDocumentFromText(
    const boost::shared_ptr<TiXmlDocument>& document, const char* text, XMLDocumentError* error) {
  TiXmlBase::SetCondenseWhiteSpace(false);
  if (document == nullptr || text == nullptr) return Refuse(error, {"there is no document"});
  if (!CheckDocument(text, error)) return E_INVALIDARG;
  document->Parse(text, nullptr, TIXML_ENCODING_UTF8);
  if (!document->Error() && document->RootElement() == nullptr) {
    return Refuse(error, {"the document has no root element"});
  }
  if (!document->Error()) return S_OK;
  return Refuse(error, {document->ErrorDesc(), document->ErrorRow(), document->ErrorCol()});
}

}  // namespace orvik
