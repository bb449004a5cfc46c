// Fuzz target for the POSIX formatters (_vsnprintf, _vsnwprintf and their
// counting pair): arbitrary 8-bit and 16-bit formats over a fixed list of
// harmless arguments, with small limits.
//
// Input: byte 0 chooses the formatter (bit 0: 16-bit), the locale (bit 7:
// UTF-8) and the limit (bits 1-6, 0 to 63 units); the rest is the format,
// as bytes or as little-endian 16-bit units. The output buffer is exactly
// `limit` units on the heap, so the sanitizer sees a write past the limit.
// Every pointer argument points at a zeroed, writable arena (an empty text
// for %s, room for %n); eight doubles fill the floating-point registers, and
// beyond them a double is read from the same pointer slots, which is harmless.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/platform.h"

namespace {

// A directive reads at most three arguments (width, precision, value), and
// each starts with a '%': the 64 pointers below cover kMaxDirectives of them,
// and formats with more '%' are skipped.
constexpr int kMaxDirectives = 16;

alignas(16) unsigned char g_arena[4096];

#define KZ_P8 p, p, p, p, p, p, p, p
#define KZ_ARGS                                                      \
  KZ_P8, KZ_P8, KZ_P8, KZ_P8, KZ_P8, KZ_P8, KZ_P8, KZ_P8, 1.5, -0.0, \
      __builtin_inf(), __builtin_nan(""), 1e300, 5e-324, -2.5, 0.1

struct Result {
  int written;
  int needed;
};

Result Run8(char* buffer, std::size_t limit, const char* format, ...) {
  va_list args;
  va_start(args, format);
  Result r;
  r.written = platform::_vsnprintf(buffer, limit, format, args);
  // A %n of the first call wrote into the arena that %s reads.
  std::memset(g_arena, 0, sizeof g_arena);
  // The formatter worked on a copy: the list is read again from the start.
  r.needed = platform::_vscprintf(format, args);
  va_end(args);
  return r;
}

Result Run16(WCHAR* buffer, std::size_t limit, const WCHAR* format, ...) {
  va_list args;
  va_start(args, format);
  Result r;
  r.written = platform::_vsnwprintf(buffer, limit, format, args);
  // A %n of the first call wrote into the arena that %s reads.
  std::memset(g_arena, 0, sizeof g_arena);
  r.needed = platform::_vscwprintf(format, args);
  va_end(args);
  return r;
}

// The contract, whatever the format: a text that fits is no longer than the
// limit, has the length the counting formatter gives, and a terminator when
// there is room. (So a count beyond the limit comes with a failure.)
template <typename Unit>
void CheckContract(const Unit* buffer, std::size_t limit, Result r) {
  if (r.written < 0) return;
  if (static_cast<std::size_t>(r.written) > limit) __builtin_trap();
  if (r.needed != r.written) __builtin_trap();
  if (static_cast<std::size_t>(r.written) < limit && buffer[r.written] != 0) {
    __builtin_trap();
  }
}

template <typename Unit>
bool TooManyDirectives(const std::vector<Unit>& format) {
  int count = 0;
  for (Unit u : format) {
    if (u == '%' && ++count > kMaxDirectives) return true;
  }
  return false;
}

const char* g_locale = nullptr;

void UseLocale(const char* name) {
  if (g_locale != name && std::setlocale(LC_ALL, name) != nullptr) {
    g_locale = name;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const bool wide = (data[0] & 1) != 0;
  const std::size_t limit = (data[0] >> 1) & 0x3F;
  UseLocale((data[0] & 0x80) != 0 ? "C.UTF-8" : "C");
  ++data;
  --size;
  std::memset(g_arena, 0, sizeof g_arena);
  void* p = g_arena;

  if (wide) {
    std::vector<WCHAR> format;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
      format.push_back(static_cast<WCHAR>(data[i] | data[i + 1] << 8));
    }
    format.push_back(0);
    if (TooManyDirectives(format)) return 0;
    std::unique_ptr<WCHAR[]> buffer(new WCHAR[limit]);
    Result r = Run16(buffer.get(), limit, format.data(), KZ_ARGS);
    CheckContract(buffer.get(), limit, r);
  } else {
    std::vector<char> format(data, data + size);
    format.push_back(0);
    if (TooManyDirectives(format)) return 0;
    std::unique_ptr<char[]> buffer(new char[limit]);
    Result r = Run8(buffer.get(), limit, format.data(), KZ_ARGS);
    CheckContract(buffer.get(), limit, r);
  }
  return 0;
}
