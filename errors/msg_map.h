// The process-wide store of message maps, which also holds the library's own
// catalog, the default catalog "kzcommon".
#ifndef KZCOMMON_ERRORS_MSG_MAP_H_
#define KZCOMMON_ERRORS_MSG_MAP_H_

#include <kzcommon/kzcatalog.h>

class MsgMapStore {
 public:
  MsgMapStore();
  // Closes the default catalog, with the result ignored, before destroying
  // it.
  ~MsgMapStore();
  MsgMapStore(const MsgMapStore&) = delete;
  MsgMapStore& operator=(const MsgMapStore&) = delete;

  // The library's own module, by its bare name: LoadLibraryW finds it among
  // the modules the process has loaded, wherever it was loaded from. Asked
  // when a client's catalog answers E_FAIL.
  CKZCatalog defaultCatalog;
};

// library/globals.cpp: second of the module's process-wide objects.
extern MsgMapStore g_msgMapStore;

#endif  // KZCOMMON_ERRORS_MSG_MAP_H_
