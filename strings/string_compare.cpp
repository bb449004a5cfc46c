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

// _wcsicmp(a, b) == 0, without the run-time for ASCII units. The run-time
// folds unit by unit, so a pair that isn't plain ASCII is asked about alone
// and the walk goes on. Surrogates are handed to the run-time with the rest
// of the text, from the start of their pair, so a fold that treats a pair as
// one character gives the same answer too.
bool WideCaseLessEqual(const WCHAR* a, const WCHAR* b) {
  for (;; ++a, ++b) {
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

// _stricmp(a, b) == 0, without the run-time over a common run of ASCII. From
// the first byte that isn't ASCII on either side (a character boundary in
// every multibyte encoding, since all before it were ASCII) the run-time
// compares the rest.
bool MbsCaseLessEqual(const char* a, const char* b) {
  for (;; ++a, ++b) {
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

// The position of a pointer into a form, or -1 for none.
LONG Position(const char* found, const char* start) {
  return found == nullptr ? -1 : static_cast<LONG>(found - start);
}

}  // namespace

int CKZString::Compare(const char* text, bool ignoreCase) const {
  if (m_block == nullptr) return text == nullptr ? 0 : -1;
  m_block->EnsureMbs();
  if (text == nullptr) return 1;
  if (ignoreCase) return platform::_stricmp(m_block->mbsBuffer, text);
  return CompareMbs(m_block->mbsBuffer, text);
}

int CKZString::Compare(const WCHAR* text, bool ignoreCase) const {
  if (m_block == nullptr) return text == nullptr ? 0 : -1;
  m_block->EnsureWide();
  if (text == nullptr) return 1;
  if (ignoreCase) return platform::_wcsicmp(m_block->wideBuffer, text);
  return CompareWide(m_block->wideBuffer, text);
}

int CKZString::Compare(const CKZString& other) const {
  // Also two null strings; a shared block is equal without reading text.
  if (m_block == other.m_block) return 0;
  if (m_block == nullptr) return -1;
  if (other.m_block == nullptr) return 1;
  // The encoding follows the forms present before the call: only a value
  // that lacks the wide form while the other has no multibyte form in common
  // gains one.
  if (!(HasWide() && other.HasWide()) && HasMbs() && other.HasMbs()) {
    return CompareMbs(m_block->mbsBuffer, other.m_block->mbsBuffer);
  }
  other.m_block->EnsureWide();
  m_block->EnsureWide();
  return CompareWideCounted(m_block->wideBuffer, m_block->wideLength,
                            other.m_block->wideBuffer,
                            other.m_block->wideLength);
}

bool CKZString::CaseLessEqual(const CKZString& other) const {
  if (m_block == other.m_block) return true;
  // A null string has neither form, so against a non-null one this is wide.
  if (!(HasWide() && other.HasWide()) && HasMbs() && other.HasMbs()) {
    return CaseLessEqual(static_cast<const char*>(other));
  }
  return CaseLessEqual(static_cast<const WCHAR*>(other));
}

bool CKZString::CaseLessEqual(const WCHAR* text) const {
  if (m_block == nullptr) return text == nullptr;
  m_block->EnsureWide();
  if (text == nullptr) return false;
  return WideCaseLessEqual(m_block->wideBuffer, text);
}

bool CKZString::CaseLessEqual(const char* text) const {
  if (m_block == nullptr) return text == nullptr;
  m_block->EnsureMbs();
  if (text == nullptr) return false;
  return MbsCaseLessEqual(m_block->mbsBuffer, text);
}

LONG CKZString::Find(WCHAR unit) const {
  if (m_block == nullptr) return -1;
  m_block->EnsureWide();
  const WCHAR* s = m_block->wideBuffer;
  const std::size_t end = std::size_t{m_block->wideLength} + 1;
  const std::size_t i = ScanForward(s, end, unit, true);
  return i < end && s[i] == unit ? static_cast<LONG>(i) : -1;
}

LONG CKZString::Find(const WCHAR* text) const {
  if (m_block == nullptr || text == nullptr || text[0] == 0) return -1;
  m_block->EnsureWide();
  const WCHAR* s = m_block->wideBuffer;
  const std::size_t end = TextEnd(s, m_block->wideLength);
  // A needle longer than the text can't match: stop measuring it there.
  std::size_t needleLength = 1;
  while (text[needleLength] != 0 && needleLength <= end) ++needleLength;
  if (needleLength > end) return -1;
  // Each place where the first unit matches is checked for the rest.
  const std::size_t last = end - needleLength;
  const std::size_t restBytes = (needleLength - 1) * sizeof(WCHAR);
  for (std::size_t i = 0; i <= last; ++i) {
    i += ScanForward(s + i, last - i + 1, text[0], false);
    if (i > last) break;
    if (std::memcmp(s + i + 1, text + 1, restBytes) == 0) {
      return static_cast<LONG>(i);
    }
  }
  return -1;
}

LONG CKZString::Find(char c) const {
  if (m_block == nullptr) return -1;
  m_block->EnsureMbs();
  const char* s = m_block->mbsBuffer;
  return Position(std::strchr(s, c), s);
}

LONG CKZString::Find(const char* text) const {
  if (m_block == nullptr || text == nullptr) return -1;
  m_block->EnsureMbs();
  const char* s = m_block->mbsBuffer;
  return Position(std::strstr(s, text), s);
}

LONG CKZString::ReverseFind(WCHAR unit) const {
  if (m_block == nullptr) return -1;
  m_block->EnsureWide();
  const WCHAR* s = m_block->wideBuffer;
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
  m_block->EnsureMbs();
  const char* s = m_block->mbsBuffer;
  return Position(std::strrchr(s, c), s);
}
