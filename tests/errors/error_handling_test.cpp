// Raising and logging end to end: the object's switches, the gate, the
// resolution of a result code, the catalogs, delivery to the queue, to the
// error object or to OnMessage, the queue's operations, the lock and the
// message maps. Every case starts from a clean process-wide state.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <memory>
#include <string>
#include <vector>

#include "errors/error_test_support.h"

namespace {

using kztest::ClientCatalog;
using kztest::Entries;
using kztest::Queued;
using kztest::QueueEntries;
using kztest::TakeErrorDescription;
using kztest::TestClient;
using kztest::TestKey;
using Access = CKZErrorHandlingTestAccess;

class ErrorHandling : public kztest::ErrorStateTest {};

// A second class that gives a key of its own choosing.
class SecondClient : public TestClient {
 public:
  explicit SecondClient(const GUID* key) : TestClient(ClientCatalog(), key) {}
};

// A code that the tests map to an id no catalog holds, and one in no map.
const HRESULT kNoTextCode = static_cast<HRESULT>(0x80040001u);
const HRESULT kUnmapped = static_cast<HRESULT>(0x80041234u);

bool HasDefaultMap() { return g_msgMapStore.maps.count(GUID_NULL) != 0; }

// Switches of a new, suspended, resumed, disabled and assigned object, and
// copies that keep the source's map against their own key. Faults: a new
// object without both bits, Suspend counted, DisableMessageQueue not undone
// by assignment, a copy that looks its own key up.
TEST_F(ErrorHandling, SwitchesAndCopies) {
  TestClient a;
  EXPECT_EQ(3u, Access::Flags(a));
  EXPECT_EQ(nullptr, Access::Map(a));
  a.SuspendErrorHandling();
  a.SuspendErrorHandling();
  EXPECT_EQ(S_FALSE, a.Raise(E_FAIL));
  a.ResumeErrorHandling();
  EXPECT_EQ(3u, Access::Flags(a));
  a.DisableMessageQueue();
  EXPECT_EQ(1u, Access::Flags(a));
  const TestClient fresh;
  static_cast<CKZErrorHandling&>(a) = fresh;
  EXPECT_EQ(3u, Access::Flags(a));

  const GUID k1 = TestKey(1);
  const GUID k2 = TestKey(2);
  TestClient keyed(ClientCatalog(), &k1);
  ASSERT_EQ(S_OK, keyed.AddMsgMapEntry(E_FAIL, 102, 4));
  keyed.DisableMessageQueue();
  TestClient assigned(ClientCatalog(), &k2);
  static_cast<CKZErrorHandling&>(assigned) = keyed;
  EXPECT_EQ(Access::Map(keyed), Access::Map(assigned));
  EXPECT_EQ(1u, Access::Flags(assigned));
  EXPECT_EQ(S_OK, assigned.Raise(E_FAIL));
  EXPECT_EQ(std::vector<std::u16string>{u"Note_$S_3102_$E_"},
            assigned.messages);
  EXPECT_EQ(1u, g_msgMapStore.maps.size()) << "no map for the second key";
}

// The gate's four conditions, each alone, for the three overloads: S_FALSE
// with nothing done (no key, catalog or map asked, nothing queued). A null
// text gives E_POINTER before the gate. Faults: a condition missed or
// tested after work began (S_OK/S_FALSE resolved through the maps), the
// queue's type-4 entries closing the gate, the lock stopping its owner.
TEST_F(ErrorHandling, Gate) {
  enum Setup {
    kNone,
    kSuspended,
    kResumed,
    kQueuedType1,
    kLoggedType2,
    kQueuedType4,
    kQueueOffOtherQueued,
    kOtherHoldsLock,
    kSelfHoldsLock,
  };
  const struct Row {
    const char* name;
    Setup setup;
    HRESULT hr;
    bool passes;
  } rows[] = {
      {"open", kNone, E_FAIL, true},
      {"suspended", kSuspended, E_FAIL, false},
      {"suspended twice, resumed once", kResumed, E_FAIL, true},
      {"type 1 queued by another object", kQueuedType1, E_FAIL, false},
      {"type 2 logged by another object", kLoggedType2, E_FAIL, false},
      {"type 4 queued", kQueuedType4, E_FAIL, true},
      {"queue off, another's error queued", kQueueOffOtherQueued, E_FAIL,
       false},
      {"S_OK", kNone, S_OK, false},
      {"S_FALSE", kNone, S_FALSE, false},
      {"positive code", kNone, 0x00040001, false},
      {"another object holds the lock", kOtherHoldsLock, E_FAIL, false},
      {"this object holds the lock", kSelfHoldsLock, E_FAIL, true},
  };
  for (const Row& row : rows) {
    for (int overload = 0; overload < 3; ++overload) {
      SCOPED_TRACE(std::string(row.name) + ", overload " +
                   std::to_string(overload));
      kztest::ResetErrorState();
      const GUID key = TestKey(3);
      TestClient client(ClientCatalog(), &key);
      TestClient other;
      std::unique_ptr<CKZErrorHandling::CKZErrorLock> lock;
      switch (row.setup) {
        case kSuspended:
          client.SuspendErrorHandling();
          break;
        case kResumed:
          client.SuspendErrorHandling();
          client.SuspendErrorHandling();
          client.ResumeErrorHandling();
          break;
        case kQueuedType1:
          ASSERT_EQ(S_OK, other.Raise(E_FAIL, 1, OLESTR("q")));
          break;
        case kLoggedType2:
          ASSERT_EQ(S_OK, other.Log(2, OLESTR("q")));
          break;
        case kQueuedType4:
          ASSERT_EQ(S_OK, other.Raise(E_FAIL, 4, OLESTR("q")));
          break;
        case kQueueOffOtherQueued:
          client.DisableMessageQueue();
          ASSERT_EQ(S_OK, other.Raise(E_FAIL, 2, OLESTR("q")));
          break;
        case kOtherHoldsLock:
          lock.reset(new CKZErrorHandling::CKZErrorLock(&other));
          break;
        case kSelfHoldsLock:
          lock.reset(new CKZErrorHandling::CKZErrorLock(&client));
          break;
        case kNone:
          break;
      }
      const ULONG before = CKZErrorHandling::GetMessageQueueSize();
      EXPECT_EQ(E_POINTER,
                client.Raise(row.hr, 2, static_cast<const WCHAR*>(nullptr)));
      HRESULT result = E_NOTIMPL;
      if (overload == 0) result = client.Raise(row.hr);
      if (overload == 1) result = client.Raise(row.hr, 4, 102u);
      if (overload == 2) result = client.Raise(row.hr, 4, OLESTR("text"));
      if (row.passes) {
        EXPECT_EQ(S_OK, result);
        EXPECT_EQ(before + 1, CKZErrorHandling::GetMessageQueueSize());
        EXPECT_EQ(u"(none)", TakeErrorDescription());
      } else {
        EXPECT_EQ(S_FALSE, result);
        EXPECT_EQ(before, CKZErrorHandling::GetMessageQueueSize());
        EXPECT_EQ(0, client.catalogCalls);
        EXPECT_EQ(0, client.keyCalls);
        EXPECT_EQ(0, client.createCalls);
        EXPECT_TRUE(g_msgMapStore.maps.empty());
      }
    }
  }
}

// Raise(hr) through the maps and the catalogs. The keyed client's
// OnCreateMsgMap maps E_FAIL to 101 (a text with "%%"), E_ABORT to 102 of
// type 4 and kNoTextCode to an id no catalog holds. Faults: the default map
// asked first, a map entry's type replaced by 2, the mapped text formatted,
// the client's catalog not asked for ids of the default map or for the
// fallback, the raised code queued on the fallback, a missing text not
// sent to the default catalog.
TEST_F(ErrorHandling, ResolutionAndCatalogs) {
  const WCHAR* kClient = ClientCatalog();
  const struct Row {
    const char* name;
    bool keyed;
    const WCHAR* catalog;
    HRESULT hr;
    HRESULT result;
    Queued queued;
    int catalogCalls;
  } rows[] = {
      {"own map before the default map",
       true,
       kClient,
       E_FAIL,
       S_OK,
       {E_FAIL, 2, u"101$Done 100%%"},
       1},
      {"own map's type 4",
       true,
       kClient,
       E_ABORT,
       S_OK,
       {E_ABORT, 4, u"102$Note"},
       1},
      {"own map lacks it: default map",
       true,
       kClient,
       E_NOTIMPL,
       S_OK,
       {E_NOTIMPL, 2, u"5$Not implemented"},
       1},
      {"default map, the client's text for its id",
       false,
       kClient,
       E_POINTER,
       S_OK,
       {E_POINTER, 2, u"91$Client: bad pointer"},
       1},
      {"default map, the library's text",
       false,
       kClient,
       E_FAIL,
       S_OK,
       {E_FAIL, 2, u"0$Unspecified failure"},
       1},
      {"mapped id in no catalog",
       true,
       kClient,
       kNoTextCode,
       E_FAIL,
       {E_UNEXPECTED, 2, u"90$Client: unexpected"},
       2},
      {"mapped nowhere: the client's id 8",
       false,
       kClient,
       kUnmapped,
       E_UNEXPECTED,
       {E_UNEXPECTED, 2, u"90$Client: unexpected"},
       1},
      {"mapped nowhere, empty catalog name",
       false,
       OLESTR(""),
       kUnmapped,
       E_UNEXPECTED,
       {E_UNEXPECTED, 2, u"6$Unexpected failure."},
       1},
      {"mapped nowhere, null catalog name",
       false,
       nullptr,
       kUnmapped,
       E_UNEXPECTED,
       {E_UNEXPECTED, 2, u"6$Unexpected failure."},
       1},
      {"mapped nowhere, no such module",
       false,
       OLESTR("kz_no_such_catalog"),
       kUnmapped,
       E_UNEXPECTED,
       {E_UNEXPECTED, 2, u"6$Unexpected failure."},
       1},
  };
  const GUID key = TestKey(4);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    kztest::ResetErrorState();
    TestClient client(row.catalog, row.keyed ? &key : nullptr);
    client.onCreateEntries = {
        {E_FAIL, 101, 2}, {E_ABORT, 102, 4}, {kNoTextCode, 999, 2}};
    EXPECT_EQ(row.result, client.Raise(row.hr));
    EXPECT_EQ(std::vector<Queued>{row.queued}, QueueEntries());
    EXPECT_EQ(row.catalogCalls, client.catalogCalls);
    EXPECT_EQ(row.keyed ? 1 : 0, client.createCalls);
  }
}

