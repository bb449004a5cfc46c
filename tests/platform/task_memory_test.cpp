// The COM task allocator at its edges: reallocating to 0 frees, reallocating
// null allocates, and growing keeps the contents. ASan checks that the freed
// block is really gone and that nothing leaks.
#include <gtest/gtest.h>

#include <cstring>

#include "platform/platform.h"

#include "test_support.h"

namespace {

// A realloc to 0 that returned the block (or a fresh one) would leak or
// hand out a block the caller believes freed.
TEST(TaskMemory, ReallocToZeroFreesAndGivesNull) {
  void* block = CoTaskMemAlloc(16);
  ASSERT_NE(nullptr, block);
  std::memset(block, 'x', 16);
  EXPECT_EQ(nullptr, CoTaskMemRealloc(block, 0));
}

// A null block is allocated, also at size 0, as CoTaskMemAlloc(0) is: the
// results are distinct, usable blocks.
TEST(TaskMemory, ReallocOfNullAllocates) {
  void* block = CoTaskMemRealloc(nullptr, 8);
  ASSERT_NE(nullptr, block);
  std::memset(block, 'y', 8);
  void* empty = CoTaskMemRealloc(nullptr, 0);
  EXPECT_NE(nullptr, empty);
  void* alloc0 = CoTaskMemAlloc(0);
  EXPECT_NE(nullptr, alloc0);
  EXPECT_NE(empty, alloc0);
  CoTaskMemFree(alloc0);
  CoTaskMemFree(empty);
  CoTaskMemFree(block);
  CoTaskMemFree(nullptr);
}

// Growing far past the first size keeps the contents.
TEST(TaskMemory, GrowingKeepsTheContents) {
  char* block = static_cast<char*>(CoTaskMemAlloc(4));
  ASSERT_NE(nullptr, block);
  std::memcpy(block, "abc", 4);
  char* grown = static_cast<char*>(CoTaskMemRealloc(block, 4000));
  ASSERT_NE(nullptr, grown);
  EXPECT_STREQ("abc", grown);
  CoTaskMemFree(grown);
}

}  // namespace
