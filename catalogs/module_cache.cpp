// The table of open catalog modules; the protocol between fetches and
// closers is described in module_cache.h.
#include "catalogs/module_cache.h"

#include <new>
#include <thread>
#include <utility>

CKZModuleCache::CKZModuleCache()
    : moduleCount(0), waitForPins(true), generation(1), pins{{0}, {0}} {
  InitializeCriticalSection(&lock);
}

CKZModuleCache::~CKZModuleCache() {
  StopWaitingForPins();
  if (moduleCount.load(std::memory_order_relaxed) != 0) CloseAll();
  DeleteCriticalSection(&lock);
}

void CKZModuleCache::RetireGeneration() {
  const std::uint64_t old = generation.load(std::memory_order_relaxed);
  generation.store(old + 1, std::memory_order_seq_cst);
  if (!waitForPins.load(std::memory_order_relaxed)) return;
  std::atomic<std::uint32_t>& slot = pins[old & 1];
  // A fetch holds its pin only across LoadStringW, never while it waits for
  // anything of ours, so this ends.
  while (slot.load(std::memory_order_seq_cst) != 0) std::this_thread::yield();
}

HRESULT CKZModuleCache::Open(std::uint32_t hash, const WCHAR* name,
                             HMODULE* module, std::uint64_t* moduleGeneration,
                             CKZModulePin& pin) {
  EnterCriticalSection(&lock);
  HMODULE handle = nullptr;
  auto found = modules.find(hash);
  if (found != modules.end()) {
    handle = found->second;
  } else {
    try {
      handle = LoadLibraryW(name);
    } catch (const std::bad_alloc&) {
      // Nothing may leave with the lock held.
      LeaveCriticalSection(&lock);
      return E_OUTOFMEMORY;
    }
    if (handle == nullptr) {
      // Exhausted memory is no missing module: the error handling would
      // turn to the default catalog on E_FAIL.
      const DWORD error = GetLastError();
      LeaveCriticalSection(&lock);
      return error == ERROR_NOT_ENOUGH_MEMORY || error == ERROR_OUTOFMEMORY
                 ? E_OUTOFMEMORY
                 : E_FAIL;
    }
    try {
      // The module's own start-up may have come back here through this
      // thread's lock and entered the same hash: then that entry stands and
      // this reference goes.
      auto placed = modules.insert(std::make_pair(hash, handle));
      if (!placed.second) {
        FreeLibrary(handle);
        handle = placed.first->second;
      }
    } catch (const std::bad_alloc&) {
      FreeLibrary(handle);
      LeaveCriticalSection(&lock);
      return E_OUTOFMEMORY;
    }
    moduleCount.store(modules.size(), std::memory_order_relaxed);
  }
  // The generation can't move while the lock is held: this takes at once.
  *moduleGeneration = pin.Acquire(*this);
  *module = handle;
  LeaveCriticalSection(&lock);
  return S_OK;
}

HRESULT CKZModuleCache::Close(std::uint32_t hash) {
  if (moduleCount.load(std::memory_order_relaxed) == 0) return S_FALSE;
  EnterCriticalSection(&lock);
  auto found = modules.find(hash);
  if (found == modules.end()) {
    LeaveCriticalSection(&lock);
    return S_FALSE;
  }
  HMODULE handle = found->second;
  // Out of the table before FreeLibrary: a module's clean-up that comes back
  // here finds the table consistent.
  modules.erase(found);
  moduleCount.store(modules.size(), std::memory_order_relaxed);
  RetireGeneration();
  const BOOL freed = FreeLibrary(handle);
  LeaveCriticalSection(&lock);
  return freed ? S_OK : E_FAIL;
}

HRESULT CKZModuleCache::CloseAll() {
  if (moduleCount.load(std::memory_order_relaxed) == 0) return S_FALSE;
  EnterCriticalSection(&lock);
  // The entries leave the table first, for the same reason as in Close; the
  // map walked below is then ours alone.
  std::map<std::uint32_t, HMODULE> closing;
  closing.swap(modules);
  moduleCount.store(0, std::memory_order_relaxed);
  RetireGeneration();
  for (const auto& entry : closing) FreeLibrary(entry.second);
  LeaveCriticalSection(&lock);
  return S_OK;
}
