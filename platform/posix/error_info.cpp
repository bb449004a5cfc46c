// The per-thread error object: one struct answers both IErrorInfo and
// ICreateErrorInfo, and a thread_local slot holds the thread's current object.
#include <atomic>
#include <new>

#include "platform/platform.h"

namespace {

// The text fields are kept as BSTRs, so that a setter can fail without
// throwing and a getter's copy is one SysAllocString.
struct ErrorObject final : IErrorInfo, ICreateErrorInfo {
  // The object may be handed from one thread to another, and Windows counts
  // interlocked, so this count is atomic, unlike a string block's.
  std::atomic<ULONG> refCount{1};
  GUID guid = GUID_NULL;
  BSTR source = nullptr;
  BSTR description = nullptr;
  BSTR helpFile = nullptr;
  DWORD helpContext = 0;

  ErrorObject() = default;
  ErrorObject(const ErrorObject&) = delete;
  ErrorObject& operator=(const ErrorObject&) = delete;
  ~ErrorObject() {
    SysFreeString(source);
    SysFreeString(description);
    SysFreeString(helpFile);
  }

  // QueryInterface
  //
  // PARAMS   iid [I] interface wanted; object [O] receives it, with a
  //          reference of its own
  // RETURNS  S_OK; E_NOINTERFACE (and null stored) for another interface;
  //          E_POINTER for a null object
  // NOTES    Both interfaces give the same IUnknown, as identity requires.
  //          Under Wine a null object crashes, so no test covers it.
  HRESULT QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IErrorInfo) {
      *object = static_cast<IErrorInfo*>(this);
    } else if (iid == IID_ICreateErrorInfo) {
      *object = static_cast<ICreateErrorInfo*>(this);
    } else {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }

  ULONG AddRef() override { return ++refCount; }

  ULONG Release() override {
    ULONG count = --refCount;
    if (count == 0) delete this;
    return count;
  }

  HRESULT GetGUID(GUID* out) override {
    if (out == nullptr) return E_INVALIDARG;
    *out = guid;
    return S_OK;
  }
  HRESULT GetSource(BSTR* out) override { return CopyOut(source, out); }
  HRESULT GetDescription(BSTR* out) override {
    return CopyOut(description, out);
  }
  HRESULT GetHelpFile(BSTR* out) override { return CopyOut(helpFile, out); }
  HRESULT GetHelpContext(DWORD* out) override {
    if (out == nullptr) return E_INVALIDARG;
    *out = helpContext;
    return S_OK;
  }

  HRESULT SetGUID(REFGUID value) override {
    guid = value;
    return S_OK;
  }
  HRESULT SetSource(LPOLESTR text) override { return CopyIn(text, &source); }
  HRESULT SetDescription(LPOLESTR text) override {
    return CopyIn(text, &description);
  }
  HRESULT SetHelpFile(LPOLESTR text) override {
    return CopyIn(text, &helpFile);
  }
  HRESULT SetHelpContext(DWORD value) override {
    helpContext = value;
    return S_OK;
  }

  // A fresh BSTR of the field for the caller; null for a field never set,
  // as the Windows build gives with S_OK. Exhausted memory leaves *out alone.
  static HRESULT CopyOut(BSTR field, BSTR* out) {
    if (out == nullptr) return E_INVALIDARG;
    BSTR copy = SysAllocString(field);
    if (copy == nullptr && field != nullptr) return E_OUTOFMEMORY;
    *out = copy;
    return S_OK;
  }

  // The old text stays until the copy exists: a failed setter changes
  // nothing. An empty text is kept as empty, a null one clears the field.
  static HRESULT CopyIn(LPOLESTR text, BSTR* field) {
    BSTR copy = SysAllocString(text);
    if (copy == nullptr && text != nullptr) return E_OUTOFMEMORY;
    SysFreeString(*field);
    *field = copy;
    return S_OK;
  }
};

// The thread's reference to its error object, given up when the thread ends.
struct ThreadSlot {
  IErrorInfo* info = nullptr;
  ThreadSlot() = default;
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;
  ~ThreadSlot() {
    // Cleared first: the object's destructor may call back into this file.
    IErrorInfo* old = info;
    info = nullptr;
    if (old != nullptr) old->Release();
  }
};

thread_local ThreadSlot t_slot;

}  // namespace

// CreateErrorInfo
//
// PARAMS   info [O] receives the new object's ICreateErrorInfo, holding the
//          only reference
// RETURNS  S_OK; E_INVALIDARG for a null info; E_OUTOFMEMORY
// NOTES    Every field starts unset: null texts, GUID_NULL, context 0.
HRESULT CreateErrorInfo(ICreateErrorInfo** info) {
  if (info == nullptr) return E_INVALIDARG;
  ErrorObject* object = new (std::nothrow) ErrorObject;
  if (object == nullptr) return E_OUTOFMEMORY;
  *info = object;
  return S_OK;
}

// SetErrorInfo
//
// PARAMS   reserved [I] must be 0; info [I] the thread's new error object, or
//          null to leave the thread without one
// RETURNS  S_OK; E_INVALIDARG for a reserved value other than 0, and the
//          slot is then unchanged (tests/platform/error_info_test.cpp)
// NOTES    The new object is referenced before the old one is released, so
//          setting the current object again keeps it alive even when the
//          slot holds its only reference. Wine releases first and frees it
//          there, so only the case with a caller's reference is tested.
HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info) {
  if (reserved != 0) return E_INVALIDARG;
  if (info != nullptr) info->AddRef();
  IErrorInfo* old = t_slot.info;
  t_slot.info = info;
  if (old != nullptr) old->Release();
  return S_OK;
}

// GetErrorInfo
//
// PARAMS   reserved [I] must be 0; info [O] receives the thread's object
//          with the slot's reference, or null
// RETURNS  S_OK with the object, the slot now empty; S_FALSE and null stored
//          when the thread has none; E_INVALIDARG for a reserved value other
//          than 0 or a null info, with *info and the slot unchanged, as the
//          Windows build does
HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info) {
  if (reserved != 0 || info == nullptr) return E_INVALIDARG;
  *info = t_slot.info;
  t_slot.info = nullptr;
  return *info != nullptr ? S_OK : S_FALSE;
}
