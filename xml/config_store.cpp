#include "xml/config_store.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <tinyxml.h>

#include "files/messages.h"
#include "prefs/key_path.h"
#include "strings/utf8_strings.h"
#include "text/characters.h"
#include "xml/config_index.h"
#include "xml/config_scope.h"
#include "xml/document_check.h"
#include "xml/element_reader.h"

namespace orvik {
namespace {

constexpr char kName[] = "name";
constexpr char kData[] = "data";

// Whether XML allows all characters of the text, which ends at its first NUL.
bool FitsXml(const CAtlString& text) {
  const std::u16string_view units = text.View().substr(0, text.View().find(u'\0'));
  for (std::size_t at = 0; at < units.size();) {
    if (!IsXmlCharacter(NextCharacter(units, at))) return false;
  }
  return true;
}

// Goes from an element down to its descendants.
class Walk {
 public:
  // For a null index, searches without one.
  explicit Walk(std::shared_ptr<ConfigIndex> index) : index_(std::move(index)) {}

  // Null when `root` has no such key below it; `root` for an empty path.
  TiXmlElement* Find(TiXmlElement* root, const KeyPath& path) {
    TiXmlElement* key = root;
    for (int i = 1; key != nullptr && i <= path.count(); ++i) {
      ATLTRACE("\n csNameInPath: %s \n", path.name(i));
      key = Child(key, ConfigType::kKey, path.name(i));
    }
    return key;
  }

  TiXmlElement* Find(TiXmlElement* root, const KeyPath& path, const CAtlString& value_name) {
    TiXmlElement* const key = Find(root, path);
    return key == nullptr ? nullptr : Child(key, ConfigType::kValue, value_name);
  }

  // The value; makes it and the missing keys.
  TiXmlElement* FindOrMake(TiXmlElement* root, const KeyPath& path, const CAtlString& value_name) {
    makes_ = true;
    return Find(root, path, value_name);
  }

  // Whether a name on the path was found in another spelling than the given one.
  bool met_other_spelling() const { return met_other_spelling_; }

 private:
  TiXmlElement* Child(TiXmlElement* parent, ConfigType type, const CAtlString& name) {
    const CAtlStringA utf8 = MakeUTF8StringFromUnicodeString(name);
    const ConfigChild wanted(type, utf8.GetString());
    TiXmlElement* child = index_ != nullptr ? index_->Find(parent, wanted)
                                            : FindConfigChild(parent->FirstChildElement(), wanted);
    if (child == nullptr && makes_) {
      child = new ConfigElement(type == ConfigType::kKey ? "key" : "value", index_);
      child->SetAttribute(kName, utf8.GetString());
      if (index_ != nullptr) {
        index_->Append(parent, child);
      } else {
        parent->LinkEndChild(child);
      }
    } else if (child != nullptr && std::string_view(child->Attribute(kName)) != utf8.GetString()) {
      met_other_spelling_ = true;
    }
    return child;
  }

