// CKZStringToken: split, lookup, removal, join, copies, growth, no memory.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "strings/internal/test_access.h"
#include "strings/internal/token_test_access.h"
#include "support/alloc_failure.h"
#include "test_support.h"

using A = CKZStringTestAccess;
using T = CKZStringTokenTestAccess;
using kztest::U;
using kztest::W;

namespace {

std::u16string Tokens(const CKZStringToken& list) {
  std::u16string out;
  for (ULONG i = 0; i < list.GetCount(); ++i) {
    out += W(list.GetNthToken(i)) + u"|";
  }
  return out;
}

CKZStringToken ListOf(const char16_t* text) {
  CKZStringToken list;
  EXPECT_EQ(S_OK, list.AddTokens(U(text)));
  return list;
}

// nullptr keeps the default delimiter; kNullDelimiter sets a null string.
const char16_t kNullDelimiter[] = u"";
void SetDelimiter(CKZStringToken& list, const char16_t* delimiter) {
  if (delimiter == kNullDelimiter) list.SetDelimiter(CKZString());
  if (delimiter != kNullDelimiter && delimiter) list.SetDelimiter(U(delimiter));
}

// Fault: tokens lost or invented at the edges, a delimiter taken as one text
// instead of a set of units, a null delimiter read, the argument edited.
TEST(StringTokenSplit, SplitsInTheMannerOfWcstok) {
  struct Row {
    const char* name;
    const char16_t* delimiter;
    const char16_t* text;  // nullptr: a null string
    const char16_t* tokens;
  } rows[] = {
      {"three", nullptr, u"a,b,c", u"a|b|c|"},
      {"edges and runs", nullptr, u",,a,,b,,", u"a|b|"},
      {"no separator", nullptr, u"a", u"a|"},
      {"empty text", nullptr, u"", u""},
      {"null text", nullptr, nullptr, u""},
      {"separators only", nullptr, u",,,", u""},
      {"blank is a token", nullptr, u" , ", u" | |"},
      {"two-unit set", u",;", u"a;b,c", u"a|b|c|"},
      {"two-unit set, mixed run", u",;", u";,a,;,b;", u"a|b|"},
      {"set above 255", u"\u3001,", u"\u65e5\u3001\u672c,x",
       u"\u65e5|\u672c|x|"},
      {"long token", nullptr, u"abcdefghijklmnopqrstuvwxyz0123456789,z",
       u"abcdefghijklmnopqrstuvwxyz0123456789|z|"},
      {"empty delimiter", u"", u"a,b", u"a,b|"},
      {"null delimiter", kNullDelimiter, u"a,b", u"a,b|"},
      {"null delimiter, empty text", kNullDelimiter, u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZStringToken list;
    SetDelimiter(list, row.delimiter);
    const CKZString text =
        row.text == nullptr ? CKZString() : CKZString(U(row.text));
    EXPECT_EQ(S_OK, list.AddTokens(text));
    EXPECT_EQ(row.tokens, Tokens(list));
  }
  // A multibyte argument, split as its wide text; it and its sharer stay.
  const CKZString text(",a,bc,"), sharer = text;
  CKZStringToken list;
  EXPECT_EQ(S_OK, list.AddTokens(text));
  EXPECT_EQ(u"a|bc|", Tokens(list));
  EXPECT_EQ(",a,bc,", kztest::M(sharer));
  EXPECT_EQ(2u, A::RefCount(text));
}

// Fault: AddTokens clears the list; lookups ignore case, match null or miss
// the last; removal takes the wrong or every duplicate, or copies text.
TEST(StringTokenList, RemoveTakesTheFirstMatchAndMovesTheRestForward) {
  CKZStringToken list = ListOf(u"a,b");
  EXPECT_EQ(S_OK, list.AddTokens(U(u"a,c")));
  EXPECT_EQ(u"a|b|a|c|", Tokens(list));
  const CKZStringBlock* b = A::Block(list.GetNthToken(1));
  const CKZStringBlock* secondA = A::Block(list.GetNthToken(2));
  const CKZStringBlock* c = A::Block(list.GetNthToken(3));
  EXPECT_TRUE(list.IsInList(U(u"c")));
  EXPECT_FALSE(list.IsInList(U(u"A")));
  EXPECT_FALSE(list.IsInList(CKZString()));
  EXPECT_EQ(S_FALSE, list.RemoveToken(U(u"A")));
  EXPECT_EQ(S_FALSE, list.RemoveToken(CKZString()));
  EXPECT_EQ(S_OK, list.RemoveToken("a"));  // multibyte argument
  EXPECT_EQ(u"b|a|c|", Tokens(list));
  EXPECT_EQ(b, A::Block(list.GetNthToken(0)));
  EXPECT_EQ(secondA, A::Block(list.GetNthToken(1)));
  EXPECT_EQ(c, A::Block(list.GetNthToken(2)));
  EXPECT_EQ(S_OK, list.RemoveToken(U(u"a")));
  EXPECT_EQ(S_FALSE, list.RemoveToken(U(u"a")));
  EXPECT_EQ(u"b|c|", Tokens(list));
  EXPECT_EQ(4u, T::Room(list));  // room never shrinks
  EXPECT_EQ(S_OK, list.RemoveToken(U(u"b")));
  EXPECT_EQ(S_OK, list.RemoveToken(U(u"c")));
  EXPECT_EQ(0u, list.GetCount());
  EXPECT_FALSE(list.IsInList(U(u"c")));
  EXPECT_TRUE(A::IsNull(list.GetTokensList()));
}

// Fault: the join ends in the delimiter, takes off more than one unit, misses
// a token, or doesn't split back.
TEST(StringTokenList, JoinTakesOffOneUnit) {
  struct Row {
    const char* name;
    const char16_t* delimiter;
    const char16_t* tokens;  // split at ','
    const char16_t* joined;  // nullptr: a null string
  } rows[] = {
      {"comma", nullptr, u"a,bc,d", u"a,bc,d"},
      {"one unit", nullptr, u"a", u"a"},
      {"two units", u";;", u"a,b", u"a;;b;"},
      {"above 255", u"\u3001", u"x,\u65e5", u"x\u3001\u65e5"},
      {"empty", u"", u"ab,cd", u"abc"},
      {"empty, one unit", u"", u"a", nullptr},
      {"null", kNullDelimiter, u"ab,cd", u"abc"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZStringToken list = ListOf(row.tokens);
    SetDelimiter(list, row.delimiter);
    const CKZString joined = list.GetTokensList();
    EXPECT_EQ(row.joined == nullptr ? u"(null)" : row.joined, W(joined));
    if (row.joined == nullptr) continue;
    EXPECT_EQ(1u, A::RefCount(joined));
    if (list.GetDelimiter().Length() == 0) continue;
    CKZStringToken again;
    again.SetDelimiter(list.GetDelimiter());
    EXPECT_EQ(A::Block(T::Delimiter(list)), A::Block(T::Delimiter(again)));
    EXPECT_EQ(S_OK, again.AddTokens(joined));
    EXPECT_EQ(Tokens(list), Tokens(again));
  }
}

// Fault: a new list's delimiter is shared, wide or missing; room doesn't
// double from one; a copy's room isn't its count.
TEST(StringTokenList, NewListRoomDoublesFromOneAndCopiesFit) {
  CKZStringToken list;
  const CKZStringToken empty;
  EXPECT_TRUE(A::IsNull(list.GetTokensList()));
  EXPECT_TRUE(A::IsNull(list.GetNthToken(0)));
  EXPECT_TRUE(A::HasMbs(T::Delimiter(list)));
  EXPECT_FALSE(A::HasWide(T::Delimiter(list)));
  EXPECT_EQ(",", kztest::M(list.GetDelimiter()));
  EXPECT_NE(A::Block(T::Delimiter(list)), A::Block(T::Delimiter(empty)));
  const ULONG rooms[] = {1, 2, 4, 4, 8, 8, 8, 8, 16};
  for (ULONG room : rooms) {
    EXPECT_EQ(S_OK, list.AddTokens(U(u"t")));
    EXPECT_EQ(room, T::Room(list)) << "count " << list.GetCount();
  }
  EXPECT_EQ(S_OK, list.AddTokens(U(u"a,b,c,d,e,f,g,h")));  // 17 tokens
  EXPECT_EQ(32u, T::Room(list));
  const CKZStringToken copy(list);
  EXPECT_EQ(17u, T::Room(copy));
  EXPECT_EQ(Tokens(list), Tokens(copy));
  for (ULONG i = 0; i < copy.GetCount(); ++i) {
    EXPECT_EQ(A::Block(list.GetNthToken(i)), A::Block(copy.GetNthToken(i)));
  }
  EXPECT_EQ(A::Block(T::Delimiter(list)), A::Block(T::Delimiter(copy)));
  const CKZStringToken emptyCopy(empty);
  EXPECT_EQ(0u, T::Room(emptyCopy));
}

// Fault: assignment leaves or drops tokens, reallocates when the room
// suffices, keeps the old delimiter, copies text, or frees itself.
TEST(StringTokenList, AssignmentSharesEveryTokenAndKeepsRoomThatSuffices) {
  struct Row {
    const char* name;
    const char16_t* target;
    const char16_t* source;  // nullptr: the target itself
    ULONG room;              // the target's room afterwards
    bool sameStorage;
  } rows[] = {
      {"longer into room enough", u"a,b,c", u"w,x,y,z", 4, true},
      {"shorter into longer", u"a,b,c,d,e", u"x,y", 8, true},
      {"equal length", u"a,b", u"x,y", 2, true},
      {"empty source", u"a,b", u"", 2, true},
      {"longer than the room", u"a,b", u"t,u,v,w,x,y,z", 7, false},
      {"into an empty list", u"", u"x", 1, false},
      {"itself", u"a,b,c", nullptr, 4, true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    CKZStringToken target = ListOf(row.target);
    CKZStringToken other = ListOf(row.source == nullptr ? u"" : row.source);
    CKZStringToken& source = row.source == nullptr ? target : other;
    source.SetDelimiter(U(u"|"));
    const std::u16string tokens = Tokens(source);
    const CKZStringBlock* first = A::Block(source.GetNthToken(0));
    const void* storage = T::Storage(target);
    target = source;
    EXPECT_EQ(tokens, Tokens(target));
    EXPECT_EQ(first, A::Block(target.GetNthToken(0)));
    EXPECT_EQ(row.room, T::Room(target));
    EXPECT_EQ(row.sameStorage, storage == T::Storage(target));
    EXPECT_EQ(A::Block(T::Delimiter(source)), A::Block(T::Delimiter(target)));
    for (ULONG i = 0; i < source.GetCount(); ++i) {
      EXPECT_EQ(A::Block(source.GetNthToken(i)),
                A::Block(target.GetNthToken(i)));
    }
  }
}

// Fault: a token's buffer inside its block's allocation is freed or grown
// as a buffer of its own, or loses its text when it moves out.
TEST(StringTokenList, TokenBufferMovesOutOfItsBlockWhenItGrows) {
  CKZStringToken list = ListOf(u"abc,de");
  CKZString token = list.GetNthToken(0);
  EXPECT_EQ(S_OK, list.RemoveToken(token));
  ASSERT_EQ(1u, A::RefCount(token));
  EXPECT_EQ(3u, A::Capacity(token));
  const CKZStringBlock* block = A::Block(token);
  const int inRecord = A::WideKind(token);
  EXPECT_NE(CKZStringBlock::AllocCRT, inRecord);
  token.TruncateRight(1);
  EXPECT_EQ(inRecord, A::WideKind(token));
  const KZAllocCounters before = KZGetAllocCounters();
  token += OLESTR("xyz");
  const KZAllocCounters after = KZGetAllocCounters();
  EXPECT_EQ(u"abxyz", W(token));
  EXPECT_EQ(block, A::Block(token));
  EXPECT_EQ(CKZStringBlock::AllocCRT, A::WideKind(token));
  EXPECT_EQ(before.crtFree, after.crtFree);
  token += OLESTR("0123456789");
  EXPECT_EQ(u"abxyz0123456789", W(token));
  EXPECT_EQ("abxyz0123456789", kztest::M(token));
}

std::string Describe(const CKZStringToken& list, const CKZString& result) {
  const std::u16string text =
      W(list.GetDelimiter()) + u" [" + Tokens(list) + u"] " + W(result);
  return std::string(text.begin(), text.end());
}

// `seen` is the list the operation changes or makes.
struct Lists {
  CKZStringToken list, target;
  std::optional<CKZStringToken> copy;
  CKZString result;
  CKZStringToken* seen = &list;
};

const struct Op {
  const char* name;
  void (*run)(Lists& l);
} kOps[] = {
    {"AddTokens, growing",
     [](Lists& l) { EXPECT_EQ(S_OK, l.list.AddTokens(OLESTR(";e;;f;"))); }},
    {"AddTokens of multibyte text",
     [](Lists& l) { EXPECT_EQ(S_OK, l.list.AddTokens(CKZString("e;f"))); }},
    {"copy", [](Lists& l) { l.seen = &l.copy.emplace(l.list); }},
    {"assignment to a smaller room",
     [](Lists& l) { *(l.seen = &l.target) = l.list; }},
    {"GetTokensList", [](Lists& l) { l.result = l.list.GetTokensList(); }},
};

// Fault, each allocation failing in turn: a leak, a half-done operation, a
// list unusable after a failure.
TEST(TokenListOutOfMemory, EachAllocationFailing) {
  for (const Op& op : kOps) {
    SCOPED_TRACE(op.name);
    std::string success;
    const unsigned count = kztest::ForEachFailingAllocation([&](unsigned n) {
      Lists l;
      std::string list, target;
      {
        kztest::NoInjectedFailures setup;
        l.list.SetDelimiter(U(u";"));
        l.list.AddTokens(U(u"a;b;c;d"));  // four tokens in a room of four
        l.target.AddTokens(CKZString(OLESTR("x")));
        list = Describe(l.list, l.result);
        target = Describe(l.target, l.result);
      }
      op.run(l);
      const bool fired = kztest::InjectedFailureFired();
      SCOPED_TRACE(n);
      const std::string outcome = Describe(*l.seen, l.result);
      if (n == 0) success = outcome;
      const std::string before = l.copy                ? "; [] (null)"
                                 : l.seen == &l.target ? target
                                                       : list;
      if (!(fired && outcome == before)) {
        EXPECT_EQ(success, outcome) << "neither nothing nor everything";
      }
      EXPECT_EQ(S_OK, l.seen->AddTokens(CKZString(OLESTR("z"))));
      EXPECT_EQ(u"z", W(l.seen->GetNthToken(l.seen->GetCount() - 1)));
    });
    EXPECT_GT(count, 0u);
  }
}

}  // namespace
