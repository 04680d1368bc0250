#include "platform/core_foundation/dictionary.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "platform/core_foundation/number.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"

namespace orvik {
namespace {

CFMutableDictionaryRef Make() {
  return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                   &kCFTypeDictionaryValueCallBacks);
}

// The same random steps on a dictionary and on a map of the library, through growth and removal.
TEST(CFDictionaryTest, AgreesWithAMapAndKeepsTheOrder) {
  const NSAutoreleasePool pool;
  const CFMutableDictionaryRef dictionary = Make();
  std::map<int, int> map;
  std::mt19937 random(7);
  for (int step = 0; step < 20000; ++step) {
    const int key = static_cast<int>(random() % 400);
    const NSNumber* key_object = Autoreleased(NSNumber::Create(key));
    switch (random() % 3) {
      case 0:
        CFDictionaryRemoveValue(dictionary, key_object);
        map.erase(key);
        break;
      default:
        CFDictionarySetValue(dictionary, key_object, Autoreleased(NSNumber::Create(step)));
        map[key] = step;
        break;
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
  EXPECT_TRUE(CFEqual(copy, dictionary));
  std::vector<const void*> keys(map.size()), copied_keys(map.size());
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
  CFDictionaryGetKeysAndValues(copy, copied_keys.data(), nullptr);
  EXPECT_EQ(keys, copied_keys);
  CFDictionaryRemoveValue(copy, keys[0]);
  EXPECT_FALSE(CFEqual(copy, dictionary));
  CFRelease(copy);
  CFRelease(dictionary);
}

TEST(CFDictionaryTest, KeysDoNotChangeWithTheirStringAndNullIsNone) {
  const CFMutableDictionaryRef dictionary = Make();
  const CFMutableStringRef key = NSString::NewMutable(u"key");
  CFDictionarySetValue(dictionary, key, kCFBooleanTrue);
  key->append(u"!");
  CFDictionarySetValue(dictionary, nullptr, kCFBooleanTrue);
  CFDictionarySetValue(dictionary, CFSTR(u"null"), nullptr);
  EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
  EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR(u"key")), kCFBooleanTrue);
  CFRelease(key);
  CFRelease(dictionary);
}

TEST(CFDictionaryTest, AnImmutableOneStays) {
  const CFMutableDictionaryRef dictionary = Make();
  CFDictionarySetValue(dictionary, CFSTR(u"key"), kCFBooleanTrue);
  const auto frozen = static_cast<CFMutableDictionaryRef>(dictionary->copy());
  CFDictionarySetValue(frozen, CFSTR(u"other"), kCFBooleanTrue);
  CFDictionaryRemoveValue(frozen, CFSTR(u"key"));
  EXPECT_TRUE(CFEqual(frozen, dictionary));
  EXPECT_EQ(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr), nullptr);
  CFRelease(frozen);
  CFRelease(dictionary);
}

}  // namespace
}  // namespace orvik
