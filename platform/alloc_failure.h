// Allocation failures on demand, for the tests of what the library does when
// memory runs out.
//
// Test builds only (KZ_TEST_HOOKS). There platform/platform.h sends every
// allocation that library code makes - malloc and realloc, the COM task
// allocator, the BSTR functions - through FailThisAllocation first, and the
// test binary's replacement operator new asks it too. A shipped build has
// none of this: the calls go straight to their allocators.
//
// The state is per thread: a test arms its own thread, and allocations of
// other threads are neither counted nor failed.
#ifndef KZCOMMON_PLATFORM_ALLOC_FAILURE_H_
#define KZCOMMON_PLATFORM_ALLOC_FAILURE_H_

#include <kzcommon/export.h>

namespace platform {

// Asked by every allocation before it is made. Outside a window: false.
// Inside one: counts the allocation and gives true for the one to fail.
KZCOMMON_API bool FailThisAllocation();

// Opens a counting window on this thread: allocations are counted from 1 on,
// and the `failAt`-th fails, that one only (0: none fails).
KZCOMMON_API void OpenAllocationWindow(unsigned long failAt);
// Ends the window, if one is open, and gives the number of allocations it
// counted. The count and whether the failure fired stay readable until the
// next window opens.
KZCOMMON_API unsigned long CloseAllocationWindow();
// Whether the failure armed by the last window has fired.
KZCOMMON_API bool AllocationFailureFired();
// While paused, allocations are neither counted nor failed; gives the state
// before the call, for a caller that restores it.
KZCOMMON_API bool PauseAllocationWindow(bool pause);

}  // namespace platform

#endif  // KZCOMMON_PLATFORM_ALLOC_FAILURE_H_
