// The Windows run-time under the names the library uses: wchar_t is the
// 16-bit WCHAR here, so every operation is the run-time's own.
#ifndef KZCOMMON_PLATFORM_WINDOWS_CRT_H_
#define KZCOMMON_PLATFORM_WINDOWS_CRT_H_

#include <kzcommon/wintypes.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>

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
// msvcrt's formatters keep the contract but for one case: a %c or %C that
// fails, for want of room or because the locale can't convert it, is dropped
// silently, and the count then leaves out whatever it cut or the padding it
// wrote. Such a count is either the limit itself, or short of the limit with
// no terminator behind it (msvcrt terminates a text that fits); the counting
// formatter tells an exact fit from a cut one.
template <typename Unit, typename Formatter, typename Counter>
int FormatChecked(Formatter format, Counter count, Unit* buffer,
                  std::size_t limit, const Unit* text, va_list args) {
  va_list pass;
  va_copy(pass, args);
  int written = format(buffer, limit, text, pass);
  va_end(pass);
  if (written < 0) return -1;
  if (buffer == nullptr) return written;
  if (static_cast<std::size_t>(written) < limit) {
    return buffer[written] == 0 ? written : -1;
  }
  va_copy(pass, args);
  int needed = count(text, pass);
  va_end(pass);
  return needed == written ? written : -1;
}

inline int _vsnprintf(char* buffer, std::size_t limit, const char* format,
                      va_list args) {
  return FormatChecked(::_vsnprintf, ::_vscprintf, buffer, limit, format, args);
}
inline int _vsnwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format,
                       va_list args) {
  return FormatChecked(::_vsnwprintf, ::_vscwprintf, buffer, limit, format,
                       args);
}

inline LONG wcstol(const WCHAR* text, WCHAR** end, int base) {
  return ::wcstol(text, end, base);
}

inline int _vscprintf(const char* format, va_list args) {
  return ::_vscprintf(format, args);
}
inline int _vscwprintf(const WCHAR* format, va_list args) {
  return ::_vscwprintf(format, args);
}

}  // namespace platform

#endif  // KZCOMMON_PLATFORM_WINDOWS_CRT_H_
