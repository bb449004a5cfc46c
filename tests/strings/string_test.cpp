// CKZString lifetime and access: the block, null and empty, sharing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using namespace kztest;

// The texts AllocBSTR and GetBufferCopy hand out, each copy freed.
struct Copies {
  std::u16string bstr;
  UINT bstrLength;
  std::u16string wide;
  std::string mbs;
};
Copies CopiesOf(CKZString& s) {
  BSTR bstr = s.AllocBSTR();
  WCHAR staleUnit = 'x';
  char stale = 'x';
  WCHAR* wide = &staleUnit;  // must be overwritten, with nullptr if need be
  char* mbs = &stale;
  s.GetBufferCopy(&wide);
  s.GetBufferCopy(&mbs);
  Copies copies = {W(bstr), SysStringLen(bstr), W(wide), M(mbs)};
  SysFreeString(bstr);
  CoTaskMemFree(wide);
  CoTaskMemFree(mbs);
  return copies;
}

const GUID kGuid = {0x12345678, 0x9ABC, 0xDEF0, {1, 0x23, 0, 0, 0, 0, 0, 0xEF}};
const char kGuidText[] = "{12345678-9ABC-DEF0-0123-0000000000EF}";
const char kBadGuidText[] = "{12345678-9ABC-DEF0-0123-0000000000EG}";

// Faults: null and empty mixed up, count 0 taken as all, a stale output, a copy
// past a zero, a BSTR from the bytes, a GUID with a multibyte form.
TEST(StringNullEmpty, EveryWayOfMakingAString) {
  using C = const char*;
  using S = CKZString&;
  using V = CKZString;
  using CW = const WCHAR*;
  struct Row {
    const char* name;
    void (*make)(CKZString& s);  // s holds a wide text before
    const char* text;            // nullptr: a null string
  } rows[] = {
      {"default", [](S s) { s = V(); }, nullptr},
      {"null text", [](S s) { s = V(C()); }, nullptr},
      {"null wide text", [](S s) { s = V(CW()); }, nullptr},
      {"null, count 5", [](S s) { s = V(C(), 5); }, nullptr},
      {"null wide, count 5", [](S s) { s = V(CW(), 5); }, nullptr},
      {"null text assigned", [](S s) { s = C(); }, nullptr},
      {"null wide text assigned over multibyte",
       [](S s) { s = V("old") = CW(); }, nullptr},
      {"Attach_CRT null", [](S s) { s.Attach_CRT(C()); }, nullptr},
      {"Attach_OLE null wide", [](S s) { s.Attach_OLE(CW()); }, nullptr},
      {"Attach_BSTR null", [](S s) { s.Attach_BSTR(nullptr); }, nullptr},
      {"Empty", [](S s) { s.Empty(); }, nullptr},
      {"empty text", [](S s) { s = V(""); }, ""},
      {"empty wide text", [](S s) { s = V(OLESTR("")); }, ""},
      {"count 0", [](S s) { s = V("abc", 0); }, ""},
      {"wide, count 0", [](S s) { s = V(OLESTR("ab"), 0); }, ""},
      {"empty text assigned", [](S s) { s = ""; }, ""},
      {"empty wide text assigned", [](S s) { s = OLESTR(""); }, ""},
      {"Attach_CRT empty", [](S s) { s.Attach_CRT(MallocMbs("")); }, ""},
      {"Attach_OLE empty wide", [](S s) { s.Attach_OLE(OleWide(OLESTR(""))); },
       ""},
      {"Attach_BSTR empty", [](S s) { s.Attach_BSTR(Bstr(OLESTR(""))); }, ""},
      {"wide text", [](S s) { s = V(OLESTR("text")); }, "text"},
      {"multibyte text", [](S s) { s = V("text"); }, "text"},
      {"wide, zero inside", [](S s) { s = V(OLESTR("ab"), 5); }, "ab"},
      {"multibyte, zero inside", [](S s) { s = V("ab", 5); }, "ab"},
      {"GUID", [](S s) { EXPECT_EQ(kWide, FormsOf(s = kGuid)); }, kGuidText},
      {"new GUID", [](S s) { EXPECT_EQ(kWide, FormsOf(s = V(kGuid))); },
       kGuidText},
      {"malformed GUID", [](S s) { s = V(kBadGuidText); }, kBadGuidText},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s(OLESTR("old text"));
    const CKZString sharer = s;
    row.make(s);
    EXPECT_EQ(1u, A::RefCount(sharer));
    EXPECT_EQ(u"old text", W(sharer));
    const bool empty = row.text == nullptr || *row.text == 0;
    EXPECT_EQ(row.text == nullptr, A::IsNull(s));
    EXPECT_EQ(empty, s.IsEmpty());
    if (empty) {
      EXPECT_EQ(0u, s.Length());
      EXPECT_EQ(0u, s.MbsLength());
    }
    EXPECT_TRUE(static_cast<GUID>(s) ==
                (row.text == kGuidText ? kGuid : GUID_NULL));
    const std::string mbs = M(row.text);
    const std::u16string wide(mbs.begin(), mbs.end());
    EXPECT_EQ(mbs, M(s));
    EXPECT_EQ(wide, W(s));
    const Copies copies = CopiesOf(s);
    EXPECT_EQ(wide, copies.bstr);
    EXPECT_EQ(row.text == nullptr ? 0 : std::strlen(row.text),
              copies.bstrLength);
    EXPECT_EQ(wide, copies.wide);
    EXPECT_EQ(mbs, copies.mbs);
  }
  // Copies of text beyond ASCII; a null argument to GetBufferCopy.
  const MultibyteSample sample = Sample();
  const bool multibyte = MultibyteLocale();
  CKZString wideSample(sample.wide), mbsSample(sample.bytes);
  const Copies fromWide = CopiesOf(wideSample);
  EXPECT_EQ(W(sample.wide), fromWide.bstr);
  EXPECT_EQ(3u, fromWide.bstrLength);
  EXPECT_EQ(W(sample.wide), fromWide.wide);
  const Copies fromMbs = CopiesOf(mbsSample);
  EXPECT_EQ(sample.bytes, fromMbs.mbs);
  if (multibyte) {
    EXPECT_EQ(sample.bytes, fromWide.mbs);
    EXPECT_EQ(W(sample.wide), fromMbs.bstr);
    EXPECT_EQ(W(sample.wide), fromMbs.wide);
  }
  CKZString text("text");
  text.GetBufferCopy(static_cast<WCHAR**>(nullptr));
  text.GetBufferCopy(static_cast<char**>(nullptr));
  EXPECT_EQ(kMbs, FormsOf(text));
}

