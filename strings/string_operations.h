// Searching, trimming, editing and cutting, for both string types, on the buffer under them.
//
// Each operation takes a text as a view: a string of the same kind, a zero-terminated array, a
// std::basic_string or a view. Texts and single units of the other kind are converted first. No
// operation looks at surrogate pairs.
//
// Searches are literal. A negative start of a search counts as 0. The wide string never finds an
// empty text; the narrow one finds it at the start of the search. Searches for a text or a set in a
// narrow string see the content, the text and the set up to their first 0 byte.
#pragma once

#include <climits>
#include <compare>
#include <concepts>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "strings/format_text.h"
#include "strings/string_buffer.h"
#include "strings/text_view.h"
#include "strings/token_range.h"

// For programs that never mean to compare by collation: defining this macro makes the compiler warn
// of each comparison by the locale's collation, except by the function Collated.
#ifdef ORVIK_WARNS_OF_COLLATION
#define ORVIK_COMPARES_BY_COLLATION [[deprecated("by collation: use View(), or say Collated")]]
#else
#define ORVIK_COMPARES_BY_COLLATION
#endif

namespace [[gnu::visibility("default")]] orvik {

// The library instantiates the definitions that this header lacks.
template <typename Derived, typename Units>
class StringOperations : public StringBuffer<Units> {
  using Base = StringBuffer<Units>;

 public:
  using Unit = typename Base::Unit;
  using Foreign = typename Base::Foreign;
  using Text = TextView<Unit>;

  template <typename T>
  static constexpr bool kIsUnit = std::same_as<T, Unit> || std::same_as<T, Foreign>;
  // The types that operator+ joins to a string: a unit or a text of either kind. Two strings of
  // different kinds give a narrow string.
  template <typename T>
  static constexpr bool kJoins = kIsUnit<T> || (IsTextOf<T, Unit> && !std::same_as<T, Derived>) ||
                                 (IsTextOf<T, Foreign> &&
                                  (Units::kIsNarrow || !HasViewOf<T, Foreign>));

  // One unit: of the string's own kind, of the other kind, which is converted, or a number.
  class OneUnit {
   public:
    // NOLINTBEGIN(google-explicit-constructor)
    OneUnit(Unit unit) : unit_(unit) {}
    OneUnit(Foreign unit) { Units::Convert(&unit, &unit_, 1); }
    template <std::integral Number>
    OneUnit(Number number) : unit_(static_cast<Unit>(number)) {}
    operator Unit() const { return unit_; }
    // NOLINTEND(google-explicit-constructor)

   private:
    Unit unit_;
  };

  // ---- Searching: an index or -1 ----

  // The first occurrence of `text` or `unit` at or after index `start`. The time grows only with
  // the distance to the occurrence, whatever the texts look like.
  [[nodiscard]] int Find(Text text, int start = 0) const;
  [[nodiscard]] int Find(OneUnit unit, int start = 0) const;
  // The first unit that is in `set`.
  [[nodiscard]] int FindOneOf(Text set) const;
  // The last occurrence of `unit` in the whole content; 0 units do not end the search.
  [[nodiscard]] int ReverseFind(OneUnit unit) const;
  // Compare units in the whole content. Every string starts with, ends with and contains an empty
  // text.
  [[nodiscard]] bool StartsWith(Text text) const { return this->View().starts_with(text); }
  [[nodiscard]] bool EndsWith(Text text) const { return this->View().ends_with(text); }
  [[nodiscard]] bool Contains(Text text) const { return this->View().find(text) != kNowhere; }
  [[nodiscard]] bool Contains(OneUnit unit) const {
    return this->View().find(static_cast<Unit>(unit)) != kNowhere;
  }

  // ---- Numbers: no value unless the whole content is a number ----

  // Digits of the base (2 to 36, letters in either case) with an optional "-" before them. No value
  // for a number that does not fit in 64 bits.
  [[nodiscard]] std::optional<std::int64_t> ToInteger(int base = 10) const;
  // "12", "-0.5", "1e-3", "inf", "nan": with a point in every locale. No value for a number outside
  // the range of a double.
  [[nodiscard]] std::optional<double> ToReal() const;

