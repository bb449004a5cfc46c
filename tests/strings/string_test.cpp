// CKZString lifetime and access: null versus empty, sharing, conversions.
#include <gtest/gtest.h>

#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::M;
using kztest::W;

// Every way of making a string lands on null or on an empty block, and each
// reading answers accordingly; the old text is let go while a sharer keeps
// it. Faults: null and empty mixed up, a count of 0 taken as "whole text",
// an Attach that keeps the old text on a null one, a stale output pointer.
TEST(StringNullEmpty, EveryWayOfMakingAString) {
  using C = const char*;
  using CW = const WCHAR*;
  struct Row {
    const char* name;
    void (*make)(CKZString& s);  // s holds a wide text before
    bool null;
  } rows[] = {
      {"default", [](CKZString& s) { s = CKZString(); }, true},
      {"null text", [](CKZString& s) { s = CKZString(C()); }, true},
      {"null wide text", [](CKZString& s) { s = CKZString(CW()); }, true},
      {"null text, count 5", [](CKZString& s) { s = CKZString(C(), 5); }, true},
      {"null wide, count 5", [](CKZString& s) { s = CKZString(CW(), 5); },
       true},
      {"null text assigned", [](CKZString& s) { s = C(); }, true},
      {"null wide text assigned over multibyte",
       [](CKZString& s) {
         s = "old";
         s = CW();
       },
       true},
      {"Attach_CRT null", [](CKZString& s) { s.Attach_CRT(C()); }, true},
      {"Attach_OLE null wide", [](CKZString& s) { s.Attach_OLE(CW()); }, true},
      {"Attach_BSTR null", [](CKZString& s) { s.Attach_BSTR(nullptr); }, true},
      {"Empty", [](CKZString& s) { s.Empty(); }, true},
      {"empty text", [](CKZString& s) { s = CKZString(""); }, false},
      {"empty wide text", [](CKZString& s) { s = CKZString(OLESTR("")); },
       false},
      {"count 0", [](CKZString& s) { s = CKZString("abc", 0); }, false},
      {"wide, count 0", [](CKZString& s) { s = CKZString(OLESTR("ab"), 0); },
       false},
      {"empty text assigned", [](CKZString& s) { s = ""; }, false},
      {"empty wide text assigned", [](CKZString& s) { s = OLESTR(""); }, false},
      {"Attach_CRT empty",
       [](CKZString& s) { s.Attach_CRT(kztest::MallocMbs("")); }, false},
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
    const std::string mbs = row.null ? "(null)" : "";
    const std::u16string wide(mbs.begin(), mbs.end());
    EXPECT_EQ(mbs, M(s));
    EXPECT_EQ(wide, W(s));
    BSTR bstr = s.AllocBSTR();
    WCHAR staleUnit = 'x';
    char stale = 'x';
    WCHAR* wideCopy = &staleUnit;
    char* mbsCopy = &stale;
    s.GetBufferCopy(&wideCopy);
    s.GetBufferCopy(&mbsCopy);
    EXPECT_EQ(wide, W(bstr));
    EXPECT_EQ(0u, SysStringLen(bstr));
    EXPECT_EQ(wide, W(wideCopy));
    EXPECT_EQ(mbs, M(mbsCopy));
    SysFreeString(bstr);
    CoTaskMemFree(wideCopy);
    CoTaskMemFree(mbsCopy);
  }
}

// Assigning a string to itself or to a sharer, or the pointer that a
// conversion of its own block gave (also one the conversion built), changes
// nothing: same block, same count, same pointer, nothing freed. Faults: an
// Assign that releases before it acquires, a sharer counted twice, a text
// copied from the block just released (AddressSanitizer reports it).
TEST(StringSharing, AssigningWhatItHoldsIsNoChange) {
  for (bool shared : {false, true}) {
    for (bool fromWide : {false, true}) {
      SCOPED_TRACE(std::string(shared ? "shared" : "sole owner") +
                   (fromWide ? ", wide" : ", multibyte"));
      CKZString s = fromWide ? CKZString(OLESTR("own")) : CKZString("own");
      CKZString other;
      if (shared) other = s;
      const CKZStringBlock* block = A::Block(s);
      kztest::AllocCounts counts;
      CKZString& alias = s;
      s = alias;
      if (shared) {
        other = s;
        s = other;
      }
      const WCHAR* wide = s;
      s = wide;
      EXPECT_EQ(wide, static_cast<const WCHAR*>(s));
      const char* mbs = s;
      s = mbs;
      EXPECT_EQ(mbs, static_cast<const char*>(s));
      EXPECT_EQ(block, A::Block(s));
      EXPECT_EQ(shared ? 2u : 1u, A::RefCount(s));
      EXPECT_EQ(0u, counts.Crt());
      EXPECT_EQ("own", M(s));
    }
  }
}

