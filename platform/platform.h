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

namespace platform {

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

#endif  // KZCOMMON_PLATFORM_PLATFORM_H_
