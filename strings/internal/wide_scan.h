// Scans over 16-bit units for CKZString's search and comparison.
//
// Every function reads only the units that its contract names, s[0, n) or,
// for FindText, s[0, n] and the needle up to its terminator. Callers pass
// ranges of the library's own forms, whose lengths are known: a form's
// length plus its terminator at most. So no load leaves the text, not even
// the over-read of an aligned load that stays within its page, and a text
// that ends at the end of a page is safe. A form can hold zero units before
// its terminator; each function says what a zero means to it.
//
// Each scan comes twice with one contract: `portable` goes unit by unit, for
// any processor; `sse2` looks at eight units at a time in a vector (SSE2 is
// part of every x86-64 processor) and hands ranges shorter than one vector to
// `portable`. The build picks `best` at compile time; the tests run both.
#ifndef KZCOMMON_STRINGS_INTERNAL_WIDE_SCAN_H_
#define KZCOMMON_STRINGS_INTERNAL_WIDE_SCAN_H_

#include <kzcommon/wintypes.h>

#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace kzscan {

static_assert(sizeof(WCHAR) == 2, "the wide form is counted in 16-bit units");

// "Not found" for LastOf and FindText.
constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// The case fold of the comparisons that ignore case, where both units are
// ASCII: 'A'..'Z' to 'a'..'z', every other unit as it is. Every locale folds
// ASCII this way; the run-time decides every pair that isn't ASCII on both
// sides. The vector scan below applies the same rule to eight lanes.
inline unsigned AsciiLower(unsigned unit) {
  return unit - 'A' < 26u ? unit + ('a' - 'A') : unit;
}

namespace portable {

// Index of the first unit of s[0, n) that is `unit` or 0; n if there is none.
inline std::size_t FirstOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  std::size_t i = 0;
  while (i < n && s[i] != unit && s[i] != 0) ++i;
  return i;
}

// Index of the last unit of s[0, n) that is `unit`, zeros or not; kNone if
// there is none.
inline std::size_t LastOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  for (std::size_t i = n; i > 0; --i) {
    if (s[i - 1] == unit) return i - 1;
  }
  return kNone;
}

// Index of the first i in [0, n) where a[i] != b[i] or a[i] == 0: where
// wcscmp decides. n if there is none.
inline std::size_t FirstMismatch(const WCHAR* a, const WCHAR* b,
                                 std::size_t n) {
  std::size_t i = 0;
  while (i < n && a[i] == b[i] && a[i] != 0) ++i;
  return i;
}

// Whether a[0, n) and b[0, n) hold the same units, zeros or not.
inline bool SameUnits(const WCHAR* a, const WCHAR* b, std::size_t n) {
  return std::memcmp(a, b, n * sizeof(WCHAR)) == 0;
}

// Index of the first i in [0, n) where a[i] is 0, or a[i] or b[i] isn't
// ASCII, or the two differ after AsciiLower: the first pair that the ASCII
// fold alone can't pass as equal. n if there is none.
inline std::size_t FoldedMismatch(const WCHAR* a, const WCHAR* b,
                                  std::size_t n) {
  std::size_t i = 0;
  for (; i < n; ++i) {
    const unsigned x = a[i];
    const unsigned y = b[i];
    if (x == 0 || (x | y) >= 0x80 || AsciiLower(x) != AsciiLower(y)) break;
  }
  return i;
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
inline __m128i Splat(unsigned unit) {
  return _mm_shuffle_epi32(_mm_cvtsi32_si128(static_cast<int>(unit * 0x10001u)),
                           0);
}

// The first unit of [0, n), n >= 8, that stops a walk; n if none. `lanes(i)`
// marks lanes in its vector of the units [i, i + 8): those that stop the
// walk, or with kMarksGo those that let it go on (saving an inversion per
// vector). Thirty-two units a round while nothing stops; the last, partial
// vector loads the last eight units again, those before it having shown
// nothing.
template <bool kMarksGo, typename Lanes>
inline std::size_t FirstStop(std::size_t n, Lanes lanes) {
  const auto stops = [](__m128i marked) {
    return kMarksGo ? Mask(marked) ^ 0xFFFFu : Mask(marked);
  };
  const auto join = [](__m128i x, __m128i y) {
    return kMarksGo ? _mm_and_si128(x, y) : _mm_or_si128(x, y);
  };
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    const __m128i round =
        join(join(lanes(i), lanes(i + 8)), join(lanes(i + 16), lanes(i + 24)));
    if (stops(round) != 0) break;
  }
  for (; i + 8 <= n; i += 8) {
    const unsigned mask = stops(lanes(i));
    if (mask != 0) return i + LowestLane(mask);
  }
  if (i < n) {
    const unsigned mask = stops(lanes(n - 8));
    if (mask != 0) return n - 8 + LowestLane(mask);
  }
  return n;
}

