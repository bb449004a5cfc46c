// Raising and logging: the gate, the resolution of a result code, the text
// from the client's catalog or the default one, the fallback, the error lock
// and publication on the thread's error object.
#include <kzcommon/kzcatalog.h>
#include <kzcommon/kzerrorhandling.h>
#include <kzcommon/kzmsgstring.h>

#include <atomic>

#include "platform/platform.h"

#include "errors/error_lock.h"
#include "errors/message_queue.h"
#include "errors/msg_map.h"

namespace {

// The fallback's message: "Unexpected failure.", an error.
constexpr ULONG kFallbackMsgId = 8;
constexpr ULONG kFallbackType = 2;

// Whether `text` is the wide text of `name`, unit for unit.
bool SameName(const CKZString& name, const WCHAR* text) {
  const WCHAR* units = name;
  if (units == nullptr || text == nullptr) return false;
  while (*units != 0 && *units == *text) {
    ++units;
    ++text;
  }
  return *units == *text;
}

}  // namespace

CKZErrorHandling::~CKZErrorHandling() = default;

HRESULT CKZErrorHandling::OnCreateMsgMap() { return S_OK; }

const GUID& CKZErrorHandling::GetMsgMapKey() { return GUID_NULL; }

HRESULT CKZErrorHandling::GetMsgMap(const GUID& key, MsgMap** map) {
  if (msgMap == nullptr) {
    // msgMap is set before OnCreateMsgMap runs, so that its AddMsgMapEntry
    // calls find the new map instead of creating it again.
    const HRESULT found = g_msgMapStore.FindOrCreate(key, &msgMap);
    if (found < 0) return found;
    if (found == S_FALSE) {
      const HRESULT created = OnCreateMsgMap();
      if (created < 0) return created;
    }
  }
  *map = msgMap;
  return S_OK;
}

HRESULT CKZErrorHandling::AddMsgMapEntry(HRESULT code, ULONG msgId,
                                         ULONG msgType) {
  // A copy: the client's reference need not outlive the call it came from.
  const GUID key = GetMsgMapKey();
  if (key == GUID_NULL) return E_UNEXPECTED;
  MsgMap* map = nullptr;
  const HRESULT result = GetMsgMap(key, &map);
  if (result < 0) return result;
  return map->AddEntry(code, msgId, msgType);
}

HRESULT CKZErrorHandling::ResolveCode(HRESULT hr, ULONG* msgId,
                                      ULONG* msgType) {
  const MsgMapEntry* entry = nullptr;
  const GUID key = GetMsgMapKey();
  if (!(key == GUID_NULL)) {
    MsgMap* map = nullptr;
    const HRESULT result = GetMsgMap(key, &map);
    if (result < 0) return result;
    static_cast<void>(map->FindEntry(hr, &entry));
  }
  if (entry == nullptr) {
    MsgMap* defaults = nullptr;
    const HRESULT result = g_msgMapStore.FindDefault(&defaults);
    if (result < 0) return result;
    if (defaults->FindEntry(hr, &entry) != S_OK) return S_FALSE;
  }
  *msgId = entry->msgId;
  *msgType = entry->msgType;
  return S_OK;
}

bool CKZErrorHandling::PassesGate(HRESULT hr) const {
  if ((flags & ErrorHandlingOn) == 0) return false;
  if (HasErrorRaised()) return false;
  if (hr >= 0) return false;
  return g_errorLockOwner == nullptr || g_errorLockOwner == this;
}

HRESULT CKZErrorHandling::FetchText(CKZString& out, ULONG msgId,
                                    va_list* args) {
  const WCHAR* name = GetCatalogName();
  CKZString text;
  // A null or empty name opens nothing: E_FAIL, as a catalog of it gives.
  HRESULT result = E_FAIL;
  if (name != nullptr && name[0] != 0) {
    CKZCatalog& last = g_msgMapStore.lastClientCatalog;
    const bool known = SameName(last.name, name);
    CKZCatalog catalog(known ? last : CKZCatalog(name));
    // A name that couldn't be copied would open nothing and hand the id to
    // the default catalog, whose text is not the client's.
    if (catalog.name.IsNull()) return E_OUTOFMEMORY;
    // GetMsgEx reads its own copy of *args, so the second call starts at
    // the first argument as the first did.
    result = catalog.GetMsgEx(text, msgId, args);
    // Keeps the name and the module found, when they are new: sharing, no
    // allocation.
    if (!known || catalog.moduleGeneration.load(std::memory_order_relaxed) !=
                      last.moduleGeneration.load(std::memory_order_relaxed)) {
      last = catalog;
    }
  }
  if (result == E_FAIL) {
    result = g_msgMapStore.defaultCatalog.GetMsgEx(text, msgId, args);
  }
  if (result < 0) return result;
  out = text;
  return S_OK;
}