  // The content as a string of the standard library.
  [[nodiscard]] std::basic_string<Unit> ToStdString() const {
    return std::basic_string<Unit>(this->View());
  }

  // ---- Trimming: an empty set changes nothing ----
  //
  // Each cuts the leading or trailing run in place and returns the string itself. Without an
  // argument the run is white space: the six ASCII characters in a wide string, the C library's
  // isspace class in a narrow one.

  Derived& TrimLeft();
  Derived& TrimRight();
  Derived& Trim();
  Derived& TrimLeft(OneUnit unit);
  Derived& TrimRight(OneUnit unit);
  Derived& TrimLeft(Text set);
  Derived& TrimRight(Text set);

  // ---- Editing ----

  // Removes every occurrence of the unit; returns their number.
  int Remove(OneUnit unit);
  // Replaces every occurrence of `old_unit`; returns their number. The block is made private unless
  // both units are the same.
  int Replace(OneUnit old_unit, OneUnit new_unit);
  // Replaces every occurrence, left to right without overlap, in a fresh buffer. An empty old text
  // never occurs. Returns the number of replacements; if it is 0 the block stays shared.
  int Replace(Text old_text, Text new_text);
  // Inserts before `index`, or at the end for an index beyond it. Returns the new length.
  int Insert(int index, Text text);
  int Insert(int index, OneUnit unit) {
    const Unit inserted = unit;
    return Insert(index, std::basic_string_view<Unit>(&inserted, 1));
  }
  // Removes up to `count` units from index on; returns the length before the call.
  int Delete(int index, int count = 1);
  // Not checked: the index must be at least 0 and below the length. Returns it.
  int SetAt(int index, OneUnit unit);
  // Reverses the units in place, which breaks surrogate pairs. Returns the string itself.
  Derived& MakeReverse();

  // ---- Pieces: the whole content shares the buffer unless the buffer is locked ----

  // The first or last `count` units, or those from index `first` on.
  [[nodiscard]] Derived Left(int count) const;
  [[nodiscard]] Derived Right(int count) const;
  [[nodiscard]] Derived Mid(int first, int count) const;
  [[nodiscard]] Derived Mid(int first) const { return Mid(first, INT_MAX); }
  // The next run of units from `position` on (0 at the start) that are not in the set. Moves the
  // position to the start of the token after it, or to -1 when this is the last one. A position
  // that is negative or not below the length gives -1 and an empty string. Each call reads the set,
  // the delimiters before and after the token, and the token.
  Derived Tokenize(Text set, int& position) const;
  // The same tokens as views that are made one by one; empty tokens are left out:
  //   for (std::u16string_view token : text.Tokens(u",;")) …
  // The string must outlive the range and stay unchanged until then.
  [[nodiscard]] TokenRange<Units> Tokens(Text set) const& { return {this->View(), set}; }
  TokenRange<Units> Tokens(Text set) const&& = delete;

  // ---- Joining ----

  // Makes the content the first a_length units of `a` followed by the first b_length of `b`, in a
  // fresh block of exactly that size. Either may be a text of the other kind.
  template <typename A, typename B>
  void ConcatCopy(int a_length, const A* a, int b_length, const B* b) {
    this->TakeBlock(Joined(First(a, a_length), First(b, b_length)));
  }
  // A new string in a block of exactly its length. Too little memory throws.
  friend Derived operator+(const Derived& a, const Derived& b) {
    return Joined(a.View(), b.View());
  }
  template <typename Other>
  requires kJoins<Other>
  friend Derived operator+(const Derived& a, const Other& b) { return Joined(a.View(), Part(b)); }
  template <typename Other>
  requires kJoins<Other>
  friend Derived operator+(const Other& a, const Derived& b) { return Joined(Part(a), b.View()); }
  // Prevents pointer arithmetic on the units.
  template <std::integral Number>
  requires(!kIsUnit<Number>) friend void operator+(const Derived&, Number) = delete;
  template <std::integral Number>
  requires(!kIsUnit<Number>) friend void operator+(Number, const Derived&) = delete;

