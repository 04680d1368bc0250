#include "platform/core_foundation/property_list_xml.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>

#include "platform/core_foundation/date.h"
#include "platform/core_foundation/url.h"
#include "tests/platform/property_list_test_support.h"

namespace orvik::test {
namespace {

std::string EveryKind() {
  const OwnedObject list = ReadRoot(
      "<dict><key>a &amp; b</key><dict><key>c</key><array><dict/><array/><dict><key>d</key>"
      "<dict><key>e</key><data>AAECAwQ=</data></dict></dict></array><key>\u00E9</key>"
      "<string>\u4E16&lt;&#0;&#13;\n\tx</string><key></key><string/></dict><key>i</key>"
      "<integer>-5</integer><key>r</key><real>0.1</real><key>s</key><true/><key>t</key><false/>"
      "<key>u</key><date>2001-01-01T00:00:00Z</date></dict>");
  return *WriteXmlPropertyList(list.get());
}

TEST(PropertyListXmlTest, WritesItsOwnLayoutBackAsItStands) {
  const std::string xml = EveryKind();
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject root = ReadRoot(xml, options);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(*WriteXmlPropertyList(root.get()), xml);
    EXPECT_TRUE(static_cast<const NSDictionary*>(root.get())->isDeferred());
    EXPECT_EQ(static_cast<const NSDictionary*>(root.get())->isMutable(), options != 0);
    Describe(root.get());  // which looks at everything
    EXPECT_EQ(*WriteXmlPropertyList(root.get()), xml);
  }
}

// Of a file that differs in one byte either nothing is read, or what is written without a look is
// what the objects give.
TEST(PropertyListXmlTest, KnowsEveryByteOfItsOwnLayout) {
  const std::string xml = EveryKind();
  for (size_t position = 0; position < xml.size(); ++position) {
    for (const char byte : {'<', '\t', '\n', '&', 'a', '/', '\xC3', '\x01', '0', ' '}) {
      std::string changed = xml;
      changed[position] = byte;
      const OwnedObject root = ReadRoot(changed);
      if (root == nullptr) continue;
      const auto written = WriteXmlPropertyList(root.get());
      Describe(root.get());
      ASSERT_EQ(WriteXmlPropertyList(root.get()), written) << changed;
    }
    // The last line end may be missing.
    const bool is_whole = position + 1 == xml.size();
    EXPECT_EQ(ReadRoot(xml.substr(0, position)) != nullptr, is_whole);
  }
}

TEST(PropertyListXmlTest, IndentsAnewWhatMovesElsewhere) {
  const OwnedObject root = ReadRoot(EveryKind());
  NSArray* list = NSArray::Create();
  const OwnedObject owner(list);
  list->addObject(
      static_cast<const NSDictionary*>(root.get())->objectForKey(StringOf(u"a & b").get()));
  list->addObject(root.get());
  const OwnedObject made(ObjectOf(CFPropertyListCreateDeepCopy(nullptr, list, 0)));
  Describe(made.get());  // which looks at everything
  EXPECT_EQ(XmlOf(list), XmlOf(made.get()));
}

TEST(PropertyListXmlTest, SaysWhereAListWentWrong) {
  static constexpr struct {
    const char *xml, *error;
  } kCases[] = {
      {"<dict>\n\t<key>a</key>\n\t<integer>x</integer>\n</dict>",
       "no value of its element in line 3, column 2"},
      {"<dict>\r\n<key>\u00E9</key> x</dict>", "text between the values in line 2, column 14"},
      {"<array>\n<true/></dict>", "unexpected end tag in line 2, column 8"},
      {"<array>\n<tru/></array>", "unknown element in line 2, column 1"},
      {"<array><true/>\n", "the text ends too early in line 2, column 1"},
      {"<array>\n <a b=c/></array>", "malformed markup in line 2, column 2"},
      {"<string>a\n</key>", "the end tag of the value is missing in line 2, column 1"},
      {"<dict><key>a</key></dict>", "a key without a value in line 1, column 19"},
      {"<plist><true/>", "the end tag of \"plist\" is missing in line 1, column 15"},
  };
  for (const auto& one : kCases) {
    EXPECT_EQ(ReadPropertyList(one.xml, 0).error,
              std::string("The XML is no property list: ") + one.error);
  }
  EXPECT_EQ(ReadPropertyList("{\n a = b }", 0).error,
            "The text is no property list: unexpected in line 2, column 8");
}

TEST(PropertyListXmlTest, NamesWhatCannotBeWritten) {
  NSDictionary* dictionary = NSDictionary::Create();
  const OwnedObject owner(dictionary);
  NSArray* list = NSArray::Create();
  list->addObject(kCFBooleanTrue);
  list->AppendOwned(static_cast<const NSObject*>(CFURLCreateFromFileSystemRepresentation(
      nullptr, reinterpret_cast<const UInt8*>("/"), 1, true)));
  dictionary->setObject(list, StringOf(u"a/b").get());
  list->release();
  std::string failed_at;
  EXPECT_FALSE(WriteXmlPropertyList(dictionary, &failed_at));
  EXPECT_EQ(failed_at, "a/b/1");
  failed_at.clear();
  EXPECT_FALSE(WriteBinaryPropertyList(dictionary, &failed_at));
  EXPECT_EQ(failed_at, "a/b/1");
}

// A date that the text of its element does not hold stays to the bit, in our hands and in those of
// a program that passes over attributes.
TEST(PropertyListXmlTest, KeepsEveryDateToTheBit) {
  constexpr double kDates[] = {0.25,
                               -0.0,
                               631152000.123456,
                               -1e-9,
                               1e300,
                               -1e300,
                               std::numeric_limits<double>::quiet_NaN(),
                               std::numeric_limits<double>::infinity()};
  for (const double seconds : kDates) {
    const OwnedObject date(NSDate::Create(seconds));
    const auto xml = WriteXmlPropertyList(date.get());
    ASSERT_TRUE(xml);
    const OwnedObject read = ReadRoot(*xml);
    ASSERT_NE(read, nullptr) << *xml;
    EXPECT_EQ(
        std::bit_cast<std::uint64_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(read.get()))),
        std::bit_cast<std::uint64_t>(seconds));
    EXPECT_EQ(WriteXmlPropertyList(read.get()), xml);
  }
  EXPECT_EQ(XmlOf(OwnedObject(NSDate::Create(0.25)).get()),
            "<date exact=\"3fd0000000000000\">2001-01-01T00:00:00Z</date>\n");
  EXPECT_EQ(XmlOf(OwnedObject(NSDate::Create(1)).get()), "<date>2001-01-01T00:00:01Z</date>\n");
  // The text was changed by a program that does not know the attribute.
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd0000000000000\">2001-01-01T00:00:01Z</date>"), "d:1");
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd\">2001-01-01T00:00:00Z</date>"), "d:0");
}

}  // namespace
}  // namespace orvik::test