inline std::size_t FirstOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  if (n < 8) return portable::FirstOf(s, n, unit);
  const __m128i pattern = Splat(unit);
  const __m128i zero = _mm_setzero_si128();
  return FirstStop<false>(n, [&](std::size_t i) {
    const __m128i v = Load(s + i);
    return _mm_or_si128(_mm_cmpeq_epi16(v, pattern), _mm_cmpeq_epi16(v, zero));
  });
}

// LastOf from the end down, the same way round by round; the first vector is
// loaded whole, its units from i up having shown nothing.
inline std::size_t LastOf(const WCHAR* s, std::size_t n, WCHAR unit) {
  if (n < 8) return portable::LastOf(s, n, unit);
  const __m128i pattern = Splat(unit);
  const auto hits = [&](std::size_t i) {
    return _mm_cmpeq_epi16(Load(s + i), pattern);
  };
  std::size_t i = n;
  for (; i >= 32; i -= 32) {
    const __m128i any = _mm_or_si128(_mm_or_si128(hits(i - 8), hits(i - 16)),
                                     _mm_or_si128(hits(i - 24), hits(i - 32)));
    if (Mask(any) != 0) break;
  }
  for (; i >= 8; i -= 8) {
    const unsigned mask = Mask(hits(i - 8));
    if (mask != 0) return i - 8 + HighestLane(mask);
  }
  if (i > 0) {
    const unsigned mask = Mask(hits(0));
    if (mask != 0) return HighestLane(mask);
  }
  return kNone;
}

// FirstMismatch: a lane lets the walk go on where the units are equal and
// a's isn't 0.
inline std::size_t FirstMismatch(const WCHAR* a, const WCHAR* b,
                                 std::size_t n) {
  if (n < 8) return portable::FirstMismatch(a, b, n);
  const __m128i zero = _mm_setzero_si128();
  return FirstStop<true>(n, [&](std::size_t i) {
    const __m128i x = Load(a + i);
    return _mm_andnot_si128(_mm_cmpeq_epi16(x, zero),
                            _mm_cmpeq_epi16(x, Load(b + i)));
  });
}

// SameUnits: the differences of all vectors gathered, tested once for each
// 32 units, and once at the end for the rest.
inline bool SameUnits(const WCHAR* a, const WCHAR* b, std::size_t n) {
  if (n < 8) return portable::SameUnits(a, b, n);
  const __m128i zero = _mm_setzero_si128();
  const auto diff = [&](std::size_t i) {
    return _mm_xor_si128(Load(a + i), Load(b + i));
  };
  const auto none = [&](__m128i d) {
    return Mask(_mm_cmpeq_epi8(d, zero)) == 0xFFFF;
  };
  // Up to 16 units: the first eight and the last eight, which may overlap.
  if (n <= 16) return none(_mm_or_si128(diff(0), diff(n - 8)));
  std::size_t i = 0;
  for (; i + 32 <= n; i += 32) {
    if (!none(_mm_or_si128(_mm_or_si128(diff(i), diff(i + 8)),
                           _mm_or_si128(diff(i + 16), diff(i + 24))))) {
      return false;
    }
  }
  __m128i any = zero;
  for (; i + 8 < n; i += 8) any = _mm_or_si128(any, diff(i));
  if (i < n) any = _mm_or_si128(any, diff(n - 8));
  return none(any);
}

// FoldedMismatch: AsciiLower on eight lanes. A lane is 'A'..'Z' if moving
// 'A' to the lowest signed value leaves it among the 26 lowest; it gains the
// bit 0x20 then. Lanes that aren't ASCII stop the walk whatever they fold to.
inline std::size_t FoldedMismatch(const WCHAR* a, const WCHAR* b,
                                  std::size_t n) {
  if (n < 8) return portable::FoldedMismatch(a, b, n);
  const __m128i zero = _mm_setzero_si128();
  const __m128i notAscii = Splat(0xFF80);
  const __m128i shift = Splat(0x8000 - 'A');
  const __m128i belowZ = Splat(0x8000 + 26);
  const __m128i caseBit = Splat('a' - 'A');
  const auto lower = [&](__m128i v) {
    const __m128i upper = _mm_cmplt_epi16(_mm_add_epi16(v, shift), belowZ);
    return _mm_or_si128(v, _mm_and_si128(upper, caseBit));
  };
  return FirstStop<true>(n, [&](std::size_t i) {
    const __m128i x = Load(a + i);
    const __m128i y = Load(b + i);
    const __m128i ascii =
        _mm_cmpeq_epi16(_mm_and_si128(_mm_or_si128(x, y), notAscii), zero);
    const __m128i same = _mm_cmpeq_epi16(lower(x), lower(y));
    return _mm_andnot_si128(_mm_cmpeq_epi16(x, zero),
                            _mm_and_si128(ascii, same));
  });
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
  // A match of two units or more starts before n - 1; a start's vector
  // reads one unit further, up to s[n].
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
