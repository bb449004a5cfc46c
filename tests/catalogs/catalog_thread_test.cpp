// Fetches on several threads against threads that Close and CloseAll: each
// must give its exact text. Also run under ThreadSanitizer (tsan stage).
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fixtures/test_catalog.h"
#include "test_support.h"

namespace {

using namespace kztest;

TEST(CatalogThreads, FetchesAgainstCloses) {
  CKZCatalog::CloseAll();
  const int kFetchers = 4;
  const int kRounds = 400;
  const std::pair<UINT, std::u16string> kTexts[] = {
      {kIdHello, u"0$Hello"},
      {kIdText600, Pattern(600)},
      {kIdNonAscii, NonAsciiText()}};
  CKZCatalog sharedTest(TestCatalogName());
  CKZCatalog sharedB(OLESTR("KzTestCatalogB"));

  std::atomic<int> running(kFetchers);
  std::atomic<int> failures(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kFetchers; ++t) {
    threads.emplace_back([&, t] {
      CKZCatalog own(TestCatalogName());
      CKZCatalog ownDefault(OLESTR("kzcommon"));
      for (int round = 0; round < kRounds; ++round) {
        const auto& expected = kTexts[(round + t) % 3];
        CKZCatalog& test = round % 2 == 0 ? own : sharedTest;
        CKZString out;
        CKZCatalog fresh(TestCatalogName());
        // Each fetch's result is read before the next fetch.
        const bool exact =
            test.GetMsgEx(out, expected.first, nullptr) == S_OK &&
            W(out) == expected.second && sharedB.GetMsg(out, 1) == S_OK &&
            W(out) == u"B: hello" && ownDefault.GetMsg(out, 3, round) == S_OK &&
            M(out) == "1$Argument " + std::to_string(round) + " is invalid" &&
            fresh.GetMsgEx(out, kIdFifteen, nullptr) == S_OK &&
            W(out) == u"fifteen";
        if (!exact) ++failures;
      }
      --running;
    });
  }
  std::thread closer([&] {
    CKZCatalog test(TestCatalogName());
    while (running.load() > 0) {
      static_cast<void>(test.Close());
      std::this_thread::yield();
    }
  });
  std::thread allCloser([&] {
    while (running.load() > 0) {
      static_cast<void>(CKZCatalog::CloseAll());
      std::this_thread::yield();
    }
  });
  for (std::thread& thread : threads) thread.join();
  closer.join();
  allCloser.join();
  EXPECT_EQ(0, failures.load());
  CKZCatalog::CloseAll();
}

}  // namespace
