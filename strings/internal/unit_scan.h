// Scans for the block's copies and conversions, several units at a time.
// Searches and comparisons have theirs in strings/internal/wide_scan.h.
#ifndef KZCOMMON_STRINGS_INTERNAL_UNIT_SCAN_H_
#define KZCOMMON_STRINGS_INTERNAL_UNIT_SCAN_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/platform.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kzscan {

// Length of a zero-terminated text, or `limit` if no zero comes before it,
// for text whose readable size is unknown. The vector loads are aligned: one
// 16-byte line at a time up to a 64-byte boundary, then 64 bytes at a time,
// so no load crosses into a page the text does not touch. They may read past
// the terminator within its line or block, which AddressSanitizer would
// report, so it is told not to look.
#if defined(__SSE2__) && (defined(__GNUC__) || defined(__clang__))
namespace detail {
__attribute__((no_sanitize_address)) inline unsigned ZeroUnits(
    const __m128i* line) {
  return static_cast<unsigned>(_mm_movemask_epi8(
      _mm_cmpeq_epi16(_mm_load_si128(line), _mm_setzero_si128())));
}
// Units before the first zero unit that `mask` marks, counted from `at`,
// and at most `limit`.
inline std::size_t ZeroAt(std::size_t at, unsigned mask, std::size_t limit) {
  at += static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
  return at < limit ? at : limit;
}
}  // namespace detail

__attribute__((no_sanitize_address)) inline std::size_t BoundedLength(
    const WCHAR* text, std::size_t limit) {
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(text);
  if (address % sizeof(WCHAR) != 0) {
    std::size_t n = 0;
    while (n < limit && text[n] != 0) ++n;
    return n;
  }
  const std::uintptr_t start = address & ~static_cast<std::uintptr_t>(15);
  const __m128i* p = reinterpret_cast<const __m128i*>(start);
  // Lanes before the text's start are masked off in the first line.
  unsigned mask = detail::ZeroUnits(p) >> (address - start);
  if (mask != 0) return detail::ZeroAt(0, mask, limit);
  // Units of the text before line p.
  std::size_t scanned = (16 - (address - start)) / sizeof(WCHAR);
  ++p;
  for (; scanned < limit && reinterpret_cast<std::uintptr_t>(p) % 64 != 0;
       ++p, scanned += 8) {
    mask = detail::ZeroUnits(p);
    if (mask != 0) return detail::ZeroAt(scanned, mask, limit);
  }
  const __m128i zero = _mm_setzero_si128();
  for (; scanned < limit; p += 4, scanned += 32) {
    const __m128i any = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi16(_mm_load_si128(p), zero),
                     _mm_cmpeq_epi16(_mm_load_si128(p + 1), zero)),
        _mm_or_si128(_mm_cmpeq_epi16(_mm_load_si128(p + 2), zero),
                     _mm_cmpeq_epi16(_mm_load_si128(p + 3), zero)));
    if (_mm_movemask_epi8(any) == 0) continue;
    for (std::size_t line = 0;; ++line) {
      mask = detail::ZeroUnits(p + line);
      if (mask != 0) return detail::ZeroAt(scanned + 8 * line, mask, limit);
    }
  }
  return limit;
}
#else
inline std::size_t BoundedLength(const WCHAR* text, std::size_t limit) {
  std::size_t n = 0;
  while (n < limit && text[n] != 0) ++n;
  return n;
}
#endif

// Copies the leading units of text[0, count) that are ASCII and not zero
// into bytes of the same value; returns how many it copied. Every supported
// locale encodes ASCII as itself, so this is the common head of both
// conversions.
inline std::size_t NarrowAsciiPrefix(char* out, const WCHAR* text,
                                     std::size_t count) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF80));
  const __m128i zero = _mm_setzero_si128();
  for (; i + 8 <= count; i += 8) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    // ASCII units have no bit above 0x7F; a zero unit ends the text.
    __m128i ascii = _mm_cmpeq_epi16(_mm_and_si128(v, high), zero);
    __m128i ends = _mm_cmpeq_epi16(v, zero);
    if (_mm_movemask_epi8(ascii) != 0xFFFF || _mm_movemask_epi8(ends) != 0) {
      break;
    }
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i),
                     _mm_packus_epi16(v, v));
  }
#endif
  for (; i < count; ++i) {
    WCHAR unit = text[i];
    if (unit == 0 || unit >= 0x80) break;
    out[i] = static_cast<char>(unit);
  }
  return i;
}

// The mirror image: leading ASCII bytes, not zero, into units.
inline std::size_t WidenAsciiPrefix(WCHAR* out, const char* text,
                                    std::size_t count) {
  std::size_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  for (; i + 16 <= count; i += 16) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    // A set top bit is a byte of 0x80 or more; a zero byte ends the text.
    if ((_mm_movemask_epi8(v) | _mm_movemask_epi8(_mm_cmpeq_epi8(v, zero))) !=
        0) {
      break;
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                     _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8),
                     _mm_unpackhi_epi8(v, zero));
  }
#endif
  for (; i < count; ++i) {
    unsigned char byte = static_cast<unsigned char>(text[i]);
    if (byte == 0 || byte >= 0x80) break;
    out[i] = byte;
  }
  return i;
}

}  // namespace kzscan

#endif  // KZCOMMON_STRINGS_INTERNAL_UNIT_SCAN_H_
