// The Windows run-time under the names the library uses: wchar_t is the
// 16-bit WCHAR here, so every operation is the run-time's own.
#ifndef KZCOMMON_PLATFORM_WINDOWS_CRT_H_
#define KZCOMMON_PLATFORM_WINDOWS_CRT_H_

#include <kzcommon/export.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

// Platform helpers that the library implements itself are exported so that
// the platform tests can call them; the run-time forwards below are inline.
#define KZ_PLATFORM_API KZCOMMON_API

namespace platform {

inline std::size_t mbstowcs(WCHAR* dst, const char* src, std::size_t n) {
  return ::mbstowcs(dst, src, n);
}
inline std::size_t wcstombs(char* dst, const WCHAR* src, std::size_t n) {
  return ::wcstombs(dst, src, n);
}
inline WCHAR towlower(WCHAR c) { return static_cast<WCHAR>(::towlower(c)); }
inline WCHAR towupper(WCHAR c) { return static_cast<WCHAR>(::towupper(c)); }
inline int _stricmp(const char* a, const char* b) { return ::_stricmp(a, b); }
inline int _wcsicmp(const WCHAR* a, const WCHAR* b) { return ::_wcsicmp(a, b); }
inline int _vsnprintf(char* buffer, std::size_t limit, const char* format,
                      va_list args) {
  return ::_vsnprintf(buffer, limit, format, args);
}
inline int _vsnwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format,
                       va_list args) {
  return ::_vsnwprintf(buffer, limit, format, args);
}

inline int _vscprintf(const char* format, va_list args) {
  return ::_vscprintf(format, args);
}
inline int _vscwprintf(const WCHAR* format, va_list args) {
  return ::_vscwprintf(format, args);
}

}  // namespace platform

#endif  // KZCOMMON_PLATFORM_WINDOWS_CRT_H_