  Derived& operator+=(Text text) {
    this->AppendUnits(text);
    return Self();
  }
  template <IsTextOf<Foreign> OtherText>
  Derived& operator+=(const OtherText& text) {
    this->AppendForeign(TextView<Foreign>(text));
    return Self();
  }
  Derived& operator+=(Unit unit) {
    this->AppendUnit(unit);
    return Self();
  }
  Derived& operator+=(Foreign unit) {
    this->AppendUnit(OneUnit(unit));
    return Self();
  }

  // ---- Comparing strings and views: EqualUnits by units, EqualFolded as CompareNoCase ----

  [[nodiscard]] bool EqualUnits(Text other) const { return this->View() == other; }
  [[nodiscard]] bool EqualFolded(Text other) const {
    const std::basic_string_view<Unit> view = other;
    return static_cast<const Derived&>(*this).CompareNoCase(view) == 0;
  }

  friend bool operator==(const Derived& a, const Derived& b) { return a.View() == b.View(); }
  friend std::strong_ordering operator<=>(const Derived& a, const Derived& b) {
    return a.Compare(b) <=> 0;
  }
  template <IsStdText<Unit> StdText>
  friend bool operator==(const Derived& a, const StdText& b) {
    return a.View() == b;
  }
  template <IsStdText<Unit> StdText>
  friend std::strong_ordering operator<=>(const Derived& a, const StdText& b) {
    return a.Compare(std::basic_string_view<Unit>(b)) <=> 0;
  }

  // ---- Comparing with a zero-terminated array, as Compare does ----

  ORVIK_COMPARES_BY_COLLATION
  friend bool operator==(const Derived& a, const Unit* b) requires(!Units::kIsNarrow) {
    return a.Collated(b) == 0;
  }
  ORVIK_COMPARES_BY_COLLATION
  friend std::weak_ordering operator<=>(const Derived& a,
                                        const Unit* b) requires(!Units::kIsNarrow) {
    return a.Collated(b) <=> 0;
  }
  friend bool operator==(const Derived& a, const Unit* b) requires(Units::kIsNarrow) {
    return a.Compare(b) == 0;
  }
  friend std::weak_ordering operator<=>(const Derived& a,
                                        const Unit* b) requires(Units::kIsNarrow) {
    return a.Compare(b) <=> 0;
  }
  template <IsArrayOf<Foreign> Array>
  friend bool operator==(const Derived& a, const Array& b) requires(!std::is_class_v<Array>) {
    return a.Compare(static_cast<const Foreign*>(b)) == 0;
  }
  template <IsArrayOf<Foreign> Array>
  friend std::weak_ordering operator<=>(const Derived& a,
                                        const Array& b) requires(!std::is_class_v<Array>) {
    return a.Compare(static_cast<const Foreign*>(b)) <=> 0;
  }

  friend void swap(Derived& a, Derived& b) noexcept { a.SwapBlocks(b); }
  template <typename Hash>
  friend Hash AbslHashValue(Hash state, const Derived& text) {
    return Hash::combine(std::move(state), text.View());
  }

  // ---- Formatting ----

  // Replaces the content by the formatted text, or appends it. The arguments come with their types
  // (strings/format_text.h): "%s" and "%S" take wide and narrow text, "%@" takes a platform object;
  // the rest is as in printf. The arguments may be this string itself. The string stays as it is
  // when the format is invalid, when the result would be longer than kMaximumFormattedLength units
  // and, in a narrow string, when the result has characters that Mac OS Roman lacks.
  template <Formattable... Arguments>
  void Format(FormatTextFor<Unit, Arguments...> format, const Arguments&... arguments) {
    FormatV(format.View(), FormatList(arguments...));
  }
  template <Formattable... Arguments>
  void AppendFormat(FormatTextFor<Unit, Arguments...> format, const Arguments&... arguments) {
    AppendFormatV(format.View(), FormatList(arguments...));
  }
  void FormatV(std::basic_string_view<Unit> format, std::span<const FormatArgument> arguments);
  void AppendFormatV(std::basic_string_view<Unit> format,
                     std::span<const FormatArgument> arguments);
  // In a va_list the format decides the types: "%S" takes a char16_t array and "%s" zero-terminated
  // bytes. But each "%s" of a wide format, even after "%%", is first replaced by "%S": "%s" alone
  // takes a char16_t array there, whereas "%5s", "%-5s" and "%1$s" take bytes. Positions must not
  // leave out an argument.
  void FormatV(const Unit* format, std::va_list arguments);
  void AppendFormat(Text format, std::va_list arguments);

