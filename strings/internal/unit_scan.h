// Scans for the block's copies and conversions. Searches and comparisons
// have theirs in strings/internal/wide_scan.h, whose rules hold here too:
// `portable` and `sse2` keep one contract, and `best` is the build's choice.
#ifndef KZCOMMON_STRINGS_INTERNAL_UNIT_SCAN_H_
#define KZCOMMON_STRINGS_INTERNAL_UNIT_SCAN_H_

#include <cstddef>
#include <cstring>

#include "platform/platform.h"

#include "strings/internal/wide_scan.h"

namespace kzscan {

// Length of a zero-terminated text, or `limit` if no zero comes before it,
// for a client's text, whose readable size is unknown: it may end at the end
// of a page, or just before memory that belongs to someone else. So it goes
// unit by unit, each unit read only once the one before it has shown not to
// be the terminator: no load of several units can know where the text ends
// before it is made. Eight units a round keep the limit test and the loop
// out of the way of the zero tests.
inline std::size_t BoundedLength(const WCHAR* text, std::size_t limit) {
  std::size_t n = 0;
  for (; limit - n >= 8; n += 8) {
    if (text[n] == 0) return n;
    if (text[n + 1] == 0) return n + 1;
    if (text[n + 2] == 0) return n + 2;
    if (text[n + 3] == 0) return n + 3;
    if (text[n + 4] == 0) return n + 4;
    if (text[n + 5] == 0) return n + 5;
    if (text[n + 6] == 0) return n + 6;
    if (text[n + 7] == 0) return n + 7;
  }
  while (n < limit && text[n] != 0) ++n;
  return n;
}

// What CreateWide makes of a text, for a source that is one of the library's
// own forms rather than a client's text: out[0, length) takes the units of
// form[0, length) up to the form's first zero, zeros after it, and
// out[length] is 0. The form is `formLength` units before its terminator,
// and only those are read, eight at a time; `length` may reach past them.
inline void CopyFormUpToZero(WCHAR* out, const WCHAR* form,
                             std::size_t formLength, std::size_t length) {
  const std::size_t copied =
      best::FirstOf(form, length < formLength ? length : formLength, 0);
  std::memcpy(out, form, copied * sizeof(WCHAR));
  std::memset(out + copied, 0, (length - copied + 1) * sizeof(WCHAR));
}

// Every supported locale encodes ASCII as itself, so these are the common
// head of both conversions. Both read text[0, count) at most.
namespace portable {

// Copies the leading units of text[0, count) that are ASCII and not zero
// into bytes of the same value; returns how many it copied.
inline std::size_t NarrowAsciiPrefix(char* out, const WCHAR* text,
                                     std::size_t count) {
  std::size_t i = 0;
  for (; i < count; ++i) {
    const WCHAR unit = text[i];
    if (unit == 0 || unit >= 0x80) break;
    out[i] = static_cast<char>(unit);
  }
  return i;
}

// The mirror image: leading ASCII bytes, not zero, into units.
inline std::size_t WidenAsciiPrefix(WCHAR* out, const char* text,
                                    std::size_t count) {
  std::size_t i = 0;
  for (; i < count; ++i) {
    const unsigned char byte = static_cast<unsigned char>(text[i]);
    if (byte == 0 || byte >= 0x80) break;
    out[i] = byte;
  }
  return i;
}

}  // namespace portable

#if defined(__SSE2__)
namespace sse2 {

// Eight units a vector; the units after the last whole vector, and those
// from the vector that holds the first one that isn't plain ASCII, go
// through `portable`.
inline std::size_t NarrowAsciiPrefix(char* out, const WCHAR* text,
                                     std::size_t count) {
  const __m128i notAscii = Splat(0xFF80);
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; i + 8 <= count; i += 8) {
    const __m128i v = Load(text + i);
    // ASCII units have no bit above 0x7F; a zero unit ends the text.
    const __m128i go =
        _mm_andnot_si128(_mm_cmpeq_epi16(v, zero),
                         _mm_cmpeq_epi16(_mm_and_si128(v, notAscii), zero));
    if (Mask(go) != 0xFFFF) break;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i),
                     _mm_packus_epi16(v, v));
  }
  return i + portable::NarrowAsciiPrefix(out + i, text + i, count - i);
}

// Sixteen bytes a vector, the same way.
inline std::size_t WidenAsciiPrefix(WCHAR* out, const char* text,
                                    std::size_t count) {
  const __m128i zero = _mm_setzero_si128();
  std::size_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m128i v =
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
    // A set top bit is a byte of 0x80 or more; a zero byte ends the text.
    if ((Mask(v) | Mask(_mm_cmpeq_epi8(v, zero))) != 0) break;
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                     _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i + 8),
                     _mm_unpackhi_epi8(v, zero));
  }
  return i + portable::WidenAsciiPrefix(out + i, text + i, count - i);
}

}  // namespace sse2
#endif

}  // namespace kzscan

#endif  // KZCOMMON_STRINGS_INTERNAL_UNIT_SCAN_H_
