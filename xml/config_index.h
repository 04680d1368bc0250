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

// The form in which tag names and names are compared: two texts have the same form if
// CAtlStringA::CompareNoCase finds them equal.
std::u16string FoldedConfigName(std::string_view utf8);

// Whether the folded form of `text` is `folded`; false for a null text.
bool HasFoldedName(const char* text, std::u16string_view folded);

enum class ConfigType : char16_t { kKey = u'k', kValue = u'v' };

// The type and name of a child, by which it is found.
class ConfigChild {
 public:
  // The name ends at its first NUL.
  ConfigChild(ConfigType type, const char* name);
  bool Matches(const TiXmlElement* element) const;
  // The letter of the type, then the folded name.
  const std::u16string& text() const { return text_; }

 private:
  std::u16string text_;
};

// The children of every key with many of them, by folded name. A key is indexed when it is first
// searched. From then on the owner appends and removes through the index.
//
// A caller that has got an element may change the document, too (MayHaveChanged). Then the index
// compares the children of a key with its data before it uses them. It always notices that an
// element was destroyed or appended, and that the element found has another name. A key with few
// children, or with children other than ConfigElements, is never indexed.
class ConfigIndex {
 public:
  // The first child that matches, in document order; null if there is none.
  TiXmlElement* Find(TiXmlElement* parent, const ConfigChild& child);
  // Appends the element to its parent, which takes it over.
  void Append(TiXmlElement* parent, TiXmlElement* child);
  // Destroys an element that Find has returned, with all its content.
  void Remove(TiXmlElement* child);
  // Call this when a caller gets an element: the caller may change the whole document.
  void MayHaveChanged() { ++changes_; }
  bool is_shared() const { return changes_ != 0; }
  // Call this when an element is destroyed; only its address is used.
  void Forget(const TiXmlElement* element);

 private:
  static constexpr int kFewChildren = 16;         // searched without an index
  static constexpr int kFewSharedChildren = 128;  // the same, if the caller may change them

  // A child as it was at the last comparison; null: removed.
  struct Child {
    TiXmlElement* element;
    std::size_t hash;  // of its tag and name as spelled
  };
  // The places in Key::children of all children of one folded name; those before `first` are
  // removed.
  struct Namesakes {
    std::vector<std::size_t> places;
    std::size_t first = 0;
  };
  // Depends on a secret number, so that no file can be made of names with equal hashes.
  struct Hash {
    std::size_t operator()(std::u16string_view text) const;
  };
  struct Key {
    std::vector<Child> children;  // in document order
    std::unordered_map<std::u16string, Namesakes, Hash> names;
    std::size_t removed = 0;
    // The state of the document when the children were last compared.
    std::uint64_t changes = 0;
    const TiXmlNode* last = nullptr;
  };

  // Null for a key without an index, and for an index that does not fit the document any more.
  Key* KnownKey(const TiXmlElement* parent);
  // Null for a key that cannot be indexed.
  Key* NewKey(const TiXmlElement* parent);
  bool Read(const TiXmlElement* parent, Key& key) const;
  bool IsAsRead(const TiXmlElement* parent, const Key& key) const;
  static void Add(Key& key, TiXmlElement* child);

  std::unordered_map<const TiXmlNode*, Key> keys_;
  std::uint64_t changes_ = 0;
  const TiXmlElement* removing_ = nullptr;  // the element that Remove destroys
};

// The first match among `element` and the siblings behind it; null for null.
TiXmlElement* FindConfigChild(TiXmlElement* element, const ConfigChild& child);

}  // namespace orvik
