#include "platform/core_foundation/property_list.h"

#include "platform/core_foundation/property_list_encoding.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/core_foundation/property_list_walk.h"
#include "platform/core_foundation/property_list_written_xml.h"

namespace orvik {
namespace {

class Copier : public PropertyListWalk::Visitor {
 public:
  explicit Copier(CFOptionFlags mutability_option)
      : builder_(mutability_option),
        mutability_option_(mutability_option),
        mutable_leaves_(mutability_option == kCFPropertyListMutableContainersAndLeaves) {}

  bool Leaf(const NSObject* object, PropertyListKind kind) override {
    if (kind != PropertyListKind::kString && kind != PropertyListKind::kData) {
      return builder_.Add(Shared(object));
    }
    return builder_.Add(OwnedObject(mutable_leaves_ ? object->mutableCopy() : object->copy()));
  }

  bool Begin(const NSObject*, PropertyListKind kind, size_t count) override {
    ++depth_;
    return kind == PropertyListKind::kArray ? builder_.OpenArray(count)
                                            : builder_.OpenDictionary(count);
  }

  bool Key(const NSString* key) override { return builder_.SetKeyObject(OwnedObject(key->copy())); }

  bool End(PropertyListKind) override {
    --depth_;
    return builder_.Close();
  }

  // What lies deeper than in its file is made, so that its own depth is seen.
  PropertyListDeferral Deferred(const NSDictionary& dictionary) override {
    const auto deferred = dictionary.deferredContent();
    const auto* content = dynamic_cast<const DeferredPropertyList*>(deferred.get());
    if (content == nullptr || content->depth() < depth_) return PropertyListDeferral::kOpen;
    return builder_.AddDeferred(content->WithMutability(mutability_option_))
               ? PropertyListDeferral::kDone
               : PropertyListDeferral::kFailed;
  }

  OwnedObject Take() { return builder_.Take(); }

 private:
  PropertyListBuilder builder_;
  CFOptionFlags mutability_option_;
  bool mutable_leaves_;
  int depth_ = 0;
};

// Whether everything that is met can be written in the format.
class Checker : public PropertyListWalk::Visitor {
 public:
  explicit Checker(CFPropertyListFormat format) : format_(format) {}

  bool Leaf(const NSObject* object, PropertyListKind kind) override {
    switch (kind) {
      case PropertyListKind::kString:
      case PropertyListKind::kData:
        return true;
      case PropertyListKind::kDate:
        return format_ == kCFPropertyListBinaryFormat_v1_0 ||
               (format_ == kCFPropertyListXMLFormat_v1_0 &&
                IsPropertyListDate(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object))));
      default:
        return format_ != kCFPropertyListOpenStepFormat;
    }
  }

  bool Begin(const NSObject*, PropertyListKind, size_t) override { return true; }
  bool Key(const NSString*) override { return true; }
  bool End(PropertyListKind) override { return true; }

 private:
  CFPropertyListFormat format_;
};

// "<" and hexadecimal digits: the data of the old text form and not XML.
bool BeginsWithTextData(std::string_view text) {
  const size_t open = text.find_first_not_of(" \t\r\n");
  if (open == std::string_view::npos || text[open] != '<') return false;
  const size_t end = text.find_first_not_of(" \t\r\n0123456789abcdefABCDEF", open + 1);
  return end != std::string_view::npos && text[end] == '>';
}

bool BeginsWithMarkup(std::string_view text) {
  const size_t start = text.find_first_not_of(" \t\r\n");
  return start != std::string_view::npos && text[start] == '<' && !BeginsWithTextData(text);
}

}  // namespace

PropertyListReading ReadPropertyList(std::string_view bytes, CFOptionFlags mutability_option) {
  if (bytes.starts_with("bplist")) return ReadBinaryPropertyList(bytes, mutability_option);
  PropertyListReading reading;
  if (bytes.empty()) {
    reading.error = "The data is empty";
    return reading;
  }
  reading.root = ReadWrittenXml(bytes, mutability_option);
  if (reading.root) {
    reading.format = kCFPropertyListXMLFormat_v1_0;
    return reading;
  }
  std::optional<std::string> text = PropertyListTextAsUtf8(bytes);
  if (!text) {
    reading.error = "The data is neither a binary property list nor text of a known encoding";
    return reading;
  }
  return BeginsWithMarkup(*text) ? ReadXmlPropertyList(std::move(*text), mutability_option)
                                 : ReadTextPropertyList(*text, mutability_option);
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef, CFDataRef xml_data,
                                                  CFOptionFlags mutability_option,
                                                  CFStringRef* error_string) {
  PropertyListReading reading = ReadPropertyList(
      xml_data == nullptr ? std::string_view() : xml_data->View(), mutability_option);
  if (error_string != nullptr) {
    *error_string = reading.root ? nullptr : NSString::NewFromAscii(reading.error);
  }
  return reading.root.release();
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef, CFPropertyListRef property_list) {
  std::optional<std::string> xml = WriteXmlPropertyList(ObjectOf(property_list));
  return xml ? NSData::Create(std::move(*xml)) : nullptr;
}

CFPropertyListRef CFPropertyListCreateDeepCopy(CFAllocatorRef, CFPropertyListRef property_list,
                                               CFOptionFlags mutability_option) {
  Copier copier(mutability_option);
  if (!PropertyListWalk::Run(ObjectOf(property_list), PropertyListOrder::kStored, copier)) {
    return nullptr;
  }
  return copier.Take().release();
}

Boolean CFPropertyListIsValid(CFPropertyListRef property_list, CFPropertyListFormat format) {
  if (format != kCFPropertyListOpenStepFormat && format != kCFPropertyListXMLFormat_v1_0 &&
      format != kCFPropertyListBinaryFormat_v1_0) {
    return false;
  }
  Checker checker(format);
  return PropertyListWalk::Run(ObjectOf(property_list), PropertyListOrder::kStored, checker);
}

}  // namespace orvik
