// Scans over 16-bit units for CKZString's search and ordered comparison.
//
// Every function reads only the units that its contract names, s[0, n) or,
// for FindText, s[0, n]: callers pass at most the length of a wide form plus
// its terminator, so that no load leaves the buffer, not even the harmless
// over-read of an aligned load that a sanitizer would still report. A wide
// form can hold zero units before its terminator; each function says what a
// zero means to it.
//
// Two flavours keep one contract: `portable` looks at four units at a time in
// a 64-bit word, `sse2` at eight in a vector and hands ranges shorter than
// one vector to `portable`. The library calls `best`; the tests run both.
#ifndef KZCOMMON_STRINGS_INTERNAL_WIDE_SCAN_H_
#define KZCOMMON_STRINGS_INTERNAL_WIDE_SCAN_H_

#include <kzcommon/wintypes.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kzscan {

static_assert(sizeof(WCHAR) == 2, "the wide form is counted in 16-bit units");

// "Not found" for LastOf and FindText.
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

namespace portable {

// Word-at-a-time helpers over four 16-bit units. They only tell whether a
// word holds something of interest; the exact unit is then found one by one,
// so the byte order of the word never matters.
constexpr std::uint64_t kLanes = 0x0001000100010001ull;
constexpr std::uint64_t kLaneHighBits = 0x8000800080008000ull;

inline std::uint64_t Load4(const WCHAR* p) {
  std::uint64_t word;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// Non-zero when some unit of the word is 0 (exact for the question "is there
// one", which is all that is asked).
inline std::uint64_t ZeroLanes(std::uint64_t word) {
  return (word - kLanes) & ~word & kLaneHighBits;
}

// Index of the first unit of s[0, n) that is `unit` or 0; n if there is none.
inline std::size_t FirstOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  const std::uint64_t pattern = kLanes * unit;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const std::uint64_t w0 = Load4(s + i);
    const std::uint64_t w1 = Load4(s + i + 4);
    if ((ZeroLanes(w0 ^ pattern) | ZeroLanes(w1 ^ pattern) | ZeroLanes(w0) |
         ZeroLanes(w1)) != 0) {
      break;
    }
  }
  for (; i < n; ++i) {
    if (s[i] == unit || s[i] == 0) return i;
  }
  return n;
}

// Index of the last unit of s[0, n) that is `unit`, zeros or not; kNone if
// there is none.
inline std::size_t LastOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  const std::uint64_t pattern = kLanes * unit;
  std::size_t i = n;
  for (; i >= 8; i -= 8) {
    if ((ZeroLanes(Load4(s + i - 4) ^ pattern) |
         ZeroLanes(Load4(s + i - 8) ^ pattern)) != 0) {
      break;
    }
  }
  while (i > 0) {
    --i;
    if (s[i] == unit) return i;
  }
  return kNone;
}

// Index of the first i in [0, n) where a[i] != b[i] or a[i] == 0: where
// wcscmp decides. n if there is none.
inline std::size_t FirstMismatch(const WCHAR* a, const WCHAR* b,
                                 std::size_t n) {
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const std::uint64_t a0 = Load4(a + i);
    const std::uint64_t a1 = Load4(a + i + 4);
    const std::uint64_t b0 = Load4(b + i);
    const std::uint64_t b1 = Load4(b + i + 4);
    if (((a0 ^ b0) | (a1 ^ b1) | ZeroLanes(a0) | ZeroLanes(a1)) != 0) break;
  }
  for (; i < n; ++i) {
    if (a[i] != b[i] || a[i] == 0) return i;
  }
  return n;
}

// Whether a[0, n) and b[0, n) hold the same units, zeros or not.
inline bool SameUnits(const WCHAR* a, const WCHAR* b, std::size_t n) {
  std::uint64_t diff = 0;
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) diff |= Load4(a + i) ^ Load4(b + i);
  for (; i < n; ++i) diff |= static_cast<unsigned>(a[i] ^ b[i]);
  return diff == 0;
}

// Whether the zero-terminated needle continues in s from its second unit on.
// s is read no further than a unit after one that matched, so a zero of s
// (which never matches) stops the loop inside s's text.
inline bool RestMatches(const WCHAR* s, const WCHAR* needle) {
  std::size_t k = 1;
  while (needle[k] != 0 && s[k] == needle[k]) ++k;
  return needle[k] == 0;
}

