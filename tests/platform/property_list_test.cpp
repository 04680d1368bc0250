#include "platform/core_foundation/property_list.h"

#include <gtest/gtest.h>

#include "platform/core_foundation/object.h"
#include "platform/foundation/property_list_serialization.h"
#include "tests/platform/property_list_test_support.h"

namespace orvik::test {
namespace {

struct Case {
  std::string bytes;
  std::string expected;
};

void ExpectAll(const std::vector<Case>& cases) {
  for (const Case& c : cases) EXPECT_EQ(DescribeBytes(c.bytes), c.expected) << c.bytes;
}

TEST(PropertyListXml, ReadsEveryKindOfValue) {
  ExpectAll({
      {"<plist version=\"1.0\"><string>a &lt;&gt;&amp;&quot;&apos; &#65;&#x42;</string></plist>",
       "s:a <>&\"' AB"},
      {"<string/>", "s:"},
      {"<string> </string>", "s: "},
      {"<string>a\r\nb\rc&#13;</string>", "s:a\nb\nc\r"},
      {"<integer> -0x10 </integer>", "i:-16"},
      {"<integer>18446744073709551615</integer>", "i:18446744073709551615"},
      {"<real>-1.5e3</real>", "r:-1500"},
      {"<real>Infinity</real>", "r:+infinity"},
      {"<true/>", "b:1"},
      {"<false></false>", "b:0"},
      {"<date>2001-01-01T00:01:00Z</date>", "d:60"},
      {"<data>\n\tCv8=\n</data>", "x:0AFF"},
      {"<data/>", "x:"},
      {"<array><array/><dict/><string>x</string></array>", "(() {} s:x)"},
      {"<dict><key>b</key><true/><key></key><dict><key>a</key><array/></dict></dict>",
       "{={a=()} b=b:1}"},
      {"<dict><key>CF$UID</key><integer>7</integer></dict>", "{CF$UID=i:7}"},
  });
}

TEST(PropertyListXml, KeepsTextAmongCommentsSectionsAndInstructions) {
  ExpectAll({
      {"<!-- a --><plist><!-- b --><string> <![CDATA[<&amp;>]]> &amp;<!-- c --> </string></plist>",
       "s: <&amp;> & "},
      {"<dict><?pi?><key>a<!-- ! -->b</key><!-- - --><integer>1<!-- x -->2</integer></dict>",
       "{ab=i:12}"},
      {"<array><![CDATA[ ]]><string>?!</string></array>", "(s:?!)"},
      {"<?xml version='1.0'?>\n<!DOCTYPE plist [<!ENTITY a \"]>\">]>\n<plist><true/></plist>\n",
       "b:1"},
  });
}

TEST(PropertyListXml, OfEqualKeysTheLastHolds) {
  ExpectAll({{"<dict><key>a</key><true/><key>b</key><true/><key>a</key><false/></dict>",
              "{a=b:0 b=b:1}"}});
}

void ExpectRefused(std::initializer_list<const char*> lists) {
  for (const char* bytes : lists) {
    CFStringRef error = nullptr;
    const OwnedObject data(NSData::Create(bytes));
    EXPECT_EQ(CFPropertyListCreateFromXMLData(kCFAllocatorDefault,
                                              static_cast<CFDataRef>(data.get()), 0, &error),
              nullptr)
        << bytes;
    ASSERT_NE(error, nullptr) << bytes;
    EXPECT_GT(error->length(), 0);
    CFRelease(error);
  }
}

TEST(PropertyListXml, RefusesWhatIsNoPropertyList) {
  ExpectRefused({"", "<", "<plist/>", "<plist></plist>", "<plist><true/><true/></plist>",
                 "<plist><true/></plist>x", "<plist><true/></plist><plist/>",
                 "<plist>x<true/></plist>", "<plist><true/>", "<html><body/></html>"});
  ExpectRefused({"<key>a</key>", "<dict><key>a</key></dict>", "<dict><true/></dict>",
                 "<dict><key>a</key><key>b</key></dict>", "<dict>a<key>a</key><true/></dict>",
                 "<dict><key>a</key><true/>b</dict>", "<array><key>a</key></array>"});
  ExpectRefused({"<string>a<b/></string>", "<true>a</true>", "<integer/>", "<integer>1.5</integer>",
                 "<date>yesterday</date>", "<string>&nbsp;</string>", "<string>a & b</string>",
                 "<string>&#x110000;</string>", "<string>\xC3</string>",
                 "<!DOCTYPE plist [<!ENTITY a \"x\"><!ENTITY b \"&a;&a;\">]><string>&b;</string>"});
  EXPECT_EQ(DescribeBytes(std::string("<string>a\0b</string>", 20)), "nothing");
}

TEST(PropertyListXml, ReadsItsEncodings) {
  const std::string body = "<array><string>\u00E9\U0001F600</string></array>";
  const std::u16string units =
      u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>";
  std::string big, little;
  for (const char16_t unit : units) {
    big += {static_cast<char>(unit >> 8), static_cast<char>(unit)};
    little += {static_cast<char>(unit), static_cast<char>(unit >> 8)};
  }
  ExpectAll({
      {"\xEF\xBB\xBF" + body, "(s:\u00E9\U0001F600)"},
      {"\xFE\xFF" + big, "s:\u00E9"},
      {"\xFF\xFE" + little, "s:\u00E9"},
      {big, "s:\u00E9"},
      {little, "s:\u00E9"},
      {little + '\0', "nothing"},
      {"<?xml version=\"1.0\" encoding='ISO-8859-1'?><string>\xE9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"UTF-16\"?><string>\u00E9</string>", "s:\u00E9"},
      {"<?xml version=\"1.0\" encoding=\"no-such\"?><string>a</string>", "nothing"},
  });
}

TEST(PropertyListXml, WritesDictionariesByKeyWithTabs) {
  const OwnedObject list =
      ReadRoot("{ b = (x, <00>); a = {}; \"\\Uffee\" = (); \"\\Ud83d\\Ude00\" = \"<&>\\r\"; }");
  EXPECT_EQ(XmlOf(list.get()),
            "<dict>\n"
            "\t<key>a</key>\n\t<dict/>\n"
            "\t<key>b</key>\n\t<array>\n\t\t<string>x</string>\n\t\t<data>\n\t\tAA==\n\t\t</data>\n"
            "\t</array>\n"
            "\t<key>\U0001F600</key>\n\t<string>&lt;&amp;&gt;&#13;</string>\n"
            "\t<key>\uFFEE</key>\n\t<array/>\n"
            "</dict>\n");
}

TEST(PropertyListText, ReadsTheOldForm) {
  ExpectAll({
      {"{ a = b; \"c d\" = ( 1, 'x\"', <0a 0B>, {}, ( ), ); }",
       "{a=s:b c d=(s:1 s:x\" x:0A0B {} ())}"},
      {"// c\n{ /* d */ a/b = http://x.y/z; k; }", "{a/b=s:http://x.y/z k=s:k}"},
      {"\"a\" = \"b\";\nc = (d);\n", "{a=s:b c=(s:d)}"},
      {"\"\\U00e9\\101\\341\\n\\\\\\q\u00FC\"", "s:\u00E9A\u00C6\n\\q\u00FC"},
      {"<0aff>", "x:0AFF"},
      {" /* nothing */ ", "{}"},
  });
  for (const char* none : {"(a, b", "(a b)", "(,)", "{ a = b }", "{ a b; }", "{ a = b; } c",
                           "<0a0>", "\"open", "word", "several words", "a = b"}) {
    EXPECT_EQ(DescribeBytes(none), "nothing") << none;
  }
}

TEST(PropertyListCopies, HaveTheMutabilityThatIsAskedFor) {
  const char* xml = "<dict><key>a</key><array><string>s</string><data>AA==</data></array></dict>";
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject read = ReadRoot(xml, options);
    const OwnedObject original = ReadRoot(xml, 2 - options);
    const OwnedObject copy(
        ObjectOf(CFPropertyListCreateDeepCopy(nullptr, original.get(), options)));
    ASSERT_TRUE(CFEqual(original.get(), copy.get()));
    for (const OwnedObject* root : {&read, &copy}) {
      const auto* dictionary = static_cast<const NSDictionary*>(root->get());
      const NSDictionary::Entry& entry = dictionary->Entries()[0];
      const auto* array = static_cast<const NSArray*>(entry.value);
      EXPECT_EQ(dictionary->isMutable(), options >= 1);
      EXPECT_EQ(array->isMutable(), options >= 1);
      EXPECT_FALSE(static_cast<const NSString*>(entry.key)->isMutable());
      EXPECT_EQ(static_cast<const NSString*>(array->Objects()[0])->isMutable(), options == 2);
    }
  }
}

TEST(PropertyListXml, IsNotWrittenOfWhatItCannotHold) {
  EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, nullptr), nullptr);
  const Owned<NSDictionary> keyed_by_boolean(NSDictionary::Create());
  keyed_by_boolean->setObject(kCFBooleanTrue, kCFBooleanTrue);
  EXPECT_EQ(CFPropertyListCreateXMLData(nullptr, keyed_by_boolean.get()), nullptr);
  EXPECT_FALSE(CFPropertyListIsValid(keyed_by_boolean.get(), kCFPropertyListXMLFormat_v1_0));
  const OwnedObject number = ReadRoot("<array><integer>1</integer></array>");
  EXPECT_FALSE(CFPropertyListIsValid(number.get(), kCFPropertyListOpenStepFormat));
  EXPECT_TRUE(CFPropertyListIsValid(number.get(), kCFPropertyListXMLFormat_v1_0));
  EXPECT_TRUE(CFPropertyListIsValid(ReadRoot("{a = <00>;}").get(), kCFPropertyListOpenStepFormat));
  EXPECT_FALSE(CFPropertyListIsValid(number.get(), 0));
}

