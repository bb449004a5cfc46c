// Comparison and search: null against empty, the encoding chosen by the forms
// present, unit and byte order, case, and positions in both forms.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::Forms;
using kztest::FormsOf;
using kztest::Make;
using kztest::Sign;
using kztest::Units;
using kztest::Widen;
using kztest::WideOrNull;
using kztest::WString;

const Forms kWide = kztest::kWideOnly;
const Forms kMbs = kztest::kMbsOnly;
const Forms kBoth = kztest::kBothForms;
const Forms kForms[] = {kWide, kMbs, kBoth};

std::string FormName(int forms) {
  return forms == kWide ? "wide-only" : forms == kMbs ? "mbs-only" : "both";
}

// A wide-only value whose units may include zeros, as SetAt(i, 0) leaves
// them: the length counts every unit, the text ends at the first zero.
CKZString WideWithZeros(const WString& units) {
  CKZString s(units.c_str(), static_cast<ULONG>(units.size()));
  WCHAR* buffer = const_cast<WCHAR*>(A::WideBuffer(s));
  for (std::size_t i = 0; i < units.size(); ++i) buffer[i] = units[i];
  return s;
}

// A wide-only value in a buffer of exactly the text's size (a taken-over
// buffer has no spare room), so that a scan past the terminator is a read
// outside the allocation, which the sanitizer build reports.
CKZString Exact(const WString& text) {
  CKZString s;
  s.Attach_CRT(kztest::MallocWide(text.c_str()));
  return s;
}

// All six operators of one overload against the expected order.
template <typename L, typename R>
void ExpectOperators(const L& left, const R& right, int expected,
                     const char* overload) {
  SCOPED_TRACE(overload);
  EXPECT_EQ(expected == 0, left == right) << "==";
  EXPECT_EQ(expected != 0, left != right) << "!=";
  EXPECT_EQ(expected < 0, left < right) << "<";
  EXPECT_EQ(expected > 0, left > right) << ">";
  EXPECT_EQ(expected <= 0, left <= right) << "<=";
  EXPECT_EQ(expected >= 0, left >= right) << ">=";
}

// One text in both spellings, with characters outside ASCII, so that equality
// across forms really goes through a conversion.
struct SameText {
  std::string bytes;
  WString wide;
};
SameText LocaleText() {
  if (kztest::MultibyteLocale()) {
    const kztest::MultibyteSample sample = kztest::Sample();
    return {sample.bytes, sample.wide};
  }
  // The C locale maps each byte to the unit of the same value.
  return {"caf\xe9", Units({'c', 'a', 'f', 0xE9})};
}
CKZString Make(Forms forms, const SameText& text) {
  return Make(text.bytes.c_str(), text.wide.c_str(), forms);
}

// The order of every operator and every overload, and CaseLessEqual, for
// null, empty and text values in every combination of forms. Faults caught:
// a null string equal to an empty one, a null text not equal to a null
// string, a free operator that forgets to turn the sign (`"a" < null` true),
// member and free operators disagreeing, the terminator not sorting lowest.
TEST(StringCompare, OperatorsOrderNullEmptyAndText) {
  struct Row {
    const char* name;
    const char* left;  // nullptr: a null string
    const char* right;
    int expected;
    bool caseLessEqual;
  } rows[] = {
      {"null against null", nullptr, nullptr, 0, true},
      {"null before empty", nullptr, "", -1, false},
      {"empty after null", "", nullptr, 1, false},
      {"empty equals empty", "", "", 0, true},
      {"null before text", nullptr, "a", -1, false},
      {"text after null", "a", nullptr, 1, false},
      {"empty before text", "", "a", -1, false},
      {"shorter common start first", "ab", "abc", -1, false},
      {"longer common start after", "abc", "ab", 1, false},
      {"first difference decides, not length", "b", "abc", 1, false},
      {"equal texts in two blocks", "abc", "abc", 0, true},
      {"case counts", "Abc", "abc", -1, true},
  };
  for (const Row& row : rows) {
    for (Forms lf : kForms) {
      for (Forms rf : kForms) {
        SCOPED_TRACE(std::string(row.name) + ", " + FormName(lf) + " vs " +
                     FormName(rf));
        const WideOrNull leftWide(row.left);
        const WideOrNull rightWide(row.right);
        CKZString left = Make(row.left, lf);
        CKZString right = Make(row.right, rf);
        EXPECT_EQ(row.expected, Sign(A::Compare(left, right)));
        EXPECT_EQ(row.expected, Sign(A::Compare(left, rightWide.get(), false)));
        EXPECT_EQ(row.expected, Sign(A::Compare(left, row.right, false)));
        ExpectOperators(left, right, row.expected, "member, string");
        ExpectOperators(left, rightWide.get(), row.expected,
                        "member, wide text");
        ExpectOperators(left, row.right, row.expected, "member, mbs text");
        ExpectOperators(leftWide.get(), right, row.expected, "free, wide text");
        ExpectOperators(row.left, right, row.expected, "free, mbs text");
        EXPECT_EQ(row.caseLessEqual, left.CaseLessEqual(right));
        EXPECT_EQ(row.caseLessEqual, left.CaseLessEqual(rightWide.get()));
        EXPECT_EQ(row.caseLessEqual, left.CaseLessEqual(row.right));
      }
    }
  }
}

