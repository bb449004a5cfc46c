// CKZString concatenation and insertion.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "strings/string_test_util.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using S = CKZString&;
using namespace kztest;

void AppendCharacter(CKZString& s, char c, bool wide) {
  wide ? s += static_cast<WCHAR>(c) : s += c;
}

// Faults: the wrong encoding for the join, an operand that loses a form or
// converts for nothing, a stale form, characters counted for bytes.
TEST(StringEncodingChoice, Table) {
  enum Operand { kWideText = 4, kMbsText = 5 };  // else a string's forms
  struct Row {
    const char* name;
    bool plus;  // operator+, else operator+=
    int left, right;
    int result, leftAfter, rightAfter;  // single-byte locale
  } rows[] = {
      {"wide + wide", true, kWide, kWide, kWide, kWide, kWide},
      {"mbs + mbs", true, kMbs, kMbs, kMbs, kMbs, kMbs},
      {"wide + mbs", true, kWide, kMbs, kWide, kWide, kBoth},
      {"mbs + wide", true, kMbs, kWide, kWide, kBoth, kWide},
      {"both + mbs", true, kBoth, kMbs, kMbs, kBoth, kMbs},
      {"mbs + both", true, kMbs, kBoth, kMbs, kMbs, kBoth},
      {"both + wide", true, kBoth, kWide, kWide, kBoth, kWide},
      {"both + both", true, kBoth, kBoth, kWide, kBoth, kBoth},
      {"wide += wide", false, kWide, kWide, kWide, kWide, kWide},
      {"mbs += mbs", false, kMbs, kMbs, kMbs, kMbs, kMbs},
      {"wide += mbs", false, kWide, kMbs, kWide, kWide, kBoth},
      {"mbs += wide", false, kMbs, kWide, kWide, kWide, kWide},
      {"both += mbs", false, kBoth, kMbs, kMbs, kMbs, kMbs},
      {"both += both", false, kBoth, kBoth, kWide, kWide, kBoth},
      {"wide += wide text", false, kWide, kWideText, kWide, kWide, 0},
      {"mbs += wide text", false, kMbs, kWideText, kWide, kWide, 0},
      {"wide += mbs text", false, kWide, kMbsText, kWide, kWide, 0},
      {"mbs += mbs text", false, kMbs, kMbsText, kMbs, kMbs, 0},
      {"mbs + wide text", true, kMbs, kWideText, kWide, 0, 0},
      {"wide + mbs text", true, kWide, kMbsText, kMbs, 0, 0},
  };
  const bool mb = MultibyteLocale();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const bool text = row.right >= kWideText;
    CKZString left = Make("ab", static_cast<Forms>(row.left));
    const CKZString right =
        text ? CKZString() : Make("cd", static_cast<Forms>(row.right));
    CKZString result;
    auto join = [&](auto other) {
      result = row.plus ? left + other : (left += other);
    };
    if (row.right == kWideText) join(OLESTR("cd"));
    if (row.right == kMbsText) join("cd");
    if (!text) join(right);
    const bool wideJoin = mb && !text;
    EXPECT_EQ(wideJoin ? kWide : row.result, FormsOf(result));
    if (row.plus && text) {
      EXPECT_EQ(row.left, FormsOf(left) & row.left);  // keeps its forms
    } else if (row.plus) {
      EXPECT_EQ(wideJoin ? row.left | kWide : row.leftAfter, FormsOf(left));
    }
    if (row.plus) {
      EXPECT_EQ("ab", M(left));
      EXPECT_EQ(1u, A::RefCount(result));
    }
    if (!text) {
      EXPECT_EQ(wideJoin ? row.right | kWide : row.rightAfter, FormsOf(right));
      EXPECT_EQ(u"cd", W(right));
    }
    EXPECT_EQ(4u, result.Length());
    EXPECT_EQ(4u, result.MbsLength());
    EXPECT_EQ("abcd", M(result));
    EXPECT_EQ(u"abcd", W(result));
  }
  if (!mb) return;
  // Beyond ASCII: joined by bytes, measured in characters.
  const MultibyteSample sample = Sample();
  const std::u16string wide = W(sample.wide);
  CKZString s(sample.bytes);
  s += sample.bytes;
  s += "x";
  EXPECT_EQ(kMbs, FormsOf(s));
  EXPECT_EQ(2 * sample.byteLength + 1, s.MbsLength());
  EXPECT_EQ(7u, s.Length());
  EXPECT_EQ(wide + wide + u"x", W(s));
  EXPECT_EQ(std::string(sample.bytes) + "ab",
            M(CKZString(sample.bytes) + "ab"));
  CKZString w(OLESTR("ab"));
  w += sample.bytes;
  EXPECT_EQ(u"ab" + wide, W(w));
  EXPECT_EQ(2 + sample.byteLength, w.MbsLength());
  CKZString i(OLESTR("ab"));
  EXPECT_EQ(5u, i.Insert(1, sample.bytes));
  EXPECT_EQ(u"a" + wide + u"b", W(i));
}

