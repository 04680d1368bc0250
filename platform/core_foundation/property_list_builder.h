// Building the objects of a property list from its values, in their order.
#pragma once

#include <string_view>
#include <vector>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_sink.h"

namespace orvik {

using OwnedObject = Owned<const NSObject>;

inline constexpr const char kUniqueIdentifierKey[] = "CF$UID";

// Each value is added at the place that has been reached: as the root, at the end of the open
// array, or under the key of the open dictionary. Answers false when there is no such place: a
// second root, a dictionary without a key, a key without a value, or containers too deep.
class PropertyListBuilder final : public PropertyListSink {
 public:
  explicit PropertyListBuilder(CFOptionFlags mutability_option);

  bool String(const PropertyListText& text) override;
  bool Integer(PropertyListInteger value) override;
  bool Real(double value, int width) override;
  bool Boolean(bool value) override;
  bool Date(double seconds) override;
  bool Data(std::string_view bytes, const NSData* object) override;
  bool OpenArray(std::size_t count) override;
  bool OpenDictionary(std::size_t count) override;
  // The key object is immutable.
  bool Key(const PropertyListText& key) override;
  bool Close() override;
  // Stays XML unless it lies deeper here than in its text: then its own depth must be seen.
  PropertyListTaking Dictionary(const XmlDictionary& dictionary) override;

  // An object that is finished, and a key that is a string object.
  bool Add(OwnedObject object);
  bool SetKey(OwnedObject key);

  // Adds to a dictionary of the caller's from here on, until it is closed.
  void Reopen(NSDictionary* dictionary) { open_.push_back({nullptr, dictionary, nullptr}); }

  // Forgets a key whose value is lost.
  void DropKey() {
    if (!open_.empty()) open_.back().key.reset();
  }
  std::size_t depth() const { return open_.size(); }
  // The key without a value in the open dictionary, or null.
  const NSObject* key() const { return open_.empty() ? nullptr : open_.back().key.get(); }
  bool in_dictionary() const { return !open_.empty() && open_.back().dictionary != nullptr; }

  // The finished root, or null.
  OwnedObject Take();

 private:
  // One of the two is null. The containers belong to the ones around them, or are the root.
  struct Container {
    NSArray* array;
    NSDictionary* dictionary;
    OwnedObject key;
  };

  bool Open(NSArray* array, NSDictionary* dictionary);

  CFOptionFlags mutability_option_;
  OwnedObject root_;
  std::vector<Container> open_;
};

}  // namespace orvik