// The encoding follows the forms present before the call, and only the side
// that lacks the chosen form gains it; a comparison with a text works on the
// form of that text, also when the text is null. Values sharing a block are
// equal without a look at the text. Faults caught: building a wide form for
// two multibyte-only values, building the multibyte form instead of the
// wide one, converting the side that already had it, comparing a multibyte
// text with the wide form, a shared block read to compare.
TEST(StringCompare, EncodingFollowsTheFormsPresent) {
  struct Row {
    const char* name;
    Forms left, right;
    int leftAfter, rightAfter;
  } rows[] = {
      {"wide-only pair", kWide, kWide, kWide, kWide},
      {"wide-only vs mbs-only: other gains wide", kWide, kMbs, kWide, kBoth},
      {"wide-only vs both", kWide, kBoth, kWide, kBoth},
      {"mbs-only vs wide-only: this gains wide", kMbs, kWide, kBoth, kWide},
      {"mbs-only pair stays mbs-only", kMbs, kMbs, kMbs, kMbs},
      {"mbs-only vs both: bytes", kMbs, kBoth, kMbs, kBoth},
      {"both vs wide-only", kBoth, kWide, kBoth, kWide},
      {"both vs mbs-only: bytes", kBoth, kMbs, kBoth, kMbs},
      {"both pair", kBoth, kBoth, kBoth, kBoth},
  };
  const SameText text = LocaleText();
  for (const Row& row : rows) {
    for (bool caseLess : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (caseLess ? ", CaseLessEqual" : ""));
      CKZString left = Make(row.left, text);
      CKZString right = Make(row.right, text);
      EXPECT_TRUE(caseLess ? left.CaseLessEqual(right)
                           : A::Compare(left, right) == 0);
      EXPECT_EQ(row.leftAfter, FormsOf(left));
      EXPECT_EQ(row.rightAfter, FormsOf(right));
    }
  }
  CKZString wideOnly = Make(kWide, text);
  EXPECT_TRUE(wideOnly == text.bytes.c_str());
  EXPECT_EQ(kBoth, FormsOf(wideOnly));
  CKZString mbsOnly = Make(kMbs, text);
  EXPECT_TRUE(text.wide.c_str() == mbsOnly);
  EXPECT_EQ(kBoth, FormsOf(mbsOnly));
  CKZString other = Make(kMbs, text);
  EXPECT_EQ(1, A::Compare(other, static_cast<const WCHAR*>(nullptr), false));
  EXPECT_EQ(kBoth, FormsOf(other));
  for (Forms form : {kWide, kMbs}) {
    SCOPED_TRACE("shared, " + FormName(form));
    const CKZString a = Make(form, text);
    const CKZString b = a;
    EXPECT_TRUE(a.CaseLessEqual(b));
    EXPECT_EQ(0, A::Compare(a, b));
    EXPECT_EQ(form, FormsOf(a));
  }
}

