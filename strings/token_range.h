// The tokens of a text, one after the other, without copying them.
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>
#include <type_traits>

#include "strings/unit_set.h"

namespace [[gnu::visibility("default")]] orvik {

// The bounds of a token, and the start of the next one: the end of the text if there is none.
struct TokenPlace {
  std::size_t start;
  std::size_t end;
  std::size_t next;
};

// The delimiters of a text. In a narrow text (`Units`) a 0 byte also ends the search for the end of
// a token; the token then reaches to the end of the text.
template <typename Units>
class Delimiters {
  using Unit = typename Units::Unit;

 public:
  explicit Delimiters(std::basic_string_view<Unit> set)
      : skipped_(Units::Searched(set)), stops_(Units::Searched(set)) {
    if constexpr (Units::kIsNarrow) stops_.Add(0);
  }

  // The first token at or after `from`.
  TokenPlace Next(std::basic_string_view<Unit> content, std::size_t from) const {
    const std::size_t start = from + skipped_.RunIn(content.substr(from));
    const std::size_t end = start + Stops().RunOut(content.substr(start));
    if (end == content.size() || !skipped_.Contains(content[end])) {
      return {start, content.size(), content.size()};
    }
    return {start, end, end + skipped_.RunIn(content.substr(end))};
  }

 private:
  struct SameSet {
    explicit SameSet(std::basic_string_view<Unit>) {}
  };
  const UnitSet<Unit>& Stops() const {
    if constexpr (Units::kIsNarrow) {
      return stops_;
    } else {
      return skipped_;
    }
  }

  UnitSet<Unit> skipped_;
  [[no_unique_address]] std::conditional_t<Units::kIsNarrow, UnitSet<Unit>, SameSet> stops_;
};

// A range of views into the text, which must outlive the range and stay unchanged until then. Empty
// tokens are left out.
//
// Each begin() starts at the beginning of the text. Threads may share a range.
template <typename Units>
class TokenRange {
  using Unit = typename Units::Unit;

 public:
  class Iterator {
   public:
    using value_type = std::basic_string_view<Unit>;
    using difference_type = std::ptrdiff_t;

    Iterator() = default;
    explicit Iterator(const TokenRange& range) : range_(&range) { Find(0); }

    value_type operator*() const {
      return range_->content_.substr(place_.start, place_.end - place_.start);
    }
    Iterator& operator++() {
      Find(place_.next);
      return *this;
    }
    Iterator operator++(int) {
      Iterator old = *this;
      ++*this;
      return old;
    }
    bool operator==(const Iterator& other) const { return place_.start == other.place_.start; }
    bool operator==(std::default_sentinel_t) const {
      return place_.start == range_->content_.size();
    }

   private:
    void Find(std::size_t from) { place_ = range_->delimiters_.Next(range_->content_, from); }

    const TokenRange* range_ = nullptr;
    TokenPlace place_{};
  };

  TokenRange(std::basic_string_view<Unit> content, std::basic_string_view<Unit> set)
      : content_(content), delimiters_(set) {}

  Iterator begin() const { return Iterator(*this); }
  std::default_sentinel_t end() const { return std::default_sentinel; }

 private:
  std::basic_string_view<Unit> content_;
  Delimiters<Units> delimiters_;
};

}  // namespace orvik
