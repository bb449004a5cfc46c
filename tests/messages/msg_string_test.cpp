// CKZMsgString's composite, readers, GetMsg and error number; the views of
// CKZSimpleMsgString and CKZDetailMsgString.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "test_support.h"

using A = CKZStringTestAccess;
using kztest::M;
using kztest::U;
using kztest::W;

namespace {

// "simple|detail"; the readers' codes must agree and go to `hr`.
std::u16string Readings(CKZMsgString& m, HRESULT* hr = nullptr) {
  CKZString simple(OLESTR("unchanged")), detail(OLESTR("unchanged"));
  const HRESULT simpleHr = m.BuildSimpleMessage(simple);
  const HRESULT detailHr = m.BuildDetailMessage(detail);
  EXPECT_EQ(simpleHr, detailHr);
  if (simpleHr == S_FALSE) {  // unmarked: the text itself, shared
    EXPECT_EQ(A::Block(m), A::Block(simple));
    EXPECT_EQ(A::Block(m), A::Block(detail));
  }
  if (hr != nullptr) *hr = simpleHr;
  return W(simple) + u"|" + W(detail);
}

class Extractor : public CKZMsgString {
 public:
  using CKZMsgString::ExtractMessage;
  using CKZMsgString::operator=;
};

}  // namespace

