// Definitions of StringOperations, included only by the sources that instantiate it.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "strings/platform_text.h"
#include "strings/string_buffer_impl.h"
#include "strings/string_operations.h"
#include "strings/unit_search.h"
#include "text/code_page_codec.h"
#include "text/formatter.h"

namespace orvik {

// ---- Searching ----

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Find(Text text, int start) const {
  const std::size_t from = string_buffer::NotNegative(start);
  const std::size_t size = this->size();
  std::basic_string_view<Unit> sought = text;
  if constexpr (Units::kIsNarrow) {
    // Most texts are short: a call of Searched would take longer than this loop.
    std::size_t length = 0;
    while (length < 8 && length < sought.size() && sought[length] != 0) ++length;
    sought = length < 8 ? sought.substr(0, length) : Units::Searched(text);
  }
  if (from > size || (sought.empty() && (!Units::kIsNarrow || from == size))) return -1;
  const auto content = this->View().substr(from);
  std::size_t found;
  if constexpr (Units::kIsNarrow) {
    found = FindUnitsBeforeZero(content, sought);
  } else {
    found = FindUnits(content, sought);
  }
  return found == kNotFound ? -1 : static_cast<int>(from + found);
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Find(OneUnit unit, int start) const {
  const std::size_t from = string_buffer::NotNegative(start);
  if (from >= this->size()) return -1;
  const std::size_t found = FindUnit(this->View().substr(from), unit);
  return found == kNotFound ? -1 : static_cast<int>(from + found);
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::FindOneOf(Text set) const {
  const auto sought = Units::Searched(set);
  UnitSet<Unit> stops(sought);
  if (Units::kIsNarrow) stops.Add(0);
  const std::size_t run = stops.RunOut(this->View());
  if (run == this->size() || (Units::kIsNarrow && this->data_[run] == 0)) return -1;
  return static_cast<int>(run);
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::ReverseFind(OneUnit unit) const {
  const std::size_t found = this->View().rfind(static_cast<Unit>(unit));
  return found == this->View().npos ? -1 : static_cast<int>(found);
}

// ---- Formatting ----

inline int MacRomanOf(char16_t unit) {
  return unit < 0x80 ? unit : MacRomanOfUnit(unit);
}

// For both kinds of argument lists. False when the format is null or invalid.
template <typename List>
bool FormatInto(FormatBuffer& result, std::u16string_view format, List& arguments) {
  return format.data() != nullptr &&
         FormatUnits(result, format, arguments, DescribeObject, FormatStyle::kSmallStringsAreWide);
}
// The same; also false when the result has characters that Mac OS Roman lacks.
template <typename List>
bool FormatInto(FormatBuffer& result, std::string_view format, List& arguments) {
  if (format.data() == nullptr || !FormatMacRoman(result, format, arguments, DescribeObject)) {
    return false;
  }
  const auto units = result.units();
  return IsAscii(units) || std::all_of(units.begin(), units.end(),
                                       [](char16_t unit) { return MacRomanOf(unit) >= 0; });
}

template <typename Derived, typename Units>
template <typename List>
void StringOperations<Derived, Units>::FormatWith(std::basic_string_view<Unit> format,
                                                  List& arguments, bool appends) {
  FormatBuffer result;
  if (!FormatInto(result, format, arguments)) return;
  const std::u16string_view units = result.units();
  if (appends && units.empty()) return;
  Units::WriteFormatted(
      units, appends ? this->AppendBuffer(units.size()) : this->FreshBuffer(units.size(), 1));
}

template <typename Derived, typename Units>
void StringOperations<Derived, Units>::FormatV(std::basic_string_view<Unit> format,
                                               std::span<const FormatArgument> arguments) {
  FormatWith(format, arguments, false);
}

template <typename Derived, typename Units>
void StringOperations<Derived, Units>::FormatV(const Unit* format, std::va_list arguments) {
  FormatWith(ViewOf(format), arguments, false);
}

template <typename Derived, typename Units>
void StringOperations<Derived, Units>::AppendFormatV(std::basic_string_view<Unit> format,
                                                     std::span<const FormatArgument> arguments) {
  FormatWith(format, arguments, true);
}

template <typename Derived, typename Units>
void StringOperations<Derived, Units>::AppendFormat(Text format, std::va_list arguments) {
  FormatWith(format, arguments, true);
}

// ---- Numbers ----

// The number, if the whole content is one in ASCII.
template <typename Number, typename Unit, typename Format>
std::optional<Number> ParseWhole(std::basic_string_view<Unit> content, Format format) {
  // Longer than the longest exact spelling of a double without leading zeros.
  constexpr std::size_t kLongest = 2048;
  if (content.empty() || content.size() > kLongest) return std::nullopt;
  std::string digits;
  digits.reserve(content.size());
  for (const Unit unit : content) {
    if (static_cast<std::make_unsigned_t<Unit>>(unit) > 0x7F) return std::nullopt;
    digits.push_back(static_cast<char>(unit));
  }
  Number number{};
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number, format);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

template <typename Derived, typename Units>
std::optional<std::int64_t> StringOperations<Derived, Units>::ToInteger(int base) const {
  if (base < 2 || base > 36) return std::nullopt;
  return ParseWhole<std::int64_t>(this->View(), base);
}

template <typename Derived, typename Units>
std::optional<double> StringOperations<Derived, Units>::ToReal() const {
  return ParseWhole<double>(this->View(), std::chars_format::general);
}

// ---- Trimming ----

template <typename Derived, typename Units>
template <typename Predicate>
Derived& StringOperations<Derived, Units>::CutLeft(Predicate is_cut) {
  this->CopyBeforeWrite();
  const std::size_t length = this->size();
  std::size_t cut = 0;
  while (cut < length && is_cut(this->data_[cut])) ++cut;
  if (cut != 0) {
    string_buffer::MoveUnits(this->data_, this->data_ + cut, length - cut);
    this->SetLength(length - cut);
  }
  return Self();
}

template <typename Derived, typename Units>
template <typename Predicate>
Derived& StringOperations<Derived, Units>::CutRight(Predicate is_cut) {
  this->CopyBeforeWrite();
  std::size_t length = this->size();
  while (length > 0 && is_cut(this->data_[length - 1])) --length;
  this->SetLength(length);
  return Self();
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::TrimLeft() {
  return CutLeft(Units::IsSpace);
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::TrimRight() {
  return CutRight(Units::IsSpace);
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::Trim() {
  TrimRight();
  return TrimLeft();
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::TrimLeft(OneUnit unit) {
  return CutLeft([cut = static_cast<Unit>(unit)](Unit other) { return other == cut; });
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::TrimRight(OneUnit unit) {
  return CutRight([cut = static_cast<Unit>(unit)](Unit other) { return other == cut; });
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::TrimLeft(Text set) {
  if (set.empty()) return Self();
  const UnitSet<Unit> units(set);
  return CutLeft([&units](Unit unit) { return units.Contains(unit); });
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::TrimRight(Text set) {
  if (set.empty()) return Self();
  const UnitSet<Unit> units(set);
  return CutRight([&units](Unit unit) { return units.Contains(unit); });
}

// ---- Editing ----

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Remove(OneUnit unit) {
  this->CopyBeforeWrite();
  Unit* const end = this->data_ + this->size();
  Unit* const kept = std::remove(this->data_, end, static_cast<Unit>(unit));
  this->SetLength(static_cast<std::size_t>(kept - this->data_));
  return static_cast<int>(end - kept);
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Replace(OneUnit old_unit, OneUnit new_unit) {
  const Unit from = old_unit;
  const Unit to = new_unit;
  if (from == to) return 0;
  this->CopyBeforeWrite();
  int count = 0;
  for (Unit* at = this->data_; at != this->end(); ++at) {
    if (*at == from) {
      *at = to;
      ++count;
    }
  }
  return count;
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Replace(Text old_text, Text new_text) {
  const auto content = this->View();
  if (old_text.empty()) return 0;
  // Keeps the first places, so that few texts are searched twice.
  std::array<std::size_t, 32> places;
  std::size_t count = 0;
  for (std::size_t at = 0, hop; (hop = FindUnits(content.substr(at), old_text)) != kNotFound;
       ++count) {
    at += hop;
    if (count < places.size()) places[count] = at;
    at += old_text.size();
  }
  if (count == 0) return 0;

  constexpr std::size_t kSpare = Units::kIsNarrow ? 1 : 0;
  const std::uint64_t sum =
      content.size() - count * old_text.size() + std::uint64_t{count} * new_text.size() + kSpare;
  const auto room = static_cast<std::size_t>(std::min<std::uint64_t>(sum, SIZE_MAX));
  Unit* const fresh = Base::NewBlock(room);
  Unit* out = fresh;
  std::size_t at = 0;
  const auto put = [&out](std::basic_string_view<Unit> text) {
    string_buffer::CopyUnits(out, text);
    out += text.size();
  };
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t place =
        i < places.size() ? places[i] : at + FindUnits(content.substr(at), old_text);
    put(content.substr(at, place - at));
    put(new_text);
    at = place + old_text.size();
  }
  put(content.substr(at));
  this->Adopt(fresh);
  this->SetLength(room - kSpare);
  return static_cast<int>(count);
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Insert(int index, Text text) {
  const std::size_t length = this->size();
  const std::size_t n = text.size();
  if (n == 0) return this->GetLength();
  const std::size_t at = std::min(string_buffer::NotNegative(index), length);
  const std::size_t sum = Sum(length, n);
  if (!this->MakeRoom(sum)) {
    Unit* const fresh = this->NewGrownBlock(sum);
    string_buffer::CopyUnits(fresh, this->View().substr(0, at));
    string_buffer::CopyUnits<Unit>(fresh + at, text);
    string_buffer::CopyUnits(fresh + at + n, this->View().substr(at));
    this->Adopt(fresh);
    return this->GetLength();
  }
  Unit* const data = this->data_;
  string_buffer::MoveUnits(data + at + n, data + at, length - at);
  // If `text` lies in this string at or after the gap, it has moved up by n. If it begins before
  // the gap it is still in its place: the units that moved lie behind its end.
  const Unit* from = text.data();
  const std::less<const Unit*> less;
  if (!less(from, data + at) && less(from, data + length)) from += n;
  string_buffer::MoveUnits(data + at, from, n);
  this->SetLength(sum);
  return this->GetLength();
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::Delete(int index, int count) {
  const std::size_t length = this->size();
  const std::size_t at = string_buffer::NotNegative(index);
  if (count < 1 || at >= length) return this->GetLength();
  this->CopyBeforeWrite();
  const std::size_t n = std::min(static_cast<std::size_t>(count), length - at);
  string_buffer::MoveUnits(this->data_ + at, this->data_ + at + n, length - at - n);
  this->SetLength(length - n);
  return static_cast<int>(length);
}

template <typename Derived, typename Units>
int StringOperations<Derived, Units>::SetAt(int index, OneUnit unit) {
  this->CopyBeforeWrite();
  this->data_[index] = unit;
  return index;
}

template <typename Derived, typename Units>
Derived& StringOperations<Derived, Units>::MakeReverse() {
  this->CopyBeforeWrite();
  std::reverse(this->data_, this->data_ + this->size());
  return Self();
}

// ---- Pieces ----

template <typename Derived, typename Units>
Derived StringOperations<Derived, Units>::Piece(std::size_t first, std::size_t count) const {
  if (first == 0 && count == this->size()) return static_cast<const Derived&>(*this);
  return Derived(this->View().substr(first, count));
}

template <typename Derived, typename Units>
Derived StringOperations<Derived, Units>::Left(int count) const {
  return Piece(0, std::min(string_buffer::NotNegative(count), this->size()));
}

template <typename Derived, typename Units>
Derived StringOperations<Derived, Units>::Right(int count) const {
  const std::size_t n = std::min(string_buffer::NotNegative(count), this->size());
  return Piece(this->size() - n, n);
}

template <typename Derived, typename Units>
Derived StringOperations<Derived, Units>::Mid(int first, int count) const {
  const std::size_t from = std::min(string_buffer::NotNegative(first), this->size());
  return Piece(from, std::min(string_buffer::NotNegative(count), this->size() - from));
}

template <typename Derived, typename Units>
Derived StringOperations<Derived, Units>::Tokenize(Text set, int& position) const {
  if (position < 0 || position >= this->GetLength()) {
    position = -1;
    return Derived();
  }
  const TokenPlace place =
      Delimiters<Units>(set).Next(this->View(), static_cast<std::size_t>(position));
  position = place.next < this->size() ? static_cast<int>(place.next) : -1;
  return Piece(place.start, place.end - place.start);
}

// ---- Joining ----

template <typename Derived, typename Units>
std::size_t StringOperations<Derived, Units>::Sum(std::size_t a, std::size_t b) {
  return string_buffer::Length(string_buffer::Length(a) + string_buffer::Length(b));
}

template <typename Derived, typename Units>
void StringOperations<Derived, Units>::Write(Unit* to, std::basic_string_view<Unit> text) {
  string_buffer::CopyUnits(to, text);
}

}  // namespace orvik
