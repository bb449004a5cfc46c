#include "strings/string_block.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "platform/platform.h"

#include "strings/internal/unit_scan.h"

// CKZString's inline copy and release reach the count through the block's
// address; that holds only while the count is the first field of a
// standard-layout record.
static_assert(std::is_standard_layout<CKZStringBlock>::value,
              "the block must stay a plain record");
static_assert(offsetof(CKZStringBlock, refCount) == 0,
              "refCount must be the first field");

namespace {

struct AtomicCounters {
  std::atomic<unsigned long> crtGrow{0}, crtFree{0}, oleGrow{0}, oleFree{0},
      bstrGrow{0}, bstrFree{0};
};
AtomicCounters g_allocCounters;

void Count(std::atomic<unsigned long>& counter) {
  counter.fetch_add(1, std::memory_order_relaxed);
}

// Callers of the block operations cannot hear of a failed allocation or a
// text beyond 2^31 characters; stopping here writes through no null pointer
// and loses no buffer.
[[noreturn]] void OutOfMemory() { std::abort(); }

std::size_t WideBytes(std::uint32_t capacity) {
  return (static_cast<std::size_t>(capacity) + 1) * sizeof(WCHAR);
}

CKZStringBlock* NewRecord() {
  CKZStringBlock* block =
      static_cast<CKZStringBlock*>(std::malloc(sizeof(CKZStringBlock)));
  if (block == nullptr) return nullptr;
  block->refCount = 1;
  block->wideLength = 0;
  block->mbsLength = 0;
  block->wideBuffer = nullptr;
  block->mbsBuffer = nullptr;
  block->capacity = 0;
  block->mbsAllocKind = CKZStringBlock::AllocCRT;
  block->wideAllocKind = CKZStringBlock::AllocCRT;
  return block;
}

void FreeBuffer(void* buffer, std::uint8_t kind) {
  switch (kind) {
    case CKZStringBlock::AllocCRT:
      Count(g_allocCounters.crtFree);
      std::free(buffer);
      break;
    case CKZStringBlock::AllocOLE:
      Count(g_allocCounters.oleFree);
      CoTaskMemFree(buffer);
      break;
    default:
      Count(g_allocCounters.bstrFree);
      SysFreeString(static_cast<BSTR>(buffer));
      break;
  }
}

std::uint32_t DoubledCapacity(std::uint32_t capacity, std::uint32_t needed) {
  if (needed > kMaxBlockCapacity) OutOfMemory();
  std::uint32_t grown = capacity == 0 ? 1 : capacity;
  while (grown < needed) {
    grown = grown > kMaxBlockCapacity / 2 ? kMaxBlockCapacity : grown * 2;
  }
  return grown;
}

template <typename Unit>
std::uint32_t MeasureUpToZero(const Unit* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n > kMaxBlockCapacity ? kMaxBlockCapacity
                               : static_cast<std::uint32_t>(n);
}

}  // namespace

std::uint32_t WideTextLength(const WCHAR* text) {
  return static_cast<std::uint32_t>(
      kzscan::BoundedLength(text, std::size_t{kMaxBlockCapacity} + 1));
}

std::uint32_t MbsTextLength(const char* text) {
  return static_cast<std::uint32_t>(
      strnlen(text, std::size_t{kMaxBlockCapacity} + 1));
}

std::uint32_t BlockCapacity(std::uint32_t requested, std::uint32_t length) {
  if (length < requested) return requested;
  if (length > kMaxBlockCapacity - requested) return kMaxBlockCapacity;
  return requested + length;
}

CKZStringBlock* CKZStringBlock::CreateWide(const WCHAR* text,
                                           std::uint32_t length) {
  return CreateWide(text, length, g_initialBlockSize);
}

CKZStringBlock* CKZStringBlock::CreateMbs(const char* text,
                                          std::uint32_t length) {
  return CreateMbs(text, length, g_initialBlockSize);
}

void CKZStringBlock::SetLength(std::uint32_t length) {
  wideLength = length;
  mbsLength = length;
}

