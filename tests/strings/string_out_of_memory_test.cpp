// CKZString when memory runs out: every public operation, on values of every
// kind of block, alone and shared, with each of its allocations failing in
// turn. Faults caught: an abort, a crash or a leak on a failed allocation (the
// asan preset), an edit that half happens or loses the old text, a sharer
// that changes, a new value that is neither null nor the full result, a
// conversion that is neither nullptr nor the text, a length that is wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "fixtures/test_catalog.h"
#include "strings/internal/test_access.h"
#include "strings/string_test_util.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;

const GUID kGuid = {0x12345678, 0x9abc, 0xdef0, {1, 2, 3, 4, 5, 6, 7, 8}};

// What an operation gave, kept without allocating: the window counts every
// operator new until it closes.
struct Result {
  CKZString value;  // a new value
  long long number = 0;
  const WCHAR* wide = nullptr;
  const char* mbs = nullptr;
  BSTR bstr = nullptr;
  WCHAR* wideCopy = nullptr;
  char* mbsCopy = nullptr;
  GUID guid = GUID_NULL;
};

// The operands that the operations take besides the value, made afresh for
// each run outside the window.
struct Operands {
  CKZString wide, mbs;
  HMODULE module = nullptr;
};

std::string Hex(const void* data, std::size_t bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string out;
  const unsigned char* p = static_cast<const unsigned char*>(data);
  for (std::size_t i = 0; i < bytes; ++i) {
    out += kDigits[p[i] >> 4];
    out += kDigits[p[i] & 15];
  }
  return out;
}
std::string WideText(const WCHAR* text) {
  return text == nullptr ? "nullptr"
                         : Hex(text, kztest::WideLen(text) * sizeof(WCHAR));
}
std::string MbsText(const char* text) {
  return text == nullptr ? "nullptr" : Hex(text, std::strlen(text));
}

// A value as its texts and lengths; reading them builds both forms, so this
// comes after every check of the forms.
std::string Describe(const CKZString& s) {
  if (A::IsNull(s)) return "null";
  return "wide " + WideText(s) + " mbs " + MbsText(s) + " lengths " +
         std::to_string(s.Length()) + "/" + std::to_string(s.MbsLength());
}

// Describes the result and frees what the caller owns.
std::string Describe(Result& r) {
  std::string out = "value " + Describe(r.value) + " number " +
                    std::to_string(r.number) + " wide " + WideText(r.wide) +
                    " mbs " + MbsText(r.mbs) + " bstr " +
                    WideText(reinterpret_cast<const WCHAR*>(r.bstr)) +
                    " copies " + WideText(r.wideCopy) + " " +
                    MbsText(r.mbsCopy) + " guid " + Hex(&r.guid, sizeof r.guid);
  SysFreeString(r.bstr);
  CoTaskMemFree(r.wideCopy);
  CoTaskMemFree(r.mbsCopy);
  r = Result();
  return out;
}

// A value's block as it stands: pointer, count, capacity, and each form's
// buffer, length and text.
struct Snapshot {
  const CKZStringBlock* block = nullptr;
  std::uint32_t refCount = 0, capacity = 0;
  const WCHAR* wide = nullptr;
  const char* mbs = nullptr;
  std::uint32_t wideLength = 0, mbsLength = 0;
  std::u16string wideText;
  std::string mbsText;
};

Snapshot Take(const CKZString& s) {
  Snapshot snap;
  snap.block = A::Block(s);
  if (snap.block == nullptr) return snap;
  snap.refCount = A::RefCount(s);
  snap.capacity = A::Capacity(s);
  if (A::HasWide(s)) {
    snap.wide = A::WideBuffer(s);
    snap.wideLength = A::WideLength(s);
    snap.wideText.assign(reinterpret_cast<const char16_t*>(snap.wide),
                         snap.wideLength);
  }
  if (A::HasMbs(s)) {
    snap.mbs = A::MbsBuffer(s);
    snap.mbsLength = A::MbsLength(s);
    snap.mbsText.assign(snap.mbs, snap.mbsLength);
  }
  return snap;
}

