// The formatters against the Windows run-time's own answers. The rows live in
// data/format.txt, recorded from msvcrt (built with mingw-w64, run under
// Wine); the same rows pass natively (platform/posix/crt_format.cpp) and in
// the Windows build (msvcrt behind platform/windows/crt.h). A row that fails
// on one build only is a difference between the two formatters.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"

namespace {

using kztest::Fields;

constexpr int kDontCount = INT_MIN;
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
  int needed = kDontCount;
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

// One call of the 8-bit (Unit = char) or the 16-bit formatter. Runs the
// formatter, then the counting formatter on the same list, which the first
// must have left unread.
template <typename Unit>
Outcome Call(std::size_t limit, bool count, const Unit* format, ...) {
  std::vector<Unit> buffer(limit + kCanary, static_cast<Unit>(kMark));
  va_list args;
  va_start(args, format);
  Outcome out;
  out.result = Format(buffer.data(), limit, format, args);
  if (count) out.needed = Count(format, args);
  va_end(args);
  for (int i = 0; i < out.result; ++i) {
    out.text.push_back(static_cast<char16_t>(
        static_cast<std::make_unsigned_t<Unit>>(buffer[i])));
  }
  out.terminated = out.result >= 0 &&
                   static_cast<std::size_t>(out.result) < limit &&
                   buffer[out.result] == 0;
  out.canaryIntact = true;
  for (std::size_t i = limit; i < buffer.size(); ++i) {
    if (buffer[i] != static_cast<Unit>(kMark)) out.canaryIntact = false;
  }
  return out;
}

// An argument as the call passes it. Text goes as a pointer whatever its
// unit; the formatter reads it as the directive says.
using Argument = std::variant<int, long long, double, const void*>;
constexpr std::size_t kMaxArguments = 3;

// Passes each argument as its own type, one instantiation per sequence of
// types. A table of lambdas that pass the same constants once as int and
// once as long long was folded into one function by GCC 12 at -O2, which
// then passed -1LL as 32 bits: the types come from the data now.
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

// A row of data/format.txt, its arguments as written.
struct Typed {
  char type = 0;  // i c l d p s S n w r
  std::int64_t integer = 0;
  double real = 0;
  bool null = false;
  std::u16string text;
};

struct Row {
  std::string where;
  std::string name;
  bool nullFormat = false;
  std::u16string format;
  std::vector<Typed> args;
  int result = 0;
  std::u16string text;
  bool narrow = true;
  bool wide = true;
  unsigned locales = 0;
  int needed = 0;
  bool count = true;
  std::size_t limit = 64;
};

bool ParseDouble(const std::string& text, double* value) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  if (text == "inf" || text == "-inf") {
    *value = text[0] == '-' ? -inf : inf;
    return true;
  }
  if (text == "nan" || text == "-nan") {
    *value = text[0] == '-' ? std::copysign(nan, -1.0) : nan;
    return true;
  }
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == 0;
}

bool ParseArgument(const kztest::Field& field, Fields& fields, Typed* typed) {
  const std::string& bare = field.bare;
  if (bare.size() < 2 || bare[1] != ':') {
    return fields.Fail("expected an argument such as i:42");
  }
  typed->type = bare[0];
  const std::string value = bare.substr(2);
  switch (typed->type) {
    case 'i':
    case 'l':
    case 'p': {
      const bool ok =
          !field.quoted && kztest::ParseInteger(value, &typed->integer) &&
          (typed->type != 'i' ||
           (typed->integer >= INT_MIN && typed->integer <= UINT_MAX));
      return ok || fields.Fail("bad integer argument");
    }
    case 'd':
      return (!field.quoted && ParseDouble(value, &typed->real)) ||
             fields.Fail("bad double argument");
    case 'c':
      if (!field.quoted || !value.empty() || field.text.size() != 1) {
        return fields.Fail("c: takes one character in quotes");
      }
      typed->integer = field.text[0];
      return true;
    case 's':
    case 'S':
    case 'n':
    case 'w':
    case 'r':
      typed->null = !field.quoted && value == "null";
      if (!typed->null && (!field.quoted || !value.empty())) {
        return fields.Fail("text arguments are quoted, or null");
      }
      typed->text = field.text;
      return true;
    default:
      return fields.Fail("unknown argument type");
  }
}

