#include "platform/core_foundation/property_list.h"

#include <memory>
#include <utility>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/string.h"
#include "plist/value_events.h"

namespace orvik {
namespace {

using OwnedObject = Owned<const NSObject>;

// The entries of a dictionary object that nobody used yet: those of a value.
class ValueContent final : public NSDictionary::DeferredContent {
 public:
  ValueContent(plist::Value dictionary, CFOptionFlags mutability_option)
      : dictionary_(std::move(dictionary)), mutability_option_(mutability_option) {}

  void MakeEntries(NSDictionary* dictionary) const override;
  const plist::Value& dictionary() const { return dictionary_; }

 private:
  plist::Value dictionary_;
  CFOptionFlags mutability_option_;
};

// The value of a dictionary object that nobody used yet, else null.
std::shared_ptr<const ValueContent> UnusedContent(const NSObject* dictionary) {
  const auto* object = static_cast<CFDictionaryRef>(dictionary);
  return object->isDeferred()
             ? std::static_pointer_cast<const ValueContent>(object->deferredContent())
             : nullptr;
}

class ObjectMaker {
 public:
  using Node = OwnedObject;

  explicit ObjectMaker(CFOptionFlags mutability_option)
      : mutability_option_(mutability_option),
        has_mutable_containers_(mutability_option != kCFPropertyListImmutable) {}

  OwnedObject String(const plist::Text& text, const plist::Value* holder) const {
    OwnedObject string = Key(text, holder);
    if (mutability_option_ == kCFPropertyListMutableContainersAndLeaves && string != nullptr) {
      string.reset(string->mutableCopy());
    }
    return string;
  }
  static OwnedObject Key(const plist::Text& text, const plist::Value* holder) {
    return OwnedObject(holder != nullptr ? NSString::NewFromValue(*holder)
                                         : NSString::NewFromText(text));
  }
  static OwnedObject Integer(plist::Integer value) {
    return OwnedObject(value.is_unsigned ? NSNumber::CreateUnsigned(value.bits)
                                         : NSNumber::Create(static_cast<std::int64_t>(value.bits)));
  }
  static OwnedObject Real(double value, int width) {
    return OwnedObject(NSNumber::CreateReal(value, width));
  }
  static OwnedObject Boolean(bool value) { return OwnedObject(NSNumber::CreateBoolean(value)); }
  static OwnedObject Date(double seconds) { return OwnedObject(NSDate::Create(seconds)); }
  static OwnedObject Data(std::string_view bytes, const plist::Bytes& holder) {
    return OwnedObject(holder != nullptr ? NSData::Create(holder)
                                         : NSData::Create(std::string(bytes)));
  }
  OwnedObject Array(std::size_t count) const {
    return OwnedObject(NSArray::Create(has_mutable_containers_, count));
  }
  OwnedObject Dictionary(std::size_t count) const {
    return OwnedObject(NSDictionary::Create(has_mutable_containers_, count));
  }
  OwnedObject Deferred(const plist::XmlDictionary& dictionary) const {
    return OwnedObject(NSDictionary::CreateDeferred(
        has_mutable_containers_,
        std::make_shared<ValueContent>(plist::Value::Dictionary(dictionary), mutability_option_)));
  }
  static void Append(OwnedObject& array, OwnedObject element) {
    AsMutable<NSArray>(array)->AppendOwned(element.release());
  }
  static void Put(OwnedObject& dictionary, OwnedObject key, OwnedObject value) {
    AsMutable<NSDictionary>(dictionary)->SetOwned(key.release(), value.release());
  }

 private:
  // Containers are made here and seen by nobody else yet.
  template <class Container>
  static Container* AsMutable(const OwnedObject& object) {
    return const_cast<Container*>(static_cast<const Container*>(object.get()));
  }

  CFOptionFlags mutability_option_;
  bool has_mutable_containers_;
};

using ObjectBuilder = plist::Builder<ObjectMaker>;

// Entries that are still XML become objects without becoming values first.
void ValueContent::MakeEntries(NSDictionary* dictionary) const {
  if (const auto xml = dictionary_.deferred()) {
    ObjectBuilder builder{ObjectMaker(mutability_option_)};
    xml->Send(builder);
    const OwnedObject made = builder.Take();
    dictionary->TakeEntries(static_cast<const NSDictionary*>(made.get()));
    return;
  }
  for (const auto& entry : dictionary_.entries()) {
    OwnedObject value(ObjectOf(CreateObject(entry.value, mutability_option_)));
    dictionary->SetOwned(ObjectMaker::Key(entry.key.text(), &entry.key).release(), value.release());
  }
}

struct ObjectAccess {
  using Node = const NSObject*;
  enum Kind { kLeaf, kArray, kDictionary, kForeign };