// The same two texts sort one way by bytes and the other way by units; the
// forms present decide which order a comparison gives. Faults caught: always
// comparing wide (or always multibyte), and byte comparison with signed
// chars.
TEST(StringCompare, ByteOrderAndWideOrderFollowTheEncoding) {
  // x and y in both spellings, y given by its wide text and what the
  // conversion makes of it, and the order of x against y by bytes and by
  // units in the current locale.
  SameText x, y;
  int byteOrder, wideOrder;
  const kztest::MultibyteSample sample = kztest::Sample();
  if (MB_CUR_MAX == 1) {
    // U+0100 has no byte in the C locale and becomes '?', below 0xE9.
    x = {"\xe9", Units({0xE9})};
    y = {"?", Units({0x100})};
    byteOrder = 1;
    wideOrder = -1;
  } else if (MB_CUR_MAX == 2) {
    // Code page 932: the third character (0x8C..) sorts before the first
    // (0x93..) by bytes, after it by units (U+8A9E, U+65E5).
    x = {std::string(sample.bytes + 4, 2), WString(sample.wide + 2, 1)};
    y = {std::string(sample.bytes, 2), WString(sample.wide, 1)};
    byteOrder = -1;
    wideOrder = 1;
  } else {
    // UTF-8: U+FF21 sorts before U+10000 by bytes, after its surrogate pair
    // by units.
    x = {"\xef\xbc\xa1", Units({0xFF21})};
    y = {"\xf0\x90\x80\x80", Units({0xD800, 0xDC00})};
    byteOrder = -1;
    wideOrder = 1;
  }
  struct Row {
    const char* name;
    Forms x, y;
    bool wide;
  } rows[] = {
      {"mbs-only pair: bytes", kMbs, kMbs, false},
      {"mbs-only vs both: bytes", kMbs, kBoth, false},
      {"both vs mbs-only: bytes", kBoth, kMbs, false},
      {"both pair: wide", kBoth, kBoth, true},
      {"wide-only vs both: wide", kWide, kBoth, true},
      {"both vs wide-only: wide", kBoth, kWide, true},
      {"mbs-only vs wide-only: wide", kMbs, kWide, true},
  };
  for (const Row& row : rows) {
    const int expected = row.wide ? wideOrder : byteOrder;
    for (bool swapped : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (swapped ? ", swapped" : ""));
      CKZString a = Make(row.x, x);
      CKZString b = Make(row.y, y);
      EXPECT_EQ(swapped ? -expected : expected,
                Sign(swapped ? A::Compare(b, a) : A::Compare(a, b)));
      EXPECT_EQ(expected < 0, swapped ? b > a : a < b);
    }
  }
  // One pair, two answers: once the multibyte-only side gains a wide form the
  // comparison moves to the wide order.
  CKZString a = Make(kMbs, x);
  CKZString b = Make(kBoth, y);
  EXPECT_EQ(byteOrder, Sign(A::Compare(a, b)));
  static_cast<void>(static_cast<const WCHAR*>(a));
  EXPECT_EQ(wideOrder, Sign(A::Compare(a, b)));
}

// Units are compared as unsigned 16-bit values, and a zero unit ends the
// text even where the length goes on. Each row runs with a short and with a
// 20-unit common prefix, so that the four-units-at-a-time loop meets it.
// Faults caught: memcmp order (low byte first on little-endian), signed
// units, reading past a zero unit, an early exit on unequal lengths.
TEST(StringCompare, WideUnitOrder) {
  struct Row {
    const char* name;
    WString left, right;
    int expected;
  } rows[] = {
      {"unit order, not byte order", Units({0x0142}), Units({0x0241}), -1},
      {"high byte decides before low byte", Units({0x0241, 'a'}),
       Units({0x0142, 'z'}), 1},
      {"units above 0x7FFF are large", Units({0x8000}), Units({'A'}), 1},
      {"0xFFFF is the largest unit", Units({0xFFFF}), Units({0xFFFE}), 1},
      {"surrogates sort below U+E000", Units({0xD800, 0xDC00}), Units({0xE000}),
       -1},
      {"zero unit ends the text", Units({'a', 0, 'x', 'y', 'z'}), Units({'a'}),
       0},
      {"zero units in both", Units({'a', 0, 'x'}), Units({'a', 0, 'y', 'y'}),
       0},
      {"text before zero still differs", Units({'a', 'b', 0, 'z'}),
       Units({'a', 'c'}), -1},
      {"shorter sorts first", Units({'a', 'b'}), Units({'a', 'b', 1}), -1},
  };
  for (const Row& row : rows) {
    for (const WString& prefix : {WString(), Widen("0123456789abcdefghij")}) {
      SCOPED_TRACE(std::string(row.name) + (prefix.empty() ? "" : ", long"));
      CKZString left = WideWithZeros(prefix + row.left);
      CKZString right = WideWithZeros(prefix + row.right);
      EXPECT_EQ(row.expected, Sign(A::Compare(left, right)));
      EXPECT_EQ(-row.expected, Sign(A::Compare(right, left)));
      const WString rightText = prefix + row.right;
      EXPECT_EQ(row.expected, Sign(A::Compare(left, rightText.c_str(), false)));
      EXPECT_EQ(row.expected < 0, rightText.c_str() > left);
    }
  }
}

