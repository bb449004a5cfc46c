// The block: capacity rule, initial size, forms and lengths, allocators.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
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
using kztest::Widen;
using kztest::WString;

namespace {

const char* KindName(int kind) {
  switch (kind) {
    case CKZStringBlock::AllocCRT:
      return "CRT";
    case CKZStringBlock::AllocOLE:
      return "OLE";
    case CKZStringBlock::AllocBSTR:
      return "BSTR";
  }
  return "?";
}

}  // namespace

// KZ_INITIAL_STRING_BLOCK_SIZE is read once per process: CTest runs this test
// once per value, with the capacity an empty string must get. Catches a
// misread value (sign, trailing letters, overflow) and a capacity rule that
// ignores the configured size at its boundary L == R, and a block of
// capacity 0 without room for the terminator of either form.
TEST(InitialBlockSize, CapacityRuleUsesTheConfiguredSize) {
  const char* expected = std::getenv("KZ_TEST_EXPECTED_BLOCK_SIZE");
  if (expected == nullptr) GTEST_SKIP() << "run by CTest with a value";
  const std::uint32_t r = static_cast<std::uint32_t>(std::atol(expected));

  CKZString emptyWide(OLESTR(""));
  CKZString emptyMbs("");
  EXPECT_EQ(r, A::Capacity(emptyWide));
  EXPECT_EQ(r, A::Capacity(emptyMbs));
  EXPECT_EQ("", M(emptyWide));
  EXPECT_EQ(u"", W(emptyMbs));

  CKZString three("abc");
  EXPECT_EQ(r > 3 ? r : r + 3, A::Capacity(three));

  // The boundary rows make texts of about R characters: only for the
  // small sizes.
  if (r > 4096) return;
  const std::uint32_t lengths[] = {1, r == 0 ? 0 : r - 1, r, r + 1};
  for (std::uint32_t length : lengths) {
    SCOPED_TRACE(length);
    const std::uint32_t capacity = length < r ? r : r + length;
    std::string text(length, 'x');
    CKZString mbs(text.c_str());
    EXPECT_EQ(capacity, A::Capacity(mbs));
    WString wide(length, 'x');
    CKZString w(wide.c_str());
    EXPECT_EQ(capacity, A::Capacity(w));
  }
}

// A counted constructor sizes the block by its count, not by the text's own
// length: a text shorter than the count still needs room for the count.
TEST(StringBlock, CountedConstructorCapacityFollowsTheCount) {
  if (!kztest::DefaultBlockSize()) GTEST_SKIP();
  const std::string longText(100, 'x');
  struct Row {
    const char* name;
    const char* text;
    ULONG count;
    std::uint32_t capacity;
  } rows[] = {{"short text, count at R", "ab", 64, 128},
              {"short text, count above R", "ab", 70, 134},
              {"long text, small count", longText.c_str(), 3, 64}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString mbs(row.text, row.count);
    EXPECT_EQ(row.capacity, A::Capacity(mbs));
    const WString wide = Widen(row.text);
    CKZString w(wide.c_str(), row.count);
    EXPECT_EQ(row.capacity, A::Capacity(w));
  }
}