bool ParseRow(const kztest::Line& line, Row* row) {
  Fields fields(line);
  row->where = line.where;
  std::u16string name;
  if (!fields.Text(&name)) return false;
  row->name.assign(name.begin(), name.end());
  const kztest::Field* field = nullptr;
  if (!fields.Take(&field)) return false;
  row->nullFormat = !field->quoted && field->bare == "null";
  if (!row->nullFormat && (!field->quoted || !field->bare.empty())) {
    return fields.Fail("the format is a string or null");
  }
  row->format = field->text;
  for (;;) {
    if (!fields.Take(&field)) return false;
    if (!field->quoted && field->bare == "=>") break;
    Typed typed;
    if (!ParseArgument(*field, fields, &typed)) return false;
    row->args.push_back(typed);
  }
  if (row->args.size() > kMaxArguments) return fields.Fail("too many args");
  std::int64_t result = 0;
  if (!fields.Integer(-1, INT_MAX, &result) || !fields.Text(&row->text)) {
    return false;
  }
  row->result = static_cast<int>(result);
  if (row->text.size() != static_cast<std::size_t>(result < 0 ? 0 : result)) {
    return fields.Fail("the text must hold `result` units");
  }
  row->needed = row->result;
  kztest::ParseLocales("any", &row->locales);
  while (!fields.AtEnd()) {
    fields.Take(&field);
    const std::string& option = field->bare;
    std::int64_t n = 0;
    if (field->quoted) {
      return fields.Fail("options are bare");
    } else if (option == "only:8") {
      row->wide = false;
    } else if (option == "only:16") {
      row->narrow = false;
    } else if (option.compare(0, 7, "locale:") == 0) {
      if (!kztest::ParseLocales(option.substr(7), &row->locales)) {
        return fields.Fail("unknown locale");
      }
    } else if (option == "count:none") {
      row->count = false;
    } else if (option.compare(0, 6, "count:") == 0 &&
               kztest::ParseInteger(option.substr(6), &n) && n >= -1 &&
               n <= INT_MAX) {
      row->needed = static_cast<int>(n);
    } else if (option.compare(0, 6, "limit:") == 0 &&
               kztest::ParseInteger(option.substr(6), &n) && n >= 0 &&
               n <= 1 << 20) {
      row->limit = static_cast<std::size_t>(n);
    } else {
      return fields.Fail("unknown option " + option);
    }
  }
  return true;
}

// The texts of one call's arguments, in the units the row names. Each
// argument's units must fit the unit it is stored in.
template <typename Unit>
class Texts {
 public:
  using Other = std::conditional_t<std::is_same_v<Unit, char>, WCHAR, char>;

  bool Make(const Typed& typed, Argument* arg) {
    switch (typed.type) {
      case 'i':
      case 'c':
        *arg = static_cast<int>(static_cast<std::uint32_t>(typed.integer));
        return true;
      case 'l':
        *arg = static_cast<long long>(typed.integer);
        return true;
      case 'd':
        *arg = typed.real;
        return true;
      case 'p':
        *arg = reinterpret_cast<const void*>(
            static_cast<std::uintptr_t>(typed.integer));
        return true;
      case 's':
        return Store<Unit>(typed, true, arg);
      case 'S':
        return Store<Other>(typed, true, arg);
      case 'n':
        return Store<char>(typed, true, arg);
      case 'w':
        return Store<WCHAR>(typed, true, arg);
      case 'r':
        return Store<Unit>(typed, false, arg);
      default:
        return false;
    }
  }