  // ---- Texts of the other kind, which are converted first ----

  template <IsTextOf<Foreign> OtherText>
  [[nodiscard]] int Find(const OtherText& text, int start = 0) const {
    return Find(Converted(text), start);
  }
  template <IsTextOf<Foreign> OtherText>
  [[nodiscard]] int FindOneOf(const OtherText& set) const {
    return FindOneOf(Converted(set));
  }
  template <IsTextOf<Foreign> OtherText>
  Derived& TrimLeft(const OtherText& set) {
    return TrimLeft(Converted(set));
  }
  template <IsTextOf<Foreign> OtherText>
  Derived& TrimRight(const OtherText& set) {
    return TrimRight(Converted(set));
  }
  template <IsTextOf<Foreign> OtherText>
  int Replace(const OtherText& old_text, const OtherText& new_text) {
    return Replace(Converted(old_text), Converted(new_text));
  }
  template <IsTextOf<Foreign> OtherText>
  int Insert(int index, const OtherText& text) {
    return Insert(index, Converted(text));
  }
  template <IsTextOf<Foreign> OtherText>
  Derived Tokenize(const OtherText& set, int& position) const {
    return Tokenize(Converted(set), position);
  }

 protected:
  StringOperations() = default;
  explicit StringOperations(std::basic_string_view<Unit> text) : Base(text) {}
  StringOperations(int count, Unit unit) : Base(count, unit) {}

  template <typename OtherText>
  static Derived Converted(const OtherText& text) {
    Derived converted;
    converted.AppendForeign(TextView<Foreign>(text));
    return converted;
  }
  // A string of both parts in a block of exactly their length.
  template <typename A, typename B>
  static Derived Joined(std::basic_string_view<A> a, std::basic_string_view<B> b) {
    Derived joined;
    Unit* const units = joined.AppendBuffer(Sum(a.size(), b.size()));
    Write(units, a);
    Write(units + a.size(), b);
    return joined;
  }
  template <typename Other>
  static auto Part(const Other& other) {
    if constexpr (kIsUnit<Other>) {
      return std::basic_string_view<Other>(&other, 1);
    } else if constexpr (IsTextOf<Other, Unit>) {
      return std::basic_string_view<Unit>(TextView<Unit>(other));
    } else {
      return std::basic_string_view<Foreign>(TextView<Foreign>(other));
    }
  }
  // The first n units of a text.
  template <typename Any>
  static std::basic_string_view<Any> First(const Any* text, int n) {
    if (n < 1 || text == nullptr) return {};
    return {text, static_cast<std::size_t>(n)};
  }

 private:
  static constexpr auto kNowhere = std::basic_string_view<Unit>::npos;

  Derived& Self() { return static_cast<Derived&>(*this); }
  static std::size_t Sum(std::size_t a, std::size_t b);
  static void Write(Unit* to, std::basic_string_view<Unit> text);
  static void Write(Unit* to, std::basic_string_view<Foreign> text) {
    Units::Convert(text.data(), to, text.size());
  }
  template <typename List>
  void FormatWith(std::basic_string_view<Unit> format, List& arguments, bool appends);
  template <typename Predicate>
  Derived& CutLeft(Predicate is_cut);
  template <typename Predicate>
  Derived& CutRight(Predicate is_cut);
  Derived Piece(std::size_t first, std::size_t count) const;
};

}  // namespace orvik
