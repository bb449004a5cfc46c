// wcstol of the Windows run-time. Expected values were recorded under Wine
// 8.0 from the Windows build's run-time (msvcrt); the same rows run in both
// builds, so in the Windows build they hold the recording against the
// run-time itself.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"

namespace {

// The units that the run-time skips before a number.
const unsigned kSpaces[] = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,
                            0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003,
                            0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009,
                            0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
// The first unit of each run of ten that it reads as the digits 0 to 9.
const unsigned kZeros[] = {0x30,  0x660, 0x6F0,  0x966,  0x9E6,  0xA66,
                           0xAE6, 0xB66, 0xCE6,  0xC66,  0xD66,  0xE50,
                           0xED0, 0xF20, 0x1040, 0x17E0, 0x1810, 0xFF10};

// Every unit before a digit, in base 10: white space and '+' give 7, '-'
// gives -7, a digit d gives 10 d + 7, each after both units; anything else
// gives 0 with the end at the start. Catches white space or digits taken
// from the host's C library (which knows other sets), or a sign that
// swallows the unit behind it.
TEST(NumberParsing, EveryUnitBeforeADigit) {
  int wrong = 0;
  for (unsigned unit = 1; unit <= 0xFFFF && wrong <= 10; ++unit) {
    long value = unit == '+' ? 7 : unit == '-' ? -7 : 0;
    for (unsigned space : kSpaces) value = unit == space ? 7 : value;
    for (unsigned zero : kZeros) {
      if (unit >= zero && unit <= zero + 9) value = (unit - zero) * 10L + 7;
    }
    const long end = value != 0 ? 2 : 0;
    const WCHAR text[] = {static_cast<WCHAR>(unit), '7', 0};
    WCHAR* stop = nullptr;
    const long got = platform::wcstol(text, &stop, 10);
    if (got != value || stop - text != end) {
      ++wrong;
      ADD_FAILURE() << std::hex << "U+" << unit << std::dec << ": " << got
                    << " end " << (stop - text) << ", want " << value << " end "
                    << end;
    }
  }
}

// The recorded rows of data/number.txt: signs, white space only before the
// sign, the 32-bit range and its clamping, where parsing stops, the "0x"
// prefix, base 0 choosing 8, 10 or 16, letters as digits, and refused bases,
// which leave the end pointer alone. A null end pointer changes nothing.
TEST(NumberParsing, RecordedRows) {
  std::vector<kztest::Line> lines;
  ASSERT_TRUE(kztest::ReadDataFile("number.txt", &lines));
  for (const kztest::Line& line : lines) {
    SCOPED_TRACE(line.where);
    kztest::Fields fields(line);
    std::u16string name, text;
    std::int64_t base = 0, value = 0, end = -1;
    if (!fields.Text(&name) || !fields.Text(&text) ||
        !fields.Integer(-1, 37, &base) || !fields.Expect("=>") ||
        !fields.Integer(INT32_MIN, INT32_MAX, &value) ||
        !(fields.Word("untouched") || fields.Integer(0, 100, &end))) {
      continue;
    }
    const int error = fields.Word("ERANGE")   ? ERANGE
                      : fields.Word("EINVAL") ? EINVAL
                      : fields.Word("0")      ? 0
                                              : -1;
    if (error < 0 || !fields.AtEnd()) {
      fields.Fail("errno is 0, ERANGE or EINVAL, and ends the row");
      continue;
    }
    const std::basic_string<WCHAR> units(text.begin(), text.end());
    WCHAR untouched[] = {0};
    WCHAR* stop = untouched;
    errno = 0;
    EXPECT_EQ(value, platform::wcstol(units.c_str(), &stop, int(base)));
    EXPECT_EQ(end, stop == untouched ? -1 : stop - units.c_str());
    EXPECT_EQ(error, errno);
    EXPECT_EQ(value, platform::wcstol(units.c_str(), nullptr, int(base)));
  }
  EXPECT_GT(lines.size(), 40u) << "rows went missing";
}

}  // namespace
