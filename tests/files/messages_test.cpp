#include "files/messages.h"

#include <gtest/gtest.h>

#include "tests/support/alert_answer.h"

namespace orvik {
namespace {

using host::AlertLevel;
using host::AlertRequest;

TEST(Messages, LoadsErrorTexts) {
  const std::pair<unsigned, std::u16string> cases[] = {
      {61473, u"Operation not supported"},
      {61474, u"Resource not found"},
      {61475, u"Out of memory"},
      {61476, u"User cannot perform operation"},
      {61477, u"Invalid argument"},
      {12345, u"Unknown error"},
      {0, u"Unknown error"},
  };
  char16_t buffer[64];
  for (const auto& [number, text] : cases) {
    EXPECT_EQ(AfxLoadString(number, buffer, 64), static_cast<int>(text.size()));
    EXPECT_EQ(buffer, text);
  }
  for (const int size : {6, 1}) {
    EXPECT_EQ(AfxLoadString(12345, buffer, size), size - 1);
    EXPECT_EQ(buffer, std::u16string(u"Unkno", static_cast<std::size_t>(size - 1)));
  }
  buffer[0] = u'x';
  for (const int size : {0, -3}) EXPECT_EQ(AfxLoadString(12345, buffer, size), 0);
  EXPECT_EQ(AfxLoadString(12345, nullptr, 9), 0);
  EXPECT_EQ(buffer[0], u'x');
}

// What a message box gives and shows, answered with one of its buttons.
std::pair<int, AlertRequest> Show(const char16_t* message, unsigned type,
                                  std::optional<int> button) {
  return test::Answered(button, [&] { return AfxMessageBox(message, type); });
}

TEST(Messages, EveryButtonGivesItsResult) {
  const std::tuple<unsigned, std::vector<std::string>, std::vector<int>, int> sets[] = {
      {0, {"OK"}, {1}, 1},
      {1, {"OK", "Cancel"}, {1, 2}, 2},
      {2, {"Abort", "Retry", "Ignore"}, {3, 4, 5}, 4},
      {3, {"Yes", "No", "Cancel"}, {6, 7, 2}, 7},
      {4, {"Yes", "No"}, {6, 7}, 7},
      {5, {"Retry", "Cancel"}, {4, 2}, 2},
      {6, {"OK"}, {0}, 0},
      {15, {"OK"}, {0}, 0},
  };
  for (const auto& [type, labels, results, closed] : sets) {
    for (std::size_t button = 0; button < results.size(); ++button) {
      const auto [result, shown] = Show(u"m", type, static_cast<int>(button));
      EXPECT_EQ(shown.buttons, labels);
      EXPECT_EQ(shown.default_button, 0);
      EXPECT_EQ(shown.cancel_button, labels.size() > 1 ? 1 : -1);
      EXPECT_EQ(result, results[button]) << type;
    }
    EXPECT_EQ(Show(u"m", type, host::kAlertClosed).first, closed) << type;
    EXPECT_EQ(Show(u"m", type, std::nullopt).first, 0);
  }
}

TEST(Messages, IconAndDefaultButtonComeFromTheType) {
  const std::tuple<unsigned, AlertLevel, int> cases[] = {
      {0x03, AlertLevel::kPlain, 0},  {0x13, AlertLevel::kStop, 0},
      {0x23, AlertLevel::kNote, 0},   {0x33, AlertLevel::kCaution, 0},
      {0x43, AlertLevel::kNote, 0},   {0x73, AlertLevel::kCaution, 0},
      {0x53, AlertLevel::kNote, 0},   {0x103, AlertLevel::kPlain, 1},
      {0x203, AlertLevel::kPlain, 2}, {0x124, AlertLevel::kNote, 1},
  };
  for (const auto& [type, level, default_button] : cases) {
    const AlertRequest request = Show(u"m", type, 0).second;
    EXPECT_EQ(request.level, level) << type;
    EXPECT_EQ(request.default_button, default_button) << type;
    EXPECT_EQ(request.header, "Alert");
  }
}

TEST(Messages, TheMessageIsEightBitsAndAtMost255) {
  EXPECT_EQ(Show(nullptr, 0, 0).second.message, "None");
  EXPECT_EQ(Show(u"", 0, 0).second.message, "");
  EXPECT_EQ(Show(u"caf\u00E9 \u0141", 0, 0).second.message, "caf\xC3\xA9 A");
  const std::u16string long_text(300, u'x');
  EXPECT_EQ(Show(long_text.c_str(), 0, 0).second.message, std::string(255, 'x'));

  const auto [result, shown] = test::Answered(0, [] { return AfxMessageBox(61475u); });
  EXPECT_EQ(result, 1);
  EXPECT_EQ(shown.message, "Out of memory");
  EXPECT_EQ(test::Answered(0, [] { return AfxMessageBox(0); }).second.message, "Unknown error");
}

TEST(Messages, AddressesAreValidUnlessNull) {
  EXPECT_TRUE(AfxIsValidAddress("", 1u << 30));
  EXPECT_FALSE(AfxIsValidAddress(nullptr, 0));
}

}  // namespace
}  // namespace orvik
