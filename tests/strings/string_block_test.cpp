// The block: capacity rule, initial size, forms and lengths, allocators.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::AttachOp;
using kztest::M;
using kztest::W;
using kztest::WideLen;
using kztest::Widen;
using kztest::WString;

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

// KZ_INITIAL_STRING_BLOCK_SIZE is read once per process: CTest runs this test
// once per value, with the capacity an empty string must get. Catches a
// misread value (sign, trailing letters, overflow), a capacity rule that
// ignores the configured size at its boundary L == R, and a block of
// capacity 0 without room for the terminator of either form.
TEST(PerProcessBlockSize, InitialCapacity) {
  std::uint32_t r = 0;
  ASSERT_TRUE(kztest::ExpectedBlockSize(&r));
  CKZString emptyWide(OLESTR(""));
  CKZString emptyMbs("");
  EXPECT_EQ(r, A::Capacity(emptyWide));
  EXPECT_EQ(r, A::Capacity(emptyMbs));
  EXPECT_EQ("", M(emptyWide));
  EXPECT_EQ(u"", W(emptyMbs));
  EXPECT_EQ(r > 3 ? r : r + 3, A::Capacity(CKZString("abc")));
  if (r > 4096) return;  // the rows below make texts of about R characters
  for (std::uint32_t length : {1u, r == 0 ? 0 : r - 1, r, r + 1}) {
    SCOPED_TRACE(length);
    const std::uint32_t capacity = length < r ? r : r + length;
    EXPECT_EQ(capacity, A::Capacity(CKZString(std::string(length, 'x').c_str())));
    EXPECT_EQ(capacity, A::Capacity(CKZString(WString(length, 'x').c_str())));
  }
}

