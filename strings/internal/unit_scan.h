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
// for text whose readable size is unknown. The vector loads are aligned, so
// they never cross into a page the text does not touch; they may read past
// the terminator within its 16-byte line, which AddressSanitizer would
// report, so it is told not to look.
#if defined(__SSE2__) && (defined(__GNUC__) || defined(__clang__))
__attribute__((no_sanitize_address)) inline std::size_t BoundedLength(
    const WCHAR* text, std::size_t limit) {
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(text);
  if (address % sizeof(WCHAR) != 0) {
    std::size_t n = 0;
    while (n < limit && text[n] != 0) ++n;
    return n;
  }
  const __m128i zero = _mm_setzero_si128();
  const std::uintptr_t line = address & ~static_cast<std::uintptr_t>(15);
  const __m128i* p = reinterpret_cast<const __m128i*>(line);
  // Lanes before the text's start are masked off in the first line.
  unsigned mask = static_cast<unsigned>(_mm_movemask_epi8(
                      _mm_cmpeq_epi16(_mm_load_si128(p), zero))) >>
                  (address - line);
  std::size_t scanned = 0;  // units of the text before the current line
  std::size_t first = (16 - (address - line)) / sizeof(WCHAR);
  for (;;) {
    if (mask != 0) {
      std::size_t at =
          scanned + static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
      return at < limit ? at : limit;
    }
    scanned += scanned == 0 ? first : 8;
    if (scanned >= limit) return limit;
    ++p;
    mask = static_cast<unsigned>(
        _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_load_si128(p), zero)));
  }
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