// The two length fields: in a single-byte locale whoever sets a length sets
// both; in a multibyte locale the field of the missing form is 0. Building
// the missing form stops at the first zero and sets only its own field.
// Catches a field left unset in one locale, a copy that does not pad with
// zeros up to the count, and a conversion that counts past a zero or
// overwrites the other field.
TEST(StringBlock, LengthFieldsFollowTheLocale) {
  const ULONG kWhole = 0xFFFFFFFFu;
  struct Row {
    const char* name;
    bool wide;  // made from wide text
    const char* text;
    ULONG count;          // kWhole: the uncounted constructor
    std::uint32_t given;  // field of the form made
    std::uint32_t other;  // the other field, single-byte locale
    std::uint32_t built;  // the other field once its form is built
  } rows[] = {
      {"multibyte text", false, "abc", kWhole, 3, 3, 3},
      {"wide text", true, "abc", kWhole, 3, 3, 3},
      {"multibyte, count below text", false, "hello", 3, 3, 3, 3},
      {"wide, count below text", true, "hello", 3, 3, 3, 3},
      {"multibyte padded to count", false, "ab", 5, 5, 5, 2},
      {"wide padded to count", true, "ab", 5, 5, 5, 2},
      {"multibyte, count 0", false, "abc", 0, 0, 0, 0},
      {"wide empty", true, "", kWhole, 0, 0, 0},
  };
  const bool multibyte = kztest::MultibyteLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const WString wideText = Widen(row.text);
    CKZString s;
    if (row.wide) {
      s = row.count == kWhole ? CKZString(wideText.c_str())
                              : CKZString(wideText.c_str(), row.count);
    } else {
      s = row.count == kWhole ? CKZString(row.text)
                              : CKZString(row.text, row.count);
    }
    const std::size_t copied = std::min<std::size_t>(
        std::strlen(row.text), row.count == kWhole ? ~0u : row.count);
    const std::uint32_t other = multibyte ? 0 : row.other;
    ASSERT_FALSE(A::IsNull(s));
    EXPECT_EQ(row.wide, A::HasWide(s));
    EXPECT_EQ(!row.wide, A::HasMbs(s));
    if (row.wide) {
      EXPECT_EQ(row.given, A::WideLength(s));
      EXPECT_EQ(other, A::MbsLength(s));
      // The text, then zeros up to the length, then the terminator.
      const WCHAR* buffer = A::WideBuffer(s);
      for (std::uint32_t i = 0; i <= row.given; ++i) {
        EXPECT_EQ(i < copied ? static_cast<WCHAR>(row.text[i]) : 0, buffer[i])
            << "unit " << i;
      }
      EXPECT_EQ(std::string(row.text, copied), M(s));
      EXPECT_EQ(row.built, A::MbsLength(s));
      EXPECT_EQ(row.given, A::WideLength(s));
    } else {
      EXPECT_EQ(row.given, A::MbsLength(s));
      EXPECT_EQ(other, A::WideLength(s));
      const char* buffer = A::MbsBuffer(s);
      for (std::uint32_t i = 0; i <= row.given; ++i) {
        EXPECT_EQ(i < copied ? row.text[i] : 0, buffer[i]) << "byte " << i;
      }
      EXPECT_EQ(Widen(row.text).substr(0, copied),
                WString(static_cast<const WCHAR*>(s)));
      EXPECT_EQ(row.built, A::WideLength(s));
      EXPECT_EQ(row.given, A::MbsLength(s));
    }
  }
}

// In the multibyte locale a text of 3 characters takes more bytes: each form
// is built from the other with its own length, the source's length stays,
// and the capacity does not move. A second conversion returns the same
// buffer, so the form is built once. Catches a length taken from the wrong
// field and a form rebuilt (and leaked) on every read.
TEST(StringBlock, SampleBuildsEachFormOnceInTheMultibyteLocale) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "multibyte locale only";
  const kztest::MultibyteSample sample = kztest::Sample();

  CKZString fromBytes(sample.bytes);
  const std::uint32_t capacity = A::Capacity(fromBytes);
  EXPECT_EQ(sample.byteLength, A::MbsLength(fromBytes));
  EXPECT_EQ(0u, A::WideLength(fromBytes));
  const WCHAR* wide = fromBytes;
  EXPECT_EQ(W(sample.wide), W(wide));
  EXPECT_EQ(3u, A::WideLength(fromBytes));
  EXPECT_EQ(sample.byteLength, A::MbsLength(fromBytes));
  EXPECT_EQ(capacity, A::Capacity(fromBytes));
  EXPECT_EQ(wide, static_cast<const WCHAR*>(fromBytes));

  CKZString fromWide(sample.wide);
  EXPECT_EQ(0u, A::MbsLength(fromWide));
  const char* bytes = fromWide;
  EXPECT_EQ(std::string(sample.bytes), M(bytes));
  EXPECT_EQ(sample.byteLength, A::MbsLength(fromWide));
  EXPECT_EQ(3u, A::WideLength(fromWide));
  EXPECT_EQ(bytes, static_cast<const char*>(fromWide));
}