// Each constructor, wide and multibyte, sets the two length fields: in a
// single-byte locale both, in a multibyte locale the missing form's is 0;
// building that form stops at the first zero and sets only its own field.
// A counted constructor copies up to the count, pads with zeros and sizes
// the block by the count. Catches a field left unset in one locale, a copy
// that does not pad, a conversion that counts past a zero or overwrites the
// other field, and a block sized by the text instead of the count.
TEST(StringBlock, ConstructorsSetLengthsAndCapacity) {
  ASSERT_TRUE(kztest::DefaultBlockSize());
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
      {"empty", "", kWhole, 0, 0, 64},
      {"count below text", "hello", 3, 3, 3, 64},
      {"padded to count", "ab", 5, 5, 2, 64},
      {"count 0", "abc", 0, 0, 0, 64},
      {"short text, count at R", "ab", 64, 64, 2, 128},
      {"short text, count above R", "ab", 70, 70, 2, 134},
      {"long text, small count", longText.c_str(), 3, 3, 3, 64},
  };
  const bool multibyte = kztest::MultibyteLocale();
  for (const Row& row : rows) {
    for (bool wide : {true, false}) {
      SCOPED_TRACE(std::string(row.name) + (wide ? ", wide" : ", multibyte"));
      const WString wideText = Widen(row.text);
      const bool whole = row.count == kWhole;
      CKZString s = wide ? (whole ? CKZString(wideText.c_str())
                                  : CKZString(wideText.c_str(), row.count))
                         : (whole ? CKZString(row.text)
                                  : CKZString(row.text, row.count));
      const std::size_t copied = std::min<std::size_t>(
          std::strlen(row.text), whole ? ~0u : row.count);
      const std::uint32_t other = multibyte ? 0 : row.given;
      EXPECT_EQ(row.capacity, A::Capacity(s));
      EXPECT_EQ(wide ? kztest::kWideOnly : kztest::kMbsOnly, kztest::FormsOf(s));
      EXPECT_EQ(row.given, wide ? A::WideLength(s) : A::MbsLength(s));
      EXPECT_EQ(other, wide ? A::MbsLength(s) : A::WideLength(s));
      // The text, then zeros up to the length, then the terminator.
      for (std::uint32_t i = 0; i <= row.given; ++i) {
        const unsigned expected =
            i < copied ? static_cast<unsigned char>(row.text[i]) : 0;
        EXPECT_EQ(expected, wide ? A::WideBuffer(s)[i]
                                 : static_cast<unsigned char>(
                                       A::MbsBuffer(s)[i]))
            << "unit " << i;
      }
      if (wide) {
        EXPECT_EQ(std::string(row.text, copied), M(s));
      } else {
        EXPECT_EQ(wideText.substr(0, copied), WString(static_cast<const WCHAR*>(s)));
      }
      EXPECT_EQ(row.built, wide ? A::MbsLength(s) : A::WideLength(s));
      EXPECT_EQ(row.given, wide ? A::WideLength(s) : A::MbsLength(s));
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

// In a multibyte locale the field of a dropped form means nothing: a length
// query must build the form again rather than read the old number, which
// text padded to a count makes differ from the new one.
TEST(StringBlock, FieldOfADroppedFormIsNotRead) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "multibyte locale only";
  CKZString mbs("ab", 5);
  EXPECT_EQ(u"ab", W(mbs));
  std::free(A::TakeMbs(mbs));
  EXPECT_EQ(2u, mbs.MbsLength());
  EXPECT_TRUE(A::HasMbs(mbs));

  CKZString wide(OLESTR("ab"), 5);
  EXPECT_EQ("ab", M(wide));
  std::free(A::TakeWide(wide));
  EXPECT_EQ(2u, wide.Length());
  EXPECT_TRUE(A::HasWide(wide));
}

// Text that the locale cannot convert (bytes that start no valid sequence,
// a cut sequence, a lone surrogate, a unit above 0xFF in the C locale) still
// gives a present, zero-terminated form whose length field matches it and
// stays within the room the block made; how it is rendered is the
// platform's matter. The C locale maps each byte to the unit of the same
// value and back, on Windows as here, where the C library refuses bytes from
// 0x80 up. Catches a conversion result of -1 taken as a length, a form left
// without terminator, a failed conversion that leaves an empty form, and a
// byte lost in the C locale.
TEST(StringBlock, EveryTextConvertsToATerminatedFormOfMatchingLength) {
  struct Row {
    const char* name;
    const char* bytes;  // multibyte source, or
    WString units;      // wide source
  } rows[] = {
      {"trail byte alone / lead byte cut", "a\x93", {}},
      {"lead byte alone", "\xe6", {}},
      {"cut sequence", "\xe6\x97", {}},
      {"overlong form", "\xc0\xaf", {}},
      {"bytes 0x80 to 0xFF", "\x80\x93\xe6\xfa\xff", {}},
      {"lone high surrogate", nullptr, kztest::Units({0xD800, 'a'})},
      {"lone low surrogate", nullptr, kztest::Units({'a', 0xDC00})},
      {"high surrogate at the end", nullptr, kztest::Units({'a', 0xDBFF})},
      {"units above 0xFF", nullptr, kztest::Units({0x100, 'b', 0x20AC})},
      {"units 0x80 to 0xFF", nullptr,
       kztest::Units({0x80, 0x93, 0xE6, 0xFA, 0xFF})},
  };
  const bool singleByte = !kztest::MultibyteLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    if (row.bytes != nullptr) {
      CKZString s(row.bytes);
      const WCHAR* wide = s;
      ASSERT_NE(nullptr, wide);
      EXPECT_EQ(WideLen(wide), s.Length());
      EXPECT_NE(0u, A::WideLength(s));
      EXPECT_LE(A::WideLength(s), A::MbsLength(s));
      EXPECT_EQ(std::string(row.bytes), M(A::MbsBuffer(s)));
      for (std::size_t i = 0; singleByte && row.bytes[i] != 0; ++i) {
        EXPECT_EQ(static_cast<unsigned char>(row.bytes[i]), wide[i]);
      }
    } else {
      CKZString s(row.units.c_str());
      const char* mbs = s;
      ASSERT_NE(nullptr, mbs);
      EXPECT_EQ(std::strlen(mbs), s.MbsLength());
      EXPECT_NE(0u, A::MbsLength(s));
      EXPECT_LE(A::MbsLength(s), A::WideLength(s) * MB_CUR_MAX);
      EXPECT_EQ(W(row.units.c_str()), W(A::WideBuffer(s)));
      if (singleByte && *std::max_element(row.units.begin(),
                                          row.units.end()) <= 0xFF) {
        ASSERT_EQ(row.units.size(), std::strlen(mbs));
        for (std::size_t i = 0; i < row.units.size(); ++i) {
          EXPECT_EQ(row.units[i], static_cast<unsigned char>(mbs[i]));
        }
      }
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

// Each Attach operation takes the caller's buffer as it is (no copy, no
// spare room) and records its allocator; the form the block builds beside it
// is malloc's, and so is the taken-over form once it was dropped (as
// unsharing drops a form) and built again. At the end each buffer goes back
// to its own allocator. Catches a swapped kind (an OLE buffer given to free,
// a BSTR to CoTaskMemFree), a copied buffer, a capacity larger than the
// buffer, and a rebuilt form that keeps the old kind.
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
    for (bool rebuild : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (rebuild ? ", rebuilt" : ""));
      const bool wide = kztest::AttachesWide(row.op);
      const int attachedKind = wide ? row.wideKind : row.mbsKind;
      kztest::AllocCounts counts;
      {
        CKZString s;
        const void* buffer =
            kztest::AttachNew(s, row.op, "abcd", OLESTR("abcd"));
        EXPECT_EQ(1u, A::RefCount(s));
        EXPECT_EQ(4u, A::Capacity(s));
        EXPECT_EQ(buffer, wide ? static_cast<const void*>(A::WideBuffer(s))
                               : static_cast<const void*>(A::MbsBuffer(s)));
        EXPECT_EQ(wide ? kztest::kWideOnly : kztest::kMbsOnly,
                  kztest::FormsOf(s));
        EXPECT_EQ(4u, wide ? A::WideLength(s) : A::MbsLength(s));
        EXPECT_EQ(multibyte ? 0u : 4u, wide ? A::MbsLength(s) : A::WideLength(s));
        EXPECT_EQ("abcd", M(s));
        EXPECT_EQ(u"abcd", W(s));
        EXPECT_STREQ(KindName(row.wideKind), KindName(A::WideKind(s)));
        EXPECT_STREQ(KindName(row.mbsKind), KindName(A::MbsKind(s)));
        if (rebuild) {
          void* dropped = wide ? static_cast<void*>(A::TakeWide(s))
                               : static_cast<void*>(A::TakeMbs(s));
          if (attachedKind == kBstr) {
            SysFreeString(static_cast<BSTR>(dropped));
          } else if (attachedKind == kOle) {
            CoTaskMemFree(dropped);
          } else {
            std::free(dropped);
          }
          EXPECT_EQ("abcd", M(s));
          EXPECT_EQ(u"abcd", W(s));
          EXPECT_STREQ("CRT", KindName(wide ? A::WideKind(s) : A::MbsKind(s)));
        }
        EXPECT_EQ(0u, counts.Crt() + counts.Ole() + counts.Bstr());
      }
      unsigned long crt = 0, ole = 0, bstr = 0;
      for (int kind : {rebuild ? kCrt : row.wideKind,
                       rebuild ? kCrt : row.mbsKind}) {
        crt += kind == kCrt;
        ole += kind == kOle;
        bstr += kind == kBstr;
      }
      EXPECT_EQ(crt, counts.Crt());
      EXPECT_EQ(ole, counts.Ole());
      EXPECT_EQ(bstr, counts.Bstr());
    }
  }
}

