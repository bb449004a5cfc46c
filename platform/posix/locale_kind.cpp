#include "platform/posix/locale_kind.h"

#include <cstdlib>
#include <cstring>
#include <langinfo.h>

namespace platform {
namespace posix {

namespace {

// glibc's name for the codeset of "C" and "POSIX". A locale of another name
// with this codeset behaves like "C" here as well, which is what its bytes
// mean anyway.
bool AsciiCodeset() {
  return std::strcmp(nl_langinfo(CODESET), "ANSI_X3.4-1968") == 0;
}

}  // namespace

LocaleKind CurrentLocaleKind() {
  if (MB_CUR_MAX == 1)
    return AsciiCodeset() ? LocaleKind::kC : LocaleKind::kOther;
  return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0 ? LocaleKind::kUtf8
                                                         : LocaleKind::kOther;
}

bool IsCLocale() { return MB_CUR_MAX == 1 && AsciiCodeset(); }

}  // namespace posix
}  // namespace platform
