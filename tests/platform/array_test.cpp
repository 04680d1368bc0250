#include "platform/core_foundation/array.h"

#include <gtest/gtest.h>

#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/dictionary.h"

namespace orvik {
namespace {

TEST(CFArrayTest, InsertsReplacesAndRemovesWithinItsBounds) {
  const NSAutoreleasePool pool;
  NSArray* array = NSArray::arrayWithCapacity(10);
  for (const char16_t* text : {u"b", u"d"}) CFArrayAppendValue(array, CFSTR(text));
  CFArrayInsertValueAtIndex(array, 0, CFSTR(u"a"));
  CFArrayInsertValueAtIndex(array, 9, CFSTR(u"x"));
  CFArrayInsertValueAtIndex(array, -1, CFSTR(u"x"));
  CFArraySetValueAtIndex(array, 2, CFSTR(u"c"));
  CFArraySetValueAtIndex(array, 3, CFSTR(u"e"));
  CFArrayAppendValue(array, nullptr);
  CFArrayRemoveValueAtIndex(array, 7);
  std::string text;
  NSEnumerator* elements = array->objectEnumerator();
  CFArrayRemoveValueAtIndex(array, 0);
  while (NSObject* element = elements->nextObject()) {
    text += static_cast<NSString*>(element)->ToUtf8();
  }
  EXPECT_EQ(text, "abce");
  EXPECT_EQ(CFArrayGetCount(array), 3);
  EXPECT_EQ(CFArrayGetValueAtIndex(array, 3), nullptr);
}

TEST(CFArrayTest, CopiesShareElementsAndImmutableOnesStay) {
  const NSAutoreleasePool pool;
  const void* values[] = {CFSTR(u"a"), CFSTR(u"b")};
  const CFArrayRef array = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
  const CFMutableArrayRef copy = CFArrayCreateMutableCopy(nullptr, 0, array);
  EXPECT_TRUE(CFEqual(array, copy));
  CFArrayRemoveAllValues(copy);
  CFArrayRemoveAllValues(const_cast<CFMutableArrayRef>(array));
  EXPECT_EQ(CFArrayGetCount(array), 2);
  EXPECT_EQ(CFArrayGetCount(copy), 0);
  EXPECT_EQ(CFArrayCreateMutable(nullptr, 0, nullptr), nullptr);
  NSDictionary* dictionary = NSDictionary::dictionary();
  dictionary->setObject(array, CFSTR(u"list"));
  EXPECT_EQ(dictionary->description()->ToUtf8(),
            "{\n    list = (\n        a,\n        b,\n    );\n}");
  CFRelease(copy);
  CFRelease(array);
}

}  // namespace
}  // namespace orvik
