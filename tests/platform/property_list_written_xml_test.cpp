#include "platform/core_foundation/property_list_written_xml.h"

#include <gtest/gtest.h>

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

TEST(WrittenXml, HoldsWhatTheDocumentHolds) {
  const std::string xml = EveryKind();
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject written = ReadWrittenXml(xml, options);
    ASSERT_NE(written, nullptr);
    EXPECT_EQ(*WriteXmlPropertyList(written.get()), xml);
    EXPECT_EQ(Describe(written.get()), Describe(ReadXmlPropertyList(xml, options).root.get()));
    EXPECT_EQ(static_cast<const NSDictionary*>(written.get())->isMutable(), options != 0);
    EXPECT_EQ(*WriteXmlPropertyList(written.get()), xml);
  }
  EXPECT_NE(ReadWrittenXml(*WriteXmlPropertyList(ReadRoot("{a={};}").get()), 0), nullptr);
}

// A file that differs in one byte is refused, or is again what writing its list would give.
TEST(WrittenXml, TakesNothingElse) {
  const std::string xml = EveryKind();
  for (size_t position = 0; position < xml.size(); ++position) {
    for (const char byte : {'<', '\t', '\n', '&', 'a', '/', '\xC3', '\x01', '0'}) {
      std::string changed = xml;
      changed[position] = byte;
      const OwnedObject written = ReadWrittenXml(changed, 0);
      if (written == nullptr) continue;
      ASSERT_EQ(*WriteXmlPropertyList(written.get()), changed);
      ASSERT_TRUE(CFEqual(written.get(), ReadXmlPropertyList(changed, 0).root.get())) << changed;
      ASSERT_EQ(*WriteXmlPropertyList(written.get()), changed);
    }
    EXPECT_EQ(ReadWrittenXml(xml.substr(0, position), 0), nullptr);
  }
}

TEST(WrittenXml, IsIndentedAnewElsewhere) {
  const OwnedObject root = ReadWrittenXml(EveryKind(), 0);
  NSArray* list = NSArray::Create();
  const OwnedObject owner(list);
  list->addObject(
      static_cast<const NSDictionary*>(root.get())->objectForKey(StringOf(u"a & b").get()));
  list->addObject(root.get());
  const OwnedObject made(ObjectOf(CFPropertyListCreateDeepCopy(nullptr, list, 0)));
  Describe(made.get());  // which looks at everything
  EXPECT_EQ(XmlOf(list), XmlOf(made.get()));
}

}  // namespace
}  // namespace orvik::test
