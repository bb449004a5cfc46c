// The Windows run-time's formatters on POSIX: _vsnprintf and _vsnwprintf, and
// the counting _vscprintf and _vscwprintf, reading their directives as msvcrt
// does.
//
// One body over the unit type: a directive is parsed and laid out the same way
// in both, and only the text arguments differ (%s and %c take the formatter's
// own unit, %S and %C the other encoding, converted through the locale). All
// output goes through a sink that stops at the limit, so no directive,
// whatever its width or precision, allocates or writes beyond it.
//
// Where msvcrt differs from C (each case has a row in
// tests/platform/data/format.txt that passes against both):
// - An unknown conversion prints nothing and the letter itself becomes plain
//   text: "%y" gives "y"; in "%5%d" the second '%' starts a new directive.
// - Sizes: "hh" is "h"; "L", "F", "N" are ignored, so "%Ld" takes an int;
//   "ll", "I64" and "j" take 64 bits; "I", "z" and "t" before an integer
//   conversion take the pointer's size; "I32" is ignored; "l" is a 32-bit
//   Windows long for numbers and selects 16-bit text for %s and %c; "w" too.
// - Digits after "*" continue the width: "%*5d" with 7 is a width of 75.
//   Widths and precisions wrap at 32 bits as msvcrt's int arithmetic does.
// - The '0' flag pads everything with zeros, strings and numbers with a
//   precision included; '+' and ' ' sign only d, i and floating point.
// - %p is the pointer's hex digits in upper case, "%#p" adds "0X" (not to a
//   null pointer), and a precision cuts the text.
// - Floating point shows the exact decimal value of the double, rounds a half
//   away from zero, writes exponents with at least three digits, and prints
//   infinities and NaNs as 1.#INF, 1.#QNAN and (negative NaN) -1.#IND, cut and
//   "rounded" like digits by a small precision ("%.1f" of INF is "1.$").
// - %S text the locale can't convert fails the call. A width or precision
//   of %S counts units of the argument, not of the output.
// - %c or %C whose character the locale can't convert prints nothing, unless
//   right-aligned padding went before it, which fails the call. (msvcrt then
//   returns a count that leaves out the padding it wrote; the Windows build
//   turns that into a failure, see platform/windows/crt.h.) The counting
//   functions leave out both, as msvcrt's do.
// - A null %s or %S argument prints "(null)".
// - %n stores the units written so far through an int pointer (a short one
//   for %hn); a null pointer is skipped rather than written through.
// - A field wider than msvcrt can lay out for an integer (width or precision
//   within 10 of INT_MAX) fails the call, in the counting functions too.
// - A negative precision (from "*", or digits that wrap) is none for text,
//   characters, integers and %a. For %e, %f and %g msvcrt keeps it: "%.*e"
//   with -3 of 1.5 is "0.e+000", and the field is counted short by it (see
//   DecimalForm); infinities and NaNs lose the tail of zeros (see Special).
// Deliberate difference: a count beyond INT_MAX is -1 from the counting
// functions too, where msvcrt returns whatever its int wrapped to.
#include <cfloat>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "platform/platform.h"

namespace {

using std::int64_t;
using std::uint32_t;
using std::uint64_t;

constexpr int64_t kMaxCount = INT_MAX;

// Where the text goes: the caller's buffer, never past `limit` units, or
// nowhere when only counting. Every write reports whether all of it fitted;
// the part that fits is written, as msvcrt does.
template <typename Unit>
class Sink {
 public:
  // A null buffer only counts; a count beyond INT_MAX can't be returned and
  // so counts as not fitting.
  Sink(Unit* buffer, std::size_t limit)
      : buffer_(buffer),
        room_(buffer == nullptr || limit > static_cast<std::size_t>(kMaxCount)
                  ? kMaxCount
                  : static_cast<int64_t>(limit)) {}

  bool Put(const Unit* text, int64_t n) {
    if (n <= 0) return true;
    bool fits = n <= room_ - used_;
    int64_t take = fits ? n : room_ - used_;
    if (buffer_ != nullptr) {
      std::memcpy(buffer_ + used_, text,
                  static_cast<std::size_t>(take) * sizeof(Unit));
    }
    used_ += take;
    return fits;
  }

  bool Repeat(Unit unit, int64_t n) {
    if (n <= 0) return true;
    bool fits = n <= room_ - used_;
    int64_t take = fits ? n : room_ - used_;
    if (buffer_ != nullptr) {
      for (int64_t i = 0; i < take; ++i) buffer_[used_ + i] = unit;
    }
    used_ += take;
    return fits;
  }

  bool Put(Unit unit) { return Repeat(unit, 1); }

  // ASCII text from the formatter itself (digits, "(null)", "1.#INF").
  bool PutAscii(const char* text, int64_t n) {
    for (int64_t i = 0; i < n; ++i) {
      if (!Put(static_cast<Unit>(text[i]))) return false;
    }
    return true;
  }

  int64_t used() const { return used_; }
  bool counting() const { return buffer_ == nullptr; }

