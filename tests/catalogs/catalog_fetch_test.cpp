// Fetching texts: load and reload, the formatter's limit, missing ids, the
// library's own table.
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>

#include "fixtures/test_catalog.h"
#include "test_support.h"

namespace {

using namespace kztest;

// Ids of test_catalog_fetch.rc.
enum : UINT {
  kId258 = 400,      // Pattern(256) "%d"
  kId259 = 401,      // Pattern(257) "%d"
  kId300 = 402,      // Pattern(298) "%d"
  kId1000 = 403,     // Pattern(998) "%d"
  kIdBracket = 404,  // "<%s>"
  kIdPercent = 405,  // "100%%"
  kIdTooWide = 406,  // "%2147483647d", a width the formatter refuses
  kIdPadded = 407,   // "[%5C]"
};

class CatalogFetch : public ::testing::Test {
 protected:
  void TearDown() override { CKZCatalog::CloseAll(); }
};

// Fault: a load or formatting pass cut or garbled around 259 units, a text
// formatted or not against its arguments, `out` changed by a failure.
TEST_F(CatalogFetch, Texts) {
  enum Args { kUnformatted, kNoArguments, kNumber, kText };
  const WCHAR* test = TestCatalogName();
  const WCHAR* own = OLESTR("kzcommon");
  const std::u16string p256 = Pattern(256), p257 = Pattern(257);
  const std::u16string p258 = Pattern(258);
  const std::u16string p298 = Pattern(298), p998 = Pattern(998);
  const struct {
    const char* name;
    const WCHAR* catalog;
    UINT id;
    Args args;  // kNumber: 7; kText: `text`
    std::u16string text;
    HRESULT hr;
    std::u16string expected;
  } rows[] = {
      {"258 units", test, kId258, kUnformatted, u"", S_OK, p256 + u"%d"},
      {"258 units, formatted", test, kId258, kNumber, u"", S_OK, p256 + u"7"},
      {"259 units", test, kId259, kUnformatted, u"", S_OK, p257 + u"%d"},
      {"259 units, formatted", test, kId259, kNumber, u"", S_OK, p257 + u"7"},
      {"300 units, formatted", test, kId300, kNumber, u"", S_OK, p298 + u"7"},
      {"1000 units", test, kId1000, kUnformatted, u"", S_OK, p998 + u"%d"},
      {"1100 units formatted without arguments", test, kIdText1100,
       kNoArguments, u"", S_OK, Pattern(1100)},
      {"formatted to 259 units", test, kIdBracket, kText, p257, S_OK,
       u"<" + p257 + u">"},
      {"formatted to 260 units", test, kIdBracket, kText, p258, S_OK,
       u"<" + p258 + u">"},
      {"100%% as it stands", test, kIdPercent, kUnformatted, u"", S_OK,
       u"100%%"},
      {"100%% formatted", test, kIdPercent, kNoArguments, u"", S_OK, u"100%"},
      {"placeholder formatted", own, 3, kNumber, u"", S_OK,
       u"1$Argument 7 is invalid"},
      {"trailing blank formatted", own, 25, kNumber, u"", S_OK,
       u"25$Argument 7 not optional "},
      {"refused width as it stands", test, kIdTooWide, kUnformatted, u"", S_OK,
       u"%2147483647d"},
      {"refused width formatted", test, kIdTooWide, kNumber, u"", E_INVALIDARG,
       u""},
      {"empty text", test, kIdEmpty, kNoArguments, u"", E_FAIL, u""},
      {"id without text in a block", test, kIdMissingInBlock, kUnformatted, u"",
       E_FAIL, u""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    CKZCatalog catalog(row.catalog);
    CKZString out(OLESTR("unchanged"));
    HRESULT hr = S_OK;
    if (row.args == kUnformatted) hr = catalog.GetMsgEx(out, row.id, nullptr);
    if (row.args == kNoArguments) hr = catalog.GetMsg(out, row.id);
    if (row.args == kNumber) hr = catalog.GetMsg(out, row.id, 7);
    if (row.args == kText) {
      hr = catalog.GetMsg(out, row.id, U(row.text.c_str()));
    }
    EXPECT_EQ(row.hr, hr);
    EXPECT_EQ(row.hr == S_OK ? row.expected : u"unchanged", W(out));
  }
}

// Fault: a padded %C the locale can't convert makes the fetch retry until
// memory runs out; it must end as Compose does.
TEST_F(CatalogFetch, UnconvertibleCharacter) {
  CKZString reference, out(OLESTR("unchanged"));
  reference.Compose(OLESTR("[%5C]"), 0xFF);
  const bool converts = static_cast<const WCHAR*>(reference) != nullptr;
  EXPECT_EQ(converts ? S_OK : E_INVALIDARG,
            CKZCatalog(TestCatalogName()).GetMsg(out, kIdPadded, 0xFF));
  EXPECT_EQ(converts ? W(reference) : u"unchanged", W(out));
}

// Fault: a fetch into `out`'s own block keeps a stale length or multibyte
// form, or writes into a shared block.
TEST_F(CatalogFetch, WhatOutHeldBefore) {
  CKZCatalog catalog(TestCatalogName());
  const CKZString shared(OLESTR("shared"));
  for (CKZString out : {CKZString(), CKZString(OLESTR("")),
                        CKZString(OLESTR("a text longer than the next one")),
                        shared, CKZString("multibyte")}) {
    SCOPED_TRACE(M(out));
    static_cast<void>(static_cast<const char*>(out));
    ASSERT_EQ(S_OK, catalog.GetMsgEx(out, kIdFifteen, nullptr));
    ASSERT_EQ(S_OK, catalog.GetMsgEx(out, kIdHello, nullptr));
    EXPECT_EQ(u"0$Hello", W(out));
    EXPECT_EQ(7u, out.Length());
    EXPECT_EQ(7u, out.MbsLength());
    EXPECT_EQ("0$Hello", M(out));
  }
  EXPECT_EQ(u"shared", W(shared));
  CKZString longer(OLESTR("a text longer than the next one"));
  ASSERT_EQ(S_OK, catalog.GetMsgEx(longer, kIdHello, nullptr));  // in place
  EXPECT_EQ(7u, longer.Length());
}

// Fault: GetMsgEx consumes the caller's list, so it can't serve twice.
void FetchTwice(CKZString* first, CKZString* second, ...) {
  va_list args;
  va_start(args, second);
  EXPECT_EQ(S_OK,
            CKZCatalog(TestCatalogName()).GetMsgEx(*first, kId258, &args));
  EXPECT_EQ(S_OK, CKZCatalog(OLESTR("kzcommon")).GetMsgEx(*second, 3, &args));
  va_end(args);
}

TEST_F(CatalogFetch, OneArgumentListForTwoCatalogs) {
  CKZString first, second;
  FetchTwice(&first, &second, 42);
  EXPECT_EQ(Pattern(256) + u"42", W(first));
  EXPECT_EQ(u"1$Argument 42 is invalid", W(second));
}

// The library's own table: which ids up to 48 have a text, and 16 to 18.
TEST_F(CatalogFetch, BuiltInTable) {
  const char16_t* texts[] = {u"14$Unknown name", u"15$Bad variable type",
                             u"16$Access denied."};
  CKZCatalog own(OLESTR("kzcommon"));
  for (UINT id = 0; id <= 48; ++id) {
    const bool has = id == 1 || (id >= 3 && id <= 18) || id == 25 || id == 29 ||
                     id == 31 || id == 39;
    CKZString out;
    EXPECT_EQ(has ? S_OK : E_FAIL, own.GetMsgEx(out, id, nullptr)) << id;
    if (id >= 16 && id <= 18) {
      EXPECT_EQ(texts[id - 16], W(out));
    }
  }
}

}  // namespace
