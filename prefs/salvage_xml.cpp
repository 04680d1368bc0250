#include "prefs/salvage_xml.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/core_foundation/array.h"
#include "platform/core_foundation/property_list.h"
#include "platform/core_foundation/string.h"
#include "prefs/damaged_markup.h"
#include "prefs/platform_values.h"

namespace orvik {

namespace {

using Kind = DamagedMarkup::Kind;
using Token = DamagedMarkup::Token;

constexpr std::size_t kNowhere = std::string_view::npos;

bool IsContainer(std::string_view name) {
  return name == "dict" || name == "array";
}

class Salvager {
 public:
  explicit Salvager(std::string_view text) : text_(text), markup_(text) {
    // Values are read one by one, each in the encoding of the whole.
    if (text.starts_with("<?xml")) {
      const std::size_t end = text.substr(0, 256).find("?>");
      declaration_ = text.substr(0, end == kNowhere ? 0 : end + 2);
    }
  }

  XmlSalvage Run() {
    for (Token token = markup_.Next(); token.kind != Kind::kNone; token = markup_.Next()) {
      Take(token);
    }
    EndOutline(text_.size());
    if (!open_.empty() && !is_closed_) {
      LosePendingKey();
      Lose("the list breaks off", text_.size(), 0);
    }
    while (!open_.empty()) {
      Pop(text_.size());
    }
    return std::move(salvage_);
  }

 private:
  // A container of the list; its object is null when it is lost with all that it holds.
  struct Open {
    bool is_dictionary = false;
    std::string_view name;
    CAutoCFRelease<CFTypeRef> object;
    CAutoCFRelease<CFStringRef> key;
    std::size_t key_at = 0;
    CAutoCFRelease<CFStringRef> placed;  // the key of the value that was placed last
    std::size_t begin = 0;
    std::size_t loss = kNowhere;  // the one that says that the container is lost
  };

  void Take(const Token& token) {
    if (token.kind == Kind::kText) {
      TakeText(token);
      return;
    }
    if (IsOutsideLevels(token)) {
      return;
    }
    if (!token.is_known) {
      TakeUnknown(token);
    } else if (token.name == "plist") {
      if (token.is_damaged) {
        Lose("an unknown element", token);
      }
    } else if (token.kind == Kind::kEnd) {
      TakeEnd(token);
    } else if (IsContainer(token.name)) {
      if (token.is_damaged) {
        Lose("malformed markup", token);
      }
      OpenContainer(token);
    } else {
      TakeSimple(token);
    }
  }

  // The tabs before a tag tell how deep it lies, as long as they did so for every tag before the
  // first damage.
  bool IsOutsideLevels(const Token& token) {
    if (token.tabs < 0) {
      return is_outside_;
    }
    const bool is_end = token.kind == Kind::kEnd;
    const auto level = static_cast<std::size_t>(token.tabs) + (is_end ? 1 : 0);
    if (token.name == "plist" || (open_.empty() && !is_end)) {
      return false;
    }
    if (salvage_.lost == 0) {
      (level == open_.size() ? levels_seen_ : levels_broken_) += 1;
      return false;
    }
    if (levels_seen_ < 2 || levels_broken_ > 0 || is_closed_) {
      return false;
    }
    if (level > open_.size()) {
      // Below a container whose beginning was lost.
      if (!is_outside_) {
        FreeKey();
        outline_loss_ = Lose("values of a container whose beginning is lost", token.begin, 0);
        outline_begin_ = token.begin;
        is_outside_ = true;
      }
      return true;
    }
    EndOutline(token.begin);
    while (level < open_.size() && open_.size() > 1) {
      Lose("a container that does not end", token.begin, 0);
      CloseInnermost(token.begin);
    }
    return false;
  }

  void EndOutline(std::size_t at) {
    if (std::exchange(is_outside_, false) && outline_loss_ != kNowhere) {
      salvage_.losses[outline_loss_].bytes = at - outline_begin_;
    }
  }

  void TakeText(const Token& token) {
    if (is_outside_) {
      return;
    }
    const std::string_view text = text_.substr(token.begin, token.end - token.begin);
    if (!IsInLostContainer()) {
      Lose(open_.empty() || is_closed_ ? "text outside the list" : "text between the values",
           token);
    }
    Token container = DamagedMarkup::ContainerIn(text);
    if (container.kind == Kind::kNone || (open_.empty() && container.kind == Kind::kEnd)) {
      return;
    }
    container.begin += token.begin;
    container.end += token.begin;
    if (container.kind == Kind::kEnd) {
      TakeEnd(container);
    } else {
      OpenContainer(container);
    }
  }

