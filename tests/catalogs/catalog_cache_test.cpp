// The process-wide table of catalog modules, seen through CKZCatalog; whether
// a module is loaded is asked of the platform.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;
using A = CKZStringTestAccess;

const char kTestModule[] = "kz_test_catalog";
const char kModuleB[] = "KzTestCatalogB";

std::u16string Fetch(CKZCatalog& catalog, UINT id) {
  CKZString text;
  return catalog.GetMsgEx(text, id, nullptr) == S_OK ? W(text) : u"(failed)";
}

// Fault: a load per object, fetch or assignment; a name that opens nothing,
// or a failed open, leaving an entry; wrong Close or CloseAll results; an
// object reading through a handle closed behind it (which another module may
// since have got). KzTestCatalogB shows the name is not lowered.
TEST(CatalogCache, EntriesAndCloses) {
  CKZCatalog::CloseAll();
  CKZCatalog b(OLESTR("KzTestCatalogB"));
  EXPECT_EQ(u"B: hello", Fetch(b, 1));
  // One copy per locale: the sb. and mb. cases run at the same time.
  const std::string late = MultibyteLocale() ? "kz_late_mb" : "kz_late_sb";
  std::remove(CatalogPath(late).c_str());  // left by a run that crashed
  const struct {
    const char* name;
    CKZCatalog catalog;
  } nothing[] = {{"default constructed", CKZCatalog()},
                 {"null name", CKZCatalog(nullptr)},
                 {"empty name", CKZCatalog(OLESTR(""))},
                 {"no such module", CKZCatalog(OLESTR("kz_no_such_catalog"))},
                 {"not there yet", CKZCatalog(CKZString(late.c_str()))}};
  for (const auto& row : nothing) {
    SCOPED_TRACE(row.name);
    CKZCatalog catalog = row.catalog;
    CKZString out(OLESTR("unchanged"));
    EXPECT_EQ(E_FAIL, catalog.GetMsgEx(out, kIdHello, nullptr));
    EXPECT_EQ(E_FAIL, catalog.GetMsg(out, kIdHello)) << "not remembered";
    EXPECT_EQ(u"unchanged", W(out));
    EXPECT_EQ(S_FALSE, catalog.Close());
  }
  {
    std::ifstream in(CatalogPath(kTestModule), std::ios::binary);
    std::ofstream(CatalogPath(late), std::ios::binary) << in.rdbuf();
  }
  CKZCatalog retried = nothing[4].catalog;
  EXPECT_EQ(u"0$Hello", Fetch(retried, kIdHello));
  EXPECT_EQ(S_OK, retried.Close());
  EXPECT_EQ(0, std::remove(CatalogPath(late).c_str()));
  EXPECT_EQ(S_OK, b.Close());

  for (bool all : {false, true}) {
    SCOPED_TRACE(all ? "CloseAll" : "Close");
    // On POSIX the last two names open no module by themselves: the table
    // keys on the hash (h * 33 + unit) of the lowered name.
    CKZCatalog objects[] = {TestCatalogName(), TestCatalogName(),
                            OLESTR("KZ_Test_Catalog"),
                            OLESTR("k{>test_catalog")};
    objects[1] = TestCatalogName();
    CKZCatalog extension(OLESTR("kz_test_catalog.dll"));  // an entry of its own
    for (CKZCatalog& catalog : objects) {
      EXPECT_EQ(u"0$Hello", Fetch(catalog, kIdHello));
    }
    EXPECT_EQ(u"fifteen", Fetch(extension, kIdFifteen));
    CKZCatalog copy = objects[0];
    CKZCatalog assigned;
    assigned = objects[0];
    if (all) {
      EXPECT_EQ(S_OK, CKZCatalog::CloseAll());
    } else {
      EXPECT_EQ(S_OK, objects[3].Close());
      EXPECT_EQ(S_FALSE, objects[2].Close());
      EXPECT_TRUE(CatalogModuleLoaded(kTestModule));
      EXPECT_EQ(S_OK, extension.Close());
    }
    EXPECT_FALSE(CatalogModuleLoaded(kTestModule));
    EXPECT_EQ(u"B: hello", Fetch(b, 1));
    for (CKZCatalog* catalog : {&objects[0], &copy, &assigned}) {
      EXPECT_EQ(u"0$Hello", Fetch(*catalog, kIdHello));
    }
    EXPECT_EQ(S_OK, objects[0].Close()) << "the stale object made a new entry";
  }
  EXPECT_EQ(S_OK, CKZCatalog::CloseAll());
  EXPECT_FALSE(CatalogModuleLoaded(kModuleB));
  EXPECT_EQ(S_FALSE, CKZCatalog::CloseAll());
  EXPECT_EQ(S_FALSE, b.Close());
}