CKZStringBlock* CKZStringBlock::CreateWide(const WCHAR* text,
                                           std::uint32_t length,
                                           std::uint32_t requested) {
  if (length > kMaxBlockCapacity) return nullptr;
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) return nullptr;
  block->capacity = BlockCapacity(requested, length);
  block->wideBuffer =
      static_cast<WCHAR*>(std::malloc(WideBytes(block->capacity)));
  if (block->wideBuffer == nullptr) {
    std::free(block);
    return nullptr;
  }
  block->wideLength = length;
  block->mbsLength = SingleByteLocale() ? length : 0;
  if (text != nullptr) {
    // wcsncpy: up to the text's first zero, zeros after it.
    std::size_t copied = kzscan::BoundedLength(text, length);
    std::memcpy(block->wideBuffer, text, copied * sizeof(WCHAR));
    std::memset(block->wideBuffer + copied, 0,
                (length - copied) * sizeof(WCHAR));
    block->wideBuffer[length] = 0;
  }
  return block;
}

CKZStringBlock* CKZStringBlock::CreateMbs(const char* text,
                                          std::uint32_t length,
                                          std::uint32_t requested) {
  if (length > kMaxBlockCapacity) return nullptr;
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) return nullptr;
  block->capacity = BlockCapacity(requested, length);
  block->mbsBuffer = static_cast<char*>(
      std::malloc(static_cast<std::size_t>(block->capacity) + 1));
  if (block->mbsBuffer == nullptr) {
    std::free(block);
    return nullptr;
  }
  block->mbsLength = length;
  block->wideLength = SingleByteLocale() ? length : 0;
  if (text != nullptr) {
    // strncpy semantics: stop at the first zero, pad the rest with zeros.
    std::size_t copied = strnlen(text, length);
    std::memcpy(block->mbsBuffer, text, copied);
    std::memset(block->mbsBuffer + copied, 0, length - copied);
    block->mbsBuffer[length] = 0;
  }
  return block;
}

CKZStringBlock* CKZStringBlock::AttachWide(WCHAR* buffer,
                                           std::uint8_t allocKind) {
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) {
    // The caller gave the buffer away; dropping it beats leaking it.
    FreeBuffer(buffer, allocKind);
    return nullptr;
  }
  std::uint32_t length = MeasureUpToZero(buffer);
  block->wideBuffer = buffer;
  block->wideAllocKind = allocKind;
  block->wideLength = length;
  block->mbsLength = SingleByteLocale() ? length : 0;
  block->capacity = length;
  return block;
}

CKZStringBlock* CKZStringBlock::AttachMbs(char* buffer,
                                          std::uint8_t allocKind) {
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) {
    FreeBuffer(buffer, allocKind);
    return nullptr;
  }
  std::uint32_t length = MeasureUpToZero(buffer);
  block->mbsBuffer = buffer;
  block->mbsAllocKind = allocKind;
  block->mbsLength = length;
  block->wideLength = SingleByteLocale() ? length : 0;
  block->capacity = length;
  return block;
}

void CKZStringBlock::EnsureWide() {
  if (wideBuffer != nullptr) return;
  // A text never has more units than bytes. The room is the larger of the
  // capacity and the byte length, because a multibyte form built from wide
  // text may be longer than the capacity.
  std::uint32_t room = capacity > mbsLength ? capacity : mbsLength;
  WCHAR* wide = static_cast<WCHAR*>(std::malloc(WideBytes(room)));
  if (wide == nullptr) OutOfMemory();
  // The ASCII head converts alike in every locale; the run-time does the
  // rest.
  std::size_t count =
      kzscan::best::WidenAsciiPrefix(wide, mbsBuffer, mbsLength);
  if (count < mbsLength && mbsBuffer[count] != 0) {
    std::size_t rest =
        platform::mbstowcs(wide + count, mbsBuffer + count, mbsLength - count);
    if (rest == static_cast<std::size_t>(-1)) {
      rest = platform::MbsToWideReplacing(wide + count, mbsBuffer + count,
                                          mbsLength - count);
    }
    count += rest;
  }
  wide[count] = 0;
  wideBuffer = wide;
  wideAllocKind = AllocCRT;
  wideLength = static_cast<std::uint32_t>(count);
}

