// What the tests of property lists share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list.h"
#include "plist/forms.h"

namespace orvik::test {

// "(" ... ")" for arrays and "{" ... "}" for dictionaries with their keys in order, and every leaf
// with its kind, so that a whole list can be compared at one glance: s:text i:5 r:0.5 b:1 d:0
// x:0AFF.
std::string Describe(const NSObject* object);

// The list that the bytes hold, described, or "nothing".
std::string DescribeBytes(std::string_view bytes);

// The value in the XML form without the lines around it, or "nothing".
std::string XmlOf(const NSObject* object);

using OwnedObject = Owned<const NSObject>;

inline OwnedObject StringOf(std::u16string_view text) {
  return OwnedObject(NSString::NewFromUnits(text));
}

inline OwnedObject ReadRoot(std::string_view bytes, CFOptionFlags options = 0) {
  return OwnedObject(ObjectOf(CreateObject(plist::Read(bytes).root, options)));
}

inline std::optional<std::string> WriteXml(const NSObject* object,
                                           plist::Failure* failure = nullptr,
                                           std::size_t limit = plist::kMaximumFileSize) {
  const auto value = ValueOfObject(object, failure == nullptr ? nullptr : &failure->path);
  return value ? plist::WriteXml(*value, failure, limit) : std::nullopt;
}

inline std::optional<std::string> WriteBinary(const NSObject* object,
                                              plist::Failure* failure = nullptr,
                                              std::size_t limit = plist::kMaximumFileSize) {
  const auto value = ValueOfObject(object, failure == nullptr ? nullptr : &failure->path);
  return value ? plist::WriteBinary(*value, failure, limit) : std::nullopt;
}

}  // namespace orvik::test
