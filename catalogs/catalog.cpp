// CKZCatalog: the object, its way to the module table, and the fetch and
// formatting of message texts.
#include <kzcommon/kzcatalog.h>

#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

#include "catalogs/module_cache.h"
#include "strings/internal/unit_scan.h"
#include "strings/string_block.h"

namespace {

// The first load goes to a local buffer of this many units; a count of
// kFirstLoad - 1 or more may mean a cut text, loaded again from kReload.
constexpr int kFirstLoad = 260;
constexpr UINT kReload = 520;
// The formatter's first limit; the buffer has one unit more.
constexpr ULONG kFirstFormat = 260;

// Writes the `count` units of `text` into `block` as a new block would take
// them (up to the first zero, then zeros), if the block may be reused: held
// by one value, with the wide form alone, from malloc, and room for them (a
// wide-only buffer from malloc holds capacity + 1 units). A fetch in a loop
// then allocates nothing. False, with the block untouched, if not.
bool FillInPlace(CKZStringBlock* block, const WCHAR* text,
                 std::uint32_t count) {
  if (block == nullptr || block->refCount != 1 ||
      block->wideBuffer == nullptr || block->mbsBuffer != nullptr ||
      block->wideAllocKind != CKZStringBlock::AllocCRT ||
      block->capacity < count) {
    return false;
  }
  const std::size_t copied = kzscan::BoundedLength(text, count);
  std::memcpy(block->wideBuffer, text, copied * sizeof(WCHAR));
  if (copied < count) {
    std::memset(block->wideBuffer + copied, 0,
                (count - copied) * sizeof(WCHAR));
  }
  block->wideBuffer[count] = 0;
  block->wideLength = count;
  block->mbsLength = SingleByteLocale() ? count : 0;
  return true;
}

}  // namespace

CKZCatalog::CKZCatalog() : moduleHandle(nullptr), moduleGeneration(0) {}

CKZCatalog::CKZCatalog(const WCHAR* text)
    : name(text), moduleHandle(nullptr), moduleGeneration(0) {}

CKZCatalog::CKZCatalog(const CKZCatalog& other)
    : name(other.name), moduleHandle(nullptr), moduleGeneration(0) {
  // The generation first: a handle read after it is as new as it or newer,
  // and a pair that mixes generations never matches the table's.
  const std::uint64_t generation =
      other.moduleGeneration.load(std::memory_order_acquire);
  moduleHandle.store(other.moduleHandle.load(std::memory_order_relaxed),
                     std::memory_order_relaxed);
  moduleGeneration.store(generation, std::memory_order_relaxed);
}

CKZCatalog::~CKZCatalog() {}

CKZCatalog& CKZCatalog::operator=(const WCHAR* text) {
  name = text;
  moduleGeneration.store(0, std::memory_order_relaxed);
  moduleHandle.store(nullptr, std::memory_order_relaxed);
  return *this;
}

CKZCatalog& CKZCatalog::operator=(const CKZCatalog& other) {
  if (&other == this) return *this;
  name = other.name;
  const std::uint64_t generation =
      other.moduleGeneration.load(std::memory_order_acquire);
  moduleHandle.store(other.moduleHandle.load(std::memory_order_relaxed),
                     std::memory_order_relaxed);
  moduleGeneration.store(generation, std::memory_order_release);
  return *this;
}

std::uint32_t CKZCatalog::HashCatalogName() const {
  // The name's block, read in place: a lowered copy would bump the count of
  // a block that other threads' objects share, and the count is plain. The
  // name always has its wide form, since it is only ever set from wide text.
  const CKZStringBlock* block = name.m_block;
  if (block == nullptr || block->wideBuffer == nullptr) return 0;
  std::uint32_t hash = 0;
  for (const WCHAR* unit = block->wideBuffer; *unit != 0; ++unit) {
    hash = hash * 33u + static_cast<std::uint16_t>(platform::towlower(*unit));
  }
  return hash;
}

