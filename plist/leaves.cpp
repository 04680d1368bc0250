#include "plist/leaves.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <system_error>

#include "text/byte_encodings.h"
#include "text/characters.h"
#include "text/user_locale.h"

namespace orvik::plist {
namespace {

namespace chrono = std::chrono;

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr chrono::sys_days kFirstDay = chrono::year(2000) / 1 / 1;
// The number of 2001-01-01 when 2000-01-01 is day 0.
constexpr std::int64_t kReferenceDay = 366;
constexpr std::int64_t kLastYear = 99999999;
// Seconds from 2001. A date beyond this may have a year with more digits than kLastYear.
constexpr double kFarthestDate = static_cast<double>(kLastYear - 2001) * 365.2425 * kSecondsPerDay;
constexpr double kStartOfYear1 = -63113904000;
constexpr double kEndOfYear9999 = 252423993599;

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && IsXmlSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsXmlSpace(text.back())) text.remove_suffix(1);
  return text;
}

// Removes a sign from the front; true for a minus.
bool TakeSign(std::string_view& text) {
  if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                    [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; });
}

// The library's calendar has years of 16 bits, so dates are moved to years near 0 and 2000: the
// Gregorian calendar repeats itself after 400 years.
constexpr std::int64_t kCycleYears = 400, kCycleDays = 146097;

// The number of a day when 2000-01-01 is day 0; nothing for a day that the month does not have.
std::optional<std::int64_t> DayOfDate(std::int64_t year, int month, int day) {
  const chrono::year_month_day date =
      chrono::year(static_cast<int>(year % kCycleYears)) / month / day;
  if (!date.ok()) return std::nullopt;
  return (chrono::sys_days(date) - kFirstDay).count() + year / kCycleYears * kCycleDays;
}

// Reads two digits after the separator, if that is present; false when they are malformed.
bool TakeField(std::string_view& text, char separator, int& field, int maximum = 99) {
  if (text.empty() || text.front() != separator) return true;
  if (text.size() < 3) return false;
  int value = 0;
  for (const char c : text.substr(1, 2)) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  if (value > maximum) return false;
  field = value;
  text.remove_prefix(3);
  return true;
}

// Parses the 16 hexadecimal digits of the bits of a double.
std::optional<double> ParseExactDate(std::string_view digits) {
  std::uint64_t bits = 0;
  const char* end = digits.data() + digits.size();
  if (digits.size() != 16 || std::from_chars(digits.data(), end, bits, 16).ptr != end) {
    return std::nullopt;
  }
  return std::bit_cast<double>(bits);
}

}  // namespace

std::optional<Integer> ParseInteger(std::string_view text) {
  text = Trimmed(text);
  const bool negative = TakeSign(text);
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  std::uint64_t magnitude = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, magnitude, base);
  if (error != std::errc() || stop != end) return std::nullopt;
  constexpr std::uint64_t kSignedLimit = std::uint64_t{1} << 63;
  if (!negative) return Integer{magnitude, magnitude >= kSignedLimit};
  if (magnitude > kSignedLimit) return std::nullopt;
  return Integer{0 - magnitude, false};
}

std::optional<double> ParseReal(std::string_view text) {
  text = Trimmed(text);
  if (EqualsIgnoringCase(text, "nan")) return std::numeric_limits<double>::quiet_NaN();
  const bool negative = TakeSign(text);
  double value = 0;
  if (EqualsIgnoringCase(text, "inf") || EqualsIgnoringCase(text, "infinity")) {
    value = std::numeric_limits<double>::infinity();
  } else {
    if (text.empty() || (text.front() != '.' && (text.front() < '0' || text.front() > '9'))) {
      return std::nullopt;
    }
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (stop != end) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
      // The library does not say whether the number is too large or too small.
      value = RealAtStart(std::string(text).c_str());
    }
  }
  return negative ? -value : value;
}

