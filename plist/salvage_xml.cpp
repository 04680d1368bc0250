#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "plist/damaged_markup.h"
#include "plist/encoding.h"
#include "plist/forms.h"
#include "plist/salvage.h"

namespace orvik::plist {

namespace {

using Kind = DamagedMarkup::Kind;
using Token = DamagedMarkup::Token;

constexpr std::size_t kNowhere = std::string_view::npos;

bool IsContainer(std::string_view name) {
  return name == "dict" || name == "array";
}

// Whether the only "<dict >" or "<array >" of the text is a "<dict/>" or "<array/>" whose "/"
// became a blank: one end tag of this name is missing, and all other tags match.
bool HasBlankForSlash(std::string_view text) {
  DamagedMarkup markup(text);
  std::string_view name;
  int blanks = 0, dictionaries = 0, arrays = 0;
  for (Token token = markup.Next(); token.kind != Kind::kNone; token = markup.Next()) {
    if (token.is_damaged) return false;
    if (token.kind == Kind::kEmpty || !IsContainer(token.name)) continue;
    (token.name == "dict" ? dictionaries : arrays) += token.kind == Kind::kStart ? 1 : -1;
    if (!token.ends_in_blank) continue;
    ++blanks;
    name = token.name;
  }
  return blanks == 1 && dictionaries == (name == "dict" ? 1 : 0) &&
         arrays == (name == "array" ? 1 : 0);
}

class Salvager {
 public:
  explicit Salvager(std::string_view text) : text_(text), markup_(text) {
    // Values are parsed one by one, each with the XML declaration of the whole text.
    if (text.starts_with("<?xml")) {
      const std::size_t end = text.substr(0, 256).find("?>");
      declaration_ = text.substr(0, end == kNowhere ? 0 : end + 2);
      is_encoding_unknown_ = !TextAsUtf8(declaration_);
      if (is_encoding_unknown_) declaration_.clear();
    }
    has_blank_for_slash_ = HasBlankForSlash(text);
  }

  Value Run(Losses& losses) {
    losses_ = &losses;
    if (is_encoding_unknown_) Lose("an unknown encoding, read as UTF-8", 0, 0);
    for (Token token = markup_.Next(); token.kind != Kind::kNone; token = markup_.Next()) {
      if (has_blank_for_slash_ && token.ends_in_blank && IsContainer(token.name)) {
        token.kind = Kind::kEmpty;
        token.is_damaged = true;
      }
      Take(token);
    }
    EndOutline(text_.size());
    if (!open_.empty() && !is_closed_) {
      LosePendingKey();
      Lose("the list breaks off", text_.size(), 0);
    }
    while (!open_.empty()) Pop(text_.size());
    return std::move(root_);
  }

 private:
  // A container of the list. `value` is null if the container is lost with its content. The pointer
  // stays valid, because only the innermost container changes.
  struct Open {
    bool is_dictionary = false;
    Value* value = nullptr;
    Value key;
    std::size_t key_at = 0;
    Value placed;  // the key of the last value that was placed
    std::size_t begin = 0;
    std::size_t loss = kNowhere;  // the index of the loss of this container
  };

  void Take(const Token& token) {
    if (token.kind == Kind::kText) {
      TakeText(token);
      return;
    }
    if (IsOutsideLevels(token)) return;
    if (!token.is_known) {
      TakeUnknown(token);
    } else if (token.name == "plist") {
      if (token.is_damaged) Lose("an unknown element", token);
    } else if (token.kind == Kind::kEnd) {
      TakeEnd(token);
    } else if (IsContainer(token.name)) {
      if (token.is_damaged) Lose("malformed markup", token);
      OpenContainer(token);
    } else {
      TakeSimple(token);
    }
  }

  // Whether the tag belongs to a container whose start tag was lost. The number of tabs before a
  // tag gives its depth, provided that this was so for every tag before the first damage.
  bool IsOutsideLevels(const Token& token) {
    if (token.tabs < 0) return is_outside_;
    const bool is_end = token.kind == Kind::kEnd;
    const auto level = static_cast<std::size_t>(token.tabs) + (is_end ? 1 : 0);
    if (token.name == "plist" || (open_.empty() && !is_end)) return false;
    if (losses_->count() == 0) {
      (level == open_.size() ? levels_seen_ : levels_broken_) += 1;
      return false;
    }
    if (levels_seen_ < 2 || levels_broken_ > 0 || is_closed_) return false;
    if (level > open_.size()) {
      // The tag is inside a container whose start tag was lost.
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
      losses_->SetBytes(outline_loss_, at - outline_begin_);
    }
  }

