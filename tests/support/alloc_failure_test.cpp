// The allocation-failure facility itself: each allocator that the library
// uses reaches the window, on both builds, and a failure comes back as that
// allocator's own failure. Fault caught: an allocator whose calls bypass the
// window (its failure paths would then never be tried), a count that
// includes what a test does outside the operation, a failure that sticks.
#include "support/alloc_failure.h"

#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "strings/string_test_util.h"

namespace {

// The appended operand, made before any window opens.
const CKZString kMore(OLESTR("cd"));

// An operation whose first allocation is of one kind; true if it got it.
struct Row {
  const char* name;
  CKZString (*setup)();
  bool (*run)(CKZString& s);
};

const Row kRows[] = {
    {"malloc: a new block's record", [] { return CKZString(); },
     [](CKZString& s) {
       s = OLESTR("x");  // the record, then the buffer
       return s == OLESTR("x");
     }},
    {"realloc: growth of a CRT buffer",
     [] {
       CKZString s;
       s.Attach_CRT(kztest::MallocWide(OLESTR("ab")));
       return s;
     },
     [](CKZString& s) {
       s += kMore;
       return s.Length() == 4;
     }},
    {"CoTaskMemAlloc: GetBufferCopy", [] { return CKZString(OLESTR("ab")); },
     [](CKZString& s) {
       WCHAR* copy = nullptr;
       s.GetBufferCopy(&copy);
       CoTaskMemFree(copy);
       return copy != nullptr;
     }},
    {"CoTaskMemRealloc: growth of an OLE buffer",
     [] {
       CKZString s;
       s.Attach_OLE(kztest::OleWide(OLESTR("ab")));
       return s;
     },
     [](CKZString& s) {
       s += kMore;
       return s.Length() == 4;
     }},
    {"SysAllocString: AllocBSTR", [] { return CKZString(OLESTR("ab")); },
     [](CKZString& s) {
       BSTR copy = s.AllocBSTR();
       SysFreeString(copy);
       return copy != nullptr;
     }},
    {"SysReAllocStringLen: growth of a BSTR",
     [] {
       CKZString s;
       s.Attach_BSTR(kztest::Bstr(OLESTR("ab")));
       return s;
     },
     [](CKZString& s) {
       s += kMore;
       return s.Length() == 4;
     }},
    {"operator new of the test binary", [] { return CKZString(); },
     [](CKZString&) {
       try {
         std::vector<int> v;
         v.reserve(8);
         return true;
       } catch (const std::bad_alloc&) {
         return false;
       }
     }},
};

TEST(AllocationFailure, EachAllocatorReachesTheWindow) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    const unsigned count = kztest::ForEachFailingAllocation([&](unsigned n) {
      CKZString s;
      {
        kztest::NoInjectedFailures setup;
        s = row.setup();
      }
      const bool got = row.run(s);
      const bool fired = kztest::InjectedFailureFired();
      // The first allocation is the one of the row's kind; a later one of
      // the same operation (a block's buffer after its record) fails it too.
      EXPECT_EQ(n != 0, fired);
      EXPECT_EQ(n == 0, got);
    });
    EXPECT_GE(count, 1u);
  }
}

// Outside the operation nothing counts: what the scope does, what op does
// after asking, and what comes after a run.
TEST(AllocationFailure, OnlyTheOperationCounts) {
  const unsigned count = kztest::ForEachFailingAllocation([](unsigned) {
    {
      kztest::NoInjectedFailures setup;
      const CKZString unseen(OLESTR("not counted"));
    }
    const CKZString seen(OLESTR("counted"));  // record and buffer
    static_cast<void>(kztest::InjectedFailureFired());
    const CKZString after(OLESTR("not counted either"));
    EXPECT_NE(nullptr, static_cast<const WCHAR*>(after));
  });
  EXPECT_EQ(2u, count);
  const CKZString later(OLESTR("after the runs"));
  EXPECT_NE(nullptr, static_cast<const WCHAR*>(later));
}

}  // namespace