// A difference, a shorter text, a zero unit and a searched unit at every
// position from 0 to 40, in buffers without spare room. Faults caught: an
// off-by-one where the scan passes from four units at a time to single units,
// a word read past the terminator.
TEST(StringCompare, EveryPositionOfTheWordLoops) {
  const std::size_t n = 41;
  const WString base(n, 'a');
  CKZString whole = Exact(base);
  for (std::size_t p = 0; p < n; ++p) {
    SCOPED_TRACE("position " + std::to_string(p));
    const LONG pos = static_cast<LONG>(p);
    WString changed = base;
    changed[p] = 'b';
    CKZString diff = Exact(changed);
    EXPECT_EQ(-1, Sign(A::Compare(whole, diff)));
    EXPECT_EQ(1, Sign(A::Compare(diff, whole)));
    EXPECT_EQ(pos, diff.Find(static_cast<WCHAR>('b')));
    EXPECT_EQ(pos, diff.ReverseFind(static_cast<WCHAR>('b')));
    EXPECT_EQ(pos, diff.Find(Widen("b").c_str()));
    EXPECT_EQ(static_cast<LONG>(n), diff.Find(static_cast<WCHAR>(0)));

    CKZString prefix = Exact(base.substr(0, p));
    EXPECT_EQ(-1, Sign(A::Compare(prefix, whole)));

    WString zeroed = base;
    zeroed[p] = 0;
    CKZString cut = WideWithZeros(zeroed);
    EXPECT_EQ(0, A::Compare(cut, prefix));
    EXPECT_EQ(0, A::Compare(prefix, cut));
    EXPECT_EQ(pos, cut.Find(static_cast<WCHAR>(0)));
    EXPECT_EQ(pos, cut.ReverseFind(static_cast<WCHAR>(0)));
    EXPECT_EQ(p == 0 ? -1 : 0, cut.Find(static_cast<WCHAR>('a')));
    EXPECT_EQ(pos - 1, cut.ReverseFind(static_cast<WCHAR>('a')));
    EXPECT_EQ(p == 0 ? -1 : 0, cut.Find(Widen("a").c_str()));
  }
}

// Two values of the same length, at lengths on both sides of the point where
// equality is first tried with memcmp, and around the vector width. Equal
// lengths and equal units up to a zero make equal texts, whatever follows.
// Faults caught: a memcmp "different" taken for the order (units after a
// common zero counted), a difference in the last unit missed, a zero in one
// text only not ending it, units above 0x7FFF compared as signed.
TEST(StringCompare, SameLengthAtEveryPath) {
  struct Row {
    const char* name;
    std::size_t at;  // 0: first unit, 1: middle, 2: last
    unsigned left, right;
    bool zeroInBothBefore;  // a common zero one unit before `at`
    int expected;
  } rows[] = {
      {"same text", 1, 'm', 'm', false, 0},
      {"first unit lower", 0, 'a', 'b', false, -1},
      {"last unit higher", 2, 'z', 'y', false, 1},
      {"differ after a common zero", 1, 'a', 'b', true, 0},
      {"zero in the left only", 1, 0, 'm', false, -1},
      {"zero in the right only", 2, 'm', 0, false, 1},
      {"unit above 0x7FFF", 1, 0x8000, 'm', false, 1},
  };
  for (std::size_t n : {8, 9, 16, 17, 31, 32, 63, 64, 65, 100, 257}) {
    WString base;
    for (std::size_t i = 0; i < n; ++i) {
      base.push_back(static_cast<WCHAR>('a' + i % 26));
    }
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) + ", length " + std::to_string(n));
      const std::size_t at = row.at == 0 ? 0 : row.at == 1 ? n / 2 : n - 1;
      WString left = base, right = base;
      left[at] = static_cast<WCHAR>(row.left);
      right[at] = static_cast<WCHAR>(row.right);
      if (row.zeroInBothBefore) left[at - 1] = right[at - 1] = 0;
      CKZString l = WideWithZeros(left);
      CKZString r = WideWithZeros(right);
      EXPECT_EQ(row.expected, Sign(A::Compare(l, r)));
      EXPECT_EQ(-row.expected, Sign(A::Compare(r, l)));
      EXPECT_EQ(row.expected == 0, l == r);
    }
  }
}

