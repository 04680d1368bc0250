#include "plist/entry_index.h"

#include <sys/auxv.h>
#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <bit>
#include <cstddef>
#include <cstring>

#include "text/transcoding.h"

namespace orvik::plist {
namespace {

struct Key {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
};

Key DrawKey() {
  Key key;
  if (getrandom(&key, sizeof key, GRND_NONBLOCK) == sizeof key) return key;
  // Early during boot there are no random numbers yet; these values are hard to guess.
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  key.low = static_cast<std::uint64_t>(now.tv_nsec) << 32 ^ static_cast<std::uint64_t>(getpid());
  key.high = getauxval(AT_RANDOM);
  return key;
}

class SipHash {
 public:
  explicit SipHash(const Key& key)
      : v0_(key.low ^ 0x736f6d6570736575),
        v1_(key.high ^ 0x646f72616e646f6d),
        v2_(key.low ^ 0x6c7967656e657261),
        v3_(key.high ^ 0x7465646279746573) {}

  void Add(std::uint64_t word) {
    v3_ ^= word;
    Round();
    v0_ ^= word;
  }

  std::uint32_t Finish(std::uint64_t kind) {
    v2_ ^= kind;
    for (int i = 0; i < 3; ++i) Round();
    const std::uint64_t hash = v0_ ^ v1_ ^ v2_ ^ v3_;
    return static_cast<std::uint32_t>(hash ^ (hash >> 32));
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

  std::uint64_t v0_, v1_, v2_, v3_;
};

// One word of a text, with kBytes bytes for each unit.
template <std::size_t kBytes, class Unit>
std::uint64_t WordAt(const Unit* units) {
  std::uint64_t word = 0;
  if constexpr (kBytes == sizeof(Unit)) {
    std::memcpy(&word, units, sizeof word);
  } else {
    for (std::size_t i = 0; i < sizeof word / kBytes; ++i) {
      word |= static_cast<std::uint64_t>(units[i]) << (8 * kBytes * i);
    }
  }
  return word;
}

const Key& ProcessKey() {
  static const Key key = DrawKey();
  return key;
}

// The last word has the remaining units, which do not fill a word, and the length.
template <std::size_t kBytes, class View>
std::uint32_t Hash(View text) {
  constexpr std::size_t kUnits = sizeof(std::uint64_t) / kBytes;
  SipHash hash(ProcessKey());
  std::size_t i = 0;
  for (; text.size() - i >= kUnits; i += kUnits) hash.Add(WordAt<kBytes>(text.data() + i));
  typename View::value_type rest[kUnits] = {};
  for (std::size_t k = 0; i + k < text.size(); ++k) rest[k] = text[i + k];
  hash.Add(WordAt<kBytes>(rest) ^ static_cast<std::uint64_t>(text.size()) << (64 - 8 * kBytes));
  return hash.Finish(0x100 - kBytes);
}

}  // namespace

std::uint32_t HashOfUnits(std::string_view latin1) {
  return Hash<1>(latin1);
}

std::uint32_t HashOfUnits(std::u16string_view units) {
  // Both forms of a text must have the same hash.
  return OrOfUnits(units) < 0x100 ? Hash<1>(units) : Hash<2>(units);
}

}  // namespace orvik::plist
