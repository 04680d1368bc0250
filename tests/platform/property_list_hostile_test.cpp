// Files that were made, or damaged, so as to hurt their reader.
#include <gtest/gtest.h>

#include <chrono>

#include "tests/platform/property_list_test_support.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

std::string ManyTypes() {
  return "<plist><dict><key>a&amp;</key><array><string>\u00E9</string><integer>70000</integer>"
         "<real>0.5</real><true/><date>2001-01-01T00:00:00Z</date><data>AAEC</data></array>"
         "<key>b</key><string>0123456789abcdef</string></dict></plist>";
}

TEST(PropertyListHostile, NestingEndsAtTheLimit) {
  const auto nested = [](int depth) {
    return Repeated("<array>", depth) + Repeated("</array>", depth);
  };
  EXPECT_NE(ReadRoot(nested(kPropertyListMaximumDepth)), nullptr);
  EXPECT_EQ(ReadRoot(nested(kPropertyListMaximumDepth + 1)), nullptr);
  EXPECT_EQ(ReadRoot(nested(100000)), nullptr);
  EXPECT_EQ(ReadRoot(Repeated("<dict><key>a</key>", 100000)), nullptr);
  EXPECT_EQ(ReadRoot(Repeated("(", 100000) + Repeated(")", 100000)), nullptr);
  EXPECT_EQ(ReadRoot(Repeated("{a=", 100000)), nullptr);
  EXPECT_EQ(ReadRoot("<!DOCTYPE a " + Repeated("[<!", 100000)), nullptr);
}

TEST(PropertyListHostile, WhatCouldNotBeReadAgainIsNotWritten) {
  NSArray* list = NSArray::Create();
  for (int depth = 1; depth < kPropertyListMaximumDepth; ++depth) {
    NSArray* outer = NSArray::Create();
    outer->AppendOwned(list);
    list = outer;
  }
  OwnedObject owner(list);
  const auto xml = WriteXmlPropertyList(list);
  const auto binary = WriteBinaryPropertyList(list);
  ASSERT_TRUE(xml && binary);
  EXPECT_TRUE(CFEqual(ReadRoot(*xml).get(), list));
  EXPECT_TRUE(CFEqual(ReadRoot(*binary).get(), list));
  NSArray* outer = NSArray::Create();
  outer->AppendOwned(owner.release());
  owner.reset(outer);
  EXPECT_FALSE(WriteXmlPropertyList(outer));
  EXPECT_FALSE(WriteBinaryPropertyList(outer));
}

TEST(PropertyListHostile, TruncationAtEveryByteGivesNothing) {
  const std::string xml = ManyTypes();
  const OwnedObject list = ReadRoot(xml);
  ASSERT_NE(list, nullptr);
  const std::string binary = *WriteBinaryPropertyList(list.get());
  const std::string text = "{ a = (b, \"c\\n\", <00ff>); /* d */ e = f; }";
  for (const std::string& whole : {xml, binary, text}) {
    ASSERT_NE(ReadRoot(whole), nullptr);
    for (size_t length = 0; length < whole.size(); ++length) {
      EXPECT_EQ(ReadRoot(whole.substr(0, length)), nullptr) << whole.substr(0, length);
    }
  }
}

TEST(PropertyListHostile, OneWrongByteNeverDoesHarm) {
  const std::string xml = ManyTypes();
  for (const std::string& whole : {xml, *WriteBinaryPropertyList(ReadRoot(xml).get())}) {
    for (size_t position = 0; position < whole.size(); ++position) {
      for (const int byte : {0x00, 0x0F, 0x26, 0x3C, 0x5F, 0x80, 0xA2, 0xD1, 0xFF}) {
        std::string damaged = whole;
        damaged[position] = static_cast<char>(byte);
        const OwnedObject root = ReadRoot(damaged, kCFPropertyListMutableContainers);
        if (root != nullptr) WriteXmlPropertyList(root.get());
      }
    }
  }
}

// A binary list from the bytes of its objects, the first of them the root.
std::string Binary(const std::vector<std::string>& objects) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  const char table_offset = static_cast<char>(bytes.size());
  bytes += table + std::string(6, '\0') + "\x01\x01" + std::string(7, '\0') +
           static_cast<char>(objects.size()) + std::string(15, '\0') + table_offset;
  return bytes;
}

TEST(PropertyListHostile, BinaryReferencesAreFollowedWithCare) {
  using namespace std::string_literals;
  EXPECT_EQ(DescribeBytes(Binary({"\xA1\x01"s, "\x09"})), "(b:1)");
  EXPECT_EQ(DescribeBytes(Binary({"\xD1\x01\x02"s, "\x51z", "\x80\x07"s})), "{z={CF$UID=i:7}}");
  const std::vector<std::vector<std::string>> refused = {
      {"\xA1\x00"s},                                  // holds itself
      {"\xA1\x01"s, "\xD1\x02\x00"s, "\x51z"},        // a circle of two
      {"\xA1\x07"s},                                  // no such object
      {"\xD1\x01\x01"s, "\x09"},                      // a key that is no string
      {"\xD1\x01\x01"s, "\xA0"},                      // a container as the key, read already
      {"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},  // more elements than bytes
      {"\x5F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},
      {"\x00"s},      // null
      {"\x1F\x00"s},  // an integer of 2^15 bytes
      {"\x32\x00\x00\x00\x00"s}};
  for (const auto& objects : refused) EXPECT_EQ(DescribeBytes(Binary(objects)), "nothing");
  // Thirty arrays, each of the next one eight times.
  std::vector<std::string> doubling;
  for (char i = 1; i <= 20; ++i) doubling.push_back("\xA8" + std::string(8, i));
  doubling.push_back("\x09");
  EXPECT_EQ(DescribeBytes(Binary(doubling)), "nothing");
}

// The time is bounded by CTest alone; what is looked for is growth with the square.
TEST(PropertyListHostile, LargeFilesCostInLine) {
  constexpr int kCount = 200000;
  const std::string text = Repeated("<string>a&amp;b</string><!-- x -->", kCount);
  EXPECT_NE(ReadRoot("<array>" + text + "</array>"), nullptr);
  EXPECT_EQ(ReadRoot("<array>" + text), nullptr);
  EXPECT_NE(ReadRoot("(" + Repeated("\"ab\\n\", ", kCount) + ")"), nullptr);
  EXPECT_NE(ReadRoot("<dict>" + Repeated("<key>a</key><true/>", kCount) + "</dict>"), nullptr);
  EXPECT_EQ(ReadRoot("<string>" + Repeated("&", kCount) + "</string>"), nullptr);
  EXPECT_NE(ReadRoot("<data>" + Repeated("QUJD\n", kCount) + "</data>"), nullptr);
  EXPECT_EQ(ReadRoot("<array>" + Repeated("<a/>", kCount) + "</array>"), nullptr);
  EXPECT_NE(ReadRoot("<array>" + Repeated("<true/>", kCount) + "</array>"), nullptr);
  EXPECT_NE(ReadRoot("<array><!-- x -->" + Repeated("<true/>\n", kCount) + "</array>"), nullptr);
  EXPECT_NE(ReadRoot("<string>" + std::string(20'000'000, 'x') + "</string>"), nullptr);
}

}  // namespace
}  // namespace orvik::test
