// The store of message maps: so far the default catalog.
#include "errors/msg_map.h"

#include "catalogs/module_cache.h"

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