// The C locale maps each byte to the unit of the same value and back, on
// Windows as here, where the C library refuses bytes from 0x80 up: none may
// be lost either way.
TEST(StringBlock, SingleByteLocaleMapsEachByteToOneUnit) {
  if (kztest::MultibyteLocale()) GTEST_SKIP() << "single-byte locale only";
  const char bytes[] = "\x80\x93\xe6\xfa\xff";
  CKZString s(bytes);
  const WCHAR* wide = s;
  ASSERT_EQ(5u, WideLen(wide));
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(static_cast<unsigned char>(bytes[i]), wide[i]) << "unit " << i;
  }
  EXPECT_EQ(5u, A::WideLength(s));

  static const WCHAR kUnits[] = {0x80, 0x93, 0xE6, 0xFA, 0xFF, 0};
  CKZString w(kUnits);
  EXPECT_EQ(std::string(bytes), M(w));
  EXPECT_EQ(5u, A::MbsLength(w));
}

// In a multibyte locale the field of a dropped form means nothing: a length
// query must build the form again rather than read the old number. Text
// padded to a count makes the old number differ from the new one. Catches
// a length that trusts a field whose form is gone.
TEST(StringBlock, FieldOfADroppedFormIsNotRead) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "multibyte locale only";
  {
    SCOPED_TRACE("multibyte form dropped");
    CKZString s("ab", 5);
    EXPECT_EQ(u"ab", W(s));
    std::free(A::TakeMbs(s));
    EXPECT_EQ(5u, A::MbsLength(s));
    EXPECT_EQ(2u, s.MbsLength());
    EXPECT_TRUE(A::HasMbs(s));
  }
  {
    SCOPED_TRACE("wide form dropped");
    CKZString s(OLESTR("ab"), 5);
    EXPECT_EQ("ab", M(s));
    std::free(A::TakeWide(s));
    EXPECT_EQ(5u, A::WideLength(s));
    EXPECT_EQ(2u, s.Length());
    EXPECT_TRUE(A::HasWide(s));
  }
}

// Text that the locale cannot convert (bytes that start no valid sequence,
// a sequence cut by the end, a lone surrogate, a unit above 0xFF in the C
// locale) still gives a present, zero-terminated form whose length field
// matches it and stays within the room the block made. How it is rendered
// is the platform's matter, but it is rendered, not dropped. Catches a
// conversion result of -1 taken as a length, a form left without
// terminator, and a failed conversion that leaves an empty form.
TEST(StringBlock, UnconvertibleTextGivesATerminatedFormOfMatchingLength) {
  struct Row {
    const char* name;
    const char* bytes;   // multibyte source, or
    const WCHAR* units;  // wide source
  };
  static const WCHAR kLoneHigh[] = {0xD800, 'a', 0};
  static const WCHAR kLoneLow[] = {'a', 0xDC00, 0};
  static const WCHAR kHighAtEnd[] = {'a', 0xDBFF, 0};
  static const WCHAR kAboveFF[] = {0x100, 'b', 0x20AC, 0};
  const Row rows[] = {
      {"trail byte alone / lead byte cut", "a\x93", nullptr},
      {"lead byte alone", "\xe6", nullptr},
      {"cut sequence", "\xe6\x97", nullptr},
      {"overlong form", "\xc0\xaf", nullptr},
      {"bytes 0x80 and 0xFF", "\x80\xff", nullptr},
      {"lone high surrogate", nullptr, kLoneHigh},
      {"lone low surrogate", nullptr, kLoneLow},
      {"high surrogate at the end", nullptr, kHighAtEnd},
      {"units above 0xFF", nullptr, kAboveFF},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    if (row.bytes != nullptr) {
      CKZString s(row.bytes);
      const WCHAR* wide = s;
      ASSERT_NE(nullptr, wide);
      EXPECT_EQ(WideLen(wide), A::WideLength(s));
      EXPECT_NE(0u, A::WideLength(s));
      EXPECT_LE(A::WideLength(s), A::MbsLength(s));
      EXPECT_EQ(A::WideLength(s), s.Length());
      EXPECT_EQ(std::string(row.bytes), M(A::MbsBuffer(s)));
      if (!kztest::MultibyteLocale()) {
        for (std::size_t i = 0; row.bytes[i] != 0; ++i) {
          EXPECT_EQ(static_cast<unsigned char>(row.bytes[i]), wide[i]);
        }
      }
    } else {
      CKZString s(row.units);
      const char* mbs = s;
      ASSERT_NE(nullptr, mbs);
      EXPECT_EQ(std::strlen(mbs), A::MbsLength(s));
      EXPECT_NE(0u, A::MbsLength(s));
      EXPECT_LE(A::MbsLength(s), A::WideLength(s) * MB_CUR_MAX);
      EXPECT_EQ(A::MbsLength(s), s.MbsLength());
      EXPECT_EQ(W(row.units), W(A::WideBuffer(s)));
    }
  }
}

