// Objects: their references, collections, simple values, and property lists from and to objects.
#include "platform/core_foundation/collections.h"

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

struct Counted final : public NSObject {
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
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
    // Without a pool, the reference is never released.
    std::thread([&alive] {
      const auto* own = new Counted(&alive);
      own->autorelease();
      EXPECT_EQ(alive, 2);
      own->release();
    }).join();
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
  // A pool that was not ended ends with the pool around it.
  alignas(NSAutoreleasePool) std::byte room[sizeof(NSAutoreleasePool)];
  {
    const NSAutoreleasePool outer;
    new (room) NSAutoreleasePool;
    Autoreleased(new Counted(&alive));
  }
  EXPECT_EQ(alive, 0);
  EXPECT_EQ((std::set<CFTypeID>{CFStringGetTypeID(), CFArrayGetTypeID(), CFDictionaryGetTypeID(),
                                CFGetTypeID(NSNumber::numberWithBool(YES))}
                 .size()),
            4u);
}

TEST_F(Objects, ADictionaryFindsEveryKeyInItsOrderAndCopiesIt) {
  const Owned<NSDictionary> dictionary(NSDictionary::Create());
  for (int i = 0; i < 1000; ++i) {
    dictionary->setObject(Number(i).get(), Number(i * 7919 % 400).get());
  }
  const CFMutableStringRef text = Autoreleased(NSString::NewMutable(u"key"));
  dictionary->setObject(text, text);
  text->append(u"!");
  dictionary->setObject(text, nullptr);
  dictionary->setObject(nullptr, CFSTR(u"null"));
  const auto copy = static_cast<NSDictionary*>(Autoreleased(dictionary->mutableCopy()));
  const auto frozen = static_cast<NSDictionary*>(Autoreleased(dictionary->copy()));
  frozen->setObject(text, CFSTR(u"other"));
  EXPECT_EQ(frozen->count(), 401);
  EXPECT_EQ(Autoreleased(frozen->copy()), frozen);
  EXPECT_EQ(copy->objectForKey(CFSTR(u"key")), text);
  EXPECT_EQ(copy->objectForKey(Number(400).get()), nullptr);
  EXPECT_EQ(copy->objectForKey(nullptr), nullptr);
  EXPECT_EQ(NSDictionary::dictionary()->objectForKey(text), nullptr);
  int number = 0;
  for (const auto& [key, value, hash] : copy->Entries()) {
    if (number == 400) break;
    EXPECT_EQ(key->value(), number * 7919 % 400);
    EXPECT_EQ(value->value(), number + (number < 200 ? 800 : 400));
    EXPECT_EQ(dictionary->objectForKey(key), value);
    ++number;
  }
  EXPECT_EQ(copy->count(), 401);
}

TEST_F(Objects, AnArrayIsEnumeratedAsItWas) {
  NSEnumerator* left = nullptr;
  {
    const Owned<NSArray> gone(NSArray::Create());
    gone->addObject(Autoreleased(NSString::NewFromAscii("b")));
    gone->addObject(Owned<const NSString>(NSString::NewFromAscii("c")).get());
    left = gone->objectEnumerator();
  }
  EXPECT_EQ(static_cast<const NSString*>(left->nextObject())->ToUtf8(), "b");
  EXPECT_EQ(static_cast<const NSString*>(left->nextObject())->ToUtf8(), "c");
  NSArray* array = NSArray::arrayWithCapacity(10);
  array->addObject(CFSTR(u"a"));
  array->addObject(nullptr);
  NSEnumerator* elements = array->objectEnumerator();
  const auto copy = static_cast<NSArray*>(Autoreleased(array->copy()));
  EXPECT_TRUE(CFEqual(array, copy));
  array->addObject(CFSTR(u"b"));
  EXPECT_EQ(elements->nextObject(), CFSTR(u"a"));
  EXPECT_EQ(elements->nextObject(), nullptr);
  NSDictionary* dictionary = NSDictionary::dictionary();
  dictionary->setObject(copy, CFSTR(u"k"));
  EXPECT_EQ(dictionary->description()->ToUtf8(), "{\n    k = (\n        a,\n    );\n}");
}

TEST_F(Objects, SimpleValuesAreEqualByTypeAndDescribeThemselves) {
  EXPECT_EQ(Number(3)->hash(), Number(std::uint64_t{3})->hash());
  EXPECT_FALSE(CFEqual(Number(3).get(), Number(3.0).get()) || CFEqual(Number(1).get(), nullptr));
  EXPECT_EQ(Number(true).get(), NSNumber::numberWithBool(YES));
  const std::pair<const NSObject*, const char*> kTexts[] = {
      {NSNumber::Create(2.5), "2.5"},
      {NSNumber::Create(~std::uint64_t{0}), "18446744073709551615"},
      {NSNumber::Create(true), "1"},
      {NSDate::Create(-0.25), "2000-12-31 23:59:59 +0000"},
      {NSNumber::Create(-1), "-1"},
      {NSDate::Create(86400 * 31 + 3661), "2001-02-01 01:01:01 +0000"},
      {NSDate::Create(946079999999.0), "31981-01-30 23:59:59 +0000"},
      {NSDate::Create(946080000000.0), "no date"},
      {NSDate::Create(INFINITY), "no date"},
      {NSData::Create("\x1\xFF\x3\x4\x5"), "<01ff0304 05>"}};
  for (const auto& [object, text] : kTexts) {
    EXPECT_EQ(Autoreleased(object)->description()->ToUtf8(), text);
  }
}

