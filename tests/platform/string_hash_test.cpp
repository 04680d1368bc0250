#include "platform/foundation/string_hash.h"

#include <gtest/gtest.h>

#include <set>

namespace orvik {
namespace {

// Keys that meet under a hash of multiplications and shifts alone, whatever it starts with: in each
// pair of words a change of the highest bit is undone by the next word.
TEST(StringHash, CraftedKeysDoNotMeet) {
  constexpr int kPairs = 12;
  std::set<UInt32> hashes;
  for (int choice = 0; choice < 1 << kPairs; ++choice) {
    std::u16string key(8 * kPairs, u'a');
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
      if ((choice >> pair & 1) == 0) continue;
      key[8 * pair + 3] ^= 0x8000;
      key[8 * pair + 7] ^= 0x8000;
      key[8 * pair + 6] ^= 0x0004;
    }
    hashes.insert(HashOfUnits(key));
  }
  EXPECT_GT(hashes.size(), (1u << kPairs) - 8);
}

TEST(StringHash, BytesHaveTheHashOfTheirUnits) {
  std::string bytes;
  std::u16string units;
  std::set<UInt32> hashes;
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(HashOfUnits(bytes), HashOfUnits(units));
    hashes.insert(HashOfUnits(bytes));
    bytes += i % 2 == 0 ? '\0' : '\xE9';
    units += i % 2 == 0 ? u'\0' : u'\xE9';
  }
  EXPECT_EQ(hashes.size(), 20u);
}

}  // namespace
}  // namespace orvik
