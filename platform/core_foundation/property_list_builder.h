// Building the objects of a property list from the parts of a file, in their order there.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/dictionary.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/owned.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_leaves.h"

namespace orvik {

using OwnedObject = Owned<const NSObject>;

inline OwnedObject Shared(const NSObject* object) {
  return OwnedObject(static_cast<const NSObject*>(CFRetain(object)));
}

inline constexpr const char kUniqueIdentifierKey[] = "CF$UID";

// The entries of a dictionary that was read and not looked at.
class DeferredPropertyList : public NSDictionary::DeferredContent {
 public:
  // The same entries with another mutability.
  virtual std::shared_ptr<const DeferredPropertyList> WithMutability(
      CFOptionFlags mutability_option) const = 0;
  // The containers around the dictionary in its file.
  virtual int depth() const = 0;
};

class PropertyListBuilder {
 public:
  explicit PropertyListBuilder(CFOptionFlags mutability_option);

  // Each of these adds at the place that has been reached: as the root, at the end of the open
  // array, or under the key of the open dictionary. False when there is no place: a second root, a
  // dictionary without a key, or containers too deep. The capacity is a hint.
  bool OpenArray(size_t capacity = 0);
  bool OpenDictionary(size_t capacity = 0);
  // Adds to a dictionary of the caller's from here on, until it is closed.
  void Reopen(NSDictionary* dictionary) { open_.push_back({nullptr, dictionary, nullptr}); }
  bool AddAscii(std::string_view text);
  bool AddString(std::u16string_view text);
  bool AddInteger(PropertyListInteger value);
  // A width of 4 bytes is kept for the binary form.
  bool AddReal(double value, int width = 8);
  bool AddBoolean(bool value);
  bool AddDate(double seconds);
  bool AddData(std::string_view bytes);
  bool Add(OwnedObject object);
  bool AddDeferred(std::shared_ptr<const DeferredPropertyList> content);

  // The key of the next value, immutable. False unless a dictionary without a waiting key is open,
  // and for an object that is no string.
  bool SetAsciiKey(std::string_view text);
  bool SetKey(std::u16string_view text);
  bool SetKeyObject(OwnedObject key);

  // Ends the innermost container. False for a key without a value, and when nothing is open.
  bool Close();

  bool is_open() const { return !open_.empty(); }
  bool in_dictionary() const { return is_open() && open_.back().dictionary != nullptr; }

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

  bool mutable_containers_;
  bool mutable_leaves_;
  OwnedObject root_;
  std::vector<Container> open_;
};

}  // namespace orvik
