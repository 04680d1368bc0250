#include "platform/foundation/object.h"

#include <gtest/gtest.h>

#include <thread>

#include "platform/foundation/autorelease_pool.h"

namespace orvik {
namespace {

class Counted final : public NSObject {
 public:
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }

 private:
  ~Counted() override { --*alive_; }
  int* alive_;
};

TEST(NSObjectTest, LivesUntilTheLastReferenceIsGivenUp) {
  int alive = 0;
  const auto* object = new Counted(&alive);
  CFRetain(object);
  CFRelease(object);
  EXPECT_EQ(alive, 1);
  CFRelease(object);
  EXPECT_EQ(alive, 0);
  CFRelease(nullptr);
}

TEST(NSAutoreleasePoolTest, ReleasesAtTheEndOfTheInnermostPoolOfTheThread) {
  int alive = 0;
  const NSAutoreleasePool outer;
  {
    const NSAutoreleasePool inner;
    Autoreleased(new Counted(&alive));
    std::thread([&alive] {
      const NSAutoreleasePool of_thread;
      Autoreleased(new Counted(&alive));
    }).join();
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

}  // namespace
}  // namespace orvik