std::optional<double> ParseDate(std::string_view text, std::string_view exact) {
  text = Trimmed(text);
  if (const auto date = ParseExactDate(exact)) {
    std::string written;
    AppendDate(written, *date);
    if (written == text) return date;
  }
  if (text.empty() || text.back() != 'Z') return std::nullopt;
  text.remove_suffix(1);
  const bool negative = TakeSign(text);
  std::int64_t year = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), year);
  const auto digits = static_cast<size_t>(stop - text.data());
  if (error != std::errc() || digits < 4 || text.front() == '-' || year > kLastYear) {
    return std::nullopt;
  }
  if (negative) year = -year;
  text.remove_prefix(digits);
  int month = 1, day = 1, hour = 0, minute = 0, second = 0;
  if (!TakeField(text, '-', month) || !TakeField(text, '-', day) ||
      !TakeField(text, 'T', hour, 23) || !TakeField(text, ':', minute, 59) ||
      !TakeField(text, ':', second, 60) || !text.empty()) {
    return std::nullopt;
  }
  const std::optional<std::int64_t> days = DayOfDate(year, month, day);
  if (!days) return std::nullopt;
  return static_cast<double>((*days - kReferenceDay) * kSecondsPerDay + hour * 3600 + minute * 60 +
                             second);
}

std::optional<std::string> ParseData(std::string_view text) {
  return DecodeLooseBase64(text);
}

void AppendInteger(std::string& xml, Integer value) {
  char digits[24];
  const auto result = value.is_unsigned ? std::to_chars(digits, digits + sizeof digits, value.bits)
                                        : std::to_chars(digits, digits + sizeof digits,
                                                        static_cast<std::int64_t>(value.bits));
  xml.append(digits, result.ptr);
}

void AppendReal(std::string& xml, double value) {
  if (std::isnan(value)) {
    xml += "nan";
  } else if (std::isinf(value)) {
    xml += value > 0 ? "+infinity" : "-infinity";
  } else {
    char digits[32];
    xml.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
  }
}

void AppendDate(std::string& xml, double seconds) {
  if (std::isnan(seconds)) seconds = 0;
  if (std::abs(seconds) >= kFarthestDate) seconds = seconds < 0 ? kStartOfYear1 : kEndOfYear9999;
  const auto whole = static_cast<std::int64_t>(std::floor(seconds));
  const std::int64_t rest = (whole % kSecondsPerDay + kSecondsPerDay) % kSecondsPerDay;
  const std::int64_t days = (whole - rest) / kSecondsPerDay + kReferenceDay;
  const chrono::year_month_day date(kFirstDay + chrono::days(days % kCycleDays));
  const std::int64_t year = int{date.year()} + days / kCycleDays * kCycleYears;
  char text[32];
  const int size = std::snprintf(
      text, sizeof text, "%s%04lld-%02u-%02uT%02d:%02d:%02dZ", year < 0 ? "-" : "",
      static_cast<long long>(std::abs(year)), unsigned{date.month()}, unsigned{date.day()},
      static_cast<int>(rest / 3600), static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60));
  xml.append(text, static_cast<std::size_t>(size));
}

void AppendExactDate(std::string& xml, double seconds) {
  const bool is_whole = std::floor(seconds) == seconds && std::abs(seconds) < kFarthestDate;
  const auto bits = std::bit_cast<std::uint64_t>(seconds);
  if (is_whole && bits != std::bit_cast<std::uint64_t>(-0.0)) return;
  xml += ' ';
  xml += kExactDate;
  xml += "=\"";
  for (int shift = 60; shift >= 0; shift -= 4) xml += "0123456789abcdef"[bits >> shift & 0xF];
  xml += '"';
}

void AppendData(std::string& xml, std::string_view bytes, int indentation) {
  // 19 groups of four characters; each tab is as wide as two groups.
  const auto line_bytes = static_cast<size_t>(std::max(4, 19 - 2 * indentation)) * 3;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(line_bytes, bytes.size()))) {
    xml.append(static_cast<size_t>(indentation), '\t');
    const std::string_view line = bytes.substr(0, line_bytes);
    const size_t start = xml.size();
    xml.resize(start + Base64Length(line.size()));
    EncodeBase64(line.data(), line.size(), xml.data() + start);
    xml += '\n';
  }
}

}  // namespace orvik::plist
