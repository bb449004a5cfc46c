// CKZString lifetime and access: null versus empty, sharing, conversions.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::M;
using kztest::W;
using kztest::WString;

// Null and empty are different values, and every way of making a string
// lands on the right one: a null text anywhere gives null (also replacing a
// text of the other encoding), an empty text or a count of 0 gives an empty
// block. Each reading then answers as the table of the two says, and the
// old text is let go while a sharer keeps it. Catches a null text turned
// into an empty string, an empty text turned into null, a count of 0 taken
// as "whole text", a reader that treats an empty block like no block, an
// Attach that returns early on a null text and keeps the old one, and a
// stale pointer left in a copy's output.
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
       [](CKZString& s) { s = CKZString(CKZString()); }, true},
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
       [](CKZString& s) { s = CKZString(CKZString("")); }, false},
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
    const CKZString sharer = s;
    row.make(s);
    EXPECT_EQ(1u, A::RefCount(sharer));
    EXPECT_EQ(u"old text", W(sharer));
    EXPECT_EQ(row.null, A::IsNull(s));
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_EQ(0u, s.Length());
    EXPECT_EQ(0u, s.MbsLength());
    EXPECT_TRUE(static_cast<GUID>(s) == GUID_NULL);
    const std::string empty = row.null ? "(null)" : "";
    EXPECT_EQ(empty, M(s));
    EXPECT_EQ(std::u16string(empty.begin(), empty.end()), W(s));
    BSTR bstr = s.AllocBSTR();
    WCHAR staleUnit = 'x';
    char stale = 'x';
    WCHAR* wideCopy = &staleUnit;
    char* mbsCopy = &stale;
    s.GetBufferCopy(&wideCopy);
    s.GetBufferCopy(&mbsCopy);
    EXPECT_EQ(row.null ? u"(null)" : u"", W(bstr));
    EXPECT_EQ(0u, SysStringLen(bstr));
    EXPECT_EQ(row.null ? u"(null)" : u"", W(wideCopy));
    EXPECT_EQ(empty, M(mbsCopy));
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
    kztest::AllocCounts counts;
    row.assign(a, b);
    EXPECT_EQ(block, A::Block(a));
    EXPECT_EQ(row.shared ? 2u : 1u, A::RefCount(a));
    if (row.shared) {
      EXPECT_EQ(block, A::Block(b));
    }
    EXPECT_EQ(0u, counts.Crt());
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
    } else {
      const char* p = s;
      s = p;
      EXPECT_EQ(p, static_cast<const char*>(s));
    }
    EXPECT_EQ("own", M(s));
    EXPECT_EQ(block, A::Block(s));
    EXPECT_EQ(count, A::RefCount(s));
  }
}

// A copy shares the block. Dropping one sharer (Empty, a new text, the end
// of its scope) leaves the other's block, text and converted pointers
// alone, and frees nothing; assigning another string gives up the old
// block, which is freed when it had no other sharer; the last sharer frees
// every buffer once. Catches a copy of the text instead of the block, an
// Empty or Release that frees a shared block or leaves the caller's pointer
// set, a pointer invalidated by another value's assignment, and a leak.
TEST(StringSharing, SharersLetGoOneByOne) {
  kztest::AllocCounts counts;
  {
    CKZString a(OLESTR("shared"));
    const char* mbs = a;  // both forms: two buffers to free at the end
    const WCHAR* wide = a;
    CKZString b = a;
    EXPECT_EQ(A::Block(a), A::Block(b));
    EXPECT_EQ(2u, A::RefCount(a));
    b.Empty();
    EXPECT_TRUE(A::IsNull(b));
    { const CKZString scoped = a; }
    CKZString c = a;
    c = OLESTR("replaced");
    EXPECT_EQ(u"replaced", W(c));
    EXPECT_EQ(1u, A::RefCount(a));
    EXPECT_EQ(wide, static_cast<const WCHAR*>(a));
    EXPECT_EQ(mbs, static_cast<const char*>(a));
    EXPECT_EQ(u"shared", W(wide));
    EXPECT_EQ("shared", M(mbs));
    EXPECT_EQ(0u, counts.Crt());
    CKZString d("first");
    d = a;
    EXPECT_EQ(1u, counts.Crt());
    EXPECT_EQ(A::Block(a), A::Block(d));
    EXPECT_EQ(2u, A::RefCount(a));
  }
  EXPECT_EQ(4u, counts.Crt());  // "first", c's block, a's two forms
}

// A copy of a string with a taken-over buffer shares that buffer: dropping
// the first value leaves the buffer with the copy, and it is freed once, by
// its allocator, when the copy goes. Catches a buffer freed by the first
// value's destructor while shared.
TEST(StringSharing, CopyKeepsTheTakenOverBuffer) {
  kztest::AllocCounts counts;
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
    EXPECT_EQ(0u, counts.Ole());
    EXPECT_EQ(u"attached", W(copy));
  }
  EXPECT_EQ(1u, counts.Ole());
}

