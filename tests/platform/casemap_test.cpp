// Case mapping of 16-bit units and the case-folding comparisons against
// data/casemap.txt, recorded from the Windows run-time under Wine. Natively
// the rows check platform/posix/casemap_table.inc and its lookup, in the
// Windows build the run-time itself, so a table that drifts from Windows
// fails on one build or the other.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"
#include "test_support.h"

namespace {

// "unit lower upper" in four hex digits each: sets the unit's entry.
bool ParseMapping(const kztest::Line& line, std::vector<std::uint32_t>* table) {
  std::int64_t units[3] = {};
  for (std::size_t i = 0; i < 3 && line.fields.size() == 3; ++i) {
    const kztest::Field& field = line.fields[i];
    if (field.quoted || field.bare.size() != 4 ||
        !kztest::ParseInteger("0x" + field.bare, &units[i])) {
      break;
    }
    if (i == 2) {
      (*table)[units[0]] = std::uint32_t(units[1] << 16 | units[2]);
      return true;
    }
  }
  ADD_FAILURE() << line.where << ": expected unit lower upper in hex";
  return false;
}

// "name locales a b => sign": the sign of compare(a, b), with a and b as
// bytes or as units, if the row holds in the current locale.
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

// Every unit maps as recorded: in the C locale only the ASCII letters
// change, in the multibyte one the full table applies, and every unit the
// file leaves out maps to itself. Catches a wrong or missing entry of the
// table (the letters Windows leaves alone, such as U+00B5, U+0130, U+01C5,
// U+03C2 and U+212A; pairs whose halves are far apart, such as U+00FF and
// U+0178), a fallback on the C library's tables, and a C locale that maps
// more than ASCII. Then _stricmp and _wcsicmp on the rows of the current
// locale: the order of '[', '_' and letters, signed bytes in C, and which
// units fold where.
TEST(CaseMapping, RecordedTables) {
  std::vector<kztest::Line> lines;
  ASSERT_TRUE(kztest::ReadDataFile("casemap.txt", &lines));
  // [0]: the C locale, [1]: any other; lower case << 16 | upper case.
  std::vector<std::uint32_t> tables[2];
  int mapped[2] = {0, 0};
  for (std::vector<std::uint32_t>& table : tables) {
    for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
      table.push_back(unit << 16 | unit);
    }
  }
  int compared = 0;
  for (const kztest::Line& line : lines) {
    const std::string& section = line.section;
    if (section == "mapping:C" || section == "mapping:other") {
      const int which = section == "mapping:C" ? 0 : 1;
      mapped[which] += ParseMapping(line, &tables[which]);
    } else if (section == "_stricmp") {
      compared += Compare<char>(line, platform::_stricmp);
    } else if (section == "_wcsicmp") {
      compared += Compare<WCHAR>(line, platform::_wcsicmp);
    } else {
      ADD_FAILURE() << line.where << ": row outside a known [section]";
    }
  }
  // 52 ASCII letters in C, some 2300 units elsewhere.
  EXPECT_EQ(52, mapped[0]) << "mapping rows went missing";
  EXPECT_GE(mapped[1], 2000) << "mapping rows went missing";
  EXPECT_GE(compared, 20) << "comparison rows went missing";

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
  // A null text is refused with the run-time's error value, not a crash.
  for (int which = 0; which < 2; ++which) {
    EXPECT_EQ(0x7FFFFFFF,
              platform::_stricmp(which ? "a" : nullptr, which ? nullptr : "a"));
    EXPECT_EQ(0x7FFFFFFF, platform::_wcsicmp(which ? OLESTR("a") : nullptr,
                                             which ? nullptr : OLESTR("a")));
  }
}

}  // namespace
