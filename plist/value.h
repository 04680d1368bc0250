// The value of a property list: a string, an integer, a real, a boolean, a date, data, an array or
// a dictionary with string keys. All code that reads, compares, changes or writes property lists
// uses this type.
//
//   type          C++ side                          kept
//   kNone         Value()                           no value; not allowed inside a container
//   kString       UTF-16 units, any sequence        lone surrogates and U+0000 included
//   kInteger      Integer                           -2^63 to 2^64 - 1
//   kReal         double                            every bit; a width of 4 or 8 bytes
//   kBoolean      bool
//   kDate         seconds since 2001-01-01 UTC      every bit of the double
//   kData         bytes
//   kArray        values                            in their order
//   kDictionary   values under strings              in the order in which the keys were first set
//
// Copying a value copies a reference. A change to one copy never shows in another: a container that
// several values share is copied, one level deep, when it is first changed. Threads may read the
// same value at once, and each may change its own copies.
//
// A dictionary from XML makes its entries on first use and keeps the text in memory until then.
//
// Two values are equal (operator==) if writing both gives the same file, apart from the order of
// dictionary entries. So an integer never equals a real, 0.0 does not equal -0.0, and all reals
// that are not a number are equal. Comparing takes time proportional to the smaller value and does
// not recurse.
//
// An accessor may be called only on a value of its type. Allocation failures throw std::bad_alloc.
#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

enum class Type : std::uint8_t {
  kNone,
  kString,
  kInteger,
  kReal,
  kBoolean,
  kDate,
  kData,
  kArray,
  kDictionary,
};

// The bits of a signed integer, or of an unsigned one beyond the signed range.
struct Integer {
  std::uint64_t bits = 0;
  bool is_unsigned = false;

  bool operator==(const Integer&) const = default;
};

// The shared bytes of a data value or of a file.
using Bytes = std::shared_ptr<const std::string>;

// A point in time of the system's clock.
using Time = std::chrono::sys_time<std::chrono::duration<double>>;

class Value;
class XmlDictionary;

// A string class with a view of its UTF-16 units, such as CAtlString.
template <class String>
concept HasUnits = requires(const String& string) {
  { string.View() } -> std::same_as<std::u16string_view>;
};

// The types of single characters, which would otherwise convert to numbers.
template <class T>
concept IsCharacterType = std::same_as<T, char> || std::same_as<T, wchar_t> ||
    std::same_as<T, char8_t> || std::same_as<T, char16_t> || std::same_as<T, char32_t>;

// A view of the units of a string: ISO 8859-1 bytes or UTF-16 units. The same text in both forms is
// equal.
class Text {
 public:
  // NOLINTBEGIN(google-explicit-constructor)
  Text(std::u16string_view units) : units_(units), is_wide_(true) {}
  Text(const std::u16string& units) : Text(std::u16string_view(units)) {}
  Text(const char16_t* units) : Text(std::u16string_view(units)) {}
  template <HasUnits String>
  Text(const String& string) : Text(string.View()) {}
  // NOLINTEND
  // Bytes below 0x80. `xml_element`, unless empty, is the element that the XML writer would make of
  // this text.
  static Text Ascii(std::string_view bytes, std::string_view xml_element = {});
  static Text Latin1(std::string_view bytes);

  // Whether the text is kept as UTF-16 units; otherwise as ISO 8859-1 bytes.
  bool is_wide() const { return is_wide_; }
  // True only for bytes that are all below 0x80; false for a wide text, even if it is ASCII.
  bool is_ascii() const { return is_ascii_; }
  std::string_view bytes() const { return bytes_; }     // only if not is_wide()
  std::u16string_view units() const { return units_; }  // only if is_wide()
  std::string_view xml_element() const { return xml_element_; }
  // The length in UTF-16 units, in either form.
  std::size_t size() const { return is_wide_ ? units_.size() : bytes_.size(); }
  char16_t operator[](std::size_t index) const {
    return is_wide_ ? units_[index] : static_cast<unsigned char>(bytes_[index]);
  }

