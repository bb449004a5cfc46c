// CKZString editing: unsharing, case, truncation, cuts and SetAt.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using S = CKZString&;
using namespace kztest;

using Edit = void (*)(S);

// Faults: a count of 0 that unshares, empty where null is due, memory given
// back, a copy where a share is due or the reverse, a wrapped start + count.
TEST(StringTruncateAndCut, Tables) {
  struct Row {
    const char* text;  // nullptr: null string
    bool left;
    ULONG count;
    const char16_t* expected;  // nullptr: null string
  } rows[] = {
      {"abcd", true, 0, u"abcd"},  {"abcd", true, 1, u"bcd"},
      {"abcd", true, 3, u"d"},     {"abcd", true, 4, nullptr},
      {"abcd", true, 99, nullptr}, {"", true, 1, nullptr},
      {"", true, 0, u""},          {nullptr, true, 1, nullptr},
      {"abcd", false, 0, u"abcd"}, {nullptr, false, 1, nullptr},
      {"abcd", false, 1, u"abc"},  {"abcd", false, 3, u"a"},
      {"abcd", false, 4, nullptr}, {"abcd", false, 0xFFFFFFFFu, nullptr},
  };
  for (const Row& row : rows) {
    for (Forms forms : {kWide, kMbs, kBoth}) {
      const bool shared = forms == kBoth;  // with `sharer`
      SCOPED_TRACE(&row - rows);
      SCOPED_TRACE(forms);
      CKZString s = Make(row.text, forms);
      const CKZString sharer = shared ? s : CKZString();
      const std::uint32_t capacity = A::IsNull(s) ? 0 : A::Capacity(s);
      row.left ? s.TruncateLeft(row.count) : s.TruncateRight(row.count);
      if (shared && row.text != nullptr) {
        EXPECT_EQ(row.count == 0 ? 2u : 1u, A::RefCount(sharer));
      }
      if (row.expected == nullptr) {
        EXPECT_TRUE(A::IsNull(s));
        continue;
      }
      const std::u16string expected(row.expected);
      EXPECT_EQ(row.count == 0 ? int{forms} : kWide, FormsOf(s));
      if (!shared) {
        EXPECT_EQ(capacity, A::Capacity(s));
      }
      EXPECT_EQ(expected.size(), s.Length());
      if (!MultibyteLocale() && row.count != 0) {
        EXPECT_EQ(expected.size(), s.MbsLength());
        EXPECT_FALSE(A::HasMbs(s));  // measured without converting
      }
      EXPECT_EQ(expected, W(s));
    }
  }
  enum Outcome { kNull, kShares, kOwnBlock };
  enum Cut { kLeft, kRight, kSubString };
  const ULONG kAll = 0xFFFFFFFFu;
  struct CutRow {
    const char* name;
    const char* text;  // nullptr: null string
    Cut cut;
    ULONG start;  // SubString only
    ULONG count;
    Outcome outcome;
    const char16_t* expected;
  } cuts[] = {
      {"Left(0)", "abcd", kLeft, 0, 0, kNull, nullptr},
      {"Left(3)", "abcd", kLeft, 0, 3, kOwnBlock, u"abc"},
      {"Left(length)", "abcd", kLeft, 0, 4, kShares, u"abcd"},
      {"Left(more)", "abcd", kLeft, 0, kAll, kShares, u"abcd"},
      {"Left of empty", "", kLeft, 0, 5, kNull, nullptr},
      {"Left of null", nullptr, kLeft, 0, 5, kNull, nullptr},
      {"Right(0)", "abcd", kRight, 0, 0, kNull, nullptr},
      {"Right(3)", "abcd", kRight, 0, 3, kOwnBlock, u"bcd"},
      {"Right(length)", "abcd", kRight, 0, 4, kShares, u"abcd"},
      {"Right of empty", "", kRight, 0, 1, kNull, nullptr},
      {"SubString(0)", "abcd", kSubString, 0, kAll, kShares, u"abcd"},
      {"SubString(0, more)", "abcd", kSubString, 0, 7, kShares, u"abcd"},
      {"SubString(0, 3)", "abcd", kSubString, 0, 3, kOwnBlock, u"abc"},
      {"SubString(1)", "abcd", kSubString, 1, kAll, kOwnBlock, u"bcd"},
      {"SubString(1, 2)", "abcd", kSubString, 1, 2, kOwnBlock, u"bc"},
      {"SubString(1, 0)", "abcd", kSubString, 1, 0, kOwnBlock, u""},
      {"SubString(3, wraps)", "abcd", kSubString, 3, kAll - 1, kOwnBlock, u"d"},
      {"SubString(length)", "abcd", kSubString, 4, kAll, kNull, nullptr},
      {"SubString of empty", "", kSubString, 0, kAll, kNull, nullptr},
      {"SubString of null", nullptr, kSubString, 0, kAll, kNull, nullptr},
  };
  for (const CutRow& row : cuts) {
    for (Forms forms : {kWide, kMbs}) {
      SCOPED_TRACE(std::string(row.name) + ", forms " + std::to_string(forms));
      const CKZString source = Make(row.text, forms);
      const CKZString part = row.cut == kLeft ? source.Left(row.count)
                             : row.cut == kRight
                                 ? source.Right(row.count)
                                 : source.SubString(row.start, row.count);
      EXPECT_EQ(row.outcome == kNull, A::IsNull(part));
      if (row.outcome == kShares) {
        EXPECT_EQ(A::Block(source), A::Block(part));
      } else if (row.outcome == kOwnBlock) {
        EXPECT_EQ(1u, A::RefCount(part));
        EXPECT_EQ(kWide, FormsOf(part));
        EXPECT_EQ(forms | kWide, FormsOf(source));
      }
      if (row.expected != nullptr) {
        EXPECT_EQ(row.expected, W(part));
      }
    }
  }
}

