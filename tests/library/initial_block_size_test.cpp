// The initial block size as the library reads it from
// KZ_INITIAL_STRING_BLOCK_SIZE at load. CTest runs this once per value, each
// in its own process, with the number expected (KZ_BLOCK_SIZE_CASES in
// tests/CMakeLists.txt). Faults: a large usable value taken for a mistake, a
// negative or oversized one taken as a capacity no block can have.
#include <gtest/gtest.h>

#include <cstdint>

#include "strings/string_block.h"
#include "test_support.h"

TEST(PerProcessBlockSize, ValueRead) {
  std::uint32_t expected = 0;
  ASSERT_TRUE(kztest::ExpectedBlockSize(&expected));
  EXPECT_EQ(expected, g_initialBlockSize);
}
