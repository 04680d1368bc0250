#include "prefs/salvage.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/property_list_salvage.h"
#include "platform/core_foundation/string.h"
#include "prefs/dictionary_type.h"
#include "prefs/platform_values.h"
#include "prefs/salvage_xml.h"
#include "strings/utf8_strings.h"
#include "text/shown_text.h"

namespace orvik {

namespace {

// Sorts the losses by their places, and finds lines and columns in one pass.
void NamePlaces(std::string_view text, const std::vector<std::size_t>& places,
                std::vector<PrefLoss>& losses) {
  std::vector<std::size_t> order(places.size());
  for (std::size_t i = 0; i < order.size(); ++i) {
    order[i] = i;
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return places[a] < places[b]; });
  std::vector<PrefLoss> sorted;
  TextPlace place;
  std::size_t reached = 0;
  for (const std::size_t index : order) {
    const TextPlace step = PlaceInText(text.substr(reached), places[index] - reached);
    place = {place.line + step.line - 1,
             step.line > 1 ? step.column : place.column + step.column - 1};
    reached = places[index];
    PrefLoss loss = std::move(losses[index]);
    loss.line = place.line;
    loss.column = place.column;
    sorted.push_back(std::move(loss));
  }
  losses = std::move(sorted);
}

// The losses of XML with lines and columns.
Salvage FromXml(std::string_view text) {
  XmlSalvage xml = SalvageXml(text);
  Salvage salvage;
  salvage.entries = std::move(xml.entries);
  salvage.lost = xml.lost;
  std::vector<std::size_t> places;
  for (XmlLoss& loss : xml.losses) {
    salvage.losses.push_back({std::move(loss.path), loss.what, 0, 0, loss.bytes});
    places.push_back(loss.place);
  }
  NamePlaces(text, places, salvage.losses);
  return salvage;
}

// What was saved of the binary or the old text form; `text` is null for the binary one.
Salvage FromOtherForm(CAutoCFRelease<CFTypeRef> root, const PropertyListLosses& losses,
                      const std::string* text) {
  Salvage salvage;
  if (!IsADictionaryType(root)) {
    return salvage;
  }
  salvage.entries.Attach(AsMutable(root.Detach()));
  salvage.lost = losses.count();
  std::vector<std::size_t> places;
  for (const PropertyListLoss& loss : losses.list()) {
    const CAtlStringA path(loss.path.data(), static_cast<int>(loss.path.size()));
    salvage.losses.push_back(
        {MakeWideStringFromUTF8String(path), loss.what, 0, loss.place, loss.bytes});
    places.push_back(loss.place);
  }
  if (text != nullptr) {
    NamePlaces(*text, places, salvage.losses);
  }
  return salvage;
}

}  // namespace

Salvage NothingOf(const char* what, CFDataRef bytes) {
  Salvage salvage;
  salvage.entries = NewDictionary();
  salvage.losses.push_back(
      {CAtlString(), what, 1, 1, static_cast<std::size_t>(CFDataGetLength(bytes))});
  salvage.lost = 1;
  return salvage;
}

namespace {

// A byte of the mark may be wrong.
bool BeginsLikeBinary(std::string_view bytes) {
  constexpr std::string_view kMark = "bplist00";
  std::size_t same = 0;
  for (std::size_t i = 0; i < std::min(kMark.size(), bytes.size()); ++i) {
    same += bytes[i] == kMark[i] ? 1 : 0;
  }
  return bytes.starts_with("bplist") || same + 1 == kMark.size();
}

Salvage SalvageAnyForm(CFDataRef bytes) {
  const std::string_view view(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                              static_cast<std::size_t>(CFDataGetLength(bytes)));
  using Root = CAutoCFRelease<CFTypeRef>;
  PropertyListLosses losses;
  if (BeginsLikeBinary(view)) {
    return FromOtherForm(Root(SalvageBinaryPropertyList(view, losses)), losses, nullptr);
  }
  const std::string text = SalvagedText(view);
  const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  const bool is_braced = text.substr(start, 1) == "{";
  Salvage salvage;
  if (!is_braced) {
    salvage = FromXml(text);
  }
  if (salvage.entries || text.substr(start, 1) == "<") {
    return salvage;
  }
  return FromOtherForm(Root(SalvageTextPropertyList(text, losses)), losses, &text);
}

}  // namespace

Salvage SalvageEntries(CFDataRef bytes) {
  Salvage salvage = SalvageAnyForm(bytes);
  if (!salvage.entries && salvage.lost == 0 && CFDataGetLength(bytes) > 0) {
    return NothingOf("a list that cannot be read", bytes);
  }
  if (!salvage.entries) {
    salvage.entries = NewDictionary();
  }
  return salvage;
}

}  // namespace orvik
