// The message list, the queue operations and the delivery of a message.
#include "errors/message_queue.h"

#include <kzcommon/kzerrorhandling.h>

#include <new>

bool CKZErrorHandling::MessageList::PushBack(const MessageInfo& info) {
  // Copying the entry shares the text's block: the node is the only
  // allocation.
  Node* node = new (std::nothrow) Node{{head.prev, &head}, info};
  if (node == nullptr) return false;
  head.prev->next = node;
  head.prev = node;
  return true;
}

void CKZErrorHandling::MessageList::Clear() {
  Link* link = head.next;
  // Unlinked first: an entry's destruction can't see a half-cleared list.
  head.prev = head.next = &head;
  while (link != &head) {
    Link* next = link->next;
    delete static_cast<Node*>(link);
    link = next;
  }
}

ULONG CKZErrorHandling::MessageList::Size() const {
  ULONG count = 0;
  for (const Link* link = head.next; link != &head; link = link->next) ++count;
  return count;
}

void CKZErrorHandling::MessageList::SpliceBack(MessageList& other) {
  if (other.IsEmpty()) return;
  Link* first = other.head.next;
  Link* last = other.head.prev;
  first->prev = head.prev;
  head.prev->next = first;
  last->next = &head;
  head.prev = last;
  other.head.prev = other.head.next = &other.head;
}

HRESULT CKZErrorHandling::GetMessageQueue(MessageList& out) {
  // Copied aside and then linked in whole: a copy that can't be made
  // leaves `out` as it was.
  MessageList copies;
  for (const MessageInfo& info : g_messageQueue) {
    if (!copies.PushBack(info)) return E_OUTOFMEMORY;
  }
  out.SpliceBack(copies);
  return S_FALSE;
}

HRESULT CKZErrorHandling::ClearMessageQueue() {
  g_messageQueue.Clear();
  return S_OK;
}

ULONG CKZErrorHandling::GetMessageQueueSize() { return g_messageQueue.Size(); }

bool CKZErrorHandling::HasErrorRaised() {
  for (const MessageInfo& info : g_messageQueue) {
    if (info.messageType == 1 || info.messageType == 2) return true;
  }
  return false;
}

HRESULT CKZErrorHandling::AddMsgToQueue(HRESULT hr, ULONG type,
                                        const WCHAR* text,
                                        const CKZString* shared) {
  if (text == nullptr) return E_POINTER;
  if ((flags & MessageQueueOn) == 0) {
    const HRESULT result = ProcessMessage(hr, type, text, nullptr, nullptr);
    return result < 0 ? result : S_OK;
  }
  MessageInfo info{hr, type, shared != nullptr ? *shared : CKZString(text)};
  // A text that couldn't be copied is a null string.
  if (info.messageText.IsNull()) return E_OUTOFMEMORY;
  return g_messageQueue.PushBack(info) ? S_OK : E_OUTOFMEMORY;
}

HRESULT CKZErrorHandling::ProcessMessage(HRESULT hr, ULONG type,
                                         const WCHAR* text, const WCHAR* origin,
                                         const WCHAR* originCode) {
  if (type == 1 || type == 2) {
    // The error object is the caller's to read; the raise has done its part
    // whether or not publication succeeded.
    static_cast<void>(KZRaiseError(hr, type, text, origin, originCode));
    return S_OK;
  }
  CKZMsgString message;
  HRESULT result = message.FormatMsg(type, text, origin, originCode);
  if (result < 0) return result;
  result = OnMessage(message);
  return result < 0 ? result : S_OK;
}
