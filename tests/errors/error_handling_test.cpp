// Raising, logging, the queue, the lock, the maps, publication and exhausted
// memory, through a test client; each case starts from a clean state.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <cstdio>
#include <initializer_list>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "errors/error_lock.h"
#include "errors/message_queue.h"
#include "errors/msg_map.h"
#include "support/alloc_failure.h"
#include "test_support.h"

struct CKZErrorHandlingTestAccess {
  static const MsgMap* Map(const CKZErrorHandling& object) {
    return object.msgMap;
  }
};

namespace {

using kztest::Narrow;
using kztest::NoInjectedFailures;
using kztest::W;

GUID TestKey(unsigned char n) {
  return GUID{0x6b7a0000u + n, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, n}};
}

// A client of kz_error_catalog (error_catalog.rc) recording what it is asked.
class TestClient : public CKZErrorHandling {
 public:
  using Entry = std::tuple<HRESULT, ULONG, ULONG>;  // code, id, type
  explicit TestClient(const GUID* mapKey = nullptr,
                      std::initializer_list<Entry> entries = {})
      : key(mapKey != nullptr ? *mapKey : GUID_NULL),
        onCreateEntries(entries) {}

  GUID key;
  const WCHAR* catalogName = OLESTR("kz_error_catalog");
  HRESULT onMessageResult = S_OK;
  HRESULT onCreateResult = S_OK;
  const std::vector<Entry> onCreateEntries;
  int catalogCalls = 0;
  int createCalls = 0;
  std::vector<std::string> messages;  // OnMessage's composites

  HRESULT OnCreateMsgMap() override {
    ++createCalls;
    for (const auto& [code, id, type] : onCreateEntries) {
      const HRESULT hr = AddMsgMapEntry(code, id, type);
      if (hr < 0) return hr;
    }
    return onCreateResult;
  }

 protected:
  const WCHAR* GetCatalogName() override {
    ++catalogCalls;
    return catalogName;
  }
  HRESULT OnMessage(CKZMsgString& message) override {
    NoInjectedFailures record;
    messages.push_back(Narrow(W(message)));
    return onMessageResult;
  }
  const GUID& GetMsgMapKey() override {
    return key == GUID_NULL ? CKZErrorHandling::GetMsgMapKey() : key;
  }
};

void Append(std::string& out, const std::string& item) {
  out += (out.empty() ? "" : " ") + item;
}
std::string Describe(const CKZErrorHandling::MessageList& list) {
  std::string out;
  for (const CKZErrorHandling::MessageInfo& info : list) {
    char head[40];
    std::snprintf(head, sizeof head, "Q(%X,%u,",
                  static_cast<unsigned>(info.resultCode),
                  static_cast<unsigned>(info.messageType));
    Append(out, head + Narrow(W(info.messageText)) + ")");
  }
  return out;
}

// Takes the error object: its description, or "(none)"; with `fields`
// "guid context file source description".
std::string TakeError(bool fields = false) {
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return "(none)";
  std::string out;
  GUID guid = GUID_NULL;
  DWORD context = 0;
  if (fields && info->GetGUID(&guid) == S_OK &&
      info->GetHelpContext(&context) == S_OK) {
    out = guid == GUID_NULL ? "null " : guid == TestKey(42) ? "key " : "other ";
    out += std::to_string(context) + " ";
  }
  for (auto get : {&IErrorInfo::GetHelpFile, &IErrorInfo::GetSource,
                   &IErrorInfo::GetDescription}) {
    if (!fields && get != &IErrorInfo::GetDescription) continue;
    BSTR text = nullptr;
    out += (info->*get)(&text) == S_OK ? Narrow(W(text)) : "(failed)";
    out += get != &IErrorInfo::GetDescription ? " " : "";
    SysFreeString(text);
  }
  info->Release();
  return out;
}

// The queue, P(published description), M(each OnMessage composite).
std::string Outcome(const TestClient& client) {
  CKZErrorHandling::MessageList queue;
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(queue));
  std::string out = Describe(queue);
  const std::string published = TakeError();
  if (published != "(none)") Append(out, "P(" + published + ")");
  for (const std::string& message : client.messages) {
    Append(out, "M(" + message + ")");
  }
  return out;
}

