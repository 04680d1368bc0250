#include "platform/foundation/property_list_serialization.h"

#include <gtest/gtest.h>

#include "platform/foundation/autorelease_pool.h"
#include "tests/platform/property_list_test_support.h"

namespace orvik::test {
namespace {

class PropertyListSerialization : public testing::Test {
 protected:
  static const NSData* Data(std::string bytes) {
    return Autoreleased(NSData::Create(std::move(bytes)));
  }

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
  EXPECT_EQ(
      NSPropertyListSerialization::propertyListFromData(Data("not a list"), 2, &format, &error),
      nullptr);
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
