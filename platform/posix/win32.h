// The platform operations that kzcommon needs, on POSIX.
//
// The public names (types, result codes, module, BSTR, task memory, GUID
// functions) come from <kzcommon/wintypes.h>. This header adds what only the
// library uses: the critical section, DisableThreadLibraryCalls, and the
// run-time's locale operations on 16-bit units, with the contracts of the
// Windows run-time that they stand for.
#ifndef KZCOMMON_PLATFORM_POSIX_WIN32_H_
#define KZCOMMON_PLATFORM_POSIX_WIN32_H_

#include <kzcommon/wintypes.h>

#include <cstdarg>
#include <cstddef>
#include <pthread.h>

// A recursive lock, as a Windows critical section is.
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
};
void InitializeCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);

// The calling thread's last error, as on Windows. Here only LoadLibraryW sets
// it, on failure: ERROR_NOT_ENOUGH_MEMORY when memory ran out, else
// ERROR_MOD_NOT_FOUND. Defined in module.cpp.
constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
constexpr DWORD ERROR_OUTOFMEMORY = 14;
constexpr DWORD ERROR_MOD_NOT_FOUND = 126;
DWORD GetLastError();
void SetLastError(DWORD code);

// Thread notifications do not exist here; the call is kept for symmetry.
inline BOOL DisableThreadLibraryCalls(HMODULE) { return TRUE; }

namespace platform {

// mbstowcs/wcstombs of the Windows run-time with 16-bit units. In the C
// locale every byte 0x01-0xFF is the unit of the same value (and only those
// units convert back); in a UTF-8 locale characters above U+FFFF become
// surrogate pairs. Text that the locale cannot convert gives (size_t)-1. A
// null dst only counts, and `n` is then ignored. Otherwise `n` limits the
// output: a character that would not fit whole stops the conversion without
// failing it, and a terminator is written only when the whole text and it
// fit. Details beside
// the definitions in conversions.cpp.
std::size_t mbstowcs(WCHAR* dst, const char* src, std::size_t n);
std::size_t wcstombs(char* dst, const WCHAR* src, std::size_t n);

// Case mapping of one 16-bit unit by the current locale: ASCII only in the C
// locale, the Windows run-time's table of 16-bit units in any other.
WCHAR towlower(WCHAR c);
WCHAR towupper(WCHAR c);

// Comparison after folding to lower case by the locale, as the Windows
// run-time does; _wcsicmp folds 16-bit units with towlower. Only the sign of
// the result means anything; 0x7FFFFFFF for a null argument. In the C locale
// _stricmp compares bytes as signed chars, as the Windows build does.
int _stricmp(const char* a, const char* b);
int _wcsicmp(const WCHAR* a, const WCHAR* b);

// The Windows run-time's formatters: at most `limit` characters; the length
// when the text fits (no terminator when it fills `limit` exactly); negative
// when it does not fit, or when the format is rejected or an argument cannot
// be converted. In the 8-bit formatter %s is 8-bit text and %S 16-bit text;
// in the 16-bit formatter the reverse. `args` is not consumed for the caller.
int _vsnprintf(char* buffer, std::size_t limit, const char* format,
               va_list args);
int _vsnwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format,
                va_list args);

// The length the formatters would produce with unlimited room, or negative
// when they would fail for another reason than room: a rejected format or an
// argument that cannot be converted. As the run-time's _vscprintf.
int _vscprintf(const char* format, va_list args);
int _vscwprintf(const WCHAR* format, va_list args);

// wcstol of the Windows run-time: its white space, its decimal digits beyond
// ASCII, and a 32-bit long (out-of-range values clamp, errno ERANGE).
// Details beside the definition in crt_number.cpp.
LONG wcstol(const WCHAR* text, WCHAR** end, int base);

}  // namespace platform

#endif  // KZCOMMON_PLATFORM_POSIX_WIN32_H_
