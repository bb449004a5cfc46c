// LoadLibraryW, FreeLibrary and LoadStringW on catalog modules, both builds,
// as Wine runs them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "fixtures/test_catalog.h"
#include "test_support.h"

namespace {

using namespace kztest;

constexpr WCHAR kUntouched = 0x7777;

std::u16string Units(const WCHAR* text, int count) {
  return std::u16string(text, text + (count > 0 ? count : 0));
}

// Faults: an extension added, a trailing dot ignored, bad names choked on, two
// handles for one module; a copy off by one, a terminator past the limit, a
// block from the full 32-bit id, a long text cut at the catalog's buffer
// sizes (260, 520); limit 0 in place; handles with no table or none at all.
TEST(StringTable, ModuleNamesAndContract) {
  HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module) << "kz_test_catalog must lie beside the tests";
  const WCHAR kLoneSurrogate[] = {'k', 'z', 0xD800, 0};
  const WCHAR* const names[] = {OLESTR("kz_test_catalog"),
                                OLESTR("kz_test_catalog.dll"),
                                OLESTR("kz_test_catalog.DLL"),
                                OLESTR("kz_test_catalog."),
                                OLESTR("kz_no_such_catalog"),
                                OLESTR("kz_t\u00ebst_catalog"),
                                OLESTR(""),
                                kLoneSurrogate,
                                nullptr};
  for (int i = 0; i < 9; ++i) {
    HMODULE same = LoadLibraryW(names[i]);
    EXPECT_EQ(i < 3 ? module : nullptr, same)
        << "name " << i << ", the first three name it";
    EXPECT_TRUE(same == nullptr || FreeLibrary(same));
  }
  const std::u16string kNothing = u"(nothing)";  // nothing may be written
  const struct {
    const char* name;
    UINT id;
    int limit;
    int expected;
    std::u16string text;
  } rows[] = {
      {"limit 1 writes nothing", kIdLetters, 1, 0, kNothing},
      {"limit 2 keeps one unit", kIdLetters, 2, 1, u"A"},
      {"limit one short", kIdLetters, 10, 9, u"ABCDEFGHI"},
      {"exact fit", kIdLetters, 11, 10, u"ABCDEFGHIJ"},
      {"id 0 is a string like any other", kIdZero, 64, 4, u"zero"},
      {"last id of block 1", kIdFifteen, 64, 7, u"fifteen"},
      {"first id of block 2", kIdSixteen, 64, 7, u"sixteen"},
      {"last id of block 2", kIdThirtyOne, 64, 10, u"thirty-one"},
      {"surrogate pair", kIdNonAscii, 64, 14, NonAsciiText()},
      {"cut inside a pair", kIdNonAscii, 14, 13, NonAsciiText().substr(0, 13)},
      {"missing id of a block", kIdMissingInBlock, 64, 0, u""},
      {"missing id, limit 1", kIdMissingInBlock, 1, 0, kNothing},
      {"empty string", kIdEmpty, 64, 0, u""},
      {"missing block", kIdMissingBlock, 64, 0, kNothing},
      {"id 65535 lies in block 4096", kIdTop, 64, 6, u"top id"},
      {"low word of the id", 0x10000u + kIdLetters, 64, 10, u"ABCDEFGHIJ"},
      {"low word, no block", 0x10000u + kIdMissingBlock, 64, 0, kNothing},
      {"second .rc file", kIdSecondFile, 64, 20, u"from the second file"},
      {"126 units", kIdText126, 2000, 126, Pattern(126)},
      {"127 units", kIdText127, 2000, 127, Pattern(127)},
      {"259 units", kIdText259, 2000, 259, Pattern(259)},
      {"600 units", kIdText600, 2000, 600, Pattern(600)},
      {"1100 units", kIdText1100, 2000, 1100, Pattern(1100)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::basic_string<WCHAR> buffer(2001, kUntouched);
    int count = LoadStringW(module, row.id, &buffer[0], row.limit);
    EXPECT_EQ(row.expected, count);
    if (row.text == kNothing) {
      EXPECT_EQ(kUntouched, buffer[0]);
      continue;
    }
    ASSERT_GE(count, 0);
    EXPECT_EQ(row.text, Units(buffer.data(), count));
    EXPECT_EQ(0, buffer[count]) << "terminator";
    EXPECT_EQ(kUntouched, buffer[row.limit]) << "written past the limit";
  }
  const WCHAR sentinel[] = {kUntouched, 0};
  const WCHAR* text = nullptr;
  auto inPlace = [&](UINT id) {
    text = sentinel;
    return LoadStringW(module, id, reinterpret_cast<LPWSTR>(&text), 0);
  };
  EXPECT_EQ(10, inPlace(kIdLetters));
  EXPECT_EQ(u"ABCDEFGHIJ", Units(text, 10));
  EXPECT_EQ(0, inPlace(kIdMissingBlock));
  EXPECT_EQ(sentinel, text);
  EXPECT_EQ(0, inPlace(kIdMissingInBlock));
  EXPECT_NE(sentinel, text);

  WCHAR buffer[16] = {kUntouched};
  int local = 0;
  EXPECT_EQ(0, LoadStringW(nullptr, kIdLetters, buffer, 16));
  EXPECT_EQ(0, LoadStringW(reinterpret_cast<HMODULE>(&local), kIdLetters,
                           buffer, 16));
  EXPECT_EQ(kUntouched, buffer[0]);
  EXPECT_EQ(0, LoadStringW(module, kIdLetters, nullptr, 16));
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_FALSE(FreeLibrary(nullptr));
  EXPECT_FALSE(FreeLibrary(reinterpret_cast<HMODULE>(&local)));
}

// The language of a block for the process's LC_ALL (one process per locale).
// Faults: the first block in the file, the primary language alone matched.
TEST(PerProcessLanguage, StringTableChoice) {
  const char* locale = std::getenv("KZ_TEST_USER_LOCALE");
  ASSERT_NE(nullptr, locale) << "KZ_TEST_USER_LOCALE is unset: run by CTest";
  const struct {
    const char* locale;
    const char16_t* at160;
    const char16_t* at192;
  } rows[] = {{"C", u"English 160", u"Deutsch 192"},
              {"de_DE.UTF-8", u"Deutsch 160", u"Deutsch 192"},
              {"de", u"Deutsch 160", u"Deutsch 192"},
              {"de_AT.UTF-8", u"English 160", u"Deutsch 192"},
              {"fr_FR.UTF-8", u"English 160", u"fran\u00e7ais 192"},
              {"fr_CA.UTF-8", u"English 160", u"Deutsch 192"}};
  int row = 0;
  while (row < 6 && std::strcmp(rows[row].locale, locale) != 0) ++row;
  ASSERT_LT(row, 6) << "no row for " << locale;
  HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module);
  const struct {
    UINT id;
    const char16_t* text;
  } cases[] = {{160, rows[row].at160},
               {176, u"nur Deutsch 176"},
               {192, rows[row].at192},
               {208, u"neutral 208"}};
  for (const auto& c : cases) {
    WCHAR buffer[64];
    EXPECT_EQ(std::u16string(c.text),
              Units(buffer, LoadStringW(module, c.id, buffer, 64)));
  }
  FreeLibrary(module);
}

}  // namespace