// Attach_BSTR measures up to the first zero unit, not by the BSTR's length
// prefix, and still frees the whole BSTR with SysFreeString. Catches a
// length read from the prefix, and a BSTR freed as a plain buffer (its
// allocation starts before the text).
TEST(StringBlock, AttachBstrEndsAtTheFirstZero) {
  static const OLECHAR kText[] = {'a', 'b', 0, 'c', 'd'};
  kztest::AllocCounts counts;
  {
    CKZString s;
    s.Attach_BSTR(SysAllocStringLen(kText, 5));
    EXPECT_EQ(2u, s.Length());
    EXPECT_EQ(2u, A::Capacity(s));
    EXPECT_EQ(2u, s.MbsLength());
    EXPECT_EQ("ab", M(s));
  }
  EXPECT_EQ(1u, counts.Bstr());
  EXPECT_EQ(1u, counts.Crt());  // the multibyte form
}

// Wide text of N units can need N x MB_CUR_MAX bytes: the multibyte buffer
// is sized by that limit, not by the capacity, also for a taken-over buffer
// whose capacity is N, and for a created block of 100 units (capacity 164).
// AddressSanitizer shows an overflow here. Catches a multibyte buffer of
// capacity + 1 bytes.
TEST(StringBlock, MultibyteFormMayExceedTheCapacity) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "multibyte locale only";
  const kztest::MultibyteSample sample = kztest::Sample();
  WString hundred;
  std::string hundredBytes;
  for (int i = 0; i < 100; ++i) {
    hundred += sample.wide[0];
    hundredBytes.append(sample.bytes, sample.byteLength / 3);
  }
  for (AttachOp op : {AttachOp::kCrtWide, AttachOp::kOleWide, AttachOp::kBstr}) {
    SCOPED_TRACE(static_cast<int>(op));
    CKZString s;
    kztest::AttachNew(s, op, nullptr, sample.wide);
    EXPECT_EQ(3u, A::Capacity(s));
    EXPECT_EQ(std::string(sample.bytes), M(s));
    EXPECT_EQ(sample.byteLength, A::MbsLength(s));
  }
  CKZString created(hundred.c_str());
  EXPECT_EQ(hundredBytes, M(created));
  EXPECT_EQ(hundredBytes.size(), A::MbsLength(created));
}

}  // namespace
