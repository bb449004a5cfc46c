// The error-handling tests' client class, a fixture that starts every case
// from a clean queue, lock, map store and thread error object, and readers of
// what a raise left behind.
#ifndef KZCOMMON_TESTS_ERRORS_ERROR_TEST_SUPPORT_H_
#define KZCOMMON_TESTS_ERRORS_ERROR_TEST_SUPPORT_H_

#include <gtest/gtest.h>
#include <kzcommon/kzcommon.h>

#include <cstdio>
#include <initializer_list>
#include <string>
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

namespace kztest {

inline GUID TestKey(unsigned char n) {
  return GUID{0x6b7a0000u + n, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, n}};
}

inline std::string Narrow(const std::u16string& text) {
  return std::string(text.begin(), text.end());
}

// A client of kz_error_catalog (error_catalog.rc) that records what the
// library asks of it. Without a key it keeps the all-zero one.
class TestClient : public CKZErrorHandling {
 public:
  struct Entry {
    HRESULT code;
    ULONG msgId;
    ULONG msgType;
  };
  // OnCreateMsgMap adds `entries`, then gives onCreateResult.
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
    for (const Entry& entry : onCreateEntries) {
      const HRESULT hr = AddMsgMapEntry(entry.code, entry.msgId, entry.msgType);
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
    NoInjectedFailures record;  // the record is the test's own
    messages.push_back(Narrow(W(message)));
    return onMessageResult;
  }
  const GUID& GetMsgMapKey() override {
    return key == GUID_NULL ? CKZErrorHandling::GetMsgMapKey() : key;
  }
};

inline void Append(std::string& out, const std::string& item) {
  out += (out.empty() ? "" : " ") + item;
}
// Q(code,type,text) for each entry, in order.
inline std::string Describe(const CKZErrorHandling::MessageList& list) {
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

// The thread's error object, taken: its description, or "(none)". With
// `description`, also the other fields first, as "guid context file source
// description", the GUID as "key" (TestKey(42)), "null" or "other".
inline std::string TakeError(std::u16string* description = nullptr) {
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) return "(none)";
  std::string out;
  GUID guid = GUID_NULL;
  DWORD context = 0;
  if (description != nullptr && info->GetGUID(&guid) == S_OK &&
      info->GetHelpContext(&context) == S_OK) {
    out = guid == GUID_NULL ? "null " : guid == TestKey(42) ? "key " : "other ";
    out += std::to_string(context) + " ";
  }
  for (auto get : {&IErrorInfo::GetHelpFile, &IErrorInfo::GetSource,
                   &IErrorInfo::GetDescription}) {
    const bool field = get != &IErrorInfo::GetDescription;
    if (field && description == nullptr) continue;
    BSTR text = nullptr;
    out += (info->*get)(&text) == S_OK ? Narrow(W(text)) : "(failed)";
    out += field ? " " : "";
    if (!field && description != nullptr) *description = W(text);
    SysFreeString(text);
  }
  info->Release();
  return out;
}

// All a raise left: the queue, then P(the published description), then
// M(each composite given to OnMessage). Takes the error object.
inline std::string Outcome(const TestClient& client) {
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

// The state the library starts with, bar the catalog modules, which stay
// open as in a client. The maps go with the objects that point into them:
// each case makes its own objects.
inline void ResetErrorState() {
  CKZErrorHandling::ClearMessageQueue();
  g_errorLockOwner = nullptr;
  g_msgMapStore.maps.clear();
  static_cast<void>(TakeError());
}

class ErrorStateTest : public ::testing::Test {
 protected:
  void SetUp() override { ResetErrorState(); }
  void TearDown() override { ResetErrorState(); }
};

}  // namespace kztest

#endif  // KZCOMMON_TESTS_ERRORS_ERROR_TEST_SUPPORT_H_
