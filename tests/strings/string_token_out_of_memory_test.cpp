// CKZStringToken when memory runs out, with each allocation of an operation
// failing in turn. Faults caught: a crash, leak or abort (asan preset); a
// list that loses or half adds tokens when it can't grow, a copy or an
// assignment that half happens, a joined list that is cut, a list that is
// unusable after a failure.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using namespace kztest;

// A list of four tokens in a room of four, so the next token makes it grow.
CKZStringToken Full() {
  CKZStringToken list;
  list.SetDelimiter(CKZString(OLESTR(";")));
  EXPECT_EQ(S_OK, list.AddTokens(CKZString(OLESTR("a;b;c"))));
  EXPECT_EQ(S_OK, list.AddTokens(CKZString(OLESTR("d"))));
  return list;
}

std::string Describe(const CKZStringToken& list, const CKZString& result) {
  std::u16string text = W(list.GetDelimiter()) + u" [";
  for (ULONG i = 0; i < list.GetCount(); ++i) {
    text += W(list.GetNthToken(i)) + u"|";
  }
  text += u"] " + W(result);
  return std::string(text.begin(), text.end());
}

// What an operation works on: `list` (a fresh Full() list), `target` (a
// list of one token) and `copy`; a joined text goes to `result`. `seen` is
// the list it changes or makes.
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

TEST(TokenListOutOfMemory, EachAllocationFailing) {
  for (const Op& op : kOps) {
    SCOPED_TRACE(op.name);
    std::string success;
    const unsigned count = ForEachFailingAllocation([&](unsigned n) {
      Lists l;
      // What a failure leaves: the list as it was, or a copy that is empty
      // with the other's delimiter.
      std::string list, target;
      {
        NoInjectedFailures setup;
        l.list = Full();
        l.target.AddTokens(CKZString(OLESTR("x")));
        list = Describe(l.list, l.result);
        target = Describe(l.target, l.result);
      }
      op.run(l);
      const bool fired = InjectedFailureFired();
      SCOPED_TRACE(n);
      const std::string outcome = Describe(*l.seen, l.result);
      if (n == 0) success = outcome;
      const std::string before = l.copy                ? "; [] (null)"
                                 : l.seen == &l.target ? target
                                                       : list;
      if (!(fired && outcome == before)) {
        EXPECT_EQ(success, outcome) << "neither nothing nor everything";
      }
      // Usable whatever happened: it takes another token.
      EXPECT_EQ(S_OK, l.seen->AddTokens(CKZString(OLESTR("z"))));
      EXPECT_EQ(u"z", W(l.seen->GetNthToken(l.seen->GetCount() - 1)));
    });
    EXPECT_GT(count, 0u);
  }
}

}  // namespace
