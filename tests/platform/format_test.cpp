// The formatters against the Windows run-time's own answers. Every expected
// value here was recorded from msvcrt (built with mingw-w64, run under Wine),
// and the same rows pass natively (platform/posix/crt_format.cpp) and in the
// Windows build (msvcrt behind platform/windows/crt.h). A row that fails on
// one build only is a difference between the two formatters.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <deque>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/platform.h"

#include "test_support.h"

namespace {

constexpr int kSameAsResult = INT_MIN;
constexpr int kDontCount = INT_MIN + 1;
constexpr std::size_t kCanary = 4;
constexpr unsigned kMark = 0x5A;

// What one call gave: the result, the text before it, whether a terminator
// followed, whether the units behind the limit stayed untouched, and what the
// counting formatter said for the same list afterwards.
struct Outcome {
  int result = 0;
  std::u16string text;
  bool terminated = false;
  bool canaryIntact = false;
  int needed = 0;
};

inline int Format(char* b, std::size_t n, const char* f, va_list a) {
  return platform::_vsnprintf(b, n, f, a);
}
inline int Format(WCHAR* b, std::size_t n, const WCHAR* f, va_list a) {
  return platform::_vsnwprintf(b, n, f, a);
}
inline int Count(const char* f, va_list a) {
  return platform::_vscprintf(f, a);
}
inline int Count(const WCHAR* f, va_list a) {
  return platform::_vscwprintf(f, a);
}

// One call of the 8-bit (Unit = char) or the 16-bit formatter, with the
// format given in ASCII and the text arguments made on demand. Own() is text
// of the formatter's unit (%s), Other() of the other encoding (%S).
template <typename Unit>
class Call {
 public:
  using OtherUnit = std::conditional_t<std::is_same_v<Unit, char>, WCHAR, char>;

  // `count`: whether to run the counting formatter too (it walks a huge
  // field a unit at a time under msvcrt).
  Call(const char* format, std::size_t limit, bool count = true)
      : limit_(limit), count_(count) {
    if (format != nullptr) format_ = &Store<Unit>(format);
  }

  const Unit* format() const {
    return format_ == nullptr ? nullptr : format_->c_str();
  }

  // Runs the formatter, then the counting formatter on the same list, which
  // the first must have left unread.
  Outcome Run(const Unit* format, ...) {
    std::vector<Unit> buffer(limit_ + kCanary, static_cast<Unit>(kMark));
    va_list args;
    va_start(args, format);
    Outcome out;
    out.result = Format(buffer.data(), limit_, format, args);
    out.needed = count_ ? Count(format, args) : kDontCount;
    va_end(args);
    for (int i = 0; i < out.result; ++i) {
      out.text.push_back(static_cast<char16_t>(
          static_cast<std::make_unsigned_t<Unit>>(buffer[i])));
    }
    out.terminated = out.result >= 0 &&
                     static_cast<std::size_t>(out.result) < limit_ &&
                     buffer[out.result] == 0;
    out.canaryIntact = true;
    for (std::size_t i = limit_; i < buffer.size(); ++i) {
      if (buffer[i] != static_cast<Unit>(kMark)) out.canaryIntact = false;
    }
    return out;
  }

  const char* Narrow(const char* text) {
    return text == nullptr ? nullptr : Store<char>(text).c_str();
  }
  const WCHAR* Wide(const char* text) {
    return text == nullptr ? nullptr : Store<WCHAR>(text).c_str();
  }
  const WCHAR* WideUnits(std::initializer_list<unsigned> units) {
    wide_.emplace_back();
    for (unsigned u : units) wide_.back().push_back(static_cast<WCHAR>(u));
    return wide_.back().c_str();
  }
  const Unit* Own(const char* text) {
    return text == nullptr ? nullptr : Store<Unit>(text).c_str();
  }
  const OtherUnit* Other(const char* text) {
    return text == nullptr ? nullptr : Store<OtherUnit>(text).c_str();
  }
  // "abc" with no terminator, in a block of exactly three units.
  const Unit* Unterminated() {
    raw_.reset(new Unit[3]{'a', 'b', 'c'});
    return raw_.get();
  }

 private:
  // Each byte becomes the unit of the same value.
  template <typename T>
  const std::basic_string<T>& Store(const char* text) {
    std::basic_string<T> s;
    for (; *text != 0; ++text) {
      s.push_back(static_cast<T>(static_cast<unsigned char>(*text)));
    }
    if constexpr (std::is_same_v<T, char>) {
      narrow_.push_back(s);
      return narrow_.back();
    } else {
      wide_.push_back(s);
      return wide_.back();
    }
  }

  std::size_t limit_;
  bool count_;
  const std::basic_string<Unit>* format_ = nullptr;
  std::deque<std::string> narrow_;
  std::deque<std::basic_string<WCHAR>> wide_;
  std::unique_ptr<Unit[]> raw_;
};

using Call8 = Call<char>;
using Call16 = Call<WCHAR>;

// A row's arguments, for each formatter: the same expression compiled twice,
// so that t.Own("x") is 8-bit text in one and 16-bit text in the other. Rows
// whose format reads nothing pass a 0 that stays unread.
struct Args {
  Outcome (*narrow)(Call8&);
  Outcome (*wide)(Call16&);
};
#define ARGS(...)                                                \
  Args {                                                         \
    [](Call8& t) { return t.Run(t.format(), __VA_ARGS__); },     \
        [](Call16& t) { return t.Run(t.format(), __VA_ARGS__); } \
  }

enum Target { kBoth, k8Only, k16Only };
enum Locales { kAnyLocale, kSingleByteOnly };

struct Row {
  const char* name;
  const char* format;
  Args args;
  const char* text;  // expected, `result` bytes; each byte is one 16-bit unit
  int result;
  Target target = kBoth;
  Locales locales = kAnyLocale;
  int needed = kSameAsResult;  // what the counting formatter says
  std::size_t limit = 64;
};

void* Ptr(std::uint64_t value) {
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(value));
}
const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kNegativeNaN = std::copysign(kNaN, -1.0);

