// Comparison and search: null against empty, the encoding chosen by the forms
// present, unit and byte order, case, and positions in both forms.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/platform.h"

#include "strings/internal/test_access.h"
#include "strings/string_forms.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::Sign;
using kztest::Widen;
using kztest::WideOrNull;
using kztest::WString;

WString Units(std::initializer_list<unsigned> units) {
  WString out;
  for (unsigned u : units) out.push_back(static_cast<WCHAR>(u));
  return out;
}

enum class Form { kWide, kMbs, kBoth };

const char* FormName(Form f) {
  return f == Form::kWide ? "wide-only" : f == Form::kMbs ? "mbs-only" : "both";
}

// The forms a value holds: "null", "W", "M" or "WM". Reading them builds
// nothing.
std::string Forms(const CKZString& s) {
  if (A::IsNull(s)) return "null";
  return std::string(A::HasWide(s) ? "W" : "") + (A::HasMbs(s) ? "M" : "");
}

// A value in the given form; `bytes` and `wide` are the same text. Both forms
// start from the wide one, so that a wide text with no multibyte spelling
// gets the one the conversion gives it.
CKZString Make(Form form, const std::string& bytes, const WString& wide) {
  if (form == Form::kMbs) return CKZString(bytes.c_str());
  CKZString s(wide.c_str());
  if (form == Form::kBoth) static_cast<void>(static_cast<const char*>(s));
  return s;
}