// ignoreCase folds in both encodings and keeps an order; the exact overloads
// never fold. Faults caught: ignoreCase dropped in one encoding, folding to
// upper case ('_' lies between the two cases), case folded by the operators.
TEST(StringCompare, IgnoreCaseInBothEncodings) {
  struct Row {
    const char* name;
    const char* left;
    const char* right;
    int ignoringCase;
    int exact;
  } rows[] = {
      {"case only", "Hello", "hELLO", 0, -1},
      {"letters decide, not case", "apple", "BANANA", -1, 1},
      {"folds to lower case", "_", "A", -1, 1},
      {"shorter first", "ab", "ABC", -1, 1},
      {"not letters: '@' and '`'", "@", "`", -1, -1},
  };
  for (const Row& row : rows) {
    for (Forms form : kForms) {
      SCOPED_TRACE(std::string(row.name) + ", " + FormName(form));
      const WString rw = Widen(row.right);
      CKZString s = Make(row.left, form);
      EXPECT_EQ(row.ignoringCase, Sign(A::Compare(s, rw.c_str(), true)));
      EXPECT_EQ(row.ignoringCase, Sign(A::Compare(s, row.right, true)));
      EXPECT_EQ(row.exact, Sign(A::Compare(s, rw.c_str(), false)));
      EXPECT_EQ(row.exact, Sign(A::Compare(s, row.right, false)));
      EXPECT_EQ(row.exact == 0, s == rw.c_str());
      EXPECT_EQ(row.exact == 0, s == row.right);
    }
  }
}

// CaseLessEqual in every overload and pair of forms, on ASCII, in short texts
// and in words that the fast walk takes four units (eight bytes) at a time.
// Faults caught: a fold by bit 0x20 alone ('@' and '`', '[' and '{'), a
// prefix taken for equality, one encoding not folding.
TEST(StringCaseLessEqual, AsciiInEveryOverload) {
  struct Row {
    const char* name;
    const char* left;
    const char* right;
    bool equal;
  } rows[] = {
      {"case only", "Hello World", "hELLO wORLD", true},
      {"long run", "The Quick Brown Fox Jumps Over",
       "the quick brown fox jumps over", true},
      {"same text", "abc", "abc", true},
      {"'@' and '`' differ in 0x20 only", "a@", "a`", false},
      {"'[' and '{' differ in 0x20 only", "[", "{", false},
      {"'Z' and 'z'", "Z", "z", true},
      {"every letter, in long words", "ABCDEFGHIJKLMNOPQRSTUVWXYZ@[`{",
       "abcdefghijklmnopqrstuvwxyz@[`{", true},
      {"'@' and '`' in the first word", "abcd@fghijklmnop", "ABCD`FGHIJKLMNOP",
       false},
      {"'[' and '{' in the second word", "abcdefghi[klmnopqr",
       "ABCDEFGHI{KLMNOPQR", false},
      {"difference after a long run", "abcdefghijklmnopX", "ABCDEFGHIJKLMNOPY",
       false},
      {"different letters", "abc", "abd", false},
      {"prefix", "abc", "ABCD", false},
      {"empty texts", "", "", true},
  };
  for (const Row& row : rows) {
    const WString rw = Widen(row.right);
    for (Forms lf : kForms) {
      SCOPED_TRACE(std::string(row.name) + ", " + FormName(lf));
      CKZString left = Make(row.left, lf);
      EXPECT_EQ(row.equal, left.CaseLessEqual(rw.c_str()));
      EXPECT_EQ(row.equal, left.CaseLessEqual(row.right));
      for (Forms rf : kForms) {
        SCOPED_TRACE(FormName(rf));
        CKZString right = Make(row.right, rf);
        EXPECT_EQ(row.equal, left.CaseLessEqual(right));
        EXPECT_EQ(row.equal, right.CaseLessEqual(left));
        EXPECT_EQ(std::string(row.left) == row.right, left == right);
      }
    }
  }
}

