// A first look at kzcommon: one text in two encodings, a catalog message,
// and a failure raised through the queue and read back as a message.
#include <kzcommon/kzcommon.h>

#include <cstdio>

// A component reports failures through CKZErrorHandling. With no catalog
// name of its own, its texts come from the library's own table.
class CParser : public CKZErrorHandling {
 protected:
  const WCHAR* GetCatalogName() override { return nullptr; }
  HRESULT OnMessage(CKZMsgString&) override { return S_OK; }
};

int main() {
  // Copies share one block; each encoding is built when first asked for.
  CKZString name(OLESTR("parser"));
  CKZString line = name + " ready";
  line.MakeUpperCase();
  std::printf("%s, %u characters\n", static_cast<const char*>(line),
              static_cast<unsigned>(line.Length()));

  // Texts by id from a catalog: the default one is the library's own.
  CKZCatalog catalog(OLESTR("kzcommon"));
  CKZString text;
  if (SUCCEEDED(catalog.GetMsg(text, 3, 2))) {
    std::printf("catalog: %s\n", static_cast<const char*>(text));
  }

  // A failure raised through the process-wide queue, read back as a
  // composite message (readable text plus a coded identification), then
  // cleared.
  CParser parser;
  parser.Raise(E_INVALIDARG);
  CKZErrorHandling::MessageList queue;
  CKZErrorHandling::GetMessageQueue(queue);
  for (const CKZErrorHandling::MessageInfo& info : queue) {
    CKZDetailMsgString message;
    message.FormatMsg(info.messageType, info.messageText, OLESTR("Parser"));
    std::printf("queued: %s (error %u)\n", static_cast<const char*>(message),
                static_cast<unsigned>(message.GetErrorNum()));
  }
  CKZErrorHandling::ClearMessageQueue();
  return 0;
}
