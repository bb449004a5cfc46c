#include "text.h"

#include <cstdio>

namespace kzmsg {

bool Widen(const std::string& multibyte, WString* out) {
  if (multibyte.empty()) {
    out->clear();
    return true;
  }
  CKZString text(multibyte.c_str());
  const WCHAR* wide = text;
  if (wide == nullptr) return false;
  out->assign(wide, text.Length());
  return true;
}

WString Copy(const CKZString& text) {
  const WCHAR* wide = text;
  if (wide == nullptr) return WString();
  return WString(wide, text.Length());
}

WString Ascii(const std::string& text) {
  WString wide;
  wide.reserve(text.size());
  for (char c : text) wide.push_back(static_cast<WCHAR>(c));
  return wide;
}

namespace {

void AppendEscape(std::string* out, std::uint32_t unit) {
  char escape[8];
  std::snprintf(escape, sizeof escape, "\\u%04X", unit);
  out->append(escape);
}

bool IsControl(std::uint32_t unit) {
  return unit < 0x20 || unit == 0x7F || (unit >= 0x80 && unit < 0xA0);
}

}  // namespace

std::string ForTerminal(const WString& text) {
  std::string out;
  // Runs of printable units go through the locale in one piece; an escape
  // stands for each unit the locale refuses and for each control character.
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t end = i;
    while (end < text.size() &&
           (text[end] == '\t' || !IsControl(static_cast<std::uint32_t>(
                                     static_cast<std::uint16_t>(text[end]))))) {
      ++end;
    }
    if (end > i) {
      WString run = text.substr(i, end - i);
      CKZString value(run.c_str());
      const char* bytes = value;
      if (bytes != nullptr) {
        out.append(bytes, value.MbsLength());
      } else {
        // Unit by unit: a surrogate pair goes together.
        for (std::size_t k = i; k < end;) {
          std::size_t n = 1;
          std::uint16_t unit = static_cast<std::uint16_t>(text[k]);
          if (unit >= 0xD800 && unit < 0xDC00 && k + 1 < end) n = 2;
          CKZString one(text.substr(k, n).c_str());
          const char* piece = one;
          if (piece != nullptr && one.MbsLength() > 0) {
            out.append(piece, one.MbsLength());
          } else {
            for (std::size_t m = 0; m < n; ++m) {
              AppendEscape(&out, static_cast<std::uint16_t>(text[k + m]));
            }
          }
          k += n;
        }
      }
    }
    if (end < text.size()) {
      AppendEscape(&out, static_cast<std::uint16_t>(text[end]));
      ++end;
    }
    i = end;
  }
  return out;
}

std::string ForJson(const WString& text) {
  std::string out = "\"";
  for (WCHAR c : text) {
    std::uint32_t unit = static_cast<std::uint16_t>(c);
    if (unit == '"' || unit == '\\') {
      out.push_back('\\');
      out.push_back(static_cast<char>(unit));
    } else if (unit >= 0x20 && unit < 0x7F) {
      out.push_back(static_cast<char>(unit));
    } else {
      AppendEscape(&out, unit);
    }
  }
  out.push_back('"');
  return out;
}

std::string HexCode(HRESULT hr) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08lX",
                static_cast<unsigned long>(static_cast<std::uint32_t>(hr)));
  return text;
}

}  // namespace kzmsg