  void TakeText(const Token& token) {
    if (is_outside_) return;
    const std::string_view text = text_.substr(token.begin, token.end - token.begin);
    if (!IsInLostContainer()) {
      Lose(open_.empty() || is_closed_ ? "text outside the list" : "text between the values",
           token);
    }
    Token container = DamagedMarkup::ContainerIn(text);
    if (container.kind == Kind::kNone || (open_.empty() && container.kind == Kind::kEnd)) return;
    container.begin += token.begin;
    container.end += token.begin;
    if (container.kind == Kind::kEnd) {
      TakeEnd(container);
    } else {
      OpenContainer(container);
    }
  }

  // Takes a key or a simple value if its end tag follows its text. The strict reader reads it as an
  // element of its own, so that a saved value is the value that an undamaged file would give.
  void TakeSimple(const Token& token) {
    const bool is_key = token.name == "key";
    std::size_t found = 0;
    std::size_t end = token.end;
    if (token.kind == Kind::kStart) {
      end = token.is_damaged ? kNowhere : markup_.EndOfSimple(token.name, token.end, found);
      if (token.is_damaged) found = std::min(text_.size(), text_.find('<', token.end));
    }
    if (token.is_damaged || end == kNowhere) {
      // The next tag may be the damaged end tag of this element.
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
      if (!is_key) FreeKey();
      return;
    }
    markup_.MoveTo(end);
    if (IsInLostContainer()) return;
    const std::string_view element = text_.substr(token.begin, end - token.begin);
    if (!is_key) {
      Place(Parsed(element), token.begin, element.size());
      return;
    }
    const std::string_view text =
        token.kind == Kind::kEmpty ? std::string_view()
                                   : text_.substr(token.end, text_.rfind('<', end - 1) - token.end);
    TakeKey(Parsed("<string>" + std::string(text) + "</string>"), token.begin, element.size());
  }

  void TakeKey(Value key, std::size_t at, std::size_t bytes) {
    if (open_.empty() && losses_->count() > 0) {
      // The start tag of the root was lost.
      OpenContainer({Kind::kStart, "dict", true, true, at, at, -1});
    }
    // An array has no keys: its end tag was lost, and so were those of the arrays around it.
    while (open_.size() > 1 && !open_.back().is_dictionary) {
      Lose("an array that does not end", at, 0);
      Pop(at);
    }
    if (open_.empty() || !open_.back().is_dictionary) {
      Lose("a key outside a dictionary", at, bytes);
      return;
    }
    if (std::exchange(is_closed_, false)) Lose("an end tag too many", at, 0);
    LosePendingKey();
    if (!key) {
      Lose("a key that cannot be read", at, bytes);
      return;
    }
    open_.back().key = std::move(key);
    open_.back().key_at = at;
  }

  // Opens a container without a place (no key, or too deep) as a lost one, so that its end tag does
  // not close the container around it.
  void OpenContainer(const Token& token) {
    Open container;
    container.is_dictionary = token.name != "array";
    container.begin = token.begin;
    Value value;
    if (open_.size() < kMaximumDepth) {
      value = container.is_dictionary ? Value::Dictionary() : Value::Array();
    }
    if (open_.empty()) {
      if (container.is_dictionary && !root_) {
        root_ = std::move(value);
        container.value = &root_;
      } else {
        container.loss = Lose("a list that is not a dictionary", token.begin, 0);
      }
    } else if (!IsInLostContainer()) {
      const std::size_t before = losses_->list().size();
      container.value = Place(std::move(value), token.begin, 0);
      if (container.value == nullptr) {
        container.loss = losses_->list().size() > before ? before : kNowhere;
      }
    }
    if (token.kind != Kind::kEmpty) {
      open_.push_back(std::move(container));
      ++(open_.back().is_dictionary ? dictionaries_ : arrays_);
    }
  }

  // Puts a value into the innermost container and returns its place. Null, with a loss, when the
  // container has no place for it, or for no value.
  Value* Place(Value value, std::size_t at, std::size_t bytes) {
    if (open_.empty() || is_closed_) {
      Lose("a value outside the list", at, bytes);
      return nullptr;
    }
    Open& container = open_.back();
    if (!value) {
      Lose(open_.size() < kMaximumDepth ? "a value that cannot be read" : "a value nested too deep",
           at, bytes);
      FreeKey();
      return nullptr;
    }
    if (!container.is_dictionary) {
      container.value->Append(std::move(value));
      return &container.value->ChangeElements().back();
    }
    if (!container.key) {
      Lose("a value without a key", at, bytes);
      return nullptr;
    }
    const Text key = container.key.text();
    if (container.value->Find(key) != nullptr) Lose("a value whose key occurs again", at, 0);
    container.value->Set(key, std::move(value));
    Value* const place = container.value->Change(key);
    // Keeps the key of a container for the paths of its content.
    container.placed = std::exchange(container.key, Value());
    return place;
  }

