// Text helpers of kzmsg: wide strings in and out, for the terminal and for
// JSON.
#ifndef KZCOMMON_TOOLS_KZMSG_TEXT_H_
#define KZCOMMON_TOOLS_KZMSG_TEXT_H_

#include <kzcommon/kzcommon.h>

#include <cstdint>
#include <string>

namespace kzmsg {

using WString = std::basic_string<WCHAR>;

// The wide form of a command-line argument, read in the current locale's
// multibyte encoding. False if the locale can't read it.
bool Widen(const std::string& multibyte, WString* out);
// A copy of a string's wide form; empty for a null string.
WString Copy(const CKZString& text);
// ASCII text as wide units.
WString Ascii(const std::string& text);

// The text for the terminal, in the current locale's multibyte encoding as
// the library converts it (a character the locale lacks comes out as that
// conversion gives it, '?' in most locales; \uXXXX where it fails). Control
// characters other than tab are written as \uXXXX, so that one text is
// always one line.
std::string ForTerminal(const WString& text);
// A JSON string literal, quotes included, in plain ASCII: every unit
// outside printable ASCII is a \uXXXX escape (a surrogate pair stays a
// pair of escapes), so the output is valid whatever the locale.
std::string ForJson(const WString& text);

// Result codes as "0x80004005".
std::string HexCode(HRESULT hr);

}  // namespace kzmsg

#endif  // KZCOMMON_TOOLS_KZMSG_TEXT_H_
