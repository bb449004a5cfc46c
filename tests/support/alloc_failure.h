// Each allocation of an operation made to fail in turn: malloc, realloc, the
// task allocator and BSTRs (through platform/alloc_failure.h), and every
// operator new of the test binary.
#ifndef KZCOMMON_TESTS_SUPPORT_ALLOC_FAILURE_H_
#define KZCOMMON_TESTS_SUPPORT_ALLOC_FAILURE_H_

#include <gtest/gtest.h>

#include "platform/alloc_failure.h"

namespace kztest {

// op(0) counts the allocations until it asks InjectedFailureFired(); then
// op(n) runs with the n-th failing, for n = 1..count, and checks the outcome.
// Returns the count (tests assert > 0: a hook left out fails).
template <typename Op>
unsigned ForEachFailingAllocation(Op op) {
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

// Whether the failure fired in this run; what op does after is not counted.
inline bool InjectedFailureFired() {
  platform::CloseAllocationWindow();
  return platform::AllocationFailureFired();
}

// Allocations in this scope (op's fixtures) are neither counted nor failed.
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
