// Placeholders until the POSIX formatter and the module loader land: each
// definition here is removed by the change that implements it for real.
#include "platform/platform.h"

namespace platform {
int _vsnprintf(char*, std::size_t, const char*, va_list) { return -1; }
int _vsnwprintf(WCHAR*, std::size_t, const WCHAR*, va_list) { return -1; }
int _vscprintf(const char*, va_list) { return -1; }
int _vscwprintf(const WCHAR*, va_list) { return -1; }
}  // namespace platform
