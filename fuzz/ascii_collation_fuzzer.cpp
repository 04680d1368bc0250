// The comparison of ASCII texts by a table of weights gives the same order as the collator from
// which the table was made.
#include <unicode/ucol.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/choices.h"
#include "fuzz/require.h"
#include "platform/carbon/ascii_collation.h"

namespace orvik::fuzz {
namespace {

struct Order {
  std::unique_ptr<UCollator, decltype(&ucol_close)> collator;
  carbon::AsciiCollation table;
};

// Each locale with each set of options that the platform's comparison has.
std::vector<Order> MakeOrders() {
  std::vector<Order> orders;
  for (const char* locale : {"", "en_US_POSIX", "de", "sv", "tr", "da", "cs", "haw", "th", "ja",
                             "en@colCaseFirst=upper", "en@colNumeric=yes", "fr_CA"}) {
    for (const UCollationStrength strength : {UCOL_SECONDARY, UCOL_TERTIARY}) {
      for (const UColAttributeValue alternate : {UCOL_NON_IGNORABLE, UCOL_SHIFTED}) {
        UErrorCode status = U_ZERO_ERROR;
        UCollator* const collator = ucol_open(locale, &status);
        Require(U_SUCCESS(status));
        ucol_setStrength(collator, strength);
        ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING, alternate, &status);
        orders.push_back({{collator, ucol_close}, carbon::AsciiCollation(collator, strength)});
      }
    }
  }
  return orders;
}

// Uses few letters, so that many texts differ only at their end or only in case.
std::u16string MakeText(Choices& choices) {
  std::u16string text(choices.Next(1) % 12, u'a');
  for (char16_t& unit : text) {
    const std::uint64_t choice = choices.Next(1);
    unit = choice < 128 ? u"aAbB-_ 1\x01"[choice % 9] : static_cast<char16_t>(choice - 128);
  }
  return text;
}

}  // namespace
}  // namespace orvik::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik::fuzz;
  static const std::vector<Order> orders = MakeOrders();
  Choices choices({reinterpret_cast<const char*>(data), size});
  const std::u16string a = MakeText(choices), b = MakeText(choices);
  for (const Order& order : orders) {
    if (!order.table.IsValid()) continue;
    Require(order.table.Compare(a, b) == ucol_strcoll(order.collator.get(), a.data(),
                                                      static_cast<int>(a.size()), b.data(),
                                                      static_cast<int>(b.size())));
  }
  return 0;
}
