// Fuzzes the conversions between bytes and 16-bit units, strict and
// replacing, in the C and the UTF-8 locale. Destinations are heap blocks of
// exactly the room given, so a write past the limit is caught by ASan, and
// the invariants the string block builds on are checked:
// - the replacing forms never fail, count as they write, and never give more
//   units than bytes, nor more bytes than units * MB_CUR_MAX;
// - a limited conversion writes a prefix of the unlimited one, stopping only
//   at the limit or before a pair that would not fit;
// - where the strict form succeeds, the replacing form gives the same text;
// - the wide form of any bytes converts back, and valid text round-trips.
//
// Input: the first byte picks the locale and the limits, the rest is text.
#include <algorithm>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/platform.h"

namespace {

constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

void Check(bool condition) {
  if (!condition) std::abort();
}

bool IsHighSurrogate(WCHAR u) { return u >= 0xD800 && u <= 0xDBFF; }

// Exactly `count` elements on the heap (one for a count of 0, so that the
// pointer is never null, which would mean "only count").
template <typename T>
std::unique_ptr<T[]> Exact(std::size_t count) {
  return std::unique_ptr<T[]>(new T[count == 0 ? 1 : count]);
}

void FuzzToWide(const char* text, std::size_t bytes, std::size_t limitPick) {
  const std::size_t need = platform::MbsToWideReplacing(nullptr, text, 0);
  Check(need <= bytes);
  auto wide = Exact<WCHAR>(need);
  Check(platform::MbsToWideReplacing(wide.get(), text, need) == need);

  const std::size_t limit = limitPick % (need + 1);
  auto cut = Exact<WCHAR>(limit);
  const std::size_t got = platform::MbsToWideReplacing(cut.get(), text, limit);
  Check(got <= limit);
  Check(std::memcmp(cut.get(), wide.get(), got * sizeof(WCHAR)) == 0);
  Check(got == limit || got == need ||
        (got + 1 == limit && IsHighSurrogate(wide[got])));

  const std::size_t strictCount = platform::mbstowcs(nullptr, text, 0);
  if (strictCount != kFailed) {
    Check(strictCount == need);
    auto strict = Exact<WCHAR>(need + 1);
    Check(platform::mbstowcs(strict.get(), text, need + 1) == need);
    Check(strict[need] == 0);
    Check(std::memcmp(strict.get(), wide.get(), need * sizeof(WCHAR)) == 0);
  }

  // The wide form holds only what the locale can encode (U+FFFD stands for
  // the bad bytes), so it converts back strictly; valid text comes back as
  // it was.
  std::vector<WCHAR> terminated(wide.get(), wide.get() + need);
  terminated.push_back(0);
  const std::size_t room = need * MB_CUR_MAX;
  auto back = Exact<char>(room + 1);
  const std::size_t backCount =
      platform::wcstombs(back.get(), terminated.data(), room + 1);
  Check(backCount != kFailed && backCount <= room);
  if (strictCount != kFailed) {
    Check(backCount == bytes && std::memcmp(back.get(), text, bytes) == 0);
  }
}

void FuzzToMbs(const WCHAR* units, std::size_t count, std::size_t limitPick) {
  const std::size_t need = platform::WideToMbsReplacing(nullptr, units, 0);
  Check(need <= count * MB_CUR_MAX);
  auto bytes = Exact<char>(need);
  Check(platform::WideToMbsReplacing(bytes.get(), units, need) == need);

  const std::size_t limit = limitPick % (need + 1);
  auto cut = Exact<char>(limit);
  const std::size_t got = platform::WideToMbsReplacing(cut.get(), units, limit);
  Check(got <= limit && got <= need);
  Check(std::memcmp(cut.get(), bytes.get(), got) == 0);

  auto strict = Exact<char>(need + 1);
  const std::size_t strictCount =
      platform::wcstombs(strict.get(), units, need + 1);
  if (strictCount != kFailed) {
    Check(strictCount == need && strict[need] == 0);
    Check(std::memcmp(strict.get(), bytes.get(), need) == 0);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const std::uint8_t control = data[0];
  if (std::setlocale(LC_ALL, (control & 1) != 0 ? "C.UTF-8" : "C") == nullptr) {
    return 0;
  }
  const std::size_t limitPick = control >> 1;
  ++data, --size;

  // Bytes up to the first zero, in a block of exactly that size.
  const void* zero = std::memchr(data, 0, size);
  const std::size_t bytes =
      zero != nullptr ? static_cast<std::size_t>(
                            static_cast<const std::uint8_t*>(zero) - data)
                      : size;
  auto text = Exact<char>(bytes + 1);
  std::memcpy(text.get(), data, bytes);
  text[bytes] = 0;
  FuzzToWide(text.get(), bytes, limitPick);

  // The same input as 16-bit units, up to the first zero unit.
  std::vector<WCHAR> units;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    WCHAR unit = static_cast<WCHAR>(data[i] | data[i + 1] << 8);
    if (unit == 0) break;
    units.push_back(unit);
  }
  auto wide = Exact<WCHAR>(units.size() + 1);
  std::copy(units.begin(), units.end(), wide.get());
  wide[units.size()] = 0;
  FuzzToMbs(wide.get(), units.size(), limitPick);
  return 0;
}
