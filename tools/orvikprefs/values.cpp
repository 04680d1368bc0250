#include "tools/orvikprefs/values.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "plist/leaves.h"
#include "text/byte_encodings.h"
#include "text/case_and_spelling.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

// The name and form of each type, in the order of Type.
struct TypeRow {
  const char* name;
  const char* form;
};
constexpr TypeRow kTypes[] = {
    {"", ""},
    {"string", "UTF-8"},
    {"integer", "an integer of 64 bits"},
    {"real", "a real number"},
    {"boolean", "true or false"},
    {"date", "a date such as 2024-05-06T07:08:09Z or 2024-05-06T07:08:09.25Z"},
    {"data", "Base64"},
    {"array", "a JSON array"},
    {"dictionary", "a JSON object"},
};

constexpr char kEscape[] = "\uFDD0";  // begins the escape of a unit that UTF-8 cannot represent

bool HasSameBits(double one, double other) {
  return std::bit_cast<std::uint64_t>(one) == std::bit_cast<std::uint64_t>(other);
}

// The decimal form is used only for dates that it represents to the bit. That excludes NaN,
// infinities, the negative zero and, if the whole seconds need all digits of a double, some
// fractions.
std::string DateText(double seconds) {
  constexpr double kFirst = -63113904000, kEnd = 252423993600;  // the years 1 to 9999
  const double whole = std::floor(seconds), fraction = seconds - whole;
  const bool is_exact =
      seconds >= kFirst && seconds < kEnd && fraction < 1 && HasSameBits(whole + fraction, seconds);
  std::string text;
  if (!is_exact) {
    const auto bits = std::bit_cast<std::uint64_t>(seconds);
    text = "0x";
    for (int shift = 60; shift >= 0; shift -= 4) text += "0123456789abcdef"[bits >> shift & 0xF];
    return text;
  }
  plist::AppendDate(text, whole);
  if (fraction != 0) {
    // The fewest digits that give the same fraction again, without the leading zero.
    char digits[400];
    const auto end =
        std::to_chars(digits, digits + sizeof digits, fraction, std::chars_format::fixed);
    text.insert(text.size() - 1, digits + 1, static_cast<std::size_t>(end.ptr - digits) - 1);
  }
  return text;
}

// Accepts the forms of DateText, and those of plist::ParseDate. The fraction is read as a separate
// double and added, as DateText separates it.
Value ParseDate(std::string_view text) {
  const char* const last = text.data() + text.size();
  if (text.starts_with("0x")) {
    std::uint64_t bits = 0;
    const auto [end, error] = std::from_chars(text.data() + 2, last, bits, 16);
    const bool is_sound = text.size() == 18 && error == std::errc() && end == last;
    return is_sound ? Value::Date(std::bit_cast<double>(bits)) : Value();
  }
  std::string whole(text);
  double fraction = 0;
  if (const std::size_t point = text.find('.'); point != std::string_view::npos) {
    const std::string_view digits =
        text.substr(point + 1, text.size() - std::min(text.size(), point + 2));
    if (!text.ends_with('Z') || digits.empty() ||
        digits.find_first_not_of("0123456789") != std::string_view::npos) {
      return {};
    }
    const auto parsed = ParseNumber<double>("0." + std::string(digits));
    if (!parsed) return {};
    fraction = *parsed;
    whole.erase(point, digits.size() + 1);
  }
  const std::optional<double> seconds = plist::ParseDate(whole);
  return seconds ? Value::Date(*seconds + fraction) : Value();
}

// The shortest decimal form that gives the same double, always with a point or an exponent, so that
// it is not read as an integer.
std::string RealText(double real) {
  if (std::isnan(real)) return "nan";
  if (std::isinf(real)) return real > 0 ? "inf" : "-inf";
  std::string text;
  plist::AppendReal(text, real);
  if (text.find_first_of(".e") == std::string::npos) text += ".0";
  return text;
}

// Decodes the escapes of ValueText.
Value ParseString(std::string_view text) {
  std::optional<Value> string = Value::FromUtf8(text);
  if (!string) return {};
  if (text.find(kEscape) == std::string_view::npos) return *std::move(string);
  std::u16string units = string->text().ToUnits();
  plist::UnescapeText(units);
  return units;
}

// A signed 64-bit integer if the number fits, else an unsigned one.
Value ParseInteger(std::string_view text) {
  if (const auto number = ParseNumber<std::int64_t>(text)) return *number;
  const auto large = ParseNumber<std::uint64_t>(text);
  return large ? Value(*large) : Value();
}

