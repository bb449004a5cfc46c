// kzcommon error handling, seen from a component and from its caller: the
// example program runs it, and so does `kzmsg demo`.
//
// CInventory reports through CKZErrorHandling with its own catalog,
// kzmsg_demo_messages (messages.rc), which is installed beside kzmsg. It
// raises through the process-wide queue, logs, reads and clears the queue,
// then turns its queue off and publishes an error on the thread's error
// object, which the caller reads back as the caller of a component would. Every
// line shows a result or a text that the library gave back.
#include "inventory.h"

#include <kzcommon/kzcommon.h>

#include <cstdint>
#include <cstdio>

namespace {

// The ids of the example's catalog (messages.rc).
constexpr ULONG kOutOfStock = 1;
constexpr ULONG kRestocked = 2;
constexpr ULONG kBadQuantity = 3;

// Message types: 2 is an error, 4 a note.
constexpr ULONG kError = 2;
constexpr ULONG kNote = 4;

// Wide text as the multibyte form, for printing; the example's texts are
// ASCII.
const char* Text(const CKZString& text) {
  const char* mbs = text;
  return mbs != nullptr ? mbs : "(null)";
}

unsigned long Code(HRESULT hr) {
  return static_cast<unsigned long>(static_cast<std::uint32_t>(hr));
}

class CInventory : public CKZErrorHandling {
 public:
  // A failure reported the usual way: raise, then return the code.
  HRESULT Take(const WCHAR* item, int quantity) {
    if (quantity <= 0) return Report(E_INVALIDARG);
    std::printf("  Raise(E_FAIL, 2, out of stock) = 0x%08lX\n",
                Code(Raise(E_FAIL, kError, kOutOfStock, item)));
    return E_FAIL;
  }
  HRESULT Restock(int shelf) {
    std::printf("  Log(4, restocked) = 0x%08lX\n",
                Code(Log(kNote, kRestocked, shelf)));
    return S_OK;
  }
  HRESULT Report(HRESULT hr) {
    std::printf("  Raise(0x%08lX) = 0x%08lX\n", Code(hr), Code(Raise(hr)));
    return hr;
  }

  // The map of this class: E_INVALIDARG gets the example's own text.
  HRESULT OnCreateMsgMap() override {
    return AddMsgMapEntry(E_INVALIDARG, kBadQuantity, kError);
  }

 protected:
  const WCHAR* GetCatalogName() override {
    return OLESTR("kzmsg_demo_messages");
  }
  // Notes, while the queue is off.
  HRESULT OnMessage(CKZMsgString& message) override {
    CKZString simple;
    message.BuildSimpleMessage(simple);
    std::printf("  OnMessage: \"%s\" (error number %lu)\n", Text(simple),
                static_cast<unsigned long>(message.GetErrorNum()));
    return S_OK;
  }
  const GUID& GetMsgMapKey() override {
    static const GUID kKey = {0x5a0c9e21,
                              0x7d3b,
                              0x4f8e,
                              {0x9a, 0x61, 0x2b, 0x4c, 0x11, 0x7e, 0x3d, 0x08}};
    return kKey;
  }
};

// What the queue holds, as a caller reads it: the raw entries, and the
// message text of each as a composite gives it back.
void ShowQueue() {
  CKZErrorHandling::MessageList messages;
  const HRESULT hr = CKZErrorHandling::GetMessageQueue(messages);
  std::printf("  GetMessageQueue = 0x%08lX, %lu entries\n", Code(hr),
              static_cast<unsigned long>(messages.Size()));
  for (const CKZErrorHandling::MessageInfo& m : messages) {
    CKZMsgString composite;
    CKZString simple;
    composite.FormatMsg(m.messageType, m.messageText);
    composite.BuildSimpleMessage(simple);
    std::printf("    code 0x%08lX type %lu \"%s\" -> \"%s\"\n",
                Code(m.resultCode), static_cast<unsigned long>(m.messageType),
                Text(m.messageText), Text(simple));
  }
}

// The thread's error object, as the caller of a component reads it.
void ShowErrorObject() {
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || info == nullptr) {
    std::printf("  no error object\n");
    return;
  }
  BSTR description = nullptr;
  info->GetDescription(&description);
  const CKZString composite(static_cast<const WCHAR*>(description));
  CKZSimpleMsgString simple;
  static_cast<CKZMsgString&>(simple) = composite;
  CKZDetailMsgString detail;
  static_cast<CKZMsgString&>(detail) = composite;
  std::printf("  description \"%s\"\n", Text(composite));
  std::printf("  simple      \"%s\"\n",
              Text(CKZString(static_cast<const WCHAR*>(simple))));
  std::printf("  detail      \"%s\"\n",
              Text(CKZString(static_cast<const WCHAR*>(detail))));
  SysFreeString(description);
  info->Release();
}

}  // namespace

int RunInventoryExample() {
  CInventory inventory;

  std::printf("1. Queue on: a bad quantity, through the class's own map\n");
  inventory.Take(OLESTR("widget"), 0);
  std::printf("2. The queued error closes the gate for every raise\n");
  inventory.Take(OLESTR("widget"), 3);
  std::printf("3. A log passes the gate\n");
  inventory.Restock(7);
  std::printf("4. The caller reads the queue\n");
  ShowQueue();
  std::printf("5. Clearing reopens the gate\n");
  const HRESULT cleared = CKZErrorHandling::ClearMessageQueue();
  std::printf(
      "  ClearMessageQueue = 0x%08lX, size %lu\n", Code(cleared),
      static_cast<unsigned long>(CKZErrorHandling::GetMessageQueueSize()));
  inventory.Report(E_OUTOFMEMORY);
  ShowQueue();
  CKZErrorHandling::ClearMessageQueue();

  std::printf("6. Queue off: the error goes to the thread's error object\n");
  inventory.DisableMessageQueue();
  inventory.Take(OLESTR("gadget"), 2);
  ShowErrorObject();
  std::printf("7. Queue off: a note goes to OnMessage\n");
  inventory.Restock(9);
  std::printf(
      "  queue size %lu\n",
      static_cast<unsigned long>(CKZErrorHandling::GetMessageQueueSize()));
  return 0;
}
