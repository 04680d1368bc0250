#include "platform/core_foundation/array.h"

#include <gtest/gtest.h>

#include "platform/core_foundation/string.h"
#include "platform/foundation/autorelease_pool.h"
#include "platform/foundation/ns_dictionary.h"

namespace orvik {
namespace {

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

}  // namespace
}  // namespace orvik