TEST_F(Objects, AUrlKeepsItsPath) {
  const std::pair<std::string, std::string> kCases[] = {
      {"/a/b///", "/a/b"},
      {"/", "/"},
      {"/x/caf\xE9%", "/x/caf\xE9%"},
      {"", "(none)"},
      {{"/a\0b", 4}, "(none)"},
      {"relative", fs::current_path().string() + "/relative"}};
  for (const auto& [path, kept] : kCases) {
    const auto* const bytes = reinterpret_cast<const UInt8*>(path.data());
    const Owned<const NSURL> url(CFURLCreateFromFileSystemRepresentation(
        nullptr, bytes, static_cast<CFIndex>(path.size()), false));
    EXPECT_EQ(url == nullptr ? "(none)" : url->Path(), kept);
  }
  const UInt8 byte = 'x';
  EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, &byte, -1, false), nullptr);
  EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, nullptr, 1, false), nullptr);
  const fs::path before = fs::current_path();
  fs::current_path("/");
  EXPECT_EQ(Owned<const NSURL>(NSURL::CreateWithPath("x"))->Path(), "/x");
  fs::current_path(before);
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
          "<dict><key>a</key><array><string>" + Repeated("long", 50) +
          "</string><integer>18446744073709551615</integer>"
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
  const NSObject* found = nullptr;
  std::thread other([&] { found = AsDictionary(root)->objectForKey(CFSTR(u"a")); });
  const NSObject* const own = AsDictionary(root)->objectForKey(CFSTR(u"a"));
  other.join();
  EXPECT_EQ(found, own);
}

// Lists made from objects, on the stack of a small thread.
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
  EXPECT_FALSE(ValueOfObject(nested(200'000).get()));
}

TEST_F(Objects, NameObjectsThatAListCannotHold) {
  NSDictionary* const dictionary = NSDictionary::dictionary();
  NSArray* const list = NSArray::arrayWithCapacity(0);
  const Owned<const NSURL> url(NSURL::CreateWithPath("/"));
  dictionary->setObject(list, CFSTR(u"a/b"));
  list->addObject(NSNumber::numberWithBool(YES));
  list->addObject(url.get());
  std::string path;
  EXPECT_FALSE(ValueOfObject(dictionary, &path) || ValueOfObject(nullptr));
  EXPECT_EQ(path, "a/b/1");
  // Inside a list whose elements were not used yet.
  plist::Value deep = plist::Value::Array();
  for (std::size_t depth = 1; depth < plist::kMaximumDepth; ++depth)
    deep = plist::Value::Array({deep});
  NSArray* const outer = NSArray::arrayWithCapacity(0);
  outer->addObject(NSNumber::numberWithBool(YES));
  outer->addObject(ObjectFrom(deep).get());
  path.clear();
  EXPECT_FALSE(ValueOfObject(outer, &path));
  EXPECT_EQ(path, "1" + Repeated("/0", static_cast<int>(plist::kMaximumDepth) - 1));
  NSDictionary* const keyed_by_boolean = NSDictionary::dictionary();
  keyed_by_boolean->setObject(CFSTR(u"text"), NSNumber::numberWithBool(YES));
  EXPECT_FALSE(ValueOfObject(keyed_by_boolean));
}

// Both forms are written and read.
TEST_F(Objects, AreReadAndWrittenInTheFormsThatCanBe) {
  using Serialization = NSPropertyListSerialization;
  const Owned<const NSURL> url(NSURL::CreateWithPath("/"));
  NSArray* const list = NSArray::arrayWithCapacity(0);
  const NSString* error = nullptr;
  for (const NSPropertyListFormat refused : {0ul, 1ul, 101ul}) {
    EXPECT_EQ(Serialization::dataFromPropertyList(CFSTR(u"x"), refused, &error), nullptr);
    EXPECT_NE(Autoreleased(error)->ToUtf8(), "");
  }
  EXPECT_EQ(Serialization::dataFromPropertyList(nullptr, 100, &error), nullptr);
  EXPECT_EQ(Autoreleased(error)->ToUtf8(), "There is no object to write");
  list->addObject(url.get());
  for (const NSPropertyListFormat form : {100ul, 200ul}) {
    EXPECT_EQ(Serialization::dataFromPropertyList(list, form, nullptr), nullptr);
    EXPECT_EQ(Serialization::dataFromPropertyList(list, form, &error), nullptr);
    EXPECT_EQ(Autoreleased(error)->ToUtf8(), "The object is not a property list, at \"0\"");
    const NSData* const data = Serialization::dataFromPropertyList(CFSTR(u"x"), form, &error);
    EXPECT_EQ(error, nullptr);
    NSPropertyListFormat found = 0;
    EXPECT_TRUE(CFEqual(Serialization::propertyListFromData(data, 0, &found, &error), CFSTR(u"x")));
    EXPECT_EQ(found, form);
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(
        CFEqual(Serialization::propertyListFromData(data, 0, nullptr, nullptr), CFSTR(u"x")));
  }
  NSPropertyListFormat format = 77;
  EXPECT_EQ(Serialization::propertyListFromData(nullptr, 2, &format, &error), nullptr);
  EXPECT_EQ(format, 77u);
  EXPECT_NE(Autoreleased(error)->ToUtf8(), "");
}

}  // namespace
}  // namespace orvik::test