// A GUID assigned or constructed is its 38-unit text in a wide-only block
// (the text itself is the platform's, tests/platform/guid_test.cpp) and
// converts back; assigning it to a sharer leaves the other's text alone.
// Reading a GUID parses the wide form, built from multibyte text if
// missing; text that does not parse gives GUID_NULL. Catches a multibyte
// form made for nothing, a GUID assignment that writes into a shared block,
// a parse of the multibyte form and a partly parsed GUID handed back.
TEST(StringGuid, ToTextAndBack) {
  const GUID guid = {0x12345678,
                     0x9ABC,
                     0xDEF0,
                     {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
  CKZString assigned("old text");
  const CKZString sharer = assigned;
  assigned = guid;
  EXPECT_EQ("old text", M(sharer));
  EXPECT_EQ(1u, A::RefCount(sharer));
  CKZString constructed(guid);
  for (const CKZString* s : {&assigned, &constructed}) {
    EXPECT_EQ(kztest::kWideOnly, kztest::FormsOf(*s));
    EXPECT_EQ(u"{12345678-9ABC-DEF0-0123-456789ABCDEF}", W(A::WideBuffer(*s)));
    EXPECT_EQ(38u, A::WideLength(*s));
    EXPECT_TRUE(static_cast<GUID>(*s) == guid);
    EXPECT_EQ(kztest::kWideOnly, kztest::FormsOf(*s));
  }
  struct Row {
    const char* text;
    bool parses;
  } rows[] = {
      {"{12345678-9abc-def0-0123-456789ABCDEF}", true},
      {"{12345678-9ABC-DEF0-0123-456789ABCDEG}", false},
      {"not a guid", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    CKZString s(row.text);
    EXPECT_TRUE(static_cast<GUID>(s) == (row.parses ? guid : GUID_NULL));
    EXPECT_TRUE(A::HasWide(s));
  }
}

// AllocBSTR gives a new BSTR of the text up to its first zero, built from
// the wide form (built if missing), and a BSTR of length 0 for an empty
// string. Catches a BSTR sized by the length field past a zero, and one
// made from the multibyte bytes.
TEST(StringBstr, AllocBstrHoldsTheWideText) {
  const kztest::MultibyteSample sample = kztest::Sample();
  struct Row {
    const char* name;
    CKZString value;
    std::u16string text;
  } rows[] = {
      {"wide text", CKZString(OLESTR("text")), u"text"},
      {"multibyte text", CKZString("text"), u"text"},
      {"zero inside", CKZString(OLESTR("ab"), 5), u"ab"},
      {"multibyte sample", CKZString(sample.bytes),
       kztest::MultibyteLocale() ? W(sample.wide) : u""},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    BSTR bstr = row.value.AllocBSTR();
    ASSERT_NE(nullptr, bstr);
    EXPECT_TRUE(A::HasWide(row.value));
    if (!row.text.empty()) {
      EXPECT_EQ(row.text, W(bstr));
      EXPECT_EQ(row.text.size(), SysStringLen(bstr));
    } else {  // the C locale: one unit per byte
      EXPECT_EQ(sample.byteLength, SysStringLen(bstr));
    }
    SysFreeString(bstr);
  }
}

// GetBufferCopy hands out a fresh copy of the whole text in the encoding
// asked for, ending at the first zero; with a null argument it does nothing
// and builds nothing. The multibyte copy in a multibyte locale holds all
// the bytes, more than Length() when characters take several bytes.
// Catches a multibyte copy sized by Length(), a copy that reads or writes
// past a zero inside the text, and a write through the null argument.
TEST(StringBufferCopy, CopyHoldsTheWholeText) {
  CKZString text("text");
  text.GetBufferCopy(static_cast<WCHAR**>(nullptr));
  text.GetBufferCopy(static_cast<char**>(nullptr));
  EXPECT_EQ(kztest::kMbsOnly, kztest::FormsOf(text));

  const kztest::MultibyteSample sample = kztest::Sample();
  const bool multibyte = kztest::MultibyteLocale();
  struct Row {
    const char* name;
    CKZString value;
    std::u16string wide;
    std::string mbs;
  } rows[] = {
      {"wide text", CKZString(OLESTR("text")), u"text", "text"},
      {"multibyte text", CKZString("text"), u"text", "text"},
      {"wide, zero inside", CKZString(OLESTR("ab"), 5), u"ab", "ab"},
      {"multibyte, zero inside", CKZString("ab", 5), u"ab", "ab"},
      {"wide sample", CKZString(sample.wide), W(sample.wide),
       multibyte ? sample.bytes : ""},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    char* mbs = nullptr;
    row.value.GetBufferCopy(&mbs);
    ASSERT_NE(nullptr, mbs);
    if (!row.mbs.empty()) {
      EXPECT_EQ(row.mbs, M(mbs));
    }
    CoTaskMemFree(mbs);
    WCHAR* wide = nullptr;
    row.value.GetBufferCopy(&wide);
    EXPECT_EQ(row.wide, W(wide));
    CoTaskMemFree(wide);
  }
}

}  // namespace