// The library's starting state, bar the catalog modules (open as in a client).
void ResetErrorState() {
  CKZErrorHandling::ClearMessageQueue();
  g_errorLockOwner = nullptr;
  g_msgMapStore.maps.clear();
  static_cast<void>(TakeError());
}

class ErrorHandling : public ::testing::Test {
 protected:
  void SetUp() override { ResetErrorState(); }
  void TearDown() override { ResetErrorState(); }
};

using Access = CKZErrorHandlingTestAccess;
using Lock = CKZErrorHandling::CKZErrorLock;

const HRESULT kNoText = static_cast<HRESULT>(0x80040001u);
const HRESULT kUnmapped = static_cast<HRESULT>(0x80041234u);

enum Setup : unsigned {
  kKeyed = 1,  // own map: E_FAIL 101, E_ABORT 102 (type 4), kNoText 999
  kQueueOff = 2,
  kMessageFails = 4,
  kCreateFails = 8,
  kShutOut = 16,  // suspended, and another object holds the lock
  kEmptyName = 32,
  kNullName = 64,
  kNameB = 128,     // a catalog without the client's texts
  kCloseAll = 256,  // every catalog closed first
};

// Fault: a raise or log takes the wrong map, catalog, text, fallback or
// destination; a raise reads the module a previous raise found, or the
// default catalog doesn't reopen after CloseAll.
TEST_F(ErrorHandling, Road) {
#define CALL(expr) [](TestClient& c) { return expr; }
  const struct Row {
    const char* name;
    unsigned setup;
    HRESULT (*call)(TestClient&);
    HRESULT result;
    const char* outcome;
  } rows[] = {
      {"own map, unformatted", kKeyed, CALL(c.Raise(E_FAIL)), S_OK,
       "Q(80004005,2,101$Done 100%%)"},
      {"own map's type", kKeyed, CALL(c.Raise(E_ABORT)), S_OK,
       "Q(80004004,4,102$Note)"},
      {"own map, then default", kKeyed, CALL(c.Raise(E_NOTIMPL)), S_OK,
       "Q(80004001,2,5$Not implemented)"},
      {"client's text", 0, CALL(c.Raise(E_POINTER)), S_OK,
       "Q(80004003,2,91$Client: bad pointer)"},
      {"mapped id, no text", kKeyed, CALL(c.Raise(kNoText)), E_FAIL,
       "Q(8000FFFF,2,90$Client: unexpected)"},
      {"OnCreateMsgMap fails", kKeyed | kCreateFails, CALL(c.Raise(E_FAIL)),
       E_ACCESSDENIED, "Q(8000FFFF,2,90$Client: unexpected)"},
      {"unmapped", 0, CALL(c.Raise(kUnmapped)), E_UNEXPECTED,
       "Q(8000FFFF,2,90$Client: unexpected)"},
      {"unmapped, empty name", kEmptyName, CALL(c.Raise(kUnmapped)),
       E_UNEXPECTED, "Q(8000FFFF,2,6$Unexpected failure.)"},
      {"unmapped, null name", kNullName, CALL(c.Raise(kUnmapped)), E_UNEXPECTED,
       "Q(8000FFFF,2,6$Unexpected failure.)"},
      {"by id, no arguments", 0, CALL(c.Raise(E_ABORT, 2, 101u)), S_OK,
       "Q(80004004,2,101$Done 100%)"},
      {"by id", 0, CALL(c.Raise(E_ABORT, 4, 100u, OLESTR("a"))), S_OK,
       "Q(80004004,4,100$File a not found)"},
      {"by id, default catalog", 0, CALL(c.Raise(E_ABORT, 2, 3u, 7)), S_OK,
       "Q(80004004,2,1$Argument 7 is invalid)"},
      {"by id, no text", 0, CALL(c.Raise(E_ABORT, 2, 999u)), E_UNEXPECTED,
       "Q(8000FFFF,2,90$Client: unexpected)"},
      {"log by id", kShutOut, CALL(c.Log(8, 100u, OLESTR("b"))), S_OK,
       "Q(0,8,100$File b not found)"},
      {"log, no text", kShutOut, CALL(c.Log(4, 999u)), E_FAIL, ""},
      {"log text", kShutOut, CALL(c.Log(16, OLESTR("5$100%%"))), S_OK,
       "Q(0,16,5$100%%)"},
      {"log empty text", kShutOut, CALL(c.Log(4, OLESTR(""))), S_OK, "Q(0,4,)"},
      {"log null", kShutOut, CALL(c.Log(4, static_cast<WCHAR*>(nullptr))),
       E_POINTER, ""},
      {"queued, not to OnMessage", kMessageFails,
       CALL(c.Raise(E_FAIL, 8, OLESTR("7$Seven"))), S_OK,
       "Q(80004005,8,7$Seven)"},
      {"off: type 1 published", kQueueOff,
       CALL(c.Raise(E_FAIL, 1, OLESTR("7$Seven"))), S_OK,
       "P(Seven_$S_1007_$E_)"},
      {"off: log type 2 published", kQueueOff,
       CALL(c.Log(2, OLESTR("7$Seven"))), S_OK, "P(Seven_$S_2007_$E_)"},
      {"off: the last raise stays", kQueueOff,
       CALL((c.Raise(E_POINTER), c.Raise(E_FAIL, 2, 100u, OLESTR("x")))), S_OK,
       "P(File x not found_$S_2100_$E_)"},
      {"off: OnMessage fails a raise", kQueueOff | kMessageFails,
       CALL(c.Raise(E_FAIL, 4, OLESTR("7$Seven"))), E_NOTIMPL,
       "M(Seven_$S_3007_$E_)"},
      {"off: OnMessage fails a log", kQueueOff | kMessageFails,
       CALL(c.Log(8, OLESTR("7$Seven"))), E_NOTIMPL, "M(Seven_$S_4007_$E_)"},
      {"off: OnMessage fails Raise(hr)", kKeyed | kQueueOff | kMessageFails,
       CALL(c.Raise(E_ABORT)), E_NOTIMPL,
       "P(Client: unexpected_$S_2090_$E_) M(Note_$S_3102_$E_)"},
      {"another catalog", kNameB, CALL(c.Raise(E_POINTER)), S_OK,
       "Q(80004003,2,4$Invalid pointer)"},
      {"default catalog, all closed", kEmptyName | kCloseAll,
       CALL(c.Raise(E_POINTER)), S_OK, "Q(80004003,2,4$Invalid pointer)"},
      {"own catalog, all closed", kCloseAll, CALL(c.Raise(E_POINTER)), S_OK,
       "Q(80004003,2,91$Client: bad pointer)"},
  };
#undef CALL
  const GUID key = TestKey(1);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ResetErrorState();
    TestClient client((row.setup & kKeyed) != 0 ? &key : nullptr,
                      {{E_FAIL, 101, 2}, {E_ABORT, 102, 4}, {kNoText, 999, 2}});
    if ((row.setup & kQueueOff) != 0) client.DisableMessageQueue();
    if ((row.setup & kMessageFails) != 0) client.onMessageResult = E_NOTIMPL;
    if ((row.setup & kCreateFails) != 0) client.onCreateResult = E_ACCESSDENIED;
    if ((row.setup & kShutOut) != 0) client.SuspendErrorHandling();
    if ((row.setup & kEmptyName) != 0) client.catalogName = OLESTR("");
    if ((row.setup & kNullName) != 0) client.catalogName = nullptr;
    if ((row.setup & kNameB) != 0)
      client.catalogName = OLESTR("KzTestCatalogB");
    if ((row.setup & kCloseAll) != 0) CKZCatalog::CloseAll();
    const TestClient other;
    const Lock lock((row.setup & kShutOut) != 0 ? &other : nullptr);
    EXPECT_EQ(row.result, row.call(client));
    EXPECT_EQ(row.outcome, Outcome(client));
  }
}