 private:
  Unit* buffer_;
  int64_t room_;
  int64_t used_ = 0;
};

// The argument list, copied once per call so that the caller's stays unread.
struct Arguments {
  va_list list;
};

// One directive after parsing.
struct Directive {
  bool left = false;
  bool zero = false;
  bool alternate = false;
  char sign = 0;  // '+' or ' ' from the flags; '-' for a negative value
  int64_t width = 0;
  int precision = -1;  // -1: none; other negatives stay (see DecimalForm)
  bool is64 = false;   // ll, I64, j; or I, z, t before an integer conversion
  char size = 0;       // 'h' or 'l', whichever came last
  bool wideFlag = false;
  char conversion = 0;
};

bool IsDigit(uint32_t c) { return c >= '0' && c <= '9'; }

bool IsIntegerConversion(uint32_t c) {
  return c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x' || c == 'X';
}

// 32-bit wrapping arithmetic of msvcrt's int fields, without signed overflow.
int WrapToInt(uint32_t value) {
  return value > static_cast<uint32_t>(INT_MAX)
             ? static_cast<int>(static_cast<int64_t>(value) - 0x100000000LL)
             : static_cast<int>(value);
}
int WrapToInt(int64_t value) {
  return WrapToInt(static_cast<uint32_t>(static_cast<uint64_t>(value)));
}

char DecimalPoint() {
  const char* point = std::localeconv()->decimal_point;
  unsigned char c = static_cast<unsigned char>(point[0]);
  return c != 0 && c < 0x80 ? static_cast<char>(c) : '.';
}

// One character of 16-bit text (a unit, or a surrogate pair when both halves
// are there) in the locale's bytes. Returns the byte count, or -1.
int UnitsToBytes(const WCHAR* src, int64_t avail, char* out, int64_t* used) {
  if (src[0] == 0) {
    out[0] = 0;
    *used = 1;
    return 1;
  }
  WCHAR one[3] = {src[0], 0, 0};
  *used = 1;
  if (src[0] >= 0xD800 && src[0] <= 0xDBFF && avail > 1 && src[1] >= 0xDC00 &&
      src[1] <= 0xDFFF) {
    one[1] = src[1];
    *used = 2;
  }
  std::size_t n = platform::wcstombs(out, one, MB_LEN_MAX);
  if (n == static_cast<std::size_t>(-1) || n == 0) return -1;
  return static_cast<int>(n);
}

// One character of multibyte text, at most `avail` bytes of it, as 16-bit
// units (two for a surrogate pair). Returns the unit count, or -1.
int BytesToUnits(const char* src, int64_t avail, WCHAR* out, int64_t* used) {
  if (src[0] == 0) {
    out[0] = 0;
    *used = 1;
    return 1;
  }
  // The shortest prefix that the locale accepts is the first character.
  int64_t longest = static_cast<int64_t>(MB_CUR_MAX);
  if (longest > 8) longest = 8;
  if (longest > avail) longest = avail;
  char one[9];
  for (int64_t k = 1; k <= longest; ++k) {
    one[k - 1] = src[k - 1];
    one[k] = 0;
    std::size_t n = platform::mbstowcs(out, one, 2);
    if (n != static_cast<std::size_t>(-1) && n != 0) {
      *used = k;
      return static_cast<int>(n);
    }
  }
  return -1;
}

template <typename Unit>
int64_t Length(const Unit* text, int precision) {
  int64_t n = 0;
  while ((precision < 0 || n < precision) && text[n] != 0) ++n;
  return n;
}

// ---------------------------------------------------------------------------
// Exact decimal expansion of a double.

// An unsigned integer of up to 2560 bits, little-endian 32-bit words: enough
// for a 53-bit mantissa times 5^1074 (the smallest subnormal) or 2^971.
class BigNumber {
 public:
  explicit BigNumber(uint64_t value) {
    words_[0] = static_cast<uint32_t>(value);
    words_[1] = static_cast<uint32_t>(value >> 32);
    size_ = words_[1] != 0 ? 2 : (words_[0] != 0 ? 1 : 0);
  }

  void Multiply(uint32_t factor) {
    uint64_t carry = 0;
    for (int i = 0; i < size_; ++i) {
      uint64_t product = static_cast<uint64_t>(words_[i]) * factor + carry;
      words_[i] = static_cast<uint32_t>(product);
      carry = product >> 32;
    }
    if (carry != 0) words_[size_++] = static_cast<uint32_t>(carry);
  }

  void ShiftLeft(int bits) {
    for (; bits >= 16; bits -= 16) Multiply(1u << 16);
    if (bits > 0) Multiply(1u << bits);
  }

  // Divides by 10^9 and returns the remainder.
  uint32_t DivideByBillion() {
    uint64_t rest = 0;
    for (int i = size_ - 1; i >= 0; --i) {
      uint64_t part = rest << 32 | words_[i];
      words_[i] = static_cast<uint32_t>(part / 1000000000u);
      rest = part % 1000000000u;
    }
    while (size_ > 0 && words_[size_ - 1] == 0) --size_;
    return static_cast<uint32_t>(rest);
  }

  bool IsZero() const { return size_ == 0; }