// Faults: SetAt at or past the end, unsharing although it refuses, a copy with
// the shared block's capacity; with zero bytes inside a counted multibyte
// text, an edit past the wide form.
TEST(StringSetAt, TableAndZeroBytesInside) {
  struct Row {
    const char* text;
    ULONG position;
    WCHAR unit;
    bool stored;
    const char* expected;  // as the multibyte form reads
  } rows[] = {
      {"abc", 0, 'X', true, "Xbc"},
      {"abc", 2, 'X', true, "abX"},
      {"abc", 1, 0, true, "a"},
      {"abc", 3, 'X', false, "abc"},
      {"abc", 0xFFFFFFFFu, 'X', false, "abc"},
      {"", 0, 'X', false, ""},
      {nullptr, 0, 'X', false, "(null)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    CKZString s = Make(row.text, kBoth);
    CKZString other = s;
    EXPECT_EQ(row.stored, s.SetAt(row.position, row.unit));
    EXPECT_EQ(row.stored, A::Block(other) != A::Block(s));
    if (row.stored) {
      EXPECT_EQ(row.unit, A::WideBuffer(s)[row.position]);
    }
    EXPECT_EQ(row.text == nullptr ? 0u : std::strlen(row.text), s.Length());
    EXPECT_EQ(row.expected, M(s));
    EXPECT_EQ(row.text == nullptr ? 0 : std::strlen(row.expected),
              s.MbsLength());
  }
  ASSERT_TRUE(DefaultBlockSize());
  CKZString grown(OLESTR("abc"));
  grown += WString(70, 'x').c_str();
  ASSERT_EQ(128u, A::Capacity(grown));
  CKZString copy = grown;
  EXPECT_TRUE(copy.SetAt(0, 'X'));
  EXPECT_EQ(64u + 73u, A::Capacity(copy));
  if (MultibyteLocale()) return;
  struct ZeroRow {
    const char* name;
    Edit edit;
    ULONG length;
    const char* units;  // the expected wide units, one char each
  } zeroRows[] = {
      {"truncate left", [](S s) { s.TruncateLeft(3); }, 2, "\0\0"},
      {"truncate right", [](S s) { s.TruncateRight(1); }, 4, "ab\0\0"},
      {"set at", [](S s) { EXPECT_TRUE(s.SetAt(4, 'x')); }, 5, "ab\0\0x"},
      {"upper", [](S s) { s.MakeUpperCase(); }, 5, "AB\0\0\0"},
      {"insert", [](S s) { EXPECT_EQ(6u, s.Insert(4, OLESTR('y'))); }, 6,
       "ab\0\0y\0"},
      {"right", [](S s) { s = s.Right(2); }, 2, "\0\0"},
      {"sub string", [](S s) { s = s.SubString(3); }, 2, "\0\0"},
      {"sub string inside", [](S s) { s = s.SubString(1, 3); }, 3, "b\0\0"},
  };
  for (const ZeroRow& row : zeroRows) {
    for (bool shared : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (shared ? ", shared" : ""));
      CKZString s("ab\0\0\0", 5);
      ASSERT_EQ(5u, s.Length());
      CKZString other;
      if (shared) other = s;
      row.edit(s);
      ASSERT_EQ(row.length, s.Length());
      EXPECT_EQ(Widen(std::string(row.units, row.length)),
                WString(A::WideBuffer(s), row.length));
      EXPECT_EQ(0, A::WideBuffer(s)[row.length]);
    }
  }
}

