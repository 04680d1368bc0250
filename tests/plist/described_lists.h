// Shared by the tests of property lists.
#pragma once

#include "plist/forms.h"
#include "plist/leaves.h"
#include "tests/support/test_environment.h"

namespace orvik::plist {

inline Value Root(std::string_view bytes) {
  return Read(bytes).root;
}

// A short text for a whole list: "(" ... ")" for arrays, "{" ... "}" for dictionaries with their
// keys in order, and every leaf with its type: s:text i:5 r:0.5 b:1 d:0 x:0AFF. "nothing" for no
// value.
inline std::string Describe(const Value& value) {
  std::string text;
  const auto add = [&](const std::string& part) { text += (text.empty() ? "" : " ") + part; };
  if (value.is_array()) {
    for (const Value& element : value.elements()) add(Describe(element));
    return "(" + text + ")";
  }
  if (value.is_dictionary()) {
    std::map<std::string, std::string> entries;
    for (const auto& [key, each] : value.entries()) entries[key.text().ToUtf8()] = Describe(each);
    for (const auto& [key, each] : entries) add(key + "=" + each);
    return "{" + text + "}";
  }
  switch (value.type()) {
    case Type::kString:
      return "s:" + value.text().ToUtf8();
    case Type::kInteger:
      AppendInteger(text, value.integer());
      return "i:" + text;
    case Type::kReal:
      AppendReal(text, value.real());
      return "r:" + text;
    case Type::kBoolean:
      return value.boolean() ? "b:1" : "b:0";
    case Type::kDate:
      AppendReal(text, value.date());
      return "d:" + text;
    case Type::kData:
      for (const unsigned char byte : *value.data()) {
        text += {"0123456789ABCDEF"[byte >> 4], "0123456789ABCDEF"[byte & 15]};
      }
      return "x:" + text;
    default:
      return "nothing";
  }
}

// The description of the list in the bytes, or "nothing".
inline std::string DescribeBytes(std::string_view bytes) {
  return Describe(Root(bytes));
}

}  // namespace orvik::plist
