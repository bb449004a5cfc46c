// The Windows run-time's number parsing on 16-bit units: wcstol.
#include <cerrno>
#include <cstdint>

#include "platform/platform.h"

namespace {

// The units the run-time skips as white space before a number: its
// iswspace, which takes them from the Unicode tables whatever the locale.
bool IsSpace(WCHAR c) {
  if (c == 0x20 || (c >= 0x09 && c <= 0x0D)) return true;
  if (c < 0xA0) return false;
  return c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) ||
         c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

// The first unit of each run of ten decimal digits beyond ASCII that the
// run-time reads as 0 to 9 (Arabic-Indic, the Indic scripts, Thai, Lao,
// Tibetan, Myanmar, Khmer, Mongolian, full width), in ascending order.
constexpr WCHAR kDigitZeros[] = {0x0660, 0x06F0, 0x0966, 0x09E6, 0x0A66, 0x0AE6,
                                 0x0B66, 0x0C66, 0x0CE6, 0x0D66, 0x0E50, 0x0ED0,
                                 0x0F20, 0x1040, 0x17E0, 0x1810, 0xFF10};

// The unit's value as a digit in any base up to 36, or -1: ASCII digits,
// ASCII letters from 10, and the other decimal digits above.
int DigitValue(WCHAR c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'z') return c - 'a' + 10;
  if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
  for (WCHAR zero : kDigitZeros) {
    if (c < zero) break;
    if (c <= zero + 9) return c - zero;
  }
  return -1;
}

}  // namespace

namespace platform {

// wcstol
//
// PARAMS   text [I] the text; end [O] where parsing stopped, may be null;
//          base [I] 2 to 36, or 0 for a base taken from the text
// RETURNS  the number, clamped to a 32-bit long with errno ERANGE; 0 when
//          the text holds no number, and *end is then `text`
// NOTES    As the Windows run-time: white space (IsSpace above) is skipped,
//          one sign may follow, but no white space behind the sign. Base 16,
//          and base 0 that becomes 16, skip a "0x" or "0X" after any zero
//          digit; base 0 becomes 8 after a zero digit, else 10. Digits are
//          those of DigitValue, each below the base. Digits that overflow
//          are read all the same. A base outside 0 and 2 to 36 gives 0 and
//          errno EINVAL and leaves *end alone. Each case has a row in
//          tests/platform/crt_test.cpp.
LONG wcstol(const WCHAR* text, WCHAR** end, int base) {
  if (base != 0 && (base < 2 || base > 36)) {
    errno = EINVAL;
    return 0;
  }
  const WCHAR* p = text;
  while (IsSpace(*p)) ++p;
  bool negative = false;
  if (*p == '-') {
    negative = true;
    ++p;
  } else if (*p == '+') {
    ++p;
  }
  if ((base == 0 || base == 16) && DigitValue(p[0]) == 0 &&
      (p[1] == 'x' || p[1] == 'X')) {
    base = 16;
    p += 2;
  } else if (base == 0) {
    base = DigitValue(p[0]) == 0 ? 8 : 10;
  }
  // The magnitude, held at 2^32 once it is past anything a long can take.
  constexpr std::uint64_t kCap = std::uint64_t{1} << 32;
  std::uint64_t magnitude = 0;
  const WCHAR* digits = p;
  for (;; ++p) {
    const int digit = DigitValue(*p);
    if (digit < 0 || digit >= base) break;
    magnitude =
        magnitude * static_cast<unsigned>(base) + static_cast<unsigned>(digit);
    if (magnitude > kCap) magnitude = kCap;
  }
  if (end != nullptr) *end = const_cast<WCHAR*>(p == digits ? text : p);
  if (negative) {
    if (magnitude > std::uint64_t{0x80000000u}) {
      errno = ERANGE;
      return INT32_MIN;
    }
    return static_cast<LONG>(-static_cast<std::int64_t>(magnitude));
  }
  if (magnitude > std::uint64_t{0x7FFFFFFFu}) {
    errno = ERANGE;
    return INT32_MAX;
  }
  return static_cast<LONG>(magnitude);
}

}  // namespace platform