HRESULT CKZErrorHandling::RaiseError(HRESULT hr, ULONG type, ULONG msgId,
                                     va_list* args) {
  CKZString text;
  HRESULT result = FetchText(text, msgId, args);
  if (result < 0) return result;
  result = AddMsgToQueue(hr, type, text, &text);
  return result < 0 ? result : S_OK;
}

void CKZErrorHandling::RaiseFallback() {
  // Neither reported nor repeated: the caller has the original failure.
  static_cast<void>(
      RaiseError(E_UNEXPECTED, kFallbackType, kFallbackMsgId, nullptr));
}

HRESULT CKZErrorHandling::Raise(HRESULT hr) {
  if (!PassesGate(hr)) return S_FALSE;
  ULONG msgId = 0;
  ULONG msgType = 0;
  HRESULT result = ResolveCode(hr, &msgId, &msgType);
  if (result == S_OK) {
    // No arguments: the mapped text is taken as it stands.
    result = RaiseError(hr, msgType, msgId, nullptr);
    if (result >= 0) return S_OK;
  } else if (result == S_FALSE) {
    result = E_UNEXPECTED;
  }
  RaiseFallback();
  return result;
}

HRESULT CKZErrorHandling::Raise(HRESULT hr, ULONG type, ULONG msgId, ...) {
  if (!PassesGate(hr)) return S_FALSE;
  va_list args;
  va_start(args, msgId);
  const HRESULT result = RaiseError(hr, type, msgId, &args);
  va_end(args);
  if (result >= 0) return S_OK;
  RaiseFallback();
  return E_UNEXPECTED;
}

HRESULT CKZErrorHandling::Raise(HRESULT hr, ULONG type, const WCHAR* text) {
  if (text == nullptr) return E_POINTER;
  if (!PassesGate(hr)) return S_FALSE;
  const HRESULT result = AddMsgToQueue(hr, type, text);
  return result < 0 ? result : S_OK;
}

HRESULT CKZErrorHandling::Log(ULONG type, ULONG msgId, ...) {
  va_list args;
  va_start(args, msgId);
  CKZString text;
  HRESULT result = FetchText(text, msgId, &args);
  va_end(args);
  if (result < 0) return result;
  result = AddMsgToQueue(0, type, text, &text);
  return result < 0 ? result : S_OK;
}

HRESULT CKZErrorHandling::Log(ULONG type, const WCHAR* text) {
  if (text == nullptr) return E_POINTER;
  const HRESULT result = AddMsgToQueue(0, type, text);
  return result < 0 ? result : S_OK;
}

CKZErrorHandling::CKZErrorLock::CKZErrorLock(const CKZErrorHandling* object)
    : lockedObject(object) {
  if (g_errorLockOwner == nullptr) g_errorLockOwner = object;
}

CKZErrorHandling::CKZErrorLock::~CKZErrorLock() {
  if (g_errorLockOwner == lockedObject) g_errorLockOwner = nullptr;
}

CKZErrorHandling::CKZErrorLock& CKZErrorHandling::CKZErrorLock::operator=(
    const CKZErrorLock& other) {
  lockedObject = other.lockedObject;
  return *this;
}

HRESULT KZRaiseError(HRESULT hr, ULONG type, const WCHAR* text,
                     const WCHAR* origin, const WCHAR* originCode,
                     const GUID& guid, ULONG helpContext, const WCHAR* helpFile,
                     const WCHAR* source) {
  if (text == nullptr) return E_POINTER;
  if (type != 1 && type != 2 && hr >= 0) return E_INVALIDARG;
  HRESULT result = S_OK;
  BSTR description = nullptr;
  ICreateErrorInfo* create = nullptr;
  IErrorInfo* info = nullptr;
  {
    CKZMsgString message;
    result = message.FormatMsg(type, text, origin, originCode);
    if (result >= 0) {
      description = message.AllocBSTR();
      // The composite is never null: no copy means no memory.
      if (description == nullptr) result = E_OUTOFMEMORY;
    }
    if (result >= 0) result = CreateErrorInfo(&create);
    if (result >= 0) {
      // The text fields are copies, which can run out of memory: then
      // nothing is published rather than an error without its text.
      result = create->SetDescription(description);
      static_cast<void>(create->SetGUID(guid));
      static_cast<void>(create->SetHelpContext(helpContext));
      const HRESULT file = create->SetHelpFile(const_cast<LPOLESTR>(helpFile));
      const HRESULT from = create->SetSource(const_cast<LPOLESTR>(source));
      if (result >= 0) result = file < 0 ? file : from;
    }
    if (result >= 0) {
      // Without the interface the thread is left with no error object.
      static_cast<void>(create->QueryInterface(
          IID_IErrorInfo, reinterpret_cast<void**>(&info)));
      static_cast<void>(SetErrorInfo(0, info));
      result = S_OK;
    }
  }  // the message string goes first
  SysFreeString(description);
  if (info != nullptr) info->Release();
  if (create != nullptr) create->Release();
  return result;
}