  const std::shared_ptr<ConfigIndex> index_;
  bool makes_ = false;
  bool met_other_spelling_ = false;
};

bool IsTooDeep(const KeyPath& path) {
  return path.count() + 2 > kMostXmlDepth;
}

TiXmlElement* RootOf(int scope) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state == nullptr ? nullptr : state->Root();
}

// The value in a scope's document; null when it does not exist.
TiXmlElement* FindValue(int scope, const CAtlString& key_path, const CAtlString& value_name) {
  TiXmlElement* const root = RootOf(scope);
  if (root == nullptr) return nullptr;
  return Walk(ConfigScope::Of(scope)->index()).Find(root, KeyPath(key_path), value_name);
}

// The key in a scope's document; null when it does not exist.
TiXmlElement* FindKey(int scope, const CAtlString& key_path) {
  TiXmlElement* const root = RootOf(scope);
  if (root == nullptr || !ConfigScope::Of(scope)->IsValidRoot(root)) return nullptr;
  return Walk(ConfigScope::Of(scope)->index()).Find(root, KeyPath(key_path));
}

XMLConfigWriteStatus Write(ConfigScope& state, const CAtlString& key_path,
                           const CAtlString& value_name, const char* data) {
  const KeyPath path(key_path);
  if (!FitsXml(path.text()) || !FitsXml(value_name)) return XMLConfigWriteStatus::kNotXml;
  if (IsTooDeep(path)) return XMLConfigWriteStatus::kTooDeep;
  TiXmlElement* const root = state.RootOrNew();
  if (root == nullptr) return XMLConfigWriteStatus::kNoRoot;
  Walk walk(state.index());
  TiXmlElement* const value = walk.FindOrMake(root, path, value_name);
  // Removed first, so that "data" comes behind the other attributes.
  value->RemoveAttribute(kData);
  value->SetAttribute(kData, data);
  state.SetChanged();
  return walk.met_other_spelling() ? XMLConfigWriteStatus::kOtherSpelling
                                   : XMLConfigWriteStatus::kWritten;
}

// `data` is null if XML does not allow its characters.
bool Write(int scope, const CAtlString& key_path, const CAtlString& value_name, const char* data) {
  ConfigScope* const state = ConfigScope::Of(scope);
  if (state == nullptr) return false;
  const XMLConfigWriteStatus status =
      data == nullptr ? XMLConfigWriteStatus::kNotXml : Write(*state, key_path, value_name, data);
  state->set_write_status(status);
  return status == XMLConfigWriteStatus::kWritten || status == XMLConfigWriteStatus::kOtherSpelling;
}

// True also for null.
bool Remove(int scope, TiXmlElement* element) {
  if (element == nullptr) return true;
  ConfigScope& state = *ConfigScope::Of(scope);
  state.index()->Remove(element);
  state.SetChanged();
  return true;
}

// Walks from an element of the caller, which may have changed the document, to an element that it
// gets.
template <typename WalkIt>
TiXmlElement* WalkFrom(const TiXmlElement* element, const WalkIt& walk_it) {
  const std::shared_ptr<ConfigIndex> index = ConfigScope::IndexOf(element);
  if (index == nullptr) return walk_it(Walk(nullptr));
  index->MayHaveChanged();
  TiXmlElement* const found = walk_it(Walk(index));
  index->MayHaveChanged();
  return found;
}

// The names of the children of that tag.
bool ListChildren(int scope, const CAtlString& key_path, const char16_t* tag,
                  CAtlArray<CAtlString>& names) {
  names.RemoveAll();
  TiXmlElement* const key = FindKey(scope, key_path);
  if (key == nullptr) return false;
  for (TiXmlElement* child = key->FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    const char* const name = child->Attribute(kName);
    if (name != nullptr && HasFoldedName(child->Value(), tag)) {
      if (names.Add(MakeWideStringFromUTF8String(name)) == names.kNoIndex) return false;
    }
  }
  return true;
}

}  // namespace

bool SetXMLConfig(int scope, COrvikFilePath path) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state != nullptr && state->SetPath(path);
}

bool IsXMLConfigSet(int scope) {
  const ConfigScope* const state = ConfigScope::Of(scope);
  return state != nullptr && state->has_path();
}

bool CreateConfigFile(COrvikFilePath path, int scope) {
  const ConfigScope* const state = ConfigScope::Of(scope);
  return state != nullptr && state->CreateFile(path);
}

XMLConfigFileInfo GetXMLConfigFileInfo(int scope) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state == nullptr ? XMLConfigFileInfo() : state->file_info();
}

TiXmlElement* LoadXMLRootFromFile(int scope, bool from_temporary) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state == nullptr ? nullptr : state->HandOut(state->Load(from_temporary));
}

TiXmlElement* FindXMLRootElement(int scope) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state == nullptr ? nullptr : state->HandOut(state->Root());
}

TiXmlElement* GetXMLConfigRootElement(int scope) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state == nullptr ? nullptr : state->HandOut(state->RootOrNew());
}

