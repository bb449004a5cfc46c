// Helpers shared by the tests.
#ifndef KZCOMMON_TESTS_TEST_SUPPORT_H_
#define KZCOMMON_TESTS_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace kztest {

inline bool MultibyteLocale() { return MB_CUR_MAX > 1; }

// Tests written for the default initial block size (64).
inline ::testing::AssertionResult DefaultBlockSize() {
  return std::getenv("KZ_INITIAL_STRING_BLOCK_SIZE") == nullptr
             ? ::testing::AssertionSuccess()
             : ::testing::AssertionFailure()
                   << "written for the default block size: unset "
                      "KZ_INITIAL_STRING_BLOCK_SIZE";
}

// The block size a per-process case expects, passed by CTest.
inline ::testing::AssertionResult ExpectedBlockSize(std::uint32_t* size) {
  const char* value = std::getenv("KZ_TEST_EXPECTED_BLOCK_SIZE");
  if (value == nullptr) {
    return ::testing::AssertionFailure()
           << "KZ_TEST_EXPECTED_BLOCK_SIZE is unset: run by CTest";
  }
  *size = static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10));
  return ::testing::AssertionSuccess();
}

inline int Sign(int value) { return (value > 0) - (value < 0); }

// Text for readable assertions; "(null)" for null.
inline std::u16string W(const WCHAR* text) {
  if (text == nullptr) return u"(null)";
  std::u16string out;
  for (; *text != 0; ++text) out.push_back(static_cast<char16_t>(*text));
  return out;
}
inline std::string M(const char* text) {
  return text == nullptr ? "(null)" : std::string(text);
}
inline std::string Narrow(const std::u16string& ascii) {
  return std::string(ascii.begin(), ascii.end());
}
inline const WCHAR* U(const char16_t* text) {
  return reinterpret_cast<const WCHAR*>(text);
}

// U+65E5 U+672C U+8A9E in the locale's bytes: UTF-8 9, code page 932 six.
struct MultibyteSample {
  const char* bytes;
  ULONG byteLength;
  const WCHAR* wide;
};
inline MultibyteSample Sample() {
  static const WCHAR kWide[] = {0x65E5, 0x672C, 0x8A9E, 0};
  if (MB_CUR_MAX == 2) return {"\x93\xfa\x96\x7b\x8c\xea", 6, kWide};
  return {"\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e", 9, kWide};
}

}  // namespace kztest

#endif  // KZCOMMON_TESTS_TEST_SUPPORT_H_
