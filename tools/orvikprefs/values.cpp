#include "tools/orvikprefs/values.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <memory>
#include <utility>

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/data.h"
#include "platform/core_foundation/date.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/property_list.h"
#include "plist/escape.h"
#include "prefs/preferences.h"
#include "text/byte_encodings.h"
#include "text/case_and_spelling.h"
#include "tools/orvikprefs/json.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

namespace {

using Value = CAutoCFRelease<CFPropertyListRef>;

// Every name and form in the order of ValueType.
struct TypeRow {
  const char* name;
  const char* form;
};
constexpr TypeRow kTypes[] = {
    {"string", "UTF-8"},
    {"integer", "an integer of 64 bits"},
    {"real", "a real number"},
    {"boolean", "true or false"},
    {"date", "a date such as 2024-05-06T07:08:09Z or 2024-05-06T07:08:09.25Z"},
    {"data", "Base64"},
    {"array", "a JSON array"},
    {"dictionary", "a JSON object"},
};

// The property-list reader knows these forms already; only text without markup may reach it.
Value ReadElement(const std::string& element, std::string_view text) {
  if (text.find_first_of("<&") != std::string_view::npos) return Value();
  const std::string document =
      "<plist version=\"1.0\"><" + element + ">" + std::string(text) + "</" + element + "></plist>";
  const CAutoCFRelease<CFDataRef> bytes(
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(document.data()),
                   static_cast<CFIndex>(document.size())));
  return Value(CFPropertyListCreateFromXMLData(kCFAllocatorDefault, bytes, kCFPropertyListImmutable,
                                               nullptr));
}

// The texts of json.h.
Value ParseDate(std::string_view text) {
  const char* const last = text.data() + text.size();
  if (text.starts_with("0x")) {
    std::uint64_t bits = 0;
    const auto [end, error] = std::from_chars(text.data() + 2, last, bits, 16);
    if (text.size() != 18 || error != std::errc() || end != last) return Value();
    return Value(CFDateCreate(kCFAllocatorDefault, std::bit_cast<double>(bits)));
  }
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return ReadElement("date", text);
  const std::string_view digits =
      text.substr(point + 1, text.size() - std::min(text.size(), point + 2));
  if (!text.ends_with('Z') || digits.empty() ||
      digits.find_first_not_of("0123456789") != std::string_view::npos) {
    return Value();
  }
  const Value whole = ReadElement("date", std::string(text.substr(0, point)) + "Z");
  const std::string zero = "0." + std::string(digits);
  double fraction = 0;
  const auto read = std::from_chars(zero.data(), zero.data() + zero.size(), fraction);
  if (!whole || read.ec != std::errc()) return Value();
  return Value(CFDateCreate(kCFAllocatorDefault,
                            CFDateGetAbsoluteTime(static_cast<CFDateRef>(whole.Get())) + fraction));
}

Value ParseInteger(std::string_view text) {
  SInt64 value = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value);
  if (error == std::errc() && end == last) {
    return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
  }
  const bool digits = !text.empty() && std::all_of(text.begin(), text.end(), [](char byte) {
    return byte >= '0' && byte <= '9';
  });
  return digits ? ReadElement("integer", text) : Value();
}

Value ParseReal(std::string_view text) {
  if (text == "nan" || text == "inf" || text == "-inf") return ReadElement("real", text);
  double value = 0;
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, value);
  // The names that from_chars takes for infinities and the like are not decimal numbers.
  const bool decimal = text.find_first_not_of("0123456789.eE+-") == std::string_view::npos;
  if (error != std::errc() || end != last || !decimal) return Value();
  return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &value));
}

Value ParseBoolean(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> kWords[] = {
      {"true", "false"}, {"yes", "no"}, {"on", "off"}, {"1", "0"}};
  const auto is = [text](std::string_view word) {
    return std::equal(text.begin(), text.end(), word.begin(), word.end(), [](char one, char other) {
      return LowerAscii(static_cast<unsigned char>(one)) == static_cast<unsigned char>(other);
    });
  };
  for (const auto& [set, unset] : kWords) {
    if (is(set)) return Value::Retaining(kCFBooleanTrue);
    if (is(unset)) return Value::Retaining(kCFBooleanFalse);
  }
  return Value();
}

bool IsBefore(const Entry& one, const Entry& other) {
  return CFStringCompare(one.name, other.name, 0) == kCFCompareLessThan;
}

}  // namespace

ValueType TypeOf(CFPropertyListRef value) {
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFStringGetTypeID()) return ValueType::kString;
  if (type == CFBooleanGetTypeID()) return ValueType::kBoolean;
  if (type == CFNumberGetTypeID()) {
    return CFNumberIsFloatType(static_cast<CFNumberRef>(value)) ? ValueType::kReal
                                                                : ValueType::kInteger;
  }
  if (type == CFDateGetTypeID()) return ValueType::kDate;
  if (type == CFDataGetTypeID()) return ValueType::kData;
  return type == CFArrayGetTypeID() ? ValueType::kArray : ValueType::kDictionary;
}

