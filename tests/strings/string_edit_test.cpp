// CKZString editing: unsharing, case mapping, truncation, Left, Right,
// SubString and SetAt.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::FormsOf;
using kztest::M;
using kztest::Make;
using kztest::W;

using Edit = void (*)(CKZString&);

// Faults: an edit writes into a block that another value shares, or the
// sharers lose a form (the shared block gains the wide form that unsharing
// built, for everybody); a sole owner is copied instead of edited in place.
// The edited value ends up in a wide-only block of its own; a sole owner
// keeps its block, buffer and capacity and allocates nothing.
TEST(StringUnshare, EditsUnshareOrWorkInPlace) {
  struct Row {
    const char* name;
    Edit edit;
    const char16_t* expected;
  } rows[] = {
      {"lower", [](CKZString& s) { s.MakeLowerCase(); }, u"hello world"},
      {"upper", [](CKZString& s) { s.MakeUpperCase(); }, u"HELLO WORLD"},
      {"truncate left", [](CKZString& s) { s.TruncateLeft(6); }, u"World"},
      {"truncate right", [](CKZString& s) { s.TruncateRight(6); }, u"Hello"},
      {"set at", [](CKZString& s) { EXPECT_TRUE(s.SetAt(0, 'J')); },
       u"Jello World"},
  };
  for (const Row& row : rows) {
    {
      SCOPED_TRACE(std::string(row.name) + ", shared");
      const CKZString a = Make("Hello World", kztest::kMbsOnly);
      CKZString b = a;
      const CKZStringBlock* shared = A::Block(a);
      row.edit(b);
      EXPECT_EQ(shared, A::Block(a));
      EXPECT_EQ(1u, A::RefCount(a));
      EXPECT_EQ(kztest::kBothForms, FormsOf(a));
      EXPECT_EQ("Hello World", M(A::MbsBuffer(a)));
      EXPECT_EQ(u"Hello World", W(A::WideBuffer(a)));
      EXPECT_NE(shared, A::Block(b));
      EXPECT_EQ(1u, A::RefCount(b));
      EXPECT_EQ(kztest::kWideOnly, FormsOf(b));
      EXPECT_EQ(row.expected, W(b));
    }
    {
      SCOPED_TRACE(std::string(row.name) + ", sole owner");
      CKZString s = Make("Hello World", kztest::kWideOnly);
      const CKZStringBlock* block = A::Block(s);
      const WCHAR* buffer = A::WideBuffer(s);
      const std::uint32_t capacity = A::Capacity(s);
      kztest::AllocCounts counts;
      row.edit(s);
      EXPECT_EQ(block, A::Block(s));
      EXPECT_EQ(buffer, A::WideBuffer(s));
      EXPECT_EQ(capacity, A::Capacity(s));
      EXPECT_EQ(0u, counts.CrtGrow());
      EXPECT_EQ(0u, counts.Crt());
      EXPECT_EQ(row.expected, W(s));
    }
  }
}

// Fault: a sole owner keeps a multibyte form that no longer matches the
// edited wide text, or frees it with the wrong allocator. A buffer taken over
// from the COM task allocator goes back there; the wide form built from it
// (malloc) stays.
TEST(StringUnshare, SoleOwnerDropsTheMultibyteFormByItsAllocator) {
  for (bool ole : {false, true}) {
    SCOPED_TRACE(ole ? "task allocator" : "malloc");
    CKZString s;
    if (ole) {
      s.Attach_OLE(kztest::OleMbs("Hello"));
    } else {
      s = "Hello";
    }
    const WCHAR* wide = s;
    kztest::AllocCounts counts;
    s.MakeUpperCase();
    EXPECT_EQ(kztest::kWideOnly, FormsOf(s));
    EXPECT_EQ(wide, A::WideBuffer(s));
    EXPECT_EQ(ole ? 1u : 0u, counts.Ole());
    EXPECT_EQ(ole ? 0u : 1u, counts.Crt());
    EXPECT_EQ("HELLO", M(s));
  }
}

// Fault: the block made by unsharing copies the capacity of the block it
// copies instead of taking it from the capacity rule.
TEST(StringUnshare, CopyTakesItsCapacityFromTheRule) {
  ASSERT_TRUE(kztest::DefaultBlockSize());
  CKZString a(OLESTR("abc"));
  for (int i = 0; i < 70; ++i) a += OLESTR('x');
  ASSERT_EQ(128u, A::Capacity(a));
  CKZString b = a;
  b.SetAt(0, 'X');
  EXPECT_EQ(64u + 73u, A::Capacity(b));
  EXPECT_EQ(128u, A::Capacity(a));
}