HRESULT CKZCatalog::EnsureModule(CKZModulePin& pin, HMODULE* module) {
  // The handle counts while its generation is the table's. Both are read
  // inside the pin, so a Close can't free the module between the check and
  // the caller's use of it.
  const std::uint64_t generation = pin.Acquire(g_catalogCache);
  if (moduleGeneration.load(std::memory_order_acquire) == generation) {
    HMODULE handle = moduleHandle.load(std::memory_order_relaxed);
    if (handle != nullptr) {
      *module = handle;
      return S_OK;
    }
  }
  // The slow path takes the lock, which a closer holds while it waits for
  // pins: never wait for it while holding one.
  pin.Release();
  const CKZStringBlock* block = name.m_block;
  if (block == nullptr || block->wideBuffer == nullptr ||
      block->wideBuffer[0] == 0) {
    moduleHandle.store(nullptr, std::memory_order_relaxed);
    return E_FAIL;
  }
  HMODULE handle = nullptr;
  std::uint64_t found = 0;
  const HRESULT hr = g_catalogCache.Open(HashCatalogName(), block->wideBuffer,
                                         &handle, &found, pin);
  if (FAILED(hr)) {
    moduleHandle.store(nullptr, std::memory_order_relaxed);
    return hr;
  }
  // Written while pinned: a Close that retires `found` waits for this pin,
  // so these stores come before any made for a later generation.
  moduleHandle.store(handle, std::memory_order_relaxed);
  moduleGeneration.store(found, std::memory_order_release);
  *module = handle;
  return S_OK;
}

HRESULT CKZCatalog::Close() {
  moduleGeneration.store(0, std::memory_order_relaxed);
  moduleHandle.store(nullptr, std::memory_order_relaxed);
  return g_catalogCache.Close(HashCatalogName());
}

HRESULT CKZCatalog::CloseAll() { return g_catalogCache.CloseAll(); }

HRESULT CKZCatalog::GetMsg(CKZString& out, ULONG msgId, ...) {
  va_list args;
  va_start(args, msgId);
  const HRESULT hr = GetMsgEx(out, msgId, &args);
  va_end(args);
  return hr < 0 ? hr : S_OK;
}

HRESULT CKZCatalog::GetMsgEx(CKZString& out, ULONG msgId, va_list* args) {
  CKZString text;
  {
    CKZModulePin pin;
    HMODULE module = nullptr;
    const HRESULT hr = EnsureModule(pin, &module);
    if (FAILED(hr)) return hr;
    WCHAR buffer[kFirstLoad];
    const int count = ::LoadStringW(module, msgId, buffer, kFirstLoad);
    // No text and an empty text are one thing here.
    if (count <= 0) return E_FAIL;
    if (kFirstLoad - count < 2) {
      // Possibly cut: again, through the string's own growing load.
      text.LoadStringW(module, msgId, kReload);
    } else if (args == nullptr) {
      pin.Release();
      // Into the block `out` holds if it may be reused, else a new one.
      if (FillInPlace(out.m_block, buffer, static_cast<std::uint32_t>(count))) {
        return S_OK;
      }
      CKZString fresh(buffer, static_cast<ULONG>(count));
      if (fresh.m_block == nullptr) return E_OUTOFMEMORY;
      out = fresh;
      return S_OK;
    } else {
      text = CKZString(buffer, static_cast<ULONG>(count));
    }
  }  // the module may close from here on: the text is ours
  if (text.m_block == nullptr) return E_OUTOFMEMORY;
  if (text.m_block->wideLength == 0) return E_FAIL;
  if (args != nullptr) {
    return FormatMsg(out, kFirstFormat, text.m_block->wideBuffer, args);
  }
  out = text;
  return S_OK;
}

HRESULT CKZCatalog::FormatMsg(CKZString& out, ULONG size, const WCHAR* format,
                              va_list* args) {
  WCHAR local[kFirstFormat + 1];
  bool counted = false;
  int needed = 0;
  for (;;) {
    WCHAR* buffer = local;
    if (size > kFirstFormat) {
      buffer = static_cast<WCHAR*>(
          std::malloc((static_cast<std::size_t>(size) + 1) * sizeof(WCHAR)));
      if (buffer == nullptr) return E_OUTOFMEMORY;
    }
    va_list pass;
    va_copy(pass, *args);
    const int written = platform::_vsnwprintf(buffer, size, format, pass);
    va_end(pass);
    if (written >= 0) {
      // The spare unit takes the terminator when the text fills `size`.
      buffer[written] = 0;
      CKZString text(buffer);
      if (buffer != local) std::free(buffer);
      if (text.m_block == nullptr) return E_OUTOFMEMORY;
      out = text;
      return S_OK;
    }
    if (buffer != local) std::free(buffer);
    // A negative result also stands for a rejected format or an argument
    // the locale can't convert; doubling would then go on until memory ran
    // out. The counting formatter says how long the text is: a failure
    // when it says "none" or when the text should have fitted is no
    // question of room.
    if (!counted) {
      va_copy(pass, *args);
      needed = platform::_vscwprintf(format, pass);
      va_end(pass);
      counted = true;
    }
    if (needed < 0 || static_cast<ULONG>(needed) <= size) return E_INVALIDARG;
    // A text longer than a block holds can't be delivered.
    if (size > kMaxBlockCapacity / 2) return E_OUTOFMEMORY;
    size *= 2;
  }
}