// Length, MbsLength and IsEmpty build the missing form in a multibyte
// locale only, in the shared block, so that every sharer sees it; in a
// single-byte locale they read the field and build nothing. Catches a
// length that converts in the single-byte locale, one that returns the
// byte count as units in the multibyte locale, and a form built into a
// private copy.
TEST(StringBlock, LengthQueriesBuildFormsOnlyInTheMultibyteLocale) {
  const kztest::MultibyteSample sample = kztest::Sample();
  const bool multibyte = kztest::MultibyteLocale();
  enum Builds { kNothing, kWide, kMbs };
  struct Row {
    const char* name;
    bool fromWide;
    ULONG (*query)(const CKZString&);
    ULONG singleByte;  // result in the single-byte locale
    ULONG multiByte;   // result in the multibyte locale
    Builds builds;     // what the multibyte locale builds
  } rows[] = {
      {"Length of multibyte text", false,
       [](const CKZString& s) { return s.Length(); }, sample.byteLength, 3,
       kWide},
      {"IsEmpty of multibyte text", false,
       [](const CKZString& s) { return ULONG{s.IsEmpty()}; }, 0, 0, kWide},
      {"MbsLength of wide text", true,
       [](const CKZString& s) { return s.MbsLength(); }, 3, sample.byteLength,
       kMbs},
      {"Length of wide text", true,
       [](const CKZString& s) { return s.Length(); }, 3, 3, kNothing},
      {"MbsLength of multibyte text", false,
       [](const CKZString& s) { return s.MbsLength(); }, sample.byteLength,
       sample.byteLength, kNothing},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const CKZString a =
        row.fromWide ? CKZString(sample.wide) : CKZString(sample.bytes);
    const CKZString b = a;
    EXPECT_EQ(multibyte ? row.multiByte : row.singleByte, row.query(b));
    const Builds built = multibyte ? row.builds : kNothing;
    for (const CKZString* s : {&a, &b}) {
      EXPECT_EQ(row.fromWide || built == kWide, A::HasWide(*s));
      EXPECT_EQ(!row.fromWide || built == kMbs, A::HasMbs(*s));
    }
    EXPECT_EQ(2u, A::RefCount(a));
  }
}

// Release with a count of 2 drops one reference only: the other sharer
// keeps the block, its buffers and its text, and nothing is freed until the
// last sharer goes, when every buffer is freed once. Catches a Release that
// frees on any count, and one that leaves the caller's pointer set.
TEST(StringBlock, ReleaseOfOneSharerLeavesTheBlockIntact) {
  FreeCounts frees;
  {
    CKZString a(OLESTR("shared"));
    const char* mbs = a;  // both forms: two buffers to free at the end
    const WCHAR* wide = a;
    {
      CKZString b = a;
      EXPECT_EQ(2u, A::RefCount(a));
    }
    EXPECT_EQ(1u, A::RefCount(a));
    CKZString c = a;
    c.Empty();
    EXPECT_TRUE(A::IsNull(c));
    EXPECT_EQ(1u, A::RefCount(a));
    EXPECT_EQ(wide, A::WideBuffer(a));
    EXPECT_EQ(mbs, A::MbsBuffer(a));
    EXPECT_EQ(u"shared", W(wide));
    EXPECT_EQ("shared", M(mbs));
    EXPECT_EQ(0u, frees.Crt());
  }
  EXPECT_EQ(2u, frees.Crt());
}

