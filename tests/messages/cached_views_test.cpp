// CKZSimpleMsgString and CKZDetailMsgString: the view each keeps, when it is
// built, handed out, carried over and dropped.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "strings/internal/test_access.h"
#include "test_support.h"

using A = CKZStringTestAccess;
using kztest::M;
using kztest::W;

namespace {

const WCHAR* U(const char16_t* text) {
  return reinterpret_cast<const WCHAR*>(text);
}

// The class's own reader, for both views alike, and the one it inherits,
// which never touches the view.
HRESULT Read(CKZSimpleMsgString& m, CKZString& out) {
  return m.BuildSimpleMessage(out);
}
HRESULT Read(CKZDetailMsgString& m, CKZString& out) {
  return m.BuildDetailMessage(out);
}
HRESULT ReadOther(CKZSimpleMsgString& m, CKZString& out) {
  return m.BuildDetailMessage(out);
}
HRESULT ReadOther(CKZDetailMsgString& m, CKZString& out) {
  return m.BuildSimpleMessage(out);
}

template <typename View>
class CachedView : public ::testing::Test {
 protected:
  static constexpr bool kSimple = std::is_same<View, CKZSimpleMsgString>::value;
  // The readings of "1$first" (type 1, origin "o") and "2$second" (type 2).
  const char16_t* kFirst = kSimple ? u"first" : u"1001-o - first";
  const char16_t* kSecond = kSimple ? u"second" : u"2002 - second";
};

using ViewTypes = ::testing::Types<CKZSimpleMsgString, CKZDetailMsgString>;
TYPED_TEST_SUITE(CachedView, ViewTypes);

}  // namespace

// Fault: the inherited reader fills the view or answers from it; the first
// reading isn't kept; a hit searches the composite again, copies the view
// or answers S_OK; GetMsg bypasses the override or passes its S_FALSE on; a
// copy or an assignment drops the view, or takes the text but not the
// error number. A hit shares the view's block and answers S_FALSE; the
// conversions hand out the view itself.
TYPED_TEST(CachedView, ReadingsComeFromTheViewAndCopiesCarryIt) {
  TypeParam m;
  ASSERT_EQ(S_OK, m.FormatMsg(1, U(u"1$first"), U(u"o")));
  CKZString out;
  EXPECT_EQ(S_OK, ReadOther(m, out));
  EXPECT_EQ(S_OK, ReadOther(m, out));
  CKZString first;
  EXPECT_EQ(S_OK, Read(m, first));  // still a miss: built now
  EXPECT_EQ(this->kFirst, W(first));
  CKZString again;
  EXPECT_EQ(S_OK, m.GetMsg(TestFixture::kSimple ? 0 : 1, again));
  EXPECT_EQ(A::Block(first), A::Block(again));
  EXPECT_EQ(S_FALSE, Read(m, again));
  EXPECT_EQ(A::Block(first), A::Block(again));
  const WCHAR* view = m;
  EXPECT_EQ(A::WideBuffer(first), view);
  EXPECT_EQ(M(first), M(m));

  TypeParam copy(m);
  EXPECT_EQ(1001u, copy.GetErrorNum());
  EXPECT_EQ(S_FALSE, Read(copy, out));
  EXPECT_EQ(view, static_cast<const WCHAR*>(out));
  TypeParam assigned;
  assigned = m;
  EXPECT_EQ(1001u, assigned.GetErrorNum());
  EXPECT_EQ(A::Block(m), A::Block(assigned));
  EXPECT_EQ(view, static_cast<const WCHAR*>(assigned));
  TypeParam& same = assigned;
  assigned = same;
  EXPECT_EQ(view, static_cast<const WCHAR*>(assigned));
}

// Fault: FormatMsg frees the view before it reads a text that points into
// it (a pointer a conversion handed out: ASan sees a use after free), keeps
// the old view, or drops it only when it succeeds. A failed FormatMsg
// (E_POINTER) keeps the composite but the next reading is built anew.
TYPED_TEST(CachedView, FormatMsgDropsTheViewAlsoWhenItFails) {
  TypeParam m;
  ASSERT_EQ(S_OK, m.FormatMsg(1, U(u"1$first"), U(u"o")));
  const WCHAR* view = m;
  EXPECT_EQ(this->kFirst, W(view));
  ASSERT_EQ(S_OK, m.FormatMsg(4, view));
  CKZMsgString plain;
  ASSERT_EQ(S_OK, plain.FormatMsg(4, U(this->kFirst)));
  EXPECT_EQ(W(plain), W(static_cast<CKZString&>(m)));
  ASSERT_EQ(S_OK, m.FormatMsg(2, U(u"2$second")));
  EXPECT_EQ(this->kSecond, W(m));
  CKZMsgString& base = m;
  base = OLESTR("3$third");  // the composite changes, the view stays
  EXPECT_EQ(this->kSecond, W(m));
  EXPECT_EQ(E_POINTER, m.FormatMsg(1, nullptr));
  EXPECT_EQ(u"3$third", W(static_cast<CKZString&>(m)));
  CKZString out;
  EXPECT_EQ(S_FALSE, Read(m, out));  // no markers: built from the text
  EXPECT_EQ(u"3$third", W(out));
  EXPECT_EQ(u"3$third", W(m));
}

// Fault: a new view hands out text, or an empty reading counts as built.
TEST(CachedViews, NewAndEmptyViews) {
  CKZSimpleMsgString simple;
  CKZDetailMsgString detail;
  EXPECT_EQ(nullptr, static_cast<const WCHAR*>(simple));
  EXPECT_EQ(nullptr, static_cast<const char*>(simple));
  EXPECT_EQ(nullptr, static_cast<const WCHAR*>(detail));
  EXPECT_EQ(nullptr, static_cast<const char*>(detail));
  // No message text: the simple reading is null and never counts as built,
  // so each call reads again and answers S_OK.
  static_cast<CKZMsgString&>(simple) = OLESTR("_$S_2006_$E_");
  EXPECT_EQ(nullptr, static_cast<const WCHAR*>(simple));
  CKZString out(OLESTR("x"));
  EXPECT_EQ(S_OK, simple.BuildSimpleMessage(out));
  EXPECT_TRUE(A::IsNull(out));
  EXPECT_EQ(S_OK, simple.BuildSimpleMessage(out));
  // A text without markers fills the view with the whole text.
  CKZSimpleMsgString plain;
  static_cast<CKZMsgString&>(plain) = OLESTR("plain");
  EXPECT_EQ(S_FALSE, plain.BuildSimpleMessage(out));
  static_cast<CKZMsgString&>(plain) = OLESTR("other");
  EXPECT_EQ(S_FALSE, plain.BuildSimpleMessage(out));
  EXPECT_EQ(u"plain", W(out));  // from the view
  EXPECT_EQ("plain", M(plain));
}
