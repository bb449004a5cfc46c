// LoadStringW on catalog modules: the contract of the platform's function,
// one table for both builds (expected values from Windows as Wine runs it),
// the language choice, and the library's own table.
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
  std::u16string out;
  for (int i = 0; i < count; ++i) out.push_back(static_cast<char16_t>(text[i]));
  return out;
}

class StringTable : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { module_ = LoadLibraryW(TestCatalogName()); }
  static void TearDownTestSuite() {
    if (module_ != nullptr) FreeLibrary(module_);
    module_ = nullptr;
  }
  void SetUp() override {
    ASSERT_NE(nullptr, module_) << "kz_test_catalog must lie beside the tests";
  }
  static HMODULE module_;
};
HMODULE StringTable::module_ = nullptr;

// The limit, terminator and id rules, and texts longer than the catalog's
// first buffer (260) and its reload (520). Faults: a copy off by one, a
// terminator past the limit, a block from the full 32-bit id, a boundary one
// id early, a long text cut at a fixed size or garbled across records.
TEST_F(StringTable, ContractTable) {
  struct Row {
    const char* name;
    UINT id;
    int limit;
    int expected;
    std::u16string text;  // "(nothing)": nothing may be written
  };
  const std::u16string kNothing = u"(nothing)";
  const Row rows[] = {
      {"limit 1 writes nothing", kIdLetters, 1, 0, kNothing},
      {"limit 2 keeps one unit", kIdLetters, 2, 1, u"A"},
      {"limit one short cuts the last unit", kIdLetters, 10, 9, u"ABCDEFGHI"},
      {"exact fit with its terminator", kIdLetters, 11, 10, u"ABCDEFGHIJ"},
      {"room to spare", kIdLetters, 64, 10, u"ABCDEFGHIJ"},
      {"id 0 is a string like any other", kIdZero, 64, 4, u"zero"},
      {"last id of block 1", kIdFifteen, 64, 7, u"fifteen"},
      {"first id of block 2", kIdSixteen, 64, 7, u"sixteen"},
      {"last id of block 2", kIdThirtyOne, 64, 10, u"thirty-one"},
      {"non-ASCII text with a surrogate pair", kIdNonAscii, 64, 14,
       NonAsciiText()},
      {"a cut may split a surrogate pair", kIdNonAscii, 14, 13,
       NonAsciiText().substr(0, 13)},
      {"missing id of a block gets a terminator", kIdMissingInBlock, 64, 0,
       u""},
      {"missing id with limit 1 writes nothing", kIdMissingInBlock, 1, 0,
       kNothing},
      {"empty string", kIdEmpty, 64, 0, u""},
      {"missing block writes nothing", kIdMissingBlock, 64, 0, kNothing},
      {"id 65535 lies in block 4096", kIdTop, 64, 6, u"top id"},
      {"only the low word of the id counts", 0x10000u + kIdLetters, 64, 10,
       u"ABCDEFGHIJ"},
      {"low word without a block", 0x10000u + kIdMissingBlock, 64, 0, kNothing},
      {"table of the second .rc file", kIdSecondFile, 64, 20,
       u"from the second file"},
      {"126 units", kIdText126, 2000, 126, Pattern(126)},
      {"127 units", kIdText127, 2000, 127, Pattern(127)},
      {"259 units", kIdText259, 2000, 259, Pattern(259)},
      {"600 units", kIdText600, 2000, 600, Pattern(600)},
      {"1100 units", kIdText1100, 2000, 1100, Pattern(1100)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::basic_string<WCHAR> buffer(2001, kUntouched);
    int count = LoadStringW(module_, row.id, &buffer[0], row.limit);
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
}

// Limit 0 asks for the text in place: the length comes back and the pointer
// points at the text, not terminated. With no block the pointer stays as it
// was; an id without text in an existing block still gives a pointer.
TEST_F(StringTable, LimitZeroGivesTheTextInPlace) {
  const WCHAR* text = nullptr;
  EXPECT_EQ(
      10, LoadStringW(module_, kIdLetters, reinterpret_cast<LPWSTR>(&text), 0));
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(u"ABCDEFGHIJ", Units(text, 10));

  const WCHAR sentinel[] = {kUntouched, 0};
  text = sentinel;
  EXPECT_EQ(0, LoadStringW(module_, kIdMissingBlock,
                           reinterpret_cast<LPWSTR>(&text), 0));
  EXPECT_EQ(sentinel, text);

  text = sentinel;
  EXPECT_EQ(0, LoadStringW(module_, kIdMissingInBlock,
                           reinterpret_cast<LPWSTR>(&text), 0));
  EXPECT_NE(sentinel, text);
}

// Handles that are not modules with tables give 0 and never crash: the
// main program (null) has no string table, and does not answer with the
// table of kzcommon, which it links and which has id 3 too; a pointer to the
// stack is no module, and a null buffer is refused.
TEST_F(StringTable, NoTableNoText) {
  WCHAR buffer[16];
  for (WCHAR& unit : buffer) unit = kUntouched;
  EXPECT_EQ(0, LoadStringW(nullptr, kIdLetters, buffer, 16));
  int local = 0;
  EXPECT_EQ(0, LoadStringW(reinterpret_cast<HMODULE>(&local), kIdLetters,
                           buffer, 16));
  EXPECT_EQ(kUntouched, buffer[0]);
  EXPECT_EQ(0, LoadStringW(module_, kIdLetters, nullptr, 16));
}

// Which language of a block is read, for the user's language that the
// process was started with (LC_ALL; CTest runs one process per locale).
// Order: neutral, the user's language, its primary language, English (United
// States), then the lowest language id. A reader that takes the first block
// in the file, or matches the primary language alone (fr_CA picking fr_FR),
// fails a row.
TEST(PerProcessLanguage, StringTableChoice) {
  const char* locale = std::getenv("KZ_TEST_USER_LOCALE");
  ASSERT_NE(nullptr, locale) << "KZ_TEST_USER_LOCALE is unset: run by CTest";
  struct Row {
    const char* locale;
    const char16_t* both;         // 160: en-US and de-DE
    const char16_t* german;       // 176: de-DE only
    const char16_t* frenchFirst;  // 192: fr-FR, then de-DE in the file
    const char16_t* neutral;      // 208: neutral and en-US
  };
  const Row rows[] = {
      {"C", u"English 160", u"nur Deutsch 176", u"Deutsch 192", u"neutral 208"},
      {"de_DE.UTF-8", u"Deutsch 160", u"nur Deutsch 176", u"Deutsch 192",
       u"neutral 208"},
      {"de", u"Deutsch 160", u"nur Deutsch 176", u"Deutsch 192",
       u"neutral 208"},
      {"de_AT.UTF-8", u"English 160", u"nur Deutsch 176", u"Deutsch 192",
       u"neutral 208"},
      {"fr_FR.UTF-8", u"English 160", u"nur Deutsch 176", u"fran\u00e7ais 192",
       u"neutral 208"},
      {"fr_CA.UTF-8", u"English 160", u"nur Deutsch 176", u"Deutsch 192",
       u"neutral 208"},
  };
  const Row* row = nullptr;
  for (const Row& r : rows) {
    if (std::strcmp(r.locale, locale) == 0) row = &r;
  }
  ASSERT_NE(nullptr, row) << "no row for " << locale;
  HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module);
  const struct {
    UINT id;
    const char16_t* text;
  } cases[] = {{160, row->both},
               {176, row->german},
               {192, row->frenchFirst},
               {208, row->neutral}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    WCHAR buffer[64];
    int count = LoadStringW(module, c.id, buffer, 64);
    EXPECT_EQ(std::u16string(c.text), Units(buffer, count));
  }
  FreeLibrary(module);
}

}  // namespace