bool SaveXMLConfigFile(int scope) {
  ConfigScope* const state = ConfigScope::Of(scope);
  return state != nullptr && state->Save();
}

bool IsXMLElementAType(TiXmlElement* element, CAtlStringA type) {
  return element != nullptr && HasFoldedName(element->Value(), FoldedConfigName(type.GetString()));
}

bool XMLElementHasAttr(TiXmlElement* element, CAtlStringA attribute, CAtlStringA value) {
  return element != nullptr && HasFoldedName(element->Attribute(attribute.GetString()),
                                             FoldedConfigName(value.GetString()));
}

bool IsValidXMLConfigRoot(int scope, TiXmlElement* element) {
  const ConfigScope* const state = ConfigScope::Of(scope);
  return state != nullptr && state->IsValidRoot(element);
}

TiXmlElement* FindXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                        CAtlString value_name) {
  if (root == nullptr) return nullptr;
  return WalkFrom(root, [&](Walk walk) { return walk.Find(root, KeyPath(key_path), value_name); });
}

TiXmlElement* GetXMLConfigValueElement(TiXmlElement* root, CAtlString key_path,
                                       CAtlString value_name) {
  const KeyPath path(key_path);
  if (root == nullptr || IsTooDeep(path) || !FitsXml(path.text()) || !FitsXml(value_name)) {
    return nullptr;
  }
  return WalkFrom(root, [&](Walk walk) { return walk.FindOrMake(root, path, value_name); });
}

TiXmlElement* FindXMLSubKeyElement(int scope, CAtlString key_path) {
  TiXmlElement* const key = FindKey(scope, key_path);
  return key == nullptr ? nullptr : ConfigScope::Of(scope)->HandOut(key);
}

bool WriteXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int value) {
  return Write(scope, key_path, value_name, std::to_string(value).c_str());
}

bool WriteXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString value) {
  const CAtlStringA data = MakeUTF8StringFromUnicodeString(value);
  return Write(scope, key_path, value_name, FitsXml(value) ? data.GetString() : nullptr);
}

XMLConfigWriteStatus GetXMLConfigWriteStatus(int scope) {
  const ConfigScope* const state = ConfigScope::Of(scope);
  return state == nullptr ? XMLConfigWriteStatus::kNothingWritten : state->write_status();
}

bool GetXMLConfigInt(int scope, CAtlString key_path, CAtlString value_name, int& value) {
  long number = 0;
  if (CXMLElementReader::GetLongAttributeFromNode(FindValue(scope, key_path, value_name), kData,
                                                  &number) < 0) {
    return false;
  }
  value = static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
  return true;
}

bool GetXMLConfigString(int scope, CAtlString key_path, CAtlString value_name, CAtlString& value) {
  return CXMLElementReader::GetTextAttributeFromNodeW(FindValue(scope, key_path, value_name), kData,
                                                      value) >= 0;
}

XMLConfigValueState GetXMLConfigValueState(int scope, CAtlString key_path, CAtlString value_name) {
  const TiXmlElement* const value = FindValue(scope, key_path, value_name);
  if (value == nullptr) return XMLConfigValueState::kMissing;
  const char* const data = value->Attribute(kData);
  return data == nullptr || *data == '\0' ? XMLConfigValueState::kEmpty : XMLConfigValueState::kSet;
}

bool DeleteXMLConfigValueElement(int scope, CAtlString key_path, CAtlString value_name) {
  return RootOf(scope) != nullptr && Remove(scope, FindValue(scope, key_path, value_name));
}

bool DeleteXMLSubKeyElement(int scope, CAtlString key_path) {
  return RootOf(scope) != nullptr && GetDirCountFromPath(key_path) != 0 &&
         Remove(scope, FindKey(scope, key_path));
}

bool ListPreferencesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names) {
  return ListChildren(scope, key_path, u"key", names);
}

bool ListValuesXMLConfig(int scope, CAtlString key_path, CAtlArray<CAtlString>& names) {
  return ListChildren(scope, key_path, u"value", names);
}

}  // namespace orvik
