// Message maps and their store.
#include "errors/msg_map.h"

#include <iterator>
#include <new>
#include <utility>

#include "catalogs/module_cache.h"

namespace {

// The common result codes, each with its text in the library's own table.
// None of those texts takes an argument: Raise(hr) passes none.
constexpr ULONG kDefaultType = 2;
constexpr struct {
  HRESULT code;
  ULONG msgId;
} kDefaultRows[] = {
    {E_FAIL, 1},
    {E_INVALIDARG, 29},
    {E_OUTOFMEMORY, 4},
    {E_NOINTERFACE, 5},
    {E_POINTER, 6},
    {E_NOTIMPL, 7},
    {E_UNEXPECTED, 8},
    {E_HANDLE, 9},
    {E_ABORT, 10},
    {E_ACCESSDENIED, 11},
    {DISP_E_UNKNOWNINTERFACE, 12},
    {DISP_E_MEMBERNOTFOUND, 13},
    {DISP_E_TYPEMISMATCH, 14},
    {DISP_E_PARAMNOTFOUND, 15},
    {STG_E_SHAREVIOLATION, 31},
    {DISP_E_BADVARTYPE, 39},
};

}  // namespace

HRESULT MsgMap::AddEntry(HRESULT code, ULONG msgId, ULONG msgType) {
  try {
    entries.emplace(code, MsgMapEntry{msgId, msgType});
  } catch (const std::bad_alloc&) {
    // A node that can't be made was never linked: the map is as it was.
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT MsgMap::FindEntry(HRESULT code, const MsgMapEntry** entry) const {
  const auto found = entries.find(code);
  if (found == entries.end()) return S_FALSE;
  *entry = &found->second;
  return S_OK;
}

// Built before g_initialBlockSize is read, so the name's block has a
// capacity of exactly its length.
MsgMapStore::MsgMapStore() : defaultCatalog(OLESTR("kzcommon")) {}

MsgMapStore::~MsgMapStore() {
  // The library is being unloaded: a thread that the ending process stopped
  // in the middle of a fetch would never release its pin, and waiting for
  // it would hang the unload.
  g_catalogCache.StopWaitingForPins();
  static_cast<void>(defaultCatalog.Close());
}

HRESULT MsgMapStore::FindOrCreate(const GUID& key, MsgMap** map) {
  auto found = maps.lower_bound(key);
  if (found != maps.end() && !GuidBytesLess()(key, found->first)) {
    *map = &found->second;
    return S_OK;
  }
  try {
    found = maps.emplace_hint(found, key, MsgMap());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  *map = &found->second;
  return S_FALSE;
}

HRESULT MsgMapStore::FindDefault(MsgMap** map) {
  // The all-zero key sorts first: the default map, if made, is the first.
  auto found = maps.begin();
  if (found != maps.end() && found->first == GUID_NULL) {
    *map = &found->second;
    return S_OK;
  }
  // Filled aside and moved in: a row that can't be made leaves no half
  // map behind for the next resolution to take as complete.
  MsgMap rows;
  for (const auto& row : kDefaultRows) {
    if (rows.AddEntry(row.code, row.msgId, kDefaultType) != S_OK) {
      return E_OUTOFMEMORY;
    }
  }
  try {
    found = maps.emplace_hint(found, GUID_NULL, std::move(rows));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  *map = &found->second;
  return S_OK;
}
