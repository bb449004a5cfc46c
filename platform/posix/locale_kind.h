// The three kinds of LC_CTYPE locale that the POSIX layer tells apart.
//
// kC: the "C" (or "POSIX") locale, whose codeset is ASCII. The Windows
// run-time treats it specially: bytes are units of the same value, and only
// ASCII letters have case. kUtf8: any UTF-8 locale, decoded here. kOther:
// anything else, left to the C library.
#ifndef KZCOMMON_PLATFORM_POSIX_LOCALE_KIND_H_
#define KZCOMMON_PLATFORM_POSIX_LOCALE_KIND_H_

namespace platform {
namespace posix {

enum class LocaleKind { kC, kUtf8, kOther };

// Reads the thread's current locale at every call: nothing is cached, since
// setlocale or uselocale may change it between two calls.
LocaleKind CurrentLocaleKind();

// Cheaper than CurrentLocaleKind() == kC where the answer is usually no:
// multibyte locales are told apart by MB_CUR_MAX without a string compare.
bool IsCLocale();

}  // namespace posix
}  // namespace platform

#endif  // KZCOMMON_PLATFORM_POSIX_LOCALE_KIND_H_
