// The replacing conversions on Windows, built on the run-time's own strict
// conversions one character at a time. mbtowc and wctomb would be shorter but
// they don't refuse what they should: under code page 932 they turn a bad
// trail byte into U+30FB (eating the byte after a lead byte) and U+00E9 into
// 'e', where the contract is U+FFFD per bad byte and '?' per bad unit.
#include <climits>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace {

constexpr std::size_t kFailed = static_cast<std::size_t>(-1);
constexpr int kMaxCharBytes = MB_LEN_MAX;

bool IsHighSurrogate(WCHAR u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLowSurrogate(WCHAR u) { return u >= 0xDC00 && u <= 0xDFFF; }

// The character at `src`: its shortest prefix that the run-time converts
// (the encodings of the run-time's code pages are prefix-free). Returns the
// bytes used and stores its units, or returns 0 for a byte that starts no
// character.
int DecodeOne(const char* src, WCHAR (&units)[2], std::size_t& unitCount) {
  char chunk[kMaxCharBytes + 1];
  int max = static_cast<int>(MB_CUR_MAX);
  if (max > kMaxCharBytes) max = kMaxCharBytes;
  for (int length = 1; length <= max && src[length - 1] != 0; ++length) {
    std::memcpy(chunk, src, static_cast<std::size_t>(length));
    chunk[length] = 0;
    std::size_t n = ::mbstowcs(units, chunk, 2);
    if (n != kFailed && n > 0) {
      unitCount = n;
      return length;
    }
  }
  return 0;
}

// The bytes of one unit, or of a surrogate pair where the run-time takes the
// pair as one character; 0 if the run-time refuses it.
int EncodeOne(const WCHAR* src, char (&bytes)[kMaxCharBytes],
              std::size_t& used) {
  WCHAR chunk[3] = {src[0], 0, 0};
  used = 1;
  if (IsHighSurrogate(src[0]) && IsLowSurrogate(src[1])) {
    chunk[1] = src[1];
    std::size_t n = ::wcstombs(bytes, chunk, sizeof bytes);
    if (n != kFailed && n > 0) {
      used = 2;
      return static_cast<int>(n);
    }
    chunk[1] = 0;
  }
  std::size_t n = ::wcstombs(bytes, chunk, sizeof bytes);
  return n == kFailed ? 0 : static_cast<int>(n);
}

}  // namespace

namespace platform {

std::size_t MbsToWideReplacing(WCHAR* dst, const char* src, std::size_t limit) {
  if (src == nullptr) return 0;
  std::size_t count = 0;
  while (*src != 0) {
    if (dst != nullptr && count == limit) break;
    WCHAR units[2];
    std::size_t unitCount = 1;
    int used = DecodeOne(src, units, unitCount);
    if (used == 0) {
      units[0] = 0xFFFD;
      unitCount = 1;
      used = 1;
    }
    if (dst != nullptr) {
      // Both halves of a pair or neither.
      if (count + unitCount > limit) break;
      std::memcpy(dst + count, units, unitCount * sizeof(WCHAR));
    }
    count += unitCount;
    src += used;
  }
  return count;
}

std::size_t WideToMbsReplacing(char* dst, const WCHAR* src, std::size_t limit) {
  if (src == nullptr) return 0;
  std::size_t count = 0;
  while (*src != 0) {
    if (dst != nullptr && count == limit) break;
    char bytes[kMaxCharBytes];
    std::size_t used;
    int n = EncodeOne(src, bytes, used);
    if (n == 0) {
      bytes[0] = '?';
      n = 1;
    }
    if (dst != nullptr) {
      // Whole characters only: stop where the next one does not fit.
      if (count + static_cast<std::size_t>(n) > limit) break;
      std::memcpy(dst + count, bytes, static_cast<std::size_t>(n));
    }
    count += static_cast<std::size_t>(n);
    src += used;
  }
  return count;
}

}  // namespace platform
