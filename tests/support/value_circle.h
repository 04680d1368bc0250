// The circle of a tree of values: written in each form it comes back equal, and what is saved of a
// form that was damaged by one byte or one cut was in the tree; what is not saved is told.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/property_list_equality.h"
#include "platform/core_foundation/property_list_forms.h"
#include "platform/foundation/ns_number.h"
#include "prefs/salvage.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::test {

// Choices taken from bytes; zeros when they are used up.
class Choices {
 public:
  explicit Choices(std::string_view bytes) : bytes_(bytes) {}

  std::uint64_t Next(int bytes) {
    std::uint64_t value = 0;
    for (; bytes > 0; --bytes) {
      value = value << 8 | (bytes_.empty() ? 0 : static_cast<unsigned char>(bytes_[0]));
      if (!bytes_.empty()) bytes_.remove_prefix(1);
    }
    return value;
  }
  std::size_t Below(std::size_t end) { return Next(2) % end; }
  bool is_empty() const { return bytes_.empty(); }

 private:
  std::string_view bytes_;
};

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
inline OwnedObject MakeValue(Choices& choices, bool has_types, int depth) {
  const std::size_t kind = choices.is_empty() ? 0 : choices.Below(depth < 5 ? 10 : 7);
  if (kind >= 7) {
    std::size_t count = choices.Below(5);
    if (kind == 7) {
      NSArray* array = NSArray::Create();
      for (; count > 0; --count) {
        array->AppendOwned(MakeValue(choices, has_types, depth + 1).release());
      }
      return OwnedObject(array);
    }
    NSDictionary* dictionary = NSDictionary::Create();
    for (; count > 0; --count) {
      const OwnedObject key(NSString::NewFromUnits(MakeText(choices)));
      dictionary->setObject(MakeValue(choices, has_types, depth + 1).get(), key.get());
    }
    return OwnedObject(dictionary);
  }
  if (kind == 1) return OwnedObject(NSData::Create(std::string(choices.Below(60), 'd')));
  if (kind == 0 || !has_types) return OwnedObject(NSString::NewFromUnits(MakeText(choices)));
  const std::uint64_t bits = MakeBits(choices);
  if (kind == 2) return OwnedObject(NSNumber::Create(static_cast<std::int64_t>(bits)));
  if (kind == 3) return OwnedObject(NSNumber::CreateUnsigned(bits));
  if (kind == 4) return OwnedObject(NSNumber::CreateReal(std::bit_cast<double>(bits)));
  if (kind == 5) return OwnedObject(NSNumber::CreateBoolean(bits % 2 != 0));
  return OwnedObject(NSDate::Create(std::bit_cast<double>(bits)));
}

inline OwnedObject MakeTree(Choices& choices, bool has_types) {
  NSDictionary* root = NSDictionary::Create();
  for (std::size_t count = 1 + choices.Below(5); count > 0; --count) {
    const OwnedObject key(NSString::NewFromUnits(MakeText(choices)));
    root->setObject(MakeValue(choices, has_types, 1).get(), key.get());
  }
  return OwnedObject(root);
}

// The old text form of a tree without types.
inline void AppendOldText(std::string& text, const NSObject* value) {
  const auto append_string = [&](const NSString* string) {
    text += '"';
    for (const char16_t unit : string->ToUnits()) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\U%04x", static_cast<unsigned>(unit));
      const bool is_plain = unit >= ' ' && unit < 0x7F && unit != '"' && unit != '\\';
      is_plain ? text += static_cast<char>(unit) : text += escape;
    }
    text += '"';
  };
  if (value->typeID() == CFStringGetTypeID()) {
    append_string(static_cast<const NSString*>(value));
  } else if (value->typeID() == CFDataGetTypeID()) {
    text += '<';
    for (const char byte : static_cast<const NSData*>(value)->View()) {
      char digits[4];
      std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
      text += digits;
    }
    text += '>';
  } else if (value->typeID() == CFArrayGetTypeID()) {
    text += '(';
    for (const NSObject* element : static_cast<const NSArray*>(value)->Objects()) {
      AppendOldText(text, element);
      text += ", ";
    }
    text += ')';
  } else {
    text += "{\n";
    for (const auto& entry : static_cast<const NSDictionary*>(value)->Entries()) {
      append_string(static_cast<const NSString*>(entry.key));
      text += " = ";
      AppendOldText(text, entry.value);
      text += ";\n";
    }
    text += '}';
  }
}

// How often each leaf occurs: its path, with "*" for an index, its type and its text.
using Leaves = std::map<std::string, int>;
inline void CountLeaves(const std::string& path, const NSObject* value, Leaves& leaves) {
  if (value->typeID() == CFArrayGetTypeID()) {
    for (const NSObject* element : static_cast<const NSArray*>(value)->Objects()) {
      CountLeaves(path + "/*", element, leaves);
    }
  } else if (value->typeID() == CFDictionaryGetTypeID()) {
    for (const auto& entry : static_cast<const NSDictionary*>(value)->Entries()) {
      if (entry.key == nullptr) continue;
      CountLeaves(path + "/" + prefstool::JsonText(entry.key), entry.value, leaves);
    }
  } else {
    ++leaves[path + "=" + prefstool::TypeName(value) + " " + prefstool::ValueText(value)];
  }
}

// The forbidden effect of one damaged byte, or of a cut; "" for none.
inline std::string DamageFault(const NSObject* tree, std::string bytes, Choices& choices) {
  const std::size_t place = choices.Below(bytes.size());
  if (choices.Next(1) % 4 == 0) {
    bytes.resize(place);
  } else {
    bytes[place] = static_cast<char>(choices.Next(1));
  }
  if (ReadPropertyList(bytes, kCFPropertyListImmutable).root) return "";
  const OwnedObject data(NSData::Create(bytes));
  const Salvage salvage = SalvageEntries(static_cast<CFDataRef>(data.get()));
  const auto saved = static_cast<const NSObject*>(ObjectOf(salvage.entries.Get()));
  if (salvage.lost < salvage.losses.size()) return "more losses are listed than counted";
  if (salvage.lost == 0 && !bytes.empty() && !IsSameValue(saved, tree)) {
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
  const OwnedObject tree = MakeTree(choices, has_types);
  const std::string xml = *WriteXmlPropertyList(tree.get());
  const std::string binary = *WriteBinaryPropertyList(tree.get());
  std::string text;
  if (!has_types) AppendOldText(text, tree.get());
  const std::string* const forms[] = {&xml, &binary, &text};
  for (const std::string* form : forms) {
    if (form->empty()) continue;
    const OwnedObject back = ReadPropertyList(*form, kCFPropertyListImmutable).root;
    if (!back || !IsSameValue(back.get(), tree.get())) return "does not come back: " + *form;
    if (form != &text) {
      const std::string fault = DamageFault(tree.get(), *form, choices);
      if (!fault.empty()) return fault;
    }
  }
  prefstool::TextError error;
  const std::string json = prefstool::JsonText(tree.get());
  const auto back = prefstool::ReadJson(json, &error);
  if (!back || !IsSameValue(back, tree.get())) return "JSON does not come back: " + json;
  return "";
}

}  // namespace orvik::test