// Faults: a copy where a share is due or the reverse, null and empty mixed up,
// the character 0 taken for null, an edit with nothing to add that unshares.
TEST(StringJoinSharing, NullAndEmptyOperands) {
  enum Outcome { kNull, kKeepsLeft, kSharesRight, kNew };
  enum Operand { kString, kWideText, kMbsText, kWideChar, kMbsChar };
  struct Row {
    const char* left;
    const char* right;
    Outcome stringPlus, stringAppend, text;  // text: texts and characters
  } rows[] = {
      {nullptr, nullptr, kNull, kKeepsLeft, kKeepsLeft},
      {nullptr, "", kSharesRight, kKeepsLeft, kNew},
      {nullptr, "c", kSharesRight, kSharesRight, kNew},
      {"", nullptr, kNull, kKeepsLeft, kKeepsLeft},
      {"", "", kSharesRight, kKeepsLeft, kNew},
      {"", "c", kSharesRight, kSharesRight, kNew},
      {"ab", nullptr, kKeepsLeft, kKeepsLeft, kKeepsLeft},
      {"ab", "", kKeepsLeft, kKeepsLeft, kNew},
      {"ab", "c", kNew, kNew, kNew},
  };
  for (const Row& row : rows) {
    for (bool plus : {true, false}) {
      for (int operand = kString; operand <= kMbsChar; ++operand) {
        if (operand >= kWideChar && row.right == nullptr) continue;
        SCOPED_TRACE(M(row.left) + (plus ? " + " : " += ") + M(row.right) +
                     ", operand " + std::to_string(operand));
        const Outcome outcome = operand != kString ? row.text
                                : plus             ? row.stringPlus
                                                   : row.stringAppend;
        const CKZString left = Make(row.left, kBoth);
        const CKZString right = Make(row.right, kBoth);
        const WideOrNull wide(row.right);
        CKZString result = left;  // left stays behind as the other sharer
        auto join = [&](auto other) {
          result = plus ? left + other : (result += other);
        };
        if (operand == kString) join(right);
        if (operand == kWideText) join(wide.get());
        if (operand == kMbsText) join(row.right);
        if (operand == kWideChar) join(wide.get()[0]);
        if (operand == kMbsChar) join(row.right[0]);
        std::string expected = M(nullptr);
        if (outcome == kKeepsLeft) {
          EXPECT_EQ(A::Block(left), A::Block(result));
          expected = M(row.left);
        } else if (outcome == kSharesRight) {
          EXPECT_EQ(A::Block(right), A::Block(result));
          expected = row.right;
        } else if (outcome == kNew) {
          ASSERT_FALSE(A::IsNull(result));
          EXPECT_EQ(1u, A::RefCount(result));
          if (operand != kString) {
            EXPECT_EQ(operand % 2 == 1 ? kWide : kMbs, FormsOf(result));
          }
          expected = std::string(row.left ? row.left : "") + row.right;
        }
        if (row.left != nullptr) {
          EXPECT_EQ(kBoth, FormsOf(left));
        }
        EXPECT_EQ(expected, M(result));
        EXPECT_EQ(M(row.left), M(left));
      }
    }
  }
}

