// The replacing conversions on Windows: the run-time's own one-character
// conversions, with U+FFFD for each byte and '?' for each unit it refuses.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace platform {

std::size_t MbsToWideReplacing(WCHAR* dst, const char* src, std::size_t limit) {
  std::size_t count = 0;
  while (*src != 0 && count < limit) {
    wchar_t unit;
    int used = ::mbtowc(&unit, src, MB_CUR_MAX);
    if (used <= 0) {
      unit = 0xFFFD;
      used = 1;
    }
    dst[count++] = unit;
    src += used;
  }
  return count;
}

std::size_t WideToMbsReplacing(char* dst, const WCHAR* src, std::size_t limit) {
  std::size_t count = 0;
  char bytes[MB_LEN_MAX];
  for (; *src != 0; ++src) {
    int n = ::wctomb(bytes, *src);
    if (n <= 0) {
      bytes[0] = '?';
      n = 1;
    }
    if (count + static_cast<std::size_t>(n) > limit) break;
    std::memcpy(dst + count, bytes, static_cast<std::size_t>(n));
    count += static_cast<std::size_t>(n);
  }
  return count;
}

}  // namespace platform
