// What the tests of property lists share.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "plist/forms.h"

namespace orvik::plist {

// "(" ... ")" for arrays and "{" ... "}" for dictionaries with their keys in order, and every leaf
// with its kind, so that a whole list can be compared at one glance: s:text i:5 r:0.5 b:1 d:0
// x:0AFF. "nothing" for a value that no property list can hold.
std::string Describe(const Value& value);

// The list that the bytes hold, described, or "nothing".
std::string DescribeBytes(std::string_view bytes);

// The value in the XML form without the lines around it.
std::string XmlOf(const Value& value);

inline Value Root(std::string_view bytes) {
  return Read(bytes).root;
}

}  // namespace orvik::plist
