// The character functions against rows recorded under Wine in data/ (case
// mapping and comparison, conversions, wcstol), the same rows on both builds.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"
#include "test_support.h"

namespace {

constexpr std::size_t kFail = static_cast<std::size_t>(-1);
constexpr std::size_t kNoDst = static_cast<std::size_t>(-2);  // room: none

// "name locales source room => result written [terminated]"; a sentinel
// after `room` shows a write past the limit or a stray terminator.
template <typename Out, typename In>
bool Check(std::size_t (*convert)(Out*, const In*, std::size_t),
           const kztest::Line& line, Out sentinel) {
  SCOPED_TRACE(line.where);
  kztest::Fields fields(line);
  std::u16string name, source, expected;
  bool here = false, null = false;
  std::int64_t room = kNoDst, result = kFail;
  if (!fields.Text(&name) || !fields.Locales(&here) ||
      !fields.TextOrNull(&source, &null) ||
      !(fields.Word("nodst") || fields.Integer(0, 1000, &room)) ||
      !fields.Expect("=>") ||
      !(fields.Word("fail") || fields.Integer(0, 1000, &result)) ||
      !fields.Text(&expected)) {
    return false;
  }
  const bool terminated = fields.Word("terminated");
  if (!fields.AtEnd()) return fields.Fail("text after the row");
  if (!here) return false;
  std::basic_string<In> text(source.begin(), source.end());
  const In* src = null ? nullptr : text.c_str();
  if (static_cast<std::size_t>(room) == kNoDst) {
    EXPECT_EQ(static_cast<std::size_t>(result), convert(nullptr, src, 0));
    return true;
  }
  std::vector<Out> buffer(static_cast<std::size_t>(room) + 3, sentinel);
  const std::size_t got = convert(buffer.data(), src, std::size_t(room));
  EXPECT_EQ(static_cast<std::size_t>(result), got);
  if (got == kFail || got != static_cast<std::size_t>(result)) return true;
  std::u16string want = expected, written;
  if (terminated) want.push_back(0);
  want.resize(buffer.size(), std::make_unsigned_t<Out>(sentinel));
  for (Out unit : buffer) written.push_back(std::make_unsigned_t<Out>(unit));
  EXPECT_EQ(want, written) << "then the terminator and the sentinel";
  return true;
}

// The units skipped before a number, and the zeros of the digit runs.
const unsigned kSpaces[] = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,
                            0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003,
                            0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009,
                            0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
const unsigned kZeros[] = {0x30,  0x660, 0x6F0,  0x966,  0x9E6,  0xA66,
                           0xAE6, 0xB66, 0xCE6,  0xC66,  0xD66,  0xE50,
                           0xED0, 0xF20, 0x1040, 0x17E0, 0x1810, 0xFF10};

// Every unit before "7". Faults: white space or digits from the host's C
// library (which knows other sets), a sign that swallows the next unit.
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

// "name locales a b => sign".
template <typename Unit>
bool Compare(const kztest::Line& line,
             int (*compare)(const Unit*, const Unit*)) {
  kztest::Fields fields(line);
  std::u16string name, a, b;
  bool here = false;
  std::int64_t sign = 0;
  if (!fields.Text(&name) || !fields.Locales(&here) || !fields.Text(&a) ||
      !fields.Text(&b) || !fields.Expect("=>") ||
      !fields.Integer(-1, 1, &sign) ||
      (!fields.AtEnd() && fields.Fail("text after the row")) || !here) {
    return false;
  }
  const std::basic_string<Unit> x(a.begin(), a.end()), y(b.begin(), b.end());
  EXPECT_EQ(sign, kztest::Sign(compare(x.c_str(), y.c_str())))
      << line.where << " " << std::string(name.begin(), name.end());
  return true;
}

// "name "text" base => value end errno", also with a null end pointer.
bool CheckNumber(const kztest::Line& line) {
  SCOPED_TRACE(line.where);
  kztest::Fields fields(line);
  std::u16string name, text;
  std::int64_t base = 0, value = 0, end = -1;
  if (!fields.Text(&name) || !fields.Text(&text) ||
      !fields.Integer(-1, 37, &base) || !fields.Expect("=>") ||
      !fields.Integer(INT32_MIN, INT32_MAX, &value) ||
      !(fields.Word("untouched") || fields.Integer(0, 100, &end))) {
    return false;
  }
  const int error = fields.Word("ERANGE")   ? ERANGE
                    : fields.Word("EINVAL") ? EINVAL
                    : fields.Word("0")      ? 0
                                            : -1;
  if (error < 0 || !fields.AtEnd()) {
    return fields.Fail("errno is 0, ERANGE or EINVAL, and ends the row");
  }
  const std::basic_string<WCHAR> units(text.begin(), text.end());
  WCHAR untouched[] = {0};
  WCHAR* stop = untouched;
  errno = 0;
  EXPECT_EQ(value, platform::wcstol(units.c_str(), &stop, int(base)));
  EXPECT_EQ(end, stop == untouched ? -1 : stop - units.c_str());
  EXPECT_EQ(error, errno);
  EXPECT_EQ(value, platform::wcstol(units.c_str(), nullptr, int(base)));
  return true;
}

// Every row for the current locale (what each group catches is said in the
// file), every unit's case mapping (a unit left out maps to itself), and a
// null text to _stricmp or _wcsicmp refused with the run-time's error value.
TEST(CharacterFunctions, RecordedRows) {
  // [0]: the C locale, [1]: any other; lower case << 16 | upper case.
  std::vector<std::uint32_t> tables[2];
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    tables[0].push_back(unit << 16 | unit);
  }
  tables[1] = tables[0];
  std::map<std::string, int> ran;
  for (const char* file : {"casemap.txt", "conversions.txt", "number.txt"}) {
    std::vector<kztest::Line> lines;
    ASSERT_TRUE(kztest::ReadDataFile(file, &lines));
    for (const kztest::Line& line : lines) {
      const std::string& section = line.section;
      kztest::Fields fields(line);
      std::int64_t u[3] = {};
      bool done = false;
      if (section == "mapping:C" || section == "mapping:other") {
        done = line.fields.size() == 3;
        for (int i = 0; i < 3 && done; ++i) {
          const kztest::Field& field = line.fields[i];
          done = !field.quoted && field.bare.size() == 4 &&
                 kztest::ParseInteger("0x" + field.bare, &u[i]);
        }
        if (!done) fields.Fail("expected unit lower upper in hex");
        if (done) {
          tables[section == "mapping:other"][u[0]] =
              std::uint32_t(u[1] << 16 | u[2]);
        }
      } else if (section == "_stricmp") {
        done = Compare<char>(line, platform::_stricmp);
      } else if (section == "_wcsicmp") {
        done = Compare<WCHAR>(line, platform::_wcsicmp);
      } else if (section == "mbstowcs") {
        done = Check(platform::mbstowcs, line, WCHAR(0xAAAA));
      } else if (section == "wcstombs") {
        done = Check(platform::wcstombs, line, char(0x5A));
      } else if (section == "MbsToWideReplacing") {
        done = Check(platform::MbsToWideReplacing, line, WCHAR(0xAAAA));
      } else if (section == "WideToMbsReplacing") {
        done = Check(platform::WideToMbsReplacing, line, char(0x5A));
      } else if (section == "wcstol") {
        done = CheckNumber(line);
      } else {
        ADD_FAILURE() << line.where << ": row outside a known [section]";
      }
      ran[section] += done;
    }
  }
  EXPECT_EQ(52, ran["mapping:C"]) << "rows went missing";
  EXPECT_GE(ran["mapping:other"], 2000) << "rows went missing";
  EXPECT_GE(ran["_stricmp"] + ran["_wcsicmp"], 20) << "rows went missing";
  EXPECT_GT(ran["mbstowcs"] + ran["wcstombs"], 20) << "rows went missing";
  EXPECT_GT(ran["wcstol"], 40) << "rows went missing";
  const std::vector<std::uint32_t>& table =
      tables[kztest::MultibyteLocale() ? 1 : 0];
  int wrong = 0;
  for (unsigned unit = 0; unit <= 0xFFFF && wrong <= 10; ++unit) {
    const WCHAR w = static_cast<WCHAR>(unit);
    const std::uint32_t got =
        std::uint32_t(platform::towlower(w)) << 16 | platform::towupper(w);
    if (got != table[unit]) {
      ++wrong;
      ADD_FAILURE() << std::hex << "U+" << unit << " lower << 16 | upper "
                    << got << ", want " << table[unit];
    }
  }
  EXPECT_EQ(0x7FFFFFFF, platform::_stricmp(nullptr, "a"));
  EXPECT_EQ(0x7FFFFFFF, platform::_stricmp("a", nullptr));
  EXPECT_EQ(0x7FFFFFFF, platform::_wcsicmp(nullptr, OLESTR("a")));
  EXPECT_EQ(0x7FFFFFFF, platform::_wcsicmp(OLESTR("a"), nullptr));
}

}  // namespace
