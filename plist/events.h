// Conversion between values and events: `ValueBuilder` makes a value from the calls that a sink
// receives, and `ValueWalk` makes the calls of a sink from a value. Neither recurses, so that a
// small thread can read and write the deepest list.
//
//   ValueBuilder builder;                       ValueWalk walk(EntryOrder::kByKey, writer);
//   if (!ReadInto(builder)) return {};          if (!walk.Run(&value)) failure.path = walk.Path();
//   return builder.Take();
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plist/sink.h"
#include "plist/value.h"
#include "plist/xml.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// Adds each value at the present place: as the root, at the end of the open array, or under the key
// of the open dictionary. Returns false for a second root, for a value of a dictionary without a
// key, for a key without a value, and beyond kMaximumDepth open containers. The last of two equal
// keys wins.
class ValueBuilder final : public Sink {
 public:
  // The new value shares the memory of `holder`.
  bool String(const Text& text, const Value* holder = nullptr) override;
  bool Integer(plist::Integer value) override { return Add(value); }
  bool Real(double value, int width) override { return Add({value, width}); }
  bool Boolean(bool value) override { return Add(value); }
  bool Date(double seconds) override { return Add(Value::Date(seconds)); }
  bool Data(std::string_view bytes, const Bytes& holder) override;
  // `count` reserves memory; it may be wrong.
  bool OpenArray(std::size_t count) override;
  bool OpenDictionary(std::size_t count) override;
  bool Key(const Text& key, const Value* holder = nullptr) override;
  bool Close() override;
  // Keeps the entries as text, unless they are deeper here than in their text: then their depth
  // must be checked.
  Taking Dictionary(const XmlDictionary& dictionary) override;

  // Adds a finished value without checking its depth.
  bool Add(Value value);
  // Sets the key of the next value; it must be a string.
  bool SetKey(Value key);

  // Removes the key of a value that is lost.
  void DropKey() {
    if (!open_.empty()) open_.back().key = Value();
  }
  // Whether the innermost open container is a dictionary, and the number of open containers.
  bool in_dictionary() const { return !open_.empty() && open_.back().value.is_dictionary(); }
  std::size_t depth() const { return open_.size(); }

  // The finished root; no value while a container is open.
  Value Take() { return open_.empty() ? std::move(root_) : Value(); }

 private:
  struct Container {
    Value value;
    Value key;
  };

  bool HasPlace() const;
  bool Open(Value container);

  Value root_;
  std::vector<Container> open_;
};

// The order in which a walk visits the entries of a dictionary: the stored order, or the order of
// the UTF-16 units of their keys.
enum class EntryOrder { kStored, kByKey };

// Sends the tree of a value to a sink. A dictionary that is still text is first offered to the sink
// as text (Sink::Dictionary); its entries are made only if the sink wants them. Use an object for a
// single Run.
class ValueWalk {
 public:
  ValueWalk(EntryOrder order, Sink& sink) : order_(order), sink_(sink) {}

  // True if the sink took the whole value. Also false for a value that a property list cannot hold:
  // one with a kNone inside, or with containers nested deeper than kMaximumDepth.
  bool Run(const Value* root);

  // The value at which Run stopped: the keys and indices that lead to it, separated by "/", in
  // UTF-8.
  std::string Path() const;

 private:
  struct Entry {
    const Value* key;  // null for an element of an array
    const Value* value;
  };
  struct Container {
    bool is_dictionary;
    std::size_t first;
    std::size_t next;
  };

  bool Visit(const Value* value);
  bool OpenContainer(const Value* value);

  EntryOrder order_;
  Sink& sink_;
  // The entries of the open containers, the innermost last.
  std::vector<Entry> entries_;
  std::vector<Container> open_;
};

}  // namespace plist
}  // namespace orvik
