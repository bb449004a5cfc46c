// CKZString::LoadStringW: the block sizes of the retry, the value left by a
// missing string, and the forms of the result.
#include <gtest/gtest.h>

#include <cstdlib>

#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using namespace kztest;

class StringLoad : public ::testing::Test {
 protected:
  void SetUp() override {
    module_ = LoadLibraryW(TestCatalogName());
    ASSERT_NE(nullptr, module_);
  }
  void TearDown() override {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  HMODULE module_ = nullptr;
};

// The first size and the doubling, with the default initial size of 64. A
// text of capacity - 1 units may have been cut, so 127 units in a block of
// 128 take another pass; a retry that doubles the size instead of the
// capacity, or takes size 0 or 0xFFFFFFFF literally, or size 1 as the
// capacity, gives other capacities.
TEST_F(StringLoad, CapacityTable) {
  if (!kztest::DefaultBlockSize()) GTEST_SKIP();
  struct Row {
    const char* name;
    UINT id;
    UINT size;
    std::size_t length;
    std::uint32_t capacity;
  };
  const Row rows[] = {
      {"126 units fit a block of 128", kIdText126, 64, 126, 128},
      {"127 units take a second pass", kIdText127, 64, 127, 320},
      {"size 0 means 64", kIdText126, 0, 126, 128},
      {"size 0xFFFFFFFF means 64", kIdText126, 0xFFFFFFFFu, 126, 128},
      {"size 1 gives the initial capacity", kIdZero, 1, 4, 64},
      {"259 units: 128, then 320", kIdText259, 0, 259, 320},
      {"600 units: 128, 320, 704", kIdText600, 0, 600, 704},
      {"1100 units: up to 1472", kIdText1100, 0, 1100, 1472},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s;
    EXPECT_TRUE(s.LoadStringW(module_, row.id, row.size));
    EXPECT_EQ(row.capacity, A::Capacity(s));
    EXPECT_EQ(row.length, A::WideLength(s));
    std::u16string expected =
        row.id == kIdZero ? std::u16string(u"zero") : Pattern(row.length);
    EXPECT_EQ(expected, W(A::WideBuffer(s)));
  }
}

// A missing string leaves an empty value, not a null one, and the former
// text is gone; a copy that shared the former block keeps it.
TEST_F(StringLoad, MissingStringGivesEmpty) {
  const UINT kMissing[] = {kIdMissingInBlock, kIdMissingBlock, kIdEmpty};
  for (UINT id : kMissing) {
    SCOPED_TRACE(id);
    CKZString s(OLESTR("former"));
    CKZString sharer = s;
    EXPECT_TRUE(s.LoadStringW(module_, id));
    EXPECT_FALSE(A::IsNull(s));
    EXPECT_EQ(0u, s.Length());
    EXPECT_EQ(u"", W(s));
    EXPECT_EQ(u"former", W(sharer));
    EXPECT_EQ(1u, A::RefCount(sharer));
  }
  CKZString fromNothing(OLESTR("former"));
  EXPECT_TRUE(fromNothing.LoadStringW(nullptr, kIdHello));
  EXPECT_FALSE(A::IsNull(fromNothing));
  EXPECT_EQ(u"", W(fromNothing));
}

// The result holds the wide form only, whatever the value held before; the
// multibyte length follows the wide one in a single-byte locale and is 0 in
// a multibyte one.
TEST_F(StringLoad, WideFormOnly) {
  CKZString s("multibyte before");
  EXPECT_TRUE(s.LoadStringW(module_, kIdNonAscii));
  EXPECT_TRUE(A::HasWide(s));
  EXPECT_FALSE(A::HasMbs(s));
  EXPECT_EQ(1u, A::RefCount(s));
  EXPECT_EQ(NonAsciiText(), W(A::WideBuffer(s)));
  EXPECT_EQ(14u, A::WideLength(s));
  EXPECT_EQ(MultibyteLocale() ? 0u : 14u, A::MbsLength(s));
}

// With an initial block size of 0 (own process) size 1 gives capacity 1: the
// limit of 1 yields nothing, so even a missing string takes a second pass
// with capacity 2, and a text of 4 units climbs 1, 2, 4, 8.
TEST_F(StringLoad, InitialBlockSizeZero) {
  const char* value = std::getenv("KZ_INITIAL_STRING_BLOCK_SIZE");
  if (value == nullptr || std::string(value) != "0") {
    GTEST_SKIP() << "run by CTest with KZ_INITIAL_STRING_BLOCK_SIZE=0";
  }
  CKZString missing;
  EXPECT_TRUE(missing.LoadStringW(module_, kIdMissingInBlock, 1));
  EXPECT_EQ(2u, A::Capacity(missing));
  EXPECT_EQ(u"", W(missing));
  CKZString zero;
  EXPECT_TRUE(zero.LoadStringW(module_, kIdZero, 1));
  EXPECT_EQ(8u, A::Capacity(zero));
  EXPECT_EQ(u"zero", W(zero));
}

}  // namespace
