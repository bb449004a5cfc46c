// The process-wide catalog state, reached directly (this program links the
// library's object files).
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <utility>

#include "catalogs/module_cache.h"
#include "errors/msg_map.h"
#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "test_support.h"

struct CKZCatalogTestAccess {
  static const CKZString& Name(const CKZCatalog& catalog) {
    return catalog.name;
  }
  static CRITICAL_SECTION& Lock() { return g_catalogCache.lock; }
};

namespace {

using namespace kztest;
using A = CKZStringTestAccess;
using C = CKZCatalogTestAccess;

// The default catalog's name is built before the block size is read.
TEST(DefaultCatalog, NameBuiltBeforeTheBlockSize) {
  const CKZString& name = C::Name(g_msgMapStore.defaultCatalog);
  EXPECT_EQ(u"kzcommon", W(A::WideBuffer(name)));
  EXPECT_EQ(8u, A::WideLength(name));
  EXPECT_EQ(8u, A::Capacity(name));
  if (DefaultBlockSize()) {
    EXPECT_EQ(64u, A::Capacity(CKZString(OLESTR("kzcommon"))));
  }
}

// Fault: a fetch through an open module, or with an empty name, waits for
// the table's lock (the bound only keeps a failure from hanging).
TEST(CatalogLock, FetchesThatTakeNoLock) {
  CKZCatalog open(TestCatalogName());
  CKZString out;
  ASSERT_EQ(S_OK, open.GetMsgEx(out, kIdHello, nullptr));
  CKZCatalog empty(OLESTR(""));

  EnterCriticalSection(&C::Lock());
  auto fetches = std::async(std::launch::async, [&] {
    CKZString text;
    return std::make_pair(open.GetMsg(text, kIdFifteen),
                          empty.GetMsgEx(text, kIdHello, nullptr));
  });
  const bool withoutLock =
      fetches.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  LeaveCriticalSection(&C::Lock());
  EXPECT_TRUE(withoutLock);
  EXPECT_EQ(std::make_pair(S_OK, E_FAIL), fetches.get());
  EXPECT_EQ(S_OK, open.Close());
}

}  // namespace
