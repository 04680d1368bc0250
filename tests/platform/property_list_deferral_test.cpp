// Dictionaries that were read from XML and not looked at since.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/platform/property_list_test_support.h"

namespace orvik::test {
namespace {

const NSDictionary* DictionaryAt(const OwnedObject& root, std::u16string_view key) {
  const auto* dictionary = static_cast<const NSDictionary*>(root.get());
  return static_cast<const NSDictionary*>(dictionary->objectForKey(StringOf(key).get()));
}

std::string DeepestXml() {
  std::string xml = "<true/>";
  for (int depth = 0; depth < kPropertyListMaximumDepth; ++depth) {
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
  NSArray* list = NSArray::Create();
  const OwnedObject owner(list);
  list->addObject(DictionaryAt(root, u"k"));
  root.reset();
  EXPECT_EQ(XmlOf(list), "<array>\n\t<dict>\n\t\t<key>a</key>\n\t\t<dict/>\n\t</dict>\n</array>\n");
  EXPECT_EQ(Describe(list), "({a={}})");
}

TEST(PropertyListDeferral, IsNotWrittenTooDeep) {
  const OwnedObject root = ReadRoot(DeepestXml());
  ASSERT_NE(root, nullptr);
  EXPECT_TRUE(WriteXmlPropertyList(root.get()));
  NSArray* one = NSArray::Create();
  NSArray* two = NSArray::Create();
  const OwnedObject owner(two);
  two->AppendOwned(one);
  one->addObject(DictionaryAt(root, u"k"));
  EXPECT_FALSE(WriteXmlPropertyList(two));
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
    const OwnedObject root =
        as_written ? ReadRoot(*WriteXmlPropertyList(read.get())) : ReadRoot("{}");
    const OwnedObject& source = as_written ? root : read;
    const OwnedObject copy(ObjectOf(CFPropertyListCreateDeepCopy(nullptr, source.get(), 1)));
    auto* entry = const_cast<NSDictionary*>(DictionaryAt(copy, u"k"));
    EXPECT_TRUE(entry->isDeferred());
    entry->removeObjectForKey(StringOf(u"a").get());
    EXPECT_EQ(Describe(copy.get()), "{k={}}");
    EXPECT_EQ(Describe(source.get()), "{k={a=b:1}}");
  }
  NSDictionary* around = NSDictionary::Create();
  const OwnedObject owner(around);
  around->setObject(ReadRoot(DeepestXml()).get(), StringOf(u"k").get());
  EXPECT_EQ(CFPropertyListCreateDeepCopy(nullptr, around, 1), nullptr);
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
