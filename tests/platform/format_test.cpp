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
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"

namespace {

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
  bool canaryIntact = true;
  int needed = kDontCount;
};

int Format(char* b, std::size_t n, const char* f, va_list a) {
  return platform::_vsnprintf(b, n, f, a);
}
int Format(WCHAR* b, std::size_t n, const WCHAR* f, va_list a) {
  return platform::_vsnwprintf(b, n, f, a);
}
int Count(const char* f, va_list a) { return platform::_vscprintf(f, a); }
int Count(const WCHAR* f, va_list a) { return platform::_vscwprintf(f, a); }

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
    out.text.push_back(std::make_unsigned_t<Unit>(buffer[i]));
  }
  out.terminated = out.result >= 0 &&
                   static_cast<std::size_t>(out.result) < limit &&
                   buffer[out.result] == 0;
  for (std::size_t i = limit; i < buffer.size(); ++i) {
    out.canaryIntact = out.canaryIntact && buffer[i] == Unit(kMark);
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

// An argument as written: its type (i c l d p s S n w r) and value.
struct Typed {
  char type = 0;
  std::int64_t integer = 0;
  double real = 0;
  bool null = false;
  std::u16string text;
};

// A row of data/format.txt.
struct Row {
  std::string where;
  bool nullFormat = false;
  std::u16string format;
  std::vector<Typed> args;
  std::int64_t result = 0;
  std::u16string text;
  bool narrow = true, wide = true, here = true, count = true;
  std::int64_t needed = 0;
  std::int64_t limit = 64;
};

bool ParseDouble(const std::string& text, double* value) {
  const bool negative = !text.empty() && text[0] == '-';
  const std::string magnitude = text.substr(negative ? 1 : 0);
  if (magnitude == "inf" || magnitude == "nan") {
    *value = std::copysign(magnitude == "inf" ? HUGE_VAL : std::nan(""),
                           negative ? -1.0 : 1.0);
    return true;
  }
  char* end = nullptr;
  *value = std::strtod(text.c_str(), &end);
  return !text.empty() && *end == 0;
}

bool ParseArgument(const kztest::Field& field, Typed* typed) {
  const std::string& bare = field.bare;
  const std::string value = bare.size() >= 2 ? bare.substr(2) : "";
  typed->type = bare.size() >= 2 && bare[1] == ':' ? bare[0] : '?';
  typed->null = !field.quoted && value == "null";
  typed->text = field.text;
  if (typed->type == 'c' && field.text.size() == 1) {
    typed->integer = field.text[0];
    return value.empty();
  }
  if (typed->type == 'd')
    return !field.quoted && ParseDouble(value, &typed->real);
  if (std::strchr("ilp", typed->type) != nullptr) {
    return !field.quoted && kztest::ParseInteger(value, &typed->integer);
  }
  return std::strchr("sSnwr", typed->type) != nullptr &&
         (typed->null || (field.quoted && value.empty()));
}

// name format arguments... => result "text" options...
bool ParseRow(const kztest::Line& line, Row* row) {
  kztest::Fields fields(line);
  std::u16string name;
  if (!fields.Text(&name) ||
      !fields.TextOrNull(&row->format, &row->nullFormat)) {
    return false;
  }
  row->where = line.where + " " + std::string(name.begin(), name.end());
  while (!fields.Word("=>")) {
    const kztest::Field* field = nullptr;
    Typed typed;
    if (!fields.Take(&field)) return false;
    if (!ParseArgument(*field, &typed)) return fields.Fail("bad argument");
    row->args.push_back(typed);
  }
  if (row->args.size() > kMaxArguments) return fields.Fail("too many args");
  if (!fields.Integer(-1, INT_MAX, &row->result) || !fields.Text(&row->text)) {
    return false;
  }
  if (row->text.size() != std::size_t(row->result < 0 ? 0 : row->result)) {
    return fields.Fail("the text must hold `result` units");
  }
  row->needed = row->result;
  while (!fields.AtEnd()) {
    const kztest::Field* field = nullptr;
    fields.Take(&field);
    const std::string& option = field->bare;
    const std::string value = option.substr(option.find(':') + 1);
    std::int64_t n = 0;
    const bool number =
        kztest::ParseInteger(value, &n) && n >= -1 && n <= 1 << 20;
    if (field->quoted) {
      return fields.Fail("options are bare");
    } else if (option == "only:8" || option == "only:16") {
      (option == "only:8" ? row->wide : row->narrow) = false;
    } else if (option.compare(0, 7, "locale:") == 0) {
      if (!kztest::ParseLocales(value, &row->here)) {
        return fields.Fail("unknown locale");
      }
    } else if (option == "count:none") {
      row->count = false;
    } else if (option.compare(0, 6, "count:") == 0 && number) {
      row->needed = n;
    } else if (option.compare(0, 6, "limit:") == 0 && number && n >= 0) {
      row->limit = n;
    } else {
      return fields.Fail("unknown option " + option);
    }
  }
  return true;
}

// Text of units T in a heap block of exactly its size: reading past text
// given with no terminator is an overrun that the sanitizers see.
template <typename T>
const void* Store(const std::u16string& text, bool null, bool terminated,
                  std::vector<std::shared_ptr<void>>* blocks) {
  if (null) return nullptr;
  std::shared_ptr<T> units(new T[text.size() + (terminated ? 1 : 0)],
                           std::default_delete<T[]>());
  for (std::size_t i = 0; i < text.size(); ++i) units.get()[i] = T(text[i]);
  if (terminated) units.get()[text.size()] = 0;
  blocks->push_back(units);
  return units.get();
}

template <typename Unit>
void Check(const Row& row) {
  SCOPED_TRACE(row.where + (sizeof(Unit) == 1 ? " [8-bit]" : " [16-bit]"));
  std::vector<std::shared_ptr<void>> blocks;
  std::vector<Argument> args;
  for (const Typed& typed : row.args) {
    const char type = typed.type;
    if (type == 'i' || type == 'c') {
      args.emplace_back(static_cast<int>(std::uint32_t(typed.integer)));
    } else if (type == 'l') {
      args.emplace_back(static_cast<long long>(typed.integer));
    } else if (type == 'd') {
      args.emplace_back(typed.real);
    } else if (type == 'p') {
      args.emplace_back(
          reinterpret_cast<const void*>(std::uintptr_t(typed.integer)));
    } else {
      const bool terminated = type != 'r';
      const bool narrow =
          type == 'n' ||
          (sizeof(Unit) == 1 ? type != 'S' && type != 'w' : type == 'S');
      args.emplace_back(
          narrow ? Store<char>(typed.text, typed.null, terminated, &blocks)
                 : Store<WCHAR>(typed.text, typed.null, terminated, &blocks));
    }
  }
  const Unit* format = static_cast<const Unit*>(
      Store<Unit>(row.format, row.nullFormat, true, &blocks));
  const std::size_t limit = std::size_t(row.limit);
  Outcome out = Invoke(limit, row.count, format, args);
  EXPECT_EQ(row.result, out.result);
  if (row.result >= 0 && out.result == row.result) {
    EXPECT_EQ(row.text, out.text);
    EXPECT_TRUE(out.terminated || std::size_t(row.result) >= limit)
        << "no terminator although there was room";
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
    if (!ParseRow(line, &row) || !row.here) continue;
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