// Faults: a count of 0 unshares, truncating everything leaves an empty
// instead of a null string (or frees the block a sharer still holds), or
// the lengths disagree afterwards. In a single-byte locale the multibyte
// length field must follow, since MbsLength reads it without converting.
TEST(StringTruncate, Table) {
  struct Row {
    const char* name;
    const char* text;  // nullptr: null string
    bool left;
    ULONG count;
    const char16_t* expected;  // nullptr: null string
  } rows[] = {
      {"left by 0", "abcd", true, 0, u"abcd"},
      {"left by 1", "abcd", true, 1, u"bcd"},
      {"left by length - 1", "abcd", true, 3, u"d"},
      {"left by length", "abcd", true, 4, nullptr},
      {"left by more", "abcd", true, 99, nullptr},
      {"left empty by 1", "", true, 1, nullptr},
      {"left empty by 0", "", true, 0, u""},
      {"left null by 1", nullptr, true, 1, nullptr},
      {"right by 0", "abcd", false, 0, u"abcd"},
      {"right by 1", "abcd", false, 1, u"abc"},
      {"right by length - 1", "abcd", false, 3, u"a"},
      {"right by length", "abcd", false, 4, nullptr},
      {"right by more", "abcd", false, 0xFFFFFFFFu, nullptr},
      {"right empty by 1", "", false, 1, nullptr},
      {"right null by 1", nullptr, false, 1, nullptr},
  };
  for (const Row& row : rows) {
    for (kztest::Forms forms :
         {kztest::kWideOnly, kztest::kMbsOnly, kztest::kBothForms}) {
      const bool shared = forms == kztest::kBothForms;  // with `sharer`
      SCOPED_TRACE(std::string(row.name) + ", forms " + std::to_string(forms));
      CKZString s = Make(row.text, forms);
      const CKZString sharer = shared ? s : CKZString();
      const std::uint32_t capacity = A::IsNull(s) ? 0 : A::Capacity(s);
      if (row.left) {
        s.TruncateLeft(row.count);
      } else {
        s.TruncateRight(row.count);
      }
      if (shared && row.text != nullptr) {
        EXPECT_EQ(row.count == 0, A::Block(sharer) == A::Block(s));
        EXPECT_EQ(row.count == 0 ? 2u : 1u, A::RefCount(sharer));
        EXPECT_EQ(kztest::kBothForms, FormsOf(sharer));
        EXPECT_EQ(row.text, M(sharer));
      }
      if (row.expected == nullptr) {
        EXPECT_TRUE(A::IsNull(s));
        continue;
      }
      ASSERT_FALSE(A::IsNull(s));
      const std::u16string expected(row.expected);
      if (row.count != 0) {
        EXPECT_EQ(kztest::kWideOnly, FormsOf(s));
        if (!shared) {  // nothing given back
          EXPECT_EQ(capacity, A::Capacity(s));
        }
      } else {
        EXPECT_EQ(forms, FormsOf(s));
      }
      EXPECT_EQ(expected.size(), s.Length());
      if (!kztest::MultibyteLocale() && row.count != 0) {
        EXPECT_EQ(expected.size(), s.MbsLength());
        EXPECT_FALSE(A::HasMbs(s));  // measured without converting
      }
      EXPECT_EQ(expected, W(s));
    }
  }
}

