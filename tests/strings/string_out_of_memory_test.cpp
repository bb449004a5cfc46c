// Every operation on every kind of block, alone and shared, each allocation
// failing in turn. Faults: a leak (asan), a half edit, a changed sharer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "fixtures/test_catalog.h"
#include "strings/string_test_util.h"
#include "support/alloc_failure.h"
#include "test_support.h"

namespace {

using A = CKZStringTestAccess;
using namespace kztest;
using V = CKZString;

const GUID kGuid = {0x12345678, 0x9abc, 0xdef0, {1, 2, 3, 4, 5, 6, 7, 8}};

// What an operation gave, kept without allocating.
struct R {
  CKZString value;  // a new value
  long long number = 0;
  const WCHAR* wide = nullptr;
  const char* mbs = nullptr;
  BSTR bstr = nullptr;
  WCHAR* wideCopy = nullptr;
  char* mbsCopy = nullptr;
  GUID guid = GUID_NULL;
  bool Empty() const {
    return wide == nullptr && mbs == nullptr && bstr == nullptr &&
           wideCopy == nullptr && mbsCopy == nullptr &&
           std::memcmp(&guid, &GUID_NULL, sizeof(GUID)) == 0;
  }
};

struct O {
  CKZString wide, mbs;
  HMODULE module = nullptr;
};

std::string Bytes(const void* data, std::size_t bytes) {
  return std::string(static_cast<const char*>(data), bytes);
}
template <typename Unit>
std::string Text(const Unit* text) {
  if (text == nullptr) return "nullptr";
  return Bytes(text, std::char_traits<Unit>::length(text) * sizeof(Unit));
}

// Reading the texts builds both forms: call it after the checks of the forms.
std::string Describe(const CKZString& s) {
  if (A::IsNull(s)) return "null";
  return "wide " + Text(static_cast<const WCHAR*>(s)) + " mbs " +
         Text(static_cast<const char*>(s)) + " lengths " +
         std::to_string(s.Length()) + "/" + std::to_string(s.MbsLength());
}

std::string Describe(R& r) {
  std::string out = "value " + Describe(r.value) + " number " +
                    std::to_string(r.number) + " wide " + Text(r.wide) +
                    " mbs " + Text(r.mbs) + " bstr " +
                    Text(reinterpret_cast<const WCHAR*>(r.bstr)) + " copies " +
                    Text(r.wideCopy) + " " + Text(r.mbsCopy) + " guid " +
                    Bytes(&r.guid, sizeof r.guid);
  SysFreeString(r.bstr);
  CoTaskMemFree(r.wideCopy);
  CoTaskMemFree(r.mbsCopy);
  r = R();
  return out;
}

struct Snapshot {
  const CKZStringBlock* block = nullptr;
  std::uint32_t refCount = 0, capacity = 0;
  std::string wide, mbs;
};

Snapshot Take(const CKZString& s) {
  Snapshot snap;
  snap.block = A::Block(s);
  if (snap.block == nullptr) return snap;
  snap.refCount = A::RefCount(s);
  snap.capacity = A::Capacity(s);
  // A form's address, then its text to its length.
  auto form = [](const void* buffer, std::size_t bytes) {
    return Bytes(&buffer, sizeof buffer) + " " + Bytes(buffer, bytes);
  };
  if (A::HasWide(s)) {
    snap.wide = form(A::WideBuffer(s), A::WideLength(s) * sizeof(WCHAR));
  }
  if (A::HasMbs(s)) snap.mbs = form(A::MbsBuffer(s), A::MbsLength(s));
  return snap;
}

// The same block, count and capacity, and every form it had unmoved and
// unchanged; the count may also be `otherCount`.
bool AsBefore(const Snapshot& before, const CKZString& s,
              std::uint32_t otherCount) {
  const Snapshot now = Take(s);
  return now.block == before.block && now.capacity == before.capacity &&
         (now.refCount == before.refCount || now.refCount == otherCount) &&
         (before.wide.empty() || now.wide == before.wide) &&
         (before.mbs.empty() || now.mbs == before.mbs);
}

CKZString MbsSample() {
  return CKZString((std::string("Mixed ") + Sample().bytes + " text").c_str());
}
CKZString BothForms() {
  CKZString s = MbsSample();
  static_cast<void>(static_cast<const WCHAR*>(s));
  return s;
}
CKZString Attached(AttachOp op) {
  CKZString s;
  AttachNew(s, op, "Taken over");
  return s;
}
const struct Fixture {
  const char* name;
  CKZString (*make)();
} kFixtures[] = {
    {"wide", [] { return V(OLESTR("Hello, wide text")); }},
    {"multibyte", MbsSample},
    {"both forms", BothForms},
    {"taken-over CRT wide", [] { return Attached(AttachOp::kCrtWide); }},
    {"taken-over OLE mbs", [] { return Attached(AttachOp::kOleMbs); }},
    {"taken-over BSTR", [] { return Attached(AttachOp::kBstr); }},
    {"GUID text", [] { return V("{12345678-9ABC-DEF0-0102-030405060708}"); }},
    {"empty", [] { return V(""); }},
    {"null", [] { return V(); }},
};

enum Kind {
  kEdit,        // this value and its sharer as they were
  kReplace,     // this value null (Compose, LoadStringW drop it first)
  kNew,         // a null new value; this value as it was
  kConversion,  // nullptr; this value as it was, no form built
  kCopy,        // nullptr; this value as it was, a form may be built
  kQuery,       // the right answer, or `failAnswer`; this value as it was
  kMeasure,     // the right answer; never allocates in a single-byte locale
};
constexpr long long kAny = -2;     // any answer: only the text matters
constexpr long long kLength = -3;  // the value's length

struct Operation {
  const char* name;
  Kind kind;
  void (*run)(V& s, O& o, R& r);
  // The number a failed edit returns, or a query's answer without its form.
  long long failAnswer = kAny;
};

const Operation kOperations[] = {
    {"= wide text", kEdit, [](V& s, O&, R&) { s = OLESTR("assigned"); }},
    {"= multibyte text", kEdit, [](V& s, O&, R&) { s = "assigned"; }},
    {"= GUID", kEdit, [](V& s, O&, R&) { s = kGuid; }},
    {"Attach_CRT wide", kEdit,
     [](V& s, O&, R&) { s.Attach_CRT(MallocWide(OLESTR("ab"))); }},
    {"Attach_OLE multibyte", kEdit,
     [](V& s, O&, R&) { s.Attach_OLE(OleMbs("attached")); }},
    {"Attach_BSTR", kEdit,
     [](V& s, O&, R&) { s.Attach_BSTR(Bstr(OLESTR("attached"))); }},
    {"MakeLowerCase", kEdit, [](V& s, O&, R&) { s.MakeLowerCase(); }},
    {"MakeUpperCase", kEdit, [](V& s, O&, R&) { s.MakeUpperCase(); }},
    {"TruncateLeft", kEdit, [](V& s, O&, R&) { s.TruncateLeft(2); }},
    {"TruncateRight", kEdit, [](V& s, O&, R&) { s.TruncateRight(2); }},
    {"SetAt", kEdit, [](V& s, O&, R& r) { r.number = s.SetAt(1, OLESTR('Z')); },
     0},
    {"+= value", kEdit, [](V& s, O& o, R&) { s += o.mbs; }},
    {"+= itself", kEdit, [](V& s, O&, R&) { s += s; }},
    {"+= wide text", kEdit, [](V& s, O&, R&) { s += OLESTR(" more"); }},
    {"+= multibyte text", kEdit, [](V& s, O&, R&) { s += " more"; }},
    {"+= own", kEdit, [](V& s, O&, R&) { s += static_cast<const WCHAR*>(s); }},
    {"+= wide character", kEdit, [](V& s, O&, R&) { s += OLESTR('!'); }},
    {"+= multibyte character", kEdit, [](V& s, O&, R&) { s += '!'; }},
    {"Insert wide text", kEdit,
     [](V& s, O&, R& r) { r.number = s.Insert(2, OLESTR("inserted")); },
     kLength},
    {"Insert multibyte text", kEdit,
     [](V& s, O&, R& r) { r.number = s.Insert(2, "inserted"); }, kLength},
    {"Insert wide character", kEdit,
     [](V& s, O&, R& r) { r.number = s.Insert(1, OLESTR('^')); }, kLength},
    {"Insert multibyte character", kEdit,
     [](V& s, O&, R& r) { r.number = s.Insert(1, '^'); }, kLength},
    {"Compose multibyte", kReplace,
     [](V& s, O&, R&) { s.Compose("%s-%d", "composed", 5); }},
    {"Compose wide", kReplace,
     [](V& s, O&, R&) { s.Compose(OLESTR("%s-%d"), OLESTR("composed"), 5); }},
    {"LoadStringW", kReplace,
     [](V& s, O& o, R& r) { r.number = s.LoadStringW(o.module, kIdText259); },
     0},
    {"new, wide", kNew, [](V&, O&, R& r) { r.value = V(OLESTR("new")); }},
    {"new, counted", kNew, [](V&, O&, R& r) { r.value = V("new", 5); }},
    {"new, GUID", kNew, [](V&, O&, R& r) { r.value = V(kGuid); }},
    {"+ value", kNew, [](V& s, O& o, R& r) { r.value = s + o.wide; }},
    {"+ itself", kNew, [](V& s, O&, R& r) { r.value = s + s; }},
    {"+ wide", kNew, [](V& s, O&, R& r) { r.value = s + OLESTR(" more"); }},
    {"+ mbs", kNew, [](V& s, O&, R& r) { r.value = s + " more"; }},
    {"+ wide char", kNew, [](V& s, O&, R& r) { r.value = s + OLESTR('!'); }},
    {"+ mbs char", kNew, [](V& s, O&, R& r) { r.value = s + '!'; }},
    {"Left", kNew, [](V& s, O&, R& r) { r.value = s.Left(3); }},
    {"Right", kNew, [](V& s, O&, R& r) { r.value = s.Right(3); }},
    {"SubString", kNew, [](V& s, O&, R& r) { r.value = s.SubString(1, 4); }},
    {"to wide text", kConversion, [](V& s, O&, R& r) { r.wide = s; }},
    {"to multibyte text", kConversion, [](V& s, O&, R& r) { r.mbs = s; }},
    {"to GUID", kConversion, [](V& s, O&, R& r) { r.guid = s; }},
    {"AllocBSTR", kCopy, [](V& s, O&, R& r) { r.bstr = s.AllocBSTR(); }},
    {"copy wide", kCopy, [](V& s, O&, R& r) { s.GetBufferCopy(&r.wideCopy); }},
    {"copy mbs", kCopy, [](V& s, O&, R& r) { s.GetBufferCopy(&r.mbsCopy); }},
    // A value that can't be read sorts first, equals and holds nothing.
    {"Length", kMeasure, [](V& s, O&, R& r) { r.number = s.Length(); }},
    {"MbsLength", kMeasure, [](V& s, O&, R& r) { r.number = s.MbsLength(); }},
    {"IsEmpty", kMeasure, [](V& s, O&, R& r) { r.number = s.IsEmpty(); }},
    {"== value", kQuery, [](V& s, O& o, R& r) { r.number = s == o.wide; }, 0},
    {"< wide", kQuery, [](V& s, O&, R& r) { r.number = s < OLESTR("M"); }, 1},
    {"multibyte text == (free)", kQuery,
     [](V& s, O&, R& r) { r.number = "Taken over" == s; }, 0},
    {"CaseLessEqual value", kQuery,
     [](V& s, O& o, R& r) { r.number = s.CaseLessEqual(o.mbs); }, 0},
    {"CaseLessEqual wide text", kQuery,
     [](V& s, O&, R& r) { r.number = s.CaseLessEqual(OLESTR("taken OVER")); },
     0},
    {"Find wide text", kQuery,
     [](V& s, O&, R& r) { r.number = s.Find(OLESTR("over")); }, -1},
    {"Find char", kQuery, [](V& s, O&, R& r) { r.number = s.Find('e'); }, -1},
    {"ReverseFind wide character", kQuery,
     [](V& s, O&, R& r) { r.number = s.ReverseFind(OLESTR('e')); }, -1},
};

unsigned RunWithFailures(const Fixture& fixture, bool shared,
                         const Operation& op, HMODULE module) {
  std::string success;
  return ForEachFailingAllocation([&](unsigned n) {
    CKZString s, sharer;
    O operands;
    Snapshot before, sharerBefore;
    {
      NoInjectedFailures setup;
      s = fixture.make();
      if (shared) sharer = s;
      operands = {V(OLESTR(" and more")), V(" and more"), module};
      before = Take(s);
      sharerBefore = Take(sharer);
    }
    R result;
    op.run(s, operands, result);
    const bool fired = InjectedFailureFired();
    // A sharer's count goes down by the value that leaves, up by a new sharer.
    const bool sharesResult =
        A::Block(s) != nullptr && A::Block(result.value) == A::Block(s);
    EXPECT_TRUE(AsBefore(sharerBefore, sharer,
                         sharerBefore.refCount + (sharesResult ? 1 : -1)))
        << "the sharer";
    bool failed = false;
    if (op.kind == kEdit || op.kind == kReplace) {
      failed = fired && (op.kind == kEdit ? AsBefore(before, s, before.refCount)
                                          : A::IsNull(s));
      if (failed && op.failAnswer != kAny) {
        EXPECT_EQ(op.failAnswer == kLength ? static_cast<long long>(s.Length())
                                           : op.failAnswer,
                  result.number);
      }
    } else {
      EXPECT_TRUE(AsBefore(before, s, before.refCount + (sharesResult ? 1 : 0)))
          << "the value itself";
      if (op.kind == kNew) {
        failed = fired && A::IsNull(result.value);
      } else if (op.kind == kConversion || op.kind == kCopy) {
        failed = fired && result.Empty();
        if (failed && op.kind == kConversion && A::Block(s) != nullptr) {
          EXPECT_EQ(!before.wide.empty(), A::HasWide(s));
          EXPECT_EQ(!before.mbs.empty(), A::HasMbs(s));
        }
      } else {
        failed =
            fired && op.failAnswer != kAny && result.number == op.failAnswer;
      }
    }
    const std::string outcome = Describe(result) + " | " + Describe(s);
    if (n == 0) {
      success = outcome;
    } else if (!failed) {
      EXPECT_EQ(success, outcome)
          << "neither the failure outcome nor the full result, allocation "
          << n;
    }
  });
}

TEST(StringOutOfMemory, EveryOperationWithEachAllocationFailing) {
  const HMODULE module = LoadLibraryW(TestCatalogName());
  ASSERT_NE(nullptr, module);
  for (const Operation& op : kOperations) {
    unsigned most = 0;
    for (const Fixture& fixture : kFixtures) {
      for (bool shared : {false, true}) {
        SCOPED_TRACE(std::string(op.name) + " on " + fixture.name +
                     (shared ? ", shared" : ""));
        most = std::max(most, RunWithFailures(fixture, shared, op, module));
      }
    }
    // An operation that never allocates would leave its failure paths untried.
    if (op.kind == kMeasure && !MultibyteLocale()) {
      EXPECT_EQ(0u, most) << op.name;
    } else {
      EXPECT_GT(most, 0u) << op.name;
    }
  }
  FreeLibrary(module);
}

}  // namespace
