// Finding a child of a configuration key by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

class TiXmlElement;
class TiXmlNode;

namespace orvik {

// The form in which tag names and names are compared: that of two texts is the same when
// CAtlStringA::CompareNoCase finds them equal.
std::u16string FoldedConfigName(std::string_view utf8);

// Whether the folded form of a text (null: of none) is `folded`.
bool HasFoldedName(const char* text, std::u16string_view folded);

enum class ConfigType : char16_t { kKey = u'k', kValue = u'v' };

// The type and the name by which a child is found.
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
// searched. From then on the owner appends and removes through the index.
//
// Others may change the elements, too, once they have one in hand (MayHaveChanged). The index then
// goes over the children of a key before it relies on what it knows of them. It notices at any time
// that an element was destroyed or appended, and that a found one has got another name. A key with
// few children, or with children that are not ConfigElements, is never indexed.
class ConfigIndex {
 public:
  // The first child that matches, in document order; null when there is none.
  TiXmlElement* Find(TiXmlElement* parent, const ConfigChild& child);
  // Appends the element to its parent, which takes it over.
  void Append(TiXmlElement* parent, TiXmlElement* child);
  // Destroys an element that Find has found, with all that it holds.
  void Remove(TiXmlElement* child);
  // To be called when others get an element: they may change all of the document.
  void MayHaveChanged() { ++changes_; }
  bool is_shared() const { return changes_ != 0; }
  // To be called when an element is destroyed, of which only the address counts.
  void Forget(const TiXmlElement* element);

 private:
  static constexpr int kFewChildren = 16;         // looked at one by one
  static constexpr int kFewSharedChildren = 128;  // the same, when others may change them

  // A child as it was when it was last looked at; null: removed.
  struct Child {
    TiXmlElement* element;
    std::size_t hash;  // of its tag and name as they are spelled
  };
  // The places in Key::children of all children of one folded name; those before `first` are gone.
  struct Namesakes {
    std::vector<std::size_t> places;
    std::size_t first = 0;
  };
  // Depends on a number that others cannot know, so that no file is made of names that collide.
  struct Hash {
    std::size_t operator()(std::u16string_view text) const;
  };
  struct Key {
    std::vector<Child> children;  // in document order
    std::unordered_map<std::u16string, Namesakes, Hash> names;
    std::size_t removed = 0;
    // When the children were last looked at.
    std::uint64_t changes = 0;
    const TiXmlNode* last = nullptr;
  };

  // Null for a key that has no index, or one that no longer holds.
  Key* KnownKey(const TiXmlElement* parent);
  // Null for a key that cannot have one.
  Key* NewKey(const TiXmlElement* parent);
  bool Read(const TiXmlElement* parent, Key& key) const;
  bool IsAsRead(const TiXmlElement* parent, const Key& key) const;
  static void Add(Key& key, TiXmlElement* child);

  std::unordered_map<const TiXmlNode*, Key> keys_;
  std::uint64_t changes_ = 0;
  const TiXmlElement* removing_ = nullptr;  // by Remove
};

// The first of an element and the siblings behind it that matches; null for null.
TiXmlElement* FindConfigChild(TiXmlElement* element, const ConfigChild& child);

}  // namespace orvik
