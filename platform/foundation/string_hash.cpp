#include "platform/foundation/string_hash.h"

#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <bit>
#include <cstddef>
#include <cstring>

namespace orvik {
namespace {

struct Key {
  UInt64 low = 0;
  UInt64 high = 0;
};

Key DrawKey() {
  Key key;
  if (getrandom(&key, sizeof key, GRND_NONBLOCK) == sizeof key) return key;
  // Early in the start of a machine: what an outsider does not know well.
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  key.low = static_cast<UInt64>(now.tv_nsec) << 32 ^ static_cast<UInt64>(getpid());
  key.high = reinterpret_cast<std::uintptr_t>(&now);
  return key;
}

class SipHash {
 public:
  explicit SipHash(const Key& key)
      : v0_(key.low ^ 0x736f6d6570736575),
        v1_(key.high ^ 0x646f72616e646f6d),
        v2_(key.low ^ 0x6c7967656e657261),
        v3_(key.high ^ 0x7465646279746573) {}

  void Add(UInt64 word) {
    v3_ ^= word;
    Round();
    v0_ ^= word;
  }

  UInt32 Finish() {
    v2_ ^= 0xFF;
    for (int i = 0; i < 3; ++i) Round();
    const UInt64 hash = v0_ ^ v1_ ^ v2_ ^ v3_;
    return static_cast<UInt32>(hash ^ (hash >> 32));
  }

 private:
  void Round() {
    v0_ += v1_;
    v2_ += v3_;
    v1_ = std::rotl(v1_, 13) ^ v0_;
    v3_ = std::rotl(v3_, 16) ^ v2_;
    v0_ = std::rotl(v0_, 32);
    v2_ += v1_;
    v0_ += v3_;
    v1_ = std::rotl(v1_, 17) ^ v2_;
    v3_ = std::rotl(v3_, 21) ^ v0_;
    v2_ = std::rotl(v2_, 32);
  }

  UInt64 v0_, v1_, v2_, v3_;
};

// Four units are a word.
UInt64 WordAt(std::u16string_view units, std::size_t i) {
  UInt64 word;
  std::memcpy(&word, units.data() + i, sizeof word);
  return word;
}

// Four bytes, each spread to 16 bits.
UInt64 WordAt(std::string_view bytes, std::size_t i) {
  UInt32 four;
  std::memcpy(&four, bytes.data() + i, sizeof four);
  UInt64 word = four;
  word = (word | (word << 16)) & 0x0000FFFF0000FFFF;
  return (word | (word << 8)) & 0x00FF00FF00FF00FF;
}

const Key& ProcessKey() {
  static const Key key = DrawKey();
  return key;
}

// The last word holds up to three units and the length.
template <class View>
UInt32 Hash(View text) {
  SipHash hash(ProcessKey());
  std::size_t i = 0;
  for (; text.size() - i >= 4; i += 4) hash.Add(WordAt(text, i));
  typename View::value_type rest[4] = {};
  for (std::size_t k = 0; i + k < text.size(); ++k) rest[k] = text[i + k];
  hash.Add(WordAt(View(rest, 4), 0) ^ static_cast<UInt64>(text.size()) << 48);
  return hash.Finish();
}

}  // namespace

UInt32 HashOfUnits(std::string_view latin1) {
  return Hash(latin1);
}

UInt32 HashOfUnits(std::u16string_view units) {
  return Hash(units);
}

}  // namespace orvik
