#include "tools/orvikprefs/elements.h"

#include <charconv>
#include <memory>
#include <utility>

#include "platform/core_foundation/array.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool {

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
  const auto filled = std::make_shared<CAutoCFRelease<CFMutableArrayRef>>(NewArray());
  transaction.RequireThat(key, name, [filled, make = std::move(make)](CFTypeRef present) {
    const Value made = make(present);
    const auto array = static_cast<CFArrayRef>(made.Get());
    for (CFIndex i = 0; made && i < CFArrayGetCount(array); ++i) {
      CFArrayAppendValue(*filled, CFArrayGetValueAtIndex(array, i));
    }
    return static_cast<bool>(made);
  });
  transaction.Set(key, name, filled->Get());
}

}  // namespace orvik::prefstool
