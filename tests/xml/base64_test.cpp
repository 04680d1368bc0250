#include "xml/base64.h"

#include "tests/files/support.h"
#include "tests/support/without_root_rights.h"

namespace orvik::test {
namespace {

// With exactly the required room, so that an extra byte is detected.
std::string Decoded(const std::string& text) {
  const std::vector<char> input(text.begin(), text.end());
  std::vector<unsigned char> output(text.size() / 4 * 3);
  unsigned int length = 12345;
  if (decode64(input.data(), static_cast<unsigned>(input.size()), output.data(), &length) == 0) {
    EXPECT_EQ(length, 12345u);
    return "failed";
  }
  return std::string(output.begin(), output.begin() + length);
}

TEST(Base64Test, WritesNothingWithoutTheRoom) {
  char text[5] = "----";
  unsigned int length = 0;
  const auto* const bytes = reinterpret_cast<const unsigned char*>("Man");
  EXPECT_EQ(encode64(bytes, 3, text, 3, &length), 0);
  EXPECT_EQ(length, 4u);
  // Their encoded lengths exceed 32 bits: 4 * 2^30 becomes 0 there.
  for (const unsigned int size : {0xC0000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
    EXPECT_EQ(encode64(bytes, size, text, 0xFFFFFFFFu, &length), 0);
  }
  EXPECT_STREQ(text, "----");
  EXPECT_EQ(encode64(bytes, 3, text, 4, nullptr), 1);
}

TEST(Base64Test, DecodesGroupByGroup) {
  const std::pair<std::string, std::string> cases[] = {
      {"TWFu", "Man"},          {"TWE=", "Ma"},    {"TQ==", "M"},    {"+++/", "\xFB\xEF\xBF"},
      {"+TWF", "\xF9\x35\x85"}, {"TQ=x", "M"},     {"T", ""},        {"QQ==TWFu", "AMan"},
      {"+ TWFuTWFu", "ManMan"}, {"TWFu\n", "Man"}, {"TWFuTW", "Man"}};
  for (const auto& [text, bytes] : cases) EXPECT_EQ(Decoded(text), bytes) << text;
  for (const std::string text : {"", "+ ", "+ TWFuxx", "TW\nu", "T=Fu", "=WFu", "TQ=\x80", "TQ=-",
                                 "TWFuTW u", "Gr\xC3\xBC"}) {
    EXPECT_EQ(Decoded(text), "failed") << text;
  }
}

TEST(Base64Test, EveryByteIsJudgedAloneAtEveryPlace) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int byte = 0; byte < 256; ++byte) {
    const bool valid = alphabet.find(static_cast<char>(byte)) != std::string::npos;
    for (std::size_t place = 0; place < 64; place += 7) {
      std::string text(64, 'A');
      text[place] = static_cast<char>(byte);
      const bool padding = byte == '=' && place % 4 >= 2;
      EXPECT_EQ(Decoded(text) != "failed", valid || padding) << byte << " at " << place;
    }
  }
}

TEST(Base64Test, PutsThePrefixInFront) {
  const unsigned char man[] = {'M', 'a', 'n', 0};
  EXPECT_EQ(ConvertRawBytesIntoBase64String(man, 4, "p").View(), "pTWFuAA==");
  EXPECT_EQ(ConvertRawBytesIntoBase64String(man, 0, "p").View(), "p");
  EXPECT_EQ(ConvertRawBytesIntoBase64String(nullptr, -5, nullptr).View(), "");
}

class Base64FileTest : public FileTest {
 protected:
  HRESULT DecodeToFile(const std::string& text) {
    return decode64ToFile(path_, text.data(), static_cast<unsigned>(text.size()));
  }
};

TEST_F(Base64FileTest, ConvertsWholeFiles) {
  CAtlStringA result("before");
  EXPECT_EQ(ConvertBinaryFileToBase64String(path_, result, "p:"), E_INVALIDARG);
  EXPECT_EQ(result.View(), "before");
  WriteFile(file_, Repeated("Man", 33'333) + "M");
  EXPECT_EQ(ConvertBinaryFileToBase64String(path_, result, "p:"), S_OK);
  EXPECT_EQ(result.View(), "p:" + Repeated("TWFu", 33'333) + "TQ==");
  for (const std::uintmax_t size : {1'700'000'000ull, 5ull << 30}) {  // too long for strings
    fs::resize_file(file_, size);
    EXPECT_EQ(ConvertBinaryFileToBase64String(path_, result, nullptr), E_FAIL);
  }
  fs::permissions(file_, fs::perms::none);
  const WithoutRootRights rights(env_.folder());
  for (const fs::path& without_bytes : {file_, env_.folder(), fs::path("/dev/null")}) {
    EXPECT_EQ(ConvertBinaryFileToBase64String(File(without_bytes), result, "p:"), S_OK);
    EXPECT_EQ(std::exchange(result, "before").View(), "p:") << without_bytes;
  }
}

TEST_F(Base64FileTest, DecodesIntoAFileOrLeavesNone) {
  // Padded groups fill the buffer by odd amounts.
  const std::string text = Repeated(Repeated("TWFu", 700) + "QQ==", 5);
  EXPECT_EQ(DecodeToFile("+ " + text), S_OK);
  EXPECT_EQ(ReadFile(file_), Repeated(Repeated("Man", 700) + "A", 5));
  for (const std::string& bad : {text + "TW u", std::string(4, '\0'), std::string("+ TWFuTW")}) {
    EXPECT_EQ(DecodeToFile(bad), E_FAIL);
    EXPECT_FALSE(fs::exists(file_));
  }
  EXPECT_EQ(DecodeToFile(""), S_OK);
  EXPECT_EQ(ReadFile(file_), "");
  const FileSizeLimit limit(1000);
  EXPECT_EQ(DecodeToFile(text), E_FAIL);
  EXPECT_EQ(NamesIn(env_.folder()), (std::vector<std::string>{"home", "root", "tmp"}));
  EXPECT_EQ(decode64ToFile(File(env_.folder() / "no/file"), "TWFu", 4), E_INVALIDARG);
}

TEST_F(Base64FileTest, TouchesNoLinksTargetAndNothingThatIsNoFile) {
  const fs::path real = env_.folder() / "real";
  WriteFile(real, "precious");
  fs::create_symlink(real, file_);
  EXPECT_EQ(DecodeToFile("TWFu!"), S_OK) << "the tail is not looked at";
  EXPECT_EQ(DecodeToFile("TWFu!!!!"), E_FAIL);
  EXPECT_EQ(ReadFile(real), "Man");
  EXPECT_TRUE(fs::is_symlink(file_));
  for (const fs::path& other : {top_, fs::path("/dev/null")}) {
    fs::remove(file_);
    fs::create_symlink(other, file_);
    for (const char* text : {"TWFu", "!!!!"}) {
      EXPECT_EQ(decode64ToFile(path_, text, 4), E_INVALIDARG) << other;
      EXPECT_EQ(decode64ToFile(File(other), text, 4), E_INVALIDARG) << other;
    }
    EXPECT_TRUE(fs::is_symlink(file_) && fs::exists(other)) << other;
  }
}

}  // namespace
}  // namespace orvik::test