// Raises of clients with different catalogs in turn, and across CloseAll,
// each get their own catalog's text. Faults: the previous client's module
// used for the next name, a closed module's handle used again.
TEST_F(ErrorHandling, CatalogOfEachRaise) {
  TestClient client;
  TestClient other(OLESTR("KzTestCatalogB"));
  TestClient none(OLESTR(""));
  const struct Step {
    TestClient* object;
    bool closeAll;
    const char16_t* text;
  } steps[] = {
      {&client, false, u"91$Client: bad pointer"},
      {&client, false, u"91$Client: bad pointer"},
      {&none, false, u"4$Invalid pointer"},
      {&client, false, u"91$Client: bad pointer"},
      {&other, false, u"4$Invalid pointer"},
      {&client, true, u"91$Client: bad pointer"},
      {&client, false, u"91$Client: bad pointer"},
  };
  for (const Step& step : steps) {
    if (step.closeAll) {
      EXPECT_EQ(S_OK, CKZCatalog::CloseAll());
    }
    EXPECT_EQ(S_OK, step.object->Raise(E_POINTER));
    EXPECT_EQ((std::vector<Queued>{{E_POINTER, 2, step.text}}), QueueEntries());
    CKZErrorHandling::ClearMessageQueue();
  }
}

// The default map: exactly these 16 codes, type 2, the library's ids (29 for
// E_INVALIDARG, 39 for DISP_E_BADVARTYPE), made at the first resolution
// that reaches it and not before. Faults: a row missing or added (the
// library's table has a text for DISP_E_UNKNOWNNAME's id 16 too), a wrong
// id, the map made by a resolution that ended in the object's own map.
TEST_F(ErrorHandling, DefaultMap) {
  const struct Row {
    HRESULT hr;
    const char16_t* text;
  } rows[] = {
      {E_FAIL, u"0$Unspecified failure"},
      {E_INVALIDARG, u"28$Invalid argument specified."},
      {E_OUTOFMEMORY, u"2$Out of memory"},
      {E_NOINTERFACE, u"3$Interface not supported."},
      {E_POINTER, u"4$Invalid pointer"},
      {E_NOTIMPL, u"5$Not implemented"},
      {E_UNEXPECTED, u"6$Unexpected failure."},
      {E_HANDLE, u"7$Invalid handle"},
      {E_ABORT, u"8$Operation was aborted."},
      {E_ACCESSDENIED, u"9$Access denied"},
      {DISP_E_UNKNOWNINTERFACE, u"10$Unknown interface"},
      {DISP_E_MEMBERNOTFOUND, u"11$Member not found"},
      {DISP_E_TYPEMISMATCH, u"12$Type mismatch"},
      {DISP_E_PARAMNOTFOUND, u"13$Parameter not found"},
      {STG_E_SHAREVIOLATION, u"29$Share Violation"},
      {DISP_E_BADVARTYPE, u"38$Bad Variable Type"},
      {DISP_E_UNKNOWNNAME, nullptr},
      {static_cast<HRESULT>(0x80070000), nullptr},
  };
  const GUID key = TestKey(5);
  TestClient keyed(OLESTR(""), &key);
  keyed.onCreateEntries = {{E_FAIL, 1, 2}};
  ASSERT_EQ(S_OK, keyed.Raise(E_FAIL));
  EXPECT_FALSE(HasDefaultMap()) << "resolved by the object's own map";
  TestClient client(OLESTR(""));
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << row.hr);
    CKZErrorHandling::ClearMessageQueue();
    const Queued expected =
        row.text != nullptr ? Queued{row.hr, 2, row.text}
                            : Queued{E_UNEXPECTED, 2, u"6$Unexpected failure."};
    EXPECT_EQ(row.text != nullptr ? S_OK : E_UNEXPECTED, client.Raise(row.hr));
    EXPECT_EQ(std::vector<Queued>{expected}, QueueEntries());
  }
  EXPECT_TRUE(HasDefaultMap());
}