Value ParseReal(std::string_view text) {
  if (text == "nan") return std::numeric_limits<double>::quiet_NaN();
  if (text == "inf") return std::numeric_limits<double>::infinity();
  if (text == "-inf") return -std::numeric_limits<double>::infinity();
  // Excludes the names of infinities and NaN, which from_chars also accepts.
  const bool is_decimal = text.find_first_not_of("0123456789.eE+-") == std::string_view::npos;
  const auto real = ParseNumber<double>(text);
  return is_decimal && real ? Value(*real) : Value();
}

// The words of scripts and other stores, in any case.
Value ParseBoolean(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> kWords[] = {
      {"true", "false"}, {"yes", "no"}, {"on", "off"}, {"1", "0"}};
  const auto is = [text](std::string_view word) {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char one, char other) {
      return LowerAscii(static_cast<unsigned char>(one)) == static_cast<unsigned char>(other);
    });
  };
  for (const auto& [set, unset] : kWords) {
    if (is(set)) return true;
    if (is(unset)) return false;
  }
  return {};
}

// The position for an index, from 0; no value when it is out of range.
std::optional<std::size_t> Position(const Value& array, long index, bool end_counts) {
  const auto count = static_cast<long>(array.elements().size());
  const long position = index < 0 ? count + index : index;
  if (position < 0 || position >= count + (end_counts ? 1 : 0)) return std::nullopt;
  return static_cast<std::size_t>(position);
}

}  // namespace

const char* TypeName(Type type) {
  return kTypes[static_cast<int>(type)].name;
}

const char* TypeForm(Type type) {
  return kTypes[static_cast<int>(type)].form;
}

// Base64 may be long, so a mistake in it is reported by its position.
std::string WhyNot(Type type, std::string_view text) {
  const std::string what = std::string("not ") + TypeForm(type);
  const std::optional<std::size_t> fault = type == Type::kData ? Base64Fault(text) : std::nullopt;
  return fault ? what + ", from character " + std::to_string(*fault + 1) + " on" : what;
}

std::string ValueText(const Value& value) {
  switch (value.type()) {
    case Type::kString:
      return plist::EscapedSurrogates(value.text());
    case Type::kInteger: {
      std::string text;
      plist::AppendInteger(text, value.integer());
      return text;
    }
    case Type::kReal:
      return RealText(value.real());
    case Type::kBoolean:
      return value.boolean() ? "true" : "false";
    case Type::kDate:
      return DateText(value.date());
    case Type::kData:
      return EncodedBase64(*value.data());
    default:
      return JsonText(value);
  }
}

Value ParseValue(Type type, std::string_view text) {
  switch (type) {
    case Type::kString:
      return ParseString(text);
    case Type::kInteger:
      return ParseInteger(text);
    case Type::kReal:
      return ParseReal(text);
    case Type::kBoolean:
      return ParseBoolean(text);
    case Type::kDate:
      return ParseDate(text);
    case Type::kData:
      return Base64Fault(text) ? Value() : Value::Data(*plist::ParseData(text));
    default:
      break;
  }
  TextError error;
  Value value = ReadJson(text, &error);
  return value.type() == type ? std::move(value) : Value();
}

std::string NameText(const plist::Text& name) {
  return plist::EscapedSurrogates(name);
}

// Decodes the escapes of NameText.
std::optional<CAtlString> NameUnits(std::string_view name) {
  const Value text = ParseString(name);
  if (!text) return std::nullopt;
  return CAtlString(std::u16string_view(text.text().ToUnits()));
}

Path PathOf(const KeyPath& key) {
  Path path;
  for (int i = 1; i <= key.count(); ++i) path.push_back(NameText(key.name(i)));
  return path;
}

bool IsAtOrBelow(const Path& path, const Path& above) {
  return path.size() >= above.size() && std::equal(above.begin(), above.end(), path.begin());
}

// With "/" between the names if ParseKey can read that back; otherwise as a JSON array.
std::string JoinedPath(const Path& path) {
  const auto needs_array = [](const std::string& name) {
    return name.empty() || name.find('/') != std::string::npos ||
           name.find(kEscape) != std::string::npos || Escaped(name) != name;
  };
  if (std::any_of(path.begin(), path.end(), needs_array) ||
      (!path.empty() && path.front().starts_with('['))) {
    return JsonWriter(JsonWriter::Layout::kOneLine).Texts(path).Release();
  }
  std::string text;
  for (const std::string& name : path) {
    if (!text.empty()) text += '/';
    text += name;
  }
  return text;
}