// Where the zero-terminated needle (not empty) first occurs in the text of
// s[0, n], which ends at its first zero unit, s[n] at the latest: the first
// p with s[p, p + m) equal to the needle's m units and no zero in s[0, p).
// kNone if there is none. The needle's length is never counted: a candidate
// is checked unit by unit and fails at the latest at the text's end.
inline std::size_t FindText(const WCHAR* s, std::size_t n,
                            const WCHAR* needle) {
  for (std::size_t p = 0;; ++p) {
    p += FirstOf(s + p, n + 1 - p, needle[0]);
    if (s[p] == 0) return kNone;
    if (RestMatches(s + p, needle)) return p;
  }
}

}  // namespace portable

#if defined(__SSE2__)
namespace sse2 {

// One vector is eight units. A comparison sets both bytes of a lane, so the
// byte mask of _mm_movemask_epi8 has two bits for each unit.
inline __m128i Load(const WCHAR* p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
inline unsigned Mask(__m128i lanes) {
  return static_cast<unsigned>(_mm_movemask_epi8(lanes));
}
inline std::size_t LowestLane(unsigned mask) {
  return static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
}
inline std::size_t HighestLane(unsigned mask) {
  return static_cast<std::size_t>(31 - __builtin_clz(mask)) / 2;
}
// The unit in every lane. Not _mm_set1_epi16: GCC builds that through a
// 16-bit store and a 32-bit load, which stalls store forwarding.
inline __m128i Splat(WCHAR unit) {
  return _mm_shuffle_epi32(_mm_cvtsi32_si128(static_cast<int>(unit * 0x10001u)),
                           0);
}

// FirstOf for n >= 8, with the zero test left out when `unit` is 0 anyway.
// Thirty-two units a round while nothing is found; the last, partial round
// loads the last eight units again, those before the round having shown
// nothing.
template <bool kAlsoZero>
inline std::size_t FirstOfVector(const WCHAR* s, std::size_t n, WCHAR unit) {
  const __m128i pattern = Splat(unit);
  const __m128i zero = _mm_setzero_si128();
  const auto hits = [&](const WCHAR* p) {
    const __m128i v = Load(p);
    const __m128i same = _mm_cmpeq_epi16(v, pattern);
    return kAlsoZero ? _mm_or_si128(same, _mm_cmpeq_epi16(v, zero)) : same;
  };
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m128i any =
        _mm_or_si128(_mm_or_si128(hits(s + i), hits(s + i + 8)),
                     _mm_or_si128(hits(s + i + 16), hits(s + i + 24)));
    if (Mask(any) != 0) break;
  }
  for (; i + 8 <= n; i += 8) {
    const unsigned mask = Mask(hits(s + i));
    if (mask != 0) return i + LowestLane(mask);
  }
  if (i < n) {
    const unsigned mask = Mask(hits(s + n - 8));
    if (mask != 0) return n - 8 + LowestLane(mask);
  }
  return n;
}

inline std::size_t FirstOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  if (n < 8) return portable::FirstOf(s, n, unit);
  return unit == 0 ? FirstOfVector<false>(s, n, unit)
                   : FirstOfVector<true>(s, n, unit);
}

// LastOf from the end down, the same way round by round; the first vector is
// loaded whole, its units from i up having shown nothing.
inline std::size_t LastOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  if (n < 8) return portable::LastOf(s, n, unit);
  const __m128i pattern = Splat(unit);
  const auto hits = [&](const WCHAR* p) {
    return _mm_cmpeq_epi16(Load(p), pattern);
  };
  std::size_t i = n;
  for (; i >= 32; i -= 32) {
    const __m128i any =
        _mm_or_si128(_mm_or_si128(hits(s + i - 8), hits(s + i - 16)),
                     _mm_or_si128(hits(s + i - 24), hits(s + i - 32)));
    if (Mask(any) != 0) break;
  }
  for (; i >= 8; i -= 8) {
    const unsigned mask = Mask(hits(s + i - 8));
    if (mask != 0) return i - 8 + HighestLane(mask);
  }
  if (i > 0) {
    const unsigned mask = Mask(hits(s));
    if (mask != 0) return HighestLane(mask);
  }
  return kNone;
}

