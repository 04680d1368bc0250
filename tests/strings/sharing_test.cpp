// Strings and platform objects that several threads share. The thread sanitizer watches.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace orvik {
namespace {

constexpr int kThreads = 4;
constexpr int kRounds = 5'000;

template <typename Work>
void InThreads(const Work& work) {
  std::atomic<int> waiting{kThreads};
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (--waiting; waiting > 0;) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) work();
    });
  }
  for (std::thread& thread : threads) thread.join();
}

template <typename String>
void ReadAndCopy(const String& constant) {
  InThreads([&] {
    String copy = constant;
    const String second = copy;
    EXPECT_EQ(second.Find(typename String::Unit{'c'}), 2);
    copy += typename String::Unit{'d'};
    String assigned;
    assigned = constant.Left(100);
    assigned.MakeReverse();
    EXPECT_EQ(constant.GetLength(), 3);
  });
  EXPECT_EQ(constant.GetData()->ref_count, 1);
}

TEST(Sharing, ReadersOfAConstant) {
  ReadAndCopy(CAtlString(u"abc"));
  ReadAndCopy(CAtlStringA("abc"));
}

// The string that was made first ends in whichever thread drops it last.
TEST(Sharing, TheLastOwnerFreesTheBlock) {
  for (int round = 0; round < 200; ++round) {
    CAtlString shared(u"abc");
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([own = shared]() mutable {
        own.SetAt(0, u'x');
        EXPECT_EQ(own.View(), u"xbc");
      });
    }
    shared = nullptr;
    for (std::thread& thread : threads) thread.join();
  }
}

TEST(Sharing, ReferencesToPlatformObjects) {
  const CFStringRef object = CAtlString(u"abc").CreateCFStringRef(kCFAllocatorDefault);
  InThreads([&] {
    const CFStringRef kept = static_cast<CFStringRef>(CFRetain(object));
    EXPECT_EQ(CFStringGetLength(kept), 3);
    CFRelease(kept);
  });
  CFRelease(object);
}

}  // namespace
}  // namespace orvik
