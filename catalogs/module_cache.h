// The process-wide table of open catalog modules, and the pins that keep a
// module open for a fetch in flight.
//
// The table maps the hash of a catalog name to a module handle that holds one
// reference from LoadLibraryW. Its lock guards the map; the generation and
// the reader counts are atomics read without it.
//
// Stale handles. A CKZCatalog caches its handle together with the generation
// it was found in. Close and CloseAll advance the generation, so a handle
// cached before them no longer matches and is never used again: the object
// looks its module up anew.
//
// Fetch against Close. A fetch pins the current generation for the time its
// LoadStringW runs: it counts itself in the reader slot of that generation's
// parity, then checks that the generation is still the one it counted in.
// Close and CloseAll, under the lock, first advance the generation and then
// wait until the slot of the generation they ended is empty, and only then
// call FreeLibrary. Both sides use sequentially consistent operations, so
// either the fetch sees the new generation and backs off, or the closer sees
// the fetch and waits for it. Fetches that start meanwhile count in the other
// slot and check against the new generation, so the wait is bounded by the
// fetches already in flight. A handle that matches the pinned generation was
// found in that generation, and no module of it is freed before the pin is
// released. Cost on the lock-free path: one atomic increment and one
// decrement of a counter shared by all threads, and two loads of the
// generation.
#ifndef KZCOMMON_CATALOGS_MODULE_CACHE_H_
#define KZCOMMON_CATALOGS_MODULE_CACHE_H_

#include <kzcommon/kzcatalog.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>

#include "platform/platform.h"

class CKZModuleCache {
 public:
  CKZModuleCache();
  // The end routine: frees every module, in ascending order of the hash,
  // without waiting for pins (threads that the ending process stopped may
  // hold one for ever), then deletes the lock.
  ~CKZModuleCache();
  CKZModuleCache(const CKZModuleCache&) = delete;
  CKZModuleCache& operator=(const CKZModuleCache&) = delete;

  // The current generation: 1 at load, advanced by every Close that finds
  // an entry and every CloseAll. A handle found in another one is stale.
  std::uint64_t Generation() const {
    return generation.load(std::memory_order_seq_cst);
  }

  // Under the lock: the module of `hash`, opened with LoadLibraryW(name)
  // and entered in the table if it isn't there, with the generation it was
  // found in; `pin` holds it from then on. S_OK, E_FAIL (LoadLibraryW
  // failed) or E_OUTOFMEMORY (LoadLibraryW or the entry ran out of memory);
  // on failure nothing stays opened and the table is unchanged.
  HRESULT Open(std::uint32_t hash, const WCHAR* name, HMODULE* module,
               std::uint64_t* moduleGeneration, CKZModulePin& pin);
  // Removes the entry of `hash` and frees its module once no fetch uses it:
  // S_OK, E_FAIL if FreeLibrary failed, S_FALSE without an entry.
  HRESULT Close(std::uint32_t hash);
  // Frees every module once no fetch uses one: S_OK, or S_FALSE when the
  // table was empty.
  HRESULT CloseAll();

  // From now on Close and CloseAll free at once instead of waiting for
  // pins: the library is being unloaded, and a thread that the process
  // stopped in the middle of a fetch would never release its pin.
  void StopWaitingForPins() {
    waitForPins.store(false, std::memory_order_relaxed);
  }

 private:
  friend class CKZModulePin;
  friend struct CKZCatalogTestAccess;

  // Under the lock: a new generation, then the wait until every fetch
  // pinned in the old one has left.
  void RetireGeneration();

  CRITICAL_SECTION lock;
  std::map<std::uint32_t, HMODULE> modules;
  // The map's size, for the look without the lock at the head of Close and
  // CloseAll.
  std::atomic<std::size_t> moduleCount;
  std::atomic<bool> waitForPins;
  // Read by every fetch, written by Close: a line of its own, away from the
  // counters that every fetch writes.
  alignas(64) std::atomic<std::uint64_t> generation;
  alignas(64) std::atomic<std::uint32_t> pins[2];
};

// Holds the modules of one generation open: see the top of this file.
class CKZModulePin {
 public:
  CKZModulePin() : slot(nullptr) {}
  ~CKZModulePin() { Release(); }
  CKZModulePin(const CKZModulePin&) = delete;
  CKZModulePin& operator=(const CKZModulePin&) = delete;

  // Pins the current generation and returns it. Must not be held already.
  std::uint64_t Acquire(CKZModuleCache& cache) {
    for (;;) {
      std::uint64_t g = cache.generation.load(std::memory_order_seq_cst);
      std::atomic<std::uint32_t>& s = cache.pins[g & 1];
      s.fetch_add(1, std::memory_order_seq_cst);
      if (cache.generation.load(std::memory_order_seq_cst) == g) {
        slot = &s;
        return g;
      }
      // A closer retired g meanwhile and may be waiting for this slot.
      s.fetch_sub(1, std::memory_order_release);
    }
  }
  void Release() {
    if (slot != nullptr) {
      slot->fetch_sub(1, std::memory_order_release);
      slot = nullptr;
    }
  }

 private:
  std::atomic<std::uint32_t>* slot;
};

// library/globals.cpp: first of the module's process-wide objects.
extern CKZModuleCache g_catalogCache;

#endif  // KZCOMMON_CATALOGS_MODULE_CACHE_H_
