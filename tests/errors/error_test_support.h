// The error-handling tests' client class, a fixture that starts every case
// from a clean queue, lock, map store and thread error object, and readers of
// what a raise left behind.
#ifndef KZCOMMON_TESTS_ERRORS_ERROR_TEST_SUPPORT_H_
#define KZCOMMON_TESTS_ERRORS_ERROR_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <string>
#include <vector>

#include "errors/error_lock.h"
#include "errors/message_queue.h"
#include "errors/msg_map.h"
#include "support/alloc_failure.h"
#include "test_support.h"

// Reaches the object's switches and map.
struct CKZErrorHandlingTestAccess {
  static ULONG Flags(const CKZErrorHandling& object) { return object.flags; }
  static const MsgMap* Map(const CKZErrorHandling& object) {
    return object.msgMap;
  }
};

namespace kztest {

// The test client's own catalog module (tests/errors/error_catalog.rc).
inline const WCHAR* ClientCatalog() { return OLESTR("kz_error_catalog"); }

// A key of the tests' own, one per number.
inline GUID TestKey(unsigned char n) {
  return GUID{0x6b7a0000u + n, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, n}};
}

// A client that records what the library asks of it. With a null key it
// keeps the base class's all-zero key.
class TestClient : public CKZErrorHandling {
 public:
  explicit TestClient(const WCHAR* catalog = ClientCatalog(),
                      const GUID* key = nullptr)
      : catalogName(catalog), hasKey(key != nullptr), key_(GUID_NULL) {
    if (key != nullptr) key_ = *key;
  }

  // Configuration.
  const WCHAR* catalogName;
  bool hasKey;
  HRESULT onMessageResult = S_OK;
  HRESULT onCreateResult = S_OK;
  // Entries that OnCreateMsgMap adds before it returns.
  struct Entry {
    HRESULT code;
    ULONG msgId;
    ULONG msgType;
  };
  std::vector<Entry> onCreateEntries;

  // What happened.
  int catalogCalls = 0;
  int keyCalls = 0;
  int createCalls = 0;
  std::vector<std::u16string> messages;  // OnMessage's composites

  // A later key, which the object never reads once it has its map.
  void SetKey(const GUID& key) {
    hasKey = true;
    key_ = key;
  }

 protected:
  const WCHAR* GetCatalogName() override {
    ++catalogCalls;
    return catalogName;
  }
  HRESULT OnMessage(CKZMsgString& message) override {
    // The record is the test's, not the library's: never made to fail.
    NoInjectedFailures record;
    messages.push_back(W(message));
    return onMessageResult;
  }
  const GUID& GetMsgMapKey() override {
    ++keyCalls;
    return hasKey ? key_ : CKZErrorHandling::GetMsgMapKey();
  }

 public:
  HRESULT OnCreateMsgMap() override {
    ++createCalls;
    for (const Entry& entry : onCreateEntries) {
      const HRESULT hr = AddMsgMapEntry(entry.code, entry.msgId, entry.msgType);
      if (hr < 0) return hr;
    }
    return onCreateResult;
  }

 private:
  GUID key_;
};

// One queue entry as the tests compare it.
struct Queued {
  HRESULT code;
  ULONG type;
  std::u16string text;
  bool operator==(const Queued& o) const {
    return code == o.code && type == o.type && text == o.text;
  }
};
inline void PrintTo(const Queued& q, std::ostream* os) {
  *os << "{0x" << std::hex << static_cast<unsigned long>(q.code) << std::dec
      << ", " << q.type << ", \"" << std::string(q.text.begin(), q.text.end())
      << "\"}";
}

inline std::vector<Queued> Entries(const CKZErrorHandling::MessageList& list) {
  std::vector<Queued> out;
  for (const CKZErrorHandling::MessageInfo& info : list) {
    out.push_back({info.resultCode, info.messageType, W(info.messageText)});
  }
  return out;
}

// The queue's entries, read through the public operation.
inline std::vector<Queued> QueueEntries() {
  CKZErrorHandling::MessageList list;
  EXPECT_EQ(S_FALSE, CKZErrorHandling::GetMessageQueue(list));
  return Entries(list);
}

// The thread's error object, taken: its description, or "(none)".
inline std::u16string TakeErrorDescription() {
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return u"(none)";
  BSTR text = nullptr;
  std::u16string out = u"(failed)";
  if (info->GetDescription(&text) == S_OK) out = W(text);
  SysFreeString(text);
  info->Release();
  return out;
}

// Publishes an error with the description "before", to show one left alone.
inline void PublishMarker() {
  ICreateErrorInfo* create = nullptr;
  ASSERT_EQ(S_OK, CreateErrorInfo(&create));
  create->SetDescription(const_cast<LPOLESTR>(OLESTR("before")));
  IErrorInfo* info = nullptr;
  create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
  SetErrorInfo(0, info);
  info->Release();
  create->Release();
}

// The process-wide state back to what the library starts with (bar the
// catalog modules, which stay open as they would in a client): every case
// starts from an empty queue and map store, no lock owner and no error
// object on the thread. The maps go with the objects that point into them:
// each case makes its own objects.
inline void ResetErrorState() {
  CKZErrorHandling::ClearMessageQueue();
  g_errorLockOwner = nullptr;
  g_msgMapStore.maps.clear();
  static_cast<void>(TakeErrorDescription());
}

class ErrorStateTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetErrorState(); }
  void TearDown() override { ResetErrorState(); }
};

}  // namespace kztest

#endif  // KZCOMMON_TESTS_ERRORS_ERROR_TEST_SUPPORT_H_
