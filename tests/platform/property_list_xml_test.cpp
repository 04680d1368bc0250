#include "plist/xml.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <limits>
#include <thread>
#include <utility>

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
  return *WriteXml(list.get());
}

TEST(PropertyListXmlTest, WritesItsOwnLayoutBackAsItStands) {
  const std::string xml = EveryKind();
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject root = ReadRoot(xml, options);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(*WriteXml(root.get()), xml);
    EXPECT_TRUE(static_cast<const NSDictionary*>(root.get())->isDeferred());
    EXPECT_EQ(static_cast<const NSDictionary*>(root.get())->isMutable(), options != 0);
    Describe(root.get());  // which looks at everything
    EXPECT_EQ(*WriteXml(root.get()), xml);
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
      const auto written = WriteXml(root.get());
      Describe(root.get());
      ASSERT_EQ(WriteXml(root.get()), written) << changed;
    }
    // The last line end may be missing.
    const bool is_whole = position + 1 == xml.size();
    EXPECT_EQ(ReadRoot(xml.substr(0, position)) != nullptr, is_whole);
  }
}

TEST(PropertyListXmlTest, IndentsAnewWhatMovesElsewhere) {
  const OwnedObject root = ReadRoot(EveryKind());
  const Owned<NSArray> list(NSArray::Create());
  list->addObject(
      static_cast<const NSDictionary*>(root.get())->objectForKey(StringOf(u"a & b").get()));
  list->addObject(root.get());
  const OwnedObject made(ObjectOf(CFPropertyListCreateDeepCopy(nullptr, list.get(), 0)));
  Describe(made.get());  // which looks at everything
  EXPECT_EQ(XmlOf(list.get()), XmlOf(made.get()));
}

TEST(PropertyListXmlTest, SaysWhereAListWentWrong) {
  static constexpr std::pair<const char*, const char*> kCases[] = {
      {"<dict>\n\t<key>a</key>\n\t<integer>x</integer>\n</dict>",
       "no value of its element in line 3, column 2"},
      {"<dict>\r\n<key>\u00E9</key> x</dict>", "text between the values in line 2, column 14"},
      {"<array>\n<true/></dict>", "unexpected end tag in line 2, column 8"},
      {"<array>\n<tru/></array>", "unknown element in line 2, column 1"},
      {"<array><true/>\n", "the text ends too early in line 2, column 1"},
      {"<array>\n <a b=c/></array>", "malformed markup in line 2, column 2"},
      {"<string>a\n</key>", "the end tag of the value is missing in line 2, column 1"},
      {"<dict><key>a</key></dict>", "a key without a value in line 1, column 19"},
      {"<plist><true/>", "the end tag of \"plist\" is missing in line 1, column 15"}};
  for (const auto& [xml, error] : kCases) {
    EXPECT_EQ(plist::Read(xml).error, std::string("The XML is no property list: ") + error);
  }
  EXPECT_EQ(plist::Read("{\n a = b }").error,
            "The text is no property list: unexpected in line 2, column 8");
}

TEST(PropertyListXmlTest, NamesWhatCannotBeWritten) {
  const Owned<NSDictionary> dictionary(NSDictionary::Create());
  const Owned<NSArray> list(NSArray::Create());
  list->addObject(kCFBooleanTrue);
  list->AppendOwned(static_cast<const NSObject*>(CFURLCreateFromFileSystemRepresentation(
      nullptr, reinterpret_cast<const UInt8*>("/"), 1, true)));
  dictionary->setObject(list.get(), StringOf(u"a/b").get());
  plist::Failure xml, binary;
  EXPECT_FALSE(WriteXml(dictionary.get(), &xml));
  EXPECT_FALSE(WriteBinary(dictionary.get(), &binary));
  for (const plist::Failure& failure : {xml, binary}) {
    EXPECT_EQ(failure.path, "a/b/1");
    EXPECT_FALSE(failure.is_too_large);
  }
}

// A date that the text of its element does not hold stays to the bit, in our hands and in those of
// a program that passes over attributes.
TEST(PropertyListXmlTest, KeepsEveryDateToTheBit) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const double seconds : {0.25, -0.0, 631152000.123456, -1e-9, 1e300, -1e300, kInfinity,
                               std::numeric_limits<double>::quiet_NaN()}) {
    const OwnedObject date(NSDate::Create(seconds));
    const auto xml = WriteXml(date.get());
    ASSERT_TRUE(xml);
    const OwnedObject read = ReadRoot(*xml);
    ASSERT_NE(read, nullptr) << *xml;
    EXPECT_EQ(
        std::bit_cast<std::uint64_t>(CFDateGetAbsoluteTime(static_cast<CFDateRef>(read.get()))),
        std::bit_cast<std::uint64_t>(seconds));
    EXPECT_EQ(WriteXml(read.get()), xml);
  }
  EXPECT_EQ(XmlOf(OwnedObject(NSDate::Create(0.25)).get()),
            "<date exact=\"3fd0000000000000\">2001-01-01T00:00:00Z</date>\n");
  EXPECT_EQ(XmlOf(OwnedObject(NSDate::Create(1)).get()), "<date>2001-01-01T00:00:01Z</date>\n");
  // The text was changed by a program that does not know the attribute.
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd0000000000000\">2001-01-01T00:00:01Z</date>"), "d:1");
  EXPECT_EQ(DescribeBytes("<date exact=\"3fd\">2001-01-01T00:00:00Z</date>"), "d:0");
}

