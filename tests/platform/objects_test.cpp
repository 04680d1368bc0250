// Objects: their references, collections, simple values, and property lists from and to objects.
#include "platform/core_foundation/collections.h"

#include <cmath>
#include <thread>

#include "platform/core_foundation/scalars.h"
#include "platform/foundation/property_list_serialization.h"
#include "plist/forms.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

using OwnedObject = Owned<const NSObject>;

Owned<const NSNumber> Number(const plist::Value& value) {
  return Owned<const NSNumber>(NSNumber::Create(value));
}

class Objects : public EnvironmentTest {
 protected:
  const NSAutoreleasePool pool_;
};

class Counted final : public NSObject {
 public:
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }

 private:
  ~Counted() override { --*alive_; }
  int* alive_;
};

TEST_F(Objects, LiveUntilTheLastReferenceOrTheInnermostPoolOfTheirThreadEnds) {
  int alive = 0;
  const auto* object = new Counted(&alive);
  CFRetain(object);
  CFRelease(object);
  EXPECT_EQ(alive, 1);
  CFRelease(object);
  EXPECT_EQ(alive, 0);
  CFRelease(nullptr);
  {
    const NSAutoreleasePool inner;
    Autoreleased(new Counted(&alive));
    std::thread([&alive] {
      const NSAutoreleasePool of_thread;
      Autoreleased(new Counted(&alive));
    }).join();
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

// The same random steps on a dictionary and on a map of the library, through growth.
TEST_F(Objects, ADictionaryFindsEveryKeyAndKeepsTheOrder) {
  const Owned<NSDictionary> dictionary(NSDictionary::Create());
  std::map<int, int> map;
  std::vector<plist::Value> order;
  std::mt19937 random(7);
  for (int step = 0; step < 2000; ++step) {
    const int key = static_cast<int>(random() % 400);
    dictionary->setObject(Number(step).get(), Number(key).get());
    if (map.insert_or_assign(key, step).second) order.emplace_back(key);
  }
  const Owned<NSObject> copy(dictionary->mutableCopy());
  for (const NSObject* each :
       std::initializer_list<const NSObject*>{dictionary.get(), copy.get()}) {
    std::vector<plist::Value> keys;
    for (const auto& entry : static_cast<const NSDictionary*>(each)->Entries()) {
      keys.push_back(entry.key->value());
    }
    EXPECT_EQ(keys, order);
  }
  for (const auto& [key, value] : map) {
    EXPECT_EQ(dictionary->objectForKey(Number(key).get())->value(), value);
  }
  EXPECT_EQ(dictionary->objectForKey(Number(400).get()), nullptr);
}

TEST_F(Objects, ADictionaryCopiesItsKeysAndAnImmutableOneStays) {
  NSDictionary* const dictionary = NSDictionary::dictionary();
  const CFMutableStringRef key = Autoreleased(NSString::NewMutable(u"key"));
  dictionary->setObject(NSNumber::numberWithBool(YES), key);
  key->append(u"!");
  dictionary->setObject(NSNumber::numberWithBool(YES), nullptr);
  dictionary->setObject(nullptr, CFSTR(u"null"));
  EXPECT_EQ(dictionary->count(), 1);
  EXPECT_EQ(dictionary->objectForKey(CFSTR(u"key")), NSNumber::numberWithBool(YES));
  const auto frozen = static_cast<NSDictionary*>(Autoreleased(dictionary->copy()));
  frozen->setObject(NSNumber::numberWithBool(YES), CFSTR(u"other"));
  EXPECT_TRUE(CFEqual(frozen, dictionary));
}

TEST_F(Objects, AnArrayIsEnumeratedAsItWas) {
  NSArray* array = NSArray::arrayWithCapacity(10);
  for (const char16_t* text : {u"a", u"b"}) array->addObject(CFSTR(text));
  array->addObject(nullptr);
  NSEnumerator* elements = array->objectEnumerator();
  array->addObject(CFSTR(u"c"));
  std::string text;
  while (NSObject* element = elements->nextObject()) {
    text += static_cast<NSString*>(element)->ToUtf8();
  }
  EXPECT_EQ(text, "ab");
  const auto copy = static_cast<NSArray*>(Autoreleased(array->copy()));
  EXPECT_TRUE(CFEqual(array, copy));
  copy->addObject(CFSTR(u"d"));
  EXPECT_EQ(copy->count(), 3);
  NSDictionary* dictionary = NSDictionary::dictionary();
  dictionary->setObject(array, CFSTR(u"list"));
  EXPECT_EQ(dictionary->description()->ToUtf8(),
            "{\n    list = (\n        a,\n        b,\n        c,\n    );\n}");
}

TEST_F(Objects, SimpleValuesAreEqualByTypeAndValueAndDescribeThemselves) {
  const std::tuple<plist::Value, plist::Value, bool> kPairs[] = {
      {3, std::uint64_t{3}, true},    {NAN, -NAN, true}, {3.0, 3, false}, {0.0, -0.0, false},
      {-1, ~std::uint64_t{0}, false}, {true, 1, false}};
  for (const auto& [one, other, equal] : kPairs) {
    EXPECT_EQ(CFEqual(Number(one).get(), Number(other).get()), equal);
    EXPECT_TRUE(!equal || Number(one)->hash() == Number(other)->hash());
  }
  EXPECT_FALSE(CFEqual(Number(1).get(), nullptr));
  EXPECT_EQ(Number(true).get(), NSNumber::numberWithBool(YES));
  EXPECT_EQ(Number(false).get(), NSNumber::numberWithBool(NO));
  const std::pair<const NSObject*, const char*> kTexts[] = {
      {NSNumber::Create(2.5), "2.5"},
      {NSNumber::Create(-3), "-3"},
      {NSNumber::Create(~std::uint64_t{0}), "18446744073709551615"},
      {NSNumber::Create(true), "1"},
      {NSDate::Create(0.75), "2001-01-01 00:00:00 +0000"},
      {NSDate::Create(-1), "2000-12-31 23:59:59 +0000"},
      {NSDate::Create(INFINITY), "no date"},
      {NSData::Create(std::string("\0\1\2\3\xFF", 5)), "<00010203 ff>"}};
  for (const auto& [object, text] : kTexts) {
    EXPECT_EQ(Autoreleased(object)->description()->ToUtf8(), text);
  }
}

TEST_F(Objects, AUrlKeepsItsPath) {
  const auto path_of = [](const std::string& path) {
    const Owned<const NSURL> url(CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
        false));
    return url == nullptr ? "(none)" : url->Path();
  };
  const std::pair<std::string, std::string> kCases[] = {
      {"/a/b", "/a/b"},
      {"/a/b///", "/a/b"},
      {"/", "/"},
      {"/x/caf\xE9%", "/x/caf\xE9%"},
      {"", "(none)"},
      {{"/a\0b", 4}, "(none)"},
      {"relative", fs::current_path().string() + "/relative"}};
  for (const auto& [path, kept] : kCases) EXPECT_EQ(path_of(path), kept);
}

TEST_F(Objects, DataReadsAndWritesWholeFiles) {
  const std::string content("a\0b", 3);
  const NSString* path = NSString::stringWithUTF8String((env_.folder() / "file").c_str());
  const NSData* data = Autoreleased(NSData::Create(content));
  for (const ObjCBool atomically : {YES, NO}) {
    WriteFile(env_.folder() / "file", "something longer");
    EXPECT_EQ(data->writeToFile(path, atomically), YES);
    EXPECT_EQ(NSData::dataWithContentsOfFile(path)->View(), content);
  }
  EXPECT_EQ(NSData::dataWithContentsOfFile(path->stringByAppendingString(CFSTR(u".none"))),
            nullptr);
  for (const NSString* none : {CFSTR(u""), static_cast<CFStringRef>(nullptr)}) {
    EXPECT_EQ(data->writeToFile(none, YES), NO);
  }
}

const NSDictionary* AsDictionary(const OwnedObject& object) {
  return static_cast<const NSDictionary*>(object.get());
}

OwnedObject ObjectFrom(const plist::Value& value, CFOptionFlags options = 0) {
  return OwnedObject(ObjectOf(CreateObject(value, options)));
}

TEST_F(Objects, GiveTheValueBackThatTheyAreMadeFrom) {
  const plist::Value value =
      plist::Read(
          "<dict><key>a</key><array><string>s</string><integer>18446744073709551615</integer>"
          "<real>0.5</real><true/><date>2001-01-01T00:00:01Z</date><data>AAEC</data><dict/></array>"
          "<key>\u4E16</key><dict><key></key><array/></dict></dict>")
          .root;
  for (const CFOptionFlags options : {0, 1, 2}) {
    const OwnedObject root = ObjectFrom(value, options);
    EXPECT_TRUE(AsDictionary(root)->isDeferred());
    EXPECT_TRUE(ValueOfObject(root.get())->IsSharedWith(value));
    const auto* list = static_cast<const NSArray*>(AsDictionary(root)->objectForKey(CFSTR(u"a")));
    EXPECT_EQ(list->count(), 7);
    EXPECT_EQ(ValueOfObject(root.get()), value);
    EXPECT_EQ(AsDictionary(root)->isMutable(), options >= 1);
    EXPECT_EQ(list->isMutable(), options >= 1);
    EXPECT_EQ(static_cast<const NSString*>(list->Objects()[0])->isMutable(), options == 2);
    const NSObject* const key = AsDictionary(root)->Entries()[0].key;
    EXPECT_FALSE(static_cast<const NSString*>(key)->isMutable());
  }
}

TEST_F(Objects, ChangeWithoutChangingTheValueTheyCameFrom) {
  const plist::Value value = plist::Read("{k = {a = x;}; list = (y);}").root;
  const OwnedObject root = ObjectFrom(value, kCFPropertyListMutableContainers);
  static_cast<NSDictionary*>(AsDictionary(root)->objectForKey(CFSTR(u"k")))
      ->setObject(NSNumber::numberWithBool(NO), CFSTR(u"a"));
  static_cast<NSArray*>(AsDictionary(root)->objectForKey(CFSTR(u"list")))
      ->addObject(NSNumber::numberWithBool(YES));
  EXPECT_EQ(ValueOfObject(root.get()),
            plist::Value::Dictionary({{u"k", plist::Value::Dictionary({{u"a", false}})},
                                      {u"list", plist::Value::Array({u"y", true})}}));
  EXPECT_EQ(value, plist::Read("{k = {a = x;}; list = (y);}").root);
}

TEST_F(Objects, AreMadeOnceForAllThreads) {
  const OwnedObject root = ObjectFrom(plist::Read("{a = {b = c;};}").root);
  std::vector<const NSObject*> found(2);
  std::thread other([&] { found[0] = AsDictionary(root)->objectForKey(CFSTR(u"a")); });
  found[1] = AsDictionary(root)->objectForKey(CFSTR(u"a"));
  other.join();
  EXPECT_EQ(found[0], found[1]);
}

// Lists that were put together from objects, on the stack of a small thread.
TEST_F(Objects, MayLieAsDeepAsAListAndNoDeeper) {
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
  const OwnedObject read = ObjectFrom(
      plist::Read(Repeated("<dict><key>k</key>", 512) + "<true/>" + Repeated("</dict>", 512)).root);
  const Owned<NSArray> around(NSArray::Create());
  around->addObject(AsDictionary(read)->objectForKey(CFSTR(u"k")));
  EXPECT_TRUE(ValueOfObject(around.get()));
  around->addObject(read.get());
  EXPECT_FALSE(ValueOfObject(around.get()));
}

TEST_F(Objects, NameWhatNoListCanHold) {
  NSDictionary* const dictionary = NSDictionary::dictionary();
  NSArray* const list = NSArray::arrayWithCapacity(0);
  const Owned<const NSURL> url(NSURL::CreateWithPath("/"));
  dictionary->setObject(NSNumber::numberWithBool(YES), CFSTR(u"whole"));
  dictionary->setObject(list, CFSTR(u"a/b"));
  list->addObject(NSNumber::numberWithBool(YES));
  list->addObject(url.get());
  std::string path;
  EXPECT_FALSE(ValueOfObject(dictionary, &path));
  EXPECT_EQ(path, "a/b/1");
  EXPECT_FALSE(ValueOfObject(nullptr));
  NSDictionary* const keyed_by_boolean = NSDictionary::dictionary();
  keyed_by_boolean->setObject(url.get(), NSNumber::numberWithBool(YES));
  EXPECT_FALSE(ValueOfObject(keyed_by_boolean));
}

// The description, which the caller releases.
std::string TakeText(const NSString* description) {
  return description == nullptr ? "none" : Autoreleased(description)->ToUtf8();
}

TEST_F(Objects, AreReadAndWrittenInTheFormsThatCanBe) {
  using Serialization = NSPropertyListSerialization;
  const OwnedObject list = ObjectFrom(plist::Read("{a = (b);}").root, 2);
  const NSString* error = nullptr;
  for (const auto written : {NSPropertyListXMLFormat_v1_0, NSPropertyListBinaryFormat_v1_0}) {
    const NSData* data = Serialization::dataFromPropertyList(list.get(), written, &error);
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(TakeText(error), "none");
    NSPropertyListFormat format = 0;
    EXPECT_TRUE(
        CFEqual(Serialization::propertyListFromData(data, 0, &format, nullptr), list.get()));
    EXPECT_EQ(format, written);
  }
  for (const NSPropertyListFormat refused : {0ul, 1ul, 101ul}) {
    EXPECT_EQ(Serialization::dataFromPropertyList(list.get(), refused, &error), nullptr);
    EXPECT_NE(TakeText(error), "none");
  }
  EXPECT_EQ(Serialization::dataFromPropertyList(nullptr, 100, &error), nullptr);
  EXPECT_EQ(TakeText(error), "There is no object to write");
  NSPropertyListFormat format = 77;
  const NSData* data = Autoreleased(NSData::Create("not a list"));
  EXPECT_EQ(Serialization::propertyListFromData(data, 2, &format, &error), nullptr);
  EXPECT_EQ(format, 77u);
  EXPECT_EQ(TakeText(error), "The text is no property list: unexpected in line 1, column 5");
  EXPECT_EQ(Serialization::propertyListFromData(nullptr, 0, nullptr, nullptr), nullptr);
}

}  // namespace
}  // namespace orvik::test
