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
#include "strings/utf8_strings.h"
#include "text/text_place.h"
#include "text/xml_scanner.h"

namespace orvik {

namespace {

using Tag = XmlScanner::Tag;

constexpr std::string_view kSimpleElements[] = {"key",  "string", "integer", "real",
                                                "true", "false",  "date",    "data"};

bool IsSimple(std::string_view name) {
  return std::find(std::begin(kSimpleElements), std::end(kSimpleElements), name) !=
         std::end(kSimpleElements);
}

bool IsContainer(std::string_view name) {
  return name == "dict" || name == "array";
}

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

class Salvager {
 public:
  explicit Salvager(std::string_view text) : text_(text), scanner_(text) {
    // Values are read one by one, each in the encoding of the whole.
    if (text.starts_with("<?xml")) {
      declaration_ = text.substr(0, text.find("?>") == text.npos ? 0 : text.find("?>") + 2);
    }
  }

  Salvage Run() {
    for (Tag tag = scanner_.Next(); tag != Tag::kNone; tag = scanner_.Next()) {
      if (!open_.empty() && !is_resuming_ && !IsBlankXml(scanner_.text())) {
        Lose("text between the values", scanner_.begin() - scanner_.text().size());
      }
      is_resuming_ = false;
      Take(tag);
    }
    if (!open_.empty() && !is_closed_) {
      LosePendingKey();
      Lose("the list breaks off", text_.size());
    }
    NamePlaces(text_, places_, salvage_.losses);
    return std::move(salvage_);
  }

 private:
  // A container of the list; its object is null when it is lost with all that it holds.
  struct Open {
    bool is_dictionary = false;
    CAutoCFRelease<CFTypeRef> object;
    CAutoCFRelease<CFStringRef> key;
    std::size_t key_at = 0;
    CAutoCFRelease<CFStringRef> placed;  // the key of the value that was placed last
  };

  void Take(Tag tag) {
    const std::string_view name = scanner_.name();
    if (tag == Tag::kMalformed) {
      Lose("malformed markup", scanner_.begin());
      Resume(scanner_.begin() + 1);
    } else if (name == "plist") {
      return;
    } else if (tag == Tag::kEnd) {
      TakeEnd(name);
    } else if (IsContainer(name)) {
      OpenContainer(name == "dict", tag == Tag::kEmpty);
    } else if (IsSimple(name)) {
      TakeSimple(name, tag == Tag::kEmpty);
    } else {
      TakeUnknown(name, tag == Tag::kEmpty);
    }
  }

  // Goes on at the next tag from here. The text before the tag may be anything.
  void Resume(std::size_t position) {
    scanner_.MoveTo(position);
    is_resuming_ = true;
  }

  void TakeSimple(std::string_view name, bool is_empty) {
    const std::size_t begin = scanner_.begin();
    const std::size_t text_begin = scanner_.position();
    if (!is_empty && !scanner_.TakePlainEnd(name) &&
        (scanner_.Next() != Tag::kEnd || scanner_.name() != name)) {
      Lose(name == "key" ? "a key that does not end" : "a value that does not end", begin);
      if (name != "key") {
        FreeKey();
      }
      Resume(text_begin);
      return;
    }
    const std::string_view element = text_.substr(begin, scanner_.position() - begin);
    if (name != "key") {
      Place(Parsed(element), begin);
      return;
    }
    const std::string_view text = is_empty ? std::string_view() : scanner_.text();
    TakeKey(CAutoCFRelease<CFStringRef>(static_cast<CFStringRef>(
                Parsed("<string>" + std::string(text) + "</string>").Detach())),
            begin);
  }

  void TakeKey(CAutoCFRelease<CFStringRef> key, std::size_t at) {
    // An array holds no keys: its end was lost, and that of other arrays around it.
    while (open_.size() > 1 && !open_.back().is_dictionary) {
      Lose("an array that does not end", at);
      open_.pop_back();
    }
    if (open_.empty() || !open_.back().is_dictionary) {
      Lose("a key outside a dictionary", at);
      return;
    }
    if (std::exchange(is_closed_, false)) {
      Lose("an end tag too many", at);
    }
    LosePendingKey();
    if (!key) {
      Lose("a key that cannot be read", at);
      return;
    }
    open_.back().key = std::move(key);
    open_.back().key_at = at;
  }

