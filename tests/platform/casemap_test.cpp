// Case mapping of 16-bit units and the case-folding comparisons. Expected
// values are those of the Windows run-time under Wine; the same tables run
// in both builds, keyed on the locale where the locale decides.
#include <gtest/gtest.h>

#include <cstdint>

#include "platform/platform.h"

#include "locale_kind.h"
#include "test_support.h"

namespace {

namespace generated {
#include "platform/posix/casemap_table.inc"
}  // namespace generated

using kztest::CurrentLocaleKind;
using kztest::LocaleKind;
using kztest::Sign;

bool CLocale() { return CurrentLocaleKind() == LocaleKind::kC; }

// The generated runs read the slow way, independently of the lookup that
// the POSIX build does with them.
template <std::size_t N>
unsigned ByRuns(const generated::CaseRun (&runs)[N], unsigned unit) {
  for (const generated::CaseRun& run : runs) {
    if (unit >= run.first && unit <= run.last &&
        (unit - run.first) % run.stride == 0) {
      return (unit + run.delta) & 0xFFFF;
    }
  }
  return unit;
}

// Every unit maps as expected. In the C locale only ASCII letters change:
// catches a fallback on a full table, or an ASCII mapping off by one at A,
// Z, a or z. In any other locale the generated table decides: in the
// Windows build this holds the checked-in table against the run-time
// itself, so a stale table fails; natively it checks the table lookup.
TEST(CaseMapping, EveryUnitMapsAsExpected) {
  const bool c = CLocale();
  int wrong = 0;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const WCHAR w = static_cast<WCHAR>(unit);
    const bool upperAscii = unit >= 'A' && unit <= 'Z';
    const bool lowerAscii = unit >= 'a' && unit <= 'z';
    const unsigned lower = !c           ? ByRuns(generated::kLowerRuns, unit)
                           : upperAscii ? unit + 32
                                        : unit;
    const unsigned upper = !c           ? ByRuns(generated::kUpperRuns, unit)
                           : lowerAscii ? unit - 32
                                        : unit;
    if (platform::towlower(w) != lower || platform::towupper(w) != upper) {
      ADD_FAILURE() << std::hex << "U+" << unit << " lower "
                    << unsigned{platform::towlower(w)} << " (want " << lower
                    << ") upper " << unsigned{platform::towupper(w)}
                    << " (want " << upper << ")";
      if (++wrong > 10) break;
    }
  }
}