// Fault: a gate condition ignored by an overload, or checked after the map.
TEST_F(ErrorHandling, Gate) {
  enum { kNoLock, kSelf, kOther };
  const struct Row {
    const char* name;
    int suspends;
    bool resume;
    ULONG queued;
    bool queueOff;
    int lock;
    HRESULT hr;
    bool passes;
  } rows[] = {
      {"open", 0, false, 0, false, kNoLock, E_FAIL, true},
      {"suspended", 1, false, 0, false, kNoLock, E_FAIL, false},
      {"suspended twice, resumed", 2, true, 0, false, kNoLock, E_FAIL, true},
      {"type 1 queued", 0, false, 1, false, kNoLock, E_FAIL, false},
      {"type 2 queued", 0, false, 2, false, kNoLock, E_FAIL, false},
      {"type 4 queued", 0, false, 4, false, kNoLock, E_FAIL, true},
      {"queue off, error queued", 0, false, 2, true, kNoLock, E_FAIL, false},
      {"S_OK", 0, false, 0, false, kNoLock, S_OK, false},
      {"S_FALSE", 0, false, 0, false, kNoLock, S_FALSE, false},
      {"another holds the lock", 0, false, 0, false, kOther, E_FAIL, false},
      {"this holds the lock", 0, false, 0, false, kSelf, E_FAIL, true},
  };
  const GUID key = TestKey(2);
  for (const Row& row : rows) {
    for (int overload = 0; overload < 3; ++overload) {
      SCOPED_TRACE(testing::Message() << row.name << ", overload " << overload);
      ResetErrorState();
      TestClient client(&key);
      TestClient other;
      for (int i = 0; i < row.suspends; ++i) client.SuspendErrorHandling();
      if (row.resume) client.ResumeErrorHandling();
      if (row.queueOff) client.DisableMessageQueue();
      if (row.queued != 0) {
        ASSERT_EQ(S_OK, other.Log(row.queued, OLESTR("q")));
      }
      const Lock lock(row.lock == kSelf    ? &client
                      : row.lock == kOther ? &other
                                           : nullptr);
      const ULONG before = CKZErrorHandling::GetMessageQueueSize();
      EXPECT_EQ(E_POINTER,
                client.Raise(row.hr, 2, static_cast<const WCHAR*>(nullptr)));
      const HRESULT result = overload == 0 ? client.Raise(row.hr)
                             : overload == 1
                                 ? client.Raise(row.hr, 4, 102u)
                                 : client.Raise(row.hr, 4, OLESTR("t"));
      EXPECT_EQ(row.passes ? S_OK : S_FALSE, result);
      EXPECT_EQ(before + (row.passes ? 1 : 0),
                CKZErrorHandling::GetMessageQueueSize());
      if (!row.passes) {
        EXPECT_EQ(0, client.catalogCalls);
        EXPECT_TRUE(g_msgMapStore.maps.empty());
      }
    }
  }
}

