// Placeholders until the POSIX module loader lands: each
// definition here is removed by the change that implements it for real.
#include "platform/platform.h"

HMODULE LoadLibraryW(LPCWSTR) { return nullptr; }
BOOL FreeLibrary(HMODULE) { return FALSE; }
int LoadStringW(HINSTANCE, UINT, LPWSTR buffer, int limit) {
  if (buffer != nullptr && limit > 0) buffer[0] = 0;
  return 0;
}