// Faults: a cut that should share copies (or the reverse), a cut that gives
// empty where null is due (or the reverse), a count that is not clamped at
// the end, or start + count wrapping around 32 bits; a const cut changes the
// source's text or drops its multibyte form (its only trace is the wide
// form, built on the shared block and kept).
TEST(StringCut, Table) {
  enum Outcome { kNull, kShares, kOwnBlock };
  enum Cut { kLeft, kRight, kSubString };
  struct CutRow {
    const char* name;
    const char* text;  // nullptr: null string
    Cut cut;
    ULONG start;  // SubString only
    ULONG count;
    Outcome outcome;
    const char16_t* expected;
  } rows[] = {
      {"Left(0)", "abcd", kLeft, 0, 0, kNull, nullptr},
      {"Left(1)", "abcd", kLeft, 0, 1, kOwnBlock, u"a"},
      {"Left(3)", "abcd", kLeft, 0, 3, kOwnBlock, u"abc"},
      {"Left(length)", "abcd", kLeft, 0, 4, kShares, u"abcd"},
      {"Left(more)", "abcd", kLeft, 0, 0xFFFFFFFFu, kShares, u"abcd"},
      {"Left of empty", "", kLeft, 0, 5, kNull, nullptr},
      {"Left of null", nullptr, kLeft, 0, 5, kNull, nullptr},
      {"Right(0)", "abcd", kRight, 0, 0, kNull, nullptr},
      {"Right(1)", "abcd", kRight, 0, 1, kOwnBlock, u"d"},
      {"Right(3)", "abcd", kRight, 0, 3, kOwnBlock, u"bcd"},
      {"Right(length)", "abcd", kRight, 0, 4, kShares, u"abcd"},
      {"Right(more)", "abcd", kRight, 0, 9, kShares, u"abcd"},
      {"Right of empty", "", kRight, 0, 1, kNull, nullptr},
      {"SubString(0)", "abcd", kSubString, 0, 0xFFFFFFFFu, kShares, u"abcd"},
      {"SubString(0, length)", "abcd", kSubString, 0, 4, kShares, u"abcd"},
      {"SubString(0, more)", "abcd", kSubString, 0, 7, kShares, u"abcd"},
      {"SubString(0, 3)", "abcd", kSubString, 0, 3, kOwnBlock, u"abc"},
      {"SubString(1)", "abcd", kSubString, 1, 0xFFFFFFFFu, kOwnBlock, u"bcd"},
      {"SubString(1, 2)", "abcd", kSubString, 1, 2, kOwnBlock, u"bc"},
      {"SubString(1, 0)", "abcd", kSubString, 1, 0, kOwnBlock, u""},
      {"SubString(0, 0)", "abcd", kSubString, 0, 0, kOwnBlock, u""},
      {"SubString(3, wraps)", "abcd", kSubString, 3, 0xFFFFFFFEu, kOwnBlock,
       u"d"},
      {"SubString(length)", "abcd", kSubString, 4, 0xFFFFFFFFu, kNull, nullptr},
      {"SubString(past)", "abcd", kSubString, 5, 1, kNull, nullptr},
      {"SubString of empty", "", kSubString, 0, 0xFFFFFFFFu, kNull, nullptr},
      {"SubString of null", nullptr, kSubString, 0, 0xFFFFFFFFu, kNull,
       nullptr},
  };
  for (const CutRow& row : rows) {
    for (kztest::Forms forms : {kztest::kWideOnly, kztest::kMbsOnly}) {
      SCOPED_TRACE(std::string(row.name) +
                   (forms == kztest::kWideOnly ? ", wide" : ", multibyte"));
      const CKZString source = Make(row.text, forms);
      const CKZString part = row.cut == kLeft ? source.Left(row.count)
                             : row.cut == kRight
                                 ? source.Right(row.count)
                                 : source.SubString(row.start, row.count);
      switch (row.outcome) {
        case kNull:
          EXPECT_TRUE(A::IsNull(part));
          break;
        case kShares:
          EXPECT_EQ(A::Block(source), A::Block(part));
          EXPECT_EQ(2u, A::RefCount(source));
          break;
        case kOwnBlock:
          ASSERT_FALSE(A::IsNull(part));
          EXPECT_NE(A::Block(source), A::Block(part));
          EXPECT_EQ(1u, A::RefCount(part));
          EXPECT_EQ(1u, A::RefCount(source));
          EXPECT_EQ(kztest::kWideOnly, FormsOf(part));
          EXPECT_EQ(forms | kztest::kWideOnly, FormsOf(source));
          break;
      }
      if (row.expected != nullptr) {
        EXPECT_EQ(row.expected, W(part));
      }
      if (row.text != nullptr) {
        EXPECT_EQ(row.text, M(source));
      }
    }
  }
}