// Fault: a code missing from the default map or mapped to the wrong id, or
// the map made before a resolution needs it.
TEST_F(ErrorHandling, DefaultMap) {
  const char* kUnexpected = "Q(8000FFFF,2,6$Unexpected failure.)";
  const struct Row {
    HRESULT hr;
    const char* outcome;  // null: mapped nowhere
  } rows[] = {
      {E_FAIL, "Q(80004005,2,0$Unspecified failure)"},
      {E_INVALIDARG, "Q(80070057,2,28$Invalid argument specified.)"},
      {E_OUTOFMEMORY, "Q(8007000E,2,2$Out of memory)"},
      {E_NOINTERFACE, "Q(80004002,2,3$Interface not supported.)"},
      {E_POINTER, "Q(80004003,2,4$Invalid pointer)"},
      {E_NOTIMPL, "Q(80004001,2,5$Not implemented)"},
      {E_UNEXPECTED, "Q(8000FFFF,2,6$Unexpected failure.)"},
      {E_HANDLE, "Q(80070006,2,7$Invalid handle)"},
      {E_ABORT, "Q(80004004,2,8$Operation was aborted.)"},
      {E_ACCESSDENIED, "Q(80070005,2,9$Access denied)"},
      {DISP_E_UNKNOWNINTERFACE, "Q(80020001,2,10$Unknown interface)"},
      {DISP_E_MEMBERNOTFOUND, "Q(80020003,2,11$Member not found)"},
      {DISP_E_TYPEMISMATCH, "Q(80020005,2,12$Type mismatch)"},
      {DISP_E_PARAMNOTFOUND, "Q(80020004,2,13$Parameter not found)"},
      {STG_E_SHAREVIOLATION, "Q(80030020,2,29$Share Violation)"},
      {DISP_E_BADVARTYPE, "Q(80020008,2,38$Bad Variable Type)"},
      {DISP_E_UNKNOWNNAME, nullptr},
      {static_cast<HRESULT>(0x80070000), nullptr},
  };
  const GUID key = TestKey(3);
  TestClient keyed(&key, {{E_FAIL, 1, 2}});
  ASSERT_EQ(S_OK, keyed.Raise(E_FAIL));
  EXPECT_EQ(1u, g_msgMapStore.maps.size()) << "no default map yet";
  TestClient client;
  client.catalogName = OLESTR("");
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << std::hex << row.hr);
    CKZErrorHandling::ClearMessageQueue();
    EXPECT_EQ(row.outcome ? S_OK : E_UNEXPECTED, client.Raise(row.hr));
    EXPECT_EQ(row.outcome ? row.outcome : kUnexpected, Outcome(client));
  }
}

