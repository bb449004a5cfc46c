// Exhausted memory on the error-handling paths: each allocation of Raise,
// Log, AddMsgMapEntry, GetMessageQueue and KZRaiseError fails in turn. A
// failed step leaves the queue, the maps and the caller's outputs as they
// were and reports E_OUTOFMEMORY; under ASan a leak on any path fails too.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <string>
#include <vector>

#include "errors/error_test_support.h"
#include "support/alloc_failure.h"

namespace {

using kztest::ClientCatalog;
using kztest::Queued;
using kztest::QueueEntries;
using kztest::TakeErrorDescription;
using kztest::TestClient;
using kztest::TestKey;

class ErrorOutOfMemory : public kztest::ErrorStateTest {
 protected:
  // The catalog modules open before the counting starts, as they stay open
  // in a running client: every run then allocates alike.
  void SetUp() override {
    kztest::ErrorStateTest::SetUp();
    TestClient warm;
    ASSERT_EQ(S_OK, warm.Raise(E_POINTER));  // the client's catalog
    ASSERT_EQ(S_OK, warm.Log(4, 1u));        // the library's
    kztest::ResetErrorState();
  }
};

// Raise(hr) through a fresh default map and through a keyed client's fresh
// map: when a step fails, the fallback's message alone is queued, the
// default map is whole or absent, and the keyed map is absent with the
// object's map unset. Faults: a half-filled default map taken as complete,
// a queue entry for the failed raise, a map pointer kept for a map that was
// never made.
TEST_F(ErrorOutOfMemory, Raise) {
  const GUID key = TestKey(20);
  for (const bool keyed : {false, true}) {
    SCOPED_TRACE(keyed ? "keyed" : "default key");
    const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
      TestClient* client = nullptr;
      {
        kztest::NoInjectedFailures setup;
        kztest::ResetErrorState();
        client = new TestClient(ClientCatalog(), keyed ? &key : nullptr);
        client->onCreateEntries = {{E_FAIL, 102, 2}};
      }
      const HRESULT result = client->Raise(E_FAIL);
      const bool fired = kztest::InjectedFailureFired();
      const Queued raised = keyed ? Queued{E_FAIL, 2, u"102$Note"}
                                  : Queued{E_FAIL, 2, u"0$Unspecified failure"};
      const Queued fallback = {E_UNEXPECTED, 2, u"90$Client: unexpected"};
      if (!fired) {
        EXPECT_EQ(S_OK, result);
        EXPECT_EQ(std::vector<Queued>{raised}, QueueEntries());
      } else {
        EXPECT_EQ(E_OUTOFMEMORY, result);
        EXPECT_EQ(std::vector<Queued>{fallback}, QueueEntries());
      }
      // The store holds a whole map or none: a raise of every default code
      // through a clean queue shows the default map's rows if it exists.
      if (!keyed && g_msgMapStore.maps.count(GUID_NULL) != 0) {
        CKZErrorHandling::ClearMessageQueue();
        EXPECT_EQ(S_OK, client->Raise(DISP_E_BADVARTYPE)) << "last row";
      }
      if (keyed && fired && g_msgMapStore.maps.count(key) == 0) {
        EXPECT_EQ(nullptr, CKZErrorHandlingTestAccess::Map(*client));
      }
      delete client;
    });
    EXPECT_GT(count, 0u);
  }
}

// Log of a catalog text, queued or given to OnMessage: a failed step
// queues nothing and calls no OnMessage (Log has no fallback).
TEST_F(ErrorOutOfMemory, Log) {
  for (const bool queueOn : {true, false}) {
    SCOPED_TRACE(queueOn ? "queue on" : "queue off");
    const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
      TestClient client;
      if (!queueOn) client.DisableMessageQueue();
      const HRESULT result = client.Log(4, 100u, OLESTR("a"));
      const bool fired = kztest::InjectedFailureFired();
      const std::vector<Queued> queued =
          queueOn ? std::vector<Queued>{{0, 4, u"100$File a not found"}}
                  : std::vector<Queued>{};
      const std::vector<std::u16string> messages =
          queueOn
              ? std::vector<std::u16string>{}
              : std::vector<std::u16string>{u"File a not found_$S_3100_$E_"};
      EXPECT_EQ(fired ? E_OUTOFMEMORY : S_OK, result);
      EXPECT_EQ(fired ? std::vector<Queued>{} : queued, QueueEntries());
      EXPECT_EQ(fired ? std::vector<std::u16string>{} : messages,
                client.messages);
      CKZErrorHandling::ClearMessageQueue();
    });
    EXPECT_GT(count, 0u);
  }
}

