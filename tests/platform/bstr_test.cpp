// BSTR functions: the length prefix, allocation with and without a text, and
// resizing from the BSTR's own text, from a null text and from a text inside
// it. Expected values are those of the Windows build under Wine.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"

#include "test_support.h"

namespace {

// The units the prefix counts, and the terminator after them.
std::u16string Units(BSTR bstr) {
  const UINT length = SysStringLen(bstr);
  std::u16string out;
  for (UINT i = 0; i <= length; ++i) {
    out.push_back(static_cast<char16_t>(bstr[i]));
  }
  return out;
}

// The prefix, not the first zero, gives the length; a null text still gives
// a BSTR of the length with its terminator (Windows leaves the units
// unset); SysAllocString measures up to the terminator and turns null into
// null but "" into an empty BSTR. Catches a length measured by the text, a
// missing terminator, and null and empty mixed up.
TEST(Bstr, Allocation) {
  static const OLECHAR kZeroInside[] = {'a', 0, 'b'};
  struct Row {
    const char* name;
    BSTR bstr;
    UINT length;
    const char16_t* units;  // nullptr: unset
  } rows[] = {
      {"zero inside", SysAllocStringLen(kZeroInside, 3), 3, u"a\0b"},
      {"null text", SysAllocStringLen(nullptr, 4), 4, nullptr},
      {"length 0", SysAllocStringLen(OLESTR("abc"), 0), 0, u""},
      {"empty text", SysAllocString(OLESTR("")), 0, u""},
      {"text", SysAllocString(OLESTR("hello")), 5, u"hello"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ASSERT_NE(nullptr, row.bstr);
    EXPECT_EQ(row.length, SysStringLen(row.bstr));
    EXPECT_EQ(0, row.bstr[row.length]) << "terminator after the counted units";
    if (row.units != nullptr) {
      EXPECT_EQ(std::u16string(row.units, row.length),
                Units(row.bstr).substr(0, row.length));
    }
    SysFreeString(row.bstr);
  }
  EXPECT_EQ(nullptr, SysAllocString(nullptr));
  EXPECT_EQ(0u, SysStringLen(nullptr));
  SysFreeString(nullptr);
}

// A length whose byte size leaves 32 bits is refused, and the BSTR handed in
// stays as it was.
TEST(Bstr, HugeLengthsAreRefused) {
  EXPECT_EQ(nullptr, SysAllocStringLen(nullptr, 0x80000000u));
  EXPECT_EQ(nullptr, SysAllocStringLen(nullptr, 0xFFFFFFFFu));
  BSTR bstr = SysAllocString(OLESTR("abc"));
  ASSERT_NE(nullptr, bstr);
  const BSTR before = bstr;
  for (UINT length : {0x7FFFFFFCu, 0x80000000u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(length);
    EXPECT_FALSE(SysReAllocStringLen(&bstr, bstr, length));
    EXPECT_EQ(before, bstr);
    EXPECT_EQ(u"abc", kztest::W(bstr));
  }
  SysFreeString(bstr);
}

// SysReAllocStringLen on "abcdef" with each kind of source. The string block
// grows a taken-over BSTR with its own text as the source, so that text must
// survive growing and shrinking; a null source keeps the old text too; a
// source inside the BSTR must be read before the old buffer goes, and not
// past its end (AddressSanitizer shows it); a null BSTR is allocated.
TEST(Bstr, ReAllocSources) {
  enum Source { kSelf, kNull, kInside, kOther, kIntoNull };
  struct Row {
    const char* name;
    Source source;
    UINT offset;  // into the old text, for kInside
    UINT length;
    const char16_t* kept;  // the units that must be there afterwards
  } rows[] = {
      {"grow from itself", kSelf, 0, 40, u"abcdef"},
      {"same length from itself", kSelf, 0, 6, u"abcdef"},
      {"shrink from itself", kSelf, 0, 3, u"abc"},
      {"shrink to nothing", kSelf, 0, 0, u""},
      {"grow from null", kNull, 0, 10, u"abcdef"},
      {"shrink from null", kNull, 0, 2, u"ab"},
      {"tail from inside", kInside, 1, 5, u"bcdef"},
      {"middle from inside", kInside, 2, 3, u"cde"},
      {"from inside, past its end", kInside, 4, 4, u"ef"},
      {"other text", kOther, 0, 2, u"xy"},
      {"null BSTR", kIntoNull, 0, 2, u"xy"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    BSTR bstr =
        row.source == kIntoNull ? nullptr : SysAllocString(OLESTR("abcdef"));
    const OLECHAR* source = row.source == kSelf     ? bstr
                            : row.source == kNull   ? nullptr
                            : row.source == kInside ? bstr + row.offset
                                                    : OLESTR("xy");
    ASSERT_TRUE(SysReAllocStringLen(&bstr, source, row.length));
    ASSERT_NE(nullptr, bstr);
    EXPECT_EQ(row.length, SysStringLen(bstr));
    const std::u16string kept(row.kept);
    EXPECT_EQ(kept, Units(bstr).substr(0, kept.size()));
    EXPECT_EQ(0, bstr[row.length]) << "terminator at the new length";
    SysFreeString(bstr);
  }
}

}  // namespace
