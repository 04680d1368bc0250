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
    const NSNumber* key_object = NSNumber::numberWithInt(key);
    switch (random() % 3) {
      case 0:
        CFDictionaryRemoveValue(dictionary, key_object);
        map.erase(key);
        break;
      default:
        CFDictionarySetValue(dictionary, key_object, NSNumber::numberWithInt(step));
        map[key] = step;
        break;
    }
  }
  ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(map.size()));
  for (const auto& [key, value] : map) {
    const auto* found = static_cast<const NSNumber*>(
        CFDictionaryGetValue(dictionary, NSNumber::numberWithInt(key)));
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

TEST(CFDictionaryTest, AddsReplacesAndSetsAsTheNamesSay) {
  const NSAutoreleasePool pool;
  const CFMutableDictionaryRef dictionary = Make();
  const CFStringRef key = CFSTR(u"key");
  CFDictionaryReplaceValue(dictionary, key, CFSTR(u"a"));
  EXPECT_EQ(CFDictionaryGetCount(dictionary), 0);
  CFDictionaryAddValue(dictionary, key, CFSTR(u"b"));
  CFDictionaryAddValue(dictionary, key, CFSTR(u"c"));
  EXPECT_EQ(CFDictionaryGetValue(dictionary, key), CFSTR(u"b"));
  CFDictionarySetValue(dictionary, key, CFSTR(u"d"));
  CFDictionarySetValue(dictionary, nullptr, CFSTR(u"e"));
  CFDictionarySetValue(dictionary, CFSTR(u"null"), nullptr);
  const void* value = nullptr;
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary, key, &value));
  EXPECT_EQ(value, CFSTR(u"d"));
  EXPECT_EQ(CFDictionaryGetCount(dictionary), 1);
  CFDictionaryRemoveAllValues(dictionary);
  EXPECT_FALSE(CFDictionaryContainsKey(dictionary, key));
  CFRelease(dictionary);
}

TEST(CFDictionaryTest, AnImmutableOneStaysAndAKeyDoesNotChangeWithItsString) {
  const CFMutableDictionaryRef dictionary = Make();
  const CFMutableStringRef key = NSString::NewMutable(u"key");
  CFDictionarySetValue(dictionary, key, kCFBooleanTrue);
  CFStringAppendCharacters(key, u"!", 1);
  EXPECT_TRUE(CFDictionaryContainsKey(dictionary, CFSTR(u"key")));
  const CFDictionaryRef frozen = CFDictionaryCreateCopy(nullptr, dictionary);
  CFDictionaryRemoveAllValues(const_cast<CFMutableDictionaryRef>(frozen));
  EXPECT_EQ(CFDictionaryGetCount(frozen), 1);
  EXPECT_EQ(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr), nullptr);
  CFRelease(frozen);
  CFRelease(key);
  CFRelease(dictionary);
}

}  // namespace
}  // namespace orvik