  void TakeSimple(const Token& token) {
    const bool is_key = token.name == "key";
    std::size_t found = 0;
    std::size_t end = token.end;
    if (token.kind == Kind::kStart) {
      end = token.is_damaged ? kNowhere : markup_.EndOfSimple(token.name, token.end, found);
      if (token.is_damaged) {
        found = std::min(text_.size(), text_.find('<', token.end));
      }
    }
    if (token.is_damaged || end == kNowhere) {
      // The next tag may be its own end, damaged.
      markup_.MoveTo(found);
      Token next = token.kind == Kind::kStart ? markup_.Next() : Token{};
      const bool is_own_end =
          next.kind == Kind::kEnd && !IsContainer(next.name) && next.name != "plist";
      const std::size_t behind = token.kind != Kind::kStart ? token.end
                                 : is_own_end               ? next.end
                                                            : found;
      markup_.MoveTo(behind);
      LoseHere(is_key ? "a key that does not end" : "a value that does not end", token.begin,
               behind - token.begin);
      if (!is_key) {
        FreeKey();
      }
      return;
    }
    markup_.MoveTo(end);
    if (IsInLostContainer()) {
      return;
    }
    const std::string_view element = text_.substr(token.begin, end - token.begin);
    if (!is_key) {
      Place(Parsed(element), token.begin, element.size());
      return;
    }
    const std::string_view text =
        token.kind == Kind::kEmpty ? std::string_view()
                                   : text_.substr(token.end, text_.rfind('<', end - 1) - token.end);
    TakeKey(CAutoCFRelease<CFStringRef>(static_cast<CFStringRef>(
                Parsed("<string>" + std::string(text) + "</string>").Detach())),
            token.begin, element.size());
  }

  void TakeKey(CAutoCFRelease<CFStringRef> key, std::size_t at, std::size_t bytes) {
    if (open_.empty() && salvage_.lost > 0) {
      // The beginning of the list was lost.
      OpenContainer({Kind::kStart, "dict", true, true, at, at, -1});
    }
    // An array holds no keys: its end was lost, and that of other arrays around it.
    while (open_.size() > 1 && !open_.back().is_dictionary) {
      Lose("an array that does not end", at, 0);
      Pop(at);
    }
    if (open_.empty() || !open_.back().is_dictionary) {
      Lose("a key outside a dictionary", at, bytes);
      return;
    }
    if (std::exchange(is_closed_, false)) {
      Lose("an end tag too many", at, 0);
    }
    LosePendingKey();
    if (!key) {
      Lose("a key that cannot be read", at, bytes);
      return;
    }
    open_.back().key = std::move(key);
    open_.back().key_at = at;
  }

