// The initial block size as the library reads it from
// KZ_INITIAL_STRING_BLOCK_SIZE at load. CTest runs this once per value, each
// in its own process, with the number expected (KZ_BLOCK_SIZE_CASES in
// tests/CMakeLists.txt); the capacity rule's own test runs beside it where
// blocks of that size are affordable.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>

#include "strings/string_block.h"

namespace {

// A value misread: a large usable one taken for a mistake, a negative or
// oversized one taken as a capacity no block can have.
TEST(InitialBlockSizeRead, ValueFromTheEnvironment) {
  const char* expected = std::getenv("KZ_TEST_EXPECTED_BLOCK_SIZE");
  if (expected == nullptr) GTEST_SKIP() << "run by CTest with a value";
  EXPECT_EQ(std::strtoul(expected, nullptr, 10), g_initialBlockSize);
}

}  // namespace
