#include <tinyxml.h>

#include "files/trace.h"
#include "prefs/key_path.h"
#include "strings/utf8_strings.h"
#include "xml/config_names.h"
#include "xml/config_scope.h"
#include "xml/config_store.h"
#include "xml/document_check.h"

namespace orvik {
namespace {

constexpr char kKey[] = "key";
constexpr char kValue[] = "value";
constexpr char kName[] = "name";

TiXmlElement* AppendChild(TiXmlElement* parent, const char* type, const CAtlString& name) {
  auto* const child = new TiXmlElement(type);
  child->SetAttribute(kName, MakeUTF8StringFromUnicodeString(name).GetString());
  parent->LinkEndChild(child);
  return child;
}

enum class Missing { kNotFound, kCreate };

TiXmlElement* Child(TiXmlElement* parent, const char* type, const CAtlString& name,
                    Missing missing) {
  TiXmlElement* const child = FindConfigChild(parent, type, name);
  return child != nullptr || missing == Missing::kNotFound ? child
                                                           : AppendChild(parent, type, name);
}

TiXmlElement* WalkKeyPath(TiXmlElement* root, const KeyPath& path, Missing missing) {
  TiXmlElement* current = root;
  for (int i = 1; current != nullptr && i <= path.count(); ++i) {
    ATLTRACE("\n csNameInPath: %s \n", path.name(i));
    current = Child(current, kKey, path.name(i), missing);
  }
  return current;
}

}  // namespace

bool IsXMLElementAType(TiXmlElement* element, CAtlStringA type) {
  return element != nullptr && AnyCaseName(type).Matches(element->Value());
}

bool XMLElementHasAttr(TiXmlElement* element, CAtlStringA attribute, CAtlStringA value) {
  return element != nullptr &&
         AnyCaseName(value).Matches(element->Attribute(attribute.GetString()));
}

bool IsValidXMLConfigRoot(int scope, TiXmlElement* element) {
  const ConfigScope* const state = ConfigScopeOf(scope);
  return state != nullptr && element != nullptr && element->Parent() != nullptr &&
         element->Parent()->Type() == TiXmlNode::TINYXML_DOCUMENT &&
         XMLElementHasAttr(element, kName, kConfigRootName) &&
         XMLElementHasAttr(element, "scope", state->name);
}

TiXmlElement* FindXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                        CAtlString value_name) {
  if (root == nullptr) return nullptr;
  TiXmlElement* const key = WalkKeyPath(root, KeyPath(key_path), Missing::kNotFound);
  return key == nullptr ? nullptr : FindConfigChild(key, kValue, value_name);
}

// One walk finds the value that is there or makes what is missing, to the same effect as a search
// followed by a second walk.
TiXmlElement* GetXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                       CAtlString value_name) {
  if (root == nullptr) return nullptr;
  const KeyPath path(key_path);
  if (path.count() + 2 > kMostXmlDepth) return nullptr;
  TiXmlElement* const key = WalkKeyPath(root, path, Missing::kCreate);
  return Child(key, kValue, value_name, Missing::kCreate);
}

TiXmlElement* FindXMLSubKeyElement(int scope, CAtlString key_path) {
  TiXmlElement* const root = FindXMLRootElement(scope);
  if (!IsValidXMLConfigRoot(scope, root)) return nullptr;
  return WalkKeyPath(root, KeyPath(key_path), Missing::kNotFound);
}

}  // namespace orvik