 private:
  uint32_t words_[84] = {};
  int size_;
};

// The value as significant digits with the position of the decimal point:
// value = 0.d1 d2 d3 ... x 10^point. Zero is the single digit 0 with point 1.
struct Digits {
  char digits[800];
  int64_t count;
  int64_t point;
};

void ToDigits(double value, Digits* out) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  uint64_t mantissa = bits & ((1ULL << 52) - 1);
  int exponentField = static_cast<int>(bits >> 52 & 0x7FF);
  int exponent;
  if (exponentField == 0) {
    exponent = -1074;
  } else {
    mantissa |= 1ULL << 52;
    exponent = exponentField - 1075;
  }
  if (mantissa == 0) {
    out->digits[0] = '0';
    out->count = 1;
    out->point = 1;
    return;
  }
  BigNumber number(mantissa);
  int fractionDigits = 0;
  if (exponent >= 0) {
    number.ShiftLeft(exponent);
  } else {
    // m * 2^-k = m * 5^k / 10^k
    fractionDigits = -exponent;
    int k = fractionDigits;
    for (; k >= 13; k -= 13) number.Multiply(1220703125u);  // 5^13
    uint32_t rest = 1;
    for (; k > 0; --k) rest *= 5;
    number.Multiply(rest);
  }
  // Nine digits at a time from the low end, then turned around.
  char reversed[810];
  int64_t n = 0;
  while (!number.IsZero()) {
    uint32_t chunk = number.DivideByBillion();
    for (int i = 0; i < 9; ++i) {
      reversed[n++] = static_cast<char>('0' + chunk % 10);
      chunk /= 10;
    }
  }
  while (n > 1 && reversed[n - 1] == '0') --n;
  for (int64_t i = 0; i < n; ++i) out->digits[i] = reversed[n - 1 - i];
  out->count = n;
  out->point = n - fractionDigits;
  while (out->count > 1 && out->digits[out->count - 1] == '0') --out->count;
}

// Keeps `keep` significant digits, rounding a half away from zero. With
// nothing kept the value becomes 0 or one unit of the first dropped place.
void Round(Digits* d, int64_t keep) {
  if (keep >= d->count) return;
  if (keep < 0) {
    d->digits[0] = '0';
    d->count = 0;
    return;
  }
  bool up = d->digits[keep] >= '5';
  d->count = keep;
  if (!up) {
    if (keep == 0) d->count = 0;
    return;
  }
  int64_t i = keep - 1;
  while (i >= 0 && d->digits[i] == '9') --i;
  if (i < 0) {
    d->digits[0] = '1';
    d->count = 1;
    ++d->point;
  } else {
    ++d->digits[i];
    d->count = i + 1;
  }
}

// Rounds to `keep` significant digits as msvcrt does when a negative
// precision puts that place at or before the first digit (keep <= 0). It
// rounds in blocks of nine digits aligned on the decimal point: within the
// first digit's block the value becomes zero and the point stays where it
// was; past that block it becomes 0, or 1 when the place lies in the block
// just above and the first block is full and starts at 5 or more, and the
// point moves up one place either way (wherever the block above starts).
// `keep` comes from int arithmetic and its distance to the first block
// wraps like it: a distance that wraps leaves the value unrounded.
void RoundBeforeTheDigits(Digits* d, int keep) {
  if (keep > 0) {
    Round(d, keep);
    return;
  }
  int64_t firstPlace = d->point - 1;
  int lead = static_cast<int>((firstPlace % 9 + 9) % 9) + 1;
  int distance = WrapToInt(static_cast<int64_t>(lead) - keep);
  if (distance < 0) return;
  if (distance < 9) {
    if (keep == 0) {
      Round(d, 0);
    } else {
      d->count = 0;
    }
    return;
  }
  bool up = distance < 18 && lead == 9 && d->digits[0] >= '5';
  d->digits[0] = up ? '1' : '0';
  d->count = 1;
  ++d->point;
}

// Digit at position `index` of the significant digits, zero outside them.
char DigitAt(const Digits& d, int64_t index) {
  return index >= 0 && index < d.count ? d.digits[index] : '0';
}

// ---------------------------------------------------------------------------

template <typename Unit>
class Formatter {
 public:
  static constexpr bool kWide = sizeof(Unit) == sizeof(WCHAR);

  Formatter(Sink<Unit>* sink, Arguments* args) : out_(*sink), args_(*args) {}

  // False when the text does not fit or the call fails for another reason.
  bool Run(const Unit* format) {
    const Unit* p = format;
    while (*p != 0) {
      if (*p != '%') {
        const Unit* run = p;
        while (*p != 0 && *p != '%') ++p;
        if (!out_.Put(run, p - run)) return false;
        continue;
      }
      ++p;
      if (*p == '%') {
        if (!out_.Put(*p)) return false;
        ++p;
        continue;
      }
      Directive d;
      p = Parse(p, &d);
      if (!Convert(d)) {
        if (unknown_) {
          // The letter is plain text from here on (a '%' starts again).
          unknown_ = false;
          continue;
        }
        return false;
      }
      ++p;
    }
    return true;
  }

