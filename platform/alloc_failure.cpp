// The allocation-failure window of the test builds; nothing in a shipped one.
#if defined(KZ_TEST_HOOKS)

#include "platform/alloc_failure.h"

namespace {

struct Window {
  bool open;
  bool paused;
  bool fired;
  unsigned long failAt;
  unsigned long counted;
};

// Constant-initialised, so that an allocation made before any test runs (a
// static initialiser's operator new) finds a closed window.
thread_local Window t_window = {false, false, false, 0, 0};

}  // namespace

namespace platform {

bool FailThisAllocation() {
  Window& w = t_window;
  if (!w.open || w.paused) return false;
  if (++w.counted != w.failAt) return false;
  w.fired = true;
  return true;
}

void OpenAllocationWindow(unsigned long failAt) {
  t_window = Window{true, false, false, failAt, 0};
}

unsigned long CloseAllocationWindow() {
  t_window.open = false;
  return t_window.counted;
}

bool AllocationFailureFired() { return t_window.fired; }

bool PauseAllocationWindow(bool pause) {
  const bool was = t_window.paused;
  t_window.paused = pause;
  return was;
}

}  // namespace platform

#endif  // KZ_TEST_HOOKS