  // The format in the formatter's unit, or nullptr.
  const Unit* Format(const Row& row) {
    if (row.nullFormat) return nullptr;
    Typed typed;
    typed.text = row.format;
    Argument arg;
    if (!Store<Unit>(typed, true, &arg)) return nullptr;
    return static_cast<const Unit*>(std::get<const void*>(arg));
  }

 private:
  // `terminated` false: exactly the units, in a block of their own size,
  // so that reading one past them is an overrun the sanitizers see.
  template <typename T>
  bool Store(const Typed& typed, bool terminated, Argument* arg) {
    if (typed.null) {
      *arg = static_cast<const void*>(nullptr);
      return true;
    }
    const std::size_t n = typed.text.size() + (terminated ? 1 : 0);
    std::unique_ptr<T[]> units(new T[n == 0 ? 1 : n]);
    for (std::size_t i = 0; i < typed.text.size(); ++i) {
      if (sizeof(T) == 1 && typed.text[i] > 0xFF) return false;
      units[i] = static_cast<T>(typed.text[i]);
    }
    if (terminated) units[n - 1] = 0;
    *arg = static_cast<const void*>(units.get());
    blocks_.push_back(std::shared_ptr<void>(std::move(units)));
    return true;
  }

  std::deque<std::shared_ptr<void>> blocks_;
};

template <typename Unit>
void Check(const Row& row) {
  SCOPED_TRACE(row.where + " " + row.name +
               (sizeof(Unit) == 1 ? " [8-bit]" : " [16-bit]"));
  Texts<Unit> texts;
  std::vector<Argument> args;
  for (const Typed& typed : row.args) {
    Argument arg;
    if (!texts.Make(typed, &arg)) {
      ADD_FAILURE() << "a unit above 0xFF in 8-bit text";
      return;
    }
    args.push_back(arg);
  }
  const Unit* format = texts.Format(row);
  if (format == nullptr && !row.nullFormat) {
    ADD_FAILURE() << "a unit above 0xFF in an 8-bit format";
    return;
  }
  Outcome out = Invoke(row.limit, row.count, format, args);
  EXPECT_EQ(row.result, out.result);
  if (row.result >= 0 && out.result == row.result) {
    EXPECT_EQ(row.text, out.text);
    if (static_cast<std::size_t>(row.result) < row.limit) {
      EXPECT_TRUE(out.terminated) << "no terminator although there was room";
    }
  }
  EXPECT_TRUE(out.canaryIntact) << "wrote past the limit";
  if (row.count) {
    EXPECT_EQ(row.needed, out.needed) << "counting";
  }
}

// Every row of data/format.txt in both formatters: integers and their size
// prefixes, text and characters of both encodings, pointers, floating point
// with its rounding, exponents, special values and negative precisions,
// rejected calls, the limit contract and the locale's conversions. What each
// group catches is said in the file.
TEST(Format, RecordedRows) {
  std::vector<kztest::Line> lines;
  ASSERT_TRUE(kztest::ReadDataFile("format.txt", &lines));
  int ran = 0;
  for (const kztest::Line& line : lines) {
    Row row;
    if (!ParseRow(line, &row)) continue;
    if (!kztest::InCurrentLocale(row.locales)) continue;
    if (row.narrow) Check<char>(row);
    if (row.wide) Check<WCHAR>(row);
    ++ran;
  }
  EXPECT_GT(ran, 250) << "rows went missing";
}

// %n stores the units written so far and prints nothing. Catches a count that
// includes later text, and the 16-bit formatter counting bytes.
TEST(Format, CountDirectiveStoresTheLengthSoFar) {
  int written = -1;
  Outcome out = Call<char>(64, false, "abc%n|", &written);
  EXPECT_EQ(4, out.result);
  EXPECT_EQ(u"abc|", out.text);
  EXPECT_EQ(3, written);

  const WCHAR wide[] = {'a', 'b', 'c', 'd', '%', 'n', '|', 0};
  written = -1;
  out = Call<WCHAR>(64, false, wide, &written);
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

}  // namespace
