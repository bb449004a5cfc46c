#include "format_scan.h"

#include <cstdint>

namespace kzmsg {

namespace {

// The formatter lays out an integer field only up to this width.
constexpr std::uint64_t kWidestField = 2147483647u - 10u;

bool IsDigit(WCHAR c) { return c >= '0' && c <= '9'; }

bool IsIntegerConversion(WCHAR c) {
  return c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x' || c == 'X';
}

bool IsKnownConversion(WCHAR c) {
  switch (c) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
    case 'c':
    case 'C':
    case 's':
    case 'S':
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
    case 'p':
    case 'n':
      return true;
    default:
      return false;
  }
}

// Digits as the formatter reads them: a 32-bit value that wraps. Whether it
// wrapped past the widest field is all that matters here, so it saturates.
std::uint64_t ReadDigits(const WString& t, std::size_t* i) {
  std::uint64_t value = 0;
  for (; *i < t.size() && IsDigit(t[*i]); ++*i) {
    value = value * 10 + static_cast<std::uint64_t>(t[*i] - '0');
    if (value > 0xFFFFFFFFull) value = 0xFFFFFFFFull + 1;
  }
  return value;
}

WCHAR At(const WString& t, std::size_t i) { return i < t.size() ? t[i] : 0; }

}  // namespace

std::vector<FormatPiece> ScanFormat(const WString& t) {
  std::vector<FormatPiece> pieces;
  std::size_t i = 0;
  while (i < t.size()) {
    FormatPiece piece;
    piece.begin = i;
    if (t[i] != '%') {
      while (i < t.size() && t[i] != '%') ++i;
      piece.end = i;
      pieces.push_back(piece);
      continue;
    }
    ++i;
    if (At(t, i) == '%') {
      piece.kind = FormatPiece::kPercent;
      piece.end = ++i;
      pieces.push_back(piece);
      continue;
    }
    piece.kind = FormatPiece::kDirective;
    piece.blankFirst = At(t, i) == ' ';
    while (At(t, i) == '+' || At(t, i) == ' ' || At(t, i) == '-' ||
           At(t, i) == '0' || At(t, i) == '#') {
      ++i;
    }
    if (At(t, i) == '*') {
      ++piece.stars;
      ++i;
    }
    // Digits behind a '*' continue the width.
    std::uint64_t width = ReadDigits(t, &i);
    std::uint64_t precision = 0;
    if (At(t, i) == '.') {
      ++i;
      if (At(t, i) == '*') {
        ++piece.stars;
        ++i;
      } else {
        precision = ReadDigits(t, &i);
      }
    }
    piece.tooWide = (width > kWidestField && width <= 0x7FFFFFFFu) ||
                    (precision > kWidestField && precision <= 0x7FFFFFFFu);
    char size = 0;
    bool wideFlag = false;
    for (;; ++i) {
      WCHAR c = At(t, i);
      WCHAR next = At(t, i + 1);
      if (c == 'l' && next == 'l') {
        piece.is64 = true;
        ++i;
      } else if (c == 'l' || c == 'h') {
        size = static_cast<char>(c);
      } else if (c == 'I') {
        if (next == '6' && At(t, i + 2) == '4') {
          piece.is64 = true;
          i += 2;
        } else if (next == '3' && At(t, i + 2) == '2') {
          i += 2;
        } else if (next != 0 && IsIntegerConversion(next)) {
          piece.is64 = sizeof(void*) == 8;
        } else {
          break;
        }
      } else if (c == 'w') {
        wideFlag = true;
      } else if ((c == 'z' || c == 't') && next != 0 &&
                 IsIntegerConversion(next)) {
        piece.is64 = sizeof(void*) == 8;
      } else if (c == 'j') {
        piece.is64 = true;
      } else if (c != 'L' && c != 'F' && c != 'N') {
        break;
      }
    }
    piece.conversion = At(t, i);
    piece.known = IsKnownConversion(piece.conversion);
    // In a wide format, %s and %c take wide text unless 'h' says otherwise;
    // %S and %C take the other encoding unless 'l' or 'w' says otherwise.
    bool other = piece.conversion == 'S' || piece.conversion == 'C';
    piece.wideText = wideFlag || size == 'l' || (size != 'h' && !other);
    if (piece.known) ++i;
    piece.end = i;
    pieces.push_back(piece);
  }
  return pieces;
}

}  // namespace kzmsg
