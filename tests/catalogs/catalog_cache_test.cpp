// The process-wide table of catalog modules, seen through CKZCatalog: one
// load per name, names that meet by their hash, the results of Close and
// CloseAll, failed opens, and objects whose module was closed behind them.
// Whether a module is loaded is read from the platform, which counts the
// table's references with everybody else's.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "catalogs/module_probe.h"
#include "fixtures/test_catalog.h"
#include "test_support.h"

namespace {

using namespace kztest;

const char kTestModule[] = "kz_test_catalog";
const char kModuleB[] = "KzTestCatalogB";

// The table's hash of a name that needs no lowering.
std::uint32_t Hash(const std::u16string& name) {
  std::uint32_t h = 0;
  for (char16_t unit : name) h = h * 33u + unit;
  return h;
}

std::u16string Fetch(CKZCatalog& catalog, UINT id) {
  CKZString text;
  return catalog.GetMsgEx(text, id, nullptr) == S_OK ? W(text) : u"(failed)";
}

// Every test starts and ends with an empty table, whatever ran before it in
// the process.
class CatalogCache : public ::testing::Test {
 protected:
  void SetUp() override { CKZCatalog::CloseAll(); }
  void TearDown() override { CKZCatalog::CloseAll(); }
};

// Objects of one name share one entry with one reference: a table that loads
// per object, or per fetch, leaves the module loaded after the one Close.
// Neither destroying the objects nor assigning the same name again ends the
// entry or loads again.
TEST_F(CatalogCache, OneLoadPerName) {
  {
    CKZCatalog objects[4] = {TestCatalogName(), TestCatalogName(),
                             TestCatalogName(), TestCatalogName()};
    for (CKZCatalog& catalog : objects) {
      EXPECT_EQ(u"0$Hello", Fetch(catalog, kIdHello));
      EXPECT_EQ(u"fifteen", Fetch(catalog, kIdFifteen));
    }
    objects[1] = TestCatalogName();
    EXPECT_EQ(u"0$Hello", Fetch(objects[1], kIdHello));
  }
  EXPECT_TRUE(CatalogModuleLoaded(kTestModule));
  CKZCatalog closer(TestCatalogName());
  EXPECT_EQ(S_OK, closer.Close());
  EXPECT_FALSE(CatalogModuleLoaded(kTestModule));
  EXPECT_EQ(S_FALSE, closer.Close());
}

// The table keys on the hash of the lowered name alone. A name that differs
// in case, or another name of the same hash, finds the first object's entry:
// on POSIX neither opens a module by itself (file names are case-sensitive
// and "k{>test_catalog" is no file), and its Close closes the first module.
TEST_F(CatalogCache, NamesMeetByHash) {
  ASSERT_EQ(Hash(u"kz_test_catalog"), Hash(u"k{>test_catalog"));
  for (const WCHAR* name :
       {OLESTR("KZ_Test_Catalog"), OLESTR("k{>test_catalog")}) {
    SCOPED_TRACE(M(CKZString(name)));
    CKZCatalog first(TestCatalogName());
    CKZCatalog other(name);
    EXPECT_EQ(u"0$Hello", Fetch(first, kIdHello));
    EXPECT_EQ(u"0$Hello", Fetch(other, kIdHello));
    EXPECT_EQ(S_OK, other.Close());
    EXPECT_FALSE(CatalogModuleLoaded(kTestModule));
    EXPECT_EQ(S_FALSE, first.Close());
  }
}

// LoadLibraryW gets the name as given: on POSIX a lowered copy would miss
// the file libKzTestCatalogB.so (CloseResults). A name with and without its
// extension are two catalogs of one module, each entry with a reference of
// its own.
TEST_F(CatalogCache, NameWithExtension) {
  CKZCatalog bare(TestCatalogName());
  CKZCatalog withExtension(OLESTR("kz_test_catalog.dll"));
  EXPECT_EQ(u"0$Hello", Fetch(bare, kIdHello));
  EXPECT_EQ(u"0$Hello", Fetch(withExtension, kIdHello));
  EXPECT_EQ(S_OK, bare.Close());
  EXPECT_TRUE(CatalogModuleLoaded(kTestModule));
  EXPECT_EQ(S_OK, withExtension.Close());
  EXPECT_FALSE(CatalogModuleLoaded(kTestModule));
}

// Results of Close and CloseAll, and names that open nothing: an empty or
// null name fails without an entry, an unknown module leaves none behind.
TEST_F(CatalogCache, CloseResults) {
  CKZCatalog never(TestCatalogName());
  EXPECT_EQ(S_FALSE, never.Close()) << "empty table";
  CKZCatalog b(OLESTR("KzTestCatalogB"));
  EXPECT_EQ(u"B: hello", Fetch(b, 1));
  EXPECT_TRUE(CatalogModuleLoaded(kModuleB));
  EXPECT_EQ(S_FALSE, never.Close()) << "table without this name";

  const struct {
    const char* name;
    CKZCatalog catalog;
  } nothing[] = {{"default constructed", CKZCatalog()},
                 {"null name", CKZCatalog(nullptr)},
                 {"empty name", CKZCatalog(OLESTR(""))},
                 {"no such module", CKZCatalog(OLESTR("kz_no_such_catalog"))}};
  for (const auto& row : nothing) {
    SCOPED_TRACE(row.name);
    CKZCatalog catalog = row.catalog;
    CKZString out(OLESTR("unchanged"));
    EXPECT_EQ(E_FAIL, catalog.GetMsgEx(out, kIdHello, nullptr));
    EXPECT_EQ(E_FAIL, catalog.GetMsg(out, kIdHello)) << "not remembered";
    EXPECT_EQ(u"unchanged", W(out));
    EXPECT_EQ(S_FALSE, catalog.Close());
  }

  EXPECT_EQ(S_OK, CKZCatalog::CloseAll());
  EXPECT_FALSE(CatalogModuleLoaded(kModuleB));
  EXPECT_EQ(S_FALSE, CKZCatalog::CloseAll());
  EXPECT_EQ(S_FALSE, b.Close());
}

// A failed open is not remembered: once the module exists, the same object's
// next fetch opens it. The module is a copy of the test catalog under a name
// of this process's own.
TEST_F(CatalogCache, FailedOpenIsRetried) {
  const std::string late = OwnName("kz_late_");
  CKZCatalog catalog(CKZString(late.c_str()));
  EXPECT_EQ(u"(failed)", Fetch(catalog, kIdHello));
  EXPECT_EQ(S_FALSE, CKZCatalog::CloseAll()) << "the failure left an entry";
  ASSERT_TRUE(CopyCatalogModule(kTestModule, late));
  EXPECT_EQ(u"0$Hello", Fetch(catalog, kIdHello));
  EXPECT_EQ(S_OK, catalog.Close());
  EXPECT_EQ(0, std::remove(CatalogPath(late).c_str()));
}

// An object whose module was closed behind it reopens the module at its next
// fetch instead of reading through the freed handle. In between another
// module is opened, which may get the freed handle's value: an object that
// kept its old handle would then read that module's texts, or crash.
TEST_F(CatalogCache, ClosedBehindAnObject) {
  for (bool all : {false, true}) {
    SCOPED_TRACE(all ? "CloseAll" : "Close through another object");
    CKZCatalog closer(TestCatalogName());
    CKZCatalog stale(TestCatalogName());
    EXPECT_EQ(u"0$Hello", Fetch(stale, kIdHello));
    CKZCatalog copy = stale;
    CKZCatalog assigned;
    assigned = stale;
    EXPECT_EQ(S_OK, all ? CKZCatalog::CloseAll() : closer.Close());
    EXPECT_FALSE(CatalogModuleLoaded(kTestModule));
    CKZCatalog b(OLESTR("KzTestCatalogB"));
    EXPECT_EQ(u"B: hello", Fetch(b, 1));
    for (CKZCatalog* catalog : {&stale, &copy, &assigned}) {
      EXPECT_EQ(u"0$Hello", Fetch(*catalog, kIdHello));
    }
    EXPECT_EQ(S_OK, stale.Close()) << "the stale object made a new entry";
    EXPECT_EQ(S_OK, b.Close());
  }
}

// CloseAll in a process that never opened a catalog (a process of its own:
// catalog.fresh_process).
TEST(PerProcessCatalog, CloseAllInAFreshProcess) {
  ASSERT_NE(nullptr, std::getenv("KZ_TEST_FRESH_PROCESS"))
      << "KZ_TEST_FRESH_PROCESS is unset: run by CTest";
  EXPECT_EQ(S_FALSE, CKZCatalog::CloseAll());
  CKZCatalog catalog(TestCatalogName());
  EXPECT_EQ(S_FALSE, catalog.Close());
}

}  // namespace
