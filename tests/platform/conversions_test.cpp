// The run-time's multibyte conversions and the replacing conversions that
// stand in when they refuse a text. Expected values of the strict ones are
// those of the Windows run-time under Wine. Rows are keyed on the locale: the
// C-locale rows hold on both builds alike, the multibyte rows hold for UTF-8
// natively and for code page 932 in the Windows build.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/platform.h"

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

// Which locales a row holds in.
constexpr unsigned kInC = 1, kInUtf8 = 2, kInCp932 = 4;
constexpr unsigned kEverywhere = kInC | kInUtf8 | kInCp932;

unsigned CurrentBit() {
  switch (CurrentLocaleKind()) {
    case LocaleKind::kC:
      return kInC;
    case LocaleKind::kUtf8:
      return kInUtf8;
    case LocaleKind::kCp932:
      return kInCp932;
    default:
      return 0;
  }
}

struct ToWideRow {
  const char* name;
  unsigned locales;
  const char* src;
  std::size_t room;      // units, or kNoDst
  std::size_t result;    // kFail for (size_t)-1
  const char16_t* wide;  // the units written, on success with a destination
  bool terminated;       // a zero unit written after them
};

struct ToMbsRow {
  const char* name;
  unsigned locales;
  const char16_t* src;
  std::size_t room;
  std::size_t result;
  const char* bytes;
  bool terminated;
};

using ToWideFn = std::size_t (*)(WCHAR*, const char*, std::size_t);
using ToMbsFn = std::size_t (*)(char*, const WCHAR*, std::size_t);

// Runs the rows of the current locale. The destination has spare room after
// `room`, filled with a sentinel: a write past the limit, or a terminator
// where none belongs, changes it.
template <std::size_t N>
void RunToWide(ToWideFn convert, const ToWideRow (&rows)[N]) {
  const unsigned bit = CurrentBit();
  if (bit == 0) GTEST_SKIP() << "unknown test locale";
  for (const ToWideRow& row : rows) {
    if ((row.locales & bit) == 0) continue;
    SCOPED_TRACE(row.name);
    if (row.room == kNoDst) {
      EXPECT_EQ(row.result, convert(nullptr, row.src, 0));
      continue;
    }
    std::vector<WCHAR> buffer(row.room + 3, kUnitSentinel);
    const std::size_t got = convert(buffer.data(), row.src, row.room);
    ASSERT_EQ(row.result, got);
    if (got == kFail) continue;
    std::u16string written(buffer.begin(), buffer.begin() + got);
    EXPECT_EQ(std::u16string(row.wide), written);
    for (std::size_t i = got; i < buffer.size(); ++i) {
      const WCHAR expected =
          i == got && row.terminated ? WCHAR{0} : kUnitSentinel;
      EXPECT_EQ(expected, buffer[i]) << "at unit " << i;
    }
  }
}

template <std::size_t N>
void RunToMbs(ToMbsFn convert, const ToMbsRow (&rows)[N]) {
  const unsigned bit = CurrentBit();
  if (bit == 0) GTEST_SKIP() << "unknown test locale";
  for (const ToMbsRow& row : rows) {
    if ((row.locales & bit) == 0) continue;
    SCOPED_TRACE(row.name);
    std::vector<WCHAR> src;
    if (row.src != nullptr) {
      for (const char16_t* p = row.src; *p != 0; ++p) src.push_back(*p);
      src.push_back(0);
    }
    const WCHAR* text = row.src != nullptr ? src.data() : nullptr;
    if (row.room == kNoDst) {
      EXPECT_EQ(row.result, convert(nullptr, text, 0));
      continue;
    }
    std::vector<char> buffer(row.room + 3, kByteSentinel);
    const std::size_t got = convert(buffer.data(), text, row.room);
    ASSERT_EQ(row.result, got);
    if (got == kFail) continue;
    EXPECT_EQ(std::string(row.bytes), std::string(buffer.data(), got));
    for (std::size_t i = got; i < buffer.size(); ++i) {
      const char expected = i == got && row.terminated ? '\0' : kByteSentinel;
      EXPECT_EQ(expected, buffer[i]) << "at byte " << i;
    }
  }
}

std::size_t StrictToMbs(char* dst, const WCHAR* src, std::size_t n) {
  return platform::wcstombs(dst, src, n);
}
std::size_t StrictToWide(WCHAR* dst, const char* src, std::size_t n) {
  return platform::mbstowcs(dst, src, n);
}