// The same for ASCII text, or a null string for nullptr.
CKZString MakeOrNull(Form form, const char* ascii) {
  return ascii == nullptr ? CKZString() : Make(form, ascii, Widen(ascii));
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
  const std::size_t bytes = (text.size() + 1) * sizeof(WCHAR);
  WCHAR* buffer = static_cast<WCHAR*>(std::malloc(bytes));
  std::memcpy(buffer, text.c_str(), bytes);
  CKZString s;
  s.Attach_CRT(buffer);
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

const Form kForms[] = {Form::kWide, Form::kMbs, Form::kBoth};

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

// Two texts whose byte order and wide order disagree in the current locale.
// `y` is given by its wide text; `yBytes` is what the conversion makes of it.
struct OrderPair {
  std::string xBytes;
  WString xWide;
  std::string yBytes;
  WString yWide;
  int byteOrder;  // of x against y
  int wideOrder;
};
OrderPair PairWhoseOrdersDiffer() {
  if (MB_CUR_MAX == 1) {
    // U+0100 has no byte in the C locale and becomes '?', below 0xE9.
    return {"\xe9", Units({0xE9}), "?", Units({0x100}), 1, -1};
  }
  const kztest::MultibyteSample sample = kztest::Sample();
  if (MB_CUR_MAX == 2) {
    // Code page 932: the third character (0x8C..) sorts before the first
    // (0x93..) by bytes, after it by units (U+8A9E, U+65E5).
    return {std::string(sample.bytes + 4, 2),
            WString(sample.wide + 2, 1),
            std::string(sample.bytes, 2),
            WString(sample.wide, 1),
            -1,
            1};
  }
  // UTF-8: U+FF21 sorts before U+10000 by bytes, after its surrogate pair
  // by units.
  return {"\xef\xbc\xa1",
          Units({0xFF21}),
          "\xf0\x90\x80\x80",
          Units({0xD800, 0xDC00}),
          -1,
          1};
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
    for (Form lf : kForms) {
      for (Form rf : kForms) {
        SCOPED_TRACE(std::string(row.name) + ", " + FormName(lf) + " vs " +
                     FormName(rf));
        const WideOrNull leftWide(row.left);
        const WideOrNull rightWide(row.right);
        CKZString left = MakeOrNull(lf, row.left);
        CKZString right = MakeOrNull(rf, row.right);

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
// that lacks the chosen form gains it. Faults caught: building a wide form
// for two multibyte-only values, building the multibyte form instead of the
// wide one, converting the side that already had it.
TEST(StringCompare, EncodingFollowsTheFormsPresent) {
  struct Row {
    const char* name;
    Form left, right;
    const char* leftAfter;
    const char* rightAfter;
  } rows[] = {
      {"wide-only pair", Form::kWide, Form::kWide, "W", "W"},
      {"wide-only vs mbs-only: other gains wide", Form::kWide, Form::kMbs, "W",
       "WM"},
      {"wide-only vs both", Form::kWide, Form::kBoth, "W", "WM"},
      {"mbs-only vs wide-only: this gains wide", Form::kMbs, Form::kWide, "WM",
       "W"},
      {"mbs-only pair stays mbs-only", Form::kMbs, Form::kMbs, "M", "M"},
      {"mbs-only vs both: bytes", Form::kMbs, Form::kBoth, "M", "WM"},
      {"both vs wide-only", Form::kBoth, Form::kWide, "WM", "W"},
      {"both vs mbs-only: bytes", Form::kBoth, Form::kMbs, "WM", "M"},
      {"both pair", Form::kBoth, Form::kBoth, "WM", "WM"},
  };
  const SameText text = LocaleText();
  for (const Row& row : rows) {
    for (bool caseLess : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (caseLess ? ", CaseLessEqual" : ""));
      CKZString left = Make(row.left, text.bytes, text.wide);
      CKZString right = Make(row.right, text.bytes, text.wide);
      EXPECT_TRUE(caseLess ? left.CaseLessEqual(right)
                           : A::Compare(left, right) == 0);
      EXPECT_EQ(row.leftAfter, Forms(left));
      EXPECT_EQ(row.rightAfter, Forms(right));
    }
  }
}

// A comparison with a text works on the form of that text, also when the
// text is null. Fault caught: comparing a multibyte text with the wide form.
TEST(StringCompare, TextOverloadsBuildTheirForm) {
  const SameText text = LocaleText();
  CKZString wideOnly(text.wide.c_str());
  EXPECT_TRUE(wideOnly == text.bytes.c_str());
  EXPECT_EQ("WM", Forms(wideOnly));
  CKZString mbsOnly(text.bytes.c_str());
  EXPECT_TRUE(text.wide.c_str() == mbsOnly);
  EXPECT_EQ("WM", Forms(mbsOnly));
  CKZString other(text.bytes.c_str());
  EXPECT_EQ(1, A::Compare(other, static_cast<const WCHAR*>(nullptr), false));
  EXPECT_EQ("WM", Forms(other));
}

// The same two texts sort one way by bytes and the other way by units; the
// forms present decide which order a comparison gives. Faults caught: always
// comparing wide (or always multibyte), and byte comparison with signed
// chars.
TEST(StringCompare, ByteOrderAndWideOrderFollowTheEncoding) {
  const OrderPair pair = PairWhoseOrdersDiffer();
  ASSERT_NE(pair.byteOrder, pair.wideOrder);
  struct Row {
    const char* name;
    Form x, y;
    bool wide;
  } rows[] = {
      {"mbs-only pair: bytes", Form::kMbs, Form::kMbs, false},
      {"mbs-only vs both: bytes", Form::kMbs, Form::kBoth, false},
      {"both vs mbs-only: bytes", Form::kBoth, Form::kMbs, false},
      {"both pair: wide", Form::kBoth, Form::kBoth, true},
      {"wide-only vs both: wide", Form::kWide, Form::kBoth, true},
      {"both vs wide-only: wide", Form::kBoth, Form::kWide, true},
      {"mbs-only vs wide-only: wide", Form::kMbs, Form::kWide, true},
  };
  for (const Row& row : rows) {
    const int expected = row.wide ? pair.wideOrder : pair.byteOrder;
    for (bool swapped : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (swapped ? ", swapped" : ""));
      CKZString x = Make(row.x, pair.xBytes, pair.xWide);
      CKZString y = Make(row.y, pair.yBytes, pair.yWide);
      EXPECT_EQ(swapped ? -expected : expected,
                Sign(swapped ? A::Compare(y, x) : A::Compare(x, y)));
      EXPECT_EQ(expected < 0, swapped ? y > x : x < y);
    }
  }
  // One pair, two answers: once the multibyte-only side gains a wide form the
  // comparison moves to the wide order.
  CKZString x = Make(Form::kMbs, pair.xBytes, pair.xWide);
  CKZString y = Make(Form::kBoth, pair.yBytes, pair.yWide);
  EXPECT_EQ(pair.byteOrder, Sign(A::Compare(x, y)));
  static_cast<void>(static_cast<const WCHAR*>(x));
  EXPECT_EQ(pair.wideOrder, Sign(A::Compare(x, y)));
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
  const WString prefixes[] = {WString(), Widen("0123456789abcdefghij")};
  for (const Row& row : rows) {
    for (const WString& prefix : prefixes) {
      SCOPED_TRACE(std::string(row.name) + (prefix.empty() ? "" : ", long"));
      CKZString left = WideWithZeros(prefix + row.left);
      CKZString right = WideWithZeros(prefix + row.right);
      EXPECT_EQ(row.expected, Sign(A::Compare(left, right)));
      EXPECT_EQ(-row.expected, Sign(A::Compare(right, left)));
      const WString rightText = prefix + row.right;
      EXPECT_EQ(row.expected, Sign(A::Compare(left, rightText.c_str(), false)));
      EXPECT_EQ(row.expected<0, rightText.c_str()> left);
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
    for (Form form : kForms) {
      SCOPED_TRACE(std::string(row.name) + ", " + FormName(form));
      const WString lw = Widen(row.left);
      const WString rw = Widen(row.right);
      CKZString s = Make(form, row.left, lw);
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
    const WString lw = Widen(row.left);
    const WString rw = Widen(row.right);
    for (Form lf : kForms) {
      SCOPED_TRACE(std::string(row.name) + ", " + FormName(lf));
      CKZString left = Make(lf, row.left, lw);
      EXPECT_EQ(row.equal, left.CaseLessEqual(rw.c_str()));
      EXPECT_EQ(row.equal, left.CaseLessEqual(row.right));
      for (Form rf : kForms) {
        SCOPED_TRACE(FormName(rf));
        CKZString right = Make(rf, row.right, rw);
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

// CaseLessEqual and Compare of two values sharing a block (null and empty
// are in OperatorsOrderNullEmptyAndText). Fault caught: a shared block read
// (and its forms built) to compare.
TEST(StringCaseLessEqual, SharedBlocks) {
  for (Form form : {Form::kWide, Form::kMbs}) {
    SCOPED_TRACE(FormName(form));
    const SameText text = LocaleText();
    CKZString a = Make(form, text.bytes, text.wide);
    CKZString b = a;
    const std::string before = Forms(a);
    EXPECT_TRUE(a.CaseLessEqual(b));
    EXPECT_EQ(0, A::Compare(a, b));
    EXPECT_TRUE(a == b);
    EXPECT_EQ(before, Forms(a));
  }
}

// Beyond ASCII the answer is the run-time's: whatever _wcsicmp and _stricmp
// say about a pair, CaseLessEqual says the same. Faults caught: a unit that
// isn't ASCII judged by the ASCII fold (KELVIN SIGN folds to 'k' in some
// run-times, U+00C4 to U+00E4 in a multibyte locale), the walk not going on
// after such a pair, surrogate pairs cut apart.
TEST(StringCaseLessEqual, AgreesWithTheRunTimeBeyondAscii) {
  struct WideRow {
    const char* name;
    WString left, right;
  } wideRows[] = {
      {"A with diaeresis", Units({0xC4}), Units({0xE4})},
      {"then ASCII case", Units({0xC4, 'X', 'y'}), Units({0xE4, 'x', 'Y'})},
      {"then ASCII difference", Units({0xC4, 'x'}), Units({0xE4, 'y'})},
      {"same unit then case", Units({0xE9, 'A'}), Units({0xE9, 'a'})},
      {"KELVIN SIGN and k", Units({0x212A}), Units({'k'})},
      {"k and KELVIN SIGN", Units({'k'}), Units({0x212A})},
      {"dotted capital I and i", Units({0x130}), Units({'i'})},
      {"fullwidth A and a", Units({0xFF21, 'B'}), Units({0xFF41, 'b'})},
      {"Deseret capital and small", Units({0xD801, 0xDC00, 'A'}),
       Units({0xD801, 0xDC28, 'a'})},
      {"same pair then case", Units({0xD83D, 0xDE00, 'A'}),
       Units({0xD83D, 0xDE00, 'a'})},
      {"unit against the end", Units({'a', 0xE9}), Units({'a'})},
  };
  for (const WideRow& row : wideRows) {
    SCOPED_TRACE(row.name);
    const bool expected =
        platform::_wcsicmp(row.left.c_str(), row.right.c_str()) == 0;
    CKZString left(row.left.c_str());
    CKZString right(row.right.c_str());
    EXPECT_EQ(expected, left.CaseLessEqual(row.right.c_str()));
    EXPECT_EQ(expected, left.CaseLessEqual(right));
  }

  const SameText text = LocaleText();
  struct MbsRow {
    const char* name;
    std::string left, right;
  } mbsRows[] = {
      {"locale text, then case", text.bytes + "Ab", text.bytes + "aB"},
      {"case, then locale text", "Ab" + text.bytes, "aB" + text.bytes},
      {"e acute and E acute bytes", "\xe9", "\xc9"},
      {"locale text against ASCII", text.bytes, "abc"},
  };
  for (const MbsRow& row : mbsRows) {
    SCOPED_TRACE(row.name);
    const bool expected =
        platform::_stricmp(row.left.c_str(), row.right.c_str()) == 0;
    CKZString left(row.left.c_str());
    CKZString right(row.right.c_str());
    EXPECT_EQ(expected, left.CaseLessEqual(row.right.c_str()));
    EXPECT_EQ(expected, left.CaseLessEqual(right));
  }
}

const char kAlpha[] = "0123456789abcdefghijklmnopqrstuvwxyz0123456789";

// Find and ReverseFind of one character, in the wide and the multibyte form.
// Faults caught: last occurrence for first, -1 for the terminator, a position
// off by one.
TEST(StringFind, CharacterInBothForms) {
  struct Row {
    const char* name;
    char c;
    LONG first, last;
  } rows[] = {
      {"first character", '0', 0, 36},
      {"last character", '9', 9, 45},
      {"once in the middle", 'q', 26, 26},
      {"absent", '#', -1, -1},
      {"character 0 finds the terminator", '\0', 46, 46},
  };
  CKZString wide(Widen(kAlpha).c_str());
  CKZString mbs(kAlpha);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.first, wide.Find(static_cast<WCHAR>(row.c)));
    EXPECT_EQ(row.last, wide.ReverseFind(static_cast<WCHAR>(row.c)));
    EXPECT_EQ(row.first, mbs.Find(row.c));
    EXPECT_EQ(row.last, mbs.ReverseFind(row.c));
  }
}

// Find of a text, in both forms. Faults caught: a match that runs past the
// end, a restart that skips an overlapping match, a needle longer than the
// text read too far.
TEST(StringFind, TextInBothForms) {
  const std::string longer = std::string(kAlpha) + "!";
  struct Row {
    const char* name;
    const char* haystack;
    const char* needle;
    LONG expected;
  } rows[] = {
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
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString wide(Widen(row.haystack).c_str());
    CKZString mbs(row.haystack);
    EXPECT_EQ(row.expected, wide.Find(Widen(row.needle).c_str()));
    EXPECT_EQ(row.expected, mbs.Find(row.needle));
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
    for (Form form : kForms) {
      SCOPED_TRACE(std::string(row.name) + ", " + FormName(form));
      CKZString s = MakeOrNull(form, row.value);
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
    Form form;
    LONG (*search)(const CKZString&);
    LONG expected;
    const char* formsAfter;
  } rows[] = {
      {"wide text on mbs-only", Form::kMbs,
       [](const CKZString& s) { return s.Find(Widen("b").c_str()); }, 1, "WM"},
      {"null wide text on mbs-only", Form::kMbs,
       [](const CKZString& s) {
         return s.Find(static_cast<const WCHAR*>(nullptr));
       },
       -1, "M"},
      {"empty wide text on mbs-only", Form::kMbs,
       [](const CKZString& s) { return s.Find(Widen("").c_str()); }, -1, "M"},
      {"wide unit on mbs-only", Form::kMbs,
       [](const CKZString& s) {
         return s.ReverseFind(static_cast<WCHAR>('b'));
       },
       1, "WM"},
      {"mbs text on wide-only", Form::kWide,
       [](const CKZString& s) { return s.Find("b"); }, 1, "WM"},
      {"null mbs text on wide-only", Form::kWide,
       [](const CKZString& s) {
         return s.Find(static_cast<const char*>(nullptr));
       },
       -1, "W"},
      {"empty mbs text on wide-only", Form::kWide,
       [](const CKZString& s) { return s.Find(""); }, 0, "WM"},
      {"mbs byte on wide-only", Form::kWide,
       [](const CKZString& s) { return s.ReverseFind('b'); }, 1, "WM"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s = Make(row.form, "abc", Widen("abc"));
    EXPECT_EQ(row.expected, row.search(s));
    EXPECT_EQ(row.formsAfter, Forms(s));
  }
}

// In a multibyte locale the wide search counts units and the multibyte one
// bytes, and a byte search can land inside a character. Faults caught: byte
// offsets turned into character positions or the reverse.
TEST(StringFind, UnitsAndBytesInAMultibyteLocale) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "needs a multibyte locale";
  const kztest::MultibyteSample sample = kztest::Sample();
  const LONG perChar = static_cast<LONG>(sample.byteLength / 3);
  const std::string bytes = std::string(sample.bytes) + "x";
  const std::string third(sample.bytes + 2 * perChar, perChar);
  WString wide(sample.wide);
  wide += static_cast<WCHAR>('x');
  for (Form form : kForms) {
    SCOPED_TRACE(FormName(form));
    CKZString s = Make(form, bytes, wide);
    EXPECT_EQ(2, s.Find(sample.wide[2]));
    EXPECT_EQ(2, s.Find(wide.c_str() + 2));
    EXPECT_EQ(3, s.Find(static_cast<WCHAR>('x')));
    EXPECT_EQ(3, s.ReverseFind(static_cast<WCHAR>('x')));
    EXPECT_EQ(4, s.Find(static_cast<WCHAR>(0)));
    EXPECT_EQ(2 * perChar, s.Find(third.c_str()));
    EXPECT_EQ(2 * perChar, s.Find((third + "x").c_str()));
    EXPECT_EQ(3 * perChar, s.Find('x'));
    EXPECT_EQ(3 * perChar, s.ReverseFind('x'));
    EXPECT_EQ(3 * perChar + 1, s.Find('\0'));
    // The second byte of the first character, found inside it.
    ASSERT_NE(sample.bytes[0], sample.bytes[1]);
    EXPECT_EQ(1, s.Find(sample.bytes[1]));
  }
}

// Positions count 16-bit units, so a surrogate pair takes two, and each half
// can be searched for. Fault caught: a search by code points.
TEST(StringFind, SurrogatePairTakesTwoUnits) {
  const WString text = Units({'a', 0xD83D, 0xDE00, 'b', 0xD83D, 0xDE01, 'b'});
  CKZString s(text.c_str());
  EXPECT_EQ(1, s.Find(static_cast<WCHAR>(0xD83D)));
  EXPECT_EQ(4, s.ReverseFind(static_cast<WCHAR>(0xD83D)));
  EXPECT_EQ(5, s.Find(static_cast<WCHAR>(0xDE01)));
  EXPECT_EQ(3, s.Find(static_cast<WCHAR>('b')));
  EXPECT_EQ(6, s.ReverseFind(static_cast<WCHAR>('b')));
  EXPECT_EQ(4, s.Find(Units({0xD83D, 0xDE01}).c_str()));
  EXPECT_EQ(2, s.Find(Units({0xDE00, 'b'}).c_str()));
  EXPECT_EQ(7, s.Find(static_cast<WCHAR>(0)));
}

// A zero unit inside the wide form ends the text for every search, as for
// the C library: nothing after it is found. Fault caught: searching up to
// the length field instead of the first zero.
TEST(StringFind, ZeroUnitEndsTheText) {
  CKZString s = WideWithZeros(Units({'a', 'b', 'c', 0, 'a', 'b', 'c', 'd'}));
  EXPECT_EQ(3, s.Find(static_cast<WCHAR>(0)));
  EXPECT_EQ(3, s.ReverseFind(static_cast<WCHAR>(0)));
  EXPECT_EQ(0, s.ReverseFind(static_cast<WCHAR>('a')));
  EXPECT_EQ(-1, s.Find(static_cast<WCHAR>('d')));
  EXPECT_EQ(-1, s.ReverseFind(static_cast<WCHAR>('d')));
  EXPECT_EQ(1, s.Find(Widen("bc").c_str()));
  EXPECT_EQ(-1, s.Find(Widen("cd").c_str()));
  EXPECT_EQ(-1, s.Find(Widen("abcd").c_str()));
}

}  // namespace
