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
#include "locale_kind.h"
#include "test_support.h"

namespace {

using kztest::CurrentLocaleKind;
using kztest::LocaleKind;

constexpr std::size_t kFail = static_cast<std::size_t>(-1);
// As `room`: call with a null destination (and a limit of 0).
constexpr std::size_t kNoDst = static_cast<std::size_t>(-2);
constexpr WCHAR kUnitSentinel = 0xAAAA;
constexpr char kByteSentinel = '\x5A';

std::size_t StrictToMbs(char* dst, const WCHAR* src, std::size_t n) {
  return platform::wcstombs(dst, src, n);
}
std::size_t StrictToWide(WCHAR* dst, const char* src, std::size_t n) {
  return platform::mbstowcs(dst, src, n);
}

struct Row {
  std::string section;
  std::string where;
  unsigned locales = 0;
  bool nullSource = false;
  std::u16string source;
  std::size_t room = 0;
  std::size_t result = 0;
  std::u16string written;
  bool terminated = false;
};

bool ParseRow(const kztest::Line& line, Row* row) {
  kztest::Fields fields(line);
  row->where = line.where;
  std::u16string name;
  const kztest::Field* field = nullptr;
  if (!fields.Text(&name) || !fields.Take(&field)) return false;
  row->where += " " + std::string(name.begin(), name.end());
  if (field->quoted || !kztest::ParseLocales(field->bare, &row->locales)) {
    return fields.Fail("expected the locales");
  }
  if (!fields.Take(&field)) return false;
  row->nullSource = !field->quoted && field->bare == "null";
  if (!row->nullSource && (!field->quoted || !field->bare.empty())) {
    return fields.Fail("the source is a string or null");
  }
  row->source = field->text;
  const kztest::Field* room = fields.Peek();
  std::int64_t n = 0;
  if (room != nullptr && !room->quoted && room->bare == "nodst") {
    fields.Take(&room);
    row->room = kNoDst;
  } else if (fields.Integer(0, 1000, &n)) {
    row->room = static_cast<std::size_t>(n);
  } else {
    return false;
  }
  if (!fields.Expect("=>")) return false;
  const kztest::Field* result = fields.Peek();
  if (result != nullptr && !result->quoted && result->bare == "fail") {
    fields.Take(&result);
    row->result = kFail;
  } else if (fields.Integer(0, 1000, &n)) {
    row->result = static_cast<std::size_t>(n);
  } else {
    return false;
  }
  if (!fields.Text(&row->written)) return false;
  if (!fields.AtEnd()) {
    if (!fields.Expect("terminated")) return false;
    row->terminated = true;
  }
  if (!fields.AtEnd()) return fields.Fail("text after the row");
  if (row->result != kFail && row->room != kNoDst &&
      row->written.size() != row->result) {
    return fields.Fail("`written` must hold `result` units");
  }
  return true;
}

// One row, destination units of type Out and source units of type In. The
// destination has spare room after `room`, filled with a sentinel: a write
// past the limit, or a terminator where none belongs, changes it.
template <typename Out, typename In>
void Check(std::size_t (*convert)(Out*, const In*, std::size_t), const Row& row,
           Out sentinel) {
  SCOPED_TRACE(row.where);
  std::vector<In> source;
  for (char16_t unit : row.source) {
    if (sizeof(In) == 1 && unit > 0xFF) {
      ADD_FAILURE() << "a unit above 0xFF in a byte source";
      return;
    }
    source.push_back(static_cast<In>(unit));
  }
  source.push_back(0);
  const In* text = row.nullSource ? nullptr : source.data();
  if (row.room == kNoDst) {
    EXPECT_EQ(row.result, convert(nullptr, text, 0));
    return;
  }
  std::vector<Out> buffer(row.room + 3, sentinel);
  const std::size_t got = convert(buffer.data(), text, row.room);
  ASSERT_EQ(row.result, got);
  if (got == kFail) return;
  std::u16string written;
  for (std::size_t i = 0; i < got; ++i) {
    written.push_back(static_cast<char16_t>(
        static_cast<std::make_unsigned_t<Out>>(buffer[i])));
  }
  EXPECT_EQ(row.written, written);
  for (std::size_t i = got; i < buffer.size(); ++i) {
    const Out expected = i == got && row.terminated ? Out{0} : sentinel;
    EXPECT_EQ(expected, buffer[i]) << "at unit " << i;
  }
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
  std::string section;
  int ran = 0;
  for (const kztest::Line& line : lines) {
    const kztest::Field& first = line.fields[0];
    if (!first.quoted && first.bare.size() > 2 && first.bare.front() == '[' &&
        first.bare.back() == ']' && line.fields.size() == 1) {
      section = first.bare.substr(1, first.bare.size() - 2);
      continue;
    }
    Row row;
    if (!ParseRow(line, &row)) continue;
    if (!kztest::InCurrentLocale(row.locales)) continue;
    ++ran;
    if (section == "mbstowcs") {
      Check(StrictToWide, row, kUnitSentinel);
    } else if (section == "wcstombs") {
      Check(StrictToMbs, row, kByteSentinel);
    } else if (section == "MbsToWideReplacing") {
      Check(platform::MbsToWideReplacing, row, kUnitSentinel);
    } else if (section == "WideToMbsReplacing") {
      Check(platform::WideToMbsReplacing, row, kByteSentinel);
    } else {
      ADD_FAILURE() << line.where << ": row outside a known [section]";
    }
  }
  EXPECT_GT(ran, 30) << "rows went missing";
}

// The C locale is a byte-for-unit identity both ways over all of 0x01-0xFF:
// a C library that refuses bytes 0x80 and up in "C" fails here.
TEST(Conversions, CLocaleMapsEveryByteToItsUnitAndBack) {
  if (CurrentLocaleKind() != LocaleKind::kC) {
    GTEST_SKIP() << "runs in the C locale";
  }
  char bytes[256];
  for (int i = 1; i < 256; ++i) bytes[i - 1] = static_cast<char>(i);
  bytes[255] = 0;
  WCHAR wide[256];
  ASSERT_EQ(255u, platform::mbstowcs(wide, bytes, 256));
  for (int i = 1; i < 256; ++i) ASSERT_EQ(i, static_cast<int>(wide[i - 1]));
  EXPECT_EQ(0, static_cast<int>(wide[255]));
  char back[256];
  ASSERT_EQ(255u, platform::wcstombs(back, wide, 256));
  EXPECT_EQ(0, std::memcmp(bytes, back, 256));
}

// The multibyte sample round-trips through both conversions, and the
// counting calls agree with the converting ones.
TEST(Conversions, MultibyteSampleRoundTrips) {
  if (!kztest::MultibyteLocale()) GTEST_SKIP() << "needs a multibyte locale";
  const kztest::MultibyteSample sample = kztest::Sample();
  WCHAR wide[8];
  ASSERT_EQ(3u, platform::mbstowcs(nullptr, sample.bytes, 0));
  ASSERT_EQ(3u, platform::mbstowcs(wide, sample.bytes, 8));
  EXPECT_EQ(kztest::W(sample.wide), kztest::W(wide));
  char back[16];
  ASSERT_EQ(sample.byteLength, platform::wcstombs(nullptr, wide, 0));
  ASSERT_EQ(sample.byteLength, platform::wcstombs(back, wide, sizeof back));
  EXPECT_EQ(std::string(sample.bytes), std::string(back));
}

}  // namespace
