// Message strings with each allocation failing in turn. Fault: a leak, a
// code other than E_OUTOFMEMORY, a change by a failure, a half-built result.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;
using A = CKZStringTestAccess;

// Three holders of one composite, and what an operation on one gave.
struct Holders {
  CKZMsgString plain;
  CKZSimpleMsgString simple;
  CKZDetailMsgString detail;
  CKZCatalog* catalog = nullptr;
  HRESULT hr = S_OK;
  CKZString out;
  const WCHAR* wide = nullptr;
  const char* mbs = nullptr;
};

const struct Op {
  const char* name;
  void (*run)(Holders& r);
} kOps[] = {
    {"FormatMsg of a simple view",
     [](Holders& r) { r.hr = r.simple.FormatMsg(2, OLESTR("6$Unexpected")); }},
    {"Format",
     [](Holders& r) {
       r.hr = r.plain.Format(1, OLESTR("Reader"), OLESTR("parser"), *r.catalog,
                             408, OLESTR("x"));
     }},
    {"simple view, BuildSimpleMessage",
     [](Holders& r) { r.hr = r.simple.BuildSimpleMessage(r.out); }},
    {"detail view, GetMsg",
     [](Holders& r) { r.hr = r.detail.GetMsg(1, r.out); }},
    {"simple view as wide text",
     [](Holders& r) { r.hr = (r.wide = r.simple) ? S_OK : E_OUTOFMEMORY; }},
    {"detail view as multibyte text",
     [](Holders& r) { r.hr = (r.mbs = r.detail) ? S_OK : E_OUTOFMEMORY; }},
};

void Prepare(Holders& r, bool multibyte, bool viewsBuilt) {
  for (CKZMsgString* m : {&r.plain, static_cast<CKZMsgString*>(&r.simple),
                          static_cast<CKZMsgString*>(&r.detail)}) {
    ASSERT_EQ(S_OK, m->FormatMsg(8, OLESTR("5$Disk full")));
    if (multibyte) {
      *m = "Disk _$S_4005-Backup_$E_ full";
    } else {
      *m = OLESTR("Disk _$S_4005-Backup_$E_ full");
    }
  }
  if (viewsBuilt) {
    static_cast<void>(static_cast<const WCHAR*>(r.simple));
    static_cast<void>(static_cast<const WCHAR*>(r.detail));
  }
  r.out = OLESTR("kept");
}

std::array<const CKZStringBlock*, 4> Blocks(const Holders& r) {
  return {A::Block(r.plain), A::Block(r.simple), A::Block(r.detail),
          A::Block(r.out)};
}

// Everything as text; builds the views (S_FALSE shows one was built).
std::string Describe(Holders& r) {
  const CKZString& plain = r.plain;
  const CKZString& simple = r.simple;
  const CKZString& detail = r.detail;
  CKZString unused;
  return "hr " + std::to_string(r.hr) + " out " + Narrow(W(r.out)) + " wide " +
         Narrow(W(r.wide)) + " mbs " + M(r.mbs) + " texts " + Narrow(W(plain)) +
         "|" + Narrow(W(simple)) + "|" + Narrow(W(detail)) + " numbers " +
         std::to_string(r.plain.GetErrorNum()) + "/" +
         std::to_string(r.simple.GetErrorNum()) + "/" +
         std::to_string(r.detail.GetErrorNum()) + " views " +
         (r.simple.BuildSimpleMessage(unused) == S_FALSE ? "S" : "-") +
         (r.detail.BuildDetailMessage(unused) == S_FALSE ? "D" : "-");
}

TEST(MsgOutOfMemory, EachAllocationFailing) {
  CKZCatalog catalog(TestCatalogName());
  for (const Op& op : kOps) {
    unsigned most = 0;
    for (bool multibyte : {false, true}) {
      for (bool viewsBuilt : {false, true}) {
        SCOPED_TRACE(std::string(op.name) + (multibyte ? ", multibyte" : "") +
                     (viewsBuilt ? ", views built" : ""));
        std::string asBefore, success;
        {
          Holders r;
          Prepare(r, multibyte, viewsBuilt);
          asBefore = Describe(r);
        }
        const unsigned count = ForEachFailingAllocation([&](unsigned n) {
          Holders r;
          r.catalog = &catalog;
          {
            NoInjectedFailures setup;
            CKZString warm;
            ASSERT_EQ(S_OK, catalog.GetMsgEx(warm, kIdHello, nullptr));
            Prepare(r, multibyte, viewsBuilt);
          }
          const std::array<const CKZStringBlock*, 4> blocks = Blocks(r);
          op.run(r);
          const bool fired = InjectedFailureFired();
          SCOPED_TRACE(n);
          if (fired && r.hr == E_OUTOFMEMORY) {
            EXPECT_EQ(blocks, Blocks(r));
            r.hr = S_OK;
            r.wide = nullptr;
            r.mbs = nullptr;
            EXPECT_EQ(asBefore, Describe(r));
            return;
          }
          EXPECT_GE(r.hr, 0);
          const std::string outcome = Describe(r);
          if (n == 0) success = outcome;
          EXPECT_EQ(success, outcome) << "neither nothing nor everything";
        });
        if (count > most) most = count;
      }
    }
    EXPECT_GT(most, 0u) << op.name;
  }
  CKZCatalog::CloseAll();
}

}  // namespace