// A zero unit inside the wide form ends the text for CaseLessEqual too.
// Fault caught: the fast ASCII walk going on past a zero unit.
TEST(StringCaseLessEqual, ZeroUnitEndsTheText) {
  struct Row {
    const char* name;
    WString left, right;
    bool equal;
  } rows[] = {
      {"zero in the first word", Units({'a', 'b', 0, 'd', 'e', 'f', 'g', 'h'}),
       Units({'A', 'B', 0, 'D', 'x', 'y', 'z', 'z'}), true},
      {"zero in a later word",
       Units({'a', 'b', 'c', 'd', 'e', 0, 'G', 'h', 'i'}),
       Units({'A', 'B', 'C', 'D', 'E', 0, 'g', 'H', 'x'}), true},
      {"difference before the zero",
       Units({'a', 'b', 'c', 'd', 'e', 0, 'g', 'h'}),
       Units({'A', 'B', 'C', 'D', 'X', 0, 'g', 'h'}), false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString left = WideWithZeros(row.left);
    CKZString right = WideWithZeros(row.right);
    EXPECT_EQ(row.equal, left.CaseLessEqual(right));
    EXPECT_EQ(row.equal, right.CaseLessEqual(left));
  }
}

// Beyond ASCII the run-time's fold decides, in the current locale: the
// answers are those of the Windows build under Wine, which the POSIX build
// gives too. Faults caught: a unit that isn't ASCII judged by the ASCII fold
// or by a fold of our own (KELVIN SIGN folds to 'k' in some run-times, U+00C4
// to U+00E4 only in a multibyte locale), the walk not going on after such a
// pair, surrogate pairs cut apart.
TEST(StringCaseLessEqual, BeyondAsciiTheRunTimeDecides) {
  struct Row {
    const char* name;
    WString left, right;
    bool singleByte, multibyte;  // equal in that locale
  } rows[] = {
      {"A with diaeresis", Units({0xC4}), Units({0xE4}), false, true},
      {"then ASCII case", Units({0xC4, 'X', 'y'}), Units({0xE4, 'x', 'Y'}),
       false, true},
      {"then ASCII difference", Units({0xC4, 'x'}), Units({0xE4, 'y'}), false,
       false},
      {"same unit then case", Units({0xE9, 'A'}), Units({0xE9, 'a'}), true,
       true},
      {"KELVIN SIGN and k", Units({0x212A}), Units({'k'}), false, false},
      {"k and KELVIN SIGN", Units({'k'}), Units({0x212A}), false, false},
      {"dotted capital I and i", Units({0x130}), Units({'i'}), false, false},
      {"fullwidth A and a", Units({0xFF21, 'B'}), Units({0xFF41, 'b'}), false,
       true},
      {"Deseret capital and small", Units({0xD801, 0xDC00, 'A'}),
       Units({0xD801, 0xDC28, 'a'}), false, false},
      {"same pair then case", Units({0xD83D, 0xDE00, 'A'}),
       Units({0xD83D, 0xDE00, 'a'}), true, true},
      {"unit against the end", Units({'a', 0xE9}), Units({'a'}), false, false},
  };
  const bool mb = kztest::MultibyteLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const bool expected = mb ? row.multibyte : row.singleByte;
    CKZString left(row.left.c_str());
    EXPECT_EQ(expected, left.CaseLessEqual(row.right.c_str()));
    EXPECT_EQ(expected, left.CaseLessEqual(CKZString(row.right.c_str())));
  }
  // Multibyte text goes to _stricmp from its first byte that isn't ASCII.
  const SameText text = LocaleText();
  struct MbsRow {
    const char* name;
    std::string left, right;
    bool equal;
  } mbsRows[] = {
      {"locale text, then case", text.bytes + "Ab", text.bytes + "aB", true},
      {"case, then locale text", "Ab" + text.bytes, "aB" + text.bytes, true},
      {"e acute and E acute bytes", "\xe9", "\xc9", false},
      {"locale text against ASCII", text.bytes, "abc", false},
  };
  for (const MbsRow& row : mbsRows) {
    SCOPED_TRACE(row.name);
    CKZString left(row.left.c_str());
    EXPECT_EQ(row.equal, left.CaseLessEqual(row.right.c_str()));
    EXPECT_EQ(row.equal, left.CaseLessEqual(CKZString(row.right.c_str())));
  }
}

const char kAlpha[] = "0123456789abcdefghijklmnopqrstuvwxyz0123456789";

