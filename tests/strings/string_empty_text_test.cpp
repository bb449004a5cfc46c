// The rule that a text of Length() 0 is no text, for the appends: a
// multibyte-only text whose first byte is zero has Length() 0 in a
// multibyte locale, whatever its byte length; and Length() builds the wide
// form there, which the values that keep the block then hold.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "strings/internal/test_access.h"
#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using kztest::FormsOf;

// Fault: the inline one-character append extends a multibyte-only text that
// starts with a zero byte behind its zeros, where the text overload (and the
// wide ones) give the character alone. In the single-byte locale Length()
// counts the zeros, and every overload appends behind them.
TEST(StringEmptyText, CharacterAppendAgreesWithTextAppend) {
  struct Row {
    const char* name;
    bool wide;
    void (*append)(CKZString&);
  } rows[] = {
      {"+= char", false, [](CKZString& s) { s += 'x'; }},
      {"+= text", false, [](CKZString& s) { s += "x"; }},
      {"+= wide char", true, [](CKZString& s) { s += OLESTR('x'); }},
      {"+= wide text", true, [](CKZString& s) { s += OLESTR("x"); }},
  };
  const bool mb = kztest::MultibyteLocale();
  const ULONG length = mb ? 1 : 4;
  const char expected[] = {'\0', '\0', '\0', 'x', '\0'};
  const char* text = mb ? expected + 3 : expected;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s("", 3);
    row.append(s);
    ASSERT_EQ(row.wide ? kztest::kWideOnly : kztest::kMbsOnly, FormsOf(s));
    EXPECT_EQ(length, s.Length());
    for (ULONG i = 0; i <= length; ++i) {
      const unsigned unit =
          row.wide ? A::WideBuffer(s)[i]
                   : static_cast<unsigned char>(A::MbsBuffer(s)[i]);
      EXPECT_EQ(static_cast<unsigned char>(text[i]), unit) << "at " << i;
    }
  }
}

// Faults: operator+ with multibyte text, or operator+= with text on a
// shared value, decides that there is no text without Length(), so in the
// multibyte locale the wide form that Length() builds is missing afterwards:
// on the left operand, or on the block that the other sharer keeps.
TEST(StringEmptyText, LengthBuildsTheWideFormWhereItIsSeen) {
  struct Row {
    const char* name;
    const char* text;
    bool shared;
    void (*edit)(CKZString&);
  } rows[] = {
      {"value + multibyte text", "ab", false,
       [](CKZString& s) { static_cast<void>(s + "x"); }},
      {"empty value + multibyte text", "", false,
       [](CKZString& s) { static_cast<void>(s + "x"); }},
      {"shared value += multibyte text", "ab", true,
       [](CKZString& s) { s += "x"; }},
      {"shared empty value += multibyte text", "", true,
       [](CKZString& s) { s += "x"; }},
      {"shared empty value += wide text", "", true,
       [](CKZString& s) { s += OLESTR("x"); }},
  };
  const int expected =
      kztest::MultibyteLocale() ? kztest::kBothForms : kztest::kMbsOnly;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZString s(row.text);
    CKZString sharer;
    if (row.shared) sharer = s;
    row.edit(s);
    EXPECT_EQ(expected, FormsOf(row.shared ? sharer : s));
    EXPECT_EQ(std::string(row.text), kztest::M(row.shared ? sharer : s));
  }
}

}  // namespace
