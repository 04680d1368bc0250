#include "tests/properties/base64.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(Base64Codec, BytesComeBackByEveryVariant) {
  EXPECT_EQ(FirstFault(2'000, 400, Base64CircleFault), "");
}

TEST(Base64Codec, DecodesLooseText) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"", ""},      {"T", std::nullopt},     {"=", ""},      {"TWFu", "Man"},
      {"TQ", "M"},   {"TWFuT", std::nullopt}, {"!!!", ""},    {"TWFu=TWFu", "Man"},
      {"TWE", "Ma"}, {"T-W*F\x80u", "Man"},   {"TWE=", "Ma"}, {"\n\tTW Fu\n", "Man"}};
  for (const auto& [text, bytes] : cases) EXPECT_EQ(DecodeLooseBase64(text), bytes) << text;
}

TEST(Base64Fault, NamesTheFirstWrongCharacter) {
  const std::pair<const char*, std::size_t> kCases[] = {{"***", 0},   {"AA-_", 2}, {"AAH", 3},
                                                        {"AA=A", 2},  {"AB==", 1}, {"AA==AA==", 2},
                                                        {"AAA A", 3}, {"A===", 1}};
  for (const auto& [text, place] : kCases) EXPECT_EQ(Base64Fault(text), place) << text;
  for (const char* text : {"", "AA==", "AAA=", "+/+/"}) EXPECT_EQ(Base64Fault(text), std::nullopt);
}

}  // namespace
}  // namespace orvik::test