  std::u16string ToUnits() const;
  // UTF-8 (RFC 3629). Unpaired surrogates become "?"; U+0000 is kept.
  std::string ToUtf8() const;

  // Compares the UTF-16 units: negative, 0 or positive.
  int Compare(const Text& other) const;
  bool operator==(const Text& other) const;
  // A hash of the units with a random key of the process, so it must not be stored. Equal texts
  // have equal hashes.
  std::uint32_t Hash() const;

 private:
  Text() = default;

  std::string_view bytes_;
  std::u16string_view units_;
  std::string_view xml_element_;
  bool is_wide_ = false;
  bool is_ascii_ = false;
};

class Value {
 public:
  struct Entry;
  class Entries;

  Value() = default;
  Value(const Value& other) noexcept;
  Value(Value&& other) noexcept : bits_(other.bits_), type_(other.type_), detail_(other.detail_) {
    other.type_ = Type::kNone;
  }
  Value& operator=(const Value& other) noexcept;
  Value& operator=(Value&& other) noexcept;
  ~Value() {
    if (type_ == Type::kString || type_ >= Type::kData) Release();
  }

  // NOLINTBEGIN(google-explicit-constructor): these conversions keep the value.
  Value(std::u16string_view text);
  Value(const std::u16string& text) : Value(std::u16string_view(text)) {}
  Value(const char16_t* text) : Value(std::u16string_view(text)) {}
  template <HasUnits String>
  Value(const String& text) : Value(text.View()) {}
  template <std::same_as<bool> Boolean>
  Value(Boolean value) : bits_(value ? 1 : 0), type_(Type::kBoolean) {}
  template <std::integral Number>
  requires(!std::same_as<Number, bool> && !IsCharacterType<Number>) Value(Number number)
      : Value(Integer{static_cast<std::uint64_t>(number),
                      std::unsigned_integral<Number> && static_cast<std::int64_t>(number) < 0}) {}
  Value(double number) : Value(number, 8) {}
  Value(Integer integer)
      : bits_(integer.bits), type_(Type::kInteger), detail_(integer.is_unsigned ? 1 : 0) {}
  // NOLINTEND
  Value(const char*) = delete;  // encoding unclear: use FromUtf8 or Ascii
  template <IsCharacterType Character>
  Value(Character) = delete;  // meaning unclear: a text of one unit or a number
  Value(std::nullptr_t) = delete;

  // A real that has 4 or 8 bytes in the binary form.
  Value(double number, int width);
  static Value String(const Text& text);
  // Nothing when the bytes are not UTF-8 (RFC 3629).
  static std::optional<Value> FromUtf8(std::string_view bytes);
  // `seconds` counts from 2001-01-01 00:00 UTC and may be any double. A `time` is rounded to the
  // nearest double.
  static Value Date(double seconds);
  static Value Date(Time time);
  // Takes over or shares the bytes. `bytes` must not be null.
  static Value Data(std::string bytes) {
    return Data(std::make_shared<const std::string>(std::move(bytes)));
  }
  static Value Data(Bytes bytes);
  // Elements of kNone are accepted, but cannot be written (FindFault, forms.h).
  static Value Array(std::vector<Value> elements = {});
  // Empty, with room for `capacity` entries.
  static Value Dictionary(std::size_t capacity = 0);
  // The last of two equal keys wins.
  static Value Dictionary(std::initializer_list<std::pair<plist::Text, Value>> entries);
  // Makes its entries on first use.
  static Value Dictionary(XmlDictionary content);

  Type type() const { return type_; }
  explicit operator bool() const { return type_ != Type::kNone; }
  bool is_string() const { return type_ == Type::kString; }
  bool is_array() const { return type_ == Type::kArray; }
  bool is_dictionary() const { return type_ == Type::kDictionary; }

  // The text of a string. The view is valid as long as a value refers to the same memory.
  plist::Text text() const;
  Integer integer() const { return {bits_, detail_ != 0}; }
  double real() const;
  int width() const { return detail_; }  // of a real
  bool boolean() const { return bits_ != 0; }
  double date() const { return real(); }
  Time time() const;
  const Bytes& data() const;