// AddMsgMapEntry on a fresh key: a failed map leaves no map and no map
// pointer, so the next call creates it and runs OnCreateMsgMap; a failed
// entry leaves the map without it, and the next call adds it.
TEST_F(ErrorOutOfMemory, AddMsgMapEntry) {
  const GUID key = TestKey(21);
  const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
    {
      kztest::NoInjectedFailures setup;
      kztest::ResetErrorState();
    }
    TestClient client(ClientCatalog(), &key);
    const HRESULT result = client.AddMsgMapEntry(E_FAIL, 102, 4);
    const bool fired = kztest::InjectedFailureFired();
    EXPECT_EQ(fired ? E_OUTOFMEMORY : S_OK, result);
    const bool made = g_msgMapStore.maps.count(key) != 0;
    EXPECT_EQ(made, CKZErrorHandlingTestAccess::Map(client) != nullptr);
    EXPECT_EQ(made ? 1 : 0, client.createCalls);
    if (fired) {
      EXPECT_EQ(S_OK, client.AddMsgMapEntry(E_FAIL, 102, 4));
    }
    EXPECT_EQ(1, client.createCalls);
    EXPECT_EQ(S_OK, client.Raise(E_FAIL));
    EXPECT_EQ((std::vector<Queued>{{E_FAIL, 4, u"102$Note"}}), QueueEntries());
  });
  EXPECT_GT(count, 0u);
}

// GetMessageQueue into a list that holds an entry: a copy that fails
// leaves the list with that entry alone and the queue whole.
TEST_F(ErrorOutOfMemory, GetMessageQueue) {
  TestClient client;
  ASSERT_EQ(S_OK, client.Log(4, OLESTR("a")));
  ASSERT_EQ(S_OK, client.Log(8, OLESTR("b")));
  ASSERT_EQ(S_OK, client.Log(2, OLESTR("c")));
  const std::vector<Queued> queued = {{0, 4, u"a"}, {0, 8, u"b"}, {0, 2, u"c"}};
  const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
    CKZErrorHandling::MessageList list;
    {
      kztest::NoInjectedFailures setup;
      ASSERT_TRUE(list.PushBack({7, 16, CKZString(OLESTR("mine"))}));
    }
    const HRESULT result = CKZErrorHandling::GetMessageQueue(list);
    const bool fired = kztest::InjectedFailureFired();
    std::vector<Queued> expected = {{7, 16, u"mine"}};
    if (!fired) expected.insert(expected.end(), queued.begin(), queued.end());
    EXPECT_EQ(fired ? E_OUTOFMEMORY : S_FALSE, result);
    EXPECT_EQ(expected, kztest::Entries(list));
    EXPECT_EQ(queued, QueueEntries());
  });
  EXPECT_EQ(3u, count);
}

// KZRaiseError with every field: a failed step publishes nothing and leaves
// the earlier object; what it allocated is freed (ASan).
TEST_F(ErrorOutOfMemory, KZRaiseError) {
  const unsigned count = kztest::ForEachFailingAllocation([&](unsigned) {
    {
      kztest::NoInjectedFailures setup;
      kztest::PublishMarker();
    }
    const HRESULT result = KZRaiseError(
        E_FAIL, 2, OLESTR("5$Text"), OLESTR("Origin"), OLESTR("code"),
        TestKey(22), 3, OLESTR("help"), OLESTR("source"));
    const bool fired = kztest::InjectedFailureFired();
    EXPECT_EQ(fired ? E_OUTOFMEMORY : S_OK, result);
    EXPECT_EQ(fired ? u"before" : u"Text_$S_2005-CODE-Origin_$E_",
              TakeErrorDescription());
  });
  EXPECT_GT(count, 0u);
}

}  // namespace
