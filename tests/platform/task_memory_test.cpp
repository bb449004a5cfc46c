// The COM task allocator at its edges. ASan checks that a freed block is
// really gone and that nothing leaks.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/platform.h"

namespace {

// Faults: a realloc to 0 that returns the block (or a fresh one) leaks or
// hands out a block the caller believes freed; a null block not allocated,
// also at size 0 as CoTaskMemAlloc(0) is (distinct, usable blocks);
// growing far past the first size that loses the contents.
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

}  // namespace
