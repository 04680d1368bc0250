#include "platform/core_foundation/property_list_escape.h"

#include "tests/platform/property_list_test_support.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using namespace std::string_literals;

std::string Escaped(std::u16string_view text) {
  std::string xml;
  AppendPropertyListText(xml, text);
  return xml;
}

std::u16string Unescaped(std::u16string text) {
  UnescapePropertyListText(text);
  return text;
}

TEST(PropertyListEscape, NamesUnitsThatXmlCannotCarry) {
  EXPECT_EQ(Escaped(std::u16string_view(u"a\0b\t\n\r\x1F\x7F", 8)),
            "a\uFDD00000b\t\n&#13;\uFDD0001F\x7F");
  EXPECT_EQ(Escaped(std::u16string{0xD83D, 0xDE00, 0xDE00, 0xD83D, u'x'}),
            "\U0001F600\uFDD0DE00\uFDD0D83Dx");
  EXPECT_EQ(Escaped(std::u16string{0xFFFD, 0xFFFE, 0xFFFF}), "\uFFFD\uFDD0FFFE\uFDD0FFFF");
}

// Every text of up to six of these pieces, in memory and as another program may have written it.
TEST(PropertyListEscape, ComesBackAndLeavesForeignTextAlone) {
  const std::u16string pieces[] = {{0},
                                   {0xD800},
                                   {0xFFFE},
                                   {0xFDD0},
                                   u"0000",
                                   u"FDD0",
                                   u"0041",
                                   u"\uFDD0"
                                   u"001F",
                                   u"z"};
  for (size_t number = 0; number < 9 * 9 * 9 * 9 * 9; ++number) {
    std::u16string text;
    bool xml_can_carry = true;
    for (size_t rest = number; rest > 0; rest /= 9) {
      text += pieces[rest % 9];
      xml_can_carry = xml_can_carry && rest % 9 > 2;
    }
    const OwnedObject written(NSString::NewFromUtf8(Escaped(text)));
    ASSERT_NE(written, nullptr);
    const std::u16string in_file = static_cast<const NSString*>(written.get())->ToUnits();
    ASSERT_EQ(Unescaped(in_file), text);
    const OwnedObject exchanged(NSString::NewFromUtf8(EscapedSurrogates(text)));
    ASSERT_EQ(Unescaped(static_cast<const NSString*>(exchanged.get())->ToUnits()), text);
    if (!xml_can_carry) continue;
    const OwnedObject foreign = StringOf(Unescaped(text));
    const OwnedObject again(
        NSString::NewFromUtf8(Escaped(static_cast<const NSString*>(foreign.get())->ToUnits())));
    ASSERT_EQ(static_cast<const NSString*>(again.get())->ToUnits(), text);
  }
}

// Keys and values of every 16-bit unit, alone and between others: a strict parser takes the file,
// what was there before stays, and all of it comes back.
TEST(PropertyListEscape, NeverLeavesAFileThatAStrictParserRejects) {
  ScopedEnvironment environment;
  NSDictionary* dictionary = NSDictionary::Create();
  const OwnedObject owner(dictionary);
  dictionary->setObject(StringOf(u"before").get(), StringOf(u"kept").get());
  for (char32_t unit = 0; unit < 0x10000; unit += unit < 0x100 || unit > 0xFDC0 ? 1 : 0x3F) {
    const std::u16string text = {u'a', static_cast<char16_t>(unit), u'0'};
    dictionary->setObject(StringOf(text.substr(1, 1)).get(), StringOf(text).get());
  }
  const std::optional<std::string> xml = WriteXmlPropertyList(dictionary);
  ASSERT_TRUE(xml);
  EXPECT_TRUE(CFEqual(ReadRoot(*xml).get(), dictionary));
  EXPECT_EQ(RunCommand({"xmllint", "--noout", "--nonet", "-"}, *xml).status, 0);
  const CommandResult python =
      RunCommand({"python3", "-c",
                  "import plistlib,sys; print(plistlib.loads(sys.stdin.buffer.read())['kept'])"},
                 *xml);
  EXPECT_EQ(python.out, "before\n") << python.err;
}

}  // namespace
}  // namespace orvik::test
