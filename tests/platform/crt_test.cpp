// The run-time's character functions and formatters against the rows
// recorded under Wine in data/, the same rows on both builds.
#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"
#include "test_support.h"

namespace {

using namespace kztest;

constexpr std::size_t kFail = static_cast<std::size_t>(-1);
constexpr std::size_t kNoDst = static_cast<std::size_t>(-2);  // room: none

// "name locales source room => result written [terminated]"; a sentinel
// after `room` shows a write past the limit or a stray terminator.
template <typename Out, typename In>
bool Check(std::size_t (*convert)(Out*, const In*, std::size_t),
           const Line& line, Out sentinel) {
  SCOPED_TRACE(line.where);
  Fields fields(line);
  std::u16string name, source, expected;
  bool here = false, null = false;
  std::int64_t room = kNoDst, result = kFail;
  if (!fields.Text(&name) || !fields.Locales(&here) ||
      !fields.TextOrNull(&source, &null) ||
      !(fields.Word("nodst") || fields.Integer(0, 1000, &room)) ||
      !fields.Expect("=>") ||
      !(fields.Word("fail") || fields.Integer(0, 1000, &result)) ||
      !fields.Text(&expected)) {
    return false;
  }
  const bool terminated = fields.Word("terminated");
  if (!fields.AtEnd()) return fields.Fail("text after the row");
  if (!here) return false;
  std::basic_string<In> text(source.begin(), source.end());
  const In* src = null ? nullptr : text.c_str();
  if (static_cast<std::size_t>(room) == kNoDst) {
    EXPECT_EQ(static_cast<std::size_t>(result), convert(nullptr, src, 0));
    return true;
  }
  std::vector<Out> buffer(static_cast<std::size_t>(room) + 3, sentinel);
  const std::size_t got = convert(buffer.data(), src, std::size_t(room));
  EXPECT_EQ(static_cast<std::size_t>(result), got);
  if (got == kFail || got != static_cast<std::size_t>(result)) return true;
  std::u16string want = expected, written;
  if (terminated) want.push_back(0);
  want.resize(buffer.size(), std::make_unsigned_t<Out>(sentinel));
  for (Out unit : buffer) written.push_back(std::make_unsigned_t<Out>(unit));
  EXPECT_EQ(want, written) << "then the terminator and the sentinel";
  return true;
}

// The units skipped before a number, and the zeros of the digit runs.
const unsigned kSpaces[] = {0x09,   0x0A,   0x0B,   0x0C,   0x0D,   0x20,
                            0xA0,   0x1680, 0x2000, 0x2001, 0x2002, 0x2003,
                            0x2004, 0x2005, 0x2006, 0x2007, 0x2008, 0x2009,
                            0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000};
const unsigned kZeros[] = {0x30,  0x660, 0x6F0,  0x966,  0x9E6,  0xA66,
                           0xAE6, 0xB66, 0xCE6,  0xC66,  0xD66,  0xE50,
                           0xED0, 0xF20, 0x1040, 0x17E0, 0x1810, 0xFF10};

// Every unit before "7". Faults: white space or digits from the host's C
// library (which knows other sets), a sign that swallows the next unit.
TEST(NumberParsing, EveryUnitBeforeADigit) {
  int wrong = 0;
  for (unsigned unit = 1; unit <= 0xFFFF && wrong <= 10; ++unit) {
    long value = unit == '+' ? 7 : unit == '-' ? -7 : 0;
    for (unsigned space : kSpaces) value = unit == space ? 7 : value;
    for (unsigned zero : kZeros) {
      if (unit >= zero && unit <= zero + 9) value = (unit - zero) * 10L + 7;
    }
    const long end = value != 0 ? 2 : 0;
    const WCHAR text[] = {static_cast<WCHAR>(unit), '7', 0};
    WCHAR* stop = nullptr;
    const long got = platform::wcstol(text, &stop, 10);
    wrong += got != value || stop - text != end;
    EXPECT_TRUE(got == value && stop - text == end)
        << std::hex << "U+" << unit << std::dec << ": " << got << " end "
        << (stop - text) << ", want " << value << " end " << end;
  }
}

// "name locales a b => sign".
template <typename Unit>
bool Compare(const Line& line, int (*compare)(const Unit*, const Unit*)) {
  Fields fields(line);
  std::u16string name, a, b;
  bool here = false;
  std::int64_t sign = 0;
  if (!fields.Text(&name) || !fields.Locales(&here) || !fields.Text(&a) ||
      !fields.Text(&b) || !fields.Expect("=>") ||
      !fields.Integer(-1, 1, &sign) ||
      (!fields.AtEnd() && fields.Fail("text after the row")) || !here) {
    return false;
  }
  const std::basic_string<Unit> x(a.begin(), a.end()), y(b.begin(), b.end());
  EXPECT_EQ(sign, Sign(compare(x.c_str(), y.c_str())))
      << line.where << " " << std::string(name.begin(), name.end());
  return true;
}

// "name "text" base => value end errno", also with a null end pointer.
bool CheckNumber(const Line& line) {
  SCOPED_TRACE(line.where);
  Fields fields(line);
  std::u16string name, text;
  std::int64_t base = 0, value = 0, end = -1;
  if (!fields.Text(&name) || !fields.Text(&text) ||
      !fields.Integer(-1, 37, &base) || !fields.Expect("=>") ||
      !fields.Integer(INT32_MIN, INT32_MAX, &value) ||
      !(fields.Word("untouched") || fields.Integer(0, 100, &end))) {
    return false;
  }
  const int error = fields.Word("ERANGE")   ? ERANGE
                    : fields.Word("EINVAL") ? EINVAL
                    : fields.Word("0")      ? 0
                                            : -1;
  if (error < 0 || !fields.AtEnd()) {
    return fields.Fail("errno is 0, ERANGE or EINVAL, and ends the row");
  }
  const std::basic_string<WCHAR> units(text.begin(), text.end());
  WCHAR untouched[] = {0};
  WCHAR* stop = untouched;
  errno = 0;
  EXPECT_EQ(value, platform::wcstol(units.c_str(), &stop, int(base)));
  EXPECT_EQ(end, stop == untouched ? -1 : stop - units.c_str());
  EXPECT_EQ(error, errno);
  EXPECT_EQ(value, platform::wcstol(units.c_str(), nullptr, int(base)));
  return true;
}

constexpr std::size_t kCanary = 4;
constexpr char16_t kMark = 0x5A;

// All the buffer's units (the limit and a canary behind it), the result, and
// what the counting formatter said afterwards on the same list, which the
// first must have left unread (a caller's retry starts from the first one).
struct Outcome {
  int result = 0, needed = INT_MIN;
  std::u16string units;
};

template <typename Unit>
Outcome Call(std::size_t limit, bool count, const Unit* format, ...) {
  std::vector<Unit> buffer(limit + kCanary, static_cast<Unit>(kMark));
  va_list args;
  va_start(args, format);
  Outcome out;
  if constexpr (sizeof(Unit) == 1) {
    out.result = platform::_vsnprintf(buffer.data(), limit, format, args);
    if (count) out.needed = platform::_vscprintf(format, args);
  } else {
    out.result = platform::_vsnwprintf(buffer.data(), limit, format, args);
    if (count) out.needed = platform::_vscwprintf(format, args);
  }
  va_end(args);
  for (Unit unit : buffer)
    out.units.push_back(std::make_unsigned_t<Unit>(unit));
  return out;
}

using Argument = std::variant<int, long long, double, const void*>;
constexpr std::size_t kMaxArguments = 3;

// Each argument as its own type: lambdas passing the same constants as int
// and long long were merged by GCC 12 -O2, which then passed -1LL as 32 bits.
template <typename Unit, typename... Passed>
Outcome Invoke(std::size_t limit, bool count, const Unit* format,
               const std::vector<Argument>& args, Passed... passed) {
  if constexpr (sizeof...(Passed) < kMaxArguments) {
    if (sizeof...(Passed) < args.size()) {
      return std::visit(
          [&](auto next) {
            return Invoke(limit, count, format, args, passed..., next);
          },
          args[sizeof...(Passed)]);
    }
  }
  return Call(limit, count, format, passed...);
}

using Blocks = std::vector<std::shared_ptr<void>>;

// Text in a heap block of exactly its size, so that ASan sees an overrun.
template <typename T>
const void* Store(const std::u16string& text, bool null, bool terminated,
                  Blocks* blocks) {
  if (null) return nullptr;
  std::shared_ptr<T> units(new T[text.size() + (terminated ? 1 : 0)],
                           std::default_delete<T[]>());
  for (std::size_t i = 0; i < text.size(); ++i) units.get()[i] = T(text[i]);
  if (terminated) units.get()[text.size()] = 0;
  blocks->push_back(units);
  return units.get();
}

template <typename Unit>
bool AddArgument(const Field& field, std::vector<Argument>* args,
                 Blocks* blocks) {
  const std::string& bare = field.bare;
  const char type = bare.size() >= 2 && bare[1] == ':' ? bare[0] : '?';
  const std::string value = bare.substr(bare.size() >= 2 ? 2 : 0);
  const bool null = !field.quoted && value == "null";
  std::int64_t n = 0;
  char* end = nullptr;
  const double real = std::strtod(value.c_str(), &end);
  if (type == 'c' && field.quoted && value.empty() && field.text.size() == 1) {
    args->emplace_back(static_cast<int>(field.text[0]));
  } else if (type == 'd' && !field.quoted && !value.empty() && *end == 0) {
    args->emplace_back(real);
  } else if (std::strchr("ilp", type) != nullptr && !field.quoted &&
             ParseInteger(value, &n)) {
    if (type == 'i') args->emplace_back(static_cast<int>(std::uint32_t(n)));
    if (type == 'l') args->emplace_back(static_cast<long long>(n));
    if (type == 'p') {
      args->emplace_back(reinterpret_cast<const void*>(std::uintptr_t(n)));
    }
  } else if (std::strchr("sSnwr", type) != nullptr &&
             (null || (field.quoted && value.empty()))) {
    // s, r (unterminated): own unit; S: the other; n: 8-bit; w: 16-bit.
    const bool narrow =
        type == 'n' ||
        (sizeof(Unit) == 1 ? type != 'S' && type != 'w' : type == 'S');
    const bool terminated = type != 'r';
    args->emplace_back(
        narrow ? Store<char>(field.text, null, terminated, blocks)
               : Store<WCHAR>(field.text, null, terminated, blocks));
  } else {
    return false;
  }
  return true;
}

// "name format arguments... => result "text" options..."; false if the row
// doesn't run in this formatter.
template <typename Unit>
bool CheckFormat(const Line& line) {
  Fields fields(line);
  std::u16string name, format, text;
  bool nullFormat = false;
  Blocks blocks;
  std::vector<Argument> args;
  if (!fields.Text(&name) || !fields.TextOrNull(&format, &nullFormat)) {
    return false;
  }
  for (const Field* field = nullptr; !fields.Word("=>");) {
    if (!fields.Take(&field)) return false;
    if (!AddArgument<Unit>(*field, &args, &blocks)) {
      return fields.Fail("bad argument");
    }
  }
  std::int64_t result = 0;
  if (args.size() > kMaxArguments) return fields.Fail("too many arguments");
  if (!fields.Integer(-1, INT_MAX, &result) || !fields.Text(&text)) {
    return false;
  }
  if (text.size() != std::size_t(result < 0 ? 0 : result)) {
    return fields.Fail("the text must hold `result` units");
  }
  std::int64_t needed = result, limit = 64;
  bool here = true, count = true, runs = true;
  for (const Field* field = nullptr; !fields.AtEnd() && fields.Take(&field);) {
    const std::string key = field->bare.substr(0, field->bare.find(':') + 1);
    const std::string value = field->bare.substr(key.size());
    std::int64_t n = 0;
    const bool number = ParseInteger(value, &n) && n >= -1 && n <= 1 << 20;
    if (key == "only:" && (value == "8" || value == "16")) {
      runs = runs && value == (sizeof(Unit) == 1 ? "8" : "16");
    } else if (key == "count:" && (number || value == "none")) {
      count = number;
      needed = n;
    } else if (key == "limit:" && number && n >= 0) {
      limit = n;
    } else if (field->quoted || key != "locale:" ||
               !ParseLocales(value, &here)) {
      return fields.Fail("unknown option " + field->bare);
    }
  }
  if (!here || !runs) return false;
  SCOPED_TRACE(line.where + " " + std::string(name.begin(), name.end()) +
               (sizeof(Unit) == 1 ? " [8-bit]" : " [16-bit]"));
  const Unit* units =
      static_cast<const Unit*>(Store<Unit>(format, nullFormat, true, &blocks));
  const Outcome out = Invoke(std::size_t(limit), count, units, args);
  EXPECT_EQ(result, out.result);
  if (result >= 0 && out.result == result) {
    EXPECT_EQ(text, out.units.substr(0, result));
    EXPECT_TRUE(result >= limit || out.units[result] == 0) << "terminator";
  }
  EXPECT_EQ(std::u16string(kCanary, kMark), out.units.substr(limit))
      << "wrote past the limit";
  EXPECT_EQ(count ? needed : INT_MIN, out.needed) << "counting";
  return true;
}

// Every row for the current locale (what each group catches is said in the
// file; format rows in both formatters), every unit's case mapping (a unit left
// out maps to itself), and a null text to _stricmp or _wcsicmp refused with the
// run-time's error value.
TEST(RunTime, RecordedRows) {
  // [0]: the C locale, [1]: any other; lower case << 16 | upper case.
  std::vector<std::uint32_t> tables[2];
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    tables[0].push_back(unit << 16 | unit);
  }
  tables[1] = tables[0];
  std::map<std::string, int> ran;
  for (const char* file :
       {"casemap.txt", "conversions.txt", "number.txt", "format.txt"}) {
    std::vector<Line> lines;
    ASSERT_TRUE(ReadDataFile(file, &lines));
    for (const Line& line : lines) {
      const std::string& section = line.section;
      Fields fields(line);
      std::int64_t u[3] = {};
      bool done = false;
      if (file == std::string("format.txt")) {
        done = CheckFormat<char>(line) | CheckFormat<WCHAR>(line);
      } else if (section == "mapping:C" || section == "mapping:other") {
        done = line.fields.size() == 3;
        for (int i = 0; i < 3 && done; ++i) {
          const Field& field = line.fields[i];
          done = !field.quoted && field.bare.size() == 4 &&
                 ParseInteger("0x" + field.bare, &u[i]);
        }
        if (!done) fields.Fail("expected unit lower upper in hex");
        if (done) {
          tables[section == "mapping:other"][u[0]] =
              std::uint32_t(u[1] << 16 | u[2]);
        }
      } else if (section == "_stricmp") {
        done = Compare<char>(line, platform::_stricmp);
      } else if (section == "_wcsicmp") {
        done = Compare<WCHAR>(line, platform::_wcsicmp);
      } else if (section == "mbstowcs") {
        done = Check(platform::mbstowcs, line, WCHAR(0xAAAA));
      } else if (section == "wcstombs") {
        done = Check(platform::wcstombs, line, char(0x5A));
      } else if (section == "MbsToWideReplacing") {
        done = Check(platform::MbsToWideReplacing, line, WCHAR(0xAAAA));
      } else if (section == "WideToMbsReplacing") {
        done = Check(platform::WideToMbsReplacing, line, char(0x5A));
      } else if (section == "wcstol") {
        done = CheckNumber(line);
      } else {
        ADD_FAILURE() << line.where << ": row outside a known [section]";
      }
      ran[section] += done;
    }
  }
  EXPECT_EQ(52, ran["mapping:C"]) << "rows went missing";
  EXPECT_GE(ran["mapping:other"], 2000) << "rows went missing";
  EXPECT_GE(ran["_stricmp"] + ran["_wcsicmp"], 20) << "rows went missing";
  EXPECT_GT(ran["mbstowcs"] + ran["wcstombs"], 20) << "rows went missing";
  EXPECT_GT(ran["wcstol"], 40) << "rows went missing";
  EXPECT_GT(ran[""], 250) << "rows went missing";
  const std::vector<std::uint32_t>& table = tables[MultibyteLocale() ? 1 : 0];
  int wrong = 0;
  for (unsigned unit = 0; unit <= 0xFFFF && wrong <= 10; ++unit) {
    const WCHAR w = static_cast<WCHAR>(unit);
    const std::uint32_t got =
        std::uint32_t(platform::towlower(w)) << 16 | platform::towupper(w);
    wrong += got != table[unit];
    EXPECT_EQ(table[unit], got) << std::hex << "U+" << unit << " lower, upper";
  }
  EXPECT_EQ(0x7FFFFFFF, platform::_stricmp(nullptr, "a"));
  EXPECT_EQ(0x7FFFFFFF, platform::_stricmp("a", nullptr));
  EXPECT_EQ(0x7FFFFFFF, platform::_wcsicmp(nullptr, OLESTR("a")));
  EXPECT_EQ(0x7FFFFFFF, platform::_wcsicmp(OLESTR("a"), nullptr));
}

// %n stores the units so far: not later text, not bytes in the 16-bit one.
TEST(Format, CountDirectiveStoresTheLengthSoFar) {
  int written = -1;
  Outcome out = Call<char>(64, false, "abc%n|", &written);
  EXPECT_EQ(4, out.result);
  EXPECT_EQ(u"abc|", out.units.substr(0, 4));
  EXPECT_EQ(3, written);
  out = Call<WCHAR>(64, false, OLESTR("abcd%n|"), &written);
  EXPECT_EQ(5, out.result);
  EXPECT_EQ(4, written);
}

}  // namespace
