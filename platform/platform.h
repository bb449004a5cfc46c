// The one door from the library to the platform.
//
// Library code includes only this header and calls the platform operations by
// their own names: the component functions (CoTaskMemRealloc, SysAllocString,
// LoadStringW, ...) in the global namespace as on Windows, and the run-time's
// locale operations on 16-bit units in namespace `platform`, named after the
// run-time functions whose contracts they keep. On Windows these forward to
// the real run-time; elsewhere platform/posix/ implements them.
#ifndef KZCOMMON_PLATFORM_PLATFORM_H_
#define KZCOMMON_PLATFORM_PLATFORM_H_

#include <kzcommon/wintypes.h>

#include <cstdarg>
#include <cstddef>
#include <cstdlib>

#if defined(_WIN32)
#include "platform/windows/crt.h"
#else
#include "platform/posix/win32.h"
#endif

#if defined(KZ_TEST_HOOKS)
#include "platform/alloc_failure.h"
#endif

namespace platform {

// The C heap of library code: malloc and realloc under the run-time's
// contract. Free goes straight to std::free. The two builds' forms live in
// namespaces of their own, so that test code compiled without the hooks,
// linked with library code compiled with them, keeps the two apart.
#if defined(KZ_TEST_HOOKS)
// Test builds ask the failure window first (platform/alloc_failure.h), and so
// do the COM task allocator and the BSTR functions, through the macros below.
inline namespace checked {
inline void* malloc(std::size_t bytes) {
  return FailThisAllocation() ? nullptr : std::malloc(bytes);
}
inline void* realloc(void* block, std::size_t bytes) {
  return FailThisAllocation() ? nullptr : std::realloc(block, bytes);
}
inline LPVOID CheckedCoTaskMemAlloc(SIZE_T size) {
  return FailThisAllocation() ? nullptr : CoTaskMemAlloc(size);
}
// A resize to 0 frees and allocates nothing.
inline LPVOID CheckedCoTaskMemRealloc(LPVOID block, SIZE_T size) {
  if ((size != 0 || block == nullptr) && FailThisAllocation()) return nullptr;
  return CoTaskMemRealloc(block, size);
}
// A null text allocates nothing.
inline BSTR CheckedSysAllocString(const OLECHAR* text) {
  if (text != nullptr && FailThisAllocation()) return nullptr;
  return SysAllocString(text);
}
inline BSTR CheckedSysAllocStringLen(const OLECHAR* text, UINT length) {
  return FailThisAllocation() ? nullptr : SysAllocStringLen(text, length);
}
// As on failure of the real call: FALSE, and *bstr unchanged.
inline INT CheckedSysReAllocStringLen(BSTR* bstr, const OLECHAR* text,
                                      UINT length) {
  return FailThisAllocation() ? FALSE : SysReAllocStringLen(bstr, text, length);
}
}  // namespace checked
#else
inline namespace unchecked {
inline void* malloc(std::size_t bytes) { return std::malloc(bytes); }
inline void* realloc(void* block, std::size_t bytes) {
  return std::realloc(block, bytes);
}
}  // namespace unchecked
#endif

// Multibyte to wide and back when the run-time refuses the text: never fails.
// A byte that starts no valid sequence of the locale becomes U+FFFD, one unit
// for each such byte; a unit that the locale cannot represent (a lone
// surrogate in UTF-8, a unit above 0xFF in the C locale, one without a byte
// sequence in code page 932) becomes '?', one byte for each, never a
// look-alike. So a form is never longer than the limits the block gives:
// units <= bytes for the wide form, bytes <= units * MB_CUR_MAX for the other.
// Stop at the first zero or at `limit`, before a character (or surrogate
// pair) that would not fit whole; return the count, no terminator written. A
// null dst counts the whole text and ignores `limit`; a null src gives 0.
std::size_t MbsToWideReplacing(WCHAR* dst, const char* src, std::size_t limit);
std::size_t WideToMbsReplacing(char* dst, const WCHAR* src, std::size_t limit);

}  // namespace platform

// Library code calls the allocators by their own names; in a test build these
// names lead to the checked forms above. The files that define the functions
// on POSIX set KZ_DEFINING_ALLOCATORS, so that their definitions keep their
// names and their calls among themselves count once, at the library's call.
// Test code that includes this header allocates its fixtures unchecked.
#if defined(KZ_TEST_HOOKS) && defined(KZCOMMON_BUILDING) && \
    !defined(KZ_DEFINING_ALLOCATORS)
#define CoTaskMemAlloc(size) ::platform::CheckedCoTaskMemAlloc(size)
#define CoTaskMemRealloc(block, size) \
  ::platform::CheckedCoTaskMemRealloc(block, size)
#define SysAllocString(text) ::platform::CheckedSysAllocString(text)
#define SysAllocStringLen(text, length) \
  ::platform::CheckedSysAllocStringLen(text, length)
#define SysReAllocStringLen(bstr, text, length) \
  ::platform::CheckedSysReAllocStringLen(bstr, text, length)
#endif

#endif  // KZCOMMON_PLATFORM_PLATFORM_H_
