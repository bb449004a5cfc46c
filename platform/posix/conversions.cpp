// The run-time's multibyte conversions, delivering 16-bit units.
//
// Three kinds of locale (locale_kind.h): the C locale, where every byte is
// the unit of the same value as on Windows (glibc refuses bytes 0x80 and up
// there); UTF-8, decoded here with surrogate pairs for characters above
// U+FFFF; and any other locale, through the C library one character at a
// time.
#include <climits>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include "platform/platform.h"
#include "platform/posix/locale_kind.h"

namespace {

constexpr std::size_t kFailed = static_cast<std::size_t>(-1);
constexpr WCHAR kReplacementUnit = 0xFFFD;
constexpr char kReplacementByte = '?';

using platform::posix::LocaleKind;

bool IsHighSurrogate(std::uint32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLowSurrogate(std::uint32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

// One UTF-8 sequence at `s`; returns its length and the code point, or 0 for
// a byte that starts no valid sequence (overlong forms, encoded surrogates,
// code points past U+10FFFF and cut sequences included).
int DecodeUtf8(const unsigned char* s, std::uint32_t& cp) {
  unsigned char b0 = s[0];
  if (b0 < 0x80) {
    cp = b0;
    return 1;
  }
  int length;
  std::uint32_t min;
  if (b0 >= 0xC2 && b0 <= 0xDF) {
    length = 2, min = 0x80, cp = b0 & 0x1F;
  } else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3, min = 0x800, cp = b0 & 0x0F;
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4, min = 0x10000, cp = b0 & 0x07;
  } else {
    return 0;
  }
  for (int i = 1; i < length; ++i) {
    // A zero byte ends the text, and it is no continuation byte either.
    if ((s[i] & 0xC0) != 0x80) return 0;
    cp = cp << 6 | (s[i] & 0x3F);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return length;
}

// One character of another locale through the C library; `available` is the
// count of bytes before the terminator, so the decoder never looks past it.
int DecodeOther(const char* s, std::size_t available, std::mbstate_t& state,
                std::uint32_t& cp) {
  wchar_t wc;
  std::size_t max = MB_CUR_MAX;
  std::size_t n =
      std::mbrtowc(&wc, s, available < max ? available : max, &state);
  if (n == static_cast<std::size_t>(-1) || n == static_cast<std::size_t>(-2) ||
      n == 0) {
    state = std::mbstate_t();
    return 0;
  }
  cp = static_cast<std::uint32_t>(wc);
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return static_cast<int>(n);
}

// Shared body of the strict and the replacing conversion: the strict one
// gives up at the first bad byte, the replacing one writes U+FFFD for it.
// With a destination, the text past `limit` units is not looked at.
std::size_t ToWide(WCHAR* dst, const char* src, std::size_t limit,
                   bool replace) {
  if (src == nullptr) return replace ? 0 : kFailed;
  const LocaleKind kind = platform::posix::CurrentLocaleKind();
  const unsigned char* s = reinterpret_cast<const unsigned char*>(src);
  const std::size_t length = kind == LocaleKind::kOther ? std::strlen(src) : 0;
  std::mbstate_t state = std::mbstate_t();
  std::size_t count = 0;
  while (*s != 0) {
    if (dst != nullptr && count == limit) break;
    std::uint32_t cp;
    int used;
    if (*s < 0x80 || kind == LocaleKind::kC) {
      cp = *s, used = 1;
    } else if (kind == LocaleKind::kUtf8) {
      used = DecodeUtf8(s, cp);
    } else {
      const char* at = reinterpret_cast<const char*>(s);
      used = DecodeOther(at, length - static_cast<std::size_t>(at - src), state,
                         cp);
    }
    if (used == 0) {
      if (!replace) return kFailed;
      cp = kReplacementUnit;
      used = 1;
    }
    if (cp >= 0x10000) {
      // Both halves of a pair or neither: a cut pair would be a lone
      // surrogate.
      if (dst != nullptr && count + 2 > limit) break;
      if (dst != nullptr) {
        cp -= 0x10000;
        dst[count] = static_cast<WCHAR>(0xD800 + (cp >> 10));
        dst[count + 1] = static_cast<WCHAR>(0xDC00 + (cp & 0x3FF));
      }
      count += 2;
    } else {
      if (dst != nullptr) dst[count] = static_cast<WCHAR>(cp);
      ++count;
    }
    s += used;
  }
  // The run-time ends the text only when all of it fit and there is room
  // left; the replacing form leaves that to its caller.
  if (!replace && dst != nullptr && *s == 0 && count < limit) dst[count] = 0;
  return count;
}

// Encodes one code point; returns the byte count, or 0 if the locale has no
// bytes for it.
int EncodeChar(LocaleKind kind, std::uint32_t cp, char* out,
               std::mbstate_t& state) {
  if (kind == LocaleKind::kC) {
    if (cp > 0xFF) return 0;
    out[0] = static_cast<char>(cp);
    return 1;
  }
  if (cp >= 0xD800 && cp <= 0xDFFF) return 0;
  if (kind == LocaleKind::kUtf8) {
    if (cp < 0x80) {
      out[0] = static_cast<char>(cp);
      return 1;
    }
    if (cp < 0x800) {
      out[0] = static_cast<char>(0xC0 | cp >> 6);
      out[1] = static_cast<char>(0x80 | (cp & 0x3F));
      return 2;
    }
    if (cp < 0x10000) {
      out[0] = static_cast<char>(0xE0 | cp >> 12);
      out[1] = static_cast<char>(0x80 | (cp >> 6 & 0x3F));
      out[2] = static_cast<char>(0x80 | (cp & 0x3F));
      return 3;
    }
    out[0] = static_cast<char>(0xF0 | cp >> 18);
    out[1] = static_cast<char>(0x80 | (cp >> 12 & 0x3F));
    out[2] = static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    out[3] = static_cast<char>(0x80 | (cp & 0x3F));
    return 4;
  }
  std::size_t n = std::wcrtomb(out, static_cast<wchar_t>(cp), &state);
  if (n == static_cast<std::size_t>(-1)) {
    state = std::mbstate_t();
    return 0;
  }
  return static_cast<int>(n);
}

// ToMbs into a buffer in a UTF-8 locale, the common multibyte case: the
// bytes go straight to `dst`, with the same stops and results as the general
// loop below.
std::size_t ToUtf8(char* dst, const WCHAR* src, std::size_t limit,
                   bool replace) {
  std::size_t count = 0;
  std::size_t i = 0;
  while (count < limit && src[i] != 0) {
    std::uint32_t cp = src[i];
    if (cp < 0x80) {
      dst[count++] = static_cast<char>(cp);
      ++i;
      continue;
    }
    std::size_t units = 1;
    std::size_t n = cp < 0x800 ? 2 : 3;
    if (cp >= 0xD800 && cp <= 0xDFFF) {
      if (!IsHighSurrogate(cp) || !IsLowSurrogate(src[i + 1])) {
        if (!replace) return kFailed;
        dst[count++] = kReplacementByte;
        ++i;
        continue;
      }
      cp = 0x10000 + ((cp - 0xD800) << 10) + (src[i + 1] - 0xDC00);
      units = 2;
      n = 4;
    }
    // Whole characters only: stop where the next one does not fit.
    if (n > limit - count) break;
    char* out = dst + count;
    if (n == 2) {
      out[0] = static_cast<char>(0xC0 | cp >> 6);
    } else if (n == 3) {
      out[0] = static_cast<char>(0xE0 | cp >> 12);
      out[1] = static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    } else {
      out[0] = static_cast<char>(0xF0 | cp >> 18);
      out[1] = static_cast<char>(0x80 | (cp >> 12 & 0x3F));
      out[2] = static_cast<char>(0x80 | (cp >> 6 & 0x3F));
    }
    out[n - 1] = static_cast<char>(0x80 | (cp & 0x3F));
    count += n;
    i += units;
  }
  if (!replace && src[i] == 0 && count < limit) dst[count] = 0;
  return count;
}

std::size_t ToMbs(char* dst, const WCHAR* src, std::size_t limit,
                  bool replace) {
  if (src == nullptr) return replace ? 0 : kFailed;
  const LocaleKind kind = platform::posix::CurrentLocaleKind();
  if (kind == LocaleKind::kC && dst == nullptr) {
    // The Windows run-time counts a byte per unit here without looking at
    // the units, so a text that it refuses to convert still has a length.
    std::size_t units = 0;
    while (src[units] != 0) ++units;
    return units;
  }
  if (kind == LocaleKind::kUtf8 && dst != nullptr) {
    return ToUtf8(dst, src, limit, replace);
  }
  std::mbstate_t state = std::mbstate_t();
  std::size_t count = 0;
  char bytes[MB_LEN_MAX > 8 ? MB_LEN_MAX : 8];
  std::size_t i = 0;
  while (src[i] != 0) {
    if (dst != nullptr && count == limit) break;
    std::uint32_t cp = src[i];
    std::size_t units = 1;
    if (kind != LocaleKind::kC && IsHighSurrogate(cp) &&
        IsLowSurrogate(src[i + 1])) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (src[i + 1] - 0xDC00);
      units = 2;
    }
    int n;
    if (cp < 0x80) {
      bytes[0] = static_cast<char>(cp);
      n = 1;
    } else {
      n = EncodeChar(kind, cp, bytes, state);
    }
    if (n == 0) {
      if (!replace) return kFailed;
      bytes[0] = kReplacementByte;
      n = 1;
      units = 1;  // the unit that failed; the next one gets its own turn
    }
    if (dst != nullptr) {
      // Whole characters only: stop where the next one does not fit.
      if (count + static_cast<std::size_t>(n) > limit) break;
      std::memcpy(dst + count, bytes, static_cast<std::size_t>(n));
    }
    count += static_cast<std::size_t>(n);
    i += units;
  }
  if (!replace && dst != nullptr && src[i] == 0 && count < limit) {
    dst[count] = 0;
  }
  return count;
}

}  // namespace

namespace platform {

// mbstowcs
//
// PARAMS   dst [O] units, or nullptr to count; src [I] zero-terminated bytes;
//          n [I] room in units (ignored without dst)
// RETURNS  units written (or needed), terminator not counted; (size_t)-1 for
//          a null src or bytes that the locale cannot convert
// NOTES    As the Windows run-time: the C locale maps each byte to the unit of
//          the same value; a terminator is written when the whole text and
//          it fit in n; bytes past the n-th unit are not looked at. A surrogate
//          pair that would not fit whole is not begun. The rows of
//          tests/platform/data/conversions.txt show it on both builds.
std::size_t mbstowcs(WCHAR* dst, const char* src, std::size_t n) {
  return ToWide(dst, src, n, false);
}

// wcstombs
//
// PARAMS   dst [O] bytes, or nullptr to count; src [I] zero-terminated units;
//          n [I] room in bytes (ignored without dst)
// RETURNS  bytes written (or needed), terminator not counted; (size_t)-1 for
//          a null src or a unit the locale cannot represent (above 0xFF in
//          the C locale, a lone surrogate in UTF-8)
// NOTES    As the Windows run-time: a character that does not fit whole in
//          n stops the conversion without failing it; units past that point
//          are not looked at; a terminator is written when the whole text
//          and it fit. Without
//          dst the C locale counts one byte per unit and refuses nothing.
//          Windows crashes on a null src; here it fails.
std::size_t wcstombs(char* dst, const WCHAR* src, std::size_t n) {
  return ToMbs(dst, src, n, false);
}

std::size_t MbsToWideReplacing(WCHAR* dst, const char* src, std::size_t limit) {
  return ToWide(dst, src, limit, true);
}

std::size_t WideToMbsReplacing(char* dst, const WCHAR* src, std::size_t limit) {
  return ToMbs(dst, src, limit, true);
}

}  // namespace platform
