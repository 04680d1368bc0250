#include "plist/value.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <mutex>
#include <new>

#include "host/reference_count.h"
#include "plist/entry_index.h"
#include "plist/events.h"
#include "plist/xml.h"
#include "text/transcoding.h"

namespace orvik::plist {

namespace {

constexpr double kSecondsFrom1970To2001 = 978307200;

constexpr std::size_t kNowhere = EntryIndex::kNowhere;

// Guards the entries of all dictionaries while they are made on first use. Making them makes
// further such dictionaries, but does not use their entries.
std::mutex deferral_mutex;

template <class One, class Other>
int Order(const One* one, std::size_t one_size, const Other* other, std::size_t other_size) {
  const std::size_t common = std::min(one_size, other_size);
  for (std::size_t i = 0; i < common; ++i) {
    if (one[i] != other[i]) return one[i] < other[i] ? -1 : 1;
  }
  return one_size < other_size ? -1 : one_size > other_size ? 1 : 0;
}

template <class Call>
auto WithUnits(const Text& text, Call call) {
  return text.is_wide() ? call(text.units().data())
                        : call(reinterpret_cast<const unsigned char*>(text.bytes().data()));
}

bool AreSameReals(double one, double other) {
  return (std::isnan(one) && std::isnan(other)) ||
         std::bit_cast<std::uint64_t>(one) == std::bit_cast<std::uint64_t>(other);
}

}  // namespace

Text Text::Ascii(std::string_view bytes, std::string_view xml_element) {
  Text text;
  text.bytes_ = bytes;
  text.xml_element_ = xml_element;
  text.is_ascii_ = true;
  return text;
}

Text Text::Latin1(std::string_view bytes) {
  Text text;
  text.bytes_ = bytes;
  text.is_ascii_ = IsAscii(bytes);
  return text;
}

std::u16string Text::ToUnits() const {
  if (is_wide_) return std::u16string(units_);
  std::u16string units(bytes_.size(), u'\0');
  WidenLatin1(bytes_.data(), units.data(), units.size());
  return units;
}

std::string Text::ToUtf8() const {
  if (is_ascii_) return std::string(bytes_);
  const std::u16string widened = is_wide_ ? std::u16string() : ToUnits();
  const std::u16string_view units = is_wide_ ? units_ : std::u16string_view(widened);
  std::string bytes(Utf8Length(units), '\0');
  const char16_t* source = units.data();
  const char16_t* const end = source + units.size();
  char* target = bytes.data();
  while (EncodeUtf8(source, end, target, bytes.data() + bytes.size()) != TranscodingStop::kDone) {
    *target++ = '?';
    ++source;
  }
  return bytes;
}

int Text::Compare(const Text& other) const {
  if (!is_wide_ && !other.is_wide_) return bytes_.compare(other.bytes_);
  return WithUnits(*this, [&](const auto* one) {
    return WithUnits(other, [&](const auto* two) { return Order(one, size(), two, other.size()); });
  });
}

bool Text::operator==(const Text& other) const {
  if (size() != other.size()) return false;
  if (!is_wide_ && !other.is_wide_) return bytes_ == other.bytes_;
  if (is_wide_ && other.is_wide_) return units_ == other.units_;
  return Compare(other) == 0;
}

std::uint32_t Text::Hash() const {
  return is_wide_ ? HashOfUnits(units_) : HashOfUnits(bytes_);
}

// A counted block of memory, for values other than numbers, booleans and dates. A node with a
// single reference belongs to one value and may change; a shared node is copied first.
struct Value::Node {
  explicit Node(Type kind) : type(kind) {}
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;

  ReferenceCount references;
  Type type;

 protected:
  ~Node() = default;
};

// The units follow the node in the same block of memory.
struct Value::StringNode : Node {
  StringNode(bool wide, bool ascii, std::size_t length)
      : Node(Type::kString), is_wide(wide), is_ascii(ascii), size(length) {}

  static StringNode* New(bool wide, bool ascii, std::size_t length) {
    const std::size_t size = length * (wide ? sizeof(char16_t) : 1);
    return new (::operator new(sizeof(StringNode) + size)) StringNode(wide, ascii, length);
  }
  char* content() { return reinterpret_cast<char*>(this + 1); }
  const char* content() const { return reinterpret_cast<const char*>(this + 1); }

