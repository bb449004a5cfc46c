// Composition and LoadStringW: a new block, doubled while the text doesn't fit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>

#include "fixtures/test_catalog.h"
#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using namespace kztest;

// The test catalog, loaded for one test.
using Module =
    std::unique_ptr<std::remove_pointer_t<HMODULE>, decltype(&FreeLibrary)>;
Module OpenCatalog() {
  return Module(LoadLibraryW(TestCatalogName()), FreeLibrary);
}

// Faults: a wrong first size, the size doubled instead of the capacity, a text
// that fills the limit (127 units for LoadStringW) taken for a fit.
TEST(PerProcessBlockSize, ComposeCapacity) {
  std::uint32_t r = 0;
  ASSERT_TRUE(ExpectedBlockSize(&r));
  const ULONG kCompose = 0xFFFFFFFFu;  // Compose, not VCompose
  struct Row {
    std::uint32_t blockSize;
    ULONG size;
    std::uint32_t length;
    std::uint32_t capacity;
  } rows[] = {
      {64, kCompose, 10, 576},
      {64, kCompose, 576, 576},
      {64, kCompose, 577, 1216},
      {64, kCompose, 1216, 1216},
      {64, kCompose, 1217, 2496},
      {64, kCompose, 2496, 2496},
      {1000, kCompose, 1000, 1000},
      {1000, kCompose, 1001, 3000},
      {0, 0, 0, 1},
      {0, 0, 1, 1},
      {0, 0, 3, 4},
      {0, 1, 1, 1},
      {0, 1, 3, 4},
      {0, 1, 5, 8},
  };
  int ran = 0;
  for (const Row& row : rows) {
    if (row.blockSize != r) continue;
    ++ran;
    SCOPED_TRACE("size " + std::to_string(row.size) + ", length " +
                 std::to_string(row.length));
    const std::string text(row.length, 'x');
    const WString units = Widen(text);
    CKZString narrow("former");
    CKZString wide(OLESTR("former"));
    if (row.size == kCompose) {
      narrow.Compose("%s", text.c_str());
      wide.Compose(OLESTR("%s"), units.c_str());
    } else {
      A::VCompose(narrow, row.size, "%s", text.c_str());
      A::VCompose(wide, row.size, OLESTR("%s"), units.c_str());
    }
    ASSERT_TRUE(A::HasMbs(narrow));
    EXPECT_EQ(row.capacity, A::Capacity(narrow));
    EXPECT_EQ(row.length, A::MbsLength(narrow));
    EXPECT_EQ(text, M(A::MbsBuffer(narrow)));
    ASSERT_TRUE(A::HasWide(wide));
    EXPECT_EQ(row.capacity, A::Capacity(wide));
    EXPECT_EQ(row.length, A::WideLength(wide));
    EXPECT_EQ(U(text), W(A::WideBuffer(wide)));
  }
  const Module catalog = OpenCatalog();
  ASSERT_NE(nullptr, catalog.get());
  struct LoadRow {
    const char* name;
    std::uint32_t blockSize;
    UINT id;
    UINT size;
    std::size_t length;
    std::uint32_t capacity;
  } loads[] = {
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
  for (const LoadRow& row : loads) {
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

// Faults: a former form left, count 0 taken for a failure, an edit of a shared
// block, a retry loop on a rejected format; LoadStringW null for no text.
TEST(Compose, ResultsPassesAndRejectedFormats) {
  const bool mb = MultibyteLocale();
  for (bool wide : {true, false}) {
    for (bool reused : {false, true}) {
      for (const char* format : {"[%s]", ""}) {
        SCOPED_TRACE(std::string(wide ? "wide " : "multibyte ") + format +
                     (reused ? ", reused" : ""));
        // Before: the other encoding, or a composed block with both forms.
        CKZString s = Make("former", wide ? kMbs : kWide);
        auto compose = [&](const char* f, const char* text) {
          wide ? s.Compose(Widen(f).c_str(), Widen(text).c_str())
               : s.Compose(f, text);
        };
        if (reused) {
          compose("%s", "former");
          static_cast<void>(static_cast<const char*>(s));
          static_cast<void>(static_cast<const WCHAR*>(s));
        }
        compose(format, "ab");
        const std::string text = *format == 0 ? "" : "[ab]";
        const std::uint32_t length = static_cast<std::uint32_t>(text.size());
        ASSERT_FALSE(A::IsNull(s));
        EXPECT_EQ(wide ? kWide : kMbs, FormsOf(s));
        EXPECT_EQ(length, wide ? A::WideLength(s) : A::MbsLength(s));
        EXPECT_EQ(mb ? 0 : length, wide ? A::MbsLength(s) : A::WideLength(s));
        EXPECT_EQ(text, M(s));
      }
    }
  }
  if (mb) {
    const MultibyteSample sample = Sample();
    CKZString s;
    s.Compose("%s", sample.bytes);
    EXPECT_EQ(sample.byteLength, A::MbsLength(s));
    EXPECT_EQ(3u, s.Length());  // builds the wide form from the bytes
  }
  const std::string head(700, 'h');
  CKZString a(head.c_str());
  CKZString b = a;
  b.Compose("%s|%d|%s", static_cast<const char*>(b), 42, "tail");
  EXPECT_EQ(head + "|42|tail", M(b));
  EXPECT_EQ(head, M(a));
  EXPECT_EQ(1u, A::RefCount(a));
  CKZString c(Widen(head).c_str());
  CKZString d = c;
  d.Compose(OLESTR("%s|%d|%s"), static_cast<const WCHAR*>(d), 42,
            OLESTR("tail"));
  EXPECT_EQ(U(head + "|42|tail"), W(d));
  EXPECT_EQ(U(head), W(c));
  a.Compose("[%ls]", OLESTR("a\xD800"));
  EXPECT_TRUE(A::IsNull(a));
  c.Compose(OLESTR("%2147483647d"), 1);
  EXPECT_TRUE(A::IsNull(c));
  // LoadStringW: a wide-only block, empty where there is no text.
  const Module catalog = OpenCatalog();
  ASSERT_NE(nullptr, catalog.get());
  for (HMODULE module : {catalog.get(), HMODULE()}) {
    CKZString s("former");
    EXPECT_TRUE(s.LoadStringW(module, kIdNonAscii));
    EXPECT_EQ(kWide, FormsOf(s));
    EXPECT_EQ(module ? NonAsciiText() : u"", W(A::WideBuffer(s)));
    EXPECT_EQ(mb ? 0u : A::WideLength(s), A::MbsLength(s));
  }
}

}  // namespace
