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
// for text whose readable size is unknown. The vector loads are aligned
// 16-byte lines, taken in order, and none comes after the line that holds
// the terminator or the last unit the limit allows: so a load never crosses
// into a page the text does not touch. The first and the last line may
// reach past the text, which the address and thread sanitizers would
// report, so they are told not to look.
#if defined(__SSE2__) && (defined(__GNUC__) || defined(__clang__))
#define KZ_NO_SANITIZE_READS __attribute__((no_sanitize("address", "thread")))
namespace detail {
KZ_NO_SANITIZE_READS inline unsigned ZeroUnits(std::uintptr_t line) {
  return static_cast<unsigned>(_mm_movemask_epi8(
      _mm_cmpeq_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(line)),
                      _mm_setzero_si128())));
}
}  // namespace detail

KZ_NO_SANITIZE_READS inline std::size_t BoundedLength(const WCHAR* text,
                                                      std::size_t limit) {
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(text);
  if (address % sizeof(WCHAR) != 0) {
    std::size_t n = 0;
    while (n < limit && text[n] != 0) ++n;
    return n;
  }
  if (limit == 0) return 0;
  // Units before the first zero that `mask` marks in `line`, at most limit.
  const auto at = [address, limit](std::uintptr_t line, unsigned mask) {
    const std::size_t n = (line - address) / sizeof(WCHAR) +
                          static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
    return n < limit ? n : limit;
  };
  std::uintptr_t line = address & ~static_cast<std::uintptr_t>(15);
  // Lanes before the text's start are masked off in the first line.
  unsigned mask = detail::ZeroUnits(line) >> (address - line);
  if (mask != 0) return at(address, mask);
  // The line of the last unit within the limit (saturated: the address
  // space ends before it).
  const std::uintptr_t room = (UINTPTR_MAX - address) / sizeof(WCHAR);
  const std::uintptr_t last =
      (limit - 1 < room ? address + (limit - 1) * sizeof(WCHAR) : UINTPTR_MAX) &
      ~static_cast<std::uintptr_t>(15);
  // Four lines a round with a test after each: a fixed count of work per
  // line and no load past the line that ends the text.
  for (line += 16; line < last && last - line >= 48; line += 64) {
    if ((mask = detail::ZeroUnits(line)) != 0) return at(line, mask);
    if ((mask = detail::ZeroUnits(line + 16)) != 0) return at(line + 16, mask);
    if ((mask = detail::ZeroUnits(line + 32)) != 0) return at(line + 32, mask);
    if ((mask = detail::ZeroUnits(line + 48)) != 0) return at(line + 48, mask);
  }
  for (; line <= last; line += 16) {
    if ((mask = detail::ZeroUnits(line)) != 0) return at(line, mask);
  }
  return limit;
}
#undef KZ_NO_SANITIZE_READS
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