  Text text() const {
    if (is_wide) return std::u16string_view(reinterpret_cast<const char16_t*>(content()), size);
    const std::string_view bytes(content(), size);
    return is_ascii ? Text::Ascii(bytes) : Text::Latin1(bytes);
  }
  std::uint32_t Hash() const {
    std::uint32_t known = hash.load(std::memory_order_relaxed);
    if (known == 0) hash.store(known = text().Hash(), std::memory_order_relaxed);
    return known;
  }

  bool is_wide;
  bool is_ascii;
  mutable std::atomic<std::uint32_t> hash{0};  // 0 until it is computed
  std::size_t size;
};

struct Value::DataNode : Node {
  explicit DataNode(Bytes content) : Node(Type::kData), bytes(std::move(content)) {}
  Bytes bytes;
};

struct Value::ArrayNode : Node {
  explicit ArrayNode(std::vector<Value> all) : Node(Type::kArray), elements(std::move(all)) {}
  std::vector<Value> elements;
};

struct Value::DictionaryNode : Node {
  DictionaryNode() : Node(Type::kDictionary) {}

  static std::uint32_t HashOf(const Entry& entry) { return entry.key.node<StringNode>()->Hash(); }

  // The index of the key in `entries`. Compares hashes first, because most keys differ there, and a
  // string keeps its hash.
  std::size_t Find(const Text& key, std::uint32_t hash) const {
    return index.Find(entries.size(), hash, [&](std::size_t at) {
      const Value& own = entries[at].key;
      return own && own.node<StringNode>()->Hash() == hash && own.text() == key;
    });
  }

  // Drops removed entries and makes room for `capacity` entries.
  void Rebuild(std::size_t capacity) {
    std::erase_if(entries, [](const Entry& entry) { return !entry.key; });
    entries.reserve(capacity);
    index.Rebuild(capacity);
    for (std::size_t i = 0; i < entries.size(); ++i) index.Place(i, HashOf(entries[i]));
  }

  void Set(Value key, Value value) {
    const std::size_t found = Find(key.text(), key.node<StringNode>()->Hash());
    if (found != kNowhere) {
      entries[found].value = std::move(value);
      return;
    }
    if (entries.size() >= index.room()) Rebuild(2 * count);
    entries.push_back({std::move(key), std::move(value)});
    ++count;
    index.Place(entries.size() - 1, HashOf(entries.back()));
  }