// The value is as the snapshot saw it: the same block, count and capacity,
// and every form it had still there, unmoved, with its length and text. A
// form may have been added, as a read adds one. The count may also be
// `otherCount`: a sharer's, lower by the value that left it; or higher by a
// new value that shares the block.
::testing::AssertionResult AsBefore(const Snapshot& before, const CKZString& s,
                                    std::uint32_t otherCount) {
  const Snapshot now = Take(s);
  const bool countKept =
      now.refCount == before.refCount || now.refCount == otherCount;
  if (now.block != before.block || !countKept ||
      now.capacity != before.capacity) {
    return ::testing::AssertionFailure() << "block, count or capacity changed";
  }
  if (before.wide != nullptr &&
      (now.wide != before.wide || now.wideLength != before.wideLength ||
       now.wideText != before.wideText)) {
    return ::testing::AssertionFailure() << "wide form changed";
  }
  if (before.mbs != nullptr &&
      (now.mbs != before.mbs || now.mbsLength != before.mbsLength ||
       now.mbsText != before.mbsText)) {
    return ::testing::AssertionFailure() << "multibyte form changed";
  }
  return ::testing::AssertionSuccess();
}

// The values the operations start from: every kind of block.
struct Fixture {
  const char* name;
  CKZString (*make)();
};

CKZString MbsSample() {
  const kztest::MultibyteSample sample = kztest::Sample();
  return CKZString((std::string("Mixed ") + sample.bytes + " text").c_str());
}

const Fixture kFixtures[] = {
    {"wide", [] { return CKZString(OLESTR("Hello, wide text")); }},
    {"multibyte", MbsSample},
    {"both forms",
     [] {
       CKZString s = MbsSample();
       static_cast<void>(static_cast<const WCHAR*>(s));
       return s;
     }},
    {"taken-over CRT wide",
     [] {
       CKZString s;
       s.Attach_CRT(kztest::MallocWide(OLESTR("Taken over")));
       return s;
     }},
    {"taken-over OLE multibyte",
     [] {
       CKZString s;
       s.Attach_OLE(kztest::OleMbs("Taken over"));
       return s;
     }},
    {"taken-over BSTR",
     [] {
       CKZString s;
       s.Attach_BSTR(kztest::Bstr(OLESTR("Taken over")));
       return s;
     }},
    {"GUID text, multibyte",
     [] { return CKZString("{12345678-9ABC-DEF0-0102-030405060708}"); }},
    {"empty", [] { return CKZString(""); }},
    {"null", [] { return CKZString(); }},
};

// What the failure of an operation must leave.
enum class Kind {
  kEdit,        // this value and its sharer as they were
  kReplace,     // this value null (Compose, LoadStringW drop it first)
  kNew,         // a null new value; this value as it was
  kConversion,  // nullptr; this value as it was, no form built
  kCopy,        // nullptr; this value as it was, a form may be built
  kQuery,       // the right answer, or `failAnswer`; this value as it was
};

struct Operation {
  const char* name;
  Kind kind;
  Result (*run)(CKZString& s, Operands& o);
  // Queries: an answer allowed when a form could not be built; -2: none,
  // the answer must be exact.
  long long failAnswer = -2;
  // Edits and replacements: the number that a failure returns, if any.
  bool failReturnsFalse = false;
  bool failReturnsLength = false;
  // Lengths never convert in a single-byte locale, so never allocate there.
  bool lengthQuery = false;
};

Result Number(long long n) {
  Result r;
  r.number = n;
  return r;
}
Result Value(CKZString v) {
  Result r;
  r.value = v;
  return r;
}