  void OpenContainer(bool is_dictionary, bool is_empty) {
    Open container;
    container.is_dictionary = is_dictionary;
    const std::size_t begin = scanner_.begin();
    if (open_.size() < static_cast<std::size_t>(kPropertyListMaximumDepth)) {
      if (is_dictionary) {
        container.object.Attach(NewDictionary().Detach());
      } else {
        container.object.Attach(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
      }
    }
    if (open_.empty()) {
      if (is_dictionary && !salvage_.entries) {
        CFRetain(container.object);
        salvage_.entries.Attach(AsMutable(container.object.Get()));
      }
    } else if (!Place(CAutoCFRelease<CFTypeRef>::Retaining(container.object), begin)) {
      container.object.Free();
    }
    if (!is_empty) {
      open_.push_back(std::move(container));
    }
  }

  // Puts a value into the innermost container. The value is null when it cannot be read.
  bool Place(CAutoCFRelease<CFTypeRef> value, std::size_t at) {
    if (open_.empty() || is_closed_) {
      Lose("a value outside the list", at);
      return false;
    }
    Open& container = open_.back();
    if (!container.object) {
      return false;
    }
    if (!value) {
      Lose("a value that cannot be read", at);
      FreeKey();
      return false;
    }
    if (!container.is_dictionary) {
      CFArrayAppendValue(static_cast<CFMutableArrayRef>(const_cast<void*>(container.object.Get())),
                         value);
      return true;
    }
    if (!container.key) {
      Lose("a value without a key", at);
      return false;
    }
    CFDictionarySetValue(AsMutable(container.object.Get()), container.key, value);
    // A container that was placed goes on naming the path of what is in it.
    container.placed = std::move(container.key);
    return true;
  }

  void TakeEnd(std::string_view name) {
    const std::size_t at = scanner_.begin();
    if (IsSimple(name)) {
      return;  // the start was lost, and named
    }
    // What is no name of an element is a damaged one: of the innermost container.
    std::size_t match = open_.size();
    if (IsContainer(name)) {
      while (match > 0 && open_[match - 1].is_dictionary != (name == "dict")) {
        --match;
      }
    } else {
      Lose("an unknown element", at);
    }
    if (match == 0 || is_closed_) {
      Lose("an end tag too many", at);
      return;
    }
    while (open_.size() > match) {
      Lose("a container that does not end", at);
      CloseInnermost();
    }
    CloseInnermost();
  }

  // The root stays: its end tag may have been one too many.
  void CloseInnermost() {
    LosePendingKey();
    if (open_.size() == 1) {
      is_closed_ = true;
    } else {
      open_.pop_back();
    }
  }

  void TakeUnknown(std::string_view name, bool is_empty) {
    const std::size_t begin = scanner_.begin();
    const std::size_t inside = scanner_.position();
    Lose("an unknown element", begin);
    if (!is_empty) {
      const Tag next = scanner_.Next();
      if (next == Tag::kEnd && scanner_.name() == name) {
        FreeKey();
        return;
      }
      const bool holds_keys = next == Tag::kStart && scanner_.name() == "key";
      Resume(inside);
      if (holds_keys) {
        OpenContainer(true, false);
        return;
      }
    }
    FreeKey();
  }

  // The key of a value that is lost, and named.
  void FreeKey() {
    if (!open_.empty()) {
      open_.back().key.Free();
    }
  }

  void LosePendingKey() {
    if (open_.empty() || !open_.back().key) {
      return;
    }
    Lose("a key without a value", open_.back().key_at);
    open_.back().key.Free();
  }

  CAutoCFRelease<CFTypeRef> Parsed(std::string_view element) const {
    const std::string whole = declaration_ + std::string(element);
    const CAutoCFRelease<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                                      reinterpret_cast<const UInt8*>(whole.data()),
                                                      static_cast<CFIndex>(whole.size())));
    return CAutoCFRelease<CFTypeRef>(CFPropertyListCreateFromXMLData(
        kCFAllocatorDefault, data, kCFPropertyListMutableContainers, nullptr));
  }

  void Lose(const char* what, std::size_t at) {
    ++salvage_.lost;
    if (salvage_.losses.size() == Salvage::kMostLosses) {
      return;
    }
    salvage_.losses.push_back({Path(), what, 0, 0});
    places_.push_back(at);
  }

  // The keys and indices that lead to the place that has been reached.
  CAtlString Path() const {
    CAtlString path;
    for (const Open& container : open_) {
      CAtlString step;
      if (!container.is_dictionary) {
        const CFIndex count =
            container.object ? CFArrayGetCount(static_cast<CFArrayRef>(container.object.Get())) : 0;
        const bool is_innermost = &container == &open_.back();
        step.Format(u"%ld", is_innermost || count == 0 ? count : count - 1);
      } else if (container.key) {
        step = CAtlString(container.key.Get());
      } else if (&container != &open_.back() && container.placed) {
        step = CAtlString(container.placed.Get());
      } else {
        break;
      }
      path += path.IsEmpty() ? step : CAtlString(u"/") + step;
    }
    return path;
  }

  std::string_view text_;
  XmlScanner scanner_;
  std::string declaration_;
  std::vector<Open> open_;
  // The root's end tag was met.
  bool is_closed_ = false;
  // The text before the next tag belongs to what was lost.
  bool is_resuming_ = false;
  Salvage salvage_;
  std::vector<std::size_t> places_;
};

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
    salvage.losses.push_back({MakeWideStringFromUTF8String(path), loss.what, 0, loss.place});
    places.push_back(loss.place);
  }
  if (text != nullptr) {
    NamePlaces(*text, places, salvage.losses);
  }
  return salvage;
}

}  // namespace

Salvage NothingOf(const char* what) {
  Salvage salvage;
  salvage.entries = NewDictionary();
  salvage.losses.push_back({CAtlString(), what, 1, 1});
  salvage.lost = 1;
  return salvage;
}

namespace {

Salvage SalvageAnyForm(CFDataRef bytes) {
  const std::string_view view(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                              static_cast<std::size_t>(CFDataGetLength(bytes)));
  using Root = CAutoCFRelease<CFTypeRef>;
  PropertyListLosses losses;
  if (view.starts_with("bplist")) {
    return FromOtherForm(Root(SalvageBinaryPropertyList(view, losses)), losses, nullptr);
  }
  const std::string text = SalvagedText(view);
  const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  const bool is_braced = text.substr(start, 1) == "{";
  Salvage salvage;
  if (!is_braced) {
    salvage = Salvager(text).Run();
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
    return NothingOf("text that cannot be read");
  }
  if (!salvage.entries) {
    salvage.entries = NewDictionary();
  }
  return salvage;
}

}  // namespace orvik
