// The task allocator, BSTRs, GUID text and the critical section as Wine
// runs them; ASan checks that a freed block is gone and nothing leaks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"

#include "test_support.h"

namespace {

const GUID kSample = {
    0x01234567, 0x89AB, 0xCDEF, {1, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}};
const GUID kAllOnes = {
    0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}};
const GUID kPadded = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

// Faults: a realloc to 0 that returns a block, a null block not allocated
// (also at size 0), growth that loses the contents.
TEST(TaskMemory, ReallocEdges) {
  void* block = CoTaskMemAlloc(16);
  ASSERT_NE(nullptr, block);
  std::memset(block, 'x', 16);
  EXPECT_EQ(nullptr, CoTaskMemRealloc(block, 0));
  void* empty = CoTaskMemRealloc(nullptr, 0);
  void* alloc0 = CoTaskMemAlloc(0);
  EXPECT_NE(nullptr, empty);
  EXPECT_NE(nullptr, alloc0);
  EXPECT_NE(empty, alloc0);
  CoTaskMemFree(alloc0);
  CoTaskMemFree(empty);
  CoTaskMemFree(nullptr);
  char* text = static_cast<char*>(CoTaskMemRealloc(nullptr, 4));
  ASSERT_NE(nullptr, text);
  std::memcpy(text, "abc", 4);
  char* grown = static_cast<char*>(CoTaskMemRealloc(text, 4000));
  ASSERT_NE(nullptr, grown);
  EXPECT_STREQ("abc", grown);
  CoTaskMemFree(grown);
}

std::u16string Units(BSTR bstr) {
  return std::u16string(bstr, bstr + SysStringLen(bstr) + 1);
}