void CKZStringBlock::EnsureMbs() {
  if (mbsBuffer != nullptr) return;
  std::size_t limit = static_cast<std::size_t>(wideLength) * MB_CUR_MAX;
  std::size_t room = capacity > limit ? capacity : limit;
  char* mbs = static_cast<char*>(std::malloc(room + 1));
  if (mbs == nullptr) OutOfMemory();
  std::size_t count =
      kzscan::best::NarrowAsciiPrefix(mbs, wideBuffer, wideLength);
  if (count < wideLength && wideBuffer[count] != 0) {
    std::size_t rest =
        platform::wcstombs(mbs + count, wideBuffer + count, limit - count);
    if (rest == static_cast<std::size_t>(-1)) {
      rest = platform::WideToMbsReplacing(mbs + count, wideBuffer + count,
                                          limit - count);
    }
    count += rest;
  }
  mbs[count] = 0;
  mbsBuffer = mbs;
  mbsAllocKind = AllocCRT;
  mbsLength = static_cast<std::uint32_t>(count);
}

void CKZStringBlock::ReserveWide(std::uint32_t needed) {
  if (capacity >= needed) return;
  std::uint32_t grown = DoubledCapacity(capacity, needed);
  switch (wideAllocKind) {
    case AllocCRT: {
      Count(g_allocCounters.crtGrow);
      void* p = std::realloc(wideBuffer, WideBytes(grown));
      if (p == nullptr) OutOfMemory();
      wideBuffer = static_cast<WCHAR*>(p);
      break;
    }
    case AllocOLE: {
      Count(g_allocCounters.oleGrow);
      void* p = CoTaskMemRealloc(wideBuffer, WideBytes(grown));
      if (p == nullptr) OutOfMemory();
      wideBuffer = static_cast<WCHAR*>(p);
      break;
    }
    default: {
      Count(g_allocCounters.bstrGrow);
      BSTR bstr = reinterpret_cast<BSTR>(wideBuffer);
      if (!SysReAllocStringLen(&bstr, bstr, grown)) OutOfMemory();
      wideBuffer = reinterpret_cast<WCHAR*>(bstr);
      break;
    }
  }
  capacity = grown;
}

void CKZStringBlock::ReserveMbs(std::uint32_t needed) {
  if (capacity >= needed) return;
  std::uint32_t grown = DoubledCapacity(capacity, needed);
  std::size_t bytes = static_cast<std::size_t>(grown) + 1;
  void* p;
  if (mbsAllocKind == AllocOLE) {
    Count(g_allocCounters.oleGrow);
    p = CoTaskMemRealloc(mbsBuffer, bytes);
  } else {
    Count(g_allocCounters.crtGrow);
    p = std::realloc(mbsBuffer, bytes);
  }
  if (p == nullptr) OutOfMemory();
  mbsBuffer = static_cast<char*>(p);
  capacity = grown;
}

void CKZStringBlock::DropWide() {
  if (wideBuffer == nullptr) return;
  FreeBuffer(wideBuffer, wideAllocKind);
  wideBuffer = nullptr;
}

void CKZStringBlock::DropMbs() {
  if (mbsBuffer == nullptr) return;
  FreeBuffer(mbsBuffer, mbsAllocKind);
  mbsBuffer = nullptr;
}

void DestroyBlock(CKZStringBlock* block) {
  block->DropWide();
  block->DropMbs();
  std::free(block);
}

void CKZString::FreeBlock(CKZStringBlock* block) { DestroyBlock(block); }

KZAllocCounters KZGetAllocCounters() {
  KZAllocCounters c;
  c.crtGrow = g_allocCounters.crtGrow.load(std::memory_order_relaxed);
  c.crtFree = g_allocCounters.crtFree.load(std::memory_order_relaxed);
  c.oleGrow = g_allocCounters.oleGrow.load(std::memory_order_relaxed);
  c.oleFree = g_allocCounters.oleFree.load(std::memory_order_relaxed);
  c.bstrGrow = g_allocCounters.bstrGrow.load(std::memory_order_relaxed);
  c.bstrFree = g_allocCounters.bstrFree.load(std::memory_order_relaxed);
  return c;
}
