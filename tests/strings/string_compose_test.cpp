// Composition: the formatter writes straight into a new block, which is
// thrown away for one of twice the capacity while the text doesn't fit.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::M;
using kztest::W;
using kztest::Widen;

std::u16string U(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

// The capacities of the passes, per initial block size R (CTest runs one
// process per size). Compose starts at 512 + R, or R where R is larger,
// then asks twice the failed capacity; VCompose with size 0 would start at
// capacity 0, which doubling never leaves, so it starts at 1. Catches a
// first size other than 512, doubling the size instead of the capacity, a
// text that fills the limit taken for one that doesn't fit, and a
// terminator missing from the spare position.
TEST(PerProcessBlockSize, ComposeCapacity) {
  std::uint32_t r = 0;
  ASSERT_TRUE(kztest::ExpectedBlockSize(&r));
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
    const kztest::WString units = Widen(text);
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
  EXPECT_NE(0, ran) << "no capacities for block size " << r;
}

// A later pass reads the arguments from the first one again. Catches an
// argument list consumed by the pass that didn't fit.
TEST(Compose, EveryPassReadsTheArgumentsFromTheStart) {
  const std::string head(700, 'h');
  CKZString s;
  s.Compose("%s|%d|%s", head.c_str(), 42, "tail");
  EXPECT_EQ(head + "|42|tail", M(s));
  s.Compose(OLESTR("%s|%d|%s"), Widen(head).c_str(), 42, OLESTR("tail"));
  EXPECT_EQ(U(head + "|42|tail"), W(s));
}

// The result holds the format's encoding only, whatever the value had
// before; a format that produces nothing gives an empty value, not a null
// one; the length fields are those of a new block (the absent form's gets
// the count in a single-byte locale, 0 in a multibyte one), also where the
// value's own composed block is written again. Catches a form of the former
// text left in the block, a count of 0 taken for a failure, and a wide
// length set to a byte count in a multibyte locale.
TEST(Compose, ResultHasOnlyTheFormatsEncoding) {
  struct Row {
    const char* name;
    kztest::Forms before;
    bool wide;
    const char* format;  // ASCII, with one %s of "ab"
    const char* text;
  } rows[] = {
      {"wide value, multibyte format", kztest::kWideOnly, false, "%s-%s",
       "ab-ab"},
      {"multibyte value, wide format", kztest::kMbsOnly, true, "%s-%s",
       "ab-ab"},
      {"both forms, multibyte format", kztest::kBothForms, false, "[%s]",
       "[ab]"},
      {"both forms, wide format", kztest::kBothForms, true, "[%s]", "[ab]"},
      {"empty multibyte format", kztest::kMbsOnly, false, "", ""},
      {"empty wide format", kztest::kWideOnly, true, "", ""},
  };
  const bool mb = kztest::MultibyteLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s = kztest::Make("former", row.before);
    if (row.before == kztest::kBothForms) {
      // A composed block of the format's encoding, with the other form
      // beside it: the value hands it over to be written again.
      if (row.wide) {
        s.Compose(OLESTR("%s"), OLESTR("former"));
        static_cast<void>(static_cast<const char*>(s));
      } else {
        s.Compose("%s", "former");
        static_cast<void>(static_cast<const WCHAR*>(s));
      }
      ASSERT_EQ(kztest::kBothForms, kztest::FormsOf(s));
    }
    if (row.wide) {
      s.Compose(Widen(row.format).c_str(), OLESTR("ab"), OLESTR("ab"));
    } else {
      s.Compose(row.format, "ab", "ab");
    }
    const std::uint32_t length =
        static_cast<std::uint32_t>(std::strlen(row.text));
    ASSERT_FALSE(A::IsNull(s));
    EXPECT_EQ(1u, A::RefCount(s));
    EXPECT_EQ(row.wide ? kztest::kWideOnly : kztest::kMbsOnly,
              kztest::FormsOf(s));
    EXPECT_EQ(length, row.wide ? A::WideLength(s) : A::MbsLength(s));
    EXPECT_EQ(mb ? 0 : length, row.wide ? A::MbsLength(s) : A::WideLength(s));
    if (row.wide) {
      EXPECT_EQ(U(row.text), W(A::WideBuffer(s)));
    } else {
      EXPECT_EQ(row.text, M(A::MbsBuffer(s)));
    }
  }
  if (mb) {
    const kztest::MultibyteSample sample = kztest::Sample();
    CKZString s;
    s.Compose("%s", sample.bytes);
    EXPECT_EQ(sample.byteLength, A::MbsLength(s));
    EXPECT_EQ(3u, s.Length());  // builds the wide form from the bytes
  }
}

// A format the formatter rejects on every pass leaves the value null and
// returns. Catches a retry loop that doubles until memory runs out.
TEST(Compose, RejectedFormatLeavesTheValueNull) {
  // 16-bit text with a lone surrogate has no bytes in any locale.
  CKZString s("old");
  s.Compose("[%ls]", OLESTR("a\xD800"));
  EXPECT_TRUE(A::IsNull(s));
  // A field wider than the formatter lays out in an int.
  CKZString w(OLESTR("old"));
  w.Compose(OLESTR("%2147483647d"), 1);
  EXPECT_TRUE(A::IsNull(w));
}

// The value lets go of its block before formatting; a value that shared it
// keeps its text, which may even be an argument. Catches an edit of the
// shared block and a release that frees text still in use.
TEST(Compose, SharedBlockKeepsTheOthersText) {
  CKZString a("hello");
  CKZString b = a;
  b.Compose("[%s]", static_cast<const char*>(b));
  EXPECT_EQ("[hello]", M(b));
  EXPECT_EQ("hello", M(a));
  EXPECT_EQ(1u, A::RefCount(a));

  CKZString c(OLESTR("hello"));
  CKZString d = c;
  d.Compose(OLESTR("[%s]"), static_cast<const WCHAR*>(d));
  EXPECT_EQ(u"[hello]", W(d));
  EXPECT_EQ(u"hello", W(c));
}

}  // namespace