// Fault: reading changes the queue, or the queue shares the caller's buffer.
TEST_F(ErrorHandling, QueueOperations) {
  TestClient client;
  WCHAR buffer[] = OLESTR("a");
  ASSERT_EQ(S_OK, client.Log(4, buffer));
  buffer[0] = 'X';
  ASSERT_EQ(S_OK, client.Raise(E_FAIL, 2, OLESTR("b")));
  ASSERT_EQ(S_OK, client.Log(8, OLESTR("c")));
  const std::string queued = "Q(0,4,a) Q(80004005,2,b) Q(0,8,c)";
  CKZErrorHandling::MessageList list;
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(list));
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(list));
  EXPECT_EQ(queued + " " + queued, Describe(list));
  EXPECT_EQ(u"c", kztest::W((--list.end())->messageText)) << "newest last";
  EXPECT_EQ(3u, CKZErrorHandling::GetMessageQueueSize());
  EXPECT_EQ(S_OK, CKZErrorHandling::ClearMessageQueue());
  EXPECT_EQ(0u, CKZErrorHandling::GetMessageQueueSize());
}

// Fault: a lock ends or takes another object's right. A type-4 raise shows
// whether B may raise, and leaves the gate open.
TEST_F(ErrorHandling, ErrorLock) {
  TestClient a;
  TestClient b;
  auto canRaise = [&b]() { return b.Raise(E_FAIL, 4, OLESTR("x")) == S_OK; };
  {
    const Lock lockA(&a);
    { const Lock lockB(&b); }
    EXPECT_FALSE(canRaise()) << "a lock on B takes nothing and ends nothing";
  }
  EXPECT_TRUE(canRaise()) << "the right ends with the lock";
  {
    const Lock outer(&a);
    { const Lock inner(&a); }
    EXPECT_TRUE(canRaise()) << "the first destructor on A ends the right";
  }
  {
    { const Lock none(nullptr); }
    const Lock lockA(&a);
    { const Lock none(nullptr); }
    EXPECT_FALSE(canRaise()) << "a null lock ends nothing";
  }
  {
    Lock holder(&a);
    const Lock onB(&b);
    holder = onB;
    EXPECT_FALSE(canRaise()) << "A keeps the right after the assignment";
  }
  EXPECT_FALSE(canRaise()) << "a lock on B can't end A's right";
  { const Lock again(&a); }
  EXPECT_TRUE(canRaise());
}

