// The run-time's multibyte conversions and the replacing conversions that
// stand in when they refuse a text, against the rows of
// data/conversions.txt. Expected values of the strict ones are those of the
// Windows run-time under Wine. Rows are keyed on the locale: the C-locale
// rows hold on both builds alike, the multibyte rows hold for UTF-8
// natively and for code page 932 in the Windows build.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "platform/platform.h"

#include "data_file.h"
#include "test_support.h"

namespace {

constexpr std::size_t kFail = static_cast<std::size_t>(-1);
// As `room`: call with a null destination (and a limit of 0).
constexpr std::size_t kNoDst = static_cast<std::size_t>(-2);

std::size_t StrictToMbs(char* dst, const WCHAR* src, std::size_t n) {
  return platform::wcstombs(dst, src, n);
}
std::size_t StrictToWide(WCHAR* dst, const char* src, std::size_t n) {
  return platform::mbstowcs(dst, src, n);
}

// One row, "name locales source room => result written [terminated]", with
// destination units of type Out and source units of type In. The
// destination has spare room after `room`, filled with a sentinel: a write
// past the limit, or a terminator where none belongs, changes it.
template <typename Out, typename In>
bool Check(std::size_t (*convert)(Out*, const In*, std::size_t),
           const kztest::Line& line, Out sentinel) {
  SCOPED_TRACE(line.where);
  kztest::Fields fields(line);
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
  std::u16string written;
  for (std::size_t i = 0; i < got; ++i) {
    written.push_back(std::make_unsigned_t<Out>(buffer[i]));
  }
  EXPECT_EQ(expected, written);
  for (std::size_t i = got; i < buffer.size(); ++i) {
    EXPECT_EQ(i == got && terminated ? Out{0} : sentinel, buffer[i])
        << "at unit " << i;
  }
  return true;
}

// Every row of data/conversions.txt for the current locale. mbstowcs: the C
// locale takes every byte as the unit of the same value, UTF-8 makes pairs
// and refuses every malformed sequence, code page 932 its own lead and trail
// bytes. wcstombs: the C locale refuses units above 0xFF, but counts a byte
// per unit without a destination. Both: the limit is never overrun, a pair
// or a double-byte character is never cut, and the terminator comes only
// when the whole text fit with room to spare. The replacing forms never
// fail: U+FFFD per bad byte, '?' per unit without bytes, never a
// look-alike.
TEST(Conversions, RecordedRows) {
  std::vector<kztest::Line> lines;
  ASSERT_TRUE(kztest::ReadDataFile("conversions.txt", &lines));
  const WCHAR unit = 0xAAAA;
  const char byte = 0x5A;
  int ran = 0;
  for (const kztest::Line& line : lines) {
    const std::string& section = line.section;
    if (section == "mbstowcs") {
      ran += Check(StrictToWide, line, unit);
    } else if (section == "wcstombs") {
      ran += Check(StrictToMbs, line, byte);
    } else if (section == "MbsToWideReplacing") {
      ran += Check(platform::MbsToWideReplacing, line, unit);
    } else if (section == "WideToMbsReplacing") {
      ran += Check(platform::WideToMbsReplacing, line, byte);
    } else {
      ADD_FAILURE() << line.where << ": row outside a known [section]";
    }
  }
  EXPECT_GT(ran, 30) << "rows went missing";
}

// The C locale is a byte-for-unit identity both ways over all of 0x01-0xFF:
// a C library that refuses bytes 0x80 and up in "C" fails here.
TEST(Conversions, CLocaleMapsEveryByteToItsUnitAndBack) {
  if (kztest::MultibyteLocale()) GTEST_SKIP() << "runs in the C locale";
  char bytes[256] = {};
  WCHAR wide[256];
  char back[256];
  for (int i = 1; i < 256; ++i) bytes[i - 1] = static_cast<char>(i);
  ASSERT_EQ(255u, platform::mbstowcs(wide, bytes, 256));
  for (int i = 0; i < 256; ++i) ASSERT_EQ((i + 1) % 256, wide[i]);
  ASSERT_EQ(255u, platform::wcstombs(back, wide, 256));
  EXPECT_EQ(0, std::memcmp(bytes, back, 256));
}

}  // namespace
