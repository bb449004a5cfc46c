// CKZString lifetime and access: null versus empty, sharing, conversions.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "strings/internal/test_access.h"
#include "strings/string_test_util.h"
#include "test_support.h"

using A = CKZStringTestAccess;
using kztest::AttachOp;
using kztest::FreeCounts;
using kztest::M;
using kztest::W;
using kztest::WideLen;
using kztest::WString;

// Null and empty are different values, and every way of making a string
// lands on the right one: a null text anywhere gives null (also replacing a
// text of the other encoding), an empty text or a count of 0 gives an empty
// block. Each reading then answers as the table of the two says. Catches a
// null text turned into an empty string, an empty text turned into null, a
// count of 0 taken as "whole text", and a reader that treats an empty block
// like no block.
TEST(StringNullEmpty, EveryWayOfMakingAString) {
  using C = const char*;
  using CW = const WCHAR*;
  struct Row {
    const char* name;
    void (*make)(CKZString& s);  // s holds a wide text before
    bool null;
  } rows[] = {
      {"default constructor assigned", [](CKZString& s) { s = CKZString(); },
       true},
      {"null multibyte text", [](CKZString& s) { s = CKZString(C()); }, true},
      {"null wide text", [](CKZString& s) { s = CKZString(CW()); }, true},
      {"null multibyte text, count 5",
       [](CKZString& s) { s = CKZString(C(), 5); }, true},
      {"null wide text, count 5", [](CKZString& s) { s = CKZString(CW(), 5); },
       true},
      {"copy of a null string",
       [](CKZString& s) {
         CKZString n;
         s = CKZString(n);
       },
       true},
      {"null multibyte text assigned over wide text",
       [](CKZString& s) { s = C(); }, true},
      {"null wide text assigned over multibyte text",
       [](CKZString& s) {
         s = "old";
         s = CW();
       },
       true},
      {"Attach_CRT null multibyte", [](CKZString& s) { s.Attach_CRT(C()); },
       true},
      {"Attach_CRT null wide", [](CKZString& s) { s.Attach_CRT(CW()); }, true},
      {"Attach_OLE null multibyte", [](CKZString& s) { s.Attach_OLE(C()); },
       true},
      {"Attach_OLE null wide", [](CKZString& s) { s.Attach_OLE(CW()); }, true},
      {"Attach_BSTR null", [](CKZString& s) { s.Attach_BSTR(nullptr); }, true},
      {"Empty", [](CKZString& s) { s.Empty(); }, true},
      {"empty multibyte text", [](CKZString& s) { s = CKZString(""); }, false},
      {"empty wide text", [](CKZString& s) { s = CKZString(OLESTR("")); },
       false},
      {"multibyte text, count 0", [](CKZString& s) { s = CKZString("abc", 0); },
       false},
      {"wide text, count 0",
       [](CKZString& s) { s = CKZString(OLESTR("abc"), 0); }, false},
      {"empty multibyte text assigned", [](CKZString& s) { s = ""; }, false},
      {"empty wide text assigned", [](CKZString& s) { s = OLESTR(""); }, false},
      {"copy of an empty string",
       [](CKZString& s) {
         CKZString e("");
         s = CKZString(e);
       },
       false},
      {"Attach_CRT empty multibyte",
       [](CKZString& s) { s.Attach_CRT(kztest::MallocMbs("")); }, false},
      {"Attach_CRT empty wide",
       [](CKZString& s) { s.Attach_CRT(kztest::MallocWide(OLESTR(""))); },
       false},
      {"Attach_OLE empty multibyte",
       [](CKZString& s) { s.Attach_OLE(kztest::OleMbs("")); }, false},
      {"Attach_OLE empty wide",
       [](CKZString& s) { s.Attach_OLE(kztest::OleWide(OLESTR(""))); }, false},
      {"Attach_BSTR empty",
       [](CKZString& s) { s.Attach_BSTR(kztest::Bstr(OLESTR(""))); }, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s(OLESTR("old text"));
    row.make(s);
    EXPECT_EQ(row.null, A::IsNull(s));
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_EQ(0u, s.Length());
    EXPECT_EQ(0u, s.MbsLength());
    EXPECT_TRUE(static_cast<GUID>(s) == GUID_NULL);
    const char* mbs = s;
    const WCHAR* wide = s;
    BSTR bstr = s.AllocBSTR();
    WCHAR* wideCopy = nullptr;
    char* mbsCopy = nullptr;
    s.GetBufferCopy(&wideCopy);
    s.GetBufferCopy(&mbsCopy);
    if (row.null) {
      EXPECT_EQ(nullptr, mbs);
      EXPECT_EQ(nullptr, wide);
      EXPECT_EQ(nullptr, bstr);
      EXPECT_EQ(nullptr, wideCopy);
      EXPECT_EQ(nullptr, mbsCopy);
    } else {
      ASSERT_NE(nullptr, mbs);
      ASSERT_NE(nullptr, wide);
      EXPECT_EQ('\0', mbs[0]);
      EXPECT_EQ(0, wide[0]);
      ASSERT_NE(nullptr, bstr);
      EXPECT_EQ(0u, SysStringLen(bstr));
      // Fresh copies, not the block's own buffers.
      ASSERT_NE(nullptr, wideCopy);
      ASSERT_NE(nullptr, mbsCopy);
      EXPECT_NE(wide, wideCopy);
      EXPECT_NE(mbs, mbsCopy);
      EXPECT_EQ(0, wideCopy[0]);
      EXPECT_EQ('\0', mbsCopy[0]);
    }
    SysFreeString(bstr);
    CoTaskMemFree(wideCopy);
    CoTaskMemFree(mbsCopy);
  }
}

// Assigning a string to itself, or to one that already shares its block,
// changes nothing: same block, same count, nothing freed. Catches an Assign
// that releases before it acquires (a freed block for the self case) or
// that counts the same sharer twice.
TEST(StringSharing, AssignmentToItselfOrASharerKeepsTheCount) {
  struct Row {
    const char* name;
    bool shared;  // b is a copy of a; else b is null
    void (*assign)(CKZString& a, CKZString& b);
  } rows[] = {
      {"itself, sole owner", false,
       [](CKZString& a, CKZString&) {
         CKZString& alias = a;
         a = alias;
       }},
      {"itself, shared", true,
       [](CKZString& a, CKZString&) {
         CKZString& alias = a;
         a = alias;
       }},
      {"a sharer", true, [](CKZString& a, CKZString& b) { a = b; }},
      {"the other way", true, [](CKZString& a, CKZString& b) { b = a; }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString a(OLESTR("text"));
    CKZString b;
    if (row.shared) b = a;
    const CKZStringBlock* block = A::Block(a);
    FreeCounts frees;
    row.assign(a, b);
    EXPECT_EQ(block, A::Block(a));
    EXPECT_EQ(row.shared ? 2u : 1u, A::RefCount(a));
    if (row.shared) {
      EXPECT_EQ(block, A::Block(b));
    }
    EXPECT_EQ(0u, frees.Crt());
    EXPECT_EQ(u"text", W(a));
  }
}

// Assigning a string the pointer that a conversion of its own block gave
// is no change: the block, its count and the pointer stay, also when the
// conversion built the form first and when the block is shared. Catches an
// assignment that releases the block the text lies in and then copies
// from freed memory (AddressSanitizer reports it).
TEST(StringSharing, AssigningItsOwnConversionIsNoChange) {
  struct Row {
    const char* name;
    bool fromWide;
    bool assignWide;
    bool shared;
  } rows[] = {
      {"wide text, own wide pointer", true, true, false},
      {"multibyte text, own multibyte pointer", false, false, false},
      {"multibyte text, wide pointer built", false, true, false},
      {"wide text, multibyte pointer built", true, false, false},
      {"shared block, own wide pointer", true, true, true},
      {"shared block, multibyte pointer built", true, false, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s = row.fromWide ? CKZString(OLESTR("own")) : CKZString("own");
    CKZString other;
    if (row.shared) other = s;
    const CKZStringBlock* block = A::Block(s);
    const std::uint32_t count = A::RefCount(s);
    if (row.assignWide) {
      const WCHAR* p = s;
      s = p;
      EXPECT_EQ(p, static_cast<const WCHAR*>(s));
      EXPECT_EQ(u"own", W(p));
    } else {
      const char* p = s;
      s = p;
      EXPECT_EQ(p, static_cast<const char*>(s));
      EXPECT_EQ("own", M(p));
    }
    EXPECT_EQ(block, A::Block(s));
    EXPECT_EQ(count, A::RefCount(s));
  }
}

// A copy shares the block; Empty on a shared string makes that value null
// and leaves the other sharer's block, text and converted pointers alone;
// assigning a new text or string to one sharer likewise. Catches a copy of
// the text instead of the block, an Empty that frees a shared block, and a
// pointer of one value invalidated by another value's assignment.
TEST(StringSharing, DroppingOneSharerLeavesTheOther) {
  CKZString a("shared");
  const WCHAR* wide = a;
  CKZString b = a;
  EXPECT_EQ(A::Block(a), A::Block(b));
  EXPECT_EQ(2u, A::RefCount(a));
  b = CKZString("other");
  EXPECT_EQ(1u, A::RefCount(a));
  b = a;
  b.Empty();
  EXPECT_TRUE(A::IsNull(b));
  EXPECT_EQ(1u, A::RefCount(a));
  EXPECT_EQ(u"shared", W(wide));

  CKZString c = a;
  c = OLESTR("replaced");
  EXPECT_EQ(1u, A::RefCount(a));
  EXPECT_EQ(wide, static_cast<const WCHAR*>(a));
  EXPECT_EQ(u"shared", W(wide));
  EXPECT_EQ(u"replaced", W(c));
}

// Assignment from another string gives up the old block: it is freed when
// this value was its only sharer. Catches a leaked block (AddressSanitizer's
// leak check and the free count).
TEST(StringSharing, AssignmentReleasesTheOldBlock) {
  CKZString a("first");
  CKZString b(OLESTR("second"));
  FreeCounts frees;
  a = b;
  EXPECT_EQ(1u, frees.Crt());
  EXPECT_EQ(A::Block(a), A::Block(b));
  EXPECT_EQ(2u, A::RefCount(b));
  EXPECT_EQ(u"second", W(a));
}

// Attach with a null text releases the old text and leaves the string null,
// whichever operation: the old block is freed when it was not shared, and a
// sharer keeps it. Catches an Attach that returns early on a null text and
// keeps the old one.
TEST(StringAttach, NullTextReleasesTheOldText) {
  struct Row {
    const char* name;
    void (*attach)(CKZString&);
  } rows[] = {
      {"Attach_CRT multibyte",
       [](CKZString& s) { s.Attach_CRT(static_cast<const char*>(nullptr)); }},
      {"Attach_CRT wide",
       [](CKZString& s) { s.Attach_CRT(static_cast<const WCHAR*>(nullptr)); }},
      {"Attach_OLE multibyte",
       [](CKZString& s) { s.Attach_OLE(static_cast<const char*>(nullptr)); }},
      {"Attach_OLE wide",
       [](CKZString& s) { s.Attach_OLE(static_cast<const WCHAR*>(nullptr)); }},
      {"Attach_BSTR", [](CKZString& s) { s.Attach_BSTR(nullptr); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s("old");
    FreeCounts frees;
    row.attach(s);
    EXPECT_TRUE(A::IsNull(s));
    EXPECT_EQ(1u, frees.Crt());

    CKZString shared("kept");
    CKZString t = shared;
    row.attach(t);
    EXPECT_TRUE(A::IsNull(t));
    EXPECT_EQ(1u, A::RefCount(shared));
    EXPECT_EQ("kept", M(shared));
  }
}

// Multibyte text taken over by Attach_OLE: in a single-byte locale both
// lengths are the text's length with no form built; in a multibyte locale
// MbsLength is the byte length at once and Length builds the wide form.
// Catches an Attach that leaves the second length field unset in the
// single-byte locale, and one that sets it to the byte count in a
// multibyte locale.
TEST(StringAttach, OleMultibyteLengthsFollowTheLocale) {
  const kztest::MultibyteSample sample = kztest::Sample();
  CKZString s;
  s.Attach_OLE(kztest::OleMbs(sample.bytes));
  EXPECT_EQ(sample.byteLength, s.MbsLength());
  EXPECT_FALSE(A::HasWide(s));
  if (kztest::MultibyteLocale()) {
    EXPECT_EQ(3u, s.Length());
    EXPECT_TRUE(A::HasWide(s));
    EXPECT_EQ(W(sample.wide), W(A::WideBuffer(s)));
  } else {
    EXPECT_EQ(sample.byteLength, s.Length());
    EXPECT_FALSE(A::HasWide(s));
  }
}

// A copy of a string with a taken-over buffer shares that buffer: dropping
// the first value leaves the buffer with the copy, and it is freed once, by
// its allocator, when the copy goes. Catches a buffer freed by the first
// value's destructor while shared.
TEST(StringAttach, CopyKeepsTheTakenOverBuffer) {
  FreeCounts frees;
  {
    CKZString copy;
    {
      CKZString a;
      WCHAR* buffer = kztest::OleWide(OLESTR("attached"));
      a.Attach_OLE(buffer);
      copy = a;
      a.Empty();
      EXPECT_EQ(buffer, A::WideBuffer(copy));
    }
    EXPECT_EQ(0u, frees.Ole());
    EXPECT_EQ(u"attached", W(copy));
  }
  EXPECT_EQ(1u, frees.Ole());
}

// A GUID assigned or constructed comes back unchanged through the
// conversion, as the 38-unit text with upper-case digits, in a wide-only
// block. Catches a mangled byte order in the text and a multibyte form made
// for nothing.
TEST(StringGuid, RoundTrip) {
  struct Row {
    const char* name;
    GUID guid;
    const WCHAR* text;
  } rows[] = {
      {"GUID_NULL", GUID_NULL,
       OLESTR("{00000000-0000-0000-0000-000000000000}")},
      {"mixed digits",
       {0x12345678,
        0x9ABC,
        0xDEF0,
        {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}},
       OLESTR("{12345678-9ABC-DEF0-0123-456789ABCDEF}")},
      {"all ones",
       {0xFFFFFFFF,
        0xFFFF,
        0xFFFF,
        {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
       OLESTR("{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString assigned("old text");
    assigned = row.guid;
    CKZString constructed(row.guid);
    for (const CKZString* s : {&assigned, &constructed}) {
      EXPECT_EQ(W(row.text), W(A::WideBuffer(*s)));
      EXPECT_EQ(38u, A::WideLength(*s));
      EXPECT_FALSE(A::HasMbs(*s));
      EXPECT_TRUE(static_cast<GUID>(*s) == row.guid);
      EXPECT_FALSE(A::HasMbs(*s));
    }
  }
}

// Text that does not parse as a GUID gives GUID_NULL, and the wide form
// that the parse needed stays in the block. Catches a parse of the
// multibyte form, and a partly parsed GUID handed back.
TEST(StringGuid, MalformedTextGivesGuidNull) {
  const char* rows[] = {
      "",
      "not a guid",
      "{12345678-9ABC-DEF0-0123-456789ABCDE}",
      "{12345678-9ABC-DEF0-0123-456789ABCDEF0}",
      "{12345678-9ABC-DEF0-0123-456789ABCDEG}",
      "{12345678+9ABC-DEF0-0123-456789ABCDEF}",
  };
  for (const char* text : rows) {
    SCOPED_TRACE(text);
    CKZString s(text);
    EXPECT_FALSE(A::HasWide(s));
    EXPECT_TRUE(static_cast<GUID>(s) == GUID_NULL);
    EXPECT_TRUE(A::HasWide(s));
  }
}

// Assigning a GUID to one sharer leaves the other's text alone, and the old
// block is freed only when it had no other sharer. Catches a GUID
// assignment that writes into the shared block.
TEST(StringGuid, AssignmentLeavesASharerAlone) {
  const GUID guid = {0x12345678,
                     0x9ABC,
                     0xDEF0,
                     {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
  CKZString a("shared");
  CKZString b = a;
  b = guid;
  EXPECT_EQ("shared", M(a));
  EXPECT_EQ(1u, A::RefCount(a));
  EXPECT_TRUE(static_cast<GUID>(b) == guid);
}

// AllocBSTR gives a new BSTR of the text up to its first zero, built from
// the wide form (built if missing), and a BSTR of length 0 for an empty
// string. Catches a BSTR sized by the length field past a zero, and one
// made from the multibyte bytes.
TEST(StringBstr, AllocBstrHoldsTheWideText) {
  const kztest::MultibyteSample sample = kztest::Sample();
  const bool multibyte = kztest::MultibyteLocale();
  struct Row {
    const char* name;
    CKZString value;
    WString text;
  } rows[] = {
      {"wide text", CKZString(OLESTR("text")), OLESTR("text")},
      {"multibyte text", CKZString("text"), OLESTR("text")},
      {"zero inside", CKZString(OLESTR("ab"), 5), OLESTR("ab")},
      {"multibyte sample", CKZString(sample.bytes),
       multibyte ? WString(sample.wide) : WString()},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    BSTR bstr = row.value.AllocBSTR();
    ASSERT_NE(nullptr, bstr);
    EXPECT_TRUE(A::HasWide(row.value));
    EXPECT_NE(A::WideBuffer(row.value), bstr);
    const WCHAR* wide = reinterpret_cast<const WCHAR*>(bstr);
    if (!row.text.empty()) {
      EXPECT_EQ(row.text, WString(wide));
    }
    EXPECT_EQ(WideLen(A::WideBuffer(row.value)), SysStringLen(bstr));
    SysFreeString(bstr);
  }
}

// GetBufferCopy with a null argument does nothing (and builds nothing); on a
// null string it stores null over whatever the pointer held. Catches a
// write through the null argument and a stale pointer left for the caller.
TEST(StringBufferCopy, NullArgumentAndNullString) {
  CKZString text("text");
  text.GetBufferCopy(static_cast<WCHAR**>(nullptr));
  text.GetBufferCopy(static_cast<char**>(nullptr));
  if (kztest::MultibyteLocale()) {
    EXPECT_FALSE(A::HasWide(text));
  }

  CKZString null;
  char stale = 'x';
  WCHAR staleUnit = 'x';
  char* mbs = &stale;
  WCHAR* wide = &staleUnit;
  null.GetBufferCopy(&mbs);
  null.GetBufferCopy(&wide);
  EXPECT_EQ(nullptr, mbs);
  EXPECT_EQ(nullptr, wide);
}

// GetBufferCopy hands out a fresh copy of the whole text in the encoding
// asked for, ending at the first zero. The multibyte copy in a multibyte
// locale holds all the bytes, more than Length() when characters take
// several bytes. Catches a multibyte copy sized by Length(), and a copy
// that reads or writes past a zero inside the text.
TEST(StringBufferCopy, CopyHoldsTheWholeText) {
  const kztest::MultibyteSample sample = kztest::Sample();
  const bool multibyte = kztest::MultibyteLocale();
  struct Row {
    const char* name;
    CKZString value;
    WString wide;
    std::string mbs;
  } rows[] = {
      {"wide text", CKZString(OLESTR("text")), OLESTR("text"), "text"},
      {"multibyte text", CKZString("text"), OLESTR("text"), "text"},
      {"wide, zero inside", CKZString(OLESTR("ab"), 5), OLESTR("ab"), "ab"},
      {"multibyte, zero inside", CKZString("ab", 5), OLESTR("ab"), "ab"},
      {"wide sample", CKZString(sample.wide), sample.wide,
       multibyte ? sample.bytes : ""},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    char* mbs = nullptr;
    row.value.GetBufferCopy(&mbs);
    ASSERT_NE(nullptr, mbs);
    EXPECT_NE(A::MbsBuffer(row.value), mbs);
    if (!row.mbs.empty()) {
      EXPECT_EQ(row.mbs, M(mbs));
    }
    EXPECT_EQ(std::string(A::MbsBuffer(row.value)), M(mbs));
    CoTaskMemFree(mbs);

    WCHAR* wide = nullptr;
    row.value.GetBufferCopy(&wide);
    ASSERT_NE(nullptr, wide);
    EXPECT_NE(A::WideBuffer(row.value), wide);
    EXPECT_EQ(row.wide, WString(wide));
    CoTaskMemFree(wide);
  }
  if (multibyte) {
    CKZString s(sample.wide);
    EXPECT_LT(s.Length(), sample.byteLength);
  }
}