// Find and ReverseFind of one character and Find of a text, in the wide and
// the multibyte form. Faults caught: last occurrence for first, -1 for the
// terminator, a position off by one, a match that runs past the end, a
// restart that skips an overlapping match, a needle longer than the text
// read too far.
TEST(StringFind, InBothForms) {
  struct CharRow {
    const char* name;
    char c;
    LONG first, last;
  } charRows[] = {
      {"first character", '0', 0, 36},
      {"last character", '9', 9, 45},
      {"once in the middle", 'q', 26, 26},
      {"absent", '#', -1, -1},
      {"character 0 finds the terminator", '\0', 46, 46},
  };
  CKZString wide(Widen(kAlpha).c_str());
  CKZString mbs(kAlpha);
  for (const CharRow& row : charRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.first, wide.Find(static_cast<WCHAR>(row.c)));
    EXPECT_EQ(row.last, wide.ReverseFind(static_cast<WCHAR>(row.c)));
    EXPECT_EQ(row.first, mbs.Find(row.c));
    EXPECT_EQ(row.last, mbs.ReverseFind(row.c));
  }
  const std::string longer = std::string(kAlpha) + "!";
  struct TextRow {
    const char* name;
    const char* haystack;
    const char* needle;
    LONG expected;
  } textRows[] = {
      {"at the start", kAlpha, "012", 0},
      {"first of two", kAlpha, "789", 7},
      {"in the middle", kAlpha, "xyz0", 33},
      {"runs to the end", kAlpha, "z0123456789", 35},
      {"across a boundary", kAlpha, "9a", 9},
      {"absent", kAlpha, "09", -1},
      {"only its start at the end", kAlpha, "89!", -1},
      {"the whole text", kAlpha, kAlpha, 0},
      {"longer than the text", kAlpha, longer.c_str(), -1},
      {"overlapping start", "aaab", "aab", 1},
      {"one character", "abc", "c", 2},
  };
  for (const TextRow& row : textRows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.expected,
              CKZString(Widen(row.haystack).c_str()).Find(Widen(row.needle).c_str()));
    EXPECT_EQ(row.expected, CKZString(row.haystack).Find(row.needle));
  }
}

// Null and empty values and needles. Faults caught: an empty wide needle
// found at 0 (it gives -1) while an empty multibyte needle gives 0, a null
// string searched, a non-zero character found in an empty string.
TEST(StringFind, NullAndEmptyValuesAndNeedles) {
  struct Row {
    const char* name;
    const char* value;  // nullptr: a null string
    LONG emptyWide, emptyMbs, zero, letter;
  } rows[] = {
      {"null string", nullptr, -1, -1, -1, -1},
      {"empty string", "", -1, 0, 0, -1},
      {"text", "abc", -1, 0, 3, 0},
  };
  const WCHAR emptyWide[] = {0};
  for (const Row& row : rows) {
    for (Forms form : kForms) {
      SCOPED_TRACE(std::string(row.name) + ", " + FormName(form));
      CKZString s = Make(row.value, form);
      EXPECT_EQ(row.emptyWide, s.Find(emptyWide));
      EXPECT_EQ(row.emptyMbs, s.Find(""));
      EXPECT_EQ(-1, s.Find(static_cast<const WCHAR*>(nullptr)));
      EXPECT_EQ(-1, s.Find(static_cast<const char*>(nullptr)));
      EXPECT_EQ(row.zero, s.Find(static_cast<WCHAR>(0)));
      EXPECT_EQ(row.zero, s.Find('\0'));
      EXPECT_EQ(row.zero, s.ReverseFind(static_cast<WCHAR>(0)));
      EXPECT_EQ(row.zero, s.ReverseFind('\0'));
      EXPECT_EQ(row.letter, s.Find(static_cast<WCHAR>('a')));
      EXPECT_EQ(row.letter, s.Find('a'));
      EXPECT_EQ(row.letter, s.ReverseFind(static_cast<WCHAR>('a')));
      EXPECT_EQ(row.letter, s.ReverseFind('a'));
      EXPECT_EQ(row.letter, s.Find(Widen("a").c_str()));
      EXPECT_EQ(row.letter, s.Find("a"));
    }
  }
}

// A search builds the form it searches and nothing when it returns at once.
// Faults caught: a null or empty wide needle converting the value, a wide
// search done on the multibyte form.
TEST(StringFind, BuildsOnlyTheFormSearched) {
  struct Row {
    const char* name;
    Forms form;
    LONG (*search)(const CKZString&);
    LONG expected;
    int formsAfter;
  } rows[] = {
      {"wide text on mbs-only", kMbs,
       [](const CKZString& s) { return s.Find(Widen("b").c_str()); }, 1, kBoth},
      {"null wide text on mbs-only", kMbs,
       [](const CKZString& s) {
         return s.Find(static_cast<const WCHAR*>(nullptr));
       },
       -1, kMbs},
      {"empty wide text on mbs-only", kMbs,
       [](const CKZString& s) { return s.Find(Widen("").c_str()); }, -1, kMbs},
      {"wide unit on mbs-only", kMbs,
       [](const CKZString& s) {
         return s.ReverseFind(static_cast<WCHAR>('b'));
       },
       1, kBoth},
      {"mbs text on wide-only", kWide,
       [](const CKZString& s) { return s.Find("b"); }, 1, kBoth},
      {"null mbs text on wide-only", kWide,
       [](const CKZString& s) {
         return s.Find(static_cast<const char*>(nullptr));
       },
       -1, kWide},
      {"empty mbs text on wide-only", kWide,
       [](const CKZString& s) { return s.Find(""); }, 0, kBoth},
      {"mbs byte on wide-only", kWide,
       [](const CKZString& s) { return s.ReverseFind('b'); }, 1, kBoth},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s = Make("abc", row.form);
    EXPECT_EQ(row.expected, row.search(s));
    EXPECT_EQ(row.formsAfter, FormsOf(s));
  }
}

