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

// The list that an operation changes or makes.
enum class Seen { kList, kTarget, kCopy };

struct Op {
  const char* name;
  Seen seen;
  // On `list` (a fresh Full() list), into `target` (a list of one token) or
  // into `copy`; a joined text goes to `result`.
  void (*run)(CKZStringToken& list, CKZStringToken& target,
              std::optional<CKZStringToken>& copy, CKZString& result);
};

const Op kOps[] = {
    {"AddTokens, growing", Seen::kList,
     [](CKZStringToken& list, CKZStringToken&, std::optional<CKZStringToken>&,
        CKZString&) {
       EXPECT_EQ(S_OK, list.AddTokens(CKZString(OLESTR(";e;;f;"))));
     }},
    {"AddTokens of multibyte text", Seen::kList,
     [](CKZStringToken& list, CKZStringToken&, std::optional<CKZStringToken>&,
        CKZString&) { EXPECT_EQ(S_OK, list.AddTokens(CKZString("e;f"))); }},
    {"copy", Seen::kCopy,
     [](CKZStringToken& list, CKZStringToken&,
        std::optional<CKZStringToken>& copy,
        CKZString&) { copy.emplace(list); }},
    {"assignment to a smaller room", Seen::kTarget,
     [](CKZStringToken& list, CKZStringToken& target,
        std::optional<CKZStringToken>&, CKZString&) { target = list; }},
    {"GetTokensList", Seen::kList,
     [](CKZStringToken& list, CKZStringToken&, std::optional<CKZStringToken>&,
        CKZString& result) { result = list.GetTokensList(); }},
};

TEST(TokenListOutOfMemory, EachAllocationFailing) {
  for (const Op& op : kOps) {
    SCOPED_TRACE(op.name);
    std::string success;
    const unsigned count = ForEachFailingAllocation([&](unsigned n) {
      CKZStringToken list, target;
      std::optional<CKZStringToken> copy;
      CKZString result;
      // What a failure leaves: the list as it was, or a copy that is empty
      // with the other's delimiter.
      std::string before;
      {
        NoInjectedFailures setup;
        list = Full();
        target.AddTokens(CKZString(OLESTR("x")));
        before = op.seen == Seen::kCopy     ? "; [] (null)"
                 : op.seen == Seen::kTarget ? Describe(target, result)
                                            : Describe(list, result);
      }
      op.run(list, target, copy, result);
      const bool fired = InjectedFailureFired();
      SCOPED_TRACE(n);
      CKZStringToken& seen = op.seen == Seen::kCopy     ? *copy
                             : op.seen == Seen::kTarget ? target
                                                        : list;
      const std::string outcome = Describe(seen, result);
      if (n == 0) success = outcome;
      if (!(fired && outcome == before)) {
        EXPECT_EQ(success, outcome) << "neither nothing nor everything";
      }
      // Usable whatever happened: it takes another token.
      EXPECT_EQ(S_OK, seen.AddTokens(CKZString(OLESTR("z"))));
      EXPECT_EQ(u"z", W(seen.GetNthToken(seen.GetCount() - 1)));
    });
    EXPECT_GT(count, 0u);
  }
}

}  // namespace