const char* TypeName(ValueType type) {
  return kTypes[static_cast<int>(type)].name;
}

const char* TypeForm(ValueType type) {
  return kTypes[static_cast<int>(type)].form;
}

std::string WhyNot(ValueType type, std::string_view text) {
  const std::string what = std::string("not ") + TypeForm(type);
  const std::optional<std::size_t> fault =
      type == ValueType::kData ? Base64Fault(text) : std::nullopt;
  return fault ? what + ", from character " + std::to_string(*fault + 1) + " on" : what;
}

bool IsDictionary(CFPropertyListRef value) {
  return value != nullptr && IsADictionaryType(value);
}

std::string ValueText(CFPropertyListRef value) {
  if (TypeOf(value) == ValueType::kString) {
    const CAtlString text(static_cast<CFStringRef>(value));
    return plist::EscapedSurrogates(text.View());
  }
  std::string json = JsonText(value);
  // Dates, data and reals that are not numbers are wrapped in JSON, to carry their type. None of
  // their texts holds a quote.
  if (!IsDictionary(value) && json.starts_with('{')) {
    const std::size_t begin = json.find(':') + 2;
    return json.substr(begin, json.rfind('"') - begin);
  }
  return json;
}

CAutoCFRelease<CFPropertyListRef> ParseValue(ValueType type, std::string_view text) {
  switch (type) {
    case ValueType::kString: {
      const std::optional<CAtlString> string = FromUtf8(text);
      return Value(string ? string->CreateCFStringRef(kCFAllocatorDefault) : nullptr);
    }
    case ValueType::kInteger:
      return ParseInteger(text);
    case ValueType::kReal:
      return ParseReal(text);
    case ValueType::kBoolean:
      return ParseBoolean(text);
    case ValueType::kDate:
      return ParseDate(text);
    case ValueType::kData:
      return Base64Fault(text) ? Value() : ReadElement("data", text);
    case ValueType::kArray:
    case ValueType::kDictionary:
      break;
  }
  TextError error;
  Value value = ReadJson(text, &error);
  return value && TypeOf(value) == type ? std::move(value) : Value();
}

bool IsTextOf(CFPropertyListRef value, const std::string& text) {
  if (ValueText(value) == text) return true;
  const Value parsed = ParseValue(TypeOf(value), text);
  return parsed && CFEqual(parsed, value);
}

std::vector<Entry> SortedEntries(CFDictionaryRef dictionary) {
  const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
  std::vector<const void*> names(count), values(count);
  CFDictionaryGetKeysAndValues(dictionary, names.data(), values.data());
  std::vector<Entry> entries(count);
  for (std::size_t i = 0; i < count; ++i) {
    entries[i] = {static_cast<CFStringRef>(names[i]), values[i]};
  }
  // Entries read from a file of ours are in order already.
  if (!std::is_sorted(entries.begin(), entries.end(), IsBefore)) {
    std::sort(entries.begin(), entries.end(), IsBefore);
  }
  return entries;
}

bool EntryWalk::Next() {
  if (has_entries_) levels_.push_back({SortedEntries(static_cast<CFDictionaryRef>(value_))});
  while (levels_.back().next == levels_.back().entries.size()) {
    if (levels_.size() == 1) {
      has_entries_ = false;
      return false;
    }
    levels_.pop_back();
  }
  Level& level = levels_.back();
  const Entry& entry = level.entries[level.next++];
  names_.resize(levels_.size() - 1);
  names_.push_back(entry.name);
  value_ = entry.value;
  has_entries_ =
      IsDictionary(value_) && CFDictionaryGetCount(static_cast<CFDictionaryRef>(value_)) > 0;
  return true;
}

Path PathBelow(Path above, const std::vector<CFStringRef>& names) {
  for (const CFStringRef name : names) above.push_back(ToUtf8(name));
  return above;
}

Path PathOf(const KeyPath& key) {
  Path path;
  for (int i = 1; i <= key.count(); ++i) path.push_back(ToUtf8(key.name(i)));
  return path;
}

std::string JoinedPath(const Path& path) {
  const bool as_array = std::any_of(path.begin(), path.end(),
                                    [](const std::string& name) {
                                      return name.empty() || name.find('/') != std::string::npos ||
                                             Escaped(name) != name;
                                    }) ||
                        (!path.empty() && path.front().starts_with('['));
  if (as_array) return JsonWriter(JsonWriter::Layout::kOneLine).Texts(path).Release();
  std::string text;
  for (const std::string& name : path) {
    if (!text.empty()) text += '/';
    text += name;
  }
  return text;
}