// In a multibyte locale the wide search counts units and the multibyte one
// bytes, and a byte search can land inside a character. Faults caught: byte
// offsets turned into character positions or the reverse.
TEST(StringFind, UnitsAndBytesInAMultibyteLocale) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "needs a multibyte locale";
  const kztest::MultibyteSample sample = kztest::Sample();
  const LONG perChar = static_cast<LONG>(sample.byteLength / 3);
  const SameText text = {std::string(sample.bytes) + "x",
                         WString(sample.wide) + static_cast<WCHAR>('x')};
  const std::string third(sample.bytes + 2 * perChar, perChar);
  ASSERT_NE(sample.bytes[0], sample.bytes[1]);
  for (Forms form : kForms) {
    SCOPED_TRACE(FormName(form));
    CKZString s = Make(form, text);
    EXPECT_EQ(2, s.Find(sample.wide[2]));
    EXPECT_EQ(2, s.Find(text.wide.c_str() + 2));
    EXPECT_EQ(3, s.Find(static_cast<WCHAR>('x')));
    EXPECT_EQ(3, s.ReverseFind(static_cast<WCHAR>('x')));
    EXPECT_EQ(4, s.Find(static_cast<WCHAR>(0)));
    EXPECT_EQ(2 * perChar, s.Find(third.c_str()));
    EXPECT_EQ(2 * perChar, s.Find((third + "x").c_str()));
    EXPECT_EQ(3 * perChar, s.Find('x'));
    EXPECT_EQ(3 * perChar, s.ReverseFind('x'));
    EXPECT_EQ(3 * perChar + 1, s.Find('\0'));
    // The second byte of the first character, found inside it.
    EXPECT_EQ(1, s.Find(sample.bytes[1]));
  }
}

// Positions count 16-bit units, so a surrogate pair takes two and each half
// can be searched for; a zero unit inside the wide form ends the text for
// every search, as for the C library. Faults caught: a search by code
// points, a search up to the length field instead of the first zero.
TEST(StringFind, UnitsSurrogatesAndZeros) {
  CKZString s(Units({'a', 0xD83D, 0xDE00, 'b', 0xD83D, 0xDE01, 'b'}).c_str());
  EXPECT_EQ(1, s.Find(static_cast<WCHAR>(0xD83D)));
  EXPECT_EQ(4, s.ReverseFind(static_cast<WCHAR>(0xD83D)));
  EXPECT_EQ(5, s.Find(static_cast<WCHAR>(0xDE01)));
  EXPECT_EQ(6, s.ReverseFind(static_cast<WCHAR>('b')));
  EXPECT_EQ(4, s.Find(Units({0xD83D, 0xDE01}).c_str()));
  EXPECT_EQ(2, s.Find(Units({0xDE00, 'b'}).c_str()));
  EXPECT_EQ(7, s.Find(static_cast<WCHAR>(0)));

  CKZString z = WideWithZeros(Units({'a', 'b', 'c', 0, 'a', 'b', 'c', 'd'}));
  EXPECT_EQ(3, z.Find(static_cast<WCHAR>(0)));
  EXPECT_EQ(3, z.ReverseFind(static_cast<WCHAR>(0)));
  EXPECT_EQ(0, z.ReverseFind(static_cast<WCHAR>('a')));
  EXPECT_EQ(-1, z.Find(static_cast<WCHAR>('d')));
  EXPECT_EQ(-1, z.ReverseFind(static_cast<WCHAR>('d')));
  EXPECT_EQ(1, z.Find(Widen("bc").c_str()));
  EXPECT_EQ(-1, z.Find(Widen("cd").c_str()));
  EXPECT_EQ(-1, z.Find(Widen("abcd").c_str()));
}

}  // namespace