// A copy shares the block. Dropping one sharer (Empty, a new text, the end
// of its scope) leaves the other's block, text and pointers alone and frees
// nothing; assigning another string frees the old block if it was the last
// sharer; the last sharer frees every buffer once, a taken-over one by its
// allocator. Faults: a copy of the text, a shared block freed, a pointer
// invalidated by another value's assignment, a leak.
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
    EXPECT_EQ(2u, A::RefCount(a));

    CKZString attached;
    attached.Attach_OLE(kztest::OleWide(OLESTR("attached")));
    const CKZString copy = attached;
    attached.Empty();
    EXPECT_EQ(0u, counts.Ole());
    EXPECT_EQ(u"attached", W(copy));
  }
  EXPECT_EQ(4u, counts.Crt());  // "first", c's block, a's two forms
  EXPECT_EQ(1u, counts.Ole());
}

// A GUID assigned or constructed is its 38-unit text (the platform's, see
// tests/platform/guid_test.cpp) in a wide-only block and converts back, and
// leaves a sharer alone; reading a GUID parses the wide form, built from
// multibyte text if missing, and text that doesn't parse gives GUID_NULL.
// Faults: a multibyte form made for nothing, a write into a shared block, a
// parse of the multibyte form, a partly parsed GUID handed back.
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
  for (CKZString* s : {&assigned, &constructed}) {
    EXPECT_EQ(kztest::kWideOnly, kztest::FormsOf(*s));
    EXPECT_EQ(u"{12345678-9ABC-DEF0-0123-456789ABCDEF}", W(A::WideBuffer(*s)));
    EXPECT_EQ(38u, A::WideLength(*s));
    EXPECT_TRUE(static_cast<GUID>(*s) == guid);
    EXPECT_EQ(kztest::kWideOnly, kztest::FormsOf(*s));
  }
  CKZString lower("{12345678-9abc-def0-0123-456789ABCDEF}");
  EXPECT_TRUE(static_cast<GUID>(lower) == guid);
  EXPECT_TRUE(A::HasWide(lower));
  CKZString bad("{12345678-9ABC-DEF0-0123-456789ABCDEG}");
  EXPECT_TRUE(static_cast<GUID>(bad) == GUID_NULL);
}

// AllocBSTR and GetBufferCopy hand out fresh copies of the text up to its
// first zero, from the wide form (built if missing) or with all the bytes of
// the multibyte form; GetBufferCopy with a null argument does nothing.
// Faults: a copy sized by the length field past a zero, a BSTR made from
// the bytes, a multibyte copy sized by Length(), a write through null.
TEST(StringCopies, HoldTheWholeText) {
  CKZString text("text");
  text.GetBufferCopy(static_cast<WCHAR**>(nullptr));
  text.GetBufferCopy(static_cast<char**>(nullptr));
  EXPECT_EQ(kztest::kMbsOnly, kztest::FormsOf(text));

  const kztest::MultibyteSample sample = kztest::Sample();
  const bool multibyte = kztest::MultibyteLocale();
  struct Row {
    const char* name;
    CKZString value;
    std::u16string wide;  // "": not compared (the C locale's rendering)
    std::string mbs;
  } rows[] = {
      {"wide text", CKZString(OLESTR("text")), u"text", "text"},
      {"multibyte text", CKZString("text"), u"text", "text"},
      {"wide, zero inside", CKZString(OLESTR("ab"), 5), u"ab", "ab"},
      {"multibyte, zero inside", CKZString("ab", 5), u"ab", "ab"},
      {"wide sample", CKZString(sample.wide), W(sample.wide),
       multibyte ? sample.bytes : ""},
      {"multibyte sample", CKZString(sample.bytes),
       multibyte ? W(sample.wide) : u"", sample.bytes},
  };
  for (Row& row : rows) {
    SCOPED_TRACE(row.name);
    BSTR bstr = row.value.AllocBSTR();
    char* mbs = nullptr;
    WCHAR* wide = nullptr;
    row.value.GetBufferCopy(&mbs);
    row.value.GetBufferCopy(&wide);
    ASSERT_NE(nullptr, bstr);
    ASSERT_NE(nullptr, mbs);
    if (!row.wide.empty()) {
      EXPECT_EQ(row.wide, W(bstr));
      EXPECT_EQ(row.wide.size(), SysStringLen(bstr));
      EXPECT_EQ(row.wide, W(wide));
    }
    if (!row.mbs.empty()) {
      EXPECT_EQ(row.mbs, M(mbs));
    }
    SysFreeString(bstr);
    CoTaskMemFree(mbs);
    CoTaskMemFree(wide);
  }
}

}  // namespace