// Variadic Raise and Log format the text, also without arguments, and the
// default catalog gets the same arguments from the first; the text
// overloads take the text as it stands. Faults: an unformatted variadic
// fetch ("%%" left), a second fetch that starts after the first's
// arguments, a Log that runs the fallback, Log stopped by suspension or by
// the lock.
TEST_F(ErrorHandling, ArgumentsAndLog) {
  enum Call {
    kRaiseNoArgs,
    kRaiseArg,
    kRaiseDefaultCatalogArg,
    kRaiseNoText,
    kLogArg,
    kLogNoText,
    kLogText,
    kLogEmptyText,
    kLogNullText,
  };
  const struct Row {
    const char* name;
    Call call;
    HRESULT result;
    std::vector<Queued> queued;
  } rows[] = {
      {"Raise, no arguments: formatted",
       kRaiseNoArgs,
       S_OK,
       {{E_ABORT, 2, u"101$Done 100%"}}},
      {"Raise with an argument",
       kRaiseArg,
       S_OK,
       {{E_ABORT, 4, u"100$File a.txt not found"}}},
      {"Raise, default catalog's text",
       kRaiseDefaultCatalogArg,
       S_OK,
       {{E_ABORT, 2, u"1$Argument 7 is invalid"}}},
      {"Raise, no text: fallback",
       kRaiseNoText,
       E_UNEXPECTED,
       {{E_UNEXPECTED, 2, u"90$Client: unexpected"}}},
      {"Log with an argument",
       kLogArg,
       S_OK,
       {{0, 8, u"100$File b not found"}}},
      {"Log, no text: no fallback", kLogNoText, E_FAIL, {}},
      {"Log of a text", kLogText, S_OK, {{0, 16, u"5$100%%"}}},
      {"Log of an empty text", kLogEmptyText, S_OK, {{0, 4, u""}}},
      {"Log of null", kLogNullText, E_POINTER, {}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    kztest::ResetErrorState();
    TestClient client;
    TestClient other;
    // Neither stops Log; both are off for Raise.
    const bool log = row.call >= kLogArg;
    if (log) client.SuspendErrorHandling();
    CKZErrorHandling::CKZErrorLock lock(log ? &other : nullptr);
    HRESULT result = E_NOTIMPL;
    switch (row.call) {
      case kRaiseNoArgs:
        result = client.Raise(E_ABORT, 2, 101u);
        break;
      case kRaiseArg:
        result = client.Raise(E_ABORT, 4, 100u, OLESTR("a.txt"));
        break;
      case kRaiseDefaultCatalogArg:
        result = client.Raise(E_ABORT, 2, 3u, 7);
        break;
      case kRaiseNoText:
        result = client.Raise(E_ABORT, 2, 999u);
        break;
      case kLogArg:
        result = client.Log(8, 100u, OLESTR("b"));
        break;
      case kLogNoText:
        result = client.Log(4, 999u);
        break;
      case kLogText:
        result = client.Log(16, OLESTR("5$100%%"));
        break;
      case kLogEmptyText:
        result = client.Log(4, OLESTR(""));
        break;
      case kLogNullText:
        result = client.Log(4, static_cast<const WCHAR*>(nullptr));
        break;
    }
    EXPECT_EQ(row.result, result);
    EXPECT_EQ(row.queued, QueueEntries());
  }
}

// Delivery by the object's queue switch: on, every type is queued and only
// types 1 and 2 close the gate; off, types 1 and 2 are published (also a
// logged success code) and others go to OnMessage as composites, whose
// failure comes back. Faults: a queued message also published, a type
// digit wrong, the gate closed by a published error, OnMessage's failure
// lost, a failure of OnMessage on Raise(hr) without the fallback.
TEST_F(ErrorHandling, Delivery) {
  enum Call { kRaiseText, kLogText, kRaiseMapped };
  const struct Row {
    const char* name;
    bool queueOn;
    Call call;
    ULONG type;
    HRESULT onMessage;
    HRESULT result;
    std::vector<Queued> queued;
    const char16_t* published;
    std::vector<std::u16string> messages;
    bool gateOpen;
  } rows[] = {
      {"on, type 1",
       true,
       kRaiseText,
       1,
       S_OK,
       S_OK,
       {{E_FAIL, 1, u"7$Seven"}},
       u"(none)",
       {},
       false},
      {"on, type 2 logged",
       true,
       kLogText,
       2,
       S_OK,
       S_OK,
       {{0, 2, u"7$Seven"}},
       u"(none)",
       {},
       false},
      {"on, type 4",
       true,
       kRaiseText,
       4,
       S_OK,
       S_OK,
       {{E_FAIL, 4, u"7$Seven"}},
       u"(none)",
       {},
       true},
      {"on, OnMessage not asked",
       true,
       kRaiseText,
       8,
       E_ABORT,
       S_OK,
       {{E_FAIL, 8, u"7$Seven"}},
       u"(none)",
       {},
       true},
      {"off, type 1",
       false,
       kRaiseText,
       1,
       S_OK,
       S_OK,
       {},
       u"Seven_$S_1007_$E_",
       {},
       true},
      {"off, type 2",
       false,
       kRaiseText,
       2,
       S_OK,
       S_OK,
       {},
       u"Seven_$S_2007_$E_",
       {},
       true},
      {"off, type 2 logged",
       false,
       kLogText,
       2,
       S_OK,
       S_OK,
       {},
       u"Seven_$S_2007_$E_",
       {},
       true},
      {"off, type 4",
       false,
       kRaiseText,
       4,
       S_OK,
       S_OK,
       {},
       u"(none)",
       {u"Seven_$S_3007_$E_"},
       true},
      {"off, type 8 logged",
       false,
       kLogText,
       8,
       S_OK,
       S_OK,
       {},
       u"(none)",
       {u"Seven_$S_4007_$E_"},
       true},
      {"off, type 16",
       false,
       kRaiseText,
       16,
       S_OK,
       S_OK,
       {},
       u"(none)",
       {u"Seven_$S_5007_$E_"},
       true},
      {"off, type 7",
       false,
       kRaiseText,
       7,
       S_OK,
       S_OK,
       {},
       u"(none)",
       {u"Seven_$S_?007_$E_"},
       true},
      {"off, OnMessage fails",
       false,
       kRaiseText,
       4,
       E_ABORT,
       E_ABORT,
       {},
       u"(none)",
       {u"Seven_$S_3007_$E_"},
       true},
      {"off, OnMessage fails a log",
       false,
       kLogText,
       4,
       E_ABORT,
       E_ABORT,
       {},
       u"(none)",
       {u"Seven_$S_3007_$E_"},
       true},
      {"off, OnMessage fails Raise(hr): fallback",
       false,
       kRaiseMapped,
       4,
       E_NOTIMPL,
       E_NOTIMPL,
       {},
       u"Client: unexpected_$S_2090_$E_",
       {u"Note_$S_3102_$E_"},
       true},
  };
  const GUID key = TestKey(6);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    kztest::ResetErrorState();
    TestClient client(ClientCatalog(), &key);
    client.onCreateEntries = {{E_ABORT, 102, 4}};
    client.onMessageResult = row.onMessage;
    if (!row.queueOn) client.DisableMessageQueue();
    HRESULT result = E_NOTIMPL;
    if (row.call == kRaiseText) {
      result = client.Raise(E_FAIL, row.type, OLESTR("7$Seven"));
    } else if (row.call == kLogText) {
      result = client.Log(row.type, OLESTR("7$Seven"));
    } else {
      result = client.Raise(E_ABORT);
    }
    EXPECT_EQ(row.result, result);
    EXPECT_EQ(row.queued, QueueEntries());
    EXPECT_EQ(std::u16string(row.published), TakeErrorDescription());
    EXPECT_EQ(row.messages, client.messages);
    TestClient probe;
    EXPECT_EQ(row.gateOpen ? S_OK : S_FALSE,
              probe.Raise(E_FAIL, 4, OLESTR("probe")));
  }
}

