// The formatters against data/format.txt, recorded from msvcrt under Wine;
// the same rows hold natively and in the Windows build.
#include <gtest/gtest.h>

#include <climits>
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
bool AddArgument(const kztest::Field& field, std::vector<Argument>* args,
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
             kztest::ParseInteger(value, &n)) {
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
bool Check(const kztest::Line& line) {
  kztest::Fields fields(line);
  std::u16string name, format, text;
  bool nullFormat = false;
  Blocks blocks;
  std::vector<Argument> args;
  if (!fields.Text(&name) || !fields.TextOrNull(&format, &nullFormat)) {
    return false;
  }
  for (const kztest::Field* field = nullptr; !fields.Word("=>");) {
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
  for (const kztest::Field* field = nullptr;
       !fields.AtEnd() && fields.Take(&field);) {
    const std::string key = field->bare.substr(0, field->bare.find(':') + 1);
    const std::string value = field->bare.substr(key.size());
    std::int64_t n = 0;
    const bool number =
        kztest::ParseInteger(value, &n) && n >= -1 && n <= 1 << 20;
    if (key == "only:" && (value == "8" || value == "16")) {
      runs = runs && value == (sizeof(Unit) == 1 ? "8" : "16");
    } else if (key == "count:" && (number || value == "none")) {
      count = number;
      needed = n;
    } else if (key == "limit:" && number && n >= 0) {
      limit = n;
    } else if (field->quoted || key != "locale:" ||
               !kztest::ParseLocales(value, &here)) {
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

// Every row in both formatters; what each group catches is said in the file.
TEST(Format, RecordedRows) {
  std::vector<kztest::Line> lines;
  ASSERT_TRUE(kztest::ReadDataFile("format.txt", &lines));
  int ran = 0;
  for (const kztest::Line& line : lines) {
    ran += Check<char>(line) | Check<WCHAR>(line);
  }
  EXPECT_GT(ran, 250) << "rows went missing";
}

// %n stores the units so far: not later text, not bytes in the 16-bit one.
TEST(Format, CountDirectiveStoresTheLengthSoFar) {
  int written = -1;
  Outcome out = Call<char>(64, false, "abc%n|", &written);
  EXPECT_EQ(4, out.result);
  EXPECT_EQ(u"abc|", out.units.substr(0, 4));
  EXPECT_EQ(3, written);
  const WCHAR wide[] = {'a', 'b', 'c', 'd', '%', 'n', '|', 0};
  out = Call<WCHAR>(64, false, wide, &written);
  EXPECT_EQ(5, out.result);
  EXPECT_EQ(4, written);
}

}  // namespace
