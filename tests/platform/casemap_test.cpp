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
#include "locale_kind.h"
#include "test_support.h"

namespace {

using kztest::CurrentLocaleKind;
using kztest::LocaleKind;
using kztest::Sign;

struct Mapping {
  std::uint16_t lower;
  std::uint16_t upper;
};

bool ParseUnit(const kztest::Field& field, std::uint16_t* unit) {
  std::int64_t value = 0;
  if (field.quoted || field.bare.size() != 4 ||
      !kztest::ParseInteger("0x" + field.bare, &value)) {
    return false;
  }
  *unit = static_cast<std::uint16_t>(value);
  return true;
}

// "unit lower upper": fills the unit's entry in `table`.
bool ParseMapping(const kztest::Line& line, std::vector<Mapping>* table) {
  std::uint16_t unit = 0, lower = 0, upper = 0;
  if (line.fields.size() != 3 || !ParseUnit(line.fields[0], &unit) ||
      !ParseUnit(line.fields[1], &lower) ||
      !ParseUnit(line.fields[2], &upper)) {
    ADD_FAILURE() << line.where << ": expected unit lower upper in hex";
    return false;
  }
  (*table)[unit] = {lower, upper};
  return true;
}

// "name locales a b => sign", a and b as bytes or as units.
template <typename Unit>
bool ParseCompare(const kztest::Line& line, std::string* name,
                  unsigned* locales, std::basic_string<Unit>* a,
                  std::basic_string<Unit>* b, int* sign) {
  kztest::Fields fields(line);
  std::u16string text[3];
  const kztest::Field* field = nullptr;
  std::int64_t value = 0;
  if (!fields.Text(&text[0]) || !fields.Take(&field)) return false;
  if (field->quoted || !kztest::ParseLocales(field->bare, locales)) {
    return fields.Fail("expected the locales");
  }
  if (!fields.Text(&text[1]) || !fields.Text(&text[2]) ||
      !fields.Expect("=>") || !fields.Integer(-1, 1, &value)) {
    return false;
  }
  if (!fields.AtEnd()) return fields.Fail("text after the row");
  name->assign(text[0].begin(), text[0].end());
  for (int i = 1; i <= 2; ++i) {
    std::basic_string<Unit>& out = i == 1 ? *a : *b;
    for (char16_t unit : text[i]) {
      if (sizeof(Unit) == 1 && unit > 0xFF) return fields.Fail("not a byte");
      out.push_back(static_cast<Unit>(unit));
    }
  }
  *sign = static_cast<int>(value);
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
  const bool c = CurrentLocaleKind() == LocaleKind::kC;
  // [0]: the C locale, [1]: any other.
  std::vector<Mapping> tables[2];
  int mapped[2] = {0, 0};
  for (std::vector<Mapping>& table : tables) {
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
      table.push_back(
          {static_cast<std::uint16_t>(unit), static_cast<std::uint16_t>(unit)});
    }
  }
  std::string section;
  int compared = 0;
  for (const kztest::Line& line : lines) {
    const kztest::Field& first = line.fields[0];
    if (line.fields.size() == 1 && !first.quoted && first.bare.size() > 2 &&
        first.bare.front() == '[' && first.bare.back() == ']') {
      section = first.bare.substr(1, first.bare.size() - 2);
      continue;
    }
    std::string name;
    unsigned locales = 0;
    int sign = 0;
    if (section == "mapping:C" || section == "mapping:other") {
      const int which = section == "mapping:C" ? 0 : 1;
      if (ParseMapping(line, &tables[which])) ++mapped[which];
    } else if (section == "_stricmp") {
      std::string a, b;
      if (ParseCompare(line, &name, &locales, &a, &b, &sign) &&
          kztest::InCurrentLocale(locales)) {
        ++compared;
        EXPECT_EQ(sign, Sign(platform::_stricmp(a.c_str(), b.c_str())))
            << line.where << " " << name;
      }
    } else if (section == "_wcsicmp") {
      std::basic_string<WCHAR> a, b;
      if (ParseCompare(line, &name, &locales, &a, &b, &sign) &&
          kztest::InCurrentLocale(locales)) {
        ++compared;
        EXPECT_EQ(sign, Sign(platform::_wcsicmp(a.c_str(), b.c_str())))
            << line.where << " " << name;
      }
    } else {
      ADD_FAILURE() << line.where << ": row outside a known [section]";
    }
  }
  // 52 ASCII letters in C, some 2300 units elsewhere.
  EXPECT_EQ(52, mapped[0]) << "mapping rows went missing";
  EXPECT_GE(mapped[1], 2000) << "mapping rows went missing";
  EXPECT_GE(compared, 20) << "comparison rows went missing";

  const std::vector<Mapping>& table = tables[c ? 0 : 1];
  int wrong = 0;
  for (unsigned unit = 0; unit <= 0xFFFF && wrong <= 10; ++unit) {
    const WCHAR w = static_cast<WCHAR>(unit);
    const unsigned lower = platform::towlower(w);
    const unsigned upper = platform::towupper(w);
    if (lower != table[unit].lower || upper != table[unit].upper) {
      ++wrong;
      ADD_FAILURE() << std::hex << "U+" << unit << " lower " << lower
                    << " (want " << table[unit].lower << ") upper " << upper
                    << " (want " << table[unit].upper << ")";
    }
  }
}

// A null text is refused with the run-time's error value, not a crash.
TEST(CaseFoldCompare, NullTextGivesTheErrorValue) {
  const int kError = 0x7FFFFFFF;
  EXPECT_EQ(kError, platform::_stricmp(nullptr, "a"));
  EXPECT_EQ(kError, platform::_stricmp("a", nullptr));
  EXPECT_EQ(kError, platform::_wcsicmp(nullptr, OLESTR("a")));
  EXPECT_EQ(kError, platform::_wcsicmp(OLESTR("a"), nullptr));
}

}  // namespace
