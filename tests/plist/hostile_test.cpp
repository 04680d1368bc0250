// Files that were made or damaged to harm their reader.
#include <pthread.h>

#include "tests/plist/described_lists.h"

namespace orvik::plist {
namespace {

using namespace test;

constexpr int kDepth = static_cast<int>(kMaximumDepth);

TEST(PlistHostile, NestingEndsAtTheLimit) {
  EXPECT_TRUE(Root(Repeated("<array>", kDepth) + Repeated("</array>", kDepth)));
  EXPECT_FALSE(Root(Repeated("<array>", kDepth + 1) + Repeated("</array>", kDepth + 1)));
  EXPECT_TRUE(Root(Repeated("<array>", kDepth - 1) + "<dict/>" + Repeated("</array>", kDepth - 1)));
  EXPECT_FALSE(Root(Repeated("<array>", kDepth) + "<dict/>" + Repeated("</array>", kDepth)));
  for (const char* opening : {"<array>", "<dict><key>a</key>", "(", "{a=", "[<!"}) {
    EXPECT_FALSE(Root((*opening == '[' ? "<!DOCTYPE a " : "") + Repeated(opening, 100000)));
  }
  const auto nested = [](std::size_t depth, Value value) {
    for (; depth > 0; --depth) value = Value::Array({value});
    return value;
  };
  // In the binary form, the innermost array of one chain holds the whole of another chain, which
  // was or was not read before.
  for (const bool is_read : {true, false}) {
    for (const std::size_t depth : {kMaximumDepth, kMaximumDepth + 1}) {
      const Value one = nested(250, u"zz"), other = nested(depth - 251, true);
      const Value joined = is_read ? Value::Array({other, one}) : Value::Array({one, other});
      std::string bytes = *WriteBinary(joined);
      const std::size_t index = is_read ? 1 : 252;
      bytes.replace(bytes.find("\x52zz") - 2, 2,
                    {static_cast<char>(index >> 8), static_cast<char>(index)});
      const Value expected = depth > kMaximumDepth ? Value() : nested(250, other);
      const Value found = Root(bytes);
      EXPECT_EQ(found ? found.elements()[is_read ? 1 : 0] : Value(), expected);
    }
  }
}

// The deepest lists, in a thread with a small stack.
TEST(PlistHostile, TheDeepestListNeedsLittleStack) {
  static const std::string kLists[] = {Repeated("<array>", kDepth) + Repeated("</array>", kDepth),
                                       Repeated("<dict><key>b</key><true/><key>a</key>", kDepth) +
                                           "<true/>" + Repeated("</dict>", kDepth),
                                       Repeated("{a=", kDepth) + "b" + Repeated(";}", kDepth)};
  const auto work = [](void*) -> void* {
    for (const std::string& list : kLists) {
      const Value one = Root(list);
      // The first comparison comes before any entry is made.
      const Value copy = Root(*WriteXml(one));
      const Value other = Root(*WriteBinary(one));
      EXPECT_TRUE(one == other && copy == other);
    }
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 128 << 10);  // the smallest default of a C library
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, work, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

// A binary list from the bytes of its objects. The first object is the root.
std::string Binary(const std::vector<std::string>& objects) {
  const auto number = [](size_t value) {
    return std::string(4, '\0') + static_cast<char>(value >> 24) + static_cast<char>(value >> 16) +
           static_cast<char>(value >> 8) + static_cast<char>(value);
  };
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += number(bytes.size());
    bytes += object;
  }
  const size_t table_offset = bytes.size();
  bytes += table + std::string(6, '\0') + "\x08\x01" + number(objects.size()) + number(0) +
           number(table_offset);
  return bytes;
}

TEST(PlistHostile, BinaryReferencesAreFollowedWithCare) {
  using namespace std::string_literals;
  const std::string ff(8, '\xFF'), zero(8, '\0');
  const std::pair<std::vector<std::string>, const char*> kRead[] = {
      {{"\xA1\x01"s, "\x09"}, "(b:1)"},
      {{"\xD1\x01\x02"s, "\x51z", "\x80\x07"s}, "{z={CF$UID=i:7}}"},
      {{"\x08"}, "b:0"},
      {{"\x10\xFF"}, "i:255"},
      {{"\x11\x80\0"s}, "i:32768"},
      {{"\x12\xFF\xFF\xFF\xFF"}, "i:4294967295"},
      {{"\x13" + ff}, "i:-1"},
      {{"\x14" + zero + ff}, "i:18446744073709551615"},
      {{"\x14" + ff + "\xFB" + ff.substr(1)}, "i:-288230376151711745"},
      {{"\x87" + ff}, "{CF$UID=i:18446744073709551615}"},
      {{"\x8F" + zero + zero.substr(1) + "\x07"}, "{CF$UID=i:7}"},
      {{"\x51\xE9"}, "s:\u00E9"},
      {{"\x5F\x10\x01z"}, "s:z"},
      {{"\x5F\x11\0\x01z"s}, "s:z"},
      {{"\x5F\x12\0\0\0\x01z"s}, "s:z"},
      {{"\x5F\x13" + zero.substr(1) + "\x01z"}, "s:z"}};
  for (const auto& [objects, list] : kRead) EXPECT_EQ(DescribeBytes(Binary(objects)), list);
  // A real of four bytes and a UID keep their form.
  for (const std::string& kept : {"\x22\x3F\xC0\0\0"s, "\x80\x07"s}) {
    EXPECT_TRUE(Contains(*WriteBinary(Root(Binary({"\xA1\x01"s, kept}))), kept));
  }
  const std::vector<std::vector<std::string>> refused = {
      {"\xA1\x00"s},                                  // contains itself
      {"\xA1\x01"s, "\xD1\x02\x00"s, "\x51z"},        // a circle of two
      {"\xA1\x07"s},                                  // no such object
      {"\xD1\x01\x01"s, "\x09"},                      // a key that is not a string
      {"\xD1\x01\x01"s, "\xA0"},                      // a container as the key, already read
      {"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},  // more elements than bytes
      {"\x5F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},
      {"\x00"s},      // null
      {"\x1F\x00"s},  // an integer of 2^15 bytes
      {"\x15" + ff + ff + ff + ff},
      {"\x14" + ff + "\x7F" + ff.substr(1)},  // below -2^63, and above 2^64 - 1
      {"\x14\xFE" + ff.substr(1) + ff},
      {"\x14\x01" + zero + zero.substr(1)},
      {"\x88\x01" + zero},
      {"\x21\0\0"s},  // reals and dates of other sizes
      {"\x24" + zero + zero},
      {"\x32\x00\x00\x00\x00"s},
      {"\x34" + zero + zero},
      {"\x5F\x14" + zero + zero.substr(1) +
       "\x01z"},  // a length of 16 bytes, and a real as a length
      {"\x5F\x20\x01z"},
      {"\x70"}};
  for (const auto& objects : refused) EXPECT_EQ(DescribeBytes(Binary(objects)), "nothing");
  // More objects than bytes.
  EXPECT_FALSE(Root("bplist00\x09\x08\x08"s + std::string(6, '\0') + "\x01\x01" + zero.substr(1) +
                    "\x02" + zero + zero.substr(1) + "\x09"));
  // Offsets and references of up to eight bytes.
  const auto with_sizes = [&](char offset, char reference) {
    return "bplist00\x09" + std::string(static_cast<std::size_t>(offset - 1), '\0') + "\x08" +
           std::string(6, '\0') + offset + reference + zero.substr(1) + "\x01" + zero +
           zero.substr(1) + "\x09";
  };
  EXPECT_TRUE(Root(with_sizes(8, 8)));
  EXPECT_FALSE(Root(with_sizes(9, 1)) || Root(with_sizes(8, 9)) || Root(with_sizes(8, 0)));
  // Twenty arrays, each with eight references to the next one.
  std::vector<std::string> doubling;
  for (char i = 1; i <= 20; ++i) doubling.push_back("\xA8" + std::string(8, i));
  doubling.push_back("\x09");
  EXPECT_EQ(DescribeBytes(Binary(doubling)), "nothing");
}

// An array with `count` references to the object `object`; objects are numbered from 0.
std::string ArrayOfOne(char object, int count) {
  return "\xAF\x10" + std::string(1, static_cast<char>(count)) +
         std::string(static_cast<size_t>(count), object);
}

std::string StringOfLength(size_t length) {
  return std::string("\x5F\x12\0", 3) + static_cast<char>(length >> 16) +
         static_cast<char>(length >> 8) + static_cast<char>(length) + std::string(length, 'x');
}

TEST(PlistHostile, SharedObjectsCountWrittenOut) {
  const struct {
    std::vector<std::string> objects;
    bool is_read;
  } kCases[] = {
      // 97 x 97 strings of 57,000 bytes are 511.5 MiB, those of 58,000 bytes 520.
      {{ArrayOfOne(1, 97), ArrayOfOne(2, 97), StringOfLength(57000)}, true},
      {{ArrayOfOne(1, 97), ArrayOfOne(2, 97), StringOfLength(58000)}, false},
      // The same as keys.
      {{ArrayOfOne(1, 97), ArrayOfOne(2, 97), "\xD1\x03\x04", StringOfLength(57000), "\x09"}, true},
      {{ArrayOfOne(1, 97), ArrayOfOne(2, 97), "\xD1\x03\x04", StringOfLength(58000), "\x09"},
       false},
      // 2757 values in 175 bytes, and 2863 in 177: at most 16 to a byte.
      {{ArrayOfOne(1, 52), ArrayOfOne(2, 52), "\x09"}, true},
      {{ArrayOfOne(1, 53), ArrayOfOne(2, 53), "\x09"}, false},
  };
  for (const auto& [objects, is_read] : kCases) {
    const Reading reading = Read(Binary(objects));
    EXPECT_EQ(static_cast<bool>(reading.root), is_read);
    EXPECT_EQ(reading.is_too_large, !is_read);
    EXPECT_EQ(reading.error, is_read ? "" : kTooLarge);
  }
}

TEST(PlistHostile, WritersStopAtTheLimitOfReaders) {
  const Value list = Read(Binary({ArrayOfOne(1, 97), ArrayOfOne(2, 97), StringOfLength(500)})).root;
  ASSERT_TRUE(list);
  const auto expect_limit = [&](auto write, std::size_t least) {
    Failure failure;
    EXPECT_TRUE(write(list, &failure, least));
    EXPECT_FALSE(write(list, &failure, least - 1));
    EXPECT_TRUE(failure.is_too_large);
  };
  const std::string xml = *WriteXml(list);
  expect_limit(WriteXml, xml.size());
  // A dictionary whose entries were not used yet.
  Failure failure;
  const std::string whole = *WriteXml(Root("{k = {a = b;};}"));
  EXPECT_FALSE(WriteXml(Root(whole), &failure, whole.size() - 1));
  EXPECT_TRUE(failure.is_too_large);
  // A binary list is small, but the limit applies to the size that the reader counts.
  const std::size_t strings = 97 * 97, arrays = 1 + 97;
  expect_limit(WriteBinary, strings * (8 + 500) + arrays * 8);
  for (const auto& [value, size] : {std::pair(Value(std::u16string(500, u'a')), 508),
                                    {Value::Data(std::string(500, 'a')), 508},
                                    {Value::Dictionary({{u"key", 1}}), 8 + 11 + 8}}) {
    const std::size_t trailer = WriteBinary(value)->size();
    EXPECT_EQ(WriteBinary(value, &failure, std::max<std::size_t>(size, trailer)).has_value(), true);
    EXPECT_FALSE(WriteBinary(value, &failure, std::max<std::size_t>(size, trailer) - 1));
    EXPECT_TRUE(failure.is_too_large);
  }
}

// Only CTest limits the time; the test would detect quadratic growth.
TEST(PlistHostile, LargeFilesTakeLinearTime) {
  constexpr int kCount = 200000;
  const std::string text = Repeated("<string>a&amp;b</string><!-- x -->", kCount);
  for (const std::string& bytes :
       {"<array>" + text + "</array>", "(" + Repeated("\"ab\\n\", ", kCount) + ")",
        "<dict>" + Repeated("<key>a</key><true/>", kCount) + "</dict>",
        "<data>" + Repeated("QUJD\n", kCount) + "</data>",
        "<array>" + Repeated("<true/>", kCount) + "</array>",
        "<array><!-- x -->" + Repeated("<true/>\n", kCount) + "</array>",
        "<string>" + std::string(20'000'000, 'x') + "</string>"}) {
    EXPECT_TRUE(Root(bytes)) << bytes.substr(0, 50);
  }
  for (const std::string& bytes : {"<array>" + text, "<string>" + Repeated("&", kCount),
                                   "<array>" + Repeated("<a/>", kCount) + "</array>"}) {
    EXPECT_FALSE(Root(bytes)) << bytes.substr(0, 50);
  }
}

}  // namespace
}  // namespace orvik::plist