  void OpenContainer(const Token& token) {
    Open container;
    container.is_dictionary = token.name != "array";
    container.name = token.name;
    container.begin = token.begin;
    if (open_.size() < static_cast<std::size_t>(kPropertyListMaximumDepth)) {
      if (container.is_dictionary) {
        container.object.Attach(NewDictionary().Detach());
      } else {
        container.object.Attach(
            CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
      }
    }
    if (open_.empty()) {
      if (container.is_dictionary && !salvage_.entries) {
        CFRetain(container.object);
        salvage_.entries.Attach(AsMutable(container.object.Get()));
      } else {
        container.loss = Lose("a list that is no dictionary", token.begin, 0);
        container.object.Free();
      }
    } else if (IsInLostContainer()) {
      container.object.Free();
    } else {
      const std::size_t before = salvage_.losses.size();
      if (!Place(CAutoCFRelease<CFTypeRef>::Retaining(container.object), token.begin, 0)) {
        container.object.Free();
        container.loss = salvage_.losses.size() > before ? before : kNowhere;
      }
    }
    if (token.kind != Kind::kEmpty) {
      open_.push_back(std::move(container));
      ++(open_.back().is_dictionary ? dictionaries_ : arrays_);
    }
  }

  // Puts a value into the innermost container. The value is null when it cannot be read.
  bool Place(CAutoCFRelease<CFTypeRef> value, std::size_t at, std::size_t bytes) {
    if (open_.empty() || is_closed_) {
      Lose("a value outside the list", at, bytes);
      return false;
    }
    Open& container = open_.back();
    if (!value) {
      Lose(open_.size() < static_cast<std::size_t>(kPropertyListMaximumDepth)
               ? "a value that cannot be read"
               : "a value nested too deep",
           at, bytes);
      FreeKey();
      return false;
    }
    if (!container.is_dictionary) {
      CFArrayAppendValue(static_cast<CFMutableArrayRef>(const_cast<void*>(container.object.Get())),
                         value);
      return true;
    }
    if (!container.key) {
      Lose("a value without a key", at, bytes);
      return false;
    }
    const CFMutableDictionaryRef dictionary = AsMutable(container.object.Get());
    if (CFDictionaryGetValue(dictionary, container.key) != nullptr) {
      Lose("a value whose key occurs again", at, 0);
    }
    CFDictionarySetValue(dictionary, container.key, value);
    // A container that was placed goes on naming the path of what is in it.
    container.placed = std::move(container.key);
    return true;
  }

  void TakeEnd(const Token& token) {
    if (!IsContainer(token.name)) {
      // The start was lost, and named.
      if (token.is_damaged) {
        LoseHere("malformed markup", token.begin, token.end - token.begin);
      }
      return;
    }
    if (token.is_damaged) {
      LoseHere("malformed markup", token.begin, token.end - token.begin);
    }
    const bool is_dictionary = token.name == "dict";
    if ((is_dictionary ? dictionaries_ : arrays_) == 0 || is_closed_) {
      LoseHere("an end tag too many", token.begin, token.end - token.begin);
      return;
    }
    while (open_.back().is_dictionary != is_dictionary) {
      LoseHere("a container that does not end", token.begin, 0);
      CloseInnermost(token.begin);
      if (is_closed_) {
        return;
      }
    }
    CloseInnermost(token.end);
  }

  // The root stays: its end tag may have been one too many.
  void CloseInnermost(std::size_t end) {
    LosePendingKey();
    if (open_.size() == 1) {
      is_closed_ = true;
    } else {
      Pop(end);
    }
  }

  void Pop(std::size_t end) {
    const Open& container = open_.back();
    if (container.loss != kNowhere) {
      salvage_.losses[container.loss].bytes = end - container.begin;
    }
    --(container.is_dictionary ? dictionaries_ : arrays_);
    open_.pop_back();
  }

  void TakeUnknown(const Token& token) {
    if (token.kind == Kind::kEnd) {
      // Of a container whose start was unknown, too, or damaged beyond recognition.
      LoseHere("an unknown element", token.begin, token.end - token.begin);
      if (!open_.empty() && !is_closed_) {
        CloseInnermost(token.end);
      }
      return;
    }
    const std::size_t next = std::min(text_.size(), text_.find('<', token.end));
    markup_.MoveTo(next);
    const Token behind = token.kind == Kind::kStart ? markup_.Next() : Token{};
    const bool is_whole = behind.kind == Kind::kEnd && behind.name == token.name;
    const std::size_t end = is_whole ? behind.end : token.kind == Kind::kStart ? next : token.end;
    LoseHere("an unknown element", token.begin, end - token.begin);
    markup_.MoveTo(end);
    const bool is_tag = text_[token.end - 1] == '>';
    if (is_tag && behind.kind == Kind::kStart && behind.name == "key" && !open_.empty()) {
      OpenContainer(token);
    } else {
      FreeKey();
    }
  }

  bool IsInLostContainer() const { return !open_.empty() && !open_.back().object; }

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
    Lose("a key without a value", open_.back().key_at, 0);
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

  // What lies in a container that is lost is part of that loss.
  void LoseHere(const char* what, std::size_t at, std::size_t bytes) {
    if (!IsInLostContainer()) {
      Lose(what, at, bytes);
    }
  }

  void Lose(const char* what, const Token& token) {
    LoseHere(what, token.begin, token.end - token.begin);
  }

  // The place of the loss in the list, unless the list is full.
  std::size_t Lose(const char* what, std::size_t at, std::size_t bytes) {
    ++salvage_.lost;
    if (salvage_.losses.size() == Salvage::kMostLosses || path_units_ > Salvage::kMostPathUnits) {
      return kNowhere;
    }
    salvage_.losses.push_back({Path(), what, at, bytes});
    path_units_ += static_cast<std::size_t>(salvage_.losses.back().path.GetLength());
    return salvage_.losses.size() - 1;
  }

  // The keys and indices that lead to the place that has been reached.
  CAtlString Path() const {
    CAtlString path;
    for (const Open& container : open_) {
      CAtlString step;
      if (!container.object) {
        break;
      }
      if (!container.is_dictionary) {
        const CFIndex count = CFArrayGetCount(static_cast<CFArrayRef>(container.object.Get()));
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
  DamagedMarkup markup_;
  std::string declaration_;
  std::vector<Open> open_;
  std::size_t dictionaries_ = 0;  // of the open containers
  std::size_t arrays_ = 0;
  // The root's end tag was met.
  bool is_closed_ = false;
  // Tags that lay as deep as their tabs say, and others, before the first damage.
  int levels_seen_ = 0;
  int levels_broken_ = 0;
  // Below a container whose beginning was lost: one loss for all of it.
  bool is_outside_ = false;
  std::size_t outline_loss_ = kNowhere;
  std::size_t outline_begin_ = 0;
  std::size_t path_units_ = 0;
  XmlSalvage salvage_;
};

}  // namespace

XmlSalvage SalvageXml(std::string_view text) {
  return Salvager(text).Run();
}

}  // namespace orvik
