#include "platform/core_foundation/collections.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <thread>

#include "platform/core_foundation/base.h"
#include "platform/core_foundation/number.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"

namespace orvik {
namespace {

Owned<NSDictionary> Make() {
  return Owned<NSDictionary>(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                       &kCFTypeDictionaryValueCallBacks));
}

// The same random steps on a dictionary and on a map of the library, through growth and removal.
TEST(CFDictionaryTest, AgreesWithAMapAndKeepsTheOrder) {
  const NSAutoreleasePool pool;
  const Owned<NSDictionary> owner = Make();
  NSDictionary* const dictionary = owner.get();
  std::map<int, int> map;
  std::mt19937 random(7);
  for (int step = 0; step < 20000; ++step) {
    const int key = static_cast<int>(random() % 400);
    const NSNumber* key_object = Autoreleased(NSNumber::Create(key));
    if (random() % 3 == 0) {
      CFDictionaryRemoveValue(dictionary, key_object);
      map.erase(key);
    } else {
      CFDictionarySetValue(dictionary, key_object, Autoreleased(NSNumber::Create(step)));
      map[key] = step;
    }
  }
  ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(map.size()));
  for (const auto& [key, value] : map) {
    const auto* found = static_cast<const NSNumber*>(
        CFDictionaryGetValue(dictionary, Autoreleased(NSNumber::Create(key))));
    ASSERT_NE(found, nullptr) << key;
    EXPECT_EQ(found->intValue(), value);
  }
  const CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(nullptr, 0, dictionary);
  std::vector<const void*> keys(map.size()), copied_keys(map.size());
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
  CFDictionaryGetKeysAndValues(copy, copied_keys.data(), nullptr);
  EXPECT_EQ(keys, copied_keys);
  CFRelease(copy);
}

TEST(CFDictionaryTest, KeysDoNotChangeWithTheirStringAndNullIsNone) {
  const Owned<NSDictionary> owner = Make();
  NSDictionary* const dictionary = owner.get();
  const CFMutableStringRef key = NSString::NewMutable(u"key");
  CFDictionarySetValue(dictionary, key, kCFBooleanTrue);
  key->append(u"!");
  CFDictionarySetValue(dictionary, nullptr, kCFBooleanTrue);
  CFDictionarySetValue(dictionary, CFSTR(u"null"), nullptr);
  EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
  EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR(u"key")), kCFBooleanTrue);
  CFRelease(key);
}

TEST(CFDictionaryTest, AnImmutableOneStays) {
  const Owned<NSDictionary> owner = Make();
  NSDictionary* const dictionary = owner.get();
  CFDictionarySetValue(dictionary, CFSTR(u"key"), kCFBooleanTrue);
  const auto frozen = static_cast<CFMutableDictionaryRef>(dictionary->copy());
  CFDictionarySetValue(frozen, CFSTR(u"other"), kCFBooleanTrue);
  CFDictionaryRemoveValue(frozen, CFSTR(u"key"));
  EXPECT_TRUE(CFEqual(frozen, dictionary));
  EXPECT_EQ(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr), nullptr);
  CFRelease(frozen);
}

TEST(CFArrayTest, AppendsAndReadsWithinItsBounds) {
  const NSAutoreleasePool pool;
  NSArray* array = NSArray::arrayWithCapacity(10);
  for (const char16_t* text : {u"a", u"b"}) CFArrayAppendValue(array, CFSTR(text));
  CFArrayAppendValue(array, nullptr);
  NSEnumerator* elements = array->objectEnumerator();
  CFArrayAppendValue(array, CFSTR(u"c"));
  std::string text;
  while (NSObject* element = elements->nextObject()) {
    text += static_cast<NSString*>(element)->ToUtf8();
  }
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(CFArrayGetCount(array), 3);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, -1), nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 3), nullptr);
  const auto copy = static_cast<CFMutableArrayRef>(array->copy());
  EXPECT_TRUE(CFEqual(array, copy));
  CFArrayAppendValue(copy, CFSTR(u"d"));
  EXPECT_EQ(CFArrayGetCount(copy), 3);
  CFRelease(copy);
  EXPECT_EQ(CFArrayCreateMutable(nullptr, 0, nullptr), nullptr);
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
