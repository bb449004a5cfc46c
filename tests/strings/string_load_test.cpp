// CKZString::LoadStringW: the block sizes of the retry, the value left by a
// missing string, and the forms of the result.
#include <gtest/gtest.h>

#include <cstdlib>

#include "fixtures/test_catalog.h"
#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using namespace kztest;

// The test catalog, loaded for one test.
class Catalog {
 public:
  Catalog() : module_(LoadLibraryW(TestCatalogName())) {}
  ~Catalog() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  HMODULE get() const { return module_; }

 private:
  HMODULE module_;
};

// The first size and the doubling, per initial block size R (CTest runs one
// process per size). A text of capacity - 1 units may have been cut, so 127
// units in a block of 128 take another pass; a retry that doubles the size
// instead of the capacity, or takes size 0 or 0xFFFFFFFF literally, or size
// 1 as the capacity, gives other capacities. With R = 0 size 1 gives
// capacity 1, whose limit yields nothing: even a missing string takes a
// second pass, and a text of 4 units climbs 1, 2, 4, 8.
TEST(PerProcessBlockSize, LoadStringCapacity) {
  std::uint32_t r = 0;
  ASSERT_TRUE(ExpectedBlockSize(&r));
  Catalog catalog;
  ASSERT_NE(nullptr, catalog.get());
  struct Row {
    const char* name;
    std::uint32_t blockSize;
    UINT id;
    UINT size;
    std::size_t length;
    std::uint32_t capacity;
  } rows[] = {
      {"126 units fit a block of 128", 64, kIdText126, 64, 126, 128},
      {"127 units take a second pass", 64, kIdText127, 64, 127, 320},
      {"size 0 means 64", 64, kIdText126, 0, 126, 128},
      {"size 0xFFFFFFFF means 64", 64, kIdText126, 0xFFFFFFFFu, 126, 128},
      {"size 1 gives the initial capacity", 64, kIdZero, 1, 4, 64},
      {"259 units: 128, then 320", 64, kIdText259, 0, 259, 320},
      {"600 units: 128, 320, 704", 64, kIdText600, 0, 600, 704},
      {"1100 units: up to 1472", 64, kIdText1100, 0, 1100, 1472},
      {"missing string, capacity 1 then 2", 0, kIdMissingInBlock, 1, 0, 2},
      {"4 units: 1, 2, 4, 8", 0, kIdZero, 1, 4, 8},
  };
  int ran = 0;
  for (const Row& row : rows) {
    if (row.blockSize != r) continue;
    ++ran;
    SCOPED_TRACE(row.name);
    CKZString s;
    EXPECT_TRUE(s.LoadStringW(catalog.get(), row.id, row.size));
    EXPECT_EQ(row.capacity, A::Capacity(s));
    EXPECT_EQ(row.length, A::WideLength(s));
    const std::u16string expected =
        row.id == kIdZero ? u"zero" : Pattern(row.length);
    EXPECT_EQ(expected, W(A::WideBuffer(s)));
  }
  EXPECT_NE(0, ran) << "no capacities for block size " << r;
}

// A missing string, or no module, leaves an empty value, not a null one,
// and the former text is gone; a copy that shared the former block keeps
// it. A text arrives in the wide form only, whatever the value held before;
// the multibyte length follows the wide one in a single-byte locale and is
// 0 in a multibyte one.
TEST(StringLoad, ResultIsAWideOnlyBlock) {
  Catalog catalog;
  ASSERT_NE(nullptr, catalog.get());
  struct Row {
    const char* name;
    HMODULE module;
    UINT id;
    std::u16string text;
  } rows[] = {
      {"missing in a block", catalog.get(), kIdMissingInBlock, u""},
      {"missing block", catalog.get(), kIdMissingBlock, u""},
      {"empty string", catalog.get(), kIdEmpty, u""},
      {"no module", nullptr, kIdHello, u""},
      {"text", catalog.get(), kIdNonAscii, NonAsciiText()},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s("former");
    const CKZString sharer = s;
    EXPECT_TRUE(s.LoadStringW(row.module, row.id));
    EXPECT_EQ(kWideOnly, FormsOf(s));
    EXPECT_EQ(1u, A::RefCount(s));
    EXPECT_EQ(row.text, W(A::WideBuffer(s)));
    EXPECT_EQ(row.text.size(), A::WideLength(s));
    EXPECT_EQ(MultibyteLocale() ? 0u : row.text.size(), A::MbsLength(s));
    EXPECT_EQ("former", M(sharer));
  }
}

}  // namespace
