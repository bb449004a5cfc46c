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
  std::string lower(name != nullptr ? name : "");
  for (char& c : lower) c = static_cast<char>(std::tolower(c & 0xFF));
  if (lower == "c" || lower == "posix") return LocaleKind::kC;
  if (lower.find("utf-8") != std::string::npos ||
      lower.find("utf8") != std::string::npos) {
    return LocaleKind::kUtf8;
  }
  return lower.size() >= 4 && lower.compare(lower.size() - 4, 4, ".932") == 0
             ? LocaleKind::kCp932
             : LocaleKind::kUnknown;
}

}  // namespace kztest

#endif  // KZCOMMON_TESTS_PLATFORM_LOCALE_KIND_H_
