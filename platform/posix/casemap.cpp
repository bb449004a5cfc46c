// Case mapping of 16-bit units and the case-folding comparisons, as the
// Windows run-time does them. In the "C" locale only ASCII letters have case.
// In every other locale a unit maps by one table, taken from the Windows
// run-time itself (tools/README.md says how); it is the same in all the code
// pages we checked, single-byte and double-byte alike, so it doesn't depend
// on the locale here either. The C library's own tables are never consulted:
// they differ from Windows in a few dozen units (U+00B5, U+0130, U+01C5,
// U+03C2, U+1E9E, U+212A, ...).
#include <cstdint>
#include <cstdio>
#include <cwchar>

#include "platform/platform.h"
#include "platform/posix/locale_kind.h"

namespace {

#include "platform/posix/casemap_table.inc"

// The value the Windows run-time returns for a null argument.
constexpr int kNlsCompareError = 0x7FFFFFFF;

template <std::size_t N>
WCHAR MapByRuns(const CaseRun (&runs)[N], WCHAR c) {
  // The last run that starts at or before c is the only one that can hold it.
  std::size_t low = 0, high = N;
  while (low < high) {
    std::size_t mid = low + (high - low) / 2;
    if (runs[mid].first <= c) {
      low = mid + 1;
    } else {
      high = mid;
    }
  }
  if (low == 0) return c;
  const CaseRun& run = runs[low - 1];
  if (c > run.last || (c - run.first) % run.stride != 0) return c;
  return static_cast<WCHAR>(c + run.delta);
}

WCHAR AsciiLower(WCHAR c) {
  return c >= 'A' && c <= 'Z' ? static_cast<WCHAR>(c + 32) : c;
}
WCHAR AsciiUpper(WCHAR c) {
  return c >= 'a' && c <= 'z' ? static_cast<WCHAR>(c - 32) : c;
}

WCHAR FullLower(WCHAR c) {
  return c < 0x80 ? AsciiLower(c) : MapByRuns(kLowerRuns, c);
}

int AsciiLowerByte(int c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; }

// A byte of a single-byte locale other than "C": through the character it
// stands for, the table, and back, as the Windows run-time folds code page
// bytes. A byte without a character, or whose lower case has no byte, stays.
int LocaleLowerByte(unsigned char byte) {
  if (byte < 0x80) return AsciiLowerByte(byte);
  std::wint_t wide = std::btowc(byte);
  if (wide == WEOF || wide > 0xFFFF) return byte;
  WCHAR lower = FullLower(static_cast<WCHAR>(wide));
  int back = std::wctob(static_cast<std::wint_t>(lower));
  return back == EOF ? byte : static_cast<unsigned char>(back);
}

}  // namespace

namespace platform {

// towlower
//
// PARAMS   c [I] a 16-bit unit
// RETURNS  its lower case: by ASCII alone in the "C" locale, by the Windows
//          run-time's table in any other
// NOTES    Surrogates and units without case come back unchanged, and so do
//          title-case letters and the letters that Windows leaves alone
//          (U+0130, U+212A, ...). tests/platform/crt_test.cpp sweeps all
//          65536 units on both builds against tests/platform/data/casemap.txt.
WCHAR towlower(WCHAR c) {
  if (c < 0x80) return AsciiLower(c);
  if (posix::IsCLocale()) return c;
  return MapByRuns(kLowerRuns, c);
}

// towupper
//
// PARAMS   c [I] a 16-bit unit
// RETURNS  its upper case, by the same rules as towlower
WCHAR towupper(WCHAR c) {
  if (c < 0x80) return AsciiUpper(c);
  if (posix::IsCLocale()) return c;
  return MapByRuns(kUpperRuns, c);
}

// _stricmp
//
// PARAMS   a, b [I] zero-terminated bytes
// RETURNS  the difference of the first pair of bytes that differ after
//          folding to lower case, 0 if none; 0x7FFFFFFF if either is null
// NOTES    In the "C" locale only A-Z fold, and the bytes compare as signed
//          chars, as the Windows build's run-time does (under Wine): 0x80-0xFF
//          sort before the terminator and before ASCII there. In any other
//          locale bytes compare unsigned. A multibyte locale (UTF-8 here) folds
//          no byte of 0x80 and above: they are parts of characters, not
//          letters. A single-byte locale other than "C" folds them through the
//          character they stand for.
int _stricmp(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return kNlsCompareError;
  const posix::LocaleKind kind = posix::CurrentLocaleKind();
  if (kind == posix::LocaleKind::kC) {
    for (;; ++a, ++b) {
      int ca = AsciiLowerByte(static_cast<signed char>(*a));
      int cb = AsciiLowerByte(static_cast<signed char>(*b));
      if (ca != cb || ca == 0) return ca - cb;
    }
  }
  const bool foldHigh = kind == posix::LocaleKind::kOther && MB_CUR_MAX == 1;
  for (;; ++a, ++b) {
    unsigned char ba = static_cast<unsigned char>(*a);
    unsigned char bb = static_cast<unsigned char>(*b);
    int ca = foldHigh ? LocaleLowerByte(ba) : AsciiLowerByte(ba);
    int cb = foldHigh ? LocaleLowerByte(bb) : AsciiLowerByte(bb);
    if (ca != cb || ca == 0) return ca - cb;
  }
}

// _wcsicmp
//
// PARAMS   a, b [I] zero-terminated 16-bit units
// RETURNS  the difference of the first pair of units that differ after
//          towlower, 0 if none; 0x7FFFFFFF if either is null
// NOTES    The locale is read once per call, not once per unit.
int _wcsicmp(const WCHAR* a, const WCHAR* b) {
  if (a == nullptr || b == nullptr) return kNlsCompareError;
  WCHAR (*lower)(WCHAR) = posix::IsCLocale() ? AsciiLower : FullLower;
  for (;; ++a, ++b) {
    int ca = lower(*a);
    int cb = lower(*b);
    if (ca != cb || ca == 0) return ca - cb;
  }
}

}  // namespace platform