std::u16string Widen(const char* text, int length) {
  std::u16string s;
  for (int i = 0; i < length; ++i) {
    s.push_back(static_cast<char16_t>(static_cast<unsigned char>(text[i])));
  }
  return s;
}

template <typename Unit>
void Check(const Row& row, Outcome (*args)(Call<Unit>&)) {
  SCOPED_TRACE(std::string(row.name) +
               (sizeof(Unit) == 1 ? " [8-bit]" : " [16-bit]"));
  int needed = row.needed == kSameAsResult ? row.result : row.needed;
  Call<Unit> call(row.format, row.limit, needed != kDontCount);
  Outcome out = args(call);
  EXPECT_EQ(row.result, out.result);
  if (row.result >= 0 && out.result == row.result) {
    EXPECT_EQ(Widen(row.text, row.result), out.text);
    if (static_cast<std::size_t>(row.result) < row.limit) {
      EXPECT_TRUE(out.terminated) << "no terminator although there was room";
    }
  }
  EXPECT_TRUE(out.canaryIntact) << "wrote past the limit";
  if (needed != kDontCount) {
    EXPECT_EQ(needed, out.needed) << "counting";
  }
}

// A row of the limit table: both formatters, any locale.
Row AtLimit(const char* name, const char* format, Args args, const char* text,
            int result, int needed, std::size_t limit) {
  return {name, format, args, text, result, kBoth, kAnyLocale, needed, limit};
}

void CheckAll(const Row* rows, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const Row& row = rows[i];
    if (row.locales == kSingleByteOnly && kztest::MultibyteLocale()) continue;
    if (row.target != k16Only) Check<char>(row, row.args.narrow);
    if (row.target != k8Only) Check<WCHAR>(row, row.args.wide);
  }
}

