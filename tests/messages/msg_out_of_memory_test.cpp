// Message strings when memory runs out, with each allocation of an operation
// failing in turn, on a composite held as wide and as multibyte text. Faults
// caught: a crash, leak or abort (asan preset); a writer that reports
// anything but E_OUTOFMEMORY, or changes the text, the error number or a
// view when it fails; a reader that gives part of a result, or changes
// `out` when it fails; a view left half built.
#include <gtest/gtest.h>

#include <string>

#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;
using A = CKZStringTestAccess;

// The three holders of one composite; an operation works on one of them.
struct Holders {
  CKZMsgString plain;
  CKZSimpleMsgString simple;
  CKZDetailMsgString detail;
};

// What an operation gave: its code, `out`, and a text pointer from a view.
struct Result {
  HRESULT hr = S_OK;
  CKZString out;
  const WCHAR* wide = nullptr;
  const char* mbs = nullptr;
  bool pointer = false;  // the result is the pointer: null means failure
};

// Whether a view is built: a built one answers S_FALSE from the cache.
// Builds it otherwise, so this is the last look at a holder.
bool SimpleView(CKZSimpleMsgString& m) {
  CKZString out;
  return m.BuildSimpleMessage(out) == S_FALSE;
}
bool DetailView(CKZDetailMsgString& m) {
  CKZString out;
  return m.BuildDetailMessage(out) == S_FALSE;
}

struct Op {
  const char* name;
  void (*run)(Holders& h, CKZCatalog& catalog, Result& r);
};

const Op kOps[] = {
    {"FormatMsg",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.plain.FormatMsg(1, OLESTR("12$Type mismatch"), OLESTR("Reader"),
                                OLESTR("parser"));
     }},
    {"FormatMsg of a simple view",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.simple.FormatMsg(2, OLESTR("6$Unexpected"));
     }},
    {"FormatMsg of a detail view",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.detail.FormatMsg(2, OLESTR("6$Unexpected"), OLESTR("o"));
     }},
    {"Format",
     [](Holders& h, CKZCatalog& catalog, Result& r) {
       r.hr = h.plain.Format(1, OLESTR("Reader"), OLESTR("parser"), catalog,
                             408, OLESTR("x"));
     }},
    {"Format of a simple view",
     [](Holders& h, CKZCatalog& catalog, Result& r) {
       r.hr = h.simple.Format(1, nullptr, nullptr, catalog, 408, OLESTR("x"));
     }},
    {"BuildSimpleMessage",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.plain.BuildSimpleMessage(r.out);
     }},
    {"BuildDetailMessage",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.plain.BuildDetailMessage(r.out);
     }},
    {"GetMsg, detail", [](Holders& h, CKZCatalog&,
                          Result& r) { r.hr = h.plain.GetMsg(1, r.out); }},
    {"simple view, BuildSimpleMessage",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.simple.BuildSimpleMessage(r.out);
     }},
    {"detail view, GetMsg",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.hr = h.detail.GetMsg(1, r.out);
     }},
    {"simple view as wide text",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.wide = h.simple;
       r.pointer = true;
     }},
    {"detail view as multibyte text",
     [](Holders& h, CKZCatalog&, Result& r) {
       r.mbs = h.detail;
       r.pointer = true;
     }},
};

// The holders as every run starts: one composite, as wide or multibyte
// text, with or without its views built.
void Prepare(Holders& h, bool multibyte, bool viewsBuilt) {
  for (CKZMsgString* m : {static_cast<CKZMsgString*>(&h.plain),
                          static_cast<CKZMsgString*>(&h.simple),
                          static_cast<CKZMsgString*>(&h.detail)}) {
    ASSERT_EQ(S_OK, m->FormatMsg(8, OLESTR("5$Disk full")));
    if (multibyte) {
      *m = "Disk _$S_4005-Backup_$E_ full";
    } else {
      *m = OLESTR("Disk _$S_4005-Backup_$E_ full");
    }
  }
  if (viewsBuilt) {
    static_cast<void>(static_cast<const WCHAR*>(h.simple));
    static_cast<void>(static_cast<const WCHAR*>(h.detail));
  }
}

std::string Narrow(const std::u16string& text) {
  return std::string(text.begin(), text.end());
}

// The holders' texts, error numbers and views, and the results, as text.
std::string Describe(Holders& h, const Result& r) {
  const CKZString& plain = h.plain;
  const CKZString& simple = h.simple;
  const CKZString& detail = h.detail;
  return "hr " + std::to_string(r.hr) + " out " + Narrow(W(r.out)) + " wide " +
         Narrow(W(r.wide)) + " mbs " + M(r.mbs) + " texts " + Narrow(W(plain)) +
         "|" + Narrow(W(simple)) + "|" + Narrow(W(detail)) + " numbers " +
         std::to_string(h.plain.GetErrorNum()) + "/" +
         std::to_string(h.simple.GetErrorNum()) + "/" +
         std::to_string(h.detail.GetErrorNum()) + " views " +
         (SimpleView(h.simple) ? "S" : "-") +
         (DetailView(h.detail) ? "D" : "-");
}

TEST(MsgOutOfMemory, EachAllocationFailing) {
  CKZCatalog catalog(TestCatalogName());
  for (const Op& op : kOps) {
    unsigned most = 0;
    for (bool multibyte : {false, true}) {
      for (bool viewsBuilt : {false, true}) {
        SCOPED_TRACE(std::string(op.name) + (multibyte ? ", multibyte" : "") +
                     (viewsBuilt ? ", views built" : ""));
        // What a failure must leave: the holders as set up, `out` as given.
        std::string asBefore, success;
        {
          Holders h;
          Result none;
          Prepare(h, multibyte, viewsBuilt);
          none.out = OLESTR("kept");
          asBefore = Describe(h, none);
        }
        const unsigned count = ForEachFailingAllocation([&](unsigned n) {
          Holders h;
          Result r;
          const CKZStringBlock* blocks[4];
          {
            NoInjectedFailures setup;
            CKZString warm;
            ASSERT_EQ(S_OK, catalog.GetMsgEx(warm, kIdHello, nullptr));
            Prepare(h, multibyte, viewsBuilt);
            r.out = OLESTR("kept");
          }
          blocks[0] = A::Block(h.plain);
          blocks[1] = A::Block(h.simple);
          blocks[2] = A::Block(h.detail);
          blocks[3] = A::Block(r.out);
          op.run(h, catalog, r);
          const bool fired = InjectedFailureFired();
          SCOPED_TRACE(n);
          const bool failed = r.pointer ? r.wide == nullptr && r.mbs == nullptr
                                        : r.hr == E_OUTOFMEMORY;
          if (fired && failed) {
            EXPECT_EQ(blocks[0], A::Block(h.plain));
            EXPECT_EQ(blocks[1], A::Block(h.simple));
            EXPECT_EQ(blocks[2], A::Block(h.detail));
            EXPECT_EQ(blocks[3], A::Block(r.out));
            r.hr = S_OK;
            EXPECT_EQ(asBefore, Describe(h, r));
            return;
          }
          EXPECT_GE(r.hr, 0);
          const std::string outcome = Describe(h, r);
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
