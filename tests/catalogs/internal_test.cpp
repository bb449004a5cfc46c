// The process-wide catalog state, reached directly (this program links the
// library's object files).
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

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
  std::promise<void> done;
  std::future<void> finished = done.get_future();
  HRESULT openResult = S_FALSE;
  HRESULT emptyResult = S_FALSE;
  std::thread worker([&] {
    CKZString text;
    openResult = open.GetMsg(text, kIdFifteen);
    emptyResult = empty.GetMsgEx(text, kIdHello, nullptr);
    done.set_value();
  });
  const bool withoutLock =
      finished.wait_for(std::chrono::seconds(60)) == std::future_status::ready;
  LeaveCriticalSection(&C::Lock());
  worker.join();
  EXPECT_TRUE(withoutLock);
  EXPECT_EQ(S_OK, openResult);
  EXPECT_EQ(E_FAIL, emptyResult);
  EXPECT_EQ(S_OK, open.Close());
}

}  // namespace
