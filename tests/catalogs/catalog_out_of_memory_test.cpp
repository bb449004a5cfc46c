// Fetches when memory runs out, with each allocation failing in turn: the
// open of a module (its record, the table's entry), the reload of a long
// text, the formatter's buffers and the result's block. Faults caught: a
// crash, leak or abort (asan preset); a failure reported as anything but
// E_OUTOFMEMORY (E_FAIL would send the error handling to the default
// catalog); `out` or a value sharing its block changed by a failed fetch; a
// module left loaded, or an entry left in the table, by an open that failed;
// a later fetch that doesn't work.
#include <gtest/gtest.h>

#include <string>

#include "catalogs/module_probe.h"
#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;
using A = CKZStringTestAccess;

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
        hr = catalog.GetMsg(out, row.id,
                            reinterpret_cast<const WCHAR*>(p259.c_str()));
      }
      const bool fired = InjectedFailureFired();
      SCOPED_TRACE(n);
      EXPECT_EQ(u"before", W(sharer));
      if (fired && hr != S_OK) {
        EXPECT_EQ(E_OUTOFMEMORY, hr);
        EXPECT_EQ(before, A::Block(out));
        EXPECT_EQ(u"before", W(out));
        if (row.opens) {
          // A failed open leaves neither the module nor an entry; one that
          // failed later leaves both, and Close then unloads the module.
          const bool loaded = CatalogModuleLoaded("kz_test_catalog");
          EXPECT_EQ(loaded ? S_OK : S_FALSE, catalog.Close());
          EXPECT_FALSE(CatalogModuleLoaded("kz_test_catalog"));
          if (!loaded) ++failedOpens;
        }
      } else {
        EXPECT_EQ(S_OK, hr);
        EXPECT_EQ(row.expected, W(out));
      }
      // Usable afterwards, whatever happened.
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
