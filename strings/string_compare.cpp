// CKZString: order, equality with and without case, and search.
//
// The wide form is searched and compared with our own loops: WCHAR is 16 bits
// on every platform while wchar_t is 32 bits on POSIX, so the run-time's wide
// functions can't be used there. The loops keep the C library's semantics
// (a text ends at its first zero unit, the terminator can be searched for),
// and where a form's length is known they look at many units at a time
// (strings/internal/wide_scan.h), never past the form's terminator. A
// client's text, whose length is unknown, is read one unit at a time.
#include <kzcommon/kzstring.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/platform.h"

#include "strings/internal/wide_scan.h"
#include "strings/string_block.h"

namespace {

inline int Order(unsigned a, unsigned b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}

// From this many units on, texts of the same length are first tried with
// memcmp, which the run-time does with wider loads than ours.
constexpr std::size_t kMemcmpFrom = 64;

// Keeps a rare path's calls, and the registers that they make a caller save,
// out of a fast path; and keeps the fast path in its caller, which the
// compiler's size estimate of the inlined scans would otherwise decide.
#if defined(__GNUC__)
#define KZ_OUT_OF_LINE __attribute__((noinline))
#define KZ_IN_LINE inline __attribute__((always_inline))
#else
#define KZ_OUT_OF_LINE
#define KZ_IN_LINE inline
#endif

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

// Two texts of the same length, terminated there, whose units before the
// terminators are the same, are the same text, whatever zeros lie inside;
// the ordered scan is for texts that differ. These are the wcscmp order of
// two forms of `length` units, for long and for short ones; the first is out
// of line, so that a short comparison makes no call.
KZ_OUT_OF_LINE int CompareLongSameLength(const WCHAR* a, const WCHAR* b,
                                         std::size_t length) {
  if (std::memcmp(a, b, length * sizeof(WCHAR)) == 0) return 0;
  const std::size_t i = kzscan::best::FirstMismatch(a, b, length + 1);
  return Order(a[i], b[i]);
}

// The same order for two forms whose lengths are known: both are terminated
// at their lengths, so the units up to the shorter length and its terminator
// are readable, and the scan meets a zero of one of them by then at the
// latest.
KZ_IN_LINE int CompareWideCounted(const WCHAR* a, std::uint32_t lengthA,
                                  const WCHAR* b, std::uint32_t lengthB) {
  if (lengthA == lengthB) {
    if (lengthA >= kMemcmpFrom) return CompareLongSameLength(a, b, lengthA);
    if (lengthA >= 8 && kzscan::best::SameUnits(a, b, lengthA)) return 0;
  }
  const std::size_t n = std::size_t{lengthA < lengthB ? lengthA : lengthB} + 1;
  const std::size_t i = kzscan::best::FirstMismatch(a, b, n);
  return Order(a[i], b[i]);
}

// strcmp, whose order is that of unsigned bytes, reduced to -1, 0 or 1.
int CompareMbs(const char* a, const char* b) {
  const int r = std::strcmp(a, b);
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

inline bool IsAscii(unsigned u) { return u < 0x80; }
inline bool IsSurrogate(unsigned u) { return (u & 0xF800) == 0xD800; }
inline bool IsHighSurrogate(unsigned u) { return (u & 0xFC00) == 0xD800; }

// _wcsicmp(a, b) == 0, with the run-time asked only about units that aren't
// ASCII. The units [0, n] of both texts are readable, and one of them ends
// by n: the shorter length, or the text's length where it is shorter than
// the form. The scan passes the pairs that the ASCII fold makes equal and
// stops at any other; a pair of ASCII units that stops it differs after the
// fold or is the common end. The run-time folds unit by unit, so a pair that
// isn't plain ASCII is asked about alone and the walk goes on. Surrogates are
// handed to the run-time with the rest of the text, from the start of their
// pair, so a fold that treats a pair as one character gives the same answer
// too.
bool WideCaseLessEqual(const WCHAR* a, const WCHAR* b, std::size_t n) {
  for (std::size_t i = 0;; ++i) {
    i += kzscan::best::FoldedMismatch(a + i, b + i, n - i);
    const unsigned x = a[i];
    const unsigned y = b[i];
    if (IsAscii(x) && IsAscii(y)) return x == y;
    if (x == y) {
      if (IsHighSurrogate(x) && a[i + 1] != b[i + 1]) {
        return platform::_wcsicmp(a + i, b + i) == 0;
      }
      continue;
    }
    if (IsSurrogate(x) || IsSurrogate(y)) {
      return platform::_wcsicmp(a + i, b + i) == 0;
    }
    // A non-ASCII unit can fold to an ASCII one (KELVIN SIGN to 'k'), so the
    // run-time decides every pair that isn't ASCII on both sides.
    const WCHAR one[2] = {a[i], 0};
    const WCHAR other[2] = {b[i], 0};
    if (platform::_wcsicmp(one, other) != 0) return false;
  }
}

// How many leading units of `text` are known to exist without reading past
// its end, up to `limit`: the text's length or `limit`, whichever is less.
std::size_t KnownUnits(const WCHAR* text, std::uint32_t limit) {
  std::size_t k = 0;
  while (k < limit && text[k] != 0) ++k;
  return k;
}

// The forms, built on first use; the test keeps the call out of the way once
// a form is there. nullptr when memory runs out: the value then answers as
// if it sorted first - equal to nothing, before everything, holding
// nothing.
inline const WCHAR* WideForm(CKZStringBlock* block) {
  if (block->wideBuffer == nullptr && !kzblock::EnsureWide(*block)) {
    return nullptr;
  }
  return block->wideBuffer;
}
inline const char* MbsForm(CKZStringBlock* block) {
  if (block->mbsBuffer == nullptr && !kzblock::EnsureMbs(*block)) {
    return nullptr;
  }
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

// Compare with another string when one of the two lacks a wide form: the
// encoding chosen, the missing form built. Out of line, so that Compare
// itself makes no call when both values are wide.
KZ_OUT_OF_LINE int CompareBuildingForms(CKZStringBlock* mine,
                                        CKZStringBlock* theirs) {
  if (ChooseMbs(mine, theirs)) {
    return CompareMbs(mine->mbsBuffer, theirs->mbsBuffer);
  }
  const WCHAR* theirWide = WideForm(theirs);
  if (theirWide == nullptr) return 1;
  const WCHAR* myWide = WideForm(mine);
  if (myWide == nullptr) return -1;
  return CompareWideCounted(myWide, mine->wideLength, theirWide,
                            theirs->wideLength);
}

}  // namespace

int CKZString::Compare(const char* text, bool ignoreCase) const {
  if (m_block == nullptr) return text == nullptr ? 0 : -1;
  const char* form = MbsForm(m_block);
  if (text == nullptr) return 1;
  if (form == nullptr) return -1;
  if (ignoreCase) return platform::_stricmp(form, text);
  return CompareMbs(form, text);
}

int CKZString::Compare(const WCHAR* text, bool ignoreCase) const {
  if (m_block == nullptr) return text == nullptr ? 0 : -1;
  const WCHAR* form = WideForm(m_block);
  if (text == nullptr) return 1;
  if (form == nullptr) return -1;
  if (ignoreCase) return platform::_wcsicmp(form, text);
  return CompareWide(form, text);
}

int CKZString::Compare(const CKZString& other) const {
  const CKZStringBlock* mine = m_block;
  const CKZStringBlock* theirs = other.m_block;
  // Also two null strings; a shared block is equal without reading text.
  if (mine == theirs) return 0;
  if (mine == nullptr) return -1;
  if (theirs == nullptr) return 1;
  // Both wide, the usual case, first: it builds nothing.
  if (mine->wideBuffer != nullptr && theirs->wideBuffer != nullptr) {
    return CompareWideCounted(mine->wideBuffer, mine->wideLength,
                              theirs->wideBuffer, theirs->wideLength);
  }
  return CompareBuildingForms(m_block, other.m_block);
}

bool CKZString::CaseLessEqual(const CKZString& other) const {
  if (m_block == other.m_block) return true;
  // A null string has neither form: against it the text overloads decide.
  if (m_block == nullptr || other.m_block == nullptr) {
    const WCHAR* theirs = other;
    if (other.m_block != nullptr && theirs == nullptr) return false;
    return CaseLessEqual(theirs);
  }
  if (ChooseMbs(m_block, other.m_block)) {
    return platform::_stricmp(m_block->mbsBuffer, other.m_block->mbsBuffer) ==
           0;
  }
  const WCHAR* theirs = WideForm(other.m_block);
  const WCHAR* mine = WideForm(m_block);
  if (theirs == nullptr || mine == nullptr) return false;
  const std::uint32_t a = m_block->wideLength;
  const std::uint32_t b = other.m_block->wideLength;
  return WideCaseLessEqual(mine, theirs, a < b ? a : b);
}

bool CKZString::CaseLessEqual(const WCHAR* text) const {
  if (m_block == nullptr) return text == nullptr;
  const WCHAR* form = WideForm(m_block);
  if (text == nullptr || form == nullptr) return false;
  return WideCaseLessEqual(form, text, KnownUnits(text, m_block->wideLength));
}

bool CKZString::CaseLessEqual(const char* text) const {
  if (m_block == nullptr) return text == nullptr;
  const char* form = MbsForm(m_block);
  if (text == nullptr || form == nullptr) return false;
  return platform::_stricmp(form, text) == 0;
}

LONG CKZString::Find(WCHAR unit) const {
  if (m_block == nullptr) return -1;
  const WCHAR* s = WideForm(m_block);
  if (s == nullptr) return -1;
  // The terminator at the length is a zero: the scan stops by then.
  const std::size_t i =
      kzscan::best::FirstOf(s, std::size_t{m_block->wideLength} + 1, unit);
  return i <= m_block->wideLength && s[i] == unit ? static_cast<LONG>(i) : -1;
}

LONG CKZString::Find(const WCHAR* text) const {
  if (m_block == nullptr || text == nullptr || text[0] == 0) return -1;
  const WCHAR* s = WideForm(m_block);
  if (s == nullptr) return -1;
  const std::size_t found =
      kzscan::best::FindText(s, m_block->wideLength, text);
  return found == kzscan::kNone ? -1 : static_cast<LONG>(found);
}

LONG CKZString::Find(char c) const {
  if (m_block == nullptr) return -1;
  const char* s = MbsForm(m_block);
  if (s == nullptr) return -1;
  return Position(std::strchr(s, c), s);
}

LONG CKZString::Find(const char* text) const {
  if (m_block == nullptr || text == nullptr) return -1;
  const char* s = MbsForm(m_block);
  if (s == nullptr) return -1;
  return Position(std::strstr(s, text), s);
}

LONG CKZString::ReverseFind(WCHAR unit) const {
  if (m_block == nullptr) return -1;
  const WCHAR* s = WideForm(m_block);
  if (s == nullptr) return -1;
  const std::size_t length = m_block->wideLength;
  if (unit == 0)
    return static_cast<LONG>(kzscan::best::FirstOf(s, length + 1, 0));
  // Search from the end, then make sure no zero unit ends the text before
  // the place found; if one does, search again before the first zero, which
  // is then the end of the text. Each unit is looked at twice at most.
  std::size_t end = length;
  for (;;) {
    const std::size_t found = kzscan::best::LastOf(s, end, unit);
    if (found == kzscan::kNone) return -1;
    const std::size_t zero = kzscan::best::FirstOf(s, found, 0);
    if (zero == found) return static_cast<LONG>(found);
    end = zero;
  }
}

LONG CKZString::ReverseFind(char c) const {
  if (m_block == nullptr) return -1;
  const char* s = MbsForm(m_block);
  if (s == nullptr) return -1;
  return Position(std::strrchr(s, c), s);
}
