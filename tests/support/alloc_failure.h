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

// Runs op(0) once with no failure, counting the allocations made from op's
// start until it asks InjectedFailureFired() or returns: that is the count.
// Then runs op(n) for each n = 1..count with the n-th of those allocations
// failing, that one only; the later ones succeed. op checks the outcome
// itself. Returns the count: tests assert that it is > 0, so that a hook that
// was silently left out fails. A run in which the n-th allocation never came
// (an operation that allocates differently each time) is a test failure.
template <typename Op>
unsigned ForEachFailingAllocation(Op op) {
  // Closes the run's window however op leaves.
  struct Window {
    explicit Window(unsigned n) { platform::OpenAllocationWindow(n); }
    ~Window() { platform::CloseAllocationWindow(); }
  };
  unsigned count = 0;
  for (unsigned n = 0; n <= count; ++n) {
    unsigned counted = 0;
    {
      Window window(n);
      op(n);
      counted = static_cast<unsigned>(platform::CloseAllocationWindow());
    }
    if (n == 0) {
      count = counted;
    } else if (!platform::AllocationFailureFired()) {
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