// Faults: SetAt accepts the terminator's place or a position past the end,
// unshares although it refuses, or refuses a zero unit, which changes no
// length (the multibyte form built afterwards ends at it).
TEST(StringSetAt, Table) {
  struct Row {
    const char* name;
    const char* text;
    ULONG position;
    WCHAR unit;
    bool stored;
    const char* expected;  // as the multibyte form reads
  } rows[] = {
      {"first", "abc", 0, 'X', true, "Xbc"},
      {"last", "abc", 2, 'X', true, "abX"},
      {"zero unit", "abc", 1, 0, true, "a"},
      {"at length", "abc", 3, 'X', false, "abc"},
      {"far past", "abc", 0xFFFFFFFFu, 'X', false, "abc"},
      {"empty", "", 0, 'X', false, ""},
      {"null", nullptr, 0, 'X', false, "(null)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s = Make(row.text, kztest::kBothForms);
    CKZString other = s;
    EXPECT_EQ(row.stored, s.SetAt(row.position, row.unit));
    if (!row.stored) {
      EXPECT_EQ(A::Block(other), A::Block(s));  // refused: still shared
    } else {
      EXPECT_EQ(kztest::kWideOnly, FormsOf(s));
      EXPECT_EQ(row.unit, A::WideBuffer(s)[row.position]);
    }
    EXPECT_EQ(row.text == nullptr ? 0u : std::strlen(row.text), s.Length());
    EXPECT_EQ(row.expected, M(s));
    EXPECT_EQ(std::strlen(row.expected) * (row.text != nullptr),
              s.MbsLength());
  }
}

// Faults: case mapping goes beyond ASCII in the C locale, misses non-ASCII
// letters in the multibyte locale, changes the length, turns an empty value
// into null or leaves a stale multibyte form. Expected values are those of
// the Windows run-time (run under Wine) and of our POSIX layer.
TEST(StringCase, Table) {
  const bool mb = kztest::MultibyteLocale();
  struct Row {
    const char* name;
    const char16_t* text;
    const char16_t* upper;  // in the C locale
    const char16_t* lower;
    const char16_t* mbUpper;  // in the multibyte locale
    const char16_t* mbLower;
  } rows[] = {
      {"ascii", u"aBc1 z!", u"ABC1 Z!", u"abc1 z!", u"ABC1 Z!", u"abc1 z!"},
      {"latin", u"\u00e9\u00c9x", u"\u00e9\u00c9X", u"\u00e9\u00c9x",
       u"\u00c9\u00c9X", u"\u00e9\u00e9x"},
      {"greek", u"\u03b1\u0391\u03c9", u"\u03b1\u0391\u03c9",
       u"\u03b1\u0391\u03c9", u"\u0391\u0391\u03a9", u"\u03b1\u03b1\u03c9"},
      {"no case", u"\u65e5 1", u"\u65e5 1", u"\u65e5 1", u"\u65e5 1",
       u"\u65e5 1"},
      {"empty", u"", u"", u"", u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const WCHAR* text = reinterpret_cast<const WCHAR*>(row.text);
    CKZString upper(text);
    upper.MakeUpperCase();
    EXPECT_EQ(mb ? row.mbUpper : row.upper, W(upper));
    CKZString lower(text);
    static_cast<void>(static_cast<const char*>(lower));  // both forms
    lower.MakeLowerCase();
    EXPECT_EQ(mb ? row.mbLower : row.lower, W(lower));
    EXPECT_EQ(kztest::kWideOnly, FormsOf(lower));
    EXPECT_EQ(std::u16string(row.text).size(), lower.Length());
  }
  CKZString null;
  null.MakeUpperCase();
  EXPECT_TRUE(A::IsNull(null));
}

// Fault: case mapping walks past a zero unit inside the text (by the length
// field) and changes the units behind it.
TEST(StringCase, StopsAtAZeroUnitInside) {
  CKZString s(OLESTR("abxcd"));
  ASSERT_TRUE(s.SetAt(2, 0));
  s.MakeUpperCase();
  ASSERT_EQ(5u, s.Length());
  EXPECT_EQ(kztest::Units({'A', 'B', 0, 'c', 'd'}),
            kztest::WString(A::WideBuffer(s), 5));
}

// Fault: an edit of a multibyte-only text with zero bytes inside, in a
// single-byte locale, uses a position measured by the byte length against a
// wide form that ends at the first zero, and reads or writes past it. The
// zero bytes stay in the text as zero units. (A multibyte locale measures
// the wide form itself, so the case does not arise there.)
TEST(StringZeroBytesInside, EditsStayInsideTheWideForm) {
  if (kztest::MultibyteLocale()) GTEST_SKIP() << "single-byte locale only";
  struct Row {
    const char* name;
    Edit edit;
    ULONG length;
    const char* units;  // the expected wide units, one char each
  } rows[] = {
      {"truncate left", [](CKZString& s) { s.TruncateLeft(3); }, 2, "\0\0"},
      {"truncate right", [](CKZString& s) { s.TruncateRight(1); }, 4, "ab\0\0"},
      {"set at", [](CKZString& s) { EXPECT_TRUE(s.SetAt(4, 'x')); }, 5,
       "ab\0\0x"},
      {"upper", [](CKZString& s) { s.MakeUpperCase(); }, 5, "AB\0\0\0"},
      {"insert", [](CKZString& s) { EXPECT_EQ(6u, s.Insert(4, OLESTR('y'))); },
       6, "ab\0\0y\0"},
      {"right", [](CKZString& s) { s = s.Right(2); }, 2, "\0\0"},
      {"sub string", [](CKZString& s) { s = s.SubString(3); }, 2, "\0\0"},
      {"sub string inside", [](CKZString& s) { s = s.SubString(1, 3); }, 3,
       "b\0\0"},
  };
  for (const Row& row : rows) {
    for (bool shared : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (shared ? ", shared" : ""));
      CKZString s("ab\0\0\0", 5);
      ASSERT_EQ(5u, s.Length());
      CKZString other;
      if (shared) other = s;
      row.edit(s);
      ASSERT_EQ(row.length, s.Length());
      EXPECT_EQ(kztest::Widen(std::string(row.units, row.length)),
                kztest::WString(A::WideBuffer(s), row.length));
      EXPECT_EQ(0, A::WideBuffer(s)[row.length]);
    }
  }
}

}  // namespace