// Named units whose mapping a table from another source gets wrong: the
// letters Windows leaves alone (U+00B5, U+0130, U+01C5, U+03C2, U+212A,
// ...), pairs whose two halves are far apart (U+00FF/U+0178, U+2C65/U+023A),
// and units without case at the ends of the range.
TEST(CaseMapping, NamedUnits) {
  struct Row {
    const char* name;
    WCHAR unit;
    WCHAR lowerC, upperC;          // in the C locale
    WCHAR lowerOther, upperOther;  // in any other locale
  } rows[] = {
      {"zero", 0x0000, 0x0000, 0x0000, 0x0000, 0x0000},
      {"A", 'A', 'a', 'A', 'a', 'A'},
      {"z", 'z', 'z', 'Z', 'z', 'Z'},
      {"[ after Z", '[', '[', '[', '[', '['},
      {"@ before A", '@', '@', '@', '@', '@'},
      {"e acute", 0x00E9, 0x00E9, 0x00E9, 0x00E9, 0x00C9},
      {"E acute", 0x00C9, 0x00C9, 0x00C9, 0x00E9, 0x00C9},
      {"y diaeresis", 0x00FF, 0x00FF, 0x00FF, 0x00FF, 0x0178},
      {"Y diaeresis", 0x0178, 0x0178, 0x0178, 0x00FF, 0x0178},
      {"micro sign", 0x00B5, 0x00B5, 0x00B5, 0x00B5, 0x00B5},
      {"sharp s", 0x00DF, 0x00DF, 0x00DF, 0x00DF, 0x00DF},
      {"capital sharp s", 0x1E9E, 0x1E9E, 0x1E9E, 0x1E9E, 0x1E9E},
      {"I with dot", 0x0130, 0x0130, 0x0130, 0x0130, 0x0130},
      {"dotless i", 0x0131, 0x0131, 0x0131, 0x0131, 0x0131},
      {"DZ caron", 0x01C4, 0x01C4, 0x01C4, 0x01C6, 0x01C4},
      {"Dz caron (title case)", 0x01C5, 0x01C5, 0x01C5, 0x01C5, 0x01C5},
      {"dz caron", 0x01C6, 0x01C6, 0x01C6, 0x01C6, 0x01C4},
      {"final sigma", 0x03C2, 0x03C2, 0x03C2, 0x03C2, 0x03C2},
      {"capital sigma", 0x03A3, 0x03A3, 0x03A3, 0x03C3, 0x03A3},
      {"Cyrillic IE grave", 0x0400, 0x0400, 0x0400, 0x0450, 0x0400},
      {"Georgian An", 0x10A0, 0x10A0, 0x10A0, 0x2D00, 0x10A0},
      {"Cherokee small ye", 0x13F8, 0x13F8, 0x13F8, 0x13F8, 0x13F0},
      {"Cherokee small a", 0xAB70, 0xAB70, 0xAB70, 0xAB70, 0x13A0},
      {"Greek alpha psili prosgegrammeni", 0x1F88, 0x1F88, 0x1F88, 0x1F80,
       0x1F88},
      {"Kelvin sign", 0x212A, 0x212A, 0x212A, 0x212A, 0x212A},
      {"Ohm sign", 0x2126, 0x2126, 0x2126, 0x2126, 0x2126},
      {"Roman numeral one", 0x2160, 0x2160, 0x2160, 0x2170, 0x2160},
      {"circled A", 0x24B6, 0x24B6, 0x24B6, 0x24D0, 0x24B6},
      {"a with stroke", 0x2C65, 0x2C65, 0x2C65, 0x2C65, 0x023A},
      {"A with stroke", 0x023A, 0x023A, 0x023A, 0x2C65, 0x023A},
      {"Cyrillic big yus", 0xA64A, 0xA64A, 0xA64A, 0xA64B, 0xA64A},
      {"fullwidth A", 0xFF21, 0xFF21, 0xFF21, 0xFF41, 0xFF21},
      {"fullwidth a", 0xFF41, 0xFF41, 0xFF41, 0xFF41, 0xFF21},
      {"high surrogate", 0xD801, 0xD801, 0xD801, 0xD801, 0xD801},
      {"low surrogate", 0xDC00, 0xDC00, 0xDC00, 0xDC00, 0xDC00},
      {"last unit", 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF, 0xFFFF},
  };
  const bool c = CLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(c ? row.lowerC : row.lowerOther, platform::towlower(row.unit));
    EXPECT_EQ(c ? row.upperC : row.upperOther, platform::towupper(row.unit));
  }
}

// _stricmp: folding to lower (not upper) case decides the order of '[', '_'
// and letters; a shorter text sorts first. The same in every locale.
TEST(CaseFoldCompare, StricmpAsciiRows) {
  struct Row {
    const char* name;
    const char* a;
    const char* b;
    int sign;
  } rows[] = {
      {"equal but for case", "Hello World", "hELLO wORLD", 0},
      {"letters in order", "a", "B", -1},
      {"letters reversed", "B", "a", 1},
      {"bracket sorts before lower a", "[", "A", -1},
      {"underscore sorts before lower a", "_", "a", -1},
      {"at sign sorts before a", "@", "a", -1},
      {"prefix first", "ab", "ABC", -1},
      {"longer last", "ABC", "ab", 1},
      {"both empty", "", "", 0},
      {"empty first", "", "a", -1},
      {"digits unchanged", "1", "A", -1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.sign, Sign(platform::_stricmp(row.a, row.b)));
  }
}

