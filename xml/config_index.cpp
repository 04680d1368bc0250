#include "xml/config_index.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <random>

#include <tinyxml.h>

#include "text/case_and_spelling.h"
#include "text/code_page_codec.h"
#include "xml/config_scope.h"

namespace orvik {
namespace {

std::optional<ConfigType> TypeOf(const TiXmlElement* element) {
  if (HasFoldedName(element->Value(), u"key")) return ConfigType::kKey;
  if (HasFoldedName(element->Value(), u"value")) return ConfigType::kValue;
  return std::nullopt;
}

// The type and name by which look-ups find the element; no value if they do not find it.
std::optional<ConfigChild> ChildOf(const TiXmlElement* element) {
  const std::optional<ConfigType> type = TypeOf(element);
  const char* const name = element->Attribute("name");
  if (!type || name == nullptr) return std::nullopt;
  return ConfigChild(*type, name);
}

std::size_t HashOf(const TiXmlElement* element) {
  const std::hash<std::string_view> hash;
  const char* const name = element->Attribute("name");
  return hash(element->Value()) * 31 + (name == nullptr ? 0 : hash(name));
}

}  // namespace

std::u16string FoldedConfigName(std::string_view utf8) {
  std::u16string units;
  units.reserve(utf8.size());
  for (const char byte : utf8) units += UnitOfMacRoman(static_cast<unsigned char>(byte));
  return FoldCase(units);
}

bool HasFoldedName(const char* text, std::u16string_view folded) {
  if (text == nullptr) return false;
  std::size_t at = 0;
  for (const char* next = text; *next != '\0'; ++next, ++at) {
    const auto unit = static_cast<unsigned char>(*next);
    if (unit >= 0x80) return FoldedConfigName(text) == folded;
    const int lower = unit >= 'A' && unit <= 'Z' ? unit + ('a' - 'A') : unit;
    if (at == folded.size() || folded[at] != lower) return false;
  }
  return at == folded.size();
}

ConfigChild::ConfigChild(ConfigType type, const char* name)
    : text_(static_cast<char16_t>(type) + FoldedConfigName(name)) {}

bool ConfigChild::Matches(const TiXmlElement* element) const {
  const std::u16string_view tag = text_[0] == u'k' ? u"key" : u"value";
  return HasFoldedName(element->Value(), tag) &&
         HasFoldedName(element->Attribute("name"), std::u16string_view(text_).substr(1));
}

TiXmlElement* FindConfigChild(TiXmlElement* element, const ConfigChild& child) {
  while (element != nullptr && !child.Matches(element)) element = element->NextSiblingElement();
  return element;
}

TiXmlElement* ConfigIndex::Find(TiXmlElement* parent, const ConfigChild& child) {
  const Key* key = KnownKey(parent);
  if (key == nullptr) {
    TiXmlElement* element = parent->FirstChildElement();
    const int few = is_shared() ? kFewSharedChildren : kFewChildren;
    for (int i = 0; element != nullptr && i < few; ++i) {
      if (child.Matches(element)) return element;
      element = element->NextSiblingElement();
    }
    if (element == nullptr) return nullptr;
    key = NewKey(parent);
    if (key == nullptr) return FindConfigChild(element, child);
  }
  const auto found = key->names.find(child.text());
  if (found == key->names.end()) return nullptr;
  TiXmlElement* const element = key->children[found->second.places[found->second.first]].element;
  if (!is_shared() || child.Matches(element)) return element;
  keys_.erase(parent);  // the caller has renamed it
  return Find(parent, child);
}

ConfigIndex::Key* ConfigIndex::KnownKey(const TiXmlElement* parent) {
  const auto known = keys_.find(parent);
  if (known == keys_.end()) return nullptr;
  Key& key = known->second;
  if (!is_shared() || (key.changes == changes_ && key.last == parent->LastChild())) return &key;
  if (IsAsRead(parent, key)) {
    key.changes = changes_;
    key.last = parent->LastChild();
    return &key;
  }
  keys_.erase(known);
  return nullptr;
}

ConfigIndex::Key* ConfigIndex::NewKey(const TiXmlElement* parent) {
  const auto known = keys_.try_emplace(parent).first;
  if (Read(parent, known->second)) return &known->second;
  keys_.erase(known);
  return nullptr;
}

bool ConfigIndex::Read(const TiXmlElement* parent, Key& key) const {
  key.changes = changes_;
  key.last = parent->LastChild();
  if (dynamic_cast<const ConfigElement*>(parent) == nullptr) return false;
  for (const TiXmlElement* child = parent->FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement()) {
    if (dynamic_cast<const ConfigElement*>(child) == nullptr) return false;
    Add(key, const_cast<TiXmlElement*>(child));
  }
  return true;
}

bool ConfigIndex::IsAsRead(const TiXmlElement* parent, const Key& key) const {
  auto expected = key.children.begin();
  for (const TiXmlElement* child = parent->FirstChildElement(); child != nullptr;
       child = child->NextSiblingElement(), ++expected) {
    while (expected != key.children.end() && expected->element == nullptr) ++expected;
    if (expected == key.children.end() || expected->element != child ||
        expected->hash != HashOf(child)) {
      return false;
    }
  }
  return std::all_of(expected, key.children.end(),
                     [](const Child& child) { return child.element == nullptr; });
}

void ConfigIndex::Add(Key& key, TiXmlElement* child) {
  if (const std::optional<ConfigChild> name = ChildOf(child)) {
    key.names[name->text()].places.push_back(key.children.size());
  }
  key.children.push_back({child, HashOf(child)});
}

void ConfigIndex::Append(TiXmlElement* parent, TiXmlElement* child) {
  parent->LinkEndChild(child);
  const auto known = keys_.find(parent);
  if (known == keys_.end()) return;
  Add(known->second, child);
  known->second.last = child;
}

void ConfigIndex::Remove(TiXmlElement* child) {
  TiXmlNode* const parent = child->Parent();
  if (const auto known = keys_.find(parent); known != keys_.end()) {
    Key& key = known->second;
    const auto found = key.names.find(ChildOf(child)->text());
    Namesakes& namesakes = found->second;
    key.children[namesakes.places[namesakes.first]].element = nullptr;
    if (++namesakes.first == namesakes.places.size()) key.names.erase(found);
    while (!key.children.empty() && key.children.back().element == nullptr) key.children.pop_back();
    // Most places are empty: drop the index; the next search builds a new one.
    if (++key.removed > key.children.size() / 2 + std::size_t{kFewChildren}) keys_.erase(known);
  }
  removing_ = child;
  parent->RemoveChild(child);
  removing_ = nullptr;
  if (const auto known = keys_.find(parent); known != keys_.end()) {
    known->second.last = parent->LastChild();
  }
}

void ConfigIndex::Forget(const TiXmlElement* element) {
  if (keys_.empty()) return;
  keys_.erase(element);
  if (element != removing_) keys_.erase(element->Parent());
}

std::size_t ConfigIndex::Hash::operator()(std::u16string_view text) const {
  static const std::uint64_t kSecret = [] {
    std::random_device device;
    return (std::uint64_t{device()} << 32 | device()) | 1;
  }();
  std::uint64_t hash = kSecret;
  for (const char16_t unit : text) {
    hash = (hash ^ unit) * kSecret;
    hash ^= hash >> 32;
  }
  return static_cast<std::size_t>(hash);
}

}  // namespace orvik
