// Faults: a lock that isn't recursive deadlocks; one released on the first
// Leave, or not exclusive, loses increments of a plain counter.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/platform.h"

TEST(CriticalSection, RecursiveAndExclusive) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        EnterCriticalSection(&section);
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
        const long seen = counter;
        if (i % 64 == 0) std::this_thread::yield();
        counter = seen + 1;
        LeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(4 * 20000L, counter);
  DeleteCriticalSection(&section);
}
