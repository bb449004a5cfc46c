// LoadLibraryW and FreeLibrary: names, reference counts and bad handles, one
// table for both builds. The library's own module, "kzcommon", is read in
// catalog_fetch_test.cpp (CatalogFetch.BuiltInTable).
#include <gtest/gtest.h>

#include "fixtures/test_catalog.h"
#include "test_support.h"

namespace {

using namespace kztest;

// The names a catalog is opened by. A loader that adds the extension to a
// name that has one, ignores the trailing dot, or chokes on text that is not
// a valid file name fails a row; every name of one module gives one handle;
// null and bogus handles are refused.
TEST(Module, NameForms) {
  HMODULE reference = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, reference);
  const WCHAR kLoneSurrogate[] = {'k', 'z', 0xD800, 0};
  const struct {
    const char* name;
    const WCHAR* module;
    bool found;
  } rows[] = {
      {"bare name", OLESTR("kz_test_catalog"), true},
      {"Windows extension", OLESTR("kz_test_catalog.dll"), true},
      {"Windows extension in capitals", OLESTR("kz_test_catalog.DLL"), true},
      {"trailing dot: no extension", OLESTR("kz_test_catalog."), false},
      {"unknown module", OLESTR("kz_no_such_catalog"), false},
      {"non-ASCII name of no module", OLESTR("kz_t\u00ebst_catalog"), false},
      {"empty name", OLESTR(""), false},
      {"lone surrogate", kLoneSurrogate, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    HMODULE module = LoadLibraryW(row.module);
    if (!row.found) {
      EXPECT_EQ(nullptr, module);
      continue;
    }
    EXPECT_EQ(reference, module);
    if (module != nullptr) {
      EXPECT_TRUE(FreeLibrary(module));
    }
  }
  EXPECT_EQ(nullptr, LoadLibraryW(nullptr));
  EXPECT_TRUE(FreeLibrary(reference));
  // Null and bogus handles are refused, not followed.
  EXPECT_FALSE(FreeLibrary(nullptr));
  int local = 0;
  EXPECT_FALSE(FreeLibrary(reinterpret_cast<HMODULE>(&local)));
}

// Two loads and one free keep the module loaded and its table readable: a
// loader that unloads on the first FreeLibrary would lose the text (or
// crash); the second FreeLibrary still finds its reference.
TEST(Module, ReferencesCountLikeWindows) {
  HMODULE first = LoadLibraryW(TestCatalogName());
  HMODULE second = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, first);
  EXPECT_EQ(first, second);
  EXPECT_TRUE(FreeLibrary(second));
  WCHAR buffer[16];
  EXPECT_EQ(7, LoadStringW(first, kIdFifteen, buffer, 16));
  EXPECT_EQ(u"fifteen", W(buffer));
  EXPECT_TRUE(FreeLibrary(first));
}

}  // namespace