// Bytes 0x80 and up, keyed on the locale. In the C locale the Windows
// run-time compares them as signed chars and folds none of them, so they sort
// before ASCII and even before the terminator. In UTF-8 they are parts of
// characters: unsigned and never folded. (Code page 932 under Wine folds lead
// bytes and half-width katakana in ways that follow no character meaning; no
// row relies on more than that equal bytes stay equal.)
TEST(CaseFoldCompare, StricmpHighBytes) {
  struct Row {
    const char* name;
    LocaleKind kind;
    const char* a;
    const char* b;
    int sign;
  } rows[] = {
      {"0x80 sorts before a", LocaleKind::kC, "\x80", "a", -1},
      {"a sorts after 0x80", LocaleKind::kC, "a", "\x80", 1},
      {"0xC0 sorts before z", LocaleKind::kC, "z", "\xC0", 1},
      {"empty sorts after 0x80", LocaleKind::kC, "", "\x80", 1},
      {"E acute is not folded", LocaleKind::kC, "\xC9", "\xE9", -1},
      {"0xFF after 0x80", LocaleKind::kC, "\xFF", "\x80", 1},
      {"lead byte after a", LocaleKind::kUtf8, "\xC3\xA9", "a", 1},
      {"empty before a lead byte", LocaleKind::kUtf8, "", "\xC3\xA9", -1},
      {"E acute is not folded", LocaleKind::kUtf8, "\xC3\x89", "\xC3\xA9", -1},
      {"fullwidth A is not folded", LocaleKind::kUtf8, "\xEF\xBC\xA1",
       "\xEF\xBD\x81", -1},
      {"ASCII folds beside high bytes", LocaleKind::kUtf8, "\xC3\xA9X",
       "\xC3\xA9x", 0},
      {"ASCII folds beside double bytes", LocaleKind::kCp932, "\x93\xFAX",
       "\x93\xFAx", 0},
  };
  const LocaleKind kind = CurrentLocaleKind();
  int ran = 0;
  for (const Row& row : rows) {
    if (row.kind != kind) continue;
    SCOPED_TRACE(row.name);
    ++ran;
    EXPECT_EQ(row.sign, Sign(platform::_stricmp(row.a, row.b)));
  }
  if (ran == 0) GTEST_SKIP() << "no rows for " << kztest::KindName(kind);
}

// _wcsicmp folds 16-bit units with towlower: only ASCII in the C locale,
// the full table elsewhere; units compare unsigned, so surrogates and U+FFFF
// sort after ASCII.
TEST(CaseFoldCompare, WcsicmpRows) {
  struct Row {
    const char* name;
    const char16_t* a;
    const char16_t* b;
    int signC;
    int signOther;
  } rows[] = {
      {"equal but for case", u"Hello", u"hELLO", 0, 0},
      {"bracket before a", u"[", u"A", -1, -1},
      {"underscore before a", u"_", u"a", -1, -1},
      {"prefix first", u"ab", u"ABC", -1, -1},
      {"E acute folds outside C", u"\u00C9", u"\u00E9", -1, 0},
      {"A macron folds outside C", u"\u0100", u"\u0101", -1, 0},
      {"Y diaeresis folds outside C", u"\u0178", u"\u00FF", 1, 0},
      {"fullwidth A folds outside C", u"\uFF21", u"\uFF41", -1, 0},
      {"e acute before A macron", u"\u00E9", u"\u0100", -1, -1},
      {"I with dot never folds", u"\u0130", u"i", 1, 1},
      {"Kelvin sign never folds", u"\u212A", u"k", 1, 1},
      {"surrogate after a", u"\xD801", u"a", 1, 1},
      {"last unit after a", u"\xFFFF", u"a", 1, 1},
      {"a before last unit", u"a", u"\xFFFF", -1, -1},
  };
  const bool c = CLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const WCHAR* a = reinterpret_cast<const WCHAR*>(row.a);
    const WCHAR* b = reinterpret_cast<const WCHAR*>(row.b);
    EXPECT_EQ(c ? row.signC : row.signOther, Sign(platform::_wcsicmp(a, b)));
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
