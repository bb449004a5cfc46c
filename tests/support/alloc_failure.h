// Allocation failures for the tests: each allocation of an operation made to
// fail in turn, so that every out-of-memory path runs once.
//
// Covers what the library allocates through malloc and realloc, the COM task
// allocator and the BSTR functions (routed through the failure window in test
// builds: platform/alloc_failure.h), and every operator new of the test
// binary, which the library's own code shares when it is linked in.
//
//   const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
//     CKZString s;
//     {
//       kztest::NoInjectedFailures setup;
//       s = fixture;              // made before the window counts
//     }
//     s += OLESTR("tail");        // counted; one of its allocations fails
//     if (kztest::InjectedFailureFired()) { /* the failure outcome */ }
//     else { /* the full result */ }
//   });
//   EXPECT_GT(count, 0u);
#ifndef KZCOMMON_TESTS_SUPPORT_ALLOC_FAILURE_H_
#define KZCOMMON_TESTS_SUPPORT_ALLOC_FAILURE_H_

#include <gtest/gtest.h>

#include "platform/alloc_failure.h"

namespace kztest {

namespace detail {

// One run's window, closed however op leaves.
class AllocationWindow {
 public:
  explicit AllocationWindow(unsigned failAt) {
    platform::OpenAllocationWindow(failAt);
  }
  ~AllocationWindow() { platform::CloseAllocationWindow(); }
  AllocationWindow(const AllocationWindow&) = delete;
  AllocationWindow& operator=(const AllocationWindow&) = delete;
  unsigned Close() {
    return static_cast<unsigned>(platform::CloseAllocationWindow());
  }
};

}  // namespace detail

// Runs op(0) once with no failure, counting the allocations made from op's
// start until it asks InjectedFailureFired() or returns: that is the count.
// Then runs op(n) for each n = 1..count with the n-th of those allocations
// failing, that one only; the later ones succeed. op checks the outcome
// itself. Returns the count: tests assert that it is > 0, so that a hook that
// was silently left out fails. A run in which the n-th allocation never came
// (an operation that allocates differently each time) is a test failure.
template <typename Op>
unsigned ForEachFailingAllocation(Op op) {
  unsigned count = 0;
  {
    detail::AllocationWindow window(0);
    op(0u);
    count = window.Close();
  }
  for (unsigned n = 1; n <= count; ++n) {
    bool fired = false;
    {
      detail::AllocationWindow window(n);
      op(n);
      window.Close();
      fired = platform::AllocationFailureFired();
    }
    if (!fired) {
      ADD_FAILURE() << "allocation " << n << " of " << count << " never came";
    }
  }
  return count;
}

// True if the armed failure has fired during the current run of op. Also
// ends that run's window: what op does afterwards - its checks, which may
// build forms or format messages - allocates freely and is not counted.
inline bool InjectedFailureFired() {
  platform::CloseAllocationWindow();
  return platform::AllocationFailureFired();
}

// Allocations within this scope are neither counted nor failed: for the
// fixtures that op makes before the operation it tests.
class NoInjectedFailures {
 public:
  NoInjectedFailures() : was_(platform::PauseAllocationWindow(true)) {}
  ~NoInjectedFailures() { platform::PauseAllocationWindow(was_); }
  NoInjectedFailures(const NoInjectedFailures&) = delete;
  NoInjectedFailures& operator=(const NoInjectedFailures&) = delete;

 private:
  bool was_;
};

}  // namespace kztest

#endif  // KZCOMMON_TESTS_SUPPORT_ALLOC_FAILURE_H_