 private:
  const Unit* Parse(const Unit* p, Directive* d) {
    for (;; ++p) {
      if (*p == '+' || *p == ' ') {
        if (d->sign != '+') d->sign = static_cast<char>(*p);
      } else if (*p == '-') {
        d->left = true;
      } else if (*p == '0') {
        d->zero = true;
      } else if (*p == '#') {
        d->alternate = true;
      } else {
        break;
      }
    }
    uint32_t width = 0;
    if (*p == '*') {
      ++p;
      int value = va_arg(args_.list, int);
      if (value < 0) {
        d->left = true;
        value = value == INT_MIN ? INT_MIN : -value;
      }
      width = static_cast<uint32_t>(value);
    }
    for (; IsDigit(*p); ++p)
      width = width * 10 + static_cast<uint32_t>(*p - '0');
    int signedWidth = WrapToInt(width);
    d->width = signedWidth < 0 ? 0 : signedWidth;
    if (*p == '.') {
      ++p;
      int precision;
      if (*p == '*') {
        ++p;
        precision = va_arg(args_.list, int);
      } else {
        uint32_t digits = 0;
        for (; IsDigit(*p); ++p) {
          digits = digits * 10 + static_cast<uint32_t>(*p - '0');
        }
        precision = WrapToInt(digits);
      }
      // Kept as it is: -1 means none, and msvcrt lays out floating point by
      // any other negative value.
      d->precision = precision;
    }
    for (;; ++p) {
      if (*p == 'l' && p[1] == 'l') {
        d->is64 = true;
        ++p;
      } else if (*p == 'l' || *p == 'h') {
        d->size = static_cast<char>(*p);
      } else if (*p == 'I') {
        if (p[1] == '6' && p[2] == '4') {
          d->is64 = true;
          p += 2;
        } else if (p[1] == '3' && p[2] == '2') {
          p += 2;
        } else if (p[1] != 0 && IsIntegerConversion(p[1])) {
          d->is64 = sizeof(void*) == 8;
        } else {
          break;
        }
      } else if (*p == 'w') {
        d->wideFlag = true;
      } else if ((*p == 'z' || *p == 't') && p[1] != 0 &&
                 IsIntegerConversion(p[1])) {
        d->is64 = sizeof(void*) == 8;
      } else if (*p == 'j') {
        d->is64 = true;
      } else if (*p != 'L' && *p != 'F' && *p != 'N') {
        break;
      }
    }
    uint32_t letter = static_cast<std::make_unsigned_t<Unit>>(*p);
    d->conversion = letter < 0x80 ? static_cast<char>(letter) : 0;
    return p;
  }

  bool Convert(const Directive& d) {
    switch (d.conversion) {
      case 's':
      case 'S':
        return Text(d, va_arg(args_.list, const void*));
      case 'c':
      case 'C':
        return Character(d, va_arg(args_.list, int));
      case 'p':
        return Pointer(d, va_arg(args_.list, const void*));
      case 'n':
        return Count(d, va_arg(args_.list, void*));
      case 'd':
      case 'i':
      case 'o':
      case 'u':
      case 'x':
      case 'X':
        return Integer(d);
      case 'a':
      case 'A':
      case 'e':
      case 'E':
      case 'f':
      case 'g':
      case 'G':
        return Floating(d, va_arg(args_.list, double));
      default:
        unknown_ = true;
        return false;
    }
  }

  // Whether %s/%S or %c/%C takes 16-bit text here.
  static bool TakesWideText(const Directive& d) {
    if (d.wideFlag || d.size == 'l') return true;
    if (d.size == 'h') return false;
    bool other = d.conversion == 'S' || d.conversion == 'C';
    return other != kWide;
  }

  // Units of padding for a field of `width` around a body of `length`. A
  // negative precision makes msvcrt count a floating-point body short, even
  // below zero; where width - length then overflows its int, msvcrt as Wine
  // builds it writes one unit of padding before the body and none after it.
  static int64_t PadCount(int64_t width, int64_t length, bool before) {
    int64_t n = width - length;
    if (n > kMaxCount) return before ? 1 : 0;
    return n;
  }

  // Sign, then zeros or spaces, before a body of `length` units; spaces after
  // it when left-aligned. `sign` is 0 for conversions that take none.
  bool PadBefore(int64_t width, int64_t length, char sign, bool zero,
                 bool left) {
    if (sign != 0) --width;
    if (sign != 0 && zero && !out_.Put(static_cast<Unit>(sign))) return false;
    if (!left && !out_.Repeat(static_cast<Unit>(zero ? '0' : ' '),
                              PadCount(width, length, true))) {
      return false;
    }
    if (sign != 0 && !zero && !out_.Put(static_cast<Unit>(sign))) return false;
    return true;
  }
  bool PadAfter(int64_t width, int64_t length, char sign, bool left) {
    if (sign != 0) --width;
    return !left ||
           out_.Repeat(static_cast<Unit>(' '), PadCount(width, length, false));
  }
  bool Field(const Directive& d, const char* ascii, int64_t length, char sign) {
    return PadBefore(d.width, length, sign, d.zero, d.left) &&
           out_.PutAscii(ascii, length) &&
           PadAfter(d.width, length, sign, d.left);
  }
  // A number whose digits end in a tail of zeros and an exponent: the body
  // fills the field's width less `tailWidth`, and the tail is padded with
  // zeros up to `tailWidth` on its own.
  bool BodyAndTail(const Directive& d, const char* body, int64_t bodyLength,
                   const char* tail, int64_t tailLength, int64_t tailWidth) {
    return PadBefore(d.width, bodyLength, d.sign, d.zero, d.left) &&
           out_.PutAscii(body, bodyLength) &&
           PadAfter(d.width, bodyLength, d.sign, d.left) &&
           PadBefore(tailWidth, tailLength, 0, true, d.left) &&
           out_.PutAscii(tail, tailLength) &&
           PadAfter(tailWidth, tailLength, 0, d.left);
  }

