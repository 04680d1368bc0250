// Between trees and sinks, for any kind of tree: `Builder` makes a tree from events, `Walk` makes
// events from a tree. Both are loops; neither recurses.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "plist/sink.h"
#include "plist/xml.h"

namespace orvik::plist {

// Adds each value at the place that was reached: as the root, at the end of the open array, or
// under the key of the open dictionary. Answers false if there is no such place: a second root, a
// dictionary without a key, a key without a value, or containers nested too deep.
//
// Maker has a type Node, which is empty when default-constructed and moves, and:
//   Node String(text, holder), Key(text, holder), Integer(...), Real(...), Boolean(...), Date(...),
//        Data(bytes, holder), Array(count), Dictionary(count), Deferred(xml_dictionary)
//   void Append(Node& array, Node), Put(Node& dictionary, Node key, Node value)
//   Text KeyText(const Node&)
template <class Maker>
class Builder : public Sink {
 public:
  using Node = typename Maker::Node;

  explicit Builder(Maker maker = {}) : maker_(std::move(maker)) {}

  bool String(const Text& text, const Value* holder = nullptr) override {
    return Add(maker_.String(text, holder));
  }
  bool Integer(plist::Integer value) override { return Add(maker_.Integer(value)); }
  bool Real(double value, int width) override { return Add(maker_.Real(value, width)); }
  bool Boolean(bool value) override { return Add(maker_.Boolean(value)); }
  bool Date(double seconds) override { return Add(maker_.Date(seconds)); }
  bool Data(std::string_view bytes, const Bytes& holder) override {
    return Add(maker_.Data(bytes, holder));
  }
  bool OpenArray(std::size_t count) override { return Open(false, count); }
  bool OpenDictionary(std::size_t count) override { return Open(true, count); }

  bool Key(const Text& key, const Value* holder = nullptr) override {
    return SetKey(maker_.Key(key, holder));
  }
  bool SetKey(Node key) {
    if (!in_dictionary() || open_.back().key || !key) return false;
    open_.back().key = std::move(key);
    return true;
  }

  bool Close() override {
    if (open_.empty() || open_.back().key) return false;
    Node finished = std::move(open_.back().node);
    open_.pop_back();
    return Add(std::move(finished));
  }

  // Stays XML unless it lies deeper here than in its text: then its own depth must be checked.
  Taking Dictionary(const XmlDictionary& dictionary) override {
    if (static_cast<std::size_t>(dictionary.depth()) < open_.size()) return Taking::kWantsEntries;
    return Add(maker_.Deferred(dictionary)) ? Taking::kTaken : Taking::kFailed;
  }

  // Adds a finished node.
  bool Add(Node node) {
    if (!node || !HasPlace()) return false;
    if (open_.empty()) {
      root_ = std::move(node);
    } else if (Container& container = open_.back(); container.is_dictionary) {
      maker_.Put(container.node, std::exchange(container.key, Node()), std::move(node));
    } else {
      maker_.Append(container.node, std::move(node));
    }
    return true;
  }

  // Forgets a key whose value is lost.
  void DropKey() {
    if (!open_.empty()) open_.back().key = Node();
  }
  std::size_t depth() const { return open_.size(); }
  bool has_key() const { return !open_.empty() && open_.back().key; }
  bool in_dictionary() const { return !open_.empty() && open_.back().is_dictionary; }

  // The finished root, or an empty node.
  Node Take() { return open_.empty() ? std::move(root_) : Node(); }

 private:
  struct Container {
    Node node;
    bool is_dictionary;
    Node key = {};
  };

  bool HasPlace() const {
    return open_.empty() ? !root_ : !open_.back().is_dictionary || open_.back().key;
  }

  bool Open(bool is_dictionary, std::size_t count) {
    if (open_.size() == kMaximumDepth || !HasPlace()) return false;
    Node node = is_dictionary ? maker_.Dictionary(count) : maker_.Array(count);
    open_.push_back({std::move(node), is_dictionary});
    return true;
  }

  Maker maker_;
  Node root_ = {};
  std::vector<Container> open_;
};

enum class EntryOrder { kStored, kByKey };

// Access has a type Node (a pointer), and:
//   enum Kind { kLeaf, kArray, kDictionary, kForeign }: KindOf(node); kForeign ends the walk
//   bool SendLeaf(node, sink), SendKey(key, sink)
//   std::shared_ptr<const XmlDictionary> Deferred(dictionary)
//   bool ForEachEntry(dictionary, call(key, value)), void ForEachElement(array, call(value))
//   int CompareKeys(key, key), std::string KeyInUtf8(key)
template <class Access>
class Walk {
 public:
  using Node = typename Access::Node;

  Walk(EntryOrder order, Sink& sink) : order_(order), sink_(sink) {}

  // True when the sink took the whole tree. False also for a tree that no property list can hold: a
  // node of another type, a key that is not a string, containers nested too deep.
  bool Run(Node root) {
    if (!Visit(root)) return false;
    while (!open_.empty()) {
      Container& container = open_.back();
      if (container.next == entries_.size()) {
        entries_.resize(container.first);
        open_.pop_back();
        if (!sink_.Close()) return false;
        continue;
      }
      const Entry entry = entries_[container.next++];
      if (container.is_dictionary && !Access::SendKey(entry.key, sink_)) return false;
      if (!Visit(entry.value)) return false;
    }
    return true;
  }

  // Where Run stopped: the keys and indices that lead to the value, with "/" between them, in
  // UTF-8.
  std::string Path() const {
    std::string path;
    for (const Container& container : open_) {
      if (container.next == container.first) break;
      if (!path.empty()) path += '/';
      path += container.is_dictionary ? Access::KeyInUtf8(entries_[container.next - 1].key)
                                      : std::to_string(container.next - 1 - container.first);
    }
    return path;
  }

 private:
  struct Entry {
    Node key;
    Node value;
  };
  struct Container {
    bool is_dictionary;
    std::size_t first;
    std::size_t next;
  };

  bool Visit(Node node) {
    const auto kind = Access::KindOf(node);
    if (kind == Access::kForeign) return false;
    if (kind == Access::kLeaf) return Access::SendLeaf(node, sink_);
    if (open_.size() == kMaximumDepth) return false;
    const std::size_t first = entries_.size();
    const bool is_dictionary = kind == Access::kDictionary;
    if (!is_dictionary) {
      open_.push_back({false, first, first});
      Access::ForEachElement(node, [this](Node element) { entries_.push_back({Node(), element}); });
      return sink_.OpenArray(entries_.size() - first);
    }
    if (const auto xml = Access::Deferred(node)) {
      const Taking taking = sink_.Dictionary(*xml);
      if (taking != Taking::kWantsEntries) return taking == Taking::kTaken;
    }
    open_.push_back({true, first, first});
    return PushEntries(node, first) && sink_.OpenDictionary(entries_.size() - first);
  }

  bool PushEntries(Node dictionary, std::size_t first) {
    const bool are_strings = Access::ForEachEntry(dictionary, [this](Node key, Node value) {
      entries_.push_back({key, value});
    });
    if (!are_strings) return false;
    if (order_ == EntryOrder::kByKey) {
      const auto by_key = [](const Entry& a, const Entry& b) {
        return Access::CompareKeys(a.key, b.key) < 0;
      };
      const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(first);
      if (!std::is_sorted(begin, entries_.end(), by_key)) std::sort(begin, entries_.end(), by_key);
    }
    return true;
  }

  EntryOrder order_;
  Sink& sink_;
  // The entries of the open containers, the innermost last.
  std::vector<Entry> entries_;
  std::vector<Container> open_;
};

}  // namespace orvik::plist