const Operation kOperations[] = {
    // Edits.
    {"= wide text", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s = OLESTR("assigned");
       return Result();
     }},
    {"= multibyte text", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s = "assigned";
       return Result();
     }},
    {"= GUID", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s = kGuid;
       return Result();
     }},
    {"Attach_CRT wide", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.Attach_CRT(kztest::MallocWide(OLESTR("attached")));
       return Result();
     }},
    {"Attach_OLE multibyte", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.Attach_OLE(kztest::OleMbs("attached"));
       return Result();
     }},
    {"Attach_BSTR", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.Attach_BSTR(kztest::Bstr(OLESTR("attached")));
       return Result();
     }},
    {"MakeLowerCase", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.MakeLowerCase();
       return Result();
     }},
    {"MakeUpperCase", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.MakeUpperCase();
       return Result();
     }},
    {"TruncateLeft", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.TruncateLeft(2);
       return Result();
     }},
    {"TruncateRight", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s.TruncateRight(2);
       return Result();
     }},
    {"SetAt", Kind::kEdit,
     [](CKZString& s, Operands&) { return Number(s.SetAt(1, OLESTR('Z'))); },
     -2, true},
    {"+= value", Kind::kEdit,
     [](CKZString& s, Operands& o) {
       s += o.mbs;
       return Result();
     }},
    {"+= itself", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s += s;
       return Result();
     }},
    {"+= wide text", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s += OLESTR(" and more");
       return Result();
     }},
    {"+= multibyte text", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s += " and more";
       return Result();
     }},
    {"+= own wide text", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s += static_cast<const WCHAR*>(s);
       return Result();
     }},
    {"+= wide character", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s += OLESTR('!');
       return Result();
     }},
    {"+= multibyte character", Kind::kEdit,
     [](CKZString& s, Operands&) {
       s += '!';
       return Result();
     }},
    {"Insert wide text", Kind::kEdit,
     [](CKZString& s, Operands&) {
       return Number(s.Insert(2, OLESTR("inserted")));
     },
     -2, false, true},
    {"Insert multibyte text", Kind::kEdit,
     [](CKZString& s, Operands&) { return Number(s.Insert(2, "inserted")); },
     -2, false, true},
    {"Insert wide character", Kind::kEdit,
     [](CKZString& s, Operands&) { return Number(s.Insert(1, OLESTR('^'))); },
     -2, false, true},
    {"Insert multibyte character", Kind::kEdit,
     [](CKZString& s, Operands&) { return Number(s.Insert(1, '^')); }, -2,
     false, true},
    // Replacements.
    {"Compose multibyte", Kind::kReplace,
     [](CKZString& s, Operands&) {
       s.Compose("%s-%d", "composed", 5);
       return Result();
     }},
    {"Compose wide", Kind::kReplace,
     [](CKZString& s, Operands&) {
       s.Compose(OLESTR("%s-%d"), OLESTR("composed"), 5);
       return Result();
     }},
    {"LoadStringW", Kind::kReplace,
     [](CKZString& s, Operands& o) {
       return Number(s.LoadStringW(o.module, kztest::kIdText259));
     },
     -2, true},
    // New values.
    {"constructor, wide", Kind::kNew,
     [](CKZString&, Operands&) { return Value(CKZString(OLESTR("new"))); }},
    {"constructor, multibyte counted", Kind::kNew,
     [](CKZString&, Operands&) { return Value(CKZString("new", 5)); }},
    {"constructor, GUID", Kind::kNew,
     [](CKZString&, Operands&) { return Value(CKZString(kGuid)); }},
    {"+ value", Kind::kNew,
     [](CKZString& s, Operands& o) { return Value(s + o.wide); }},
    {"+ itself", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s + s); }},
    {"+ wide text", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s + OLESTR(" more")); }},
    {"+ multibyte text", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s + " more"); }},
    {"+ wide character", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s + OLESTR('!')); }},
    {"+ multibyte character", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s + '!'); }},
    {"Left", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s.Left(3)); }},
    {"Right", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s.Right(3)); }},
    {"SubString", Kind::kNew,
     [](CKZString& s, Operands&) { return Value(s.SubString(1, 4)); }},
    // Conversions.
    {"to wide text", Kind::kConversion,
     [](CKZString& s, Operands&) {
       Result r;
       r.wide = s;
       return r;
     }},
    {"to multibyte text", Kind::kConversion,
     [](CKZString& s, Operands&) {
       Result r;
       r.mbs = s;
       return r;
     }},
    {"AllocBSTR", Kind::kCopy,
     [](CKZString& s, Operands&) {
       Result r;
       r.bstr = s.AllocBSTR();
       return r;
     }},
    {"GetBufferCopy wide", Kind::kCopy,
     [](CKZString& s, Operands&) {
       Result r;
       s.GetBufferCopy(&r.wideCopy);
       return r;
     }},
    {"GetBufferCopy multibyte", Kind::kCopy,
     [](CKZString& s, Operands&) {
       Result r;
       s.GetBufferCopy(&r.mbsCopy);
       return r;
     }},
    {"to GUID", Kind::kConversion,
     [](CKZString& s, Operands&) {
       Result r;
       r.guid = s;
       return r;
     }},
    // Queries: lengths are exact; a value that can't be read sorts first,
    // equals nothing and holds nothing.
    {"Length", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s.Length()); }, -2, false,
     false, true},
    {"MbsLength", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s.MbsLength()); }, -2, false,
     false, true},
    {"IsEmpty", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s.IsEmpty()); }, -2, false,
     false, true},
    {"== value", Kind::kQuery,
     [](CKZString& s, Operands& o) { return Number(s == o.wide); }, 0},
    {"< wide text", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s < OLESTR("M")); }, 1},
    {"multibyte text == (free)", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number("Taken over" == s); }, 0},
    {"CaseLessEqual value", Kind::kQuery,
     [](CKZString& s, Operands& o) { return Number(s.CaseLessEqual(o.mbs)); },
     0},
    {"CaseLessEqual wide text", Kind::kQuery,
     [](CKZString& s, Operands&) {
       return Number(s.CaseLessEqual(OLESTR("taken OVER")));
     },
     0},
    {"Find wide text", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s.Find(OLESTR("over"))); },
     -1},
    {"Find multibyte character", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s.Find('e')); }, -1},
    {"ReverseFind wide character", Kind::kQuery,
     [](CKZString& s, Operands&) { return Number(s.ReverseFind(OLESTR('e'))); },
     -1},
};