// Faults: operator+ sized by the left text alone, no spare room.
TEST(PerProcessBlockSize, JoinCapacity) {
  std::uint32_t size = 0;
  ASSERT_TRUE(ExpectedBlockSize(&size));
  const int column = size == 64 ? 0 : size == 0 ? 1 : size == 128 ? 2 : -1;
  ASSERT_NE(-1, column) << "no capacities for block size " << size;
  struct Row {
    const char* name;
    ULONG left, right;
    std::uint32_t capacity[3];  // block size 64, 0, 128
  } rows[] = {
      {"10 + 5", 10, 5, {79, 15, 143}},
      {"100 + 5", 100, 5, {169, 105, 233}},
      {"10 + 0", 10, 0, {74, 20, 138}},
      {"63 + 1", 63, 1, {128, 64, 192}},
      {"1 + 200", 1, 200, {265, 201, 329}},
  };
  for (const Row& row : rows) {
    for (bool wide : {true, false}) {
      SCOPED_TRACE(std::string(row.name) + (wide ? ", wide" : ", mbs"));
      const std::string left(row.left, 'l');
      const std::string right(row.right, 'r');
      const CKZString value = Make(left.c_str(), wide ? kWide : kMbs);
      AllocCounts counts;
      const CKZString result =
          wide ? value + Widen(right).c_str() : value + right.c_str();
      EXPECT_EQ(0u, counts.CrtGrow());
      EXPECT_EQ(row.capacity[column], A::Capacity(result));
      EXPECT_EQ(left + right, M(result));
    }
  }
}

// Faults: a growth check off by one, a grow per append, realloc on an OLE
// buffer or a BSTR, a lost kind, a source read after growth freed it (asan).
TEST(StringJoinCapacity, GrowthByEachAllocator) {
  ASSERT_TRUE(DefaultBlockSize());
  for (bool wide : {true, false}) {
    SCOPED_TRACE(wide ? "wide" : "mbs");
    const std::string sixty(60, 'x');
    CKZString s = Make(sixty.c_str(), wide ? kWide : kMbs);
    ASSERT_EQ(64u, A::Capacity(s));
    auto buffer = [&] {
      return wide ? static_cast<const void*>(A::WideBuffer(s))
                  : static_cast<const void*>(A::MbsBuffer(s));
    };
    const void* before = buffer();
    AllocCounts counts;
    for (int i = 0; i < 4; ++i) AppendCharacter(s, 'y', wide);
    EXPECT_EQ(64u, A::Capacity(s));
    EXPECT_EQ(before, buffer());
    AppendCharacter(s, 'z', wide);
    EXPECT_EQ(128u, A::Capacity(s));
    for (int i = 65; i < 1000; ++i) AppendCharacter(s, 'x', wide);
    EXPECT_EQ(4u, counts.CrtGrow());
    EXPECT_EQ(0u, counts.Crt());
    EXPECT_EQ(wide ? kWide : kMbs, FormsOf(s));
    EXPECT_EQ(1024u, A::Capacity(s));
    EXPECT_EQ(sixty + "yyyyz" + std::string(935, 'x'), M(s));
  }
  enum Edit { kChar, kValue, kTail, kInsertChar, kInsertTail };
  const char16_t* expected[] = {u"abcd", u"abcd", u"abcde", u"adbc", u"adebc"};
  for (AttachOp op : kAttachOps) {
    for (Edit edit : {kChar, kValue, kTail, kInsertChar, kInsertTail}) {
      SCOPED_TRACE(std::to_string(static_cast<int>(op)) + ", edit " +
                   std::to_string(edit));
      const bool wide = AttachesWide(op);
      const bool ole = op == AttachOp::kOleWide || op == AttachOp::kOleMbs;
      const bool bstr = op == AttachOp::kBstr;
      AllocCounts counts;
      {
        CKZString s;
        const void* buffer = AttachNew(s, op, std::string("abc\0de", 6));
        const WCHAR* wideTail = static_cast<const WCHAR*>(buffer) + 4;
        const char* mbsTail = static_cast<const char*>(buffer) + 4;
        ASSERT_EQ(3u, s.Length());
        const int kindBefore = wide ? A::WideKind(s) : A::MbsKind(s);
        if (edit == kChar) AppendCharacter(s, 'd', wide);
        if (edit == kValue) s += Make("d", wide ? kWide : kMbs);
        if (edit == kTail) wide ? s += wideTail : s += mbsTail;
        if (edit == kInsertChar) {
          EXPECT_EQ(4u, wide ? s.Insert(1, OLESTR('d')) : s.Insert(1, 'd'));
        }
        if (edit == kInsertTail) {
          EXPECT_EQ(5u, wide ? s.Insert(1, wideTail) : s.Insert(1, mbsTail));
        }
        EXPECT_EQ(6u, A::Capacity(s));
        // An insert goes wide, and so does a join in the multibyte locale.
        const bool goesWide = !wide && (edit >= kInsertChar ||
                                        (edit == kValue && MultibyteLocale()));
        if (!goesWide) {
          EXPECT_EQ(kindBefore, wide ? A::WideKind(s) : A::MbsKind(s));
          EXPECT_EQ(!ole && !bstr ? 1u : 0u, counts.CrtGrow());
          EXPECT_EQ(ole ? 1u : 0u, counts.OleGrow());
          EXPECT_EQ(bstr ? 1u : 0u, counts.BstrGrow());
          EXPECT_EQ(wide ? kWide : kMbs, FormsOf(s));
        }
        EXPECT_EQ(expected[edit], W(s));
      }
      EXPECT_EQ(ole ? 1u : 0u, counts.Ole());
      EXPECT_EQ(bstr ? 1u : 0u, counts.Bstr());
    }
  }
}