const NSDictionary* DictionaryAt(const OwnedObject& root, std::u16string_view key) {
  const auto* dictionary = static_cast<const NSDictionary*>(root.get());
  return static_cast<const NSDictionary*>(dictionary->objectForKey(StringOf(key).get()));
}

std::string DeepestXml() {
  std::string xml = "<true/>";
  for (int depth = 0; depth < static_cast<int>(plist::kMaximumDepth); ++depth) {
    xml = "<dict><key>k</key>" + xml + "</dict>";
  }
  return xml;
}

TEST(PropertyListDeferral, IsWrittenAsItsObjectsWouldBe) {
  for (const std::string entries : {
           "<key>a</key><string>b</string><key>c</key><dict/>",
           "<key>b</key><true/><key>a</key><false/>",
           "<key>a</key><integer>1</integer><key>a</key><integer>2</integer>",
           "<key>&amp;</key><string>&#1;&quot;>\r\n&#13;\x01 \uFDD00000 \uFFFE</string>",
           "<key>\U0001F600</key><real>1.50</real><key>\uFFEE</key><integer>0x10</integer>",
           "<key>a</key><array><dict><key>z</key><data> AA == </data><key>y</key><date>"
           "2001-01-01Z</date></dict><array/><string/></array>",
           "<!-- c --><key>a<![CDATA[<]]></key><string> <!-- d -->]]&gt;</string>",
       }) {
    const std::string xml = "<plist><dict><key>k</key><dict>" + entries + "</dict></dict></plist>";
    const OwnedObject root = ReadRoot(xml);
    ASSERT_NE(root, nullptr) << xml;
    const OwnedObject made(ObjectOf(CFPropertyListCreateDeepCopy(nullptr, ReadRoot(xml).get(), 0)));
    Describe(made.get());  // which looks at everything
    ASSERT_TRUE(DictionaryAt(root, u"k")->isDeferred());
    EXPECT_EQ(XmlOf(root.get()), XmlOf(made.get())) << xml;
    EXPECT_TRUE(DictionaryAt(root, u"k")->isDeferred());
    EXPECT_TRUE(CFEqual(root.get(), made.get()));
    EXPECT_FALSE(DictionaryAt(root, u"k")->isDeferred());
  }
}

TEST(PropertyListDeferral, OutlivesTheRootAndMovesElsewhere) {
  OwnedObject root = ReadRoot("<dict><key>k</key><dict><key>a</key><dict/></dict></dict>");
  const Owned<NSArray> list(NSArray::Create());
  list->addObject(DictionaryAt(root, u"k"));
  root.reset();
  EXPECT_EQ(XmlOf(list.get()),
            "<array>\n\t<dict>\n\t\t<key>a</key>\n\t\t<dict/>\n\t</dict>\n</array>\n");
  EXPECT_EQ(Describe(list.get()), "({a={}})");
}

TEST(PropertyListDeferral, IsNotWrittenTooDeep) {
  const OwnedObject root = ReadRoot(DeepestXml());
  ASSERT_NE(root, nullptr);
  EXPECT_TRUE(WriteXml(root.get()));
  const Owned<NSArray> one(NSArray::Create()), two(NSArray::Create());
  two->addObject(one.get());
  one->addObject(DictionaryAt(root, u"k"));
  EXPECT_FALSE(WriteXml(two.get()));
}

TEST(PropertyListDeferral, ChangesWhenItIsMutable) {
  const OwnedObject root = ReadRoot("<dict><key>k</key><dict><key>a</key><true/></dict></dict>", 1);
  auto* dictionary = const_cast<NSDictionary*>(DictionaryAt(root, u"k"));
  dictionary->setObject(kCFBooleanFalse, StringOf(u"b").get());
  EXPECT_EQ(Describe(root.get()), "{k={a=b:1 b=b:0}}");
  dictionary->removeObjectForKey(StringOf(u"a").get());
  EXPECT_EQ(Describe(root.get()), "{k={b=b:0}}");
}

TEST(PropertyListDeferral, IsCopiedAsItIsUnlessItLiesDeeper) {
  for (const bool as_written : {false, true}) {
    const OwnedObject read = ReadRoot("<dict><key>k</key><dict><key>a</key><true/></dict></dict>");
    const OwnedObject root = as_written ? ReadRoot(*WriteXml(read.get())) : ReadRoot("{}");
    const OwnedObject& source = as_written ? root : read;
    const OwnedObject copy(ObjectOf(CFPropertyListCreateDeepCopy(nullptr, source.get(), 1)));
    auto* entry = const_cast<NSDictionary*>(DictionaryAt(copy, u"k"));
    EXPECT_TRUE(entry->isDeferred());
    entry->removeObjectForKey(StringOf(u"a").get());
    EXPECT_EQ(Describe(copy.get()), "{k={}}");
    EXPECT_EQ(Describe(source.get()), "{k={a=b:1}}");
  }
  const Owned<NSDictionary> around(NSDictionary::Create());
  around->setObject(ReadRoot(DeepestXml()).get(), StringOf(u"k").get());
  EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, around.get(), 1), nullptr);
}

TEST(PropertyListDeferral, IsMadeOnceForAllThreads) {
  const OwnedObject root = ReadRoot("<dict><key>k</key><dict><key>a</key><dict/></dict></dict>");
  const NSDictionary* dictionary = DictionaryAt(root, u"k");
  std::atomic<CFIndex> counted{0};
  const auto count = [&] { counted += dictionary->count(); };
  std::thread first(count), second(count);
  first.join();
  second.join();
  EXPECT_EQ(counted, 2);
}

}  // namespace
}  // namespace orvik::test
