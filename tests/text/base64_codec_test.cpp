#include "tests/support/test_environment.h"
#include "text/byte_encodings.h"

namespace orvik::test {
namespace {

TEST(Base64Codec, VariantsAgree) {
  if (!base64::HasAvx2()) GTEST_SKIP() << "one variant only";
  std::mt19937 random(3);
  for (std::size_t groups = 1; groups < 130; ++groups) {
    std::vector<unsigned char> bytes(groups * 3);
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
    std::string text(groups * 4, '?'), other(groups * 4, '?');
    base64::EncodePortable(bytes.data(), groups, text.data());
    base64::EncodeAvx2(bytes.data(), groups, other.data());
    ASSERT_EQ(text, other);
    for (int damage = 0; damage < 5; ++damage) {
      // Exactly the room that is asked for, so that a byte too many is found.
      std::vector<unsigned char> one(groups * 3), two(groups * 3);
      unsigned char *one_end = one.data(), *two_end = two.data();
      EXPECT_EQ(base64::DecodePortable(text.data(), groups, one_end),
                base64::DecodeAvx2(text.data(), groups, two_end))
          << text;
      EXPECT_EQ(std::string(one.data(), one_end), std::string(two.data(), two_end)) << text;
      if (damage == 0) {
        EXPECT_EQ(one, bytes);
      }
      text[random() % text.size()] = "=A!z"[random() % 4];
    }
  }
}

TEST(Base64Codec, DecodesLooseText) {
  const std::pair<const char*, std::optional<std::string>> cases[] = {
      {"", ""},      {"T", std::nullopt},     {"=", ""},      {"TWFu", "Man"},
      {"TQ", "M"},   {"TWFuT", std::nullopt}, {"!!!", ""},    {"TWFu=TWFu", "Man"},
      {"TWE", "Ma"}, {"T-W*F\x80u", "Man"},   {"TWE=", "Ma"}, {"\n\tTW Fu\n", "Man"}};
  for (const auto& [text, bytes] : cases) EXPECT_EQ(DecodeLooseBase64(text), bytes) << text;
}

TEST(Base64Codec, LineBreaksAnywhereChangeNothing) {
  std::mt19937 random(7);
  std::string bytes(301, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  std::string text(Base64Length(bytes.size()), '?');
  EncodeBase64(bytes.data(), bytes.size(), text.data());
  for (std::size_t line = 1; line < text.size(); ++line) {
    std::string broken = text;
    for (std::size_t at = line; at < broken.size(); at += line + 1) broken.insert(at, 1, '\n');
    ASSERT_EQ(DecodeLooseBase64(broken), bytes) << line;
  }
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
