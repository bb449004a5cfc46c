// Faults: an allocator that bypasses the window, a count that takes in setup
// or what follows the failure, a failure that sticks. Each row's operation
// makes one allocation (the first two: record and buffer).
#include "support/alloc_failure.h"

#include <gtest/gtest.h>

#include <new>
#include <vector>

#include "strings/string_test_util.h"

namespace {

// 0 empty, 1 "ab" in a library block, 2 to 4 in a CRT, OLE or BSTR buffer.
CKZString Start(int kind) {
  CKZString s;
  if (kind == 1) s = OLESTR("ab");
  if (kind == 2) s.Attach_CRT(kztest::MallocWide(OLESTR("ab")));
  if (kind == 3) s.Attach_OLE(kztest::OleWide(OLESTR("ab")));
  if (kind == 4) s.Attach_BSTR(kztest::Bstr(OLESTR("ab")));
  return s;
}

const CKZString kMore(OLESTR("cd"));
bool Grow(CKZString& s) {
  s += kMore;
  return s.Length() == 4;
}

// An operation whose first allocation is of the row's kind.
const struct {
  const char* name;
  int setup;
  bool (*run)(CKZString& s);
} kRows[] = {
    {"malloc: a new block's record", 0,
     [](CKZString& s) {
       s = OLESTR("x");  // the record, then the buffer
       return s == OLESTR("x");
     }},
    {"realloc: growth of a CRT buffer", 2, Grow},
    {"CoTaskMemAlloc: GetBufferCopy", 1,
     [](CKZString& s) {
       WCHAR* copy = nullptr;
       s.GetBufferCopy(&copy);
       CoTaskMemFree(copy);
       return copy != nullptr;
     }},
    {"CoTaskMemRealloc: growth of an OLE buffer", 3, Grow},
    {"SysAllocString: AllocBSTR", 1,
     [](CKZString& s) {
       BSTR copy = s.AllocBSTR();
       SysFreeString(copy);
       return copy != nullptr;
     }},
    {"SysReAllocStringLen: growth of a BSTR", 4, Grow},
    {"operator new of the test binary", 0,
     [](CKZString&) {
       try {
         std::vector<int>().reserve(8);
         return true;
       } catch (const std::bad_alloc&) {
         return false;
       }
     }},
};

TEST(AllocationFailure, EachAllocatorReachesTheWindow) {
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    const unsigned count = kztest::ForEachFailingAllocation([&](unsigned n) {
      CKZString s;
      {
        kztest::NoInjectedFailures setup;
        s = Start(row.setup);
      }
      const bool got = row.run(s);
      EXPECT_EQ(n != 0, kztest::InjectedFailureFired());
      EXPECT_EQ(n == 0, got);
      const CKZString after(OLESTR("not counted"));
      EXPECT_NE(nullptr, static_cast<const WCHAR*>(after));
    });
    EXPECT_EQ(&row == kRows ? 2u : 1u, count);
  }
}

}  // namespace
