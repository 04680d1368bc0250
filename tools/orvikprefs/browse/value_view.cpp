#include "tools/orvikprefs/browse/value_view.h"

#include <string_view>

#include "platform/core_foundation/data.h"
#include "platform/core_foundation/property_list_equality.h"
#include "tools/orvikprefs/browse/text_columns.h"
#include "tools/orvikprefs/browse/value_form.h"
#include "tools/orvikprefs/json_form.h"
#include "tools/orvikprefs/text.h"

namespace orvik::prefstool::browse {
namespace {

std::string Counted(std::size_t count, const char* one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string Heading(CFPropertyListRef value) {
  std::string type = TypeName(value);
  switch (TypeOf(value)) {
    case ValueType::kString: {
      const CFIndex units = CFStringGetLength(static_cast<CFStringRef>(value));
      return type + ", " + Counted(static_cast<std::size_t>(units), "UTF-16 unit");
    }
    case ValueType::kData: {
      const CFIndex bytes = CFDataGetLength(static_cast<CFDataRef>(value));
      return type + ", " + Counted(static_cast<std::size_t>(bytes), "byte");
    }
    case ValueType::kArray:
      return type + ", " + Counted(ChildrenOf(value).size(), "element");
    case ValueType::kDictionary:
      return type + ", " + std::to_string(CountBelow(static_cast<CFDictionaryRef>(value))) +
             " below it";
    default:
      return type;
  }
}

void AddValue(std::vector<std::string>& lines, CFPropertyListRef value, int columns) {
  std::string text;
  if (IsContainer(value)) {
    text = JsonText(value, JsonWriter::Layout::kIndented);
  } else if (TypeOf(value) == ValueType::kData) {
    text = HexOf(static_cast<CFDataRef>(value));
  } else {
    text = ValueText(value);
  }
  for (std::size_t at = 0; at <= text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line = std::string_view(text).substr(at, end - at);
    for (std::string& part : WrapColumns(Escaped(line), columns)) lines.push_back(std::move(part));
    at = end + 1;
  }
}

}  // namespace

std::vector<std::string> ViewLines(CFPropertyListRef now, CFPropertyListRef before, int columns) {
  std::vector<std::string> lines;
  lines.push_back(now != nullptr ? Heading(now) : "(nothing)");
  if (now != nullptr) AddValue(lines, now, columns);
  if (IsSameValue(now, before)) return lines;
  lines.emplace_back();
  lines.push_back("before: " + (before != nullptr ? Heading(before) : "(nothing)"));
  if (before != nullptr) AddValue(lines, before, columns);
  return lines;
}

}  // namespace orvik::prefstool::browse
