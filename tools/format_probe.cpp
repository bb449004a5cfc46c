// Prints what the Windows run-time's formatters give for the directives read
// from standard input, as rows for tests/platform/data/format.txt. Built for
// Windows and run under Wine (tools/README.md says how), it calls msvcrt's
// own _vsnprintf, _vsnwprintf and _vscprintf.
//
// Each input line is a format and up to three arguments, separated by '|':
//   %.*e|i:-3|d:-4.024669e+103
// i: is an int, l: a 64-bit integer, d: a double (or inf, -inf, nan, -nan)
// and w: 16-bit text in ASCII. Each output line is a row whose name is left
// for the writer to fill in: the format, the arguments, the 8-bit result and
// text and, after a '#', the 16-bit ones where they differ.
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <string>
#include <variant>
#include <vector>
#include <windows.h>

namespace {

using NarrowFn = int(__cdecl*)(char*, size_t, const char*, va_list);
using WideFn = int(__cdecl*)(wchar_t*, size_t, const wchar_t*, va_list);
using CountFn = int(__cdecl*)(const char*, va_list);
NarrowFn g_narrow;
WideFn g_wide;
CountFn g_count;

constexpr size_t kRoom = 4096;
char g_text[kRoom];
wchar_t g_wideText[kRoom];

using Arg = std::variant<int, long long, double, const wchar_t*>;

struct Result {
  int narrow;
  int wide;
  int count;
};

Result Run(const char* format, const wchar_t* wideFormat, ...) {
  Result r;
  va_list list;
  va_start(list, wideFormat);
  r.narrow = g_narrow(g_text, kRoom, format, list);
  va_end(list);
  va_start(list, wideFormat);
  r.wide = g_wide(g_wideText, kRoom, wideFormat, list);
  va_end(list);
  va_start(list, wideFormat);
  r.count = g_count(format, list);
  va_end(list);
  return r;
}

// Passes each argument as its own type.
template <typename... Passed>
Result Dispatch(const char* format, const wchar_t* wideFormat,
                const std::vector<Arg>& args, Passed... passed) {
  if constexpr (sizeof...(Passed) < 3) {
    if (sizeof...(Passed) < args.size()) {
      return std::visit(
          [&](auto next) {
            return Dispatch(format, wideFormat, args, passed..., next);
          },
          args[sizeof...(Passed)]);
    }
  }
  return Run(format, wideFormat, passed...);
}

template <typename Unit>
void Quote(const Unit* units, int n) {
  std::putchar('"');
  for (int i = 0; i < n; ++i) {
    unsigned u =
        static_cast<unsigned>(units[i]) & (sizeof(Unit) == 1 ? 0xFF : 0xFFFF);
    if (u == 0) {
      std::printf("\\0");
    } else if (u == '"' || u == '\\') {
      std::printf("\\%c", static_cast<char>(u));
    } else if (u >= 0x20 && u < 0x7F) {
      std::putchar(static_cast<int>(u));
    } else if (u <= 0xFF) {
      std::printf("\\x%02X", u);
    } else {
      std::printf("\\u%04X", u);
    }
  }
  std::putchar('"');
}

bool Parse(const std::string& field, Arg* arg,
           std::vector<std::wstring>* texts) {
  if (field.size() < 2 || field[1] != ':') return false;
  std::string value = field.substr(2);
  switch (field[0]) {
    case 'i':
      *arg = static_cast<int>(std::strtoll(value.c_str(), nullptr, 0));
      return true;
    case 'l':
      *arg = std::strtoll(value.c_str(), nullptr, 0);
      return true;
    case 'w':
      texts->emplace_back(value.begin(), value.end());
      *arg = texts->back().c_str();
      return true;
    case 'd': {
      const double inf = std::numeric_limits<double>::infinity();
      const double nan = std::numeric_limits<double>::quiet_NaN();
      if (value == "inf" || value == "-inf") {
        *arg = value[0] == '-' ? -inf : inf;
      } else if (value == "nan" || value == "-nan") {
        *arg = value[0] == '-' ? std::copysign(nan, -1.0) : nan;
      } else {
        *arg = std::strtod(value.c_str(), nullptr);
      }
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

int main() {
  HMODULE msvcrt = LoadLibraryA("msvcrt.dll");
  g_narrow = reinterpret_cast<NarrowFn>(
      reinterpret_cast<void*>(GetProcAddress(msvcrt, "_vsnprintf")));
  g_wide = reinterpret_cast<WideFn>(
      reinterpret_cast<void*>(GetProcAddress(msvcrt, "_vsnwprintf")));
  g_count = reinterpret_cast<CountFn>(
      reinterpret_cast<void*>(GetProcAddress(msvcrt, "_vscprintf")));
  if (g_narrow == nullptr || g_wide == nullptr || g_count == nullptr) {
    std::fprintf(stderr, "msvcrt's formatters not found\n");
    return 2;
  }
  std::string line;
  while (std::getline(std::cin, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t bar; (bar = line.find('|', start)) != std::string::npos;
         start = bar + 1) {
      fields.push_back(line.substr(start, bar - start));
    }
    fields.push_back(line.substr(start));
    std::vector<Arg> args;
    std::vector<std::wstring> texts;
    texts.reserve(fields.size());
    bool ok = fields.size() <= 4;
    for (size_t i = 1; ok && i < fields.size(); ++i) {
      Arg arg;
      ok = Parse(fields[i], &arg, &texts);
      args.push_back(arg);
    }
    if (!ok) {
      std::fprintf(stderr, "cannot read: %s\n", line.c_str());
      return 2;
    }
    std::wstring wideFormat(fields[0].begin(), fields[0].end());
    Result r = Dispatch(fields[0].c_str(), wideFormat.c_str(), args);
    std::printf("\"?\" ");
    Quote(fields[0].c_str(), static_cast<int>(fields[0].size()));
    for (size_t i = 1; i < fields.size(); ++i) {
      std::printf(" %s", fields[i].c_str());
    }
    std::printf(" => %d ", r.narrow);
    Quote(g_text, r.narrow < 0 ? 0 : r.narrow);
    if (r.count != r.narrow) std::printf(" count:%d", r.count);
    bool same = r.wide == r.narrow;
    for (int i = 0; same && i < r.wide; ++i) {
      same = static_cast<unsigned char>(g_text[i]) == g_wideText[i];
    }
    if (!same) {
      std::printf(" # 16-bit: %d ", r.wide);
      Quote(g_wideText, r.wide < 0 ? 0 : r.wide);
    }
    std::printf("\n");
  }
  return 0;
}