  std::vector<Entry> entries;
  EntryIndex index;
  std::size_t count = 0;
  // The text of the entries, until they are first used.
  std::shared_ptr<const XmlDictionary> content;
  std::atomic<bool> is_deferred{false};
};

template <class Kind>
Kind* Value::node() const {
  return static_cast<Kind*>(std::bit_cast<Node*>(static_cast<std::uintptr_t>(bits_)));
}

Value::Value(Type type, Node* node) : bits_(std::bit_cast<std::uintptr_t>(node)), type_(type) {}

Value::Value(const Value& other) noexcept
    : bits_(other.bits_), type_(other.type_), detail_(other.detail_) {
  if (type_ == Type::kString || type_ >= Type::kData) node<Node>()->references.Add();
}

Value& Value::operator=(const Value& other) noexcept {
  return *this = Value(other);
}

Value& Value::operator=(Value&& other) noexcept {
  std::swap(bits_, other.bits_);
  std::swap(type_, other.type_);
  std::swap(detail_, other.detail_);
  return *this;
}

void Value::Release() noexcept {
  Node* const own = node<Node>();
  if (own->references.Drop() == 0) Destroy(own);
}

// Values may be nested deeper than the stack of a small thread allows. So the containers inside a
// container that is being destroyed wait in a list.
void Value::Destroy(Node* node) noexcept {
  static thread_local std::vector<Node*>* waiting = nullptr;
  switch (node->type) {
    case Type::kString:
      static_cast<StringNode*>(node)->~StringNode();
      ::operator delete(node);
      return;
    case Type::kData:
      delete static_cast<DataNode*>(node);
      return;
    default:
      break;
  }
  const auto destroy = [](Node* container) {
    if (container->type == Type::kArray) {
      delete static_cast<ArrayNode*>(container);
    } else {
      delete static_cast<DictionaryNode*>(container);
    }
  };
  if (waiting != nullptr) {
    try {
      waiting->push_back(node);
    } catch (const std::bad_alloc&) {
      destroy(node);  // recursion allocates no memory
    }
    return;
  }
  std::vector<Node*> list;
  waiting = &list;
  destroy(node);
  while (!list.empty()) {
    Node* const next = list.back();
    list.pop_back();
    destroy(next);
  }
  waiting = nullptr;
}

Value::Value(std::u16string_view text) : Value(String(text)) {}

Value::Value(double number, int width)
    : bits_(std::bit_cast<std::uint64_t>(number)),
      type_(Type::kReal),
      detail_(static_cast<std::uint8_t>(width)) {}

Value Value::String(const plist::Text& text) {
  if (!text.is_wide()) {
    StringNode* const string = StringNode::New(false, text.is_ascii(), text.size());
    if (text.size() > 0) std::memcpy(string->content(), text.bytes().data(), text.size());
    return {Type::kString, string};
  }
  const std::u16string_view units = text.units();
  const char16_t all = OrOfUnits(units);
  StringNode* const string = StringNode::New(all >= 0x100, all < 0x80, units.size());
  if (all < 0x100) {
    NarrowLatin1(units.data(), string->content(), units.size());
  } else {
    std::memcpy(string->content(), units.data(), units.size() * sizeof(char16_t));
  }
  return {Type::kString, string};
}

std::optional<Value> Value::FromUtf8(std::string_view bytes) {
  if (IsAscii(bytes)) return String(plist::Text::Ascii(bytes));
  const std::ptrdiff_t size = Utf16Length(bytes);
  if (size < 0) return std::nullopt;
  std::u16string units(static_cast<std::size_t>(size), u'\0');
  const char* source = bytes.data();
  char16_t* target = units.data();
  DecodeUtf8(source, source + bytes.size(), target, target + units.size());
  return String(std::u16string_view(units));
}

Value Value::Date(double seconds) {
  Value date(seconds, 8);
  date.type_ = Type::kDate;
  return date;
}

Value Value::Date(Time time) {
  return Date(time.time_since_epoch().count() - kSecondsFrom1970To2001);
}

Value Value::Data(Bytes bytes) {
  return {Type::kData, new DataNode(std::move(bytes))};
}

Value Value::Array(std::vector<Value> elements) {
  return {Type::kArray, new ArrayNode(std::move(elements))};
}

Value Value::Dictionary(std::size_t capacity) {
  auto* const dictionary = new DictionaryNode;
  Value value(Type::kDictionary, dictionary);
  dictionary->Rebuild(capacity);
  return value;
}

Value Value::Dictionary(std::initializer_list<std::pair<plist::Text, Value>> entries) {
  Value dictionary = Dictionary(entries.size());
  for (const auto& [key, value] : entries) dictionary.Set(key, value);
  return dictionary;
}

Value Value::Dictionary(XmlDictionary content) {
  auto* const dictionary = new DictionaryNode;
  Value value(Type::kDictionary, dictionary);
  dictionary->content = std::make_shared<const XmlDictionary>(std::move(content));
  dictionary->is_deferred.store(true, std::memory_order_relaxed);
  return value;
}

plist::Text Value::text() const {
  return node<const StringNode>()->text();
}

double Value::real() const {
  return std::bit_cast<double>(bits_);
}

Time Value::time() const {
  return Time(std::chrono::duration<double>(date() + kSecondsFrom1970To2001));
}

const Bytes& Value::data() const {
  return node<const DataNode>()->bytes;
}

const std::vector<Value>& Value::elements() const& {
  return node<const ArrayNode>()->elements;
}

void Value::Append(Value element) {
  OwnArray()->elements.push_back(std::move(element));
}

std::vector<Value>& Value::ChangeElements() {
  return OwnArray()->elements;
}

Value::ArrayNode* Value::OwnArray() {
  if (node<Node>()->references.IsShared()) *this = Array(elements());
  return node<ArrayNode>();
}

// The node with its entries. A single lock guards the first use of all dictionaries, so that
// threads which read the same value find the complete entries; later uses cost one atomic load.
const Value::DictionaryNode* Value::Loaded() const {
  auto* const own = node<DictionaryNode>();
  if (!own->is_deferred.load(std::memory_order_acquire)) return own;
  const std::lock_guard lock(deferral_mutex);
  if (!own->is_deferred.load(std::memory_order_relaxed)) return own;
  ValueBuilder builder;
  own->content->Send(builder);
  const Value made = builder.Take();
  // The text was checked when it was read, so it always gives a dictionary.
  auto* const other = made.node<DictionaryNode>();
  own->entries.swap(other->entries);
  std::swap(own->index, other->index);
  own->count = other->count;
  own->content.reset();
  own->is_deferred.store(false, std::memory_order_release);
  return own;
}

// The node with its entries, which only this value refers to. A copy is one level deep: the values
// inside stay shared until they change.
Value::DictionaryNode* Value::OwnDictionary() {
  const DictionaryNode* const present = Loaded();
  if (present->references.IsShared()) {
    auto* const copy = new DictionaryNode;
    const Value shared = std::exchange(*this, Value(Type::kDictionary, copy));
    copy->entries = present->entries;
    copy->count = present->count;
    copy->Rebuild(copy->count);
  }
  return node<DictionaryNode>();
}

std::size_t Value::count() const {
  return type_ == Type::kArray ? elements().size() : Loaded()->count;
}

Value::Entries Value::entries() const& {
  return Entries(Loaded()->entries);
}

Value::Entries Value::entries() && {
  const std::span<const Entry> all = Loaded()->entries;
  return Entries(all, std::move(*this));
}

const Value* Value::Find(const plist::Text& key) const& {
  const DictionaryNode* const dictionary = Loaded();
  if (dictionary->count == 0) return nullptr;
  const std::size_t found = dictionary->Find(key, key.Hash());
  return found == kNowhere ? nullptr : &dictionary->entries[found].value;
}

void Value::Set(const plist::Text& key, Value value) {
  SetSharing(String(key), std::move(value));
}

void Value::SetSharing(Value key, Value value) {
  OwnDictionary()->Set(std::move(key), std::move(value));
}

bool Value::Remove(const plist::Text& key) {
  // Looks for the key first, so that nothing is copied for a missing key.
  if (Find(key) == nullptr) return false;
  DictionaryNode* const dictionary = OwnDictionary();
  const std::size_t found = dictionary->Find(key, key.Hash());
  // The slot still points to the entry, so that searches continue after it.
  dictionary->entries[found] = {};
  --dictionary->count;
  return true;
}

Value* Value::Change(const plist::Text& key) {
  if (Find(key) == nullptr) return nullptr;
  DictionaryNode* const dictionary = OwnDictionary();
  return &dictionary->entries[dictionary->Find(key, key.Hash())].value;
}

std::shared_ptr<const XmlDictionary> Value::deferred() const {
  const auto* const own = node<DictionaryNode>();
  if (!own->is_deferred.load(std::memory_order_acquire)) return nullptr;
  const std::lock_guard lock(deferral_mutex);
  return own->content;
}

// Compares pairs of containers from a list.
class Value::Comparison {
 public:
  bool Run(const Value& one, const Value& other) {
    if (!Compare(one, other)) return false;
    while (!open_.empty()) {
      const auto [a, b] = open_.back();
      open_.pop_back();
      if (!(a->is_array() ? CompareElements(*a, *b) : CompareEntries(*a, *b))) return false;
    }
    return true;
  }

