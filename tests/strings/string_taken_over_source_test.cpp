// Sources in a buffer that the value took over: the buffer is the caller's
// allocation, which may go on past the text's first zero, and it is still the
// value's own when its first growth moves it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using kztest::AttachOp;

// "ab", a zero, "cd", a zero: the allocator's buffer of six units or bytes,
// handed to `s` by the operation; gives the address of "cd".
const void* AttachWithTail(CKZString& s, AttachOp op) {
  static const WCHAR kWide[] = {'a', 'b', 0, 'c', 'd', 0};
  static const char kMbs[] = "ab\0cd";
  switch (op) {
    case AttachOp::kCrtWide:
    case AttachOp::kOleWide: {
      WCHAR* p = static_cast<WCHAR*>(op == AttachOp::kCrtWide
                                         ? std::malloc(sizeof kWide)
                                         : CoTaskMemAlloc(sizeof kWide));
      std::memcpy(p, kWide, sizeof kWide);
      if (op == AttachOp::kCrtWide) {
        s.Attach_CRT(p);
      } else {
        s.Attach_OLE(p);
      }
      return p + 3;
    }
    case AttachOp::kCrtMbs:
    case AttachOp::kOleMbs: {
      char* p = static_cast<char*>(op == AttachOp::kCrtMbs
                                       ? std::malloc(sizeof kMbs)
                                       : CoTaskMemAlloc(sizeof kMbs));
      std::memcpy(p, kMbs, sizeof kMbs);
      if (op == AttachOp::kCrtMbs) {
        s.Attach_CRT(p);
      } else {
        s.Attach_OLE(p);
      }
      return p + 3;
    }
    case AttachOp::kBstr: {
      BSTR p = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(kWide), 5);
      s.Attach_BSTR(p);
      return p + 3;
    }
  }
  return nullptr;
}

// Fault: a source behind a zero inside a taken-over buffer lies beyond what
// the value counts as its own (its length and capacity end at the zero), so
// the append or insert grows the buffer, which moves it, and then reads the
// source from freed memory (the asan preset reports it), in every allocator
// that Attach names.
TEST(StringTakenOverSource, TextBehindAZeroInsideTheBuffer) {
  const AttachOp ops[] = {AttachOp::kCrtWide, AttachOp::kCrtMbs,
                          AttachOp::kOleWide, AttachOp::kOleMbs,
                          AttachOp::kBstr};
  const char* names[] = {"CRT wide", "CRT mbs", "OLE wide", "OLE mbs", "BSTR"};
  for (int i = 0; i < 5; ++i) {
    for (bool insert : {false, true}) {
      SCOPED_TRACE(std::string(names[i]) + (insert ? ", Insert" : ", +="));
      const bool wide = kztest::AttachesWide(ops[i]);
      CKZString s;
      const void* tail = AttachWithTail(s, ops[i]);
      ASSERT_EQ(2u, s.Length());
      if (insert && wide) {
        EXPECT_EQ(4u, s.Insert(0, static_cast<const WCHAR*>(tail)));
      } else if (insert) {
        EXPECT_EQ(4u, s.Insert(0, static_cast<const char*>(tail)));
      } else if (wide) {
        s += static_cast<const WCHAR*>(tail);
      } else {
        s += static_cast<const char*>(tail);
      }
      EXPECT_EQ(insert ? u"cdab" : u"abcd", kztest::W(s));
    }
  }
}

}  // namespace