// Fault: a map per class or object, OnCreateMsgMap run again, a later entry
// winning, the all-zero key taking entries, copies losing map or switches.
TEST_F(ErrorHandling, MapsAndSwitches) {
  class SecondClass : public TestClient {
    using TestClient::TestClient;
  };
  const GUID shared = TestKey(7);
  TestClient first(&shared, {{E_ABORT, 102, 4}});
  SecondClass second(&shared);
  EXPECT_EQ(nullptr, Access::Map(first));
  first.onCreateResult = E_ACCESSDENIED;
  EXPECT_EQ(E_ACCESSDENIED, first.AddMsgMapEntry(E_NOTIMPL, 100, 8));
  EXPECT_NE(nullptr, Access::Map(first)) << "the map stays the object's";
  EXPECT_EQ(S_OK, first.AddMsgMapEntry(E_NOTIMPL, 101, 8));
  EXPECT_EQ(S_OK, second.AddMsgMapEntry(E_NOTIMPL, 102, 16));
  EXPECT_EQ(S_OK, second.AddMsgMapEntry(E_HANDLE, 102, 16));
  EXPECT_EQ(1, first.createCalls);
  EXPECT_EQ(0, second.createCalls);
  EXPECT_EQ(S_OK, second.Raise(E_ABORT));
  EXPECT_EQ(S_OK, second.Raise(E_NOTIMPL));
  EXPECT_EQ(S_OK, first.Raise(E_HANDLE));
  EXPECT_EQ(
      "Q(80004004,4,102$Note) Q(80004001,8,101$Done 100%%) "
      "Q(80070006,16,102$Note)",
      Outcome(first));
  CKZErrorHandling::ClearMessageQueue();

  TestClient plain;
  EXPECT_EQ(E_UNEXPECTED, plain.AddMsgMapEntry(E_FAIL, 102, 4));
  EXPECT_EQ(0, plain.createCalls);
  EXPECT_EQ(1u, g_msgMapStore.maps.size());
  ASSERT_EQ(S_OK, first.AddMsgMapEntry(E_FAIL, 102, 4));
  EXPECT_EQ(S_OK, plain.Raise(E_FAIL));
  EXPECT_EQ("Q(80004005,2,0$Unspecified failure)", Outcome(plain));
  CKZErrorHandling::ClearMessageQueue();

  const GUID other = TestKey(8);
  first.key = other;
  EXPECT_EQ(S_OK, first.AddMsgMapEntry(E_POINTER, 102, 4));
  TestClient assigned(&other);
  static_cast<CKZErrorHandling&>(assigned) = second;
  TestClient copied(second);
  EXPECT_EQ(Access::Map(first), Access::Map(assigned));
  EXPECT_EQ(Access::Map(first), Access::Map(copied));
  EXPECT_EQ(2u, g_msgMapStore.maps.size()) << "shared key and default map";
  assigned.DisableMessageQueue();
  static_cast<CKZErrorHandling&>(copied) = assigned;
  EXPECT_EQ(S_OK, copied.Raise(E_POINTER));
  EXPECT_EQ("M(Note_$S_3102_$E_)", Outcome(copied));
  static_cast<CKZErrorHandling&>(copied) = TestClient();
  EXPECT_EQ(S_OK, copied.Raise(E_FAIL, 4, OLESTR("on")));
  EXPECT_EQ("Q(80004005,4,on) M(Note_$S_3102_$E_)", Outcome(copied));
}

// Fault: KZRaiseError's checks out of order, hr published, a refused call
// replacing the earlier error object, a field lost or kept by a later call.
TEST_F(ErrorHandling, PublicationChecks) {
  const char* kBefore = "before_$S_2000_$E_";
  const struct Row {
    const char* name;
    HRESULT hr;
    ULONG type;
    const WCHAR* text;
    HRESULT result;
    const char* published;
  } rows[] = {
      {"null text, bad type", S_OK, 4, nullptr, E_POINTER, kBefore},
      {"success code, type 4", S_OK, 4, OLESTR("5$T"), E_INVALIDARG, kBefore},
      {"S_FALSE, type 16", S_FALSE, 16, OLESTR("5$T"), E_INVALIDARG, kBefore},
      {"success code, type 1", S_OK, 1, OLESTR("5$T"), S_OK, "T_$S_1005_$E_"},
      {"S_FALSE, type 2", S_FALSE, 2, OLESTR("5$T"), S_OK, "T_$S_2005_$E_"},
      {"failure, type 2", E_FAIL, 2, OLESTR("5$T"), S_OK, "T_$S_2005_$E_"},
      {"other failure", E_ABORT, 2, OLESTR("5$T"), S_OK, "T_$S_2005_$E_"},
      {"failure, type 4", E_FAIL, 4, OLESTR("5$T"), S_OK, "T_$S_3005_$E_"},
      {"empty text", E_FAIL, 1, OLESTR(""), S_OK, "_$S_1000_$E_"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("before")));
    EXPECT_EQ(row.result, KZRaiseError(row.hr, row.type, row.text));
    EXPECT_EQ(row.published, TakeError());
  }
  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 1, OLESTR("12$Type mismatch"),
                               OLESTR("Reader"), OLESTR("parser"), TestKey(42),
                               77, OLESTR("help.chm"), OLESTR("Src")));
  EXPECT_EQ("key 77 help.chm Src Type mismatch_$S_1012-PARS-Reader_$E_",
            TakeError(true));
  ASSERT_EQ(S_OK,
            KZRaiseError(E_FAIL, 1, OLESTR("3$First"), nullptr, nullptr,
                         TestKey(42), 77, OLESTR("help.chm"), OLESTR("Src")));
  ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("4$Then")));
  EXPECT_EQ("null 0 (null) (null) Then_$S_2004_$E_", TakeError(true));
}