// With the queue off, each raise publishes anew and the last one stays.
// Fault: the first error kept, a stack of errors.
TEST_F(ErrorHandling, QueueOffPublishesEachRaise) {
  TestClient client;
  client.DisableMessageQueue();
  EXPECT_EQ(S_OK, client.Raise(E_POINTER));
  EXPECT_EQ(S_OK, client.Raise(E_FAIL, 2, 100u, OLESTR("x")));
  EXPECT_EQ(u"File x not found_$S_2100_$E_", TakeErrorDescription());
  EXPECT_EQ(u"(none)", TakeErrorDescription());
  EXPECT_EQ(0u, CKZErrorHandling::GetMessageQueueSize());
}

// Reading appends copies behind the caller's entries, in order of arrival,
// any number of times, and changes neither the queue nor the gate; only
// clearing reopens it. The queued text is a copy of the caller's. Faults:
// the caller's list emptied first, entries reversed, reading that moves
// entries out of the queue, a text kept by address.
TEST_F(ErrorHandling, QueueOperations) {
  CKZErrorHandling::MessageList list;
  ASSERT_TRUE(list.PushBack({5, 99, CKZString(OLESTR("mine"))}));
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(list));
  EXPECT_EQ(1u, list.Size());
  EXPECT_EQ(0u, CKZErrorHandling::GetMessageQueueSize());
  EXPECT_EQ(S_OK, CKZErrorHandling::ClearMessageQueue());

  TestClient client;
  WCHAR buffer[] = OLESTR("a");
  ASSERT_EQ(S_OK, client.Log(4, buffer));
  buffer[0] = 'X';
  ASSERT_EQ(S_OK, client.Raise(E_FAIL, 2, OLESTR("b")));
  ASSERT_EQ(S_OK, client.Log(8, OLESTR("c")));
  const std::vector<Queued> queued = {
      {0, 4, u"a"}, {E_FAIL, 2, u"b"}, {0, 8, u"c"}};
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(list));
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(list));
  std::vector<Queued> expected = {{5, 99, u"mine"}};
  expected.insert(expected.end(), queued.begin(), queued.end());
  expected.insert(expected.end(), queued.begin(), queued.end());
  EXPECT_EQ(expected, Entries(list));
  EXPECT_EQ(7u, list.Size());
  EXPECT_EQ(u"c", kztest::W((--list.end())->messageText)) << "newest last";
  EXPECT_EQ(3u, CKZErrorHandling::GetMessageQueueSize());
  EXPECT_EQ(S_FALSE, client.Raise(E_FAIL)) << "reading keeps the gate shut";
  EXPECT_EQ(S_OK, CKZErrorHandling::ClearMessageQueue());
  EXPECT_EQ(0u, CKZErrorHandling::GetMessageQueueSize());
  EXPECT_EQ(S_OK, client.Raise(E_FAIL));
  list.Clear();
  EXPECT_TRUE(list.IsEmpty());
  EXPECT_EQ(list.begin(), list.end());
}