  // Closes the innermost container of this name; the containers inside it have lost their end tags.
  // The end tag of a container that is not open is one too many.
  void TakeEnd(const Token& token) {
    if (!IsContainer(token.name)) {
      // The start tag was lost and is already reported.
      if (token.is_damaged) LoseHere("malformed markup", token.begin, token.end - token.begin);
      return;
    }
    if (token.is_damaged) LoseHere("malformed markup", token.begin, token.end - token.begin);
    const bool is_dictionary = token.name == "dict";
    if ((is_dictionary ? dictionaries_ : arrays_) == 0 || is_closed_) {
      LoseHere("an end tag too many", token.begin, token.end - token.begin);
      return;
    }
    while (open_.back().is_dictionary != is_dictionary) {
      LoseHere("a container that does not end", token.begin, 0);
      CloseInnermost(token.begin);
      if (is_closed_) return;
    }
    CloseInnermost(token.end);
  }

  // The root stays open, because its end tag may have been one too many.
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
    if (container.loss != kNowhere) losses_->SetBytes(container.loss, end - container.begin);
    --(container.is_dictionary ? dictionaries_ : arrays_);
    open_.pop_back();
  }

  void TakeUnknown(const Token& token) {
    if (token.kind == Kind::kEnd) {
      // The end tag of a container whose start tag was unknown, too, or damaged beyond recognition.
      LoseHere("an unknown element", token.begin, token.end - token.begin);
      if (!open_.empty() && !is_closed_) CloseInnermost(token.end);
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

  bool IsInLostContainer() const { return !open_.empty() && open_.back().value == nullptr; }

  // Removes the key of a value that is lost and already reported.
  void FreeKey() {
    if (!open_.empty()) open_.back().key = {};
  }

  void LosePendingKey() {
    if (open_.empty() || !open_.back().key) return;
    Lose("a key without a value", open_.back().key_at, 0);
    open_.back().key = {};
  }

  Value Parsed(std::string_view element) const {
    return Read(declaration_ + std::string(element)).root;
  }

  // Reports a loss, unless the container is lost: its loss includes its entries.
  void LoseHere(const char* what, std::size_t at, std::size_t bytes) {
    if (!IsInLostContainer()) Lose(what, at, bytes);
  }

  void Lose(const char* what, const Token& token) {
    LoseHere(what, token.begin, token.end - token.begin);
  }

  // Returns the index of the loss in the list; kNowhere if the list is full.
  std::size_t Lose(const char* what, std::size_t at, std::size_t bytes) {
    const std::size_t before = losses_->list().size();
    losses_->Add([this] { return Path(); }, what, at, bytes);
    return losses_->list().size() > before ? before : kNowhere;
  }

  // The keys and indices that lead to the present place.
  std::string Path() const {
    std::string path;
    for (const Open& container : open_) {
      const bool is_innermost = &container == &open_.back();
      if (container.value == nullptr) break;
      std::string step;
      if (!container.is_dictionary) {
        const std::size_t count = container.value->elements().size();
        step = std::to_string(is_innermost || count == 0 ? count : count - 1);
      } else if (container.key) {
        step = container.key.text().ToUtf8();
      } else if (!is_innermost && container.placed) {
        step = container.placed.text().ToUtf8();
      } else {
        break;
      }
      if (!path.empty()) path += '/';
      path += step;
    }
    return path;
  }

  std::string_view text_;
  DamagedMarkup markup_;
  bool has_blank_for_slash_ = false;
  bool is_encoding_unknown_ = false;
  std::string declaration_;
  std::vector<Open> open_;
  std::size_t dictionaries_ = 0;  // the number of open ones
  std::size_t arrays_ = 0;
  // The end tag of the root was read.
  bool is_closed_ = false;
  // The number of tags before the first damage whose tabs gave their depth, and of all others.
  int levels_seen_ = 0;
  int levels_broken_ = 0;
  // Inside a container whose start tag was lost; its content is a single loss.
  bool is_outside_ = false;
  std::size_t outline_loss_ = kNowhere;
  std::size_t outline_begin_ = 0;
  Losses* losses_ = nullptr;
  Value root_;
};

}  // namespace

Value SalvageXml(std::string_view text, Losses& losses) {
  return Salvager(text).Run(losses);
}

}  // namespace orvik::plist