  // Text of the other encoding, converted one character at a time.
  bool PutConverted(const char* text, int64_t length) {
    if constexpr (kWide) {
      for (int64_t i = 0; i < length;) {
        WCHAR units[2];
        int64_t used;
        int n = BytesToUnits(text + i, length - i, units, &used);
        if (n < 0 || !out_.Put(units, n)) return false;
        i += used;
      }
      return true;
    } else {
      return out_.Put(text, length);
    }
  }
  bool PutConverted(const WCHAR* text, int64_t length) {
    if constexpr (kWide) {
      return out_.Put(text, length);
    } else {
      for (int64_t i = 0; i < length;) {
        char bytes[MB_LEN_MAX];
        int64_t used;
        int n = UnitsToBytes(text + i, length - i, bytes, &used);
        if (n < 0 || !out_.Put(bytes, n)) return false;
        i += used;
      }
      return true;
    }
  }

  template <typename Source>
  bool TextOf(const Directive& d, const Source* text) {
    int64_t length = Length(text, d.precision);
    return PadBefore(d.width, length, 0, d.zero, d.left) &&
           PutConverted(text, length) && PadAfter(d.width, length, 0, d.left);
  }

  bool Text(const Directive& d, const void* text) {
    if (text == nullptr) {
      static const Unit kNull[] = {'(', 'n', 'u', 'l', 'l', ')', 0};
      return TextOf(d, kNull);
    }
    if (TakesWideText(d)) return TextOf(d, static_cast<const WCHAR*>(text));
    return TextOf(d, static_cast<const char*>(text));
  }

  bool Character(const Directive& d, int value) {
    int64_t length = d.precision == 0 ? 0 : 1;
    // Convert first: a character the locale refuses prints nothing.
    Unit converted[4];
    int n = 0;
    if (length > 0) {
      if (TakesWideText(d)) {
        WCHAR unit = static_cast<WCHAR>(value);
        if constexpr (kWide) {
          converted[n++] = unit;
        } else {
          char bytes[MB_LEN_MAX];
          int64_t used;
          int k = UnitsToBytes(&unit, 1, bytes, &used);
          if (k < 0 || k > 4) return Unconvertible(d, length);
          for (int i = 0; i < k; ++i) converted[n++] = bytes[i];
        }
      } else {
        char byte = static_cast<char>(value);
        if constexpr (kWide) {
          WCHAR units[2];
          int64_t used;
          int k = BytesToUnits(&byte, 1, units, &used);
          if (k < 0) return Unconvertible(d, length);
          for (int i = 0; i < k; ++i) converted[n++] = units[i];
        } else {
          converted[n++] = byte;
        }
      }
    }
    return PadBefore(d.width, length, 0, d.zero, d.left) &&
           out_.Put(converted, n) && PadAfter(d.width, length, 0, d.left);
  }

  // msvcrt drops a character it can't convert, but the padding before it is
  // already out and not counted: that case fails instead. Counting, msvcrt
  // leaves out both, and so do we.
  bool Unconvertible(const Directive& d, int64_t length) {
    return out_.counting() || d.left || d.width <= length;
  }

  bool Pointer(const Directive& d, const void* pointer) {
    uintptr_t value = reinterpret_cast<uintptr_t>(pointer);
    char text[2 + 2 * sizeof(void*)];
    int n = 0;
    if (d.alternate && value != 0) {
      text[n++] = '0';
      text[n++] = 'X';
    }
    for (int shift = 8 * static_cast<int>(sizeof(void*)) - 4; shift >= 0;
         shift -= 4) {
      text[n++] = "0123456789ABCDEF"[value >> shift & 0xF];
    }
    int64_t length = d.precision >= 0 && d.precision < n ? d.precision : n;
    Directive spaces = d;
    spaces.zero = false;
    return Field(spaces, text, length, 0);
  }

  bool Count(const Directive& d, void* target) {
    // Nowhere to write is not worth a crash.
    if (target == nullptr) return true;
    int count = static_cast<int>(out_.used());
    if (d.size == 'h') {
      short value = static_cast<short>(count);
      std::memcpy(target, &value, sizeof value);
    } else {
      std::memcpy(target, &count, sizeof count);
    }
    return true;
  }