// The lock's cases, each from no owner. Whether an object may raise is shown
// by a type-4 raise, which leaves the gate open. Faults: a second lock
// taking the right, a lock's destructor ending a right it doesn't hold, a
// count of locks, assignment moving the right.
TEST_F(ErrorHandling, ErrorLock) {
  TestClient a;
  TestClient b;
  auto canRaise = [](TestClient& object) {
    return object.Raise(E_FAIL, 4, OLESTR("x")) == S_OK;
  };
  {
    SCOPED_TRACE("one lock");
    CKZErrorHandling::CKZErrorLock lock(&a);
    EXPECT_TRUE(canRaise(a));
    EXPECT_FALSE(canRaise(b));
    EXPECT_EQ(S_OK, b.Log(4, OLESTR("log")));
  }
  EXPECT_TRUE(canRaise(b)) << "the right ended with the lock";
  {
    SCOPED_TRACE("a lock on B while A holds the right");
    CKZErrorHandling::CKZErrorLock lockA(&a);
    {
      CKZErrorHandling::CKZErrorLock lockB(&b);
      EXPECT_FALSE(canRaise(b));
    }
    EXPECT_FALSE(canRaise(b));
    EXPECT_TRUE(canRaise(a));
  }
  {
    SCOPED_TRACE("two locks on A: the first destructor ends the right");
    CKZErrorHandling::CKZErrorLock outer(&a);
    {
      CKZErrorHandling::CKZErrorLock inner(&a);
      EXPECT_FALSE(canRaise(b));
    }
    EXPECT_TRUE(canRaise(b));
  }
  {
    SCOPED_TRACE("a null lock takes nothing and ends nothing");
    {
      CKZErrorHandling::CKZErrorLock none(nullptr);
      EXPECT_TRUE(canRaise(b));
    }
    CKZErrorHandling::CKZErrorLock lockA(&a);
    { CKZErrorHandling::CKZErrorLock none(nullptr); }
    EXPECT_FALSE(canRaise(b));
  }
  {
    SCOPED_TRACE("assignment moves no right");
    auto holder = std::make_unique<CKZErrorHandling::CKZErrorLock>(&a);
    CKZErrorHandling::CKZErrorLock onB(&b);
    EXPECT_FALSE(canRaise(b));
    *holder = onB;
    EXPECT_FALSE(canRaise(b)) << "A keeps the right after the assignment";
    holder.reset();
    EXPECT_FALSE(canRaise(b)) << "a lock on B can't end A's right";
    { CKZErrorHandling::CKZErrorLock again(&a); }
    EXPECT_TRUE(canRaise(b));
  }
}