// Each Attach operation takes the caller's buffer as it is (no copy, no
// spare room) and records its allocator; the form the block builds beside it
// is always malloc's. At the end each buffer goes back to its own allocator.
// Catches a swapped kind (an OLE buffer given to free, a BSTR to
// CoTaskMemFree), a copied buffer, and a capacity larger than the buffer.
TEST(StringBlock, AttachRecordsTheAllocatorOfEachBuffer) {
  const int kCrt = CKZStringBlock::AllocCRT, kOle = CKZStringBlock::AllocOLE,
            kBstr = CKZStringBlock::AllocBSTR;
  struct Row {
    const char* name;
    AttachOp op;
    int wideKind;
    int mbsKind;
  } rows[] = {
      {"Attach_CRT multibyte", AttachOp::kCrtMbs, kCrt, kCrt},
      {"Attach_CRT wide", AttachOp::kCrtWide, kCrt, kCrt},
      {"Attach_OLE multibyte", AttachOp::kOleMbs, kCrt, kOle},
      {"Attach_OLE wide", AttachOp::kOleWide, kOle, kCrt},
      {"Attach_BSTR", AttachOp::kBstr, kBstr, kCrt},
  };
  const bool multibyte = kztest::MultibyteLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const bool wide = kztest::AttachesWide(row.op);
    FreeCounts frees;
    {
      CKZString s;
      const void* buffer = kztest::AttachNew(s, row.op, "abcd", OLESTR("abcd"));
      EXPECT_EQ(1u, A::RefCount(s));
      EXPECT_EQ(4u, A::Capacity(s));
      EXPECT_EQ(KindName(row.wideKind), KindName(A::WideKind(s)));
      EXPECT_EQ(KindName(row.mbsKind), KindName(A::MbsKind(s)));
      if (wide) {
        EXPECT_EQ(buffer, A::WideBuffer(s));
        EXPECT_FALSE(A::HasMbs(s));
        EXPECT_EQ(4u, A::WideLength(s));
        EXPECT_EQ(multibyte ? 0u : 4u, A::MbsLength(s));
        EXPECT_EQ("abcd", M(s));
      } else {
        EXPECT_EQ(buffer, A::MbsBuffer(s));
        EXPECT_FALSE(A::HasWide(s));
        EXPECT_EQ(4u, A::MbsLength(s));
        EXPECT_EQ(multibyte ? 0u : 4u, A::WideLength(s));
        EXPECT_EQ(u"abcd", W(s));
      }
      EXPECT_EQ(KindName(row.wideKind), KindName(A::WideKind(s)));
      EXPECT_EQ(KindName(row.mbsKind), KindName(A::MbsKind(s)));
      EXPECT_EQ(0u, frees.Crt() + frees.Ole() + frees.Bstr());
    }
    const int kinds[] = {row.wideKind, row.mbsKind};
    unsigned long crt = 0, ole = 0, bstr = 0;
    for (int kind : kinds) {
      crt += kind == kCrt;
      ole += kind == kOle;
      bstr += kind == kBstr;
    }
    EXPECT_EQ(crt, frees.Crt());
    EXPECT_EQ(ole, frees.Ole());
    EXPECT_EQ(bstr, frees.Bstr());
  }
}

