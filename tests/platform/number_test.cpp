// wcstol of the Windows run-time. Expected values were recorded under Wine
// 8.0 from the Windows build's run-time (msvcrt); the same rows run in both
// builds, so in the Windows build they hold the recording against the
// run-time itself.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>

#include "platform/platform.h"

#include "test_support.h"

namespace {

const WCHAR* U(const char16_t* text) {
  return reinterpret_cast<const WCHAR*>(text);
}

// The units that the run-time skips before a number.
const unsigned kSpaces[] = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,
                            0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003,
                            0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009,
                            0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
// The first unit of each run of ten that it reads as the digits 0 to 9.
const unsigned kZeros[] = {0x30,  0x660, 0x6F0,  0x966,  0x9E6,  0xA66,
                           0xAE6, 0xB66, 0xCE6,  0xC66,  0xD66,  0xE50,
                           0xED0, 0xF20, 0x1040, 0x17E0, 0x1810, 0xFF10};

// What base-10 wcstol gives for the text {unit, '7'}: white space and '+'
// give 7, '-' gives -7, a digit d gives 10 d + 7, each after both units;
// anything else gives 0 with the end at the start.
struct Expected {
  long value;
  int end;
};
Expected ForUnitThenSeven(unsigned unit) {
  for (unsigned space : kSpaces) {
    if (unit == space) return {7, 2};
  }
  if (unit == '+') return {7, 2};
  if (unit == '-') return {-7, 2};
  for (unsigned zero : kZeros) {
    if (unit >= zero && unit <= zero + 9) {
      return {static_cast<long>(unit - zero) * 10 + 7, 2};
    }
  }
  return {0, 0};
}

}  // namespace

// Every unit before a digit: catches white space or digits taken from the
// host's C library (which knows other sets), or a sign that swallows the
// unit behind it.
TEST(NumberParsing, EveryUnitBeforeADigit) {
  int wrong = 0;
  for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
    const WCHAR text[] = {static_cast<WCHAR>(unit), '7', 0};
    WCHAR* end = nullptr;
    const long value = platform::wcstol(text, &end, 10);
    const Expected expected = ForUnitThenSeven(unit);
    if (value != expected.value || end - text != expected.end) {
      ADD_FAILURE() << std::hex << "U+" << unit << std::dec << ": " << value
                    << " end " << (end - text) << ", want " << expected.value
                    << " end " << expected.end;
      if (++wrong > 10) break;
    }
  }
}

// Named texts in base 10: signs, white space only before the sign, the
// 32-bit range and its clamping, and where parsing stops.
TEST(NumberParsing, DecimalTexts) {
  struct Row {
    const char* name;
    const char16_t* text;
    long value;
    int end;
    bool range;  // errno ERANGE
  } rows[] = {
      {"empty", u"", 0, 0, false},
      {"blanks and sign", u"  -5", -5, 4, false},
      {"sign alone", u"+", 0, 0, false},
      {"minus alone", u"-", 0, 0, false},
      {"blank after sign", u"- 5", 0, 0, false},
      {"two signs", u"+-5", 0, 0, false},
      {"blank alone", u" ", 0, 0, false},
      {"leading zeros", u"007", 7, 3, false},
      {"minus zero", u"-0", 0, 2, false},
      {"stops at x", u"0x10", 0, 1, false},
      {"stops at dollar", u"5$x", 5, 1, false},
      {"dollar first", u"$5", 0, 0, false},
      {"stops at blank", u"1 2", 1, 1, false},
      {"ideographic blanks", u"\u3000\u30008", 8, 3, false},
      {"full-width digits", u"\uff11\uff12", 12, 2, false},
      {"mixed digits", u"12\uff13", 123, 3, false},
      {"largest", u"2147483647", 2147483647L, 10, false},
      {"one past largest", u"2147483648", 2147483647L, 10, true},
      {"smallest", u"-2147483648", -2147483647L - 1, 11, false},
      {"one past smallest", u"-2147483649", -2147483647L - 1, 11, true},
      {"eleven digits", u"99999999999", 2147483647L, 11, true},
      {"past 64 bits", u"99999999999999999999999", 2147483647L, 23, true},
      {"past 64 bits below", u"-9223372036854775809", -2147483647L - 1, 20,
       true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const WCHAR* text = U(row.text);
    WCHAR* end = nullptr;
    errno = 0;
    const long value = platform::wcstol(text, &end, 10);
    EXPECT_EQ(row.value, value);
    EXPECT_EQ(row.end, end - text);
    EXPECT_EQ(row.range ? ERANGE : 0, errno);
    EXPECT_EQ(value, platform::wcstol(text, nullptr, 10));
  }
}

// Other bases: the "0x" prefix (after any zero digit), base 0 choosing 8,
// 10 or 16, letters as digits, and bases the run-time refuses, which leave
// the end pointer alone.
TEST(NumberParsing, OtherBases) {
  WCHAR untouched[] = {0};
  struct Row {
    const char* name;
    const char16_t* text;
    int base;
    long value;
    int end;  // -1: *end not written
    int error;
  } rows[] = {
      {"hex", u"0x1A", 16, 26, 4, 0},
      {"hex by prefix", u"0x1A", 0, 26, 4, 0},
      {"octal by zero", u"010", 0, 8, 3, 0},
      {"base 36 lower", u"z", 36, 35, 1, 0},
      {"base 36 upper", u"Z", 36, 35, 1, 0},
      {"prefix alone", u"0x", 16, 0, 0, 0},
      {"prefix alone, base 0", u"0x", 0, 0, 0, 0},
      {"prefix, no digit", u"0xg", 16, 0, 0, 0},
      {"blank, sign, prefix", u" -0X1f", 0, -31, 6, 0},
      {"full-width letter", u"\uff21", 36, 0, 0, 0},
      {"octal", u"777", 8, 511, 3, 0},
      {"octal stops at 8", u"778", 8, 63, 2, 0},
      {"zero, base 0", u"0", 0, 0, 1, 0},
      {"nine after zero", u"09", 0, 0, 1, 0},
      {"hex smallest", u"-0x80000000", 16, -2147483647L - 1, 11, 0},
      {"hex past largest", u"0x80000000", 16, 2147483647L, 10, ERANGE},
      {"hex all ones", u"ffffffff", 16, 2147483647L, 8, ERANGE},
      {"Arabic-Indic", u"\u0669\u0660", 10, 90, 2, 0},
      {"digit at the base", u"\u0669", 9, 0, 0, 0},
      {"base 1", u"12", 1, 0, -1, EINVAL},
      {"base 37", u"12", 37, 0, -1, EINVAL},
      {"base -1", u"12", -1, 0, -1, EINVAL},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const WCHAR* text = U(row.text);
    WCHAR* end = untouched;
    errno = 0;
    EXPECT_EQ(row.value, platform::wcstol(text, &end, row.base));
    if (row.end < 0) {
      EXPECT_EQ(untouched, end);
    } else {
      EXPECT_EQ(row.end, end - text);
    }
    EXPECT_EQ(row.error, errno);
  }
}
