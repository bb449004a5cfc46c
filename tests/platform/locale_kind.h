// Which locale a platform test runs in, so that one table can key the rows
// whose expected values depend on it. Told from the locale's name, not from
// the conversions under test.
#ifndef KZCOMMON_TESTS_PLATFORM_LOCALE_KIND_H_
#define KZCOMMON_TESTS_PLATFORM_LOCALE_KIND_H_

#include <cctype>
#include <clocale>
#include <string>

namespace kztest {

// kC is the single-byte test locale on both builds; the multibyte one is
// UTF-8 natively and code page 932 in the Windows build.
enum class LocaleKind { kC, kUtf8, kCp932, kUnknown };

inline LocaleKind CurrentLocaleKind() {
  const char* name = std::setlocale(LC_CTYPE, nullptr);
  if (name == nullptr) return LocaleKind::kUnknown;
  std::string lower(name);
  for (char& c : lower) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  if (lower == "c" || lower == "posix") return LocaleKind::kC;
  if (lower.find("utf-8") != std::string::npos ||
      lower.find("utf8") != std::string::npos) {
    return LocaleKind::kUtf8;
  }
  const std::size_t n = lower.size();
  if (n >= 4 && lower.compare(n - 4, 4, ".932") == 0) {
    return LocaleKind::kCp932;
  }
  return LocaleKind::kUnknown;
}

inline const char* KindName(LocaleKind kind) {
  switch (kind) {
    case LocaleKind::kC:
      return "C";
    case LocaleKind::kUtf8:
      return "UTF-8";
    case LocaleKind::kCp932:
      return "code page 932";
    default:
      return "unknown";
  }
}

}  // namespace kztest

#endif  // KZCOMMON_TESTS_PLATFORM_LOCALE_KIND_H_
