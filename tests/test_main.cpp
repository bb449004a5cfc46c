// Runs the tests in the locale KZ_TEST_LOCALE names ("C" if unset).
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  const char* locale = std::getenv("KZ_TEST_LOCALE");
  if (std::setlocale(LC_ALL, locale != nullptr ? locale : "C") == nullptr) {
    std::fprintf(stderr, "cannot set locale '%s'\n", locale);
    return 2;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