  bool Integer(Directive d) {
    bool isSigned = d.conversion == 'd' || d.conversion == 'i';
    uint64_t magnitude;
    bool negative = false;
    if (d.is64) {
      long long value = va_arg(args_.list, long long);
      negative = isSigned && value < 0;
      magnitude = negative ? 0 - static_cast<uint64_t>(value)
                           : static_cast<uint64_t>(value);
    } else {
      int value = va_arg(args_.list, int);
      if (d.size == 'h') {
        value = isSigned ? static_cast<short>(value)
                         : static_cast<unsigned short>(value);
      }
      negative = isSigned && value < 0;
      magnitude = negative ? 0 - static_cast<uint64_t>(value)
                           : static_cast<uint32_t>(value);
    }
    // msvcrt sizes a buffer for the field in an int and fails beyond it.
    int64_t widest = d.width > d.precision ? d.width : d.precision;
    if (widest > kMaxCount - 10) return false;

    bool hex = d.conversion == 'x' || d.conversion == 'X';
    if (hex && d.zero && d.alternate && !d.left && d.precision < d.width - 2) {
      d.precision = static_cast<int>(d.width - 2);
    }
    unsigned base = hex ? 16 : (d.conversion == 'o' ? 8 : 10);
    const char* digitSet =
        d.conversion == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    char reversed[24];
    int n = 0;
    if (magnitude == 0) {
      d.alternate = false;
      if (d.precision != 0) reversed[n++] = '0';
    }
    for (uint64_t v = magnitude; v != 0; v /= base) {
      reversed[n++] = digitSet[v % base];
    }
    char digits[24];
    for (int i = 0; i < n; ++i) digits[i] = reversed[n - 1 - i];
    int64_t zeros = d.precision > n ? d.precision - n : 0;
    char prefix[2];
    int prefixLength = 0;
    if (d.alternate && hex) {
      prefix[prefixLength++] = '0';
      prefix[prefixLength++] = d.conversion;
    } else if (d.alternate && base == 8 && zeros == 0 && digits[0] != '0') {
      prefix[prefixLength++] = '0';
    }
    char sign = negative ? '-' : (isSigned ? d.sign : 0);
    int64_t length = prefixLength + zeros + n;
    return PadBefore(d.width, length, sign, d.zero, d.left) &&
           out_.PutAscii(prefix, prefixLength) &&
           out_.Repeat(static_cast<Unit>('0'), zeros) &&
           out_.PutAscii(digits, n) && PadAfter(d.width, length, sign, d.left);
  }

  bool Floating(Directive d, double value) {
    if (std::signbit(value)) {
      d.sign = '-';
      value = -value;
    }
    if (std::isinf(value) || std::isnan(value)) return Special(d, value);
    if (d.conversion == 'a' || d.conversion == 'A') return Hex(d, value);
    return DecimalForm(d, value);
  }

  // INF and NaN: "1.#INF" and its kin, cut by the precision with the last
  // kept character raised by one, then zeros as the digits would have had,
  // and the exponent's tail for %e and %a. The tail is laid out as a field of
  // its own, so left alignment puts spaces where the zeros would go.
  bool Special(Directive d, double value) {
    const char* tag =
        std::isinf(value) ? "#INF" : (d.sign == '-' ? "#IND" : "#QNAN");
    int64_t tagLength = static_cast<int64_t>(std::strlen(tag));
    char c = d.conversion;
    bool hex = c == 'a' || c == 'A';
    bool general = c == 'g' || c == 'G';
    // msvcrt's int arithmetic, wrapping included: %g of a precision of
    // INT_MIN counts as INT_MAX here.
    int precision = d.precision;
    if (general) precision = WrapToInt(static_cast<int64_t>(precision) - 1);

    if (hex && d.zero) {
      // Sign and "0x" go before the zeros.
      char lead[3];
      int n = 0;
      if (d.sign != 0) lead[n++] = d.sign;
      lead[n++] = '0';
      lead[n++] = c == 'a' ? 'x' : 'X';
      if (!out_.PutAscii(lead, n)) return false;
      d.width -= n;
      d.sign = 0;
    }
    char body[16];
    int bodyLength = 0;
    if (hex && !d.zero) {
      body[bodyLength++] = '0';
      body[bodyLength++] = c == 'a' ? 'x' : 'X';
    }
    body[bodyLength++] = '1';
    body[bodyLength++] = DecimalPoint();
    int64_t shown = tagLength;
    if (precision >= 0 && precision < tagLength) shown = precision;
    for (int64_t i = 0; i < shown; ++i) body[bodyLength++] = tag[i];
    if (precision == 0) {
      --bodyLength;  // no digits, no point
    } else if (shown < tagLength) {
      ++body[bodyLength - 1];
    }

    const char* tail = "";
    if (c == 'e') tail = "e+000";
    if (c == 'E') tail = "E+000";
    if (c == 'a') tail = "p+0";
    if (c == 'A') tail = "P+0";
    int64_t tailLength = static_cast<int64_t>(std::strlen(tail));
    int64_t zeros = general && !d.alternate ? tagLength : precision;
    if (zeros == -1 && !general) zeros = hex ? 13 : 6;
    int tailWidth = WrapToInt(zeros + tailLength - tagLength);
    if (tailWidth > 0) d.width -= tailWidth;

    return BodyAndTail(d, body, bodyLength, tail, tailLength, tailWidth);
  }