// A form that was taken over, dropped (as unsharing drops a form) and built
// again belongs to malloc, whatever allocator made the form it replaces.
// Catches a rebuilt form that keeps the old kind and so goes to
// SysFreeString or CoTaskMemFree.
TEST(StringBlock, RebuiltFormIsFreedWithFree) {
  struct Row {
    const char* name;
    AttachOp op;
  } rows[] = {{"BSTR", AttachOp::kBstr},
              {"OLE wide", AttachOp::kOleWide},
              {"OLE multibyte", AttachOp::kOleMbs}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    FreeCounts frees;
    {
      CKZString s;
      kztest::AttachNew(s, row.op, "text", OLESTR("text"));
      if (kztest::AttachesWide(row.op)) {
        EXPECT_EQ("text", M(s));
        WCHAR* dropped = A::TakeWide(s);
        if (row.op == AttachOp::kBstr) {
          SysFreeString(reinterpret_cast<BSTR>(dropped));
        } else {
          CoTaskMemFree(dropped);
        }
        EXPECT_EQ(u"text", W(s));
        EXPECT_EQ(CKZStringBlock::AllocCRT, A::WideKind(s));
      } else {
        EXPECT_EQ(u"text", W(s));
        CoTaskMemFree(A::TakeMbs(s));
        EXPECT_EQ("text", M(s));
        EXPECT_EQ(CKZStringBlock::AllocCRT, A::MbsKind(s));
      }
    }
    EXPECT_EQ(2u, frees.Crt());
    EXPECT_EQ(0u, frees.Ole());
    EXPECT_EQ(0u, frees.Bstr());
  }
}

// Attach_BSTR measures up to the first zero unit, not by the BSTR's length
// prefix, and still frees the whole BSTR with SysFreeString. Catches a
// length read from the prefix, and a BSTR freed as a plain buffer (its
// allocation starts before the text).
TEST(StringBlock, AttachBstrEndsAtTheFirstZero) {
  static const OLECHAR kText[] = {'a', 'b', 0, 'c', 'd'};
  FreeCounts frees;
  {
    BSTR bstr = SysAllocStringLen(kText, 5);
    ASSERT_NE(nullptr, bstr);
    CKZString s;
    s.Attach_BSTR(bstr);
    EXPECT_EQ(2u, s.Length());
    EXPECT_EQ(2u, A::Capacity(s));
    EXPECT_EQ(2u, s.MbsLength());
    EXPECT_EQ("ab", M(s));
    EXPECT_EQ(5u, SysStringLen(bstr));
  }
  EXPECT_EQ(1u, frees.Bstr());
  EXPECT_EQ(1u, frees.Crt());  // the multibyte form
}

// Wide text of N units can need N x MB_CUR_MAX bytes: the multibyte buffer
// is sized by that limit, not by the capacity, also for a taken-over buffer
// whose capacity is N, and for a created block of 100 units (capacity 164).
// AddressSanitizer shows an overflow here. Catches a multibyte buffer of
// capacity + 1 bytes.
TEST(StringBlock, MultibyteFormMayExceedTheCapacity) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "multibyte locale only";
  const kztest::MultibyteSample sample = kztest::Sample();
  struct Row {
    const char* name;
    AttachOp op;
    bool attach;
    int repeat;
  } rows[] = {{"Attach_CRT", AttachOp::kCrtWide, true, 1},
              {"Attach_OLE", AttachOp::kOleWide, true, 1},
              {"Attach_BSTR", AttachOp::kBstr, true, 1},
              {"created, 100 characters", AttachOp::kCrtWide, false, 100}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    WString wide;
    std::string bytes;
    for (int i = 0; i < row.repeat; ++i) {
      wide += row.attach ? WString(sample.wide) : WString(sample.wide, 1);
      bytes += row.attach ? std::string(sample.bytes)
                          : std::string(sample.bytes, sample.byteLength / 3);
    }
    CKZString s;
    if (row.attach) {
      kztest::AttachNew(s, row.op, nullptr, wide.c_str());
      EXPECT_EQ(wide.size(), A::Capacity(s));
    } else {
      s = wide.c_str();
    }
    EXPECT_EQ(bytes, M(s));
    EXPECT_EQ(bytes.size(), A::MbsLength(s));
    EXPECT_EQ(wide.size(), A::WideLength(s));
  }
}