// Each allocation failing in turn, both catalogs open first as in a client.
// Fault: a failure other than E_OUTOFMEMORY, a half-made map, the object
// pointing at a map not in the store, OnCreateMsgMap run twice, a leak, a
// failed copy of the queue leaving part of it in the list.
TEST_F(ErrorHandling, EachAllocationFailing) {
  TestClient warm;
  ASSERT_EQ(S_OK, warm.Raise(E_POINTER));
  ASSERT_EQ(S_OK, warm.Log(4, 1u));
  enum { kRaise, kLog, kAddEntry, kPublish, kRead };
  const char* kFallback = "Q(8000FFFF,2,90$Client: unexpected)";
  const struct Row {
    const char* name;
    int op;
    bool keyed;
    bool queueOff;
    const char* done;
    const char* failed;
  } rows[] = {
      {"raise, default map", kRaise, false, false,
       "Q(80004005,2,0$Unspecified failure)", kFallback},
      {"raise, own map", kRaise, true, false, "Q(80004005,2,102$Note)",
       kFallback},
      {"log, queued", kLog, false, false, "Q(0,4,100$File a not found)", ""},
      {"log to OnMessage", kLog, false, true, "M(File a not found_$S_3100_$E_)",
       ""},
      {"map entry", kAddEntry, true, false, "", ""},
      {"publication", kPublish, false, false, "P(Text_$S_2005-CODE-Origin_$E_)",
       "P(before_$S_2000_$E_)"},
      {"queue read", kRead, false, false,
       "Q(7,16,mine) Q(0,4,a) Q(0,2,b) Q(0,4,a) Q(0,2,b)",
       "Q(7,16,mine) Q(0,4,a) Q(0,2,b)"},
  };
  const GUID key = TestKey(20);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
      std::optional<TestClient> client;
      CKZErrorHandling::MessageList list;
      {
        kztest::NoInjectedFailures setup;
        ResetErrorState();
        client.emplace(
            row.keyed ? &key : nullptr,
            std::initializer_list<TestClient::Entry>{{E_FAIL, 102, 2}});
        if (row.queueOff) client->DisableMessageQueue();
        if (row.op == kPublish) {
          ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("before")));
        }
        if (row.op == kRead) {
          ASSERT_EQ(S_OK, client->Log(4, OLESTR("a")));
          ASSERT_EQ(S_OK, client->Log(2, OLESTR("b")));
          ASSERT_TRUE(list.PushBack({7, 16, CKZString(OLESTR("mine"))}));
        }
      }
      HRESULT result = E_NOTIMPL;
      if (row.op == kRaise) result = client->Raise(E_FAIL);
      if (row.op == kLog) result = client->Log(4, 100u, OLESTR("a"));
      if (row.op == kAddEntry) result = client->AddMsgMapEntry(E_HANDLE, 1, 4);
      if (row.op == kPublish) {
        result = KZRaiseError(E_FAIL, 2, OLESTR("5$Text"), OLESTR("Origin"),
                              OLESTR("code"), TestKey(22), 3, OLESTR("help"),
                              OLESTR("source"));
      }
      if (row.op == kRead) result = CKZErrorHandling::GetMessageQueue(list);
      const bool fired = kztest::InjectedFailureFired();
      EXPECT_EQ(fired             ? E_OUTOFMEMORY
                : row.op == kRead ? S_FALSE
                                  : S_OK,
                result);
      std::string outcome = Describe(list);
      Append(outcome, Outcome(*client));
      EXPECT_EQ(fired ? row.failed : row.done, outcome);
      const auto& maps = g_msgMapStore.maps;
      const auto defaults = maps.find(GUID_NULL);
      const MsgMapEntry* last = nullptr;
      if (defaults != maps.end()) {
        EXPECT_EQ(S_OK, defaults->second.FindEntry(DISP_E_BADVARTYPE, &last));
      }
      const auto own = maps.find(key);
      EXPECT_EQ(own == maps.end() ? nullptr : &own->second,
                CKZErrorHandlingTestAccess::Map(*client));
      if (row.keyed) {
        EXPECT_EQ(S_OK, client->AddMsgMapEntry(E_HANDLE, 102, 4));
        EXPECT_EQ(1, client->createCalls);
      }
    });
    EXPECT_GT(count, 0u);
  }
}

}  // namespace
