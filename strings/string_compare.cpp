// CKZString: order, equality with and without case, and search.
//
// The wide form is searched and compared with our own loops: WCHAR is 16 bits
// on every platform while wchar_t is 32 bits on POSIX, so the run-time's wide
// functions can't be used there. The loops keep the C library's semantics
// (a text ends at its first zero unit, the terminator can be searched for),
// and where a form's length is known they look at four units at a time.
#include <kzcommon/kzstring.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/platform.h"

#include "strings/string_block.h"

namespace {

static_assert(sizeof(WCHAR) == 2, "the wide form is counted in 16-bit units");

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

inline int Order(unsigned a, unsigned b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

// Index of the first unit of s[0, n) that equals `unit`, or that is 0 when
// `stopAtZero`; n when there is none.
std::size_t ScanForward(const WCHAR* s, std::size_t n, WCHAR unit,
                        bool stopAtZero) {
  const std::uint64_t pattern = kLanes * unit;
  const std::uint64_t zeroMask = stopAtZero ? kLaneHighBits : 0;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const std::uint64_t w0 = Load4(s + i);
    const std::uint64_t w1 = Load4(s + i + 4);
    if ((ZeroLanes(w0 ^ pattern) | ZeroLanes(w1 ^ pattern) |
         ((ZeroLanes(w0) | ZeroLanes(w1)) & zeroMask)) != 0) {
      break;
    }
  }
  for (; i < n; ++i) {
    if (s[i] == unit || (stopAtZero && s[i] == 0)) return i;
  }
  return n;
}

// Index of the last unit of s[0, end) that equals `unit`, or -1.
LONG ScanBackward(const WCHAR* s, std::size_t end, WCHAR unit) {
  const std::uint64_t pattern = kLanes * unit;
  std::size_t i = end;
  for (; i >= 8; i -= 8) {
    if ((ZeroLanes(Load4(s + i - 4) ^ pattern) |
         ZeroLanes(Load4(s + i - 8) ^ pattern)) != 0) {
      break;
    }
  }
  while (i > 0) {
    --i;
    if (s[i] == unit) return static_cast<LONG>(i);
  }
  return -1;
}

// The text of a wide form ends at its first zero unit, which is normally the
// terminator at `length` but can lie earlier (SetAt, counted construction).
std::size_t TextEnd(const WCHAR* s, std::uint32_t length) {
  return ScanForward(s, std::size_t{length} + 1, 0, true);
}

// wcscmp on 16-bit units, taken as unsigned values; -1, 0 or 1. The length
// of `b` is unknown, so nothing past a unit already compared is read.
int CompareWide(const WCHAR* a, const WCHAR* b) {
  for (;; ++a, ++b) {
    const unsigned x = *a;
    const unsigned y = *b;
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
}

// The same order for two forms whose lengths are known: both are terminated
// at their lengths, so units up to the shorter length are read freely, four
// at a time, until the words differ or one holds a zero of `a`.
int CompareWideCounted(const WCHAR* a, std::uint32_t lengthA, const WCHAR* b,
                       std::uint32_t lengthB) {
  const std::size_t n = lengthA < lengthB ? lengthA : lengthB;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    const std::uint64_t a0 = Load4(a + i);
    const std::uint64_t a1 = Load4(a + i + 4);
    const std::uint64_t b0 = Load4(b + i);
    const std::uint64_t b1 = Load4(b + i + 4);
    if (((a0 ^ b0) | (a1 ^ b1) | ZeroLanes(a0) | ZeroLanes(a1)) != 0) break;
  }
  for (; i < n; ++i) {
    const unsigned x = a[i];
    const unsigned y = b[i];
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
  // One of the two units at n is a terminator: equal units mean both ended.
  return Order(a[n], b[n]);
}

// strcmp, whose order is that of unsigned bytes, reduced to -1, 0 or 1.
int CompareMbs(const char* a, const char* b) {
  const int r = std::strcmp(a, b);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

inline bool IsAscii(unsigned u) { return u < 0x80; }
inline bool IsSurrogate(unsigned u) { return (u & 0xF800) == 0xD800; }
inline bool IsHighSurrogate(unsigned u) { return (u & 0xFC00) == 0xD800; }

// Two different ASCII units that are equal when case is ignored: they differ
// in bit 0x20 alone and are letters. Every locale folds ASCII this way.
inline bool AsciiFoldEqual(unsigned x, unsigned y) {
  return (x ^ y) == 0x20 && static_cast<unsigned>((x | 0x20) - 'a') < 26;
}

// A word of ASCII lanes (16-bit units or bytes: `lanes` has a 1 in each)
// with 'A'..'Z' turned to lower case. No lane carries into the next: each
// value is below 0x80, and the sums stay below 0x100.
inline std::uint64_t LowerAsciiLanes(std::uint64_t word, std::uint64_t lanes) {
  const std::uint64_t upper =
      (word + lanes * 0x3F) & ~(word + lanes * 0x25) & (lanes * 0x80);
  return word | (upper >> 2);
}

// Over the first `n` units, which both texts are known to have, words of
// four ASCII units are folded and compared at once. Stops at the first word
// that isn't ASCII on both sides or doesn't fold equal; returns its index, or
// a value past n when a common zero unit already decided that the texts are
// equal.
std::size_t WideAsciiRun(const WCHAR* a, const WCHAR* b, std::size_t n) {
  constexpr std::uint64_t kNotAscii = 0xFF80FF80FF80FF80ull;
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const std::uint64_t x = Load4(a + i);
    const std::uint64_t y = Load4(b + i);
    if (((x | y) & kNotAscii) != 0 ||
        LowerAsciiLanes(x, kLanes) != LowerAsciiLanes(y, kLanes)) {
      break;
    }
    if (ZeroLanes(x) != 0) return n + 1;
  }
  return i;
}

// _wcsicmp(a, b) == 0, with the run-time asked only about units that aren't
// ASCII. The first `n` units of both texts are readable (see WideAsciiRun).
// The run-time folds unit by unit, so a pair that isn't plain ASCII is asked
// about alone and the walk goes on. Surrogates are handed to the run-time
// with the rest of the text, from the start of their pair, so a fold that
// treats a pair as one character gives the same answer too.
bool WideCaseLessEqual(const WCHAR* a, const WCHAR* b, std::size_t n) {
  const std::size_t run = WideAsciiRun(a, b, n);
  if (run > n) return true;
  for (a += run, b += run;; ++a, ++b) {
    const unsigned x = *a;
    const unsigned y = *b;
    if (x == y) {
      if (x == 0) return true;
      if (IsHighSurrogate(x) && a[1] != b[1]) {
        return platform::_wcsicmp(a, b) == 0;
      }
      continue;
    }
    if (IsAscii(x) && IsAscii(y)) {
      if (!AsciiFoldEqual(x, y)) return false;
      continue;
    }
    if (IsSurrogate(x) || IsSurrogate(y)) return platform::_wcsicmp(a, b) == 0;
    // A non-ASCII unit can fold to an ASCII one (KELVIN SIGN to 'k'), so the
    // run-time decides every pair that isn't ASCII on both sides.
    const WCHAR one[2] = {*a, 0};
    const WCHAR other[2] = {*b, 0};
    if (platform::_wcsicmp(one, other) != 0) return false;
  }
}

// _stricmp(a, b) == 0, without the run-time over a common run of ASCII,
// eight bytes at a time over the first `n` bytes that both texts have. From
// the first byte that isn't ASCII on either side (a character boundary in
// every multibyte encoding, since all before it were ASCII) the run-time
// compares the rest.
bool MbsCaseLessEqual(const char* a, const char* b, std::size_t n) {
  constexpr std::uint64_t kByteLanes = 0x0101010101010101ull;
  constexpr std::uint64_t kNotAscii = 0x8080808080808080ull;
  std::size_t i = 0;
  for (; i + 8 <= n; i += 8) {
    std::uint64_t x, y;
    std::memcpy(&x, a + i, sizeof x);
    std::memcpy(&y, b + i, sizeof y);
    if (((x | y) & kNotAscii) != 0 ||
        LowerAsciiLanes(x, kByteLanes) != LowerAsciiLanes(y, kByteLanes)) {
      break;
    }
    if (((x - kByteLanes) & ~x & kNotAscii) != 0) return true;
  }
  for (a += i, b += i;; ++a, ++b) {
    const unsigned x = static_cast<unsigned char>(*a);
    const unsigned y = static_cast<unsigned char>(*b);
    if (!IsAscii(x) || !IsAscii(y)) return platform::_stricmp(a, b) == 0;
    if (x == y) {
      if (x == 0) return true;
      continue;
    }
    if (!AsciiFoldEqual(x, y)) return false;
  }
}

// How many leading units of `text` are known to exist without reading past
// its end, up to `limit`: the text's length or `limit`, whichever is less.
std::size_t KnownUnits(const WCHAR* text, std::uint32_t limit) {
  std::size_t k = 0;
  while (k < limit && text[k] != 0) ++k;
  return k;
}

std::size_t KnownBytes(const char* text, std::uint32_t limit) {
  const void* zero = std::memchr(text, 0, limit);
  return zero == nullptr
             ? limit
             : static_cast<std::size_t>(static_cast<const char*>(zero) - text);
}

// The forms, built on first use; the test keeps the call out of the way once
// a form is there.
inline const WCHAR* WideForm(CKZStringBlock* block) {
  if (block->wideBuffer == nullptr) block->EnsureWide();
  return block->wideBuffer;
}
inline const char* MbsForm(CKZStringBlock* block) {
  if (block->mbsBuffer == nullptr) block->EnsureMbs();
  return block->mbsBuffer;
}

// The position of a pointer into a form, or -1 for none.
LONG Position(const char* found, const char* start) {
  return found == nullptr ? -1 : static_cast<LONG>(found - start);
}

// Both values choose the encoding by the forms present before the call: wide
// if both have it, else multibyte if both have that, else wide. Only a value
// that lacks the chosen form gains it.
bool ChooseMbs(const CKZStringBlock* a, const CKZStringBlock* b) {
  const bool bothWide = a->wideBuffer != nullptr && b->wideBuffer != nullptr;
  return !bothWide && a->mbsBuffer != nullptr && b->mbsBuffer != nullptr;
}

}  // namespace

int CKZString::Compare(const char* text, bool ignoreCase) const {
  if (m_block == nullptr) return text == nullptr ? 0 : -1;
  const char* form = MbsForm(m_block);
  if (text == nullptr) return 1;
  if (ignoreCase) return platform::_stricmp(form, text);
  return CompareMbs(form, text);
}

int CKZString::Compare(const WCHAR* text, bool ignoreCase) const {
  if (m_block == nullptr) return text == nullptr ? 0 : -1;
  const WCHAR* form = WideForm(m_block);
  if (text == nullptr) return 1;
  if (ignoreCase) return platform::_wcsicmp(form, text);
  return CompareWide(form, text);
}

int CKZString::Compare(const CKZString& other) const {
  // Also two null strings; a shared block is equal without reading text.
  if (m_block == other.m_block) return 0;
  if (m_block == nullptr) return -1;
  if (other.m_block == nullptr) return 1;
  if (ChooseMbs(m_block, other.m_block)) {
    return CompareMbs(m_block->mbsBuffer, other.m_block->mbsBuffer);
  }
  const WCHAR* theirs = WideForm(other.m_block);
  const WCHAR* mine = WideForm(m_block);
  return CompareWideCounted(mine, m_block->wideLength, theirs,
                            other.m_block->wideLength);
}

bool CKZString::CaseLessEqual(const CKZString& other) const {
  if (m_block == other.m_block) return true;
  // A null string has neither form: against it the text overloads decide.
  if (m_block == nullptr || other.m_block == nullptr) {
    return CaseLessEqual(static_cast<const WCHAR*>(other));
  }
  if (ChooseMbs(m_block, other.m_block)) {
    const std::uint32_t a = m_block->mbsLength;
    const std::uint32_t b = other.m_block->mbsLength;
    return MbsCaseLessEqual(m_block->mbsBuffer, other.m_block->mbsBuffer,
                            a < b ? a : b);
  }
  const WCHAR* theirs = WideForm(other.m_block);
  const WCHAR* mine = WideForm(m_block);
  const std::uint32_t a = m_block->wideLength;
  const std::uint32_t b = other.m_block->wideLength;
  return WideCaseLessEqual(mine, theirs, a < b ? a : b);
}

bool CKZString::CaseLessEqual(const WCHAR* text) const {
  if (m_block == nullptr) return text == nullptr;
  const WCHAR* form = WideForm(m_block);
  if (text == nullptr) return false;
  return WideCaseLessEqual(form, text, KnownUnits(text, m_block->wideLength));
}

bool CKZString::CaseLessEqual(const char* text) const {
  if (m_block == nullptr) return text == nullptr;
  const char* form = MbsForm(m_block);
  if (text == nullptr) return false;
  return MbsCaseLessEqual(form, text, KnownBytes(text, m_block->mbsLength));
}

LONG CKZString::Find(WCHAR unit) const {
  if (m_block == nullptr) return -1;
  const WCHAR* s = WideForm(m_block);
  const std::size_t end = std::size_t{m_block->wideLength} + 1;
  const std::size_t i = ScanForward(s, end, unit, true);
  return i < end && s[i] == unit ? static_cast<LONG>(i) : -1;
}

LONG CKZString::Find(const WCHAR* text) const {
  if (m_block == nullptr || text == nullptr || text[0] == 0) return -1;
  const WCHAR* s = WideForm(m_block);
  const std::size_t end = std::size_t{m_block->wideLength} + 1;
  // Each place where the first unit matches is checked for the rest; a zero
  // unit of the form (the terminator at the latest) ends the search, and it
  // also ends any check, since the needle has no zero unit.
  const WCHAR first = text[0];
  for (std::size_t i = 0;; ++i) {
    if (s[i] != first) {
      i += ScanForward(s + i, end - i, first, true);
      if (i >= end || s[i] == 0) return -1;
    }
    std::size_t k = 1;
    while (text[k] != 0 && s[i + k] == text[k]) ++k;
    if (text[k] == 0) return static_cast<LONG>(i);
  }
}

LONG CKZString::Find(char c) const {
  if (m_block == nullptr) return -1;
  const char* s = MbsForm(m_block);
  return Position(std::strchr(s, c), s);
}

LONG CKZString::Find(const char* text) const {
  if (m_block == nullptr || text == nullptr) return -1;
  const char* s = MbsForm(m_block);
  return Position(std::strstr(s, text), s);
}

LONG CKZString::ReverseFind(WCHAR unit) const {
  if (m_block == nullptr) return -1;
  const WCHAR* s = WideForm(m_block);
  if (unit == 0) return static_cast<LONG>(TextEnd(s, m_block->wideLength));
  // Search from the end, then make sure no zero unit ends the text before
  // the place found; if one does, search again before that zero.
  std::size_t end = m_block->wideLength;
  for (;;) {
    const LONG found = ScanBackward(s, end, unit);
    if (found < 0) return -1;
    const std::size_t zero =
        ScanForward(s, static_cast<std::size_t>(found), 0, true);
    if (zero == static_cast<std::size_t>(found)) return found;
    end = zero;
  }
}

LONG CKZString::ReverseFind(char c) const {
  if (m_block == nullptr) return -1;
  const char* s = MbsForm(m_block);
  return Position(std::strrchr(s, c), s);
}
