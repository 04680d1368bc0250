#include "xml/config_index.h"

#include <optional>
#include <random>

#include <tinyxml.h>

#include "text/case_mapping.h"
#include "text/mac_roman.h"

namespace orvik {
namespace {

constexpr int kFewChildren = 16;  // looked at one by one

std::optional<ConfigType> TypeOf(const TiXmlElement* element) {
  if (HasFoldedName(element->Value(), u"key")) return ConfigType::kKey;
  if (HasFoldedName(element->Value(), u"value")) return ConfigType::kValue;
  return std::nullopt;
}

// What the element is found by; nothing for one that no look-up finds.
std::optional<ConfigChild> ChildOf(const TiXmlElement* element) {
  const std::optional<ConfigType> type = TypeOf(element);
  const char* const name = element->Attribute("name");
  if (!type || name == nullptr) return std::nullopt;
  return ConfigChild(*type, name);
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

TiXmlElement* FindConfigChild(TiXmlElement* parent, const ConfigChild& child) {
  TiXmlElement* element = parent->FirstChildElement();
  while (element != nullptr && !child.Matches(element)) element = element->NextSiblingElement();
  return element;
}

TiXmlElement* ConfigIndex::Find(TiXmlElement* parent, const ConfigChild& child) {
  auto key = keys_.find(parent);
  if (key == keys_.end()) {
    TiXmlElement* element = parent->FirstChildElement();
    for (int i = 0; element != nullptr && i < kFewChildren; ++i) {
      if (child.Matches(element)) return element;
      element = element->NextSiblingElement();
    }
    if (element == nullptr) return nullptr;
    key = keys_.try_emplace(parent).first;
    for (element = parent->FirstChildElement(); element != nullptr;
         element = element->NextSiblingElement()) {
      Add(element);
    }
  }
  const auto found = key->second.find(child.text());
  return found == key->second.end() ? nullptr : found->second.elements[found->second.first];
}

void ConfigIndex::Add(TiXmlElement* child) {
  const auto key = keys_.find(child->Parent()->ToElement());
  if (key == keys_.end()) return;
  if (const std::optional<ConfigChild> name = ChildOf(child)) {
    key->second[name->text()].elements.push_back(child);
  }
}

void ConfigIndex::Remove(TiXmlElement* child) {
  if (keys_.empty()) return;
  if (const auto key = keys_.find(child->Parent()->ToElement()); key != keys_.end()) {
    const auto found = key->second.find(ChildOf(child)->text());
    Namesakes& namesakes = found->second;
    if (++namesakes.first == namesakes.elements.size()) key->second.erase(found);
  }
  // The keys below it go with it, and others may come to lie at their addresses.
  const TiXmlElement* element = child;
  for (;;) {
    keys_.erase(element);
    const TiXmlElement* next = element->FirstChildElement();
    while (next == nullptr) {
      if (element == child) return;
      next = element->NextSiblingElement();
      if (next == nullptr) element = element->Parent()->ToElement();
    }
    element = next;
  }
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