// Integer directives: flags, width, precision and the size prefixes as msvcrt
// reads them. Catches a C-library reading of "%Ld", "%hhd", "%ld", "I", "z"
// and the '0' flag with a precision.
TEST(Format, Integers) {
  static const Row rows[] = {
      {"d", "%d", ARGS(42), "42", 2},
      {"d negative", "%d", ARGS(-42), "-42", 3},
      {"i", "%i", ARGS(7), "7", 1},
      {"u of -1", "%u", ARGS(-1), "4294967295", 10},
      {"x", "%x", ARGS(255), "ff", 2},
      {"d INT_MIN", "%d", ARGS(INT_MIN), "-2147483648", 11},
      {"o of -1", "%o", ARGS(-1), "37777777777", 11},
      {"width", "[%5d]", ARGS(42), "[   42]", 7},
      {"left", "[%-5d]", ARGS(42), "[42   ]", 7},
      {"zero", "[%05d]", ARGS(42), "[00042]", 7},
      {"zero negative", "[%05d]", ARGS(-42), "[-0042]", 7},
      {"zero digits repeated", "[%007d]", ARGS(42), "[0000042]", 9},
      {"plus", "%+d", ARGS(42), "+42", 3},
      {"space", "% d", ARGS(42), " 42", 3},
      {"plus beats space", "% +d", ARGS(42), "+42", 3},
      {"plus width", "[%+5d]", ARGS(42), "[  +42]", 7},
      {"plus zero", "[%+05d]", ARGS(42), "[+0042]", 7},
      {"space zero", "[% 05d]", ARGS(42), "[ 0042]", 7},
      {"left beats zero", "[%-05d]", ARGS(42), "[42   ]", 7},
      {"zero then left", "[%0-5d]", ARGS(42), "[42   ]", 7},
      {"precision", "%.3d", ARGS(7), "007", 3},
      {"precision 0 of 0", "[%.0d]", ARGS(0), "[]", 2},
      {"width, precision 0 of 0", "[%5.0d]", ARGS(0), "[     ]", 7},
      {"zero flag with precision", "[%05.3d]", ARGS(7), "[00007]", 7},
      {"wide precision", "[%.20d]", ARGS(42), "[00000000000000000042]", 22},
      {"sign only for d and i", "%+u %+x % o", ARGS(5, 5, 5), "5 5 5", 5},
      {"sign for x dropped with zero", "[%+05x]", ARGS(8), "[00008]", 7},
      {"alternate o", "%#o", ARGS(8), "010", 3},
      {"alternate o of 0", "%#o", ARGS(0), "0", 1},
      {"alternate o with precision", "[%#.3o]", ARGS(8), "[010]", 5},
      {"alternate o, precision 0 of 0", "[%#.0o]", ARGS(0), "[]", 2},
      {"alternate x", "%#x", ARGS(255), "0xff", 4},
      {"alternate X", "%#X", ARGS(255), "0XFF", 4},
      {"alternate x of 0", "%#x", ARGS(0), "0", 1},
      {"alternate x negative", "%#x", ARGS(-1), "0xffffffff", 10},
      {"alternate zero x", "[%#08x]", ARGS(255), "[0x0000ff]", 10},
      {"alternate zero x of 0", "[%#08x]", ARGS(0), "[00000000]", 10},
      {"alternate zero x, precision", "[%#010.4x]", ARGS(255), "[0x000000ff]",
       12},
      {"alternate left x", "[%#-8x]", ARGS(255), "[0xff    ]", 10},
      {"alternate d", "%#d", ARGS(5), "5", 1},
      {"star width", "[%*d]", ARGS(5, 42), "[   42]", 7},
      {"star width negative", "[%*d]", ARGS(-5, 42), "[42   ]", 7},
      {"star width INT_MIN", "[%*d]", ARGS(INT_MIN, 1), "[1]", 3},
      {"star precision", "[%.*d]", ARGS(3, 7), "[007]", 5},
      {"star precision negative", "[%.*d]", ARGS(-1, 7), "[7]", 3},
      {"star both", "[%*.*d]", ARGS(6, 3, 7), "[   007]", 8},
      {"digits after star", "[%*5d]", ARGS(1, 3), "[              3]", 17},
      {"width wraps at 32 bits", "[%4294967298d]", ARGS(1), "[ 1]", 4},
      {"width wraps negative", "[%2147483648d]", ARGS(1), "[1]", 3},
      {"precision wraps", "[%.4294967298d]", ARGS(1), "[01]", 4},
      {"h", "%hd", ARGS(65537), "1", 1},
      {"h negative", "%hd", ARGS(32768), "-32768", 6},
      {"hx", "%hx", ARGS(-1), "ffff", 4},
      {"hh is h", "%hhd %hhx", ARGS(257, 0x1234), "257 1234", 8},
      {"l is 32 bits", "%ld %lx", ARGS(123, -1), "123 ffffffff", 12},
      {"last of h and l", "%hld %lhd", ARGS(65537, 65537), "65537 1", 7},
      {"ll", "%lld", ARGS(-1234567890123LL), "-1234567890123", 14},
      {"ll x", "%llx", ARGS(-1LL), "ffffffffffffffff", 16},
      {"ll u", "%llu", ARGS(-1LL), "18446744073709551615", 20},
      {"ll o", "%llo", ARGS(-1LL), "1777777777777777777777", 22},
      {"ll LLONG_MIN", "%lld", ARGS(LLONG_MIN), "-9223372036854775808", 20},
      {"ll and l", "%llld", ARGS(-5LL), "-5", 2},
      {"I64", "%I64d", ARGS(-1234567890123LL), "-1234567890123", 14},
      {"I64 X", "%I64X", ARGS(0x123456789abLL), "123456789AB", 11},
      {"I32", "%I32d %d", ARGS(-5, 6), "-5 6", 4},
      {"I is pointer-sized", "%Id %Ix", ARGS(-1234567890123LL, -1LL),
       "-1234567890123 ffffffffffffffff", 31},
      {"z is pointer-sized", "%zu", ARGS(-1LL), "18446744073709551615", 20},
      {"t is pointer-sized", "%td", ARGS(-2LL), "-2", 2},
      {"j", "%jd", ARGS(-1234567890123LL), "-1234567890123", 14},
      {"L is ignored", "%Ld %d", ARGS(5, 6), "5 6", 3},
      {"L before x", "%Lx %d", ARGS(-1, 6), "ffffffff 6", 10},
      {"L before ll", "%Lld", ARGS(-5LL), "-5", 2},
      {"F and N are ignored", "%Fd %Nd", ARGS(3, 4), "3 4", 3},
      {"w on a number", "%wd", ARGS(3), "3", 1},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// What msvcrt does with what isn't a directive: an unknown letter prints
// nothing and then stands as text, consuming no argument; a '%' after flags
// starts a new directive. Catches a formatter that fails or skips instead.
TEST(Format, UnknownAndCutDirectives) {
  static const Row rows[] = {
      {"unknown letter", "a%yb", ARGS(0), "ayb", 3},
      {"unknown letter with width", "a%5yb", ARGS(0), "ayb", 3},
      {"unknown reads nothing", "%q%d", ARGS(5), "q5", 2},
      {"z before s", "%zs", ARGS(0), "zs", 2},
      {"I before s", "%Is", ARGS(0), "Is", 2},
      {"I6 is no size", "%I6d", ARGS(5), "I6d", 3},
      {"percent", "100%%", ARGS(0), "100%", 4},
      {"percent after a width", "[%5%]", ARGS(0), "[]", 2},
      {"percent after flags starts again", "[%-%d]", ARGS(5), "[5]", 3},
      {"star after a width", "[%5*d]", ARGS(0), "[*d]", 4},
      {"second point", "[%.5.3d]", ARGS(7), "[.3d]", 5},
      {"position is a width", "[%1$d]", ARGS(5), "[$d]", 4},
      {"flag after a width", "[%5-d]", ARGS(7), "[-d]", 4},
      {"F without a conversion", "[%F]", ARGS(0), "[]", 2},
      {"percent at the end", "ab%", ARGS(0), "ab", 2},
      {"flags at the end", "ab%-05", ARGS(0), "ab", 2},
      {"point at the end", "ab%5.", ARGS(0), "ab", 2},
      {"I at the end", "ab%I", ARGS(0), "abI", 3},
      {"I64 at the end", "ab%I64", ARGS(0), "ab", 2},
      {"l at the end", "ab%l", ARGS(0), "ab", 2},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// %c and %s in both formatters: the own and the other encoding, the size
// prefixes that choose between them, width, precision, the '0' flag and null.
// Catches the 16-bit formatter reading %s as 8-bit text (or %S the other way)
// and a precision that doesn't stop the read.
TEST(Format, CharactersAndText) {
  static const Row rows[] = {
      {"c", "%c", ARGS('A'), "A", 1},
      {"c width", "[%3c]", ARGS('A'), "[  A]", 5},
      {"c left", "[%-3c]", ARGS('A'), "[A  ]", 5},
      {"c zero flag", "[%03c]", ARGS('A'), "[00A]", 5},
      {"c precision 0", "[%.0c]", ARGS('A'), "[]", 2},
      {"c precision 0, width", "[%3.0c]", ARGS('A'), "[   ]", 5},
      {"c no sign", "[%+c]", ARGS('A'), "[A]", 3},
      {"c takes the low unit", "%c", ARGS(0x10041), "A", 1},
      {"c of zero", "[%c]", ARGS(0), "[\0]", 3},
      {"C", "%C", ARGS('A'), "A", 1},
      {"hc", "%hc", ARGS('A'), "A", 1},
      {"lc", "%lc", ARGS('A'), "A", 1},
      {"s", "%s", ARGS(t.Own("abc")), "abc", 3},
      {"s width", "[%5s]", ARGS(t.Own("abc")), "[  abc]", 7},
      {"s left", "[%-5s]", ARGS(t.Own("abc")), "[abc  ]", 7},
      {"s precision", "[%.2s]", ARGS(t.Own("abc")), "[ab]", 4},
      {"s width and precision", "[%5.1s]", ARGS(t.Own("abc")), "[    a]", 7},
      {"s zero flag", "[%05s]", ARGS(t.Own("abc")), "[00abc]", 7},
      {"s ignores sign and #", "[%+s|%#s]", ARGS(t.Own("ab"), t.Own("cd")),
       "[ab|cd]", 7},
      {"s star precision negative", "[%.*s]", ARGS(-2, t.Own("abc")), "[abc]",
       5},
      {"s precision stops the read", "[%.3s]", ARGS(t.Unterminated()), "[abc]",
       5},
      {"s huge precision", "%.2147483647s", ARGS(t.Own("abc")), "abc", 3},
      {"s null", "[%s]", ARGS(t.Own(nullptr)), "[(null)]", 8},
      {"s null precision", "[%.3s]", ARGS(t.Own(nullptr)), "[(nu]", 5},
      {"s null width", "[%8s]", ARGS(t.Own(nullptr)), "[  (null)]", 10},
      {"S", "%S", ARGS(t.Other("abc")), "abc", 3},
      {"S width", "[%5S]", ARGS(t.Other("abc")), "[  abc]", 7},
      {"S precision", "[%.2S]", ARGS(t.Other("abc")), "[ab]", 4},
      {"S null", "[%S]", ARGS(t.Other(nullptr)), "[(null)]", 8},
      {"hs", "%hs", ARGS(t.Narrow("abc")), "abc", 3},
      {"hS", "%hS", ARGS(t.Narrow("abc")), "abc", 3},
      {"ls", "%ls", ARGS(t.Wide("abc")), "abc", 3},
      {"lS", "%lS", ARGS(t.Wide("abc")), "abc", 3},
      {"ws", "%ws", ARGS(t.Wide("abc")), "abc", 3},
      {"last of h and l", "%hls|%lhs", ARGS(t.Wide("ab"), t.Narrow("cd")),
       "ab|cd", 5},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// %p and %n. Catches a C-library pointer format ("0x..." in lower case,
// "(nil)") and a zero flag that pads a pointer with zeros.
TEST(Format, Pointers) {
  static const Row rows[] = {
      {"p", "%p", ARGS(Ptr(0x1234abcd)), "000000001234ABCD", 16},
      {"p 64 bits", "%p", ARGS(Ptr(0xfedcba9876543210ULL)), "FEDCBA9876543210",
       16},
      {"p null", "%p", ARGS(Ptr(0)), "0000000000000000", 16},
      {"p alternate", "%#p", ARGS(Ptr(0x1234abcd)), "0X000000001234ABCD", 18},
      {"p width", "[%20p]", ARGS(Ptr(0x1234abcd)), "[    000000001234ABCD]",
       22},
      {"p left", "[%-20p]", ARGS(Ptr(0x1234abcd)), "[000000001234ABCD    ]",
       22},
      {"p zero flag ignored", "[%020p]", ARGS(Ptr(0x1234abcd)),
       "[    000000001234ABCD]", 22},
      {"p precision cuts", "[%.4p]", ARGS(Ptr(0x1234abcd)), "[0000]", 6},
      {"p sign ignored", "[%+p]", ARGS(Ptr(0x1234abcd)), "[000000001234ABCD]",
       18},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// Floating point exactly as msvcrt prints it: exact decimal digits, halves
// rounded away from zero, three-digit exponents, the %g choice and its
// trimming, and %a. Catches glibc's round-half-even, two-digit exponents and
// any shortcut through a limited number of digits.
TEST(Format, FloatingPoint) {
  static const Row rows[] = {
      {"f", "%f", ARGS(1.0), "1.000000", 8},
      {"e", "%e", ARGS(1.0), "1.000000e+000", 13},
      {"E", "%E", ARGS(1.0), "1.000000E+000", 13},
      {"g", "%g", ARGS(1.0), "1", 1},
      {"G small", "%G", ARGS(1e-10), "1E-010", 6},
      {"f pi", "%f", ARGS(3.14159265358979), "3.141593", 8},
      {"e pi", "%e", ARGS(3.14159265358979), "3.141593e+000", 13},
      {"g pi", "%g", ARGS(3.14159265358979), "3.14159", 7},
      {"g 0.0001", "%g", ARGS(0.0001), "0.0001", 6},
      {"g 0.00001", "%g", ARGS(0.00001), "1e-005", 6},
      {"g 123456", "%g", ARGS(123456.0), "123456", 6},
      {"g 1234567", "%g", ARGS(1234567.0), "1.23457e+006", 12},
      {"g 1e6", "%g", ARGS(1e6), "1e+006", 6},
      {"g 1e100", "%g", ARGS(1e100), "1e+100", 6},
      {"g 1.5e-5", "%g", ARGS(1.5e-5), "1.5e-005", 8},
      {"g precision 3", "%.3g", ARGS(3.14159), "3.14", 4},
      {"g precision 2 of 100", "%.2g", ARGS(100.0), "1e+002", 6},
      {"g precision 0", "%.0g", ARGS(1.5), "2", 1},
      {"g precision 0 of 25", "%.0g", ARGS(25.0), "3e+001", 6},
      {"g alternate", "%#g", ARGS(1.0), "1.00000", 7},
      {"g alternate precision 0", "%#.0g", ARGS(1.5), "2.", 2},
      {"g alternate 1e10", "%#g", ARGS(1e10), "1.00000e+010", 12},
      {"g 0", "%g", ARGS(0.0), "0", 1},
      {"g alternate 0", "%#g", ARGS(0.0), "0.00000", 7},
      {"g -0", "%g", ARGS(-0.0), "-0", 2},
      {"g rounds into an exponent", "%g", ARGS(999999.5), "1e+006", 6},
      {"g rounds up a digit", "%g", ARGS(9.9999995), "10", 2},
      {"g 0.95 is below", "%.1g", ARGS(0.95), "0.9", 3},
      {"half up 0.5", "%.0f", ARGS(0.5), "1", 1},
      {"half up 2.5", "%.0f", ARGS(2.5), "3", 1},
      {"half up -2.5", "%.0f", ARGS(-2.5), "-3", 2},
      {"half up 0.25", "%.1f", ARGS(0.25), "0.3", 3},
      {"half up e", "%.0e", ARGS(2.5), "3e+000", 6},
      {"half up e 0.25", "%.1e", ARGS(0.25), "2.5e-001", 8},
      {"0.35 is below", "%.1f", ARGS(0.35), "0.3", 3},
      {"1.005 is below", "%.2f", ARGS(1.005), "1.00", 4},
      {"0.05 is above", "%.1f", ARGS(0.05), "0.1", 3},
      {"carry into a new digit", "%f", ARGS(999.9999996), "1000.000000", 11},
      {"carry 9.5", "%.0f", ARGS(9.5), "10", 2},
      {"tiny rounds to 0", "%f", ARGS(1e-7), "0.000000", 8},
      {"f -0", "%f", ARGS(-0.0), "-0.000000", 9},
      {"f plus 0", "%+f", ARGS(0.0), "+0.000000", 9},
      {"e 0", "%e", ARGS(0.0), "0.000000e+000", 13},
      {"e -0", "%e", ARGS(-0.0), "-0.000000e+000", 14},
      {"f alternate", "%#.0f", ARGS(3.0), "3.", 2},
      {"e alternate", "%#.0e", ARGS(3.0), "3.e+000", 7},
      {"exact digits of 0.1", "%.60f", ARGS(0.1),
       "0.100000000000000005551115123125782702118158340454101562500000", 62},
      {"exact digits e", "%.20e", ARGS(0.1), "1.00000000000000005551e-001", 27},
      {"g 17 digits", "%.17g", ARGS(0.1), "0.10000000000000001", 19},
      {"e largest", "%e", ARGS(1.7976931348623157e308), "1.797693e+308", 13},
      {"e smallest normal", "%e", ARGS(2.2250738585072014e-308),
       "2.225074e-308", 13},
      {"e subnormal", "%e", ARGS(4.9406564584124654e-324), "4.940656e-324", 13},
      {"e subnormal digits", "%.17e", ARGS(4.9406564584124654e-324),
       "4.94065645841246544e-324", 24},
      {"f width", "[%10.3f]", ARGS(-3.14159), "[    -3.142]", 12},
      {"f left", "[%-10.3f]", ARGS(3.14159), "[3.142     ]", 12},
      {"f zero", "[%010.3f]", ARGS(-3.14159), "[-00003.142]", 12},
      {"f plus", "[%+.2f]", ARGS(3.14159), "[+3.14]", 7},
      {"f space", "[% .2f]", ARGS(3.14159), "[ 3.14]", 7},
      {"e plus zero", "[%+012.2e]", ARGS(3.14159), "[+003.14e+000]", 14},
      {"sizes are ignored", "%lf|%Lf|%hf", ARGS(1.5, 1.5, 1.5),
       "1.500000|1.500000|1.500000", 26},
      {"F is a size", "%Ff", ARGS(1.5), "1.500000", 8},
      {"a", "%a", ARGS(1.0), "0x1.0000000000000p+0", 20},
      {"A", "%A", ARGS(1.0), "0X1.0000000000000P+0", 20},
      {"a pi", "%a", ARGS(3.14159265358979), "0x1.921fb54442d11p+1", 20},
      {"a precision 2", "%.2a", ARGS(3.14159265358979), "0x1.92p+1", 9},
      {"a precision 0", "%.0a", ARGS(1.5), "0x2p+0", 6},
      {"a alternate precision 0", "%#.0a", ARGS(1.0), "0x1.p+0", 7},
      {"a rounds up from 8", "%.1a", ARGS(1.03125), "0x1.1p+0", 8},
      {"a carry into the lead", "%.12a", ARGS(1.9999999999999998),
       "0x2.000000000000p+0", 19},
      {"a 0", "%a", ARGS(0.0), "0x0.0000000000000p+0", 20},
      {"a subnormal", "%a", ARGS(4.9406564584124654e-324),
       "0x0.0000000000001p-1022", 23},
      {"a 1e300", "%a", ARGS(1e300), "0x1.7e43c8800759cp+996", 22},
      {"a negative", "%a", ARGS(-2.0), "-0x1.0000000000000p+1", 21},
      {"a precision 20", "%.20a", ARGS(1.0), "0x1.00000000000000000000p+0", 27},
      {"a zero pads after 0x", "[%025a]", ARGS(-1.0),
       "[-0x00001.0000000000000p+0]", 27},
      {"a left pads before p", "[%-25a]", ARGS(1.0),
       "[0x1.0000000000000     p+0]", 27},
      {"a left, long precision", "[%-.20a]", ARGS(1.0),
       "[0x1.0000000000000p+0       ]", 29},
      {"e negative precision", "%.*e", ARGS(-3, -4.024669e+103), "-0.e+103", 8},
      {"e negative precision past a block", "%.*e", ARGS(-5, -4.024669e+103),
       "-0.e+104", 8},
      {"e negative precision, full block up", "%.*e", ARGS(-2, 0.6), "1.e+000",
       7},
      {"g negative precision, width", "[%14.*g]", ARGS(-2, 1.0),
       "[              0.]", 18},
      {"g negative precision, fixed form", "%.*g", ARGS(-2, 0.0006), "0", 1},
      {"g negative precision, alternate", "%#.*g", ARGS(-2, 0.0006), "0.0", 3},
      {"f negative precision", "%.*f", ARGS(-2, 123456.789), "123500.", 7},
      {"f negative precision pads", "%.*f", ARGS(-10, 123456.789), "  0000000.",
       10},
      {"e INT_MIN precision, width", "[%14.*e]", ARGS(INT_MIN, 1.0),
       "[ 1.e+000]", 10},
      {"e INT_MIN precision, left", "[%-14.*e]", ARGS(INT_MIN, 1.0),
       "[1.e+000]", 9},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// Infinities and NaNs in msvcrt's spelling, which a precision cuts and
// "rounds" like digits and a width lays out in two parts. Catches "inf" and
// "nan", a lost sign on a negative NaN, and a tail of zeros under '-'.
TEST(Format, InfinityAndNaN) {
  static const Row rows[] = {
      {"f inf", "%f", ARGS(kInf), "1.#INF00", 8},
      {"f -inf", "%f", ARGS(-kInf), "-1.#INF00", 9},
      {"f nan", "%f", ARGS(kNaN), "1.#QNAN0", 8},
      {"f negative nan", "%f", ARGS(kNegativeNaN), "-1.#IND00", 9},
      {"e inf", "%e", ARGS(kInf), "1.#INF00e+000", 13},
      {"E inf", "%E", ARGS(kInf), "1.#INF00E+000", 13},
      {"e nan", "%e", ARGS(kNaN), "1.#QNAN0e+000", 13},
      {"e negative nan", "%e", ARGS(kNegativeNaN), "-1.#IND00e+000", 14},
      {"g inf", "%g", ARGS(kInf), "1.#INF", 6},
      {"G nan", "%G", ARGS(kNaN), "1.#QNAN", 7},
      {"g negative nan", "%g", ARGS(kNegativeNaN), "-1.#IND", 7},
      {"precision 0", "%.0f", ARGS(kInf), "1", 1},
      {"precision 1", "%.1f", ARGS(kInf), "1.$", 3},
      {"precision 2", "%.2f", ARGS(kInf), "1.#J", 4},
      {"precision 3", "%.3f", ARGS(kInf), "1.#IO", 5},
      {"precision 4", "%.4f", ARGS(kInf), "1.#INF", 6},
      {"precision 5", "%.5f", ARGS(kInf), "1.#INF0", 7},
      {"nan precision 2", "%.2f", ARGS(kNaN), "1.#R", 4},
      {"nan precision 3", "%.3f", ARGS(kNaN), "1.#QO", 5},
      {"nan precision 4", "%.4f", ARGS(kNaN), "1.#QNB", 6},
      {"negative nan precision 2", "%.2f", ARGS(kNegativeNaN), "-1.#J", 5},
      {"e precision 0", "%.0e", ARGS(kInf), "1e+000", 6},
      {"e precision 1", "%.1e", ARGS(kInf), "1.$e+000", 8},
      {"g precision 1", "%.1g", ARGS(kInf), "1", 1},
      {"g precision 2", "%.2g", ARGS(kInf), "1.$", 3},
      {"g precision 3 nan", "%.3g", ARGS(kNaN), "1.#R", 4},
      {"g alternate", "%#g", ARGS(kInf), "1.#INF", 6},
      {"width", "[%12f]", ARGS(kInf), "[    1.#INF00]", 14},
      {"left", "[%-12f]", ARGS(kInf), "[1.#INF      ]", 14},
      {"zero", "[%012f]", ARGS(kInf), "[00001.#INF00]", 14},
      {"zero negative", "[%012f]", ARGS(-kInf), "[-0001.#INF00]", 14},
      {"plus", "[%+f]", ARGS(kInf), "[+1.#INF00]", 11},
      {"space", "[% f]", ARGS(kInf), "[ 1.#INF00]", 11},
      {"plus zero nan", "[%+012f]", ARGS(kNaN), "[+0001.#QNAN0]", 14},
      {"left plus nan", "[%-+12f]", ARGS(kNaN), "[+1.#QNAN    ]", 14},
      {"width under the length", "[%3f]", ARGS(kInf), "[1.#INF00]", 10},
      {"width and precision 1", "[%12.1f]", ARGS(kInf), "[         1.$]", 14},
      {"e width", "[%15e]", ARGS(kNaN), "[  1.#QNAN0e+000]", 17},
      {"e left", "[%-15e]", ARGS(kInf), "[1.#INF  e+000  ]", 17},
      {"e left precision 2", "[%-15.2e]", ARGS(kInf), "[1.#J        e+000]",
       19},
      {"e zero precision 2", "[%015.2e]", ARGS(-kInf), "[-00000001.#Je+000]",
       19},
      {"a inf", "%a", ARGS(kInf), "0x1.#INF000000000p+0", 20},
      {"a negative nan", "%a", ARGS(kNegativeNaN), "-0x1.#IND000000000p+0", 21},
      {"a precision 1", "%.1a", ARGS(kInf), "0x1.$p+0", 8},
      {"a zero", "[%020a]", ARGS(kInf), "[0x1.#INF000000000p+0]", 22},
      {"e negative precision", "%.*e", ARGS(-2, kInf), "1.#INFe+000", 11},
      {"e left negative precision", "[%-14.*e]", ARGS(-2, kInf),
       "[1.#INF        e+000]", 21},
      {"a negative precision", "%.*a", ARGS(-2, kInf), "0x1.#INFp+0", 11},
      {"f INT_MIN precision", "%.*f", ARGS(INT_MIN, kInf), "", -1, kBoth,
       kAnyLocale, kDontCount},
      {"g INT_MIN precision", "%.*g", ARGS(INT_MIN, kInf), "1.#INF", 6},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// Calls that fail whatever the room: a null format, text the locale can't
// convert, a field too wide for msvcrt's int. And a character that can't be
// converted, which msvcrt drops unless padding went out before it.
TEST(Format, Rejected) {
  static const Row rows[] = {
      {"null format", nullptr, ARGS(0), "", -1},
      {"lone surrogate in %S", "[%ls]", ARGS(t.WideUnits({'a', 0xD800, 0})), "",
       -1, k8Only},
      {"width too wide for an int", "%2147483647d", ARGS(1), "", -1},
      {"precision too wide for an int", "%.2147483647x", ARGS(1), "", -1},
      {"unconvertible character dropped", "[%C]", ARGS(0xD800), "[]", 2,
       k8Only},
      {"unconvertible character, left", "[%-3C]", ARGS(0xD800), "[]", 2,
       k8Only},
      {"unconvertible character after padding", "[%3C]", ARGS(0xD800), "", -1,
       k8Only, kAnyLocale, 2},
      {"unconvertible character, precision 0", "[%3.0C]", ARGS(0xD800), "[   ]",
       5, k8Only},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// Conversions in the "C" locale, where msvcrt maps byte and unit of the same
// value onto each other and refuses units above 0xFF. The multibyte locales
// of the two builds (code page 932 and UTF-8) encode these characters
// differently, so these rows run in the single-byte locale only.
TEST(Format, SingleByteLocaleConversions) {
  static const Row rows[] = {
      {"S of e-acute", "[%S]", ARGS(t.WideUnits({0xE9, 0})), "[\xE9]", 3,
       k8Only, kSingleByteOnly},
      {"S of a byte above 0x7F", "[%S]", ARGS(t.Narrow("a\x93")), "[a\x93]", 4,
       k16Only, kSingleByteOnly},
      {"C of e-acute", "[%C]", ARGS(0xE9), "[\xE9]", 3, kBoth, kSingleByteOnly},
      {"S above a byte fails", "[%S]", ARGS(t.WideUnits({'a', 0x3042, 0})), "",
       -1, k8Only, kSingleByteOnly},
      {"C above a byte dropped", "[%C]", ARGS(0x3042), "[]", 2, k8Only,
       kSingleByteOnly},
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// The limit contract: at most `limit` units; the length when the text fits,
// also exactly, then without a terminator; -1 one unit short, and for limit
// 0. Catches an off-by-one at the limit, a terminator written past it, and
// msvcrt's count for a %c cut at the limit (which the Windows build corrects).
TEST(Format, Limit) {
  static const Row rows[] = {
      AtLimit("fits exactly", "abc", ARGS(0), "abc", 3, 3, 3),
      AtLimit("one over", "abc", ARGS(0), "", -1, 3, 2),
      AtLimit("room for the terminator", "abc", ARGS(0), "abc", 3, 3, 4),
      AtLimit("limit 0", "abc", ARGS(0), "", -1, 3, 0),
      AtLimit("limit 0, empty text", "", ARGS(0), "", 0, 0, 0),
      AtLimit("limit 1, empty text", "", ARGS(0), "", 0, 0, 1),
      AtLimit("number fits exactly", "%d", ARGS(123), "123", 3, 3, 3),
      AtLimit("number one over", "%d", ARGS(123), "", -1, 3, 2),
      AtLimit("character fits exactly", "ab%c", ARGS('x'), "abx", 3, 3, 3),
      AtLimit("character one over", "ab%c", ARGS('x'), "", -1, 3, 2),
      AtLimit("padded character over", "ab%3c", ARGS('x'), "", -1, 5, 3),
      AtLimit("padding over", "%10d", ARGS(1), "", -1, 10, 4),
      AtLimit("float fits exactly", "%f", ARGS(1.0), "1.000000", 8, 8, 8),
      AtLimit("float one over", "%f", ARGS(1.0), "", -1, 8, 7),
      AtLimit("infinity one over", "%f", ARGS(kInf), "", -1, 8, 7),
      AtLimit("pointer fits exactly", "%p", ARGS(Ptr(1)), "0000000000000001",
              16, 16, 16),
      AtLimit("percent one over", "a%%", ARGS(0), "", -1, 2, 1),
      AtLimit("converted text fits exactly", "%S", ARGS(t.Other("abcdef")),
              "abcdef", 6, 6, 6),
      AtLimit("converted text one over", "%S", ARGS(t.Other("abcdef")), "", -1,
              6, 5),
      AtLimit("huge width", "%2000000000s", ARGS(t.Own("a")), "", -1,
              kDontCount, 8),
      AtLimit("huge width, character", "%2000000000c", ARGS('a'), "", -1,
              kDontCount, 8),
      AtLimit("huge precision", "%.2000000000f", ARGS(1.0), "", -1, kDontCount,
              8),
      AtLimit("huge precision, inf", "%.2000000000e", ARGS(kInf), "", -1,
              kDontCount, 8),
  };
  CheckAll(rows, sizeof rows / sizeof rows[0]);
}

// %n stores the units written so far and prints nothing. Catches a count that
// includes later text, and the 16-bit formatter counting bytes.
TEST(Format, CountDirectiveStoresTheLengthSoFar) {
  Call8 narrow("abc%n|", 64);
  int written = -1;
  Outcome out = narrow.Run(narrow.format(), &written);
  EXPECT_EQ(4, out.result);
  EXPECT_EQ(u"abc|", out.text);
  EXPECT_EQ(3, written);

  Call16 wide("abcd%n|", 64);
  written = -1;
  out = wide.Run(wide.format(), &written);
  EXPECT_EQ(5, out.result);
  EXPECT_EQ(4, written);
}

// The caller's list stays where it was: each pass of a retry starts from the
// first argument. Catches a formatter that reads the caller's va_list itself.
TEST(Format, LeavesTheArgumentListUnread) {
  auto twice = [](char* first, char* second, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int a = platform::_vsnprintf(first, 32, format, args);
    int b = platform::_vsnprintf(second, 32, format, args);
    va_end(args);
    return a == b ? a : -2;
  };
  char first[32];
  char second[32];
  EXPECT_EQ(10, twice(first, second, "%d %s %.1f", 17, "abc", 2.5));
  EXPECT_STREQ("17 abc 2.5", first);
  EXPECT_STREQ(first, second);
}

// %S and %C between 16-bit text and the multibyte locale (code page 932
// under Wine, UTF-8 natively), and the C locale's refusal of units above
// 0xFF. A width or precision counts units of the argument, not of the
// output. Catches a conversion that ignores the locale, a width counted in
// output units, and a precision that cuts a character.
TEST(Format, MultibyteConversions) {
  const kztest::MultibyteSample sample = kztest::Sample();
  const std::string bytes(sample.bytes, sample.byteLength);
  const int n = static_cast<int>(sample.byteLength);
  const int perChar = n / 3;
  if (kztest::MultibyteLocale()) {
    // 8-bit formatter, 16-bit text.
    Call8 text("[%S]", 64);
    Outcome out = text.Run(text.format(), sample.wide);
    EXPECT_EQ(n + 2, out.result);
    EXPECT_EQ(Widen(("[" + bytes + "]").c_str(), n + 2), out.text);
    EXPECT_EQ(n + 2, out.needed);

    Call8 width("[%8S]", 64);
    out = width.Run(width.format(), sample.wide);
    EXPECT_EQ(Widen(("[     " + bytes + "]").c_str(), n + 7), out.text)
        << "eight minus three units of padding";

    Call8 precision("[%.2S]", 64);
    out = precision.Run(precision.format(), sample.wide);
    EXPECT_EQ(Widen(("[" + bytes.substr(0, 2 * perChar) + "]").c_str(),
                    2 * perChar + 2),
              out.text);

    Call8 character("[%C]", 64);
    out = character.Run(character.format(), sample.wide[0]);
    EXPECT_EQ(
        Widen(("[" + bytes.substr(0, perChar) + "]").c_str(), perChar + 2),
        out.text);

    // 16-bit formatter, multibyte text.
    Call16 wide("[%S]", 64);
    out = wide.Run(wide.format(), sample.bytes);
    EXPECT_EQ(5, out.result);
    EXPECT_EQ(u"[" + kztest::W(sample.wide) + u"]", out.text);

    Call16 wideWidth("[%12S]", 64);
    out = wideWidth.Run(wideWidth.format(), sample.bytes);
    EXPECT_EQ(u"[" + std::u16string(static_cast<std::size_t>(12 - n), u' ') +
                  kztest::W(sample.wide) + u"]",
              out.text)
        << "twelve minus the argument's bytes of padding";

    Call16 wideFirst("[%.*S]", 64);
    out = wideFirst.Run(wideFirst.format(), perChar, sample.bytes);
    EXPECT_EQ(u"[" + kztest::W(sample.wide).substr(0, 1) + u"]", out.text);
  } else {
    // Units above 0xFF have no byte in the C locale.
    Call8 text("[%S]", 64);
    Outcome out = text.Run(text.format(), sample.wide);
    EXPECT_EQ(-1, out.result);
    EXPECT_EQ(-1, out.needed);
    // Each byte is the unit of the same value.
    Call16 wide("[%S]", 64);
    out = wide.Run(wide.format(), sample.bytes);
    EXPECT_EQ(Widen(("[" + bytes + "]").c_str(), n + 2), out.text);
  }
}

}  // namespace
