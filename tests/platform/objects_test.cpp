#include "platform/core_foundation/collections.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/core_foundation/object.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"
#include "platform/core_foundation/url.h"
#include "platform/foundation/property_list_serialization.h"
#include "plist/forms.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using OwnedObject = Owned<const NSObject>;

OwnedObject ReadRoot(std::string_view bytes, CFOptionFlags options = 0) {
  return OwnedObject(ObjectOf(CreateObject(plist::Read(bytes).root, options)));
}

const NSDictionary* DictionaryAt(const OwnedObject& root, std::u16string_view key) {
  const auto* dictionary = static_cast<const NSDictionary*>(root.get());
  return static_cast<const NSDictionary*>(dictionary->objectForKey(CFSTR(key)));
}

TEST(PropertyListObjects, HaveTheMutabilityThatIsAskedFor) {
  const char* xml = "<dict><key>a</key><array><string>s</string><data>AA==</data></array></dict>";
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject root = ReadRoot(xml, options);
    const auto* dictionary = static_cast<const NSDictionary*>(root.get());
    const NSDictionary::Entry& entry = dictionary->Entries()[0];
    const auto* array = static_cast<const NSArray*>(entry.value);
    EXPECT_EQ(dictionary->isMutable(), options >= 1);
    EXPECT_EQ(array->isMutable(), options >= 1);
    EXPECT_FALSE(static_cast<const NSString*>(entry.key)->isMutable());
    EXPECT_EQ(static_cast<const NSString*>(array->Objects()[0])->isMutable(), options == 2);
  }
}

TEST(PropertyListObjects, GiveTheirValueBack) {
  const plist::Value value =
      plist::Read(
          "<dict><key>a</key><array><string>s</string><integer>18446744073709551615</integer>"
          "<real>0.5</real><true/><date>2001-01-01T00:00:01Z</date><data>AAEC</data><dict/></array>"
          "<key>\u4E16</key><dict><key></key><array/></dict></dict>")
          .root;
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject root(ObjectOf(CreateObject(value, options)));
    EXPECT_TRUE(static_cast<const NSDictionary*>(root.get())->isDeferred());
    EXPECT_TRUE(ValueOfObject(root.get())->IsSharedWith(value));
    const auto* list = static_cast<const NSArray*>(
        static_cast<const NSDictionary*>(root.get())->objectForKey(CFSTR(u"a")));
    EXPECT_EQ(list->count(), 7);
    EXPECT_EQ(ValueOfObject(root.get()), value);
  }
}

TEST(PropertyListObjects, ChangeWithoutChangingTheValueTheyCameFrom) {
  const plist::Value value = plist::Read("{k = {a = x;}; list = (y);}").root;
  const OwnedObject root(ObjectOf(CreateObject(value, kCFPropertyListMutableContainers)));
  auto* dictionary = const_cast<NSDictionary*>(DictionaryAt(root, u"k"));
  dictionary->setObject(NSNumber::numberWithBool(NO), CFSTR(u"b"));
  dictionary->removeObjectForKey(CFSTR(u"a"));
  const auto* list = static_cast<const NSDictionary*>(root.get())->objectForKey(CFSTR(u"list"));
  const_cast<NSArray*>(static_cast<const NSArray*>(list))->addObject(NSNumber::numberWithBool(YES));
  EXPECT_EQ(ValueOfObject(root.get()),
            plist::Value::Dictionary({{u"k", plist::Value::Dictionary({{u"b", false}})},
                                      {u"list", plist::Value::Array({u"y", true})}}));
  EXPECT_EQ(value, plist::Read("{k = {a = x;}; list = (y);}").root);
}

TEST(PropertyListObjects, AreMadeOnceForAllThreads) {
  const OwnedObject root = ReadRoot("<dict><key>k</key><dict><key>a</key><dict/></dict></dict>");
  const NSDictionary* dictionary = DictionaryAt(root, u"k");
  std::atomic<CFIndex> counted{0};
  const auto count = [&] { counted += dictionary->count(); };
  std::thread first(count), second(count);
  first.join();
  second.join();
  EXPECT_EQ(counted, 2);
}

// Lists that were put together from objects, on the stack of a small thread.
TEST(PropertyListObjects, MayLieAsDeepAsAListAndNoDeeper) {
  const auto nested = [](std::size_t depth) {
    NSArray* list = NSArray::Create();
    for (std::size_t i = 1; i < depth; ++i) {
      NSArray* outer = NSArray::Create();
      outer->addObject(list);
      CFRelease(list);
      list = outer;
    }
    return OwnedObject(list);
  };
  EXPECT_TRUE(ValueOfObject(nested(plist::kMaximumDepth).get()));
  EXPECT_FALSE(ValueOfObject(nested(plist::kMaximumDepth + 1).get()));
  const OwnedObject deepest = nested(200'000);
  EXPECT_FALSE(ValueOfObject(deepest.get()));
  EXPECT_FALSE(CFEqual(deepest.get(), nested(200'000).get()));
  // A dictionary whose text was read at another depth.
  const OwnedObject read =
      ReadRoot(Repeated("<dict><key>k</key>", 512) + "<true/>" + Repeated("</dict>", 512));
  const Owned<NSArray> around(NSArray::Create());
  around->addObject(DictionaryAt(read, u"k"));
  EXPECT_TRUE(ValueOfObject(around.get()));
  around->addObject(read.get());
  EXPECT_FALSE(ValueOfObject(around.get()));
}

TEST(PropertyListObjects, NameWhatNoListCanHold) {
  const Owned<NSDictionary> dictionary(NSDictionary::Create());
  const Owned<NSArray> list(NSArray::Create());
  const Owned<const NSURL> url(CFURLCreateFromFileSystemRepresentation(
      nullptr, reinterpret_cast<const UInt8*>("/"), 1, true));
  dictionary->setObject(NSNumber::numberWithBool(YES), CFSTR(u"whole"));
  dictionary->setObject(list.get(), CFSTR(u"a/b"));
  list->addObject(NSNumber::numberWithBool(YES));
  list->addObject(url.get());
  std::string path;
  EXPECT_FALSE(ValueOfObject(dictionary.get(), &path));
  EXPECT_EQ(path, "a/b/1");
  EXPECT_FALSE(ValueOfObject(nullptr));
  const Owned<NSDictionary> keyed_by_boolean(NSDictionary::Create());
  keyed_by_boolean->setObject(url.get(), NSNumber::numberWithBool(YES));
  EXPECT_FALSE(ValueOfObject(keyed_by_boolean.get()));
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