// Recorded under Wine. Faults: mapping beyond ASCII in the C locale or not in
// the other, a sole owner copied, a stale form kept, units mapped past a zero.
TEST(StringCase, Table) {
  const bool mb = MultibyteLocale();
  struct Row {
    const char16_t* text;
    const char16_t* upper;  // in the C locale
    const char16_t* lower;
    const char16_t* mbUpper;  // in the multibyte locale
    const char16_t* mbLower;
  } rows[] = {
      {u"aBc1 z!", u"ABC1 Z!", u"abc1 z!", u"ABC1 Z!", u"abc1 z!"},
      {u"\u00e9\u00c9x", u"\u00e9\u00c9X", u"\u00e9\u00c9x", u"\u00c9\u00c9X",
       u"\u00e9\u00e9x"},
      {u"\u03b1\u0391\u03c9", u"\u03b1\u0391\u03c9", u"\u03b1\u0391\u03c9",
       u"\u0391\u0391\u03a9", u"\u03b1\u03b1\u03c9"},
      {u"\u65e5 1", u"\u65e5 1", u"\u65e5 1", u"\u65e5 1", u"\u65e5 1"},
      {u"", u"", u"", u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    const WCHAR* text = kztest::U(row.text);
    CKZString upper(text);
    upper.MakeUpperCase();
    EXPECT_EQ(mb ? row.mbUpper : row.upper, W(upper));
    CKZString lower(text);
    static_cast<void>(static_cast<const char*>(lower));  // both forms
    const WCHAR* buffer = A::WideBuffer(lower);
    AllocCounts counts;
    lower.MakeLowerCase();
    EXPECT_EQ(buffer, A::WideBuffer(lower));
    EXPECT_EQ(1u, counts.Crt());  // the multibyte form, and nothing else
    EXPECT_EQ(mb ? row.mbLower : row.lower, W(lower));
    EXPECT_EQ(kWide, FormsOf(lower));
    EXPECT_EQ(std::u16string(row.text).size(), lower.Length());
  }
  CKZString null;
  null.MakeUpperCase();
  EXPECT_TRUE(A::IsNull(null));
  CKZString zero(OLESTR("abxcd"));
  ASSERT_TRUE(zero.SetAt(2, 0));
  zero.MakeUpperCase();
  EXPECT_EQ(Units({'A', 'B', 0, 'c', 'd'}), WString(A::WideBuffer(zero), 5));
}

}  // namespace