  // %a: 13 hex digits of the mantissa by default, a precision rounds up from
  // digit 8 on, and digits beyond 13 are zeros laid out like the special
  // values' tail.
  bool Hex(Directive d, double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    uint64_t fraction = bits & ((1ULL << 52) - 1);
    int exponentField = static_cast<int>(bits >> 52 & 0x7FF);
    int lead = exponentField != 0 ? 1 : 0;
    int exponent =
        exponentField != 0 ? exponentField - 1023 : (fraction != 0 ? -1022 : 0);
    int nibbles[13];
    for (int i = 12; i >= 0; --i) {
      nibbles[i] = static_cast<int>(fraction & 0xF);
      fraction >>= 4;
    }
    int shown = 13;
    int64_t extraZeros = 0;
    bool point = true;
    if (d.precision == 0) {
      if (nibbles[0] >= 8) ++lead;
      shown = 0;
      point = d.alternate;
    } else if (d.precision > 0 && d.precision < 13) {
      shown = d.precision;
      if (nibbles[shown] >= 8) {
        int i = shown - 1;
        for (; i >= 0 && nibbles[i] == 15; --i) nibbles[i] = 0;
        if (i < 0) {
          ++lead;
        } else {
          ++nibbles[i];
        }
      }
    } else if (d.precision > 13) {
      extraZeros = d.precision - 13;
    }
    char x = d.conversion == 'a' ? 'x' : 'X';
    const char* digitSet =
        d.conversion == 'a' ? "0123456789abcdef" : "0123456789ABCDEF";
    if (d.zero) {
      char leadText[3];
      int n = 0;
      if (d.sign != 0) leadText[n++] = d.sign;
      leadText[n++] = '0';
      leadText[n++] = x;
      if (!out_.PutAscii(leadText, n)) return false;
      d.width -= n;
      d.sign = 0;
    }
    char body[20];
    int bodyLength = 0;
    if (!d.zero) {
      body[bodyLength++] = '0';
      body[bodyLength++] = x;
    }
    body[bodyLength++] = static_cast<char>('0' + lead);
    if (point) body[bodyLength++] = DecimalPoint();
    for (int i = 0; i < shown; ++i) body[bodyLength++] = digitSet[nibbles[i]];

    char tail[8];
    int tailLength = 0;
    tail[tailLength++] = d.conversion == 'a' ? 'p' : 'P';
    tail[tailLength++] = exponent < 0 ? '-' : '+';
    int magnitude = exponent < 0 ? -exponent : exponent;
    char reversed[6];
    int n = 0;
    do {
      reversed[n++] = static_cast<char>('0' + magnitude % 10);
      magnitude /= 10;
    } while (magnitude != 0);
    while (n > 0) tail[tailLength++] = reversed[--n];
    int64_t tailWidth = extraZeros + tailLength;
    d.width -= tailWidth;

    return BodyAndTail(d, body, bodyLength, tail, tailLength, tailWidth);
  }