// Maps: shared by key across classes, created once with OnCreateMsgMap run
// on the creating object only, a failed OnCreateMsgMap never run again with
// what it added kept, the first entry of a code kept, no entries for the
// all-zero key, the first key kept when the object's key changes. Faults:
// OnCreateMsgMap run per object or retried, a map per class, an entry
// overwritten, the default map given client entries.
TEST_F(ErrorHandling, MessageMaps) {
  const GUID shared = TestKey(7);
  TestClient first(ClientCatalog(), &shared);
  SecondClient second(&shared);
  first.onCreateResult = E_ACCESSDENIED;
  first.onCreateEntries = {{E_ABORT, 102, 4}};
  EXPECT_EQ(E_ACCESSDENIED, first.AddMsgMapEntry(E_NOTIMPL, 100, 8));
  EXPECT_EQ(1, first.createCalls);
  EXPECT_NE(nullptr, Access::Map(first)) << "the map stays the object's";
  first.onCreateResult = S_OK;
  EXPECT_EQ(S_OK, first.AddMsgMapEntry(E_NOTIMPL, 101, 8));
  EXPECT_EQ(S_OK, second.AddMsgMapEntry(E_NOTIMPL, 102, 16));
  EXPECT_EQ(S_OK, second.AddMsgMapEntry(E_HANDLE, 102, 16));
  EXPECT_EQ(1, first.createCalls);
  EXPECT_EQ(0, second.createCalls);
  EXPECT_EQ(Access::Map(first), Access::Map(second));

  // The failed call's own entry is kept; the first entry for a code stays.
  EXPECT_EQ(S_OK, second.Raise(E_ABORT));
  EXPECT_EQ(S_OK, second.Raise(E_NOTIMPL));
  EXPECT_EQ(S_OK, first.Raise(E_HANDLE));
  EXPECT_EQ((std::vector<Queued>{{E_ABORT, 4, u"102$Note"},
                                 {E_NOTIMPL, 8, u"101$Done 100%%"},
                                 {E_HANDLE, 16, u"102$Note"}}),
            QueueEntries());
  CKZErrorHandling::ClearMessageQueue();

  // Another class keeps the library's E_FAIL; the all-zero key takes none.
  TestClient plain;
  EXPECT_EQ(E_UNEXPECTED, plain.AddMsgMapEntry(E_FAIL, 102, 4));
  EXPECT_EQ(0, plain.createCalls);
  EXPECT_EQ(1u, g_msgMapStore.maps.size());
  ASSERT_EQ(S_OK, first.AddMsgMapEntry(E_FAIL, 102, 4));
  EXPECT_EQ(S_OK, plain.Raise(E_FAIL));
  EXPECT_EQ((std::vector<Queued>{{E_FAIL, 2, u"0$Unspecified failure"}}),
            QueueEntries());
  CKZErrorHandling::ClearMessageQueue();

  // A new key after the first use changes nothing.
  first.SetKey(TestKey(8));
  EXPECT_EQ(S_OK, first.AddMsgMapEntry(E_POINTER, 102, 4));
  EXPECT_EQ(Access::Map(first), Access::Map(second));
  EXPECT_EQ(2u, g_msgMapStore.maps.size()) << "shared key and default map";

  // Raise(hr) with a failing OnCreateMsgMap: fallback, then its failure.
  const GUID failing = TestKey(9);
  TestClient third(ClientCatalog(), &failing);
  third.onCreateResult = E_ACCESSDENIED;
  EXPECT_EQ(E_ACCESSDENIED, third.Raise(E_FAIL));
  EXPECT_EQ((std::vector<Queued>{{E_UNEXPECTED, 2, u"90$Client: unexpected"}}),
            QueueEntries());
  CKZErrorHandling::ClearMessageQueue();
  EXPECT_EQ(S_OK, third.Raise(E_FAIL));
  EXPECT_EQ(1, third.createCalls);
}

}  // namespace
