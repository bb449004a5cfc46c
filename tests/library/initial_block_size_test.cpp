// KZ_INITIAL_STRING_BLOCK_SIZE per process (KZ_BLOCK_SIZE_CASES). Faults: a
// large usable value refused, a negative or oversized one taken.
#include <gtest/gtest.h>

#include <cstdint>

#include "strings/string_block.h"
#include "test_support.h"

TEST(PerProcessBlockSize, ValueRead) {
  std::uint32_t expected = 0;
  ASSERT_TRUE(kztest::ExpectedBlockSize(&expected));
  EXPECT_EQ(expected, g_initialBlockSize);
}