// mbstowcs: the C locale takes every byte as the unit of the same value;
// UTF-8 makes pairs above U+FFFF and refuses every malformed sequence;
// the limit is never overrun, a pair is never cut, and the terminator comes
// only when the whole text fit with room to spare.
TEST(Conversions, MbsToWide) {
  const ToWideRow rows[] = {
      {"room for the terminator", kEverywhere, "abc", 10, 3, u"abc", true},
      {"exact room: no terminator", kEverywhere, "abc", 3, 3, u"abc", false},
      {"limit cuts the text", kEverywhere, "abc", 2, 2, u"ab", false},
      {"limit 0 writes nothing", kEverywhere, "abc", 0, 0, u"", false},
      {"empty text", kEverywhere, "", 4, 0, u"", true},
      {"null destination counts", kEverywhere, "abc", kNoDst, 3, u"", false},
      {"null source fails", kEverywhere, nullptr, 4, kFail, u"", false},
      // C locale.
      {"bytes are units of the same value", kInC, "\x01\x7F\x80\xFF", 10, 4,
       u"\x01\x7F\x80\xFF", true},
      {"UTF-8 bytes stay two units", kInC, "\xC3\xA9", 10, 2, u"\u00C3\u00A9",
       true},
      {"null destination counts high bytes", kInC, "\x80\xFF\xE9", kNoDst, 3,
       u"", false},
      // UTF-8.
      {"two-byte character", kInUtf8, "\xC3\xA9", 10, 1, u"\u00E9", true},
      {"three-byte character", kInUtf8, "\xE6\x97\xA5", 10, 1, u"\u65E5", true},
      {"four bytes make a pair", kInUtf8, "\xF0\x9F\x98\x80", 10, 2,
       u"\xD83D\xDE00", true},
      {"largest code point", kInUtf8, "\xF4\x8F\xBF\xBF", 10, 2,
       u"\xDBFF\xDFFF", true},
      {"pair not begun with one unit of room", kInUtf8, "a\xF0\x9F\x98\x80", 2,
       1, u"a", false},
      {"null destination counts a pair as two", kInUtf8, "a\xF0\x9F\x98\x80",
       kNoDst, 3, u"", false},
      {"lone continuation byte fails", kInUtf8, "a\x80", 10, kFail, u"", false},
      {"overlong C0 fails", kInUtf8, "\xC0\x80", 10, kFail, u"", false},
      {"overlong C1 fails", kInUtf8, "\xC1\xBF", 10, kFail, u"", false},
      {"overlong three bytes fail", kInUtf8, "\xE0\x80\x80", 10, kFail, u"",
       false},
      {"overlong four bytes fail", kInUtf8, "\xF0\x80\x80\x80", 10, kFail, u"",
       false},
      {"encoded surrogate fails", kInUtf8, "\xED\xA0\x80", 10, kFail, u"",
       false},
      {"past U+10FFFF fails", kInUtf8, "\xF4\x90\x80\x80", 10, kFail, u"",
       false},
      {"F5 lead fails", kInUtf8, "\xF5\x80\x80\x80", 10, kFail, u"", false},
      {"FF fails", kInUtf8, "\xFF", 10, kFail, u"", false},
      {"sequence cut by the terminator fails", kInUtf8, "\xE6\x97", 10, kFail,
       u"", false},
      {"sequence cut by ASCII fails", kInUtf8, "\xE6\x97z", 10, kFail, u"",
       false},
      {"null destination fails on a bad byte", kInUtf8, "a\xFF", kNoDst, kFail,
       u"", false},
      {"bad byte past the limit is not seen", kInUtf8, "ab\xFF", 2, 2, u"ab",
       false},
      // Code page 932.
      {"double-byte characters", kInCp932, "\x93\xFA\x96\x7B\x8C\xEA", 10, 3,
       u"\u65E5\u672C\u8A9E", true},
      {"limit of one unit", kInCp932, "\x93\xFA\x96\x7B", 1, 1, u"\u65E5",
       false},
      {"null destination counts characters", kInCp932,
       "\x93\xFA\x96\x7B\x8C\xEA", kNoDst, 3, u"", false},
      {"0x80 is U+0080", kInCp932, "\x80z", 10, 2, u"\u0080z", true},
      {"half-width katakana", kInCp932, "\xB1\xDF", 10, 2, u"\uFF71\uFF9F",
       true},
      {"ideographic space", kInCp932, "\x81\x40", 10, 1, u"\u3000", true},
      {"lead byte then terminator fails", kInCp932, "a\x93", 10, kFail, u"",
       false},
      {"lead byte with a bad trail fails", kInCp932, "\x93\x20z", 10, kFail,
       u"", false},
      {"0xA0 fails", kInCp932, "\xA0z", 10, kFail, u"", false},
      {"0xFD fails", kInCp932, "\xFDz", 10, kFail, u"", false},
      {"null destination fails on a bad byte", kInCp932, "\xA0", kNoDst, kFail,
       u"", false},
      {"bad byte past the limit is not seen", kInCp932, "ab\xA0", 2, 2, u"ab",
       false},
  };
  RunToWide(StrictToWide, rows);
}

