// The circle of a tree of values: written in each form it comes back equal, and what is saved of a
// form that was damaged by one byte or one cut was in the tree; what is not saved is told.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "plist/forms.h"
#include "plist/salvage.h"
#include "tests/properties/choices.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::test {

inline std::u16string MakeText(Choices& choices) {
  static constexpr std::u16string_view kPieces[] = {
      u"a",  u"key", u"b c", u"<&>\"'", u"\r\n\t", u"\u00E9", u"\u4E2D", u"\U0001F600", u"\xD800",
      u"\0", u"\1",  u"]]>", u"\uFDD0", u"0041",   u"/",      u"\\",     u"\uFFFE",     u"$date"};
  std::u16string text;
  for (std::size_t count = choices.Below(4); count > 0; --count) {
    const std::size_t piece = choices.Below(std::size(kPieces));
    // A literal of a NUL alone is an empty view.
    text += kPieces[piece].empty() ? std::u16string(1, u'\0') : std::u16string(kPieces[piece]);
  }
  return text;
}

inline std::uint64_t MakeBits(Choices& choices) {
  static constexpr std::uint64_t kBits[] = {0,
                                            1,
                                            0x7F,
                                            0x80,
                                            0xFFFFFFFF,
                                            0x7FFFFFFFFFFFFFFF,
                                            0x8000000000000000,
                                            0xFFFFFFFFFFFFFFFF,
                                            0x3FD0000000000000,
                                            0x7FF8000000000000,
                                            0xFFF0000000000000};
  const std::size_t which = choices.Below(std::size(kBits) + 3);
  if (which < std::size(kBits)) return kBits[which];
  // Dates and reals of an everyday size, or any bits.
  const std::uint64_t bits = choices.Next(8);
  return which % 2 == 0 ? bits
                        : std::bit_cast<std::uint64_t>(
                              static_cast<double>(static_cast<std::int64_t>(bits)) / 65536);
}

// `has_types` is false for trees that the old text form can hold.
inline plist::Value MakeValue(Choices& choices, bool has_types, int depth) {
  const std::size_t kind = choices.is_empty() ? 0 : choices.Below(depth < 5 ? 10 : 7);
  if (kind >= 7) {
    std::size_t count = choices.Below(5);
    plist::Value container = kind == 7 ? plist::Value::Array() : plist::Value::Dictionary();
    for (; count > 0; --count) {
      if (kind == 7) {
        container.Append(MakeValue(choices, has_types, depth + 1));
      } else {
        const std::u16string key = MakeText(choices);
        container.Set(key, MakeValue(choices, has_types, depth + 1));
      }
    }
    return container;
  }
  if (kind == 1) return plist::Value::Data(std::string(choices.Below(60), 'd'));
  if (kind == 0 || !has_types) return MakeText(choices);
  const std::uint64_t bits = MakeBits(choices);
  if (kind == 2) return static_cast<std::int64_t>(bits);
  if (kind == 3) return bits;
  if (kind == 4) return std::bit_cast<double>(bits);
  if (kind == 5) return bits % 2 != 0;
  return plist::Value::Date(std::bit_cast<double>(bits));
}

inline plist::Value MakeTree(Choices& choices, bool has_types) {
  plist::Value root = plist::Value::Dictionary();
  for (std::size_t count = 1 + choices.Below(5); count > 0; --count) {
    const std::u16string key = MakeText(choices);
    root.Set(key, MakeValue(choices, has_types, 1));
  }
  return root;
}

// The old text form of a tree without types.
inline void AppendOldText(std::string& text, const plist::Value& value) {
  const auto append_string = [&](const plist::Value& string) {
    text += '"';
    for (const char16_t unit : string.text().ToUnits()) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\U%04x", static_cast<unsigned>(unit));
      const bool is_plain = unit >= ' ' && unit < 0x7F && unit != '"' && unit != '\\';
      is_plain ? text += static_cast<char>(unit) : text += escape;
    }
    text += '"';
  };
  if (value.is_string()) {
    append_string(value);
  } else if (value.type() == plist::Type::kData) {
    text += '<';
    for (const char byte : *value.data()) {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
      text += digits;
    }
    text += '>';
  } else if (value.is_array()) {
    text += '(';
    for (const plist::Value& element : value.elements()) {
      AppendOldText(text, element);
      text += ", ";
    }
    text += ')';
  } else {
    text += "{\n";
    for (const auto& entry : value.entries()) {
      append_string(entry.key);
      text += " = ";
      AppendOldText(text, entry.value);
      text += ";\n";
    }
    text += '}';
  }
}

// How often each leaf occurs: its path, with "*" for an index, its type and its text.
using Leaves = std::map<std::string, int>;
inline void CountLeaves(const std::string& path, const plist::Value& value, Leaves& leaves) {
  if (value.is_array()) {
    for (const plist::Value& element : value.elements()) CountLeaves(path + "/*", element, leaves);
  } else if (value.is_dictionary()) {
    for (const auto& entry : value.entries()) {
      CountLeaves(path + "/" + entry.key.text().ToUtf8(), entry.value, leaves);
    }
  } else {
    ++leaves[path + "=" + plist::WriteXml(value).value_or("nothing")];
  }
}

// The forbidden effect of one damaged byte, or of a cut; "" for none.
inline std::string DamageFault(const plist::Value& tree, std::string bytes, Choices& choices) {
  const std::size_t place = choices.Below(bytes.size());
  if (choices.Next(1) % 4 == 0) {
    bytes.resize(place);
  } else {
    bytes[place] = static_cast<char>(choices.Next(1));
  }
  if (plist::Read(bytes).root) return "";
  const plist::Salvage salvage = plist::SalvageEntries(std::make_shared<const std::string>(bytes));
  const plist::Value& saved = salvage.entries;
  if (salvage.losses.count() < salvage.losses.list().size())
    return "more losses are listed than counted";
  if (salvage.losses.count() == 0 && !bytes.empty() && saved != tree) {
    return "something is lost and nothing is told";
  }
  Leaves before, after;
  CountLeaves("", tree, before);
  CountLeaves("", saved, after);
  for (const auto& [leaf, count] : after) {
    const auto found = before.find(leaf);
    if (found == before.end() || found->second < count) {
      return "never was: " + leaf + ", at byte " + std::to_string(place) + " of " +
             prefstool::Escaped(bytes);
    }
  }
  return "";
}

// Why the tree that the choices make does not come back; "" when it does.
inline std::string CircleFault(std::string_view bytes) {
  Choices choices(bytes);
  const bool has_types = choices.Next(1) % 4 != 0;
  const plist::Value tree = MakeTree(choices, has_types);
  const std::string xml = *plist::WriteXml(tree);
  const std::string binary = *plist::WriteBinary(tree);
  std::string text;
  if (!has_types) AppendOldText(text, tree);
  const std::string* const forms[] = {&xml, &binary, &text};
  for (const std::string* form : forms) {
    if (form->empty()) continue;
    if (plist::Read(*form).root != tree) return "does not come back: " + *form;
    if (form != &text) {
      const std::string fault = DamageFault(tree, *form, choices);
      if (!fault.empty()) return fault;
    }
  }
  prefstool::TextError error;
  const std::string json = prefstool::JsonText(tree);
  if (prefstool::ReadJson(json, &error) != tree) return "JSON does not come back: " + json;
  return "";
}

}  // namespace orvik::test