// Faults: an Assign that releases before it acquires, a sharer counted twice,
// a copy instead of a share, a pointer invalidated by another value, a leak.
TEST(StringSharing, AssignmentsAndSharersLettingGo) {
  for (bool shared : {false, true}) {
    for (bool fromWide : {false, true}) {
      SCOPED_TRACE(std::string(shared ? "shared" : "sole owner") +
                   (fromWide ? ", wide" : ", multibyte"));
      CKZString s = fromWide ? CKZString(OLESTR("own")) : CKZString("own");
      CKZString other;
      if (shared) other = s;
      const CKZStringBlock* block = A::Block(s);
      AllocCounts counts;
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
  AllocCounts counts;
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
    attached.Attach_OLE(OleWide(OLESTR("attached")));
    const CKZString copy = attached;
    attached.Empty();
    EXPECT_EQ(0u, counts.Ole());
    EXPECT_EQ(u"attached", W(copy));
  }
  EXPECT_EQ(4u, counts.Crt());  // "first", c's block, a's two forms
  EXPECT_EQ(1u, counts.Ole());
}

// Faults: KZ_INITIAL_STRING_BLOCK_SIZE misread, the rule L < R ? R : R + L
// wrong at L == R, no room for a terminator.
TEST(PerProcessBlockSize, InitialCapacity) {
  std::uint32_t r = 0;
  ASSERT_TRUE(ExpectedBlockSize(&r));
  CKZString emptyWide(OLESTR(""));
  CKZString emptyMbs("");
  EXPECT_EQ(r, A::Capacity(emptyWide));
  EXPECT_EQ(r, A::Capacity(emptyMbs));
  EXPECT_EQ("", M(emptyWide));
  EXPECT_EQ(u"", W(emptyMbs));
  if (r > 4096) return;  // the rows below make texts of about R characters
  for (std::uint32_t length : {3u, r == 0 ? 0 : r - 1, r, r + 1}) {
    SCOPED_TRACE(length);
    const std::uint32_t capacity = length < r ? r : r + length;
    EXPECT_EQ(capacity,
              A::Capacity(CKZString(std::string(length, 'x').c_str())));
    EXPECT_EQ(capacity, A::Capacity(CKZString(WString(length, 'x').c_str())));
  }
}

// Faults: no padding to the count, a block sized by the text, a conversion
// past a zero or of -1 taken as a length, a byte lost in the C locale.
TEST(StringBlock, ConstructorsAndConversions) {
  ASSERT_TRUE(DefaultBlockSize());
  const ULONG kWhole = 0xFFFFFFFFu;
  const std::string longText(100, 'x');
  struct Row {
    const char* name;
    const char* text;
    ULONG count;          // kWhole: the uncounted constructor
    std::uint32_t given;  // field of the form made
    std::uint32_t built;  // the other field once its form is built
    std::uint32_t capacity;
  } rows[] = {
      {"text", "abc", kWhole, 3, 3, 64},
      {"padded to count", "ab", 5, 5, 2, 64},
      {"count 0", "abc", 0, 0, 0, 64},
      {"short text, count at R", "ab", 64, 64, 2, 128},
      {"long text, small count", longText.c_str(), 3, 3, 3, 64},
  };
  for (const Row& row : rows) {
    for (bool wide : {true, false}) {
      SCOPED_TRACE(std::string(row.name) + (wide ? ", wide" : ", multibyte"));
      const WString wideText = Widen(row.text);
      const bool whole = row.count == kWhole;
      CKZString s =
          wide ? (whole ? CKZString(wideText.c_str())
                        : CKZString(wideText.c_str(), row.count))
               : (whole ? CKZString(row.text) : CKZString(row.text, row.count));
      const std::size_t copied =
          std::min<std::size_t>(std::strlen(row.text), whole ? ~0u : row.count);
      auto other = [&] { return wide ? A::MbsLength(s) : A::WideLength(s); };
      EXPECT_EQ(row.capacity, A::Capacity(s));
      EXPECT_EQ(row.given, wide ? A::WideLength(s) : A::MbsLength(s));
      EXPECT_EQ(MultibyteLocale() ? 0 : row.given, other());
      for (std::uint32_t i = 0; i <= row.given; ++i) {  // text, zeros, end
        EXPECT_EQ(i < copied ? static_cast<unsigned char>(row.text[i]) : 0u,
                  wide ? A::WideBuffer(s)[i]
                       : static_cast<unsigned char>(A::MbsBuffer(s)[i]))
            << "unit " << i;
      }
      EXPECT_EQ(std::string(row.text, copied), M(s));
      EXPECT_EQ(wideText.substr(0, copied),
                WString(static_cast<const WCHAR*>(s)));
      EXPECT_EQ(row.built, other());
    }
  }
  struct ConvRow {
    const char* bytes;  // multibyte source, or
    WString units;      // wide source
  } convRows[] = {
      {"a\x93", {}},
      {"\xe6\x97", {}},
      {"\xc0\xaf", {}},
      {"\x80\x93\xe6\xfa\xff", {}},
      {nullptr, Units({0xD800, 'a'})},
      {nullptr, Units({'a', 0xDBFF})},
      {nullptr, Units({0x100, 'b', 0x20AC})},
      {nullptr, Units({0x80, 0x93, 0xE6, 0xFA, 0xFF, 0xA0, 0xC9, 0xE9})},
  };
  const bool singleByte = !MultibyteLocale();
  for (const ConvRow& row : convRows) {
    if (row.bytes != nullptr) {
      SCOPED_TRACE(row.bytes);
      CKZString s(row.bytes);
      const WCHAR* wide = s;
      ASSERT_NE(nullptr, wide);
      EXPECT_EQ(WideLen(wide), s.Length());
      EXPECT_NE(0u, A::WideLength(s));
      EXPECT_LE(A::WideLength(s), A::MbsLength(s));
      for (std::size_t i = 0; singleByte && row.bytes[i] != 0; ++i) {
        EXPECT_EQ(static_cast<unsigned char>(row.bytes[i]), wide[i]);
      }
    } else {
      SCOPED_TRACE(static_cast<int>(row.units[0]));
      CKZString s(row.units.c_str());
      const char* mbs = s;
      ASSERT_NE(nullptr, mbs);
      EXPECT_EQ(std::strlen(mbs), s.MbsLength());
      EXPECT_NE(0u, A::MbsLength(s));
      EXPECT_LE(A::MbsLength(s), A::WideLength(s) * MB_CUR_MAX);
      if (singleByte && row.units[0] == 0x80) {
        ASSERT_EQ(row.units.size(), std::strlen(mbs));
        for (std::size_t i = 0; i < row.units.size(); ++i) {
          EXPECT_EQ(row.units[i], static_cast<unsigned char>(mbs[i]));
        }
      }
    }
  }
}

// Fault: a form built again after a taken-over one was dropped keeps the old
// allocator kind, and is freed by it.
TEST(StringBlock, FormBuiltAgainAfterATakenOverOneIsMalloced) {
  for (AttachOp op : kAttachOps) {
    SCOPED_TRACE(static_cast<int>(op));
    const bool wide = AttachesWide(op);
    AllocCounts counts;
    {
      CKZString s;
      AttachNew(s, op, "abcd");
      EXPECT_EQ("abcd", M(s));
      EXPECT_EQ(u"abcd", W(s));  // both forms
      void* taken = wide ? static_cast<void*>(A::TakeWide(s))
                         : static_cast<void*>(A::TakeMbs(s));
      if (op == AttachOp::kBstr) SysFreeString(static_cast<BSTR>(taken));
      if (op == AttachOp::kOleMbs || op == AttachOp::kOleWide) {
        CoTaskMemFree(taken);
      }
      if (op == AttachOp::kCrtMbs || op == AttachOp::kCrtWide) std::free(taken);
      EXPECT_EQ(u"abcd", W(s));
      EXPECT_EQ("abcd", M(s));
      EXPECT_EQ(CKZStringBlock::AllocCRT,
                wide ? A::WideKind(s) : A::MbsKind(s));
    }
    EXPECT_EQ(2u, counts.Crt());
    EXPECT_EQ(0u, counts.Ole() + counts.Bstr());
  }
}

}  // namespace