// CloseAll in a process that never opened a catalog (catalog.fresh_process).
TEST(PerProcessCatalog, CloseAllInAFreshProcess) {
  ASSERT_NE(nullptr, std::getenv("KZ_TEST_FRESH_PROCESS"))
      << "KZ_TEST_FRESH_PROCESS is unset: run by CTest";
  EXPECT_EQ(S_FALSE, CKZCatalog::CloseAll());
  CKZCatalog catalog(TestCatalogName());
  EXPECT_EQ(S_FALSE, catalog.Close());
}

// Fault, each allocation failing in turn: a leak, a code other than
// E_OUTOFMEMORY, `out` changed, a failed open leaving module or entry.
TEST(CatalogOutOfMemory, EachAllocationOfAFetchFailing) {
  enum Args { kUnformatted, kNumber, kText };
  const std::u16string p259 = Pattern(259);
  const struct {
    const char* name;
    bool opens;  // the table starts empty, so the fetch opens the module
    UINT id;
    Args args;
    std::u16string expected;
  } rows[] = {
      {"open", true, kIdHello, kUnformatted, u"0$Hello"},
      {"open, then format", true, 404, kText, u"<" + p259 + u">"},
      {"held module, new block for a shared out", false, kIdHello, kUnformatted,
       u"0$Hello"},
      {"held module, 259 units reloaded", false, kIdText259, kUnformatted,
       p259},
      {"held module, 1000 units formatted in three passes", false, 403, kNumber,
       Pattern(998) + u"7"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    unsigned failedOpens = 0;
    const unsigned count = ForEachFailingAllocation([&](unsigned n) {
      CKZCatalog catalog;
      CKZString out, sharer;
      {
        NoInjectedFailures setup;
        CKZCatalog::CloseAll();
        catalog = TestCatalogName();
        CKZString warm;
        if (!row.opens) {
          ASSERT_EQ(S_OK, catalog.GetMsgEx(warm, kIdHello, nullptr));
        }
        out = OLESTR("before");
        sharer = out;
      }
      const CKZStringBlock* before = A::Block(out);
      HRESULT hr = S_OK;
      if (row.args == kUnformatted) hr = catalog.GetMsgEx(out, row.id, nullptr);
      if (row.args == kNumber) hr = catalog.GetMsg(out, row.id, 7);
      if (row.args == kText) {
        hr = catalog.GetMsg(out, row.id, U(p259.c_str()));
      }
      const bool fired = InjectedFailureFired();
      SCOPED_TRACE(n);
      EXPECT_EQ(u"before", W(sharer));
      if (fired && hr != S_OK) {
        EXPECT_EQ(E_OUTOFMEMORY, hr);
        EXPECT_EQ(before, A::Block(out));
        EXPECT_EQ(u"before", W(out));
        if (row.opens) {
          const bool loaded = CatalogModuleLoaded(kTestModule);
          EXPECT_EQ(loaded ? S_OK : S_FALSE, catalog.Close());
          EXPECT_FALSE(CatalogModuleLoaded(kTestModule));
          if (!loaded) ++failedOpens;
        }
      } else {
        EXPECT_EQ(S_OK, hr);
        EXPECT_EQ(row.expected, W(out));
      }
      CKZString again;
      EXPECT_EQ(S_OK, catalog.GetMsgEx(again, kIdFifteen, nullptr));
      EXPECT_EQ(u"fifteen", W(again));
      CKZCatalog::CloseAll();
    });
    EXPECT_GT(count, 0u);
    if (row.opens) {
      EXPECT_GT(failedOpens, 0u);
    }
  }
}

}  // namespace
