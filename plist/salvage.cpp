#include "plist/salvage.h"

#include <algorithm>

#include "plist/forms.h"
#include "text/shown_text.h"

namespace orvik::plist {

namespace {

// Allows one wrong byte in the mark.
bool BeginsLikeBinary(std::string_view bytes) {
  constexpr std::string_view kMark = "bplist00";
  std::size_t same = 0;
  for (std::size_t i = 0; i < std::min(kMark.size(), bytes.size()); ++i) {
    same += bytes[i] == kMark[i] ? 1 : 0;
  }
  return bytes.starts_with("bplist") || same + 1 == kMark.size();
}

// The first byte, which survives most damage, decides the form. A file that begins with neither "<"
// nor "{" is tried as XML and, if that saves nothing, as the old text form.
Value SalvageAnyForm(std::string_view bytes, Losses& losses) {
  if (BeginsLikeBinary(bytes)) {
    Value root = SalvageBinary(bytes, losses);
    losses.NamePlaces(nullptr);
    return root;
  }
  const std::string text = SalvagedText(bytes);
  const std::string_view view = text;
  const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  const char first = start < text.size() ? text[start] : '\0';
  if (first != '{') {
    Losses of_xml;
    Value root = SalvageXml(text, of_xml);
    if (root || first == '<') {
      losses = std::move(of_xml);
      losses.NamePlaces(&view);
      return root;
    }
  }
  Value root = SalvageOldText(text, losses);
  losses.NamePlaces(&view);
  return root;
}

}  // namespace

// Makes one pass over the text, because the places ascend: counting from the start for each loss
// would take quadratic time.
void Losses::NamePlaces(const std::string_view* text) {
  std::stable_sort(list_.begin(), list_.end(),
                   [](const Loss& a, const Loss& b) { return a.place < b.place; });
  TextPlace place;
  std::size_t reached = 0;
  for (Loss& loss : list_) {
    if (text == nullptr) {
      loss.column = loss.place;
      continue;
    }
    const TextPlace step = PlaceInText(text->substr(reached), loss.place - reached);
    place = {place.line + step.line - 1,
             step.line > 1 ? step.column : place.column + step.column - 1};
    reached = loss.place;
    loss.line = place.line;
    loss.column = place.column;
  }
}

Salvage LoseEverything(const char* what, const Bytes& bytes) {
  Salvage salvage;
  salvage.losses.Add([] { return std::string(); }, what, 0, bytes->size());
  const std::string_view text;
  salvage.losses.NamePlaces(&text);
  return salvage;
}

Salvage SalvageEntries(const Bytes& bytes) {
  Salvage salvage;
  Value root = Read(bytes).root;
  if (!root.is_dictionary()) root = SalvageAnyForm(*bytes, salvage.losses);
  if (root.is_dictionary()) {
    salvage.entries = std::move(root);
    return salvage;
  }
  if (salvage.losses.count() == 0 && !bytes->empty()) {
    return LoseEverything("a list that cannot be read", bytes);
  }
  return salvage;
}

}  // namespace orvik::plist
