// A tree of values, written in each form and read back, is equal. After one damaged byte or a cut,
// every salvaged value was in the tree, and every other value is reported as a loss.
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "plist/forms.h"
#include "plist/salvage.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"
#include "tools/orvikprefs/values.h"

namespace orvik::fuzz {
namespace {

std::u16string MakeText(Choices& choices) {
  static constexpr std::u16string_view kPieces[] = {
      u"a",  u"key", u"b c", u"<&>\"'", u"\r\n\t", u"\u00E9", u"\u4E2D", u"\U0001F600", u"\xD800",
      u"\0", u"\1",  u"]]>", u"\uFDD0", u"0041",   u"/",      u"\\",     u"\uFFFE",     u"$date"};
  std::u16string text;
  for (std::size_t count = choices.Below(4); count > 0; --count) {
    const std::size_t piece = choices.Below(std::size(kPieces));
    // A literal with only a NUL is an empty view.
    text += kPieces[piece].empty() ? std::u16string(1, u'\0') : std::u16string(kPieces[piece]);
  }
  return text;
}

std::uint64_t MakeBits(Choices& choices) {
  static constexpr std::uint64_t kBits[] = {
      0, 1, 0x7F, 0x80, ~0u, ~0ull, ~0ull >> 1, 1ull << 63, 0x3FDull << 52, 0xFFF8ull << 48};
  const std::size_t which = choices.Below(std::size(kBits) + 3);
  if (which < std::size(kBits)) return kBits[which];
  // Dates and reals of ordinary size, or any bits.
  const std::uint64_t bits = choices.Next(8);
  const double everyday = static_cast<double>(static_cast<std::int64_t>(bits)) / 65536;
  return which % 2 == 0 ? bits : std::bit_cast<std::uint64_t>(everyday);
}

plist::Value MakeValue(Choices& choices, int depth) {
  const std::size_t kind = choices.is_empty() ? 0 : choices.Below(depth < 5 ? 10 : 7);
  if (kind >= 7) {
    plist::Value container = kind == 7 ? plist::Value::Array() : plist::Value::Dictionary();
    for (std::size_t count = choices.Below(5); count > 0; --count) {
      const std::u16string key = kind == 7 ? u"" : MakeText(choices);
      const plist::Value value = MakeValue(choices, depth + 1);
      kind == 7 ? container.Append(value) : container.Set(key, value);
    }
    return container;
  }
  if (kind == 0) return MakeText(choices);
  if (kind == 1) return plist::Value::Data(std::string(choices.Below(60), 'd'));
  const std::uint64_t bits = MakeBits(choices);
  if (kind == 2) return static_cast<std::int64_t>(bits);
  if (kind == 3) return bits;
  if (kind == 4) return std::bit_cast<double>(bits);
  if (kind == 5) return bits % 2 != 0;
  return plist::Value::Date(std::bit_cast<double>(bits));
}

// The number of occurrences of each leaf: its path, with "*" for an index, its type and its text.
using Leaves = std::map<std::string, int>;
void CountLeaves(const std::string& path, const plist::Value& value, Leaves& leaves) {
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

// The forbidden effect of one damaged byte or a cut; "" for none.
std::string DamageFault(const plist::Value& tree, std::string bytes, Choices& choices) {
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

// The reason why the tree made by the choices does not come back; "" if it does.
std::string CircleFault(std::string_view bytes) {
  Choices choices(bytes);
  plist::Value tree = plist::Value::Dictionary();
  for (std::size_t count = 1 + choices.Below(5); count > 0; --count) {
    const std::u16string key = MakeText(choices);
    tree.Set(key, MakeValue(choices, 1));
  }
  for (const std::string& form : {*plist::WriteXml(tree), *plist::WriteBinary(tree)}) {
    if (plist::Read(form).root != tree) return "does not come back: " + form;
    const std::string fault = DamageFault(tree, form, choices);
    if (!fault.empty()) return fault;
  }
  prefstool::TextError error;
  const std::string json = prefstool::JsonText(tree);
  if (prefstool::ReadJson(json, &error) != tree) return "JSON does not come back: " + json;
  return "";
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return orvik::fuzz::CheckProperty(orvik::fuzz::CircleFault, data, size);
}