 private:
  // Compares simple values at once and adds pairs of containers to the list. Values that share
  // memory are equal and need no comparison, so comparing two versions of a large tree is cheap.
  bool Compare(const Value& one, const Value& other) {
    if (one.type_ != other.type_) return false;
    if (one.type_ != Type::kReal && one.IsSharedWith(other)) return true;
    switch (one.type_) {
      case Type::kNone:
        return true;
      case Type::kString:
        return one.text() == other.text();
      case Type::kReal:
        return AreSameReals(one.real(), other.real());
      case Type::kData:
        return *one.data() == *other.data();
      case Type::kInteger:
      case Type::kBoolean:
      case Type::kDate:
        return false;
      case Type::kArray:
      case Type::kDictionary:
        open_.emplace_back(&one, &other);
        return true;
    }
    return false;
  }

  bool CompareElements(const Value& one, const Value& other) {
    const std::vector<Value>& elements = one.elements();
    const std::vector<Value>& others = other.elements();
    return std::equal(elements.begin(), elements.end(), others.begin(), others.end(),
                      [this](const Value& a, const Value& b) { return Compare(a, b); });
  }

  bool CompareEntries(const Value& one, const Value& other) {
    if (one.count() != other.count()) return false;
    const DictionaryNode* const others = other.Loaded();
    for (const Entry& entry : one.entries()) {
      const std::size_t found =
          others->Find(entry.key.text(), entry.key.node<StringNode>()->Hash());
      if (found == kNowhere || !Compare(entry.value, others->entries[found].value)) return false;
    }
    return true;
  }

  std::vector<std::pair<const Value*, const Value*>> open_;
};

bool operator==(const Value& one, const Value& other) {
  return Value::Comparison().Run(one, other);
}

}  // namespace orvik::plist