// Runs one operation on one fixture with each allocation failing in turn;
// gives the number of allocations it made.
unsigned RunWithFailures(const Fixture& fixture, bool shared,
                         const Operation& op, HMODULE module) {
  std::string success;
  return kztest::ForEachFailingAllocation([&](unsigned n) {
    CKZString s, sharer;
    Operands operands;
    Snapshot before, sharerBefore;
    {
      kztest::NoInjectedFailures setup;
      s = fixture.make();
      if (shared) sharer = s;
      operands.wide = OLESTR(" and more");
      operands.mbs = " and more";
      operands.module = module;
      before = Take(s);
      sharerBefore = Take(sharer);
    }
    Result result = op.run(s, operands);
    const bool fired = kztest::InjectedFailureFired();

    // Another value that shares the block never changes. Its count goes down
    // by the value that leaves it, or up by a new value that shares it.
    const bool sharesResult =
        A::Block(s) != nullptr && A::Block(result.value) == A::Block(s);
    EXPECT_TRUE(AsBefore(sharerBefore, sharer,
                         sharerBefore.refCount + (sharesResult ? 1 : -1)))
        << "the sharer";
    bool failed = false;
    if (op.kind == Kind::kEdit) {
      // Either all of the edit or nothing of it.
      failed = fired && AsBefore(before, s, before.refCount);
      if (failed && op.failReturnsFalse) {
        EXPECT_EQ(0, result.number);
      }
      if (failed && op.failReturnsLength) {
        EXPECT_EQ(static_cast<long long>(s.Length()), result.number);
      }
    } else if (op.kind == Kind::kReplace) {
      failed = fired && A::IsNull(s);
      if (failed && op.failReturnsFalse) {
        EXPECT_EQ(0, result.number);
      }
    } else {
      EXPECT_TRUE(AsBefore(before, s, before.refCount + (sharesResult ? 1 : 0)))
          << "the value itself";
      if (op.kind == Kind::kNew) {
        failed = fired && A::IsNull(result.value);
      } else if (op.kind == Kind::kConversion || op.kind == Kind::kCopy) {
        failed = fired && result.wide == nullptr && result.mbs == nullptr &&
                 result.bstr == nullptr && result.wideCopy == nullptr &&
                 result.mbsCopy == nullptr &&
                 std::memcmp(&result.guid, &GUID_NULL, sizeof(GUID)) == 0;
        if (failed && op.kind == Kind::kConversion && A::Block(s) != nullptr) {
          // Nothing built either.
          EXPECT_EQ(before.wide != nullptr, A::HasWide(s));
          EXPECT_EQ(before.mbs != nullptr, A::HasMbs(s));
        }
      } else {
        failed = fired && op.failAnswer != -2 && result.number == op.failAnswer;
      }
    }
    const std::string outcome = Describe(result) + " | " + Describe(s);
    if (n == 0) {
      success = outcome;
    } else if (!failed) {
      EXPECT_EQ(success, outcome) << "neither the failure outcome nor the "
                                     "full result, allocation "
                                  << n;
    }
  });
}

TEST(StringOutOfMemory, EveryOperationWithEachAllocationFailing) {
  const HMODULE module = LoadLibraryW(kztest::TestCatalogName());
  ASSERT_NE(nullptr, module);
  for (const Operation& op : kOperations) {
    unsigned most = 0;
    for (const Fixture& fixture : kFixtures) {
      for (bool shared : {false, true}) {
        SCOPED_TRACE(std::string(op.name) + " on " + fixture.name +
                     (shared ? ", shared" : ""));
        const unsigned count = RunWithFailures(fixture, shared, op, module);
        if (count > most) most = count;
      }
    }
    // Every operation allocates on some fixture: a hook left out would
    // leave its paths untried.
    if (op.lengthQuery && !kztest::MultibyteLocale()) {
      EXPECT_EQ(0u, most) << op.name;
    } else {
      EXPECT_GT(most, 0u) << op.name;
    }
  }
  FreeLibrary(module);
}

}  // namespace
