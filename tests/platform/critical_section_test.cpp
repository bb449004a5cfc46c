// The critical section as the library's shared caches will use it: entered
// again by the thread that holds it, and exclusive between threads.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "platform/platform.h"

namespace {

// Faults: a lock that isn't recursive deadlocks on the second Enter, where a
// Windows critical section lets its holder in again; one released on the
// first Leave, or one that lets two threads in at once, loses increments of
// a plain counter (and the thread sanitizer reports the race).
TEST(CriticalSection, RecursiveAndExclusive) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        EnterCriticalSection(&section);
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
        // Still held once: read, yield the processor, write. A second
        // thread inside the section would overwrite this increment.
        const long seen = counter;
        if (i % 64 == 0) std::this_thread::yield();
        counter = seen + 1;
        LeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(long{kThreads} * kRounds, counter);
  DeleteCriticalSection(&section);
}

}  // namespace
