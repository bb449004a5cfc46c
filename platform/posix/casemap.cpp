// Case mapping of 16-bit units and the case-folding comparisons.
#include <cstring>
#include <cwctype>
#include <langinfo.h>

#include "platform/platform.h"

namespace {

bool CLocale() {
  return MB_CUR_MAX == 1 &&
         std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0;
}

}  // namespace

namespace platform {

WCHAR towlower(WCHAR c) {
  if (c >= 'A' && c <= 'Z') return static_cast<WCHAR>(c + 32);
  if (c < 0x80 || CLocale()) return c;
  return static_cast<WCHAR>(std::towlower(static_cast<wint_t>(c)));
}

WCHAR towupper(WCHAR c) {
  if (c >= 'a' && c <= 'z') return static_cast<WCHAR>(c - 32);
  if (c < 0x80 || CLocale()) return c;
  return static_cast<WCHAR>(std::towupper(static_cast<wint_t>(c)));
}

int _stricmp(const char* a, const char* b) {
  for (;; ++a, ++b) {
    int ca = static_cast<unsigned char>(*a);
    int cb = static_cast<unsigned char>(*b);
    if (ca >= 'A' && ca <= 'Z') ca += 32;
    if (cb >= 'A' && cb <= 'Z') cb += 32;
    if (ca != cb || ca == 0) return ca - cb;
  }
}

int _wcsicmp(const WCHAR* a, const WCHAR* b) {
  for (;; ++a, ++b) {
    int ca = towlower(*a);
    int cb = towlower(*b);
    if (ca != cb || ca == 0) return ca - cb;
  }
}

}  // namespace platform