std::optional<KeyPath> ParseKey(const std::string& text) {
  TextError error;
  const Value list = text.starts_with('[') ? ReadJson(text, &error) : Value();
  std::vector<CAtlString> names;
  bool texts_alone = static_cast<bool>(list);
  const CFIndex count = list ? CFArrayGetCount(static_cast<CFArrayRef>(list.Get())) : 0;
  for (CFIndex i = 0; i < count && texts_alone; ++i) {
    const CFTypeRef name = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(list.Get()), i);
    texts_alone = TypeOf(name) == ValueType::kString;
    if (texts_alone) names.emplace_back(static_cast<CFStringRef>(name));
  }
  if (texts_alone) return KeyPath::FromNames(std::move(names));
  const std::optional<CAtlString> path = FromUtf8(text);
  if (!path) return std::nullopt;
  return KeyPath(*path);
}

namespace {

using Value = CAutoCFRelease<CFPropertyListRef>;

bool IsArray(CFTypeRef value) {
  return value != nullptr && TypeOf(value) == ValueType::kArray;
}

CAutoCFRelease<CFMutableArrayRef> NewArray() {
  return CAutoCFRelease<CFMutableArrayRef>(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
}

// The position that an index means, from 0; -1 for none.
CFIndex Position(CFArrayRef array, long index, bool end_counts) {
  const CFIndex count = CFArrayGetCount(array);
  const CFIndex position = index < 0 ? count + index : index;
  return position >= 0 && position < count + (end_counts ? 1 : 0) ? position : -1;
}

}  // namespace

std::optional<ElementPath> ParseElement(const CAtlString& text) {
  std::string rest = ToUtf8(text);
  ElementPath path;
  while (rest.ends_with(']')) {
    const std::size_t begin = rest.rfind('[');
    if (begin == std::string::npos) return std::nullopt;
    long index = 0;
    const char* const last = rest.data() + rest.size() - 1;
    const auto [end, error] = std::from_chars(rest.data() + begin + 1, last, index);
    if (error != std::errc() || end != last) return std::nullopt;
    path.indices.insert(path.indices.begin(), index);
    rest.resize(begin);
  }
  if (path.indices.empty()) return std::nullopt;
  path.name = *FromUtf8(rest);
  return path;
}

CFTypeRef ElementAt(CFTypeRef array, std::span<const long> indices) {
  for (const long index : indices) {
    if (!IsArray(array)) return nullptr;
    const auto elements = static_cast<CFArrayRef>(array);
    const CFIndex position = Position(elements, index, false);
    if (position < 0) return nullptr;
    array = CFArrayGetValueAtIndex(elements, position);
  }
  return array;
}

CAutoCFRelease<CFPropertyListRef> WithElement(CFTypeRef array, std::span<const long> indices,
                                              ElementChange change, CFTypeRef value) {
  const bool appends_here = change == ElementChange::kAppend && indices.empty();
  if (!IsArray(array) && !(appends_here && array == nullptr)) return Value();
  const auto old = static_cast<CFArrayRef>(array);
  const CFIndex count = old != nullptr ? CFArrayGetCount(old) : 0;
  CFIndex position = count;
  if (!appends_here) {
    const bool is_last = indices.size() == 1;
    position = Position(old, indices[0], is_last && change == ElementChange::kInsert);
    if (position < 0) return Value();
  }
  const bool goes_on = !appends_here && (indices.size() > 1 || change == ElementChange::kAppend);
  const CAutoCFRelease<CFMutableArrayRef> made = NewArray();
  for (CFIndex i = 0; i < count; ++i) {
    const CFTypeRef element = CFArrayGetValueAtIndex(old, i);
    if (i != position) {
      CFArrayAppendValue(made, element);
    } else if (goes_on) {
      const Value inner = WithElement(element, indices.subspan(1), change, value);
      if (!inner) return Value();
      CFArrayAppendValue(made, inner);
    } else {
      if (change != ElementChange::kRemove) CFArrayAppendValue(made, value);
      if (change == ElementChange::kInsert) CFArrayAppendValue(made, element);
    }
  }
  if (position == count) CFArrayAppendValue(made, value);
  return Value::Retaining(made.Get());
}

void UpdateArray(Transaction& transaction, const KeyPath& key, const CAtlString& name,
                 std::function<CAutoCFRelease<CFPropertyListRef>(CFTypeRef present)> make) {
  transaction.Update(key, name, [make = std::move(make)](const plist::Value& present) {
    const Value object(CreateObject(present, kCFPropertyListMutableContainers));
    const Value made = make(object);
    return made ? ValueOf(made) : plist::Value();
  });
}

}  // namespace orvik::prefstool