// Faults: a grow within the capacity, an empty taken-over buffer written
// without room, a position off by one, a stale form or length.
TEST(StringInsert, PositionsAndRoom) {
  ASSERT_TRUE(DefaultBlockSize());
  const std::string middle(55, '-');
  CKZString full(Widen("abc" + middle + "def").c_str());
  const WCHAR* buffer = A::WideBuffer(full);
  AllocCounts counts;
  EXPECT_EQ(64u, full.Insert(3, OLESTR("XYZ")));
  EXPECT_EQ(0u, counts.CrtGrow());
  EXPECT_EQ(buffer, A::WideBuffer(full));
  EXPECT_EQ(64u, A::Capacity(full));
  EXPECT_EQ(U("abcXYZ" + middle + "def"), W(full));
  CKZString empty;
  empty.Attach_CRT(MallocMbs(""));
  ASSERT_EQ(0u, A::Capacity(empty));
  EXPECT_EQ(3u, empty.Insert(0, OLESTR("abc")));
  EXPECT_EQ(u"abc", W(empty));
  for (Forms forms : {kMbs, kBoth}) {
    CKZString value = Make("abc", forms);
    const CKZString other = forms == kBoth ? value : CKZString();
    EXPECT_EQ(4u, value.Insert(1, 'X'));
    EXPECT_EQ(kWide, FormsOf(value));
    EXPECT_EQ("aXbc", M(value));
  }
  struct Row {
    const char* value;
    ULONG position;
    const char* text;
    const char* expected;  // nullptr: null string
    ULONG result;
  } rows[] = {
      {"abc", 0, "XY", "XYabc", 5},
      {"abc", 1, "XY", "aXYbc", 5},
      {"abc", 2, "XY", "abXYc", 5},
      {"abc", 3, "XY", "abcXY", 5},
      {"abc", 0xFFFFFFFFu, "XY", "abcXY", 5},
      {"abc", 1, "", "abc", 3},
      {"abc", 1, nullptr, "abc", 3},
      {"", 7, "XY", "XY", 2},
      {nullptr, 4, "XY", "XY", 2},
      {nullptr, 0, nullptr, nullptr, 0},
  };
  for (const Row& row : rows) {
    for (Forms forms : {kWide, kMbs}) {
      for (bool wideText : {true, false}) {
        SCOPED_TRACE(M(row.value) + " at " + std::to_string(row.position) +
                     ": " + M(row.text) + ", forms " + std::to_string(forms) +
                     (wideText ? ", wide text" : ", mbs text"));
        CKZString s = Make(row.value, forms);
        const WideOrNull wide(row.text);
        EXPECT_EQ(row.result, wideText ? s.Insert(row.position, wide.get())
                                       : s.Insert(row.position, row.text));
        if (row.expected == nullptr) {
          EXPECT_TRUE(A::IsNull(s));
        } else {
          EXPECT_EQ(std::strlen(row.expected), s.MbsLength());
          EXPECT_EQ(row.expected, M(s));
          EXPECT_EQ(U(row.expected), W(s));
        }
      }
    }
  }
}

