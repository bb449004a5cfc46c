// BSTR functions: the length prefix, allocation with and without a text, and
// resizing from the BSTR's own text, from a null text and from a text inside
// it. Expected values are those of the Windows build under Wine.
#include <gtest/gtest.h>

#include <string>

#include "platform/platform.h"

#include "test_support.h"

namespace {

std::u16string Units(BSTR bstr, UINT count) {
  std::u16string out;
  for (UINT i = 0; i < count; ++i)
    out.push_back(static_cast<char16_t>(bstr[i]));
  return out;
}

// The prefix, not the first zero, gives the length: a SysStringLen that
// measured the text would stop at the zero inside.
TEST(Bstr, LengthPrefixCountsZerosInside) {
  const OLECHAR text[] = {'a', 0, 'b'};
  BSTR bstr = SysAllocStringLen(text, 3);
  ASSERT_NE(nullptr, bstr);
  EXPECT_EQ(3u, SysStringLen(bstr));
  EXPECT_EQ(std::u16string(u"a\0b", 3), Units(bstr, 3));
  EXPECT_EQ(0, bstr[3]) << "terminator after the counted units";
  SysFreeString(bstr);
}

// Allocation from texts: a null text still gives a BSTR of the length with
// its terminator; SysAllocString measures up to the terminator and turns
// null into null but "" into an empty BSTR.
TEST(Bstr, Allocation) {
  BSTR fromNull = SysAllocStringLen(nullptr, 4);
  ASSERT_NE(nullptr, fromNull);
  EXPECT_EQ(4u, SysStringLen(fromNull));
  EXPECT_EQ(0, fromNull[4]);
  SysFreeString(fromNull);

  BSTR cut = SysAllocStringLen(OLESTR("abc"), 0);
  ASSERT_NE(nullptr, cut);
  EXPECT_EQ(0u, SysStringLen(cut));
  EXPECT_EQ(0, cut[0]);
  SysFreeString(cut);

  BSTR empty = SysAllocString(OLESTR(""));
  ASSERT_NE(nullptr, empty);
  EXPECT_EQ(0u, SysStringLen(empty));
  SysFreeString(empty);

  BSTR text = SysAllocString(OLESTR("hello"));
  ASSERT_NE(nullptr, text);
  EXPECT_EQ(5u, SysStringLen(text));
  EXPECT_EQ(u"hello", kztest::W(text));
  SysFreeString(text);

  EXPECT_EQ(nullptr, SysAllocString(nullptr));
}

// Null BSTRs are accepted where Windows accepts them: no crash, length 0.
TEST(Bstr, NullBstrIsAccepted) {
  EXPECT_EQ(0u, SysStringLen(nullptr));
  SysFreeString(nullptr);
  BSTR bstr = nullptr;
  ASSERT_TRUE(SysReAllocStringLen(&bstr, OLESTR("xyz"), 3));
  EXPECT_EQ(3u, SysStringLen(bstr));
  EXPECT_EQ(u"xyz", kztest::W(bstr));
  SysFreeString(bstr);
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
    EXPECT_EQ(3u, SysStringLen(bstr));
    EXPECT_EQ(u"abc", kztest::W(bstr));
  }
  SysFreeString(bstr);
}

// SysReAllocStringLen on "abcdef" with each kind of source. The string block
// grows a taken-over BSTR with its own text as the source, so that text must
// survive growing and shrinking; a null source keeps the old text too; a
// source inside the BSTR must be read before the old buffer goes.
TEST(Bstr, ReAllocSources) {
  enum Source { kSelf, kNull, kInside, kOther };
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
      {"other text", kOther, 0, 2, u"xy"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    BSTR bstr = SysAllocString(OLESTR("abcdef"));
    ASSERT_NE(nullptr, bstr);
    const OLECHAR* source = row.source == kSelf     ? bstr
                            : row.source == kNull   ? nullptr
                            : row.source == kInside ? bstr + row.offset
                                                    : OLESTR("xy");
    ASSERT_TRUE(SysReAllocStringLen(&bstr, source, row.length));
    ASSERT_NE(nullptr, bstr);
    EXPECT_EQ(row.length, SysStringLen(bstr));
    const std::u16string kept(row.kept);
    EXPECT_EQ(kept, Units(bstr, static_cast<UINT>(kept.size())));
    EXPECT_EQ(0, bstr[row.length]) << "terminator at the new length";
    SysFreeString(bstr);
  }
}

}  // namespace
