#include "prefs/salvage.h"

#include <string>
#include <string_view>
#include <vector>

#include "platform/core_foundation/property_list.h"
#include "prefs/dictionary_type.h"
#include "prefs/platform_values.h"

namespace orvik {

namespace {

bool IsContainer(std::string_view name) {
  return name == "plist" || name == "dict" || name == "array";
}

// Goes through the tags of the text up to its end or an end tag that does not fit, and gives the
// end tags that close what is open there. cuts, unless null, receives the places right after a
// complete value or the start of a dictionary; whether what lies before such a place is really
// sound is for the parser to say.
std::string Scan(std::string_view text, std::vector<std::size_t>* cuts) {
  constexpr std::size_t kMaximumDepth = kPropertyListMaximumDepth + 1;
  std::vector<std::string_view> open;
  const auto cut_at = [&](std::size_t place) {
    if (cuts != nullptr) {
      cuts->push_back(place);
    }
  };
  for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at)) {
    const bool is_comment = text.substr(at).starts_with("<!--");
    const std::size_t end = text.find(is_comment ? "-->" : ">", at);
    if (end == std::string_view::npos) {
      break;
    }
    const std::string_view tag = text.substr(at + 1, end - at - 1);
    at = end + 1;
    if (tag.starts_with('?') || tag.starts_with('!')) {
      continue;
    }
    const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n"));
    if (tag.starts_with('/')) {
      const std::string_view ended = name.substr(1);
      if (IsContainer(ended)) {
        if (open.empty() || open.back() != ended) {
          break;
        }
        open.pop_back();
      }
      if (ended != "key" && ended != "plist") {
        cut_at(at);
      }
    } else if (tag.ends_with('/')) {
      cut_at(at);
    } else if (IsContainer(name)) {
      if (open.size() == kMaximumDepth) {
        break;
      }
      open.push_back(name);
      if (name == "dict") {
        cut_at(at);
      }
    }
  }
  std::string closing;
  for (auto name = open.rbegin(); name != open.rend(); ++name) {
    closing += "</" + std::string(*name) + ">";
  }
  return closing;
}

CAutoCFRelease<CFMutableDictionaryRef> ParseClosed(std::string_view text) {
  const std::string whole = std::string(text) + Scan(text, nullptr);
  const CAutoCFRelease<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                                    reinterpret_cast<const UInt8*>(whole.data()),
                                                    static_cast<CFIndex>(whole.size())));
  CAutoCFRelease<CFTypeRef> root(CFPropertyListCreateFromXMLData(
      kCFAllocatorDefault, data, kCFPropertyListMutableContainers, nullptr));
  return IsADictionaryType(root) ? CAutoCFRelease<CFMutableDictionaryRef>(AsMutable(root.Detach()))
                                 : CAutoCFRelease<CFMutableDictionaryRef>();
}

}  // namespace

CAutoCFRelease<CFMutableDictionaryRef> SalvageEntries(CFDataRef bytes) {
  const std::string_view text(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                              static_cast<std::size_t>(CFDataGetLength(bytes)));
  std::vector<std::size_t> cuts;
  Scan(text, &cuts);
  CAutoCFRelease<CFMutableDictionaryRef> best;
  // Behind the place that went wrong no cut is sound; before it every one is.
  std::size_t sound = 0;
  std::size_t broken = cuts.size();
  while (sound < broken) {
    const std::size_t middle = sound + (broken - sound) / 2;
    if (auto entries = ParseClosed(text.substr(0, cuts[middle]))) {
      best = std::move(entries);
      sound = middle + 1;
    } else {
      broken = middle;
    }
  }
  return best;
}

}  // namespace orvik