class PropertyListSerialization : public testing::Test {
 protected:
  // Takes the description over.
  static std::string Text(const NSString* description) {
    if (description == nullptr) return "none";
    const OwnedObject owner(description);
    return description->ToUtf8();
  }

  NSAutoreleasePool pool_;
};

TEST_F(PropertyListSerialization, LeavesTheFormatAloneAndExplainsWhatIsNoList) {
  NSPropertyListFormat format = 77;
  const NSString* error = nullptr;
  const NSData* data = Autoreleased(NSData::Create("not a list"));
  EXPECT_EQ(NSPropertyListSerialization::propertyListFromData(data, 2, &format, &error), nullptr);
  EXPECT_EQ(format, 77u);
  EXPECT_EQ(Text(error), "The text is no property list: unexpected in line 1, column 5");
  EXPECT_EQ(NSPropertyListSerialization::propertyListFromData(nullptr, 0, nullptr, nullptr),
            nullptr);
}

TEST_F(PropertyListSerialization, WritesTheFormsThatCanBeWritten) {
  const OwnedObject list = ReadRoot("{a = (b);}", 2);
  for (const NSPropertyListFormat written :
       {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
    const NSString* error = nullptr;
    const NSData* data =
        NSPropertyListSerialization::dataFromPropertyList(list.get(), written, &error);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(Text(error), "none");
    NSPropertyListFormat format = 0;
    const NSObject* root =
        NSPropertyListSerialization::propertyListFromData(data, 0, &format, nullptr);
    EXPECT_EQ(format, written);
    EXPECT_TRUE(CFEqual(root, list.get()));
  }
  for (const NSPropertyListFormat refused : {0ul, 1ul, 101ul}) {
    const NSString* error = nullptr;
    EXPECT_EQ(NSPropertyListSerialization::dataFromPropertyList(list.get(), refused, &error),
              nullptr);
    EXPECT_NE(Text(error), "none");
  }
  const NSString* error = nullptr;
  EXPECT_EQ(NSPropertyListSerialization::dataFromPropertyList(nullptr, 100, &error), nullptr);
  EXPECT_EQ(Text(error), "There is no object to write");
}

}  // namespace
}  // namespace orvik::test
