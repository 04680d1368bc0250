#include "platform/core_foundation/collections.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <thread>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/scalars.h"
#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

// The same random steps on a dictionary and on a map of the library, through growth and removal.
TEST(NSDictionaryTest, AgreesWithAMapAndKeepsTheOrder) {
  const NSAutoreleasePool pool;
  const Owned<NSDictionary> owner(NSDictionary::Create());
  NSDictionary* const dictionary = owner.get();
  std::map<int, int> map;
  std::mt19937 random(7);
  for (int step = 0; step < 20000; ++step) {
    const int key = static_cast<int>(random() % 400);
    const NSNumber* key_object = Autoreleased(NSNumber::Create(key));
    if (random() % 3 == 0) {
      dictionary->removeObjectForKey(key_object);
      map.erase(key);
    } else {
      dictionary->setObject(Autoreleased(NSNumber::Create(step)), key_object);
      map[key] = step;
    }
  }
  ASSERT_EQ(dictionary->count(), static_cast<CFIndex>(map.size()));
  for (const auto& [key, value] : map) {
    const NSObject* found = dictionary->objectForKey(Autoreleased(NSNumber::Create(key)));
    ASSERT_NE(found, nullptr) << key;
    EXPECT_EQ(found->value(), value);
  }
  const auto keys_of = [](const NSDictionary* each) {
    std::vector<const NSObject*> keys;
    for (const NSDictionary::Entry& entry : each->Entries()) {
      if (entry.key != nullptr) keys.push_back(entry.key);
    }
    return keys;
  };
  const Owned<NSObject> copy(dictionary->mutableCopy());
  EXPECT_EQ(keys_of(dictionary), keys_of(static_cast<const NSDictionary*>(copy.get())));
}

TEST(NSDictionaryTest, KeysDoNotChangeWithTheirStringAndNullIsNone) {
  const Owned<NSDictionary> owner(NSDictionary::Create());
  NSDictionary* const dictionary = owner.get();
  const CFMutableStringRef key = NSString::NewMutable(u"key");
  dictionary->setObject(NSNumber::numberWithBool(YES), key);
  key->append(u"!");
  dictionary->setObject(NSNumber::numberWithBool(YES), nullptr);
  dictionary->setObject(nullptr, CFSTR(u"null"));
  EXPECT_EQ(dictionary->count(), 1);
  EXPECT_EQ(dictionary->objectForKey(CFSTR(u"key")), NSNumber::numberWithBool(YES));
  CFRelease(key);
}

TEST(NSDictionaryTest, AnImmutableOneStays) {
  const Owned<NSDictionary> owner(NSDictionary::Create());
  NSDictionary* const dictionary = owner.get();
  dictionary->setObject(NSNumber::numberWithBool(YES), CFSTR(u"key"));
  const auto frozen = static_cast<NSDictionary*>(dictionary->copy());
  frozen->setObject(NSNumber::numberWithBool(YES), CFSTR(u"other"));
  frozen->removeObjectForKey(CFSTR(u"key"));
  EXPECT_TRUE(CFEqual(frozen, dictionary));
  CFRelease(frozen);
}

TEST(NSArrayTest, AppendsAndReadsWithinItsBounds) {
  const NSAutoreleasePool pool;
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
  EXPECT_EQ(array->count(), 3);
  EXPECT_EQ(array->objectAtIndex(-1), nullptr);
  EXPECT_EQ(array->objectAtIndex(3), nullptr);
  const auto copy = static_cast<NSArray*>(array->copy());
  EXPECT_TRUE(CFEqual(array, copy));
  copy->addObject(CFSTR(u"d"));
  EXPECT_EQ(copy->count(), 3);
  CFRelease(copy);
  NSDictionary* dictionary = NSDictionary::dictionary();
  dictionary->setObject(array, CFSTR(u"list"));
  EXPECT_EQ(dictionary->description()->ToUtf8(),
            "{\n    list = (\n        a,\n        b,\n        c,\n    );\n}");
}

class Counted final : public NSObject {
 public:
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }

 private:
  ~Counted() override { --*alive_; }
  int* alive_;
};

TEST(NSObjectTest, LivesUntilTheLastReferenceIsGivenUp) {
  int alive = 0;
  const auto* object = new Counted(&alive);
  CFRetain(object);
  CFRelease(object);
  EXPECT_EQ(alive, 1);
  CFRelease(object);
  EXPECT_EQ(alive, 0);
  CFRelease(nullptr);
}

TEST(NSAutoreleasePoolTest, ReleasesAtTheEndOfTheInnermostPoolOfTheThread) {
  int alive = 0;
  const NSAutoreleasePool outer;
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

}  // namespace
}  // namespace orvik