// FirstMismatch: lanes that let the walk go on are equal and not zero in a.
inline std::size_t FirstMismatch(const WCHAR* a, const WCHAR* b,
                                 std::size_t n) {
  if (n < 8) return portable::FirstMismatch(a, b, n);
  const __m128i zero = _mm_setzero_si128();
  const auto same = [&](std::size_t i) {
    const __m128i x = Load(a + i);
    return _mm_andnot_si128(_mm_cmpeq_epi16(x, zero),
                            _mm_cmpeq_epi16(x, Load(b + i)));
  };
  constexpr unsigned kAll = 0xFFFF;
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m128i all =
        _mm_and_si128(_mm_and_si128(same(i), same(i + 8)),
                      _mm_and_si128(same(i + 16), same(i + 24)));
    if (Mask(all) != kAll) break;
  }
  for (; i + 8 <= n; i += 8) {
    const unsigned stop = Mask(same(i)) ^ kAll;
    if (stop != 0) return i + LowestLane(stop);
  }
  if (i < n) {
    const unsigned stop = Mask(same(n - 8)) ^ kAll;
    if (stop != 0) return n - 8 + LowestLane(stop);
  }
  return n;
}

// SameUnits: the differences of all vectors gathered, tested once for each
// 32 units, and once at the end for the rest.
inline bool SameUnits(const WCHAR* a, const WCHAR* b, std::size_t n) {
  if (n < 8) return portable::SameUnits(a, b, n);
  const __m128i zero = _mm_setzero_si128();
  const auto diff = [&](std::size_t i) {
    return _mm_xor_si128(Load(a + i), Load(b + i));
  };
  // Up to 16 units: the first eight and the last eight, which may overlap.
  if (n <= 16) {
    return Mask(_mm_cmpeq_epi8(_mm_or_si128(diff(0), diff(n - 8)), zero)) ==
           0xFFFF;
  }
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m128i any = _mm_or_si128(_mm_or_si128(diff(i), diff(i + 8)),
                                     _mm_or_si128(diff(i + 16), diff(i + 24)));
    if (Mask(_mm_cmpeq_epi8(any, zero)) != 0xFFFF) return false;
  }
  __m128i any = zero;
  for (; i + 8 < n; i += 8) any = _mm_or_si128(any, diff(i));
  if (i < n) any = _mm_or_si128(any, diff(n - 8));
  return Mask(_mm_cmpeq_epi8(any, zero)) == 0xFFFF;
}

// FindText, eight possible starts at once: a start is checked in full only
// where the needle's first two units match, and a zero at a start ends the
// search. The first two units rather than the first and the last, which
// would filter a little better, because the needle's length isn't known and
// counting it costs more than a short text takes to search. Rounds of 32
// starts without a candidate are passed over with one test; the last,
// partial vector loads the last eight starts and drops those already
// checked.
inline std::size_t FindText(const WCHAR* s, std::size_t n,
                            const WCHAR* needle) {
  if (needle[1] == 0) {
    const std::size_t i = FirstOf(s, n + 1, needle[0]);
    return s[i] != 0 ? i : kNone;
  }
  // A match of two units or more starts before n - 1.
  if (n < 9) return portable::FindText(s, n, needle);
  const std::size_t starts = n - 1;
  const __m128i first = Splat(needle[0]);
  const __m128i second = Splat(needle[1]);
  const __m128i zero = _mm_setzero_si128();
  const auto candidates = [&](std::size_t i) {
    const __m128i head = Load(s + i);
    return _mm_or_si128(_mm_and_si128(_mm_cmpeq_epi16(head, first),
                                      _mm_cmpeq_epi16(Load(s + i + 1), second)),
                        _mm_cmpeq_epi16(head, zero));
  };
  std::size_t i = 0;
  while (i < starts) {
    if (i + 32 <= starts) {
      const __m128i any =
          _mm_or_si128(_mm_or_si128(candidates(i), candidates(i + 8)),
                       _mm_or_si128(candidates(i + 16), candidates(i + 24)));
      if (Mask(any) == 0) {
        i += 32;
        continue;
      }
    }
    const std::size_t roundEnd = i + 32 < starts ? i + 32 : starts;
    for (; i < roundEnd; i += 8) {
      std::size_t base = i;
      unsigned mask;
      if (i + 8 <= starts) {
        mask = Mask(candidates(i));
      } else {
        base = starts - 8;
        mask = Mask(candidates(base)) & (0xFFFFu << (2 * (i - base)));
      }
      while (mask != 0) {
        const std::size_t p = base + LowestLane(mask);
        if (s[p] == 0) return kNone;
        if (portable::RestMatches(s + p, needle)) return p;
        mask &= mask - 1;  // both bits of the lane
        mask &= mask - 1;
      }
    }
  }
  return kNone;
}

}  // namespace sse2

namespace best = sse2;
#else
namespace best = portable;
#endif

}  // namespace kzscan

#endif  // KZCOMMON_STRINGS_INTERNAL_WIDE_SCAN_H_
