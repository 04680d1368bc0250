#include "strings/code_pages.h"

#include <tuple>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

std::string ToBytes(unsigned code_page, std::u16string_view text) {
  const auto length = static_cast<int>(text.size());
  const int size =
      WideCharToMultiByte(code_page, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  EXPECT_EQ(
      WideCharToMultiByte(code_page, 0, text.data(), length, bytes.data(), size, nullptr, nullptr),
      size);
  return bytes;
}

std::u16string FromBytes(unsigned code_page, std::string_view bytes) {
  const auto length = static_cast<int>(bytes.size());
  const int size = MultiByteToWideChar(code_page, 0, bytes.data(), length, nullptr, 0);
  std::u16string text(static_cast<std::size_t>(size), u'\0');
  EXPECT_EQ(MultiByteToWideChar(code_page, 0, bytes.data(), length, text.data(), size), size);
  return text;
}

TEST(CodePages, KnowsManyAndTakesTheRestAsUtf8) {
  const std::tuple<unsigned, std::u16string_view, std::string> cases[] = {
      {CP_UTF8, u"\xE9\x4E2D\xD83D\xDE00", "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80"},
      {CP_ACP, u"\xE9", "\xC3\xA9"},
      {1252, u"\xE9\x20AC\x4E2D", "\xE9\x80?"},
      {932, u"\x65E5", "\x93\xFA"},
      {10000, u"\xE9\x20AC", "\x8E\xDB"},
      {20127, u"a\xE9\xD83D\xDE00", "a\?\?"},
      {37, u"A1", "\xC1\xF1"},
      {1201, u"\xE9", std::string("\0\xE9", 2)}};
  for (const auto& [code_page, text, bytes] : cases) {
    EXPECT_EQ(ToBytes(code_page, text), bytes) << code_page;
    if (bytes.find('?') == std::string::npos) {
      EXPECT_EQ(FromBytes(code_page, bytes), text) << code_page;
    }
  }
  // The last two are numbers of another maker.
  for (const unsigned unknown : {4u, 99999u, 1363u, 33722u}) {
    EXPECT_EQ(ToBytes(unknown, u"\xE9"), "\xC3\xA9") << unknown;
    EXPECT_EQ(FromBytes(unknown, "\xC3\xA9"), u"\xE9") << unknown;
  }
}

TEST(CodePages, Lengths) {
  char bytes[8] = "XXXXXXX";
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9", -1, nullptr, 0, nullptr, nullptr), 3);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a\xE9z", -1, bytes, 2, nullptr, nullptr), 1);
  EXPECT_EQ(bytes[1], 'X');
  for (const int length : {0, -2}) {
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"a", length, bytes, 8, nullptr, nullptr), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", length, nullptr, 0), 0);
  }
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, nullptr, -1, bytes, 8, nullptr, nullptr), 0);
  EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, u"", -1, bytes, 8, nullptr, nullptr), 0);
  char16_t units[4] = {};
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xE2\x82\xAC", -1, units, 2), 2);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xF0\x9F\x98\x80", -1, units, 2), 2);
  EXPECT_EQ(units[1], 0xD83D);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, "abc", 3, units, 2), 2);
}

TEST(CodePages, BadBytesGiveNothing) {
  char16_t units[4] = {};
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF", -1, nullptr, 0), 0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a\xFF", -1, units, 4), 0);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "ab\xFF", -1, units, 2), 0);
  EXPECT_EQ(MultiByteToWideChar(932, 0, "\x93", -1, units, 4), 0);
}

TEST(CodePages, WhatCannotBeEncodedIsAQuestionMark) {
  EXPECT_EQ(ToBytes(CP_UTF8, u"a\xD83Dz\xDE00"), "a?z?");
  EXPECT_EQ(ToBytes(1252, u"\xAD\x200B\xD83D\xDE00"), "\xAD\?\?");
  BOOL used = TRUE;
  char bytes[4];
  WideCharToMultiByte(1252, 0, u"\x4E2D", 1, bytes, 4, "-", &used);
  EXPECT_EQ(bytes[0], '?');
  EXPECT_EQ(used, FALSE);
}

}  // namespace
}  // namespace orvik::test
