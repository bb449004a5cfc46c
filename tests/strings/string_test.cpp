// CKZString lifetime and access: null versus empty, sharing, conversions.
#include <gtest/gtest.h>

#include "strings/internal/test_access.h"
#include "test_support.h"

using A = CKZStringTestAccess;
using kztest::M;
using kztest::W;

// A copy must share the block, not copy text: one block, count 2, and an
// edit of the copy leaves the original alone.
TEST(StringLifetime, CopySharesTheBlock) {
  CKZString a(OLESTR("hello"));
  CKZString b = a;
  EXPECT_EQ(A::Block(a), A::Block(b));
  EXPECT_EQ(2u, A::RefCount(a));
  b = CKZString("other");
  EXPECT_EQ(1u, A::RefCount(a));
  EXPECT_EQ(u"hello", W(a));
}
