// Exhausted memory on the error-handling paths: each allocation fails in
// turn. A failed step reports E_OUTOFMEMORY and leaves the queue, the maps
// and the caller's outputs as they were; under ASan a leak fails too.
#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <optional>
#include <string>

#include "errors/error_test_support.h"
#include "support/alloc_failure.h"

namespace {

using kztest::ForEachFailingAllocation;
using kztest::InjectedFailureFired;
using kztest::NoInjectedFailures;
using kztest::Outcome;
using kztest::TestClient;

class ErrorOutOfMemory : public kztest::ErrorStateTest {
 protected:
  // Both catalogs open before the counting, as they stay open in a client.
  void SetUp() override {
    TestClient warm;
    ASSERT_EQ(S_OK, warm.Raise(E_POINTER));
    ASSERT_EQ(S_OK, warm.Log(4, 1u));
    kztest::ResetErrorState();
  }
};

// Raise(hr) through a fresh default map or own map, Log queued or to
// OnMessage, AddMsgMapEntry and KZRaiseError: a failed step leaves the
// fallback's message alone (Log has no fallback), the earlier error object,
// each map whole or absent, the object pointing at no map that isn't in the
// store, and OnCreateMsgMap run once in all.
TEST_F(ErrorOutOfMemory, RaiseLogAndMaps) {
  enum { kRaise, kLog, kAddEntry, kPublish };
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
  };
  const GUID key = kztest::TestKey(20);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const unsigned count = ForEachFailingAllocation([&](unsigned) {
      std::optional<TestClient> client;
      {
        NoInjectedFailures setup;
        kztest::ResetErrorState();
        client.emplace(
            row.keyed ? &key : nullptr,
            std::initializer_list<TestClient::Entry>{{E_FAIL, 102, 2}});
        if (row.queueOff) client->DisableMessageQueue();
        if (row.op == kPublish) {
          ASSERT_EQ(S_OK, KZRaiseError(E_FAIL, 2, OLESTR("before")));
        }
      }
      HRESULT result = E_NOTIMPL;
      if (row.op == kRaise) result = client->Raise(E_FAIL);
      if (row.op == kLog) result = client->Log(4, 100u, OLESTR("a"));
      if (row.op == kAddEntry) result = client->AddMsgMapEntry(E_HANDLE, 1, 4);
      if (row.op == kPublish) {
        result = KZRaiseError(E_FAIL, 2, OLESTR("5$Text"), OLESTR("Origin"),
                              OLESTR("code"), kztest::TestKey(22), 3,
                              OLESTR("help"), OLESTR("source"));
      }
      const bool fired = InjectedFailureFired();
      EXPECT_EQ(fired ? E_OUTOFMEMORY : S_OK, result);
      EXPECT_EQ(fired ? row.failed : row.done, Outcome(*client));
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

// GetMessageQueue into a list that holds an entry: a copy that fails leaves
// that entry alone in the list, and the queue whole.
TEST_F(ErrorOutOfMemory, GetMessageQueue) {
  TestClient client;
  ASSERT_EQ(S_OK, client.Log(4, OLESTR("a")));
  ASSERT_EQ(S_OK, client.Log(2, OLESTR("b")));
  const std::string queued = "Q(0,4,a) Q(0,2,b)";
  const unsigned count = ForEachFailingAllocation([&](unsigned) {
    CKZErrorHandling::MessageList list;
    {
      NoInjectedFailures setup;
      ASSERT_TRUE(list.PushBack({7, 16, CKZString(OLESTR("mine"))}));
    }
    const HRESULT result = CKZErrorHandling::GetMessageQueue(list);
    const bool fired = InjectedFailureFired();
    EXPECT_EQ(fired ? E_OUTOFMEMORY : S_FALSE, result);
    EXPECT_EQ(fired ? "Q(7,16,mine)" : "Q(7,16,mine) " + queued,
              kztest::Describe(list));
    EXPECT_EQ(queued, Outcome(client));
  });
  EXPECT_EQ(2u, count);
}

}  // namespace