// Fault: a field misplaced or misformed (type digit, "%03ld", wcstol's
// prefix, the code cut and upper-cased, only with an origin); a wrong number.
TEST(MsgFormat, CompositeFields) {
  struct Row {
    const char* name;
    ULONG type;
    const char16_t* text;
    const char16_t* composite;
    ULONG errorNum;
    const char16_t* origin = nullptr;
    const char16_t* code = nullptr;
  } rows[] = {
      {"error with number", 2, u"6$Unexpected failure.",
       u"Unexpected failure._$S_2006_$E_", 2006},
      {"no number, origin", 8, u"Disk full", u"Disk full_$S_4000-Backup_$E_",
       8000, u"Backup"},
      {"origin and code", 1, u"12$Type mismatch",
       u"Type mismatch_$S_1012-PARS-Reader_$E_", 1012, u"Reader", u"parser"},
      {"type 0", 0, u"5$x", u"x_$S_?005_$E_", 5},
      {"type 3", 3, u"5$x", u"x_$S_?005_$E_", 3005},
      {"type 4", 4, u"5$x", u"x_$S_3005_$E_", 4005},
      {"type 16", 16, u"5$x", u"x_$S_5005_$E_", 16005},
      {"type 32", 32, u"5$x", u"x_$S_?005_$E_", 32005},
      {"negative", 1, u"-5$x", u"x_$S_1-05_$E_", 995},
      {"blank before", 1, u" 7$x", u"x_$S_1007_$E_", 1007},
      {"empty prefix", 1, u"$abc", u"abc_$S_1000_$E_", 1000},
      {"nothing behind", 1, u"7$", u"_$S_1007_$E_", 1007},
      {"text before the dollar", 1, u"Price: $5", u"5_$S_1000_$E_", 1000},
      {"only the first dollar", 1, u"3$a$b", u"a$b_$S_1003_$E_", 1003},
      {"full-width digits", 1, u"\uff14\uff12$x", u"x_$S_1042_$E_", 1042},
      {"empty text", 1, u"", u"_$S_1000_$E_", 1000},
      {"1000", 1, u"1000$x", u"x_$S_11000_$E_", 2000},
      {"-100", 2, u"-100$x", u"x_$S_2-100-o_$E_", 1900, u"o"},
      {"largest long", 1, u"2147483647$x", u"x_$S_12147483647_$E_",
       2147484647u},
      {"clamped", 1, u"99999999999$x", u"x_$S_12147483647_$E_", 2147484647u},
      {"smallest long", 0, u"-2147483648$x", u"x_$S_?-2147483648_$E_",
       2147483648u},
      {"code without origin", 1, u"x", u"x_$S_1000_$E_", 1000, nullptr,
       u"parser"},
      {"code with empty origin", 1, u"x", u"x_$S_1000_$E_", 1000, u"",
       u"parser"},
      {"empty code", 1, u"x", u"x_$S_1000-Reader_$E_", 1000, u"Reader", u""},
      {"short code", 1, u"x", u"x_$S_1000-AB-Reader_$E_", 1000, u"Reader",
       u"ab"},
      {"four-unit code", 1, u"x", u"x_$S_1000-DATA-R_$E_", 1000, u"R", u"data"},
      {"origin uncut", 1, u"x", u"x_$S_1000-C-a long origin-name_$E_", 1000,
       u"a long origin-name", u"c"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZMsgString m;
    ASSERT_EQ(S_OK,
              m.FormatMsg(row.type, U(row.text), U(row.origin), U(row.code)));
    EXPECT_EQ(row.composite, W(m));
    EXPECT_EQ(row.errorNum, m.GetErrorNum());
    EXPECT_TRUE(A::HasWide(m));
    EXPECT_FALSE(A::HasMbs(m));
    EXPECT_EQ(A::WideLength(m), m.Length());
  }
  // Upper-cased by the locale: the C locale changes only ASCII letters.
  CKZMsgString m;
  ASSERT_EQ(S_OK, m.FormatMsg(1, U(u"x"), U(u"o"), U(u"\u00e9tat")));
  EXPECT_EQ(kztest::MultibyteLocale() ? u"x_$S_1000-\u00c9TAT-o_$E_"
                                      : u"x_$S_1000-\u00e9TAT-o_$E_",
            W(m));
  // A failure changes nothing, assignment keeps the number, and the
  // arguments may lie in the object's own text.
  const CKZStringBlock* block = A::Block(m);
  EXPECT_EQ(E_POINTER, m.FormatMsg(1, nullptr));
  EXPECT_EQ(block, A::Block(m));
  m = OLESTR("plain");
  m = "mbs";
  m = CKZString(OLESTR("3$abc"));
  CKZMsgString copy(m), other;
  other = copy;
  for (const CKZMsgString* held : {&m, &copy, &other}) {
    EXPECT_EQ(1000u, held->GetErrorNum());
    EXPECT_EQ(A::Block(m), A::Block(*held));
  }
  const WCHAR* own = m;
  ASSERT_EQ(S_OK, m.FormatMsg(1, own, own + 2, own + 1));
  EXPECT_EQ(u"abc_$S_1003-$ABC-abc_$E_", W(m));
  EXPECT_EQ(0u, CKZMsgString().GetErrorNum());
}

// Fault: the readers misplace the parts of a composite they didn't write,
// copy a text they can share, or can't read into their own object.
TEST(MsgFormat, ReadersOnAnyText) {
  struct Row {
    const char* name;
    const char16_t* text;  // nullptr: a null string
    HRESULT hr;            // both readers
    const char16_t* readings;
  } rows[] = {
      {"no markers", u"plain text", S_FALSE, u"plain text|plain text"},
      {"null", nullptr, S_FALSE, u"(null)|(null)"},
      {"empty", u"", S_FALSE, u"|"},
      {"end marker only", u"a_$E_b", S_FALSE, u"a_$E_b|a_$E_b"},
      {"no end marker", u"hello_$S_2005", S_OK, u"hello|2005 - hello"},
      {"trailer", u"hello_$S_2005_$E_ world", S_OK,
       u"hello|2005 - hello world"},
      {"ends in the start marker", u"hello_$S_", S_OK, u"hello| - hello"},
      {"start marker alone", u"_$S_", S_OK, u"(null)| - "},
      {"no message text", u"_$S_2006_$E_", S_OK, u"(null)|2006 - "},
      {"two start markers", u"a_$S_b_$S_1000_$E_", S_OK, u"a|b_$S_1000 - a"},
      {"end marker before start", u"a_$E_b_$S_1_$E_c", S_OK,
       u"a_$E_b|1 - a_$E_bc"},
      {"markers share units", u"_$S_$E_", S_OK, u"(null)|$E_ - "},
      {"second end marker", u"m_$S_1_$E_x_$E_", S_OK, u"m|1 - mx_$E_"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZMsgString m;
    if (row.text != nullptr) m = U(row.text);
    HRESULT hr = E_NOTIMPL;
    EXPECT_EQ(row.readings, Readings(m, &hr));
    EXPECT_EQ(row.hr, hr);
  }
  CKZMsgString m;
  m = "Disk full_$S_4000-Backup_$E_";
  EXPECT_EQ(S_OK, m.BuildSimpleMessage(m));
  EXPECT_EQ(u"Disk full", W(m));
}

// Fault: GetMsg checks emptiness before the kind, passes a reader's S_FALSE
// on, or writes `out` on failure; ExtractMessage reads an empty text, reads
// otherwise than GetMsg, or copies the composite.
TEST(MsgFormat, GetMsgKindsAndBounds) {
  struct Row {
    const char* name;
    const char16_t* text;  // nullptr: a new object
    ULONG kind;
    HRESULT hr;
    const char16_t* out;
  } rows[] = {
      {"simple", u"hello_$S_2005_$E_ world", 0, S_OK, u"hello"},
      {"detail", u"hello_$S_2005_$E_ world", 1, S_OK, u"2005 - hello world"},
      {"composite", u"hello_$S_2005_$E_ world", 2, S_OK,
       u"hello_$S_2005_$E_ world"},
      {"kind 3", u"hello_$S_2005_$E_", 3, S_OK, u"(null)"},
      {"kind 65534", u"hello_$S_2005_$E_", 65534, S_OK, u"(null)"},
      {"kind 65535", u"hello_$S_2005_$E_", 65535, E_INVALIDARG, u"kept"},
      {"unmarked, detail", u"plain", 1, S_OK, u"plain"},
      {"no simple text", u"_$S_2006_$E_", 0, S_OK, u"(null)"},
      {"empty, kind 0", nullptr, 0, E_FAIL, u"kept"},
      {"empty, kind 65534", nullptr, 65534, E_FAIL, u"kept"},
      {"empty, kind 65535", nullptr, 65535, E_INVALIDARG, u"kept"},
      {"empty, kind 70000", nullptr, 70000, E_INVALIDARG, u"kept"},
      {"empty text", u"", 2, E_FAIL, u"kept"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Extractor m;
    if (row.text != nullptr) m = U(row.text);
    CKZString out(OLESTR("kept"));
    EXPECT_EQ(row.hr, m.GetMsg(row.kind, out));
    EXPECT_EQ(row.out, W(out));
    EXPECT_EQ(row.hr == S_OK ? row.out : u"(null)",
              W(m.ExtractMessage(row.kind)));
  }
  Extractor m;
  m = OLESTR("a_$S_1000_$E_");
  EXPECT_EQ(A::Block(m), A::Block(m.ExtractMessage(2)));
}

namespace {

// Format must call the virtual FormatMsg and give its success as S_OK.
class FalseFormatter : public CKZMsgString {
 public:
  HRESULT FormatMsg(ULONG type, const WCHAR* text, const WCHAR* origin,
                    const WCHAR* originCode) override {
    const HRESULT hr = CKZMsgString::FormatMsg(type, text, origin, originCode);
    return hr == S_OK ? S_FALSE : hr;
  }
};

}  // namespace

// Fault: Format leaves the text unformatted, loses the arguments, bypasses
// the virtual FormatMsg or passes its S_FALSE on, or changes the object when
// the fetch fails.
TEST(MsgFormat, FormatThroughACatalog) {
  CKZCatalog test(kztest::TestCatalogName());
  CKZSimpleMsgString m;
  ASSERT_EQ(S_OK, m.FormatMsg(4, U(u"3$before")));
  ASSERT_EQ(u"before", W(static_cast<const WCHAR*>(m)));  // builds the view
  const CKZStringBlock* block = A::Block(m);
  EXPECT_EQ(E_FAIL,
            m.Format(1, nullptr, nullptr, test, kztest::kIdMissingBlock));
  EXPECT_EQ(E_INVALIDARG, m.Format(1, nullptr, nullptr, test, 406, 2));
  EXPECT_EQ(block, A::Block(m));
  EXPECT_EQ(u"before", W(static_cast<const WCHAR*>(m)));
  EXPECT_EQ(S_OK, m.Format(1, OLESTR("Reader"), OLESTR("parser"), test, 408,
                           OLESTR("x")));
  EXPECT_EQ(u"Type x mismatch_$S_1012-PARS-Reader_$E_",
            W(static_cast<const CKZString&>(m)));
  EXPECT_EQ(u"Type x mismatch", W(static_cast<const WCHAR*>(m)));
  FalseFormatter positive;
  EXPECT_EQ(S_OK, positive.Format(2, nullptr, nullptr, test, 405));
  EXPECT_EQ(u"100%_$S_2000_$E_", W(positive));
  CKZCatalog::CloseAll();
}

namespace {

// The view's own reader, or with `other` the inherited one, which never
// touches the view.
template <typename View>
HRESULT Read(View& m, CKZString& out, bool other = false) {
  return other == std::is_same<View, CKZDetailMsgString>::value
             ? m.BuildSimpleMessage(out)
             : m.BuildDetailMessage(out);
}

template <typename View>
class CachedView : public ::testing::Test {
 protected:
  static constexpr bool kSimple = std::is_same<View, CKZSimpleMsgString>::value;
  const char16_t* kFirst = kSimple ? u"first" : u"1001-o - first";
  const char16_t* kSecond = kSimple ? u"second" : u"2002 - second";
};

using ViewTypes = ::testing::Types<CKZSimpleMsgString, CKZDetailMsgString>;
TYPED_TEST_SUITE(CachedView, ViewTypes);

}  // namespace

// Fault: a new view hands out text; the inherited reader uses the view; a
// hit rebuilds, copies or answers S_OK; GetMsg bypasses it; a copy or
// assignment drops the view; FormatMsg frees the view before reading a text
// inside it, keeps the old view, or drops it only when it succeeds.
TYPED_TEST(CachedView, ReadingsCopiesAndFormatMsg) {
  TypeParam m;
  EXPECT_EQ(nullptr, static_cast<const WCHAR*>(m));
  EXPECT_EQ(nullptr, static_cast<const char*>(m));
  ASSERT_EQ(S_OK, m.FormatMsg(1, U(u"1$first"), U(u"o")));
  {
    CKZString out;
    EXPECT_EQ(S_OK, Read(m, out, true));
    EXPECT_EQ(S_OK, Read(m, out, true));
    CKZString first;
    EXPECT_EQ(S_OK, Read(m, first));  // still a miss: built now
    EXPECT_EQ(this->kFirst, W(first));
    CKZString again;
    EXPECT_EQ(S_OK, m.GetMsg(TestFixture::kSimple ? 0 : 1, again));
    EXPECT_EQ(A::Block(first), A::Block(again));
    EXPECT_EQ(S_FALSE, Read(m, again));
    EXPECT_EQ(A::Block(first), A::Block(again));
    const WCHAR* view = m;
    EXPECT_EQ(A::WideBuffer(first), view);
    EXPECT_EQ(M(first), M(m));

    TypeParam copy(m);
    EXPECT_EQ(1001u, copy.GetErrorNum());
    EXPECT_EQ(S_FALSE, Read(copy, out));
    EXPECT_EQ(view, static_cast<const WCHAR*>(out));
    TypeParam assigned;
    assigned = m;
    EXPECT_EQ(1001u, assigned.GetErrorNum());
    EXPECT_EQ(A::Block(m), A::Block(assigned));
    EXPECT_EQ(view, static_cast<const WCHAR*>(assigned));
    TypeParam& same = assigned;
    assigned = same;
    EXPECT_EQ(view, static_cast<const WCHAR*>(assigned));
  }
  const WCHAR* view = m;  // m's alone again
  ASSERT_EQ(S_OK, m.FormatMsg(4, view));
  CKZMsgString plain;
  ASSERT_EQ(S_OK, plain.FormatMsg(4, U(this->kFirst)));
  EXPECT_EQ(W(plain), W(static_cast<CKZString&>(m)));
  ASSERT_EQ(S_OK, m.FormatMsg(2, U(u"2$second")));
  EXPECT_EQ(this->kSecond, W(m));
  CKZMsgString& base = m;
  base = OLESTR("3$third");  // the composite changes, the view stays
  EXPECT_EQ(this->kSecond, W(m));
  EXPECT_EQ(E_POINTER, m.FormatMsg(1, nullptr));
  EXPECT_EQ(u"3$third", W(static_cast<CKZString&>(m)));
  CKZString out;
  EXPECT_EQ(S_FALSE, Read(m, out));  // no markers: built from the text
  EXPECT_EQ(u"3$third", W(out));
  EXPECT_EQ(u"3$third", W(m));
}

// Fault: a null simple reading counts as built.
TEST(CachedViews, NullSimpleReading) {
  CKZSimpleMsgString simple;
  static_cast<CKZMsgString&>(simple) = OLESTR("_$S_2006_$E_");
  EXPECT_EQ(nullptr, static_cast<const WCHAR*>(simple));
  CKZString out(OLESTR("x"));
  EXPECT_EQ(S_OK, simple.BuildSimpleMessage(out));
  EXPECT_TRUE(A::IsNull(out));
  EXPECT_EQ(S_OK, simple.BuildSimpleMessage(out));
}