// Faults: an own source read after growth or unsharing freed it, or overwritten
// by the terminator.
TEST(StringSelfSource, AppendAndInsert) {
  const std::size_t kEnd = std::string::npos;
  struct Row {
    const char* name;
    void (*edit)(CKZString&);
    std::size_t at, from;  // the text from `from` inserted at `at`
  } rows[] = {
      {"s += s", [](S s) { s += s; }, kEnd, 0},
      {"s = s + s", [](S s) { s = s + s; }, kEnd, 0},
      {"own wide tail", [](S s) { s += static_cast<const WCHAR*>(s) + 1; },
       kEnd, 1},
      {"own mbs tail", [](S s) { s += static_cast<const char*>(s) + 1; }, kEnd,
       1},
      {"insert own wide",
       [](S s) { s.Insert(1, static_cast<const WCHAR*>(s)); }, 1, 0},
      {"insert own mbs", [](S s) { s.Insert(1, static_cast<const char*>(s)); },
       1, 0},
      {"insert own wide tail at the end",
       [](S s) { s.Insert(s.Length(), static_cast<const WCHAR*>(s) + 2); },
       kEnd, 2},
  };
  const std::string texts[] = {"abc", std::string(40, 'q') + "xyz"};
  for (const Row& row : rows) {
    for (const std::string& text : texts) {
      for (Forms forms : {kWide, kMbs, kBoth}) {
        for (bool shared : {false, true}) {
          SCOPED_TRACE(std::string(row.name) + ", " +
                       std::to_string(text.size()) + " characters, forms " +
                       std::to_string(forms) + (shared ? ", shared" : ""));
          CKZString s = Make(text.c_str(), forms);
          const CKZString sharer = shared ? s : CKZString();
          row.edit(s);
          const std::string expected =
              text.substr(0, row.at) + text.substr(row.from) +
              text.substr(std::min(row.at, text.size()));
          EXPECT_EQ(expected.size(), s.Length());
          EXPECT_EQ(expected, M(s));
          EXPECT_EQ(1u, A::RefCount(s));
        }
      }
    }
  }
  CKZString wide(OLESTR(""));
  wide += static_cast<const WCHAR*>(wide);
  wide += wide;
  EXPECT_EQ(u"", W(wide));
  CKZString mbs("");
  mbs += static_cast<const char*>(mbs);
  EXPECT_EQ("", M(mbs));
}

// Faults: the character append and the text append disagree on a text of zero
// bytes; an append that skips Length() misses the wide form it builds.
TEST(StringEmptyText, AppendsAgreeAndLengthBuildsTheWideForm) {
  const bool mb = MultibyteLocale();
  const ULONG length = mb ? 1 : 4;
  const char units[] = {'\0', '\0', '\0', 'x', '\0'};
  const char* text = mb ? units + 3 : units;
  for (int overload = 0; overload < 4; ++overload) {
    SCOPED_TRACE(overload);
    const bool wide = overload >= 2;
    CKZString s("", 3);
    if (overload % 2 == 0) AppendCharacter(s, 'x', wide);
    if (overload % 2 == 1) wide ? s += OLESTR("x") : s += "x";
    ASSERT_EQ(wide ? kWide : kMbs, FormsOf(s));
    EXPECT_EQ(length, s.Length());
    for (ULONG i = 0; i <= length; ++i) {
      const unsigned unit =
          wide ? A::WideBuffer(s)[i]
               : static_cast<unsigned char>(A::MbsBuffer(s)[i]);
      EXPECT_EQ(static_cast<unsigned char>(text[i]), unit) << "at " << i;
    }
  }
  struct Row {
    const char* text;
    bool shared;
    void (*edit)(CKZString&);
  } rows[] = {
      {"ab", false, [](S s) { static_cast<void>(s + "x"); }},
      {"", false, [](S s) { static_cast<void>(s + "x"); }},
      {"ab", true, [](S s) { s += "x"; }},
      {"", true, [](S s) { s += "x"; }},
      {"", true, [](S s) { s += OLESTR("x"); }},
  };
  const int forms = mb ? kBoth : kMbs;
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    CKZString s(row.text);
    CKZString sharer;
    if (row.shared) sharer = s;
    row.edit(s);
    EXPECT_EQ(forms, FormsOf(row.shared ? sharer : s));
    EXPECT_EQ(std::string(row.text), M(row.shared ? sharer : s));
  }
}

}  // namespace