  // %f, %e and %g from the exact digits.
  //
  // A negative precision other than -1 (which is none) is msvcrt's own case:
  // the rounding place moves before the digits (see RoundBeforeTheDigits),
  // the point is shown with no digit after it, and the field counts the
  // body as that many units shorter than it is. %g then takes the fixed form
  // only for a point within [-3, precision], and omits an exponent of zero.
  bool DecimalForm(Directive d, double value) {
    Digits digits;
    ToDigits(value, &digits);
    char c = d.conversion;
    bool fixed = c == 'f';
    bool general = c == 'g' || c == 'G';
    bool trim = false;
    bool showExponent = !fixed;
    int64_t precision = d.precision == -1 ? 6 : d.precision;
    if (precision < 0) {
      int64_t keep = precision + (fixed ? digits.point : (general ? 0 : 1));
      RoundBeforeTheDigits(&digits, WrapToInt(keep));
      if (general) {
        fixed = digits.point >= -3 && digits.point <= precision;
        if (fixed) precision -= digits.point;
        showExponent = !fixed && digits.point != 1;
      }
    } else if (general) {
      if (precision == 0) precision = 1;
      Round(&digits, precision);
      int64_t exponent = digits.point - 1;
      fixed = exponent < precision && exponent >= -4;
      precision = fixed ? precision - 1 - exponent : precision - 1;
      showExponent = !fixed;
    } else if (fixed) {
      Round(&digits, digits.point + precision);
    } else {
      Round(&digits, precision + 1);
    }
    if (general) {
      trim = !d.alternate;
      c = c == 'g' ? 'e' : 'E';
    }
    if (digits.count == 0) {
      // Rounded away: zero, with the point where the digits began.
      digits.digits[0] = '0';
      digits.count = 1;
    }
    // A fixed form's first shown digit sits at digits.point - 1 before the
    // point; an exponential form shows the digits from the first one.
    int64_t first = fixed ? digits.point : 1;
    if (trim) {
      int64_t last = digits.count;
      while (last > 0 && digits.digits[last - 1] == '0') --last;
      int64_t needed = last == 0 ? 0 : last - first;
      if (needed < 0) needed = 0;
      if (precision > needed) precision = needed;
    }
    bool point = precision != 0 || d.alternate;
    int64_t exponent = digits.point - 1;

    char exponentText[8];
    int exponentLength = 0;
    if (showExponent) {
      exponentText[exponentLength++] = c;
      exponentText[exponentLength++] = exponent < 0 ? '-' : '+';
      int64_t magnitude = exponent < 0 ? -exponent : exponent;
      char reversed[8];
      int n = 0;
      do {
        reversed[n++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
      } while (magnitude != 0 || n < 3);
      while (n > 0) exponentText[exponentLength++] = reversed[--n];
    }
    int64_t integerLength = fixed ? (digits.point > 0 ? digits.point : 1) : 1;
    int64_t length =
        integerLength + (point ? 1 : 0) + precision + exponentLength;

    char sign = d.sign;
    if (!PadBefore(d.width, length, sign, d.zero, d.left)) return false;
    if (fixed && digits.point > 0) {
      if (!PutDigits(digits, 0, digits.point)) return false;
    } else if (fixed) {
      if (!out_.Put(static_cast<Unit>('0'))) return false;
    } else if (!out_.Put(static_cast<Unit>(digits.digits[0]))) {
      return false;
    }
    if (point && !out_.Put(static_cast<Unit>(DecimalPoint()))) return false;
    int64_t from = fixed ? digits.point : 1;
    if (precision > 0 && !PutDigits(digits, from, from + precision)) {
      return false;
    }
    return out_.PutAscii(exponentText, exponentLength) &&
           PadAfter(d.width, length, sign, d.left);
  }

  // Digits [from, to) of the expansion, zeros outside the significant ones,
  // written in runs so that a huge precision costs nothing.
  bool PutDigits(const Digits& d, int64_t from, int64_t to) {
    if (from < 0) {
      int64_t zeros = (to < 0 ? to : 0) - from;
      if (!out_.Repeat(static_cast<Unit>('0'), zeros)) return false;
      from += zeros;
    }
    int64_t end = to < d.count ? to : d.count;
    for (; from < end; ++from) {
      if (!out_.Put(static_cast<Unit>(DigitAt(d, from)))) return false;
    }
    return out_.Repeat(static_cast<Unit>('0'), to - from);
  }

  Sink<Unit>& out_;
  Arguments& args_;
  bool unknown_ = false;
};

template <typename Unit>
int Format(Unit* buffer, std::size_t limit, const Unit* format, va_list args) {
  if (format == nullptr) return -1;
  Sink<Unit> sink(buffer, limit);
  Arguments copy;
  va_copy(copy.list, args);
  bool done = Formatter<Unit>(&sink, &copy).Run(format);
  va_end(copy.list);
  if (!done) return -1;
  int64_t count = sink.used();
  if (buffer != nullptr && static_cast<std::size_t>(count) < limit) {
    buffer[count] = 0;
  }
  return static_cast<int>(count);
}

}  // namespace

namespace platform {

// _vsnprintf
//
// PARAMS   buffer [O] at least `limit` bytes, or nullptr to count;
//          limit [I] most bytes to write; format [I] msvcrt directives;
//          args [I] the arguments, read from a copy
// RETURNS  the text's length when it fits in `limit` (a terminator follows
//          only when there is room for it); -1 when it doesn't fit, for a
//          null format, a %S text the locale can't convert or a field too
//          wide for an int
// NOTES    %s is 8-bit text, %S 16-bit text through platform::wcstombs. The
//          rows of tests/platform/data/format.txt hold msvcrt's answers and
//          pass on both builds.
int _vsnprintf(char* buffer, std::size_t limit, const char* format,
               va_list args) {
  return Format(buffer, limit, format, args);
}

// _vsnwprintf
//
// PARAMS   as _vsnprintf, in 16-bit units
// RETURNS  as _vsnprintf
// NOTES    %s is 16-bit text, %S 8-bit text through platform::mbstowcs. A %S
//          width counts the bytes of the argument, as msvcrt does.
int _vsnwprintf(WCHAR* buffer, std::size_t limit, const WCHAR* format,
                va_list args) {
  return Format(buffer, limit, format, args);
}

// _vscprintf
//
// PARAMS   format [I]; args [I] read from a copy
// RETURNS  the length _vsnprintf would produce with unlimited room; -1 when it
//          would fail for another reason, or beyond INT_MAX
int _vscprintf(const char* format, va_list args) {
  return Format<char>(nullptr, 0, format, args);
}

// _vscwprintf
//
// PARAMS   format [I]; args [I] read from a copy
// RETURNS  as _vscprintf, in 16-bit units
int _vscwprintf(const WCHAR* format, va_list args) {
  return Format<WCHAR>(nullptr, 0, format, args);
}

}  // namespace platform
