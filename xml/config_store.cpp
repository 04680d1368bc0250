#include "xml/config_store.h"

#include <algorithm>
#include <climits>

#include <tinyxml.h>

#include "prefs/key_path.h"
#include "strings/utf8_strings.h"
#include "xml/config_scope.h"
#include "xml/element_reader.h"

namespace orvik {
namespace {

constexpr char kData[] = "data";

// Whether XML has a way to write the text, which ends at its first NUL.
bool FitsXml(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size() && text[i] != 0; ++i) {
    const char16_t unit = text[i];
    if (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r') return false;
    if (unit >= 0xFFFE) return false;
  }
  return true;
}

// Puts "data" behind the other attributes.
template <typename Value>
bool WriteData(int scope, const CAtlString& key_path, const CAtlString& value_name, Value value) {
  if (!FitsXml(key_path.View()) || !FitsXml(value_name.View())) return false;
  TiXmlElement* const root = GetXMLConfigRootElement(scope);
  if (!IsValidXMLConfigRoot(scope, root)) return false;
  TiXmlElement* const element = GetXMLConfigValueElement(root, key_path, value_name);
  if (!IsXMLElementAType(element, "value") ||
      !XMLElementHasAttr(element, "name", MakeUTF8StringFromUnicodeString(value_name))) {
    return false;
  }
  element->RemoveAttribute(kData);
  element->SetAttribute(kData, value);
  ConfigScopeOf(scope)->changed = true;
  return true;
}

void Remove(int scope, TiXmlElement* element) {
  element->Parent()->RemoveChild(element);
  ConfigScopeOf(scope)->changed = true;
}

}  // namespace

bool WriteXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int value) {
  return WriteData(scope, key_path, value_name, value);
}

bool WriteXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString value) {
  if (!FitsXml(value.View())) return false;
  return WriteData(scope, key_path, value_name, MakeUTF8StringFromUnicodeString(value).GetString());
}

bool GetXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int& value) {
  TiXmlElement* const element =
      FindXMLConfigValueElement(FindXMLRootElement(scope), key_path, value_name);
  long number = 0;
  if (CXMLElementReader::GetLongAttributeFromNode(element, kData, &number) < 0) return false;
  value = static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
  return true;
}

bool GetXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString& value) {
  TiXmlElement* const element =
      FindXMLConfigValueElement(FindXMLRootElement(scope), key_path, value_name);
  return CXMLElementReader::GetTextAttributeFromNodeW(element, kData, value) >= 0;
}

bool DeleteXMLConfigValueElement(int scope, CAtlString key_path, CAtlString value_name) {
  TiXmlElement* const root = FindXMLRootElement(scope);
  if (root == nullptr) return false;
  TiXmlElement* const element = FindXMLConfigValueElement(root, key_path, value_name);
  if (element != nullptr) Remove(scope, element);
  return true;
}

bool DeleteXMLSubKeyElement(int scope, CAtlString key_path) {
  if (FindXMLRootElement(scope) == nullptr || GetDirCountFromPath(key_path) == 0) return false;
  TiXmlElement* const element = FindXMLSubKeyElement(scope, key_path);
  if (element != nullptr) Remove(scope, element);
  return true;
}

bool ListPreferencesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names) {
  names.RemoveAll();
  TiXmlElement* const key = FindXMLSubKeyElement(scope, key_path);
  if (key == nullptr) return false;
  for (TiXmlElement* child = key->FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    const char* const name = child->Attribute("name");
    if (name != nullptr && IsXMLElementAType(child, "key")) {
      names.Add(MakeWideStringFromUTF8String(name));
    }
  }
  return true;
}

}  // namespace orvik