  // The elements of an array. The reference is valid until the array changes or ends. For a
  // temporary value, such as the result of a read, the elements are returned by value.
  const std::vector<Value>& elements() const&;
  std::vector<Value> elements() && { return std::as_const(*this).elements(); }
  // Adds an element at the end.
  void Append(Value element);
  // The elements, to be changed. Shared elements are copied first.
  std::vector<Value>& ChangeElements();

  // The number of entries of a dictionary, or of elements of an array.
  std::size_t count() const;
  // The entries of a dictionary, in the order in which their keys were first set. Valid until the
  // dictionary changes or ends. The entries of a temporary value, such as the result of a read,
  // keep it alive.
  Entries entries() const&;
  Entries entries() &&;
  // The value of a key, or null without such a key. Valid until the dictionary changes or ends, so
  // it cannot be called on a temporary value. Takes constant time, whatever the keys are.
  const Value* Find(const plist::Text& key) const&;
  const Value* Find(const plist::Text& key) && = delete;
  // Sets the value of a key. An existing key keeps its place in the order; a new key is the last.
  void Set(const plist::Text& key, Value value);
  // The same, but shares the memory of a string value as the key.
  void SetSharing(Value key, Value value);
  // Removes a key; false when there is no such key.
  bool Remove(const plist::Text& key);
  // The value of a key, to be changed in place; null without such a key. The pointer is valid until
  // the next change of this dictionary. A shared dictionary is copied first.
  Value* Change(const plist::Text& key);
  // The text of a dictionary whose entries were not used yet; otherwise null.
  std::shared_ptr<const XmlDictionary> deferred() const;

  // Whether both values refer to the same memory, or are the same simple value. Then they are
  // equal. False does not mean that they differ.
  bool IsSharedWith(const Value& other) const {
    return type_ == other.type_ && bits_ == other.bits_ && detail_ == other.detail_;
  }

  friend bool operator==(const Value& one, const Value& other);

 private:
  struct Node;
  struct StringNode;
  struct DataNode;
  struct ArrayNode;
  struct DictionaryNode;
  class Comparison;

  Value(Type type, Node* node);
  template <class Kind>
  Kind* node() const;
  void Release() noexcept;
  static void Destroy(Node* node) noexcept;
  ArrayNode* OwnArray();
  DictionaryNode* OwnDictionary();
  const DictionaryNode* Loaded() const;

  // The bits of a number, boolean or date; for other types the address of the node.
  std::uint64_t bits_ = 0;
  Type type_ = Type::kNone;
  std::uint8_t detail_ = 0;  // the width of a real; whether an integer is unsigned
};

bool operator==(const Value& one, const Value& other);

struct Value::Entry {
  Value key;  // a string; no value where an entry was removed
  Value value;
};

// The entries of a dictionary in their order.
class Value::Entries {
 public:
  class Iterator {
   public:
    Iterator(const Entry* at, const Entry* end) : at_(at), end_(end) { Skip(); }
    const Entry& operator*() const { return *at_; }
    const Entry* operator->() const { return at_; }
    Iterator& operator++() {
      ++at_;
      Skip();
      return *this;
    }
    bool operator==(const Iterator& other) const { return at_ == other.at_; }

   private:
    void Skip() {
      while (at_ != end_ && !at_->key) ++at_;
    }

    const Entry* at_;
    const Entry* end_;
  };

  // `owner` owns the entries; no value when they outlive this object.
  explicit Entries(std::span<const Entry> all, Value owner = {})
      : owner_(std::move(owner)), all_(all) {}
  Iterator begin() const { return {all_.data(), all_.data() + all_.size()}; }
  Iterator end() const { return {all_.data() + all_.size(), all_.data() + all_.size()}; }

 private:
  Value owner_;
  std::span<const Entry> all_;
};

}  // namespace plist
}  // namespace orvik