  static Kind KindOf(const NSObject* object) {
    if (object == nullptr) return kForeign;
    const CFTypeID type = object->typeID();
    if (type == CFDictionaryGetTypeID()) return kDictionary;
    return type == CFArrayGetTypeID() ? kArray : kLeaf;
  }

  // False for an object of another class.
  static bool SendLeaf(const NSObject* object, plist::Sink& sink) {
    const CFTypeID type = object->typeID();
    if (type == CFStringGetTypeID()) {
      const auto* string = static_cast<CFStringRef>(object);
      return sink.String(string->text(), string->value());
    }
    if (type == CFNumberGetTypeID()) {
      const auto* number = static_cast<CFNumberRef>(object);
      if (number->isReal()) return sink.Real(number->doubleValue(), number->width());
      return sink.Integer({number->bits(), number->kind() == NSNumber::Kind::kUnsigned});
    }
    if (type == CFBooleanGetTypeID()) return sink.Boolean(object == kCFBooleanTrue);
    if (type == CFDateGetTypeID()) {
      return sink.Date(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object)));
    }
    if (type == CFDataGetTypeID()) {
      const plist::Bytes& bytes = static_cast<CFDataRef>(object)->Shared();
      return sink.Data(*bytes, bytes);
    }
    return false;
  }
  static bool SendKey(const NSObject* key, plist::Sink& sink) {
    const auto* string = static_cast<CFStringRef>(key);
    return sink.Key(string->text(), string->value());
  }
  static std::shared_ptr<const plist::XmlDictionary> Deferred(const NSObject* object) {
    const auto content = UnusedContent(object);
    return content == nullptr ? nullptr : content->dictionary().deferred();
  }
  // False for a key that is not a string.
  template <class Call>
  static bool ForEachEntry(const NSObject* dictionary, Call call) {
    for (const auto& entry : static_cast<CFDictionaryRef>(dictionary)->Entries()) {
      if (entry.key == nullptr) continue;
      if (entry.key->typeID() != CFStringGetTypeID()) return false;
      call(entry.key, entry.value);
    }
    return true;
  }
  template <class Call>
  static void ForEachElement(const NSObject* array, Call call) {
    for (const NSObject* element : static_cast<CFArrayRef>(array)->Objects()) call(element);
  }
  static int CompareKeys(const NSObject* one, const NSObject* other) {
    return static_cast<CFStringRef>(one)->text().Compare(static_cast<CFStringRef>(other)->text());
  }
  static std::string KeyInUtf8(const NSObject* key) {
    return static_cast<CFStringRef>(key)->ToUtf8();
  }
};

using ObjectWalk = plist::Walk<ObjectAccess>;

// Sends a tree to a builder; nothing with the path of the fault.
template <class Walk, class Builder>
auto Built(typename Walk::Node root, Builder builder, std::string* path) {
  Walk walk(plist::EntryOrder::kStored, builder);
  const bool is_whole = walk.Run(root);
  if (!is_whole && path != nullptr) {
    // Told in the order in which a file would have the keys.
    plist::Checker checker;
    Walk by_key(plist::EntryOrder::kByKey, checker);
    *path = by_key.Run(root) ? walk.Path() : by_key.Path();
  }
  return is_whole ? builder.Take() : typename Builder::Node();
}

}  // namespace

CFTypeRef CreateObject(const plist::Value& value, CFOptionFlags mutability_option) {
  if (value.is_dictionary()) {
    return NSDictionary::CreateDeferred(mutability_option != kCFPropertyListImmutable,
                                        std::make_shared<ValueContent>(value, mutability_option));
  }
  ObjectBuilder builder{ObjectMaker(mutability_option)};
  return Built<plist::ValueWalk>(&value, std::move(builder), nullptr).release();
}

std::optional<plist::Value> ValueOfObject(CFTypeRef object, std::string* path) {
  const NSObject* const root = ObjectOf(object);
  if (root != nullptr && root->typeID() == CFDictionaryGetTypeID()) {
    if (const auto content = UnusedContent(root)) return content->dictionary();
  }
  plist::Value value = Built<ObjectWalk>(root, plist::ValueBuilder(), path);
  return value ? std::optional(std::move(value)) : std::nullopt;
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef property_list,
                                               CFOptionFlags mutability_option) {
  ObjectBuilder builder{ObjectMaker(mutability_option)};
  return Built<ObjectWalk>(ObjectOf(property_list), std::move(builder), nullptr).release();
}

}  // namespace orvik
