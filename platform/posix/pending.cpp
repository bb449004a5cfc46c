// Placeholders until the POSIX formatter and the module loader land: each
// definition here is removed by the change that implements it for real.
#include "platform/platform.h"

HMODULE LoadLibraryW(LPCWSTR) { return nullptr; }
BOOL FreeLibrary(HMODULE) { return FALSE; }
int LoadStringW(HINSTANCE, UINT, LPWSTR buffer, int limit) {
  if (buffer != nullptr && limit > 0) buffer[0] = 0;
  return 0;
}

namespace platform {
int _vsnprintf(char*, std::size_t, const char*, va_list) { return -1; }
int _vsnwprintf(WCHAR*, std::size_t, const WCHAR*, va_list) { return -1; }
int _vscprintf(const char*, va_list) { return -1; }
int _vscwprintf(const WCHAR*, va_list) { return -1; }
}  // namespace platform