std::optional<KeyPath> KeyOfNames(const Value& list) {
  if (!list.is_array()) return std::nullopt;
  std::vector<CAtlString> names;
  for (const Value& name : list.elements()) {
    if (!name.is_string()) return std::nullopt;
    names.emplace_back(std::u16string_view(name.text().ToUnits()));
  }
  return KeyPath::FromNames(std::move(names));
}

// A JSON array of strings is a list of names. Other texts, even if they begin with "[", are paths
// with separators.
std::optional<KeyPath> ParseKey(const std::string& text) {
  TextError error;
  const Value list = text.starts_with('[') ? ReadJson(text, &error) : Value();
  if (std::optional<KeyPath> names = KeyOfNames(list)) return names;
  const std::optional<CAtlString> path = NameUnits(text);
  if (!path) return std::nullopt;
  return KeyPath(*path);
}

EntryWalk::EntryWalk(const Value& tree, Path above)
    : tree_(tree), above_(above.size()), path_(std::move(above)) {
  levels_.push_back({plist::SortedEntries(tree_)});
}

// Enters a dictionary right after it was visited. Uses a stack of levels instead of recursion,
// because lists may be nested deeply.
bool EntryWalk::Next() {
  if (entry_ != nullptr && !is_leaf()) levels_.push_back({plist::SortedEntries(value())});
  while (levels_.back().next == levels_.back().entries.size()) {
    if (levels_.size() == 1) {
      entry_ = nullptr;
      return false;
    }
    levels_.pop_back();
  }
  Level& level = levels_.back();
  entry_ = level.entries[level.next++];
  path_.resize(above_ + levels_.size() - 1);
  path_.push_back(NameText(name()));
  return true;
}

// Reads the indices from the end, because the name itself may contain brackets. "a[1][x]" is a
// name: its last bracket does not contain a number.
std::optional<ElementPath> ParseElement(const CAtlString& text) {
  std::string rest = ToUtf8(text);
  ElementPath path;
  while (rest.ends_with(']')) {
    const std::size_t begin = rest.rfind('[');
    if (begin == std::string::npos) return std::nullopt;
    long index = 0;
    const std::string_view digits(rest.data() + begin + 1, rest.size() - begin - 2);
    const char* const last = digits.data() + digits.size();
    const auto [end, error] = std::from_chars(digits.data(), last, index);
    if (error == std::errc::invalid_argument || end != last) return std::nullopt;
    // Greater than the length of any array.
    if (error != std::errc()) index = std::numeric_limits<long>::max();
    path.indices.insert(path.indices.begin(), index);
    rest.resize(begin);
  }
  if (path.indices.empty()) return std::nullopt;
  path.name = *FromUtf8(rest);
  return path;
}

// A negative index counts from the end. No value when an index is out of range or leads into a
// value that is not an array.
Value ElementAt(Value array, std::span<const long> indices) {
  for (const long index : indices) {
    if (!array.is_array()) return {};
    const std::optional<std::size_t> position = Position(array, index, false);
    if (!position) return {};
    array = Value(array.elements()[*position]);
  }
  return array;
}

// Copies the arrays on the path to the element; the others are shared with the old value. No value
// when an index is out of range. Appending makes a missing array.
Value WithElement(Value array, std::span<const long> indices, ElementChange change,
                  const Value& value) {
  const bool appends = change == ElementChange::kAppend;
  if (!array && appends && indices.empty()) array = Value::Array();
  Value* at = &array;
  for (const long index : appends ? indices : indices.first(indices.size() - 1)) {
    if (!at->is_array()) return {};
    const std::optional<std::size_t> position = Position(*at, index, false);
    if (!position) return {};
    at = &at->ChangeElements()[*position];
  }
  if (!at->is_array()) return {};
  if (appends) {
    at->Append(value);
    return array;
  }
  const std::optional<std::size_t> position =
      Position(*at, indices.back(), change == ElementChange::kInsert);
  if (!position) return {};
  std::vector<Value>& elements = at->ChangeElements();
  const auto place = elements.begin() + static_cast<std::ptrdiff_t>(*position);
  if (change == ElementChange::kInsert) {
    elements.insert(place, value);
  } else if (change == ElementChange::kRemove) {
    elements.erase(place);
  } else {
    *place = value;
  }
  return array;
}

}  // namespace orvik::prefstool
