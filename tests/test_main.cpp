// Runs the tests in the locale that KZ_TEST_LOCALE names ("C" if unset), so
// that CTest can run one binary in a single-byte and in a multibyte locale.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  const char* locale = std::getenv("KZ_TEST_LOCALE");
  if (locale == nullptr) locale = "C";
  if (std::setlocale(LC_ALL, locale) == nullptr) {
    std::fprintf(stderr, "cannot set locale '%s'\n", locale);
    return 2;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