// SysReAllocStringLen on "abcdef": its own text (as the string block grows a
// taken-over BSTR) survives; a source inside it is read before the old buffer
// goes and not past its end (ASan); a length too large changes nothing. A new
// BSTR's prefix, not its first zero, gives the length; null text still gives
// a terminated BSTR.
TEST(Bstr, AllocationAndReAlloc) {
  enum Source { kSelf, kNull, kInside, kOther, kIntoNull };
  const struct {
    Source source;
    UINT offset;  // into the old text, for kInside
    UINT length;
    const char16_t* kept;  // the units that must be there afterwards
  } rows[] = {
      {kSelf, 0, 40, u"abcdef"}, {kSelf, 0, 6, u"abcdef"},
      {kSelf, 0, 3, u"abc"},     {kSelf, 0, 0, u""},
      {kNull, 0, 10, u"abcdef"}, {kNull, 0, 2, u"ab"},
      {kInside, 1, 5, u"bcdef"}, {kInside, 2, 3, u"cde"},
      {kInside, 4, 4, u"ef"},    {kOther, 0, 2, u"xy"},
      {kIntoNull, 0, 2, u"xy"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    BSTR bstr =
        row.source == kIntoNull ? nullptr : SysAllocString(OLESTR("abcdef"));
    const OLECHAR* source = row.source == kSelf     ? bstr
                            : row.source == kNull   ? nullptr
                            : row.source == kInside ? bstr + row.offset
                                                    : OLESTR("xy");
    ASSERT_TRUE(SysReAllocStringLen(&bstr, source, row.length));
    ASSERT_NE(nullptr, bstr);
    EXPECT_EQ(row.length, SysStringLen(bstr));
    const std::u16string kept(row.kept);
    EXPECT_EQ(kept, Units(bstr).substr(0, kept.size()));
    EXPECT_EQ(0, bstr[row.length]) << "terminator at the new length";
    SysFreeString(bstr);
  }
  BSTR bstr = SysAllocString(OLESTR("abc"));
  const BSTR before = bstr;
  for (UINT length : {0x7FFFFFFCu, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_FALSE(SysReAllocStringLen(&bstr, bstr, length));
    EXPECT_EQ(before, bstr);
    EXPECT_EQ(u"abc", kztest::W(bstr));
    EXPECT_EQ(nullptr, SysAllocStringLen(nullptr, length));
  }
  SysFreeString(bstr);
  static const OLECHAR kZeroInside[] = {'a', 0, 'b'};
  BSTR zeroInside = SysAllocStringLen(kZeroInside, 3);
  BSTR unset = SysAllocStringLen(nullptr, 4);
  ASSERT_TRUE(zeroInside != nullptr && unset != nullptr);
  EXPECT_EQ(std::u16string(u"a\0b\0", 4), Units(zeroInside));
  EXPECT_EQ(4u, SysStringLen(unset));
  EXPECT_EQ(0, unset[4]);
  SysFreeString(zeroInside);
  SysFreeString(unset);
  EXPECT_EQ(nullptr, SysAllocString(nullptr));
  EXPECT_EQ(0u, SysStringLen(nullptr));
  SysFreeString(nullptr);
}

// The text (padded, upper case, no sign extension) and its parse back; 39
// when it fits, else 0 and nothing written. Only a braced GUID in either case
// parses, or null; no ProgID is registered.
TEST(GuidText, FormatAndParse) {
  for (int size : {80, 39, 38, 1, 0}) {
    SCOPED_TRACE(size);
    OLECHAR buffer[80];
    for (OLECHAR& unit : buffer) unit = 0x5A5A;
    const GUID guid = size == 80 ? kAllOnes : kPadded;
    const int result = StringFromGUID2(guid, buffer, size);
    EXPECT_EQ(size >= 39 ? 39 : 0, result);
    EXPECT_EQ(result == 0 ? 0x5A5A : 0, buffer[result == 0 ? 0 : 38]);
    EXPECT_EQ(0x5A5A, buffer[39]) << "nothing past the terminator";
    if (result == 0) continue;
    EXPECT_EQ(size == 80 ? u"{FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF}"
                         : u"{00000001-0002-0003-0405-060708090A0B}",
              kztest::W(buffer));
    GUID parsed = kSample;
    ASSERT_EQ(S_OK, CLSIDFromString(buffer, &parsed));
    EXPECT_TRUE(IsEqualGUID(guid, parsed));
  }
  const struct {
    const char16_t* text;
    HRESULT result;
  } rows[] = {
      {u"{01234567-89AB-CDEF-0123-456789ABCDEF}", S_OK},
      {u"{01234567-89ab-cdef-0123-456789abcdef}", S_OK},
      {nullptr, S_OK},
      {u"", CO_E_CLASSSTRING},
      {u"01234567-89AB-CDEF-0123-456789ABCDEF", CO_E_CLASSSTRING},
      {u"{01234567-89AB-CDEF-0123-456789ABCDEF", CO_E_CLASSSTRING},
      {u"{01234567-89AB-CDEF-0123-456789ABCDE}", CO_E_CLASSSTRING},
      {u"{01234567-89AB-CDEF-0123-456789ABCDEF0}", CO_E_CLASSSTRING},
      {u"{01234567-89AB-CDEF-0123-456789ABCDEF}x", CO_E_CLASSSTRING},
      {u"{0123456G-89AB-CDEF-0123-456789ABCDEF}", CO_E_CLASSSTRING},
      {u"{01234567-89AB-CDEF-0123-456789ABCDEG}", CO_E_CLASSSTRING},
      {u"{01234567+89AB-CDEF-0123-456789ABCDEF}", CO_E_CLASSSTRING},
      {u" {01234567-89AB-CDEF-0123-456789ABCDEF}", CO_E_CLASSSTRING},
      {u"Kz.NoSuchThing", CO_E_CLASSSTRING},  // no such ProgID
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const std::u16string text = row.text != nullptr ? row.text : u"";
    const std::basic_string<OLECHAR> units(text.begin(), text.end());
    GUID guid = kAllOnes;
    EXPECT_EQ(row.result,
              CLSIDFromString(row.text ? units.c_str() : nullptr, &guid));
    // Windows may leave a partial parse behind a failure.
    EXPECT_TRUE(row.result != S_OK ||
                IsEqualGUID(row.text ? kSample : GUID_NULL, guid));
  }
  EXPECT_EQ(E_INVALIDARG,
            CLSIDFromString(OLESTR("{01234567-89AB-CDEF-0123-456789ABCDEF}"),
                            nullptr));
}

// Faults: a lock that isn't recursive deadlocks; one released on the first
// Leave, or not exclusive, loses increments of a plain counter.
TEST(CriticalSection, RecursiveAndExclusive) {
  CRITICAL_SECTION section;
  InitializeCriticalSection(&section);
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        EnterCriticalSection(&section);
        EnterCriticalSection(&section);
        LeaveCriticalSection(&section);
        const long seen = counter;
        if (i % 64 == 0) std::this_thread::yield();
        counter = seen + 1;
        LeaveCriticalSection(&section);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(4 * 20000L, counter);
  DeleteCriticalSection(&section);
}

}  // namespace
