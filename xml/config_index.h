// Finding a child of a configuration key by name.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class TiXmlElement;

namespace orvik {

// The form in which tag names and names are compared: that of two texts is the same when
// CAtlStringA::CompareNoCase finds them equal.
std::u16string FoldedConfigName(std::string_view utf8);

// Whether the folded form of a text (null: of none) is `folded`.
bool HasFoldedName(const char* text, std::u16string_view folded);

enum class ConfigType : char16_t { kKey = u'k', kValue = u'v' };

// What a child is looked up by.
class ConfigChild {
 public:
  // The name ends at its first NUL.
  ConfigChild(ConfigType type, const char* name);
  bool Matches(const TiXmlElement* element) const;
  // The type's letter and the folded name.
  const std::u16string& text() const { return text_; }

 private:
  std::u16string text_;
};

// The children of every key with many of them, by folded name. A key is indexed when it is first
// searched; from then on the owner reports every element that it appends or removes. With other
// changes to the elements the index is wrong: a document that others may change has none.
class ConfigIndex {
 public:
  // The first child that matches, in document order; null when there is none.
  TiXmlElement* Find(TiXmlElement* parent, const ConfigChild& child);
  // After an element was appended to its parent.
  void Add(TiXmlElement* child);
  // Before an element that Find has found is destroyed with all that it holds.
  void Remove(TiXmlElement* child);

 private:
  // All children of one folded name in document order; those before `first` are gone.
  struct Namesakes {
    std::vector<TiXmlElement*> elements;
    std::size_t first = 0;
  };
  // Depends on a number that others cannot know, so that no file is made of names that collide.
  struct Hash {
    std::size_t operator()(std::u16string_view text) const;
  };
  using Children = std::unordered_map<std::u16string, Namesakes, Hash>;

  std::unordered_map<const TiXmlElement*, Children> keys_;
};

// The same as ConfigIndex::Find, by looking at one child after the other.
TiXmlElement* FindConfigChild(TiXmlElement* parent, const ConfigChild& child);

}  // namespace orvik
