#include "plist/events.h"

#include <algorithm>

namespace orvik::plist {

bool ValueBuilder::String(const Text& text, const Value* holder) {
  return Add(holder != nullptr ? *holder : Value::String(text));
}

bool ValueBuilder::Data(std::string_view bytes, const Bytes& holder) {
  return Add(holder != nullptr ? Value::Data(holder) : Value::Data(std::string(bytes)));
}

bool ValueBuilder::OpenArray(std::size_t count) {
  Value array = Value::Array();
  array.ChangeElements().reserve(count);
  return Open(std::move(array));
}

bool ValueBuilder::OpenDictionary(std::size_t count) {
  return Open(Value::Dictionary(count));
}

bool ValueBuilder::Key(const Text& key, const Value* holder) {
  return SetKey(holder != nullptr ? *holder : Value::String(key));
}

bool ValueBuilder::SetKey(Value key) {
  if (!in_dictionary() || open_.back().key || !key) return false;
  open_.back().key = std::move(key);
  return true;
}

bool ValueBuilder::Close() {
  if (open_.empty() || open_.back().key) return false;
  Value finished = std::move(open_.back().value);
  open_.pop_back();
  return Add(std::move(finished));
}

Taking ValueBuilder::Dictionary(const XmlDictionary& dictionary) {
  if (static_cast<std::size_t>(dictionary.depth()) < open_.size()) return Taking::kWantsEntries;
  return Add(Value::Dictionary(dictionary)) ? Taking::kTaken : Taking::kFailed;
}

// The root, an element of an array, or the value of the key that was sent.
bool ValueBuilder::HasPlace() const {
  return open_.empty() ? !root_ : open_.back().value.is_array() || open_.back().key;
}

bool ValueBuilder::Add(Value value) {
  if (!value || !HasPlace()) return false;
  if (open_.empty()) {
    root_ = std::move(value);
  } else if (Container& container = open_.back(); container.key) {
    container.value.SetSharing(std::exchange(container.key, Value()), std::move(value));
  } else {
    container.value.Append(std::move(value));
  }
  return true;
}

bool ValueBuilder::Open(Value container) {
  if (open_.size() == kMaximumDepth || !HasPlace()) return false;
  open_.push_back({std::move(container), Value()});
  return true;
}

// The entries of all open containers are in one vector, those of an inner container after those of
// the outer one, so that a walk of any depth makes few allocations.
bool ValueWalk::Run(const Value* root) {
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
    if (entry.key != nullptr && !sink_.Key(entry.key->text(), entry.key)) return false;
    if (!Visit(entry.value)) return false;
  }
  return true;
}

std::string ValueWalk::Path() const {
  std::string path;
  // If no entry of a container was visited, the container itself is the place.
  for (const Container& container : open_) {
    if (container.next == container.first) break;
    if (!path.empty()) path += '/';
    path += container.is_dictionary ? entries_[container.next - 1].key->text().ToUtf8()
                                    : std::to_string(container.next - 1 - container.first);
  }
  return path;
}

bool ValueWalk::Visit(const Value* value) {
  switch (value->type()) {
    case Type::kNone:
      return false;
    case Type::kString:
      return sink_.String(value->text(), value);
    case Type::kInteger:
      return sink_.Integer(value->integer());
    case Type::kReal:
      return sink_.Real(value->real(), value->width());
    case Type::kBoolean:
      return sink_.Boolean(value->boolean());
    case Type::kDate:
      return sink_.Date(value->date());
    case Type::kData:
      return sink_.Data(*value->data(), value->data());
    case Type::kArray:
    case Type::kDictionary:
      return OpenContainer(value);
  }
  return false;
}

// Puts the entries of a container on the stack, sorted if the order requires it. Most dictionaries
// that were read are already sorted.
bool ValueWalk::OpenContainer(const Value* value) {
  if (open_.size() == kMaximumDepth) return false;
  const std::size_t first = entries_.size();
  if (value->is_array()) {
    open_.push_back({false, first, first});
    for (const Value& element : value->elements()) entries_.push_back({nullptr, &element});
    return sink_.OpenArray(entries_.size() - first);
  }
  if (const auto xml = value->deferred()) {
    const Taking taking = sink_.Dictionary(*xml);
    if (taking != Taking::kWantsEntries) return taking == Taking::kTaken;
  }
  open_.push_back({true, first, first});
  for (const Value::Entry& entry : value->entries()) entries_.push_back({&entry.key, &entry.value});
  if (order_ == EntryOrder::kByKey) {
    const auto by_key = [](const Entry& one, const Entry& other) {
      return one.key->text().Compare(other.key->text()) < 0;
    };
    const auto begin = entries_.begin() + static_cast<std::ptrdiff_t>(first);
    if (!std::is_sorted(begin, entries_.end(), by_key)) std::sort(begin, entries_.end(), by_key);
  }
  return sink_.OpenDictionary(entries_.size() - first);
}

}  // namespace orvik::plist
