// Message maps from result codes to messages, and the process-wide store
// that holds them beside the library's own catalog, the default catalog
// "kzcommon".
//
// Maps are found by a GUID key; every object that gives one key shares its
// map. The all-zero key holds the default map of the common result codes.
// Nothing is ever removed or moved: a map, and an entry in it, stays at its
// address until the library is unloaded, so pointers to them stay valid.
// Nothing here is guarded; the callers serialise.
#ifndef KZCOMMON_ERRORS_MSG_MAP_H_
#define KZCOMMON_ERRORS_MSG_MAP_H_

#include <kzcommon/kzcatalog.h>
#include <kzcommon/wintypes.h>

#include <cstring>
#include <map>

struct MsgMapEntry {
  ULONG msgId;
  ULONG msgType;
};

class MsgMap {
 public:
  // Enters `code` unless it is there already, in which case the first entry
  // stays and the new values are dropped: S_OK either way. E_OUTOFMEMORY
  // with the map unchanged when the entry can't be allocated.
  [[nodiscard]] HRESULT AddEntry(HRESULT code, ULONG msgId, ULONG msgType);
  // S_OK with *entry pointing at the code's entry, or S_FALSE with *entry
  // untouched.
  HRESULT FindEntry(HRESULT code, const MsgMapEntry** entry) const;

 private:
  std::map<HRESULT, MsgMapEntry> entries;
};

// Keys are equal when all their 16 bytes are; any strict order on the bytes
// will do, as nothing shows it.
struct GuidBytesLess {
  bool operator()(const GUID& a, const GUID& b) const {
    return std::memcmp(&a, &b, sizeof(GUID)) < 0;
  }
};

class MsgMapStore {
 public:
  MsgMapStore();
  // The end routine: closes the default catalog, with the result ignored,
  // then destroys it, then all maps.
  ~MsgMapStore();
  MsgMapStore(const MsgMapStore&) = delete;
  MsgMapStore& operator=(const MsgMapStore&) = delete;

  // The map of `key` through *map: S_OK if it existed, S_FALSE if it was
  // created (empty), E_OUTOFMEMORY with the store unchanged and *map
  // untouched when it can't be.
  [[nodiscard]] HRESULT FindOrCreate(const GUID& key, MsgMap** map);
  // The default map, under the all-zero key, created and filled with its
  // rows in one step the first time: S_OK with *map set, or E_OUTOFMEMORY
  // with the store unchanged.
  [[nodiscard]] HRESULT FindDefault(MsgMap** map);

  // Every map of the process, by key.
  std::map<GUID, MsgMap, GuidBytesLess> maps;
  // The library's own module, by its bare name: LoadLibraryW finds it among
  // the modules the process has loaded, wherever it was loaded from. Asked
  // when a client's catalog answers E_FAIL.
  CKZCatalog defaultCatalog;
  // The client catalog of the last fetch. A raise builds a catalog of the
  // client's name each time; one of the same name starts as a copy of this,
  // which holds the module already, so the fetch skips the table's lock,
  // the name's hash and the lookup (and the copy of the name). A copy whose
  // module was closed meanwhile looks it up anew, as a new object would.
  CKZCatalog lastClientCatalog;
};

// library/globals.cpp: second of the module's process-wide objects.
extern MsgMapStore g_msgMapStore;

#endif  // KZCOMMON_ERRORS_MSG_MAP_H_