// wcstombs: the C locale writes units up to 0xFF as bytes and refuses the
// rest, except that without a destination it counts a byte per unit and
// looks at nothing; a character that doesn't fit whole stops the conversion
// without failing it.
TEST(Conversions, WideToMbs) {
  const ToMbsRow rows[] = {
      {"room for the terminator", kEverywhere, u"abc", 10, 3, "abc", true},
      {"exact room: no terminator", kEverywhere, u"abc", 3, 3, "abc", false},
      {"limit cuts the text", kEverywhere, u"abc", 2, 2, "ab", false},
      {"limit 0 writes nothing", kEverywhere, u"abc", 0, 0, "", false},
      {"empty text", kEverywhere, u"", 4, 0, "", true},
      {"null destination counts", kEverywhere, u"abc", kNoDst, 3, "", false},
      {"lone high surrogate fails", kEverywhere, u"a\xD800z", 10, kFail, "",
       false},
      // C locale.
      {"units up to 0xFF are bytes", kInC, u"\x01\x7F\x80\xFF", 10, 4,
       "\x01\x7F\x80\xFF", true},
      {"unit 0x100 fails", kInC, u"a\u0100z", 10, kFail, "", false},
      {"surrogate pair fails", kInC, u"\xD83D\xDE00", 10, kFail, "", false},
      {"null destination counts units unchecked", kInC, u"a\u0100\u65E5",
       kNoDst, 3, "", false},
      {"refused unit past the limit is not seen", kInC, u"ab\u0100", 2, 2, "ab",
       false},
      // UTF-8.
      {"e acute takes two bytes", kInUtf8, u"\u00E9", 10, 2, "\xC3\xA9", true},
      {"pair takes four bytes", kInUtf8, u"\xD83D\xDE00", 10, 4,
       "\xF0\x9F\x98\x80", true},
      {"lone low surrogate fails", kInUtf8, u"\xDC00", 10, kFail, "", false},
      {"reversed pair fails", kInUtf8, u"\xDE00\xD83D", 10, kFail, "", false},
      {"high surrogate at the end fails", kInUtf8, u"a\xD83D", 10, kFail, "",
       false},
      {"null destination fails on a lone surrogate", kInUtf8, u"a\xD800",
       kNoDst, kFail, "", false},
      {"null destination counts bytes", kInUtf8, u"a\u00E9\u65E5\xD83D\xDE00",
       kNoDst, 10, "", false},
      {"character that doesn't fit stops", kInUtf8, u"a\u65E5", 3, 1, "a",
       false},
      {"limit inside the first character", kInUtf8, u"\u65E5", 2, 0, "", false},
      {"refused unit past the limit is not seen", kInUtf8, u"ab\xD800", 2, 2,
       "ab", false},
      // Code page 932.
      {"double-byte characters", kInCp932, u"\u65E5\u672C\u8A9E", 10, 6,
       "\x93\xFA\x96\x7B\x8C\xEA", true},
      {"character that doesn't fit stops", kInCp932, u"\u65E5\u672C\u8A9E", 3,
       2, "\x93\xFA", false},
      {"limit inside the first character", kInCp932, u"\u65E5", 1, 0, "",
       false},
      {"character fits but not the terminator", kInCp932, u"a\u65E5", 3, 3,
       "a\x93\xFA", false},
      {"U+0080 is 0x80", kInCp932, u"\u0080", 10, 1, "\x80", true},
      {"half-width katakana", kInCp932, u"\uFF71", 10, 1, "\xB1", true},
      {"e acute has no bytes", kInCp932, u"a\u00E9z", 10, kFail, "", false},
      {"yen sign has no bytes", kInCp932, u"\u00A5", 10, kFail, "", false},
      {"null destination refuses too", kInCp932, u"a\u00E9z", kNoDst, kFail, "",
       false},
      {"surrogate pair fails", kInCp932, u"\xD83D\xDE00", 10, kFail, "", false},
      {"refused unit past the limit still fails", kInCp932, u"ab\u0100", 2,
       kFail, "", false},
  };
  RunToMbs(StrictToMbs, rows);
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

// The replacing conversion never fails: U+FFFD for each byte that starts no
// character, the rest as the strict conversion gives it, and the same limits
// (no terminator of its own, no cut pair).
TEST(Conversions, MbsToWideReplacing) {
  const ToWideRow rows[] = {
      {"valid text as the strict form", kEverywhere, "abc", 10, 3, u"abc",
       false},
      {"limit cuts the text", kEverywhere, "abc", 2, 2, u"ab", false},
      {"limit 0 writes nothing", kEverywhere, "abc", 0, 0, u"", false},
      {"null destination counts", kEverywhere, "abc", kNoDst, 3, u"", false},
      {"null source gives nothing", kEverywhere, nullptr, 4, 0, u"", false},
      {"every byte converts in C", kInC, "\x80\xFF", 10, 2, u"\u0080\u00FF",
       false},
      {"cut sequence: one per byte", kInUtf8, "a\xE6\x97z", 10, 4,
       u"a\uFFFD\uFFFDz", false},
      {"overlong: one per byte", kInUtf8, "\xC0\x80", 10, 2, u"\uFFFD\uFFFD",
       false},
      {"encoded surrogate: one per byte", kInUtf8, "\xED\xA0\x80", 10, 3,
       u"\uFFFD\uFFFD\uFFFD", false},
      {"good character after a bad byte", kInUtf8, "\xFF\xC3\xA9", 10, 2,
       u"\uFFFD\u00E9", false},
      {"pair kept", kInUtf8, "\xF0\x9F\x98\x80", 10, 2, u"\xD83D\xDE00", false},
      {"pair not begun with one unit of room", kInUtf8, "a\xF0\x9F\x98\x80", 2,
       1, u"a", false},
      {"limit among replacements", kInUtf8, "\xFF\xFF\xFF", 2, 2,
       u"\uFFFD\uFFFD", false},
      {"null destination counts replacements", kInUtf8, "a\xE6\x97z", kNoDst, 4,
       u"", false},
      {"lead byte at the end", kInCp932, "a\x93", 10, 2, u"a\uFFFD", false},
      {"bad trail byte is kept", kInCp932, "\x93\x20z", 10, 3, u"\uFFFD z",
       false},
      {"0xA0", kInCp932, "\xA0z", 10, 2, u"\uFFFDz", false},
      {"good character after a bad byte", kInCp932, "\xA0\x93\xFA", 10, 2,
       u"\uFFFD\u65E5", false},
  };
  RunToWide(platform::MbsToWideReplacing, rows);
}

// The other way: '?' for each unit the locale cannot represent, never a
// look-alike, and a character that doesn't fit whole is not begun.
TEST(Conversions, WideToMbsReplacing) {
  const ToMbsRow rows[] = {
      {"valid text as the strict form", kEverywhere, u"abc", 10, 3, "abc",
       false},
      {"lone surrogate becomes ?", kEverywhere, u"a\xD800z", 10, 3, "a?z",
       false},
      {"limit 0 writes nothing", kEverywhere, u"a\xD800", 0, 0, "", false},
      {"null destination counts", kEverywhere, u"a\xD800z", kNoDst, 3, "",
       false},
      {"null source gives nothing", kEverywhere, nullptr, 4, 0, "", false},
      {"units above 0xFF become ? each", kInC, u"a\u0100\u65E5z", 10, 4, "a??z",
       false},
      {"pair is two ?", kInC, u"\xD83D\xDE00", 10, 2, "??", false},
      {"Latin-1 units kept", kInC, u"\u00E9\u0100", 10, 2, "\xE9?", false},
      {"pair kept", kInUtf8, u"\xD83D\xDE00", 10, 4, "\xF0\x9F\x98\x80", false},
      {"reversed pair is two ?", kInUtf8, u"\xDE00\xD83D", 10, 2, "??", false},
      {"high surrogate at the end", kInUtf8, u"a\xD83D", 10, 2, "a?", false},
      {"character that doesn't fit stops", kInUtf8, u"\xD800\u65E5", 3, 1, "?",
       false},
      {"null destination counts bytes", kInUtf8, u"\u00E9\xD800", kNoDst, 3, "",
       false},
      {"e acute becomes ?, not e", kInCp932, u"a\u00E9z", 10, 3, "a?z", false},
      {"yen sign becomes ?, not backslash", kInCp932, u"\u00A5", 10, 1, "?",
       false},
      {"pair is two ?", kInCp932, u"\xD83D\xDE00", 10, 2, "??", false},
      {"valid character kept", kInCp932, u"\u65E5\u00E9", 10, 3, "\x93\xFA?",
       false},
      {"character that doesn't fit stops", kInCp932, u"?\u65E5", 2, 1, "?",
       false},
  };
  RunToMbs(platform::WideToMbsReplacing, rows);
}

}  // namespace
