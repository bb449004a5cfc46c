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

#if defined(KZ_TEST_HOOKS)
struct AtomicCounters {
  std::atomic<unsigned long> crtGrow{0}, crtFree{0}, oleGrow{0}, oleFree{0},
      bstrGrow{0}, bstrFree{0};
};
AtomicCounters g_allocCounters;

void Count(std::atomic<unsigned long>& counter) {
  counter.fetch_add(1, std::memory_order_relaxed);
}
#else
// Shipped builds count nothing: each Count below compiles to no code.
struct NoCounters {
  struct Field {
  } crtGrow, crtFree, oleGrow, oleFree, bstrGrow, bstrFree;
};
NoCounters g_allocCounters;

void Count(NoCounters::Field) {}
#endif

std::size_t WideBytes(std::uint32_t capacity) {
  return (static_cast<std::size_t>(capacity) + 1) * sizeof(WCHAR);
}

CKZStringBlock* NewRecord() {
  CKZStringBlock* block =
      static_cast<CKZStringBlock*>(platform::malloc(sizeof(CKZStringBlock)));
  if (block == nullptr) return nullptr;
  block->refCount = 1;
  block->wideLength = 0;
  block->mbsLength = 0;
  block->wideBuffer = nullptr;
  block->mbsBuffer = nullptr;
  block->capacity = 0;
  block->mbsAllocKind = CKZStringBlock::AllocCRT;
  block->wideAllocKind = CKZStringBlock::AllocCRT;
  block->wideTakenOver = 0;
  block->mbsTakenOver = 0;
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
    case kzblock::kAllocInRecord:
      break;  // goes with the record
    default:
      Count(g_allocCounters.bstrFree);
      SysFreeString(static_cast<BSTR>(buffer));
      break;
  }
}

template <typename Unit>
std::uint32_t MeasureUpToZero(const Unit* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n > kMaxBlockCapacity ? kMaxBlockCapacity
                               : static_cast<std::uint32_t>(n);
}

bool LiesIn(const void* p, const void* buffer, std::size_t bytes) {
  const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(p);
  const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(buffer);
  return at >= begin && at - begin < bytes;
}

std::size_t Larger(std::size_t a, std::size_t b) { return a > b ? a : b; }

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

std::uint32_t GrownCapacity(std::uint32_t capacity, std::uint32_t needed) {
  if (capacity >= needed) return capacity;
  if (needed > kMaxBlockCapacity) return 0;
  std::uint32_t grown = capacity == 0 ? 1 : capacity;
  while (grown < needed) {
    grown = grown > kMaxBlockCapacity / 2 ? kMaxBlockCapacity : grown * 2;
  }
  return grown;
}

namespace kzblock {

CKZStringBlock* CreateWide(const WCHAR* text, std::uint32_t length) {
  return CreateWide(text, length, g_initialBlockSize);
}

CKZStringBlock* CreateMbs(const char* text, std::uint32_t length) {
  return CreateMbs(text, length, g_initialBlockSize);
}

CKZStringBlock* CreateWide(const WCHAR* text, std::uint32_t length,
                           std::uint32_t requested) {
  if (length > kMaxBlockCapacity) return nullptr;
  return CreateWideSized(text, length, BlockCapacity(requested, length));
}

CKZStringBlock* CreateMbs(const char* text, std::uint32_t length,
                          std::uint32_t requested) {
  if (length > kMaxBlockCapacity) return nullptr;
  return CreateMbsSized(text, length, BlockCapacity(requested, length));
}

CKZStringBlock* CreateWideSized(const WCHAR* text, std::uint32_t length,
                                std::uint32_t capacity) {
  if (length > kMaxBlockCapacity || capacity < length) return nullptr;
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) return nullptr;
  block->capacity = capacity;
  block->wideBuffer =
      static_cast<WCHAR*>(platform::malloc(WideBytes(block->capacity)));
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

CKZStringBlock* CreateWideInRecord(const WCHAR* text, std::uint32_t length) {
  if (length > kMaxBlockCapacity) return nullptr;
  // The record's size keeps the buffer behind it aligned for its units.
  static_assert(sizeof(CKZStringBlock) % alignof(WCHAR) == 0,
                "the buffer follows the record");
  void* memory = platform::malloc(sizeof(CKZStringBlock) + WideBytes(length));
  if (memory == nullptr) return nullptr;
  CKZStringBlock* block = static_cast<CKZStringBlock*>(memory);
  block->refCount = 1;
  block->wideLength = length;
  block->capacity = length;
  block->mbsLength = SingleByteLocale() ? length : 0;
  block->wideBuffer = reinterpret_cast<WCHAR*>(block + 1);
  block->mbsBuffer = nullptr;
  block->mbsAllocKind = CKZStringBlock::AllocCRT;
  block->wideAllocKind = kAllocInRecord;
  block->wideTakenOver = 0;
  block->mbsTakenOver = 0;
  std::memcpy(block->wideBuffer, text, std::size_t{length} * sizeof(WCHAR));
  block->wideBuffer[length] = 0;
  return block;
}

CKZStringBlock* CreateMbsSized(const char* text, std::uint32_t length,
                               std::uint32_t capacity) {
  if (length > kMaxBlockCapacity || capacity < length) return nullptr;
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) return nullptr;
  block->capacity = capacity;
  block->mbsBuffer = static_cast<char*>(
      platform::malloc(static_cast<std::size_t>(block->capacity) + 1));
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

CKZStringBlock* AttachWide(WCHAR* buffer, std::uint8_t allocKind) {
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) {
    // The caller gave the buffer away; dropping it beats leaking it.
    FreeBuffer(buffer, allocKind);
    return nullptr;
  }
  std::uint32_t length = MeasureUpToZero(buffer);
  block->wideBuffer = buffer;
  block->wideAllocKind = allocKind;
  block->wideTakenOver = 1;
  block->wideLength = length;
  block->mbsLength = SingleByteLocale() ? length : 0;
  block->capacity = length;
  return block;
}

CKZStringBlock* AttachMbs(char* buffer, std::uint8_t allocKind) {
  CKZStringBlock* block = NewRecord();
  if (block == nullptr) {
    FreeBuffer(buffer, allocKind);
    return nullptr;
  }
  std::uint32_t length = MeasureUpToZero(buffer);
  block->mbsBuffer = buffer;
  block->mbsAllocKind = allocKind;
  block->mbsTakenOver = 1;
  block->mbsLength = length;
  block->wideLength = SingleByteLocale() ? length : 0;
  block->capacity = length;
  return block;
}

namespace {

// The conversions of EnsureWide and EnsureMbs, into `out` or, with a null
// `out`, only counted. The ASCII head converts alike in every locale; the
// run-time does the rest, and text that it refuses is converted with
// replacements.
std::size_t Widen(WCHAR* out, const char* text, std::uint32_t length) {
  std::size_t count =
      out != nullptr ? kzscan::best::WidenAsciiPrefix(out, text, length) : 0;
  if (count < length && text[count] != 0) {
    WCHAR* to = out != nullptr ? out + count : nullptr;
    std::size_t rest = platform::mbstowcs(to, text + count, length - count);
    if (rest == static_cast<std::size_t>(-1)) {
      rest = platform::MbsToWideReplacing(to, text + count, length - count);
    }
    count += rest;
  }
  return count;
}

std::size_t Narrow(char* out, const WCHAR* text, std::uint32_t length,
                   std::size_t limit) {
  std::size_t count =
      out != nullptr ? kzscan::best::NarrowAsciiPrefix(out, text, length) : 0;
  if (count < length && text[count] != 0) {
    char* to = out != nullptr ? out + count : nullptr;
    std::size_t rest = platform::wcstombs(to, text + count, limit - count);
    if (rest == static_cast<std::size_t>(-1)) {
      rest = platform::WideToMbsReplacing(to, text + count, limit - count);
    }
    count += rest;
  }
  return count;
}

}  // namespace

bool EnsureWide(CKZStringBlock& block) {
  if (block.wideBuffer != nullptr) return true;
  // A text never has more units than bytes. The room is the larger of the
  // capacity and the byte length, because a multibyte form built from wide
  // text may be longer than the capacity.
  const std::uint32_t room =
      block.capacity > block.mbsLength ? block.capacity : block.mbsLength;
  WCHAR* wide = static_cast<WCHAR*>(platform::malloc(WideBytes(room)));
  if (wide == nullptr) return false;
  const std::size_t count = Widen(wide, block.mbsBuffer, block.mbsLength);
  wide[count] = 0;
  block.wideBuffer = wide;
  block.wideAllocKind = CKZStringBlock::AllocCRT;
  block.wideTakenOver = 0;
  block.wideLength = static_cast<std::uint32_t>(count);
  return true;
}

bool EnsureMbs(CKZStringBlock& block) {
  if (block.mbsBuffer != nullptr) return true;
  const std::size_t limit =
      static_cast<std::size_t>(block.wideLength) * MB_CUR_MAX;
  char* mbs =
      static_cast<char*>(platform::malloc(Larger(block.capacity, limit) + 1));
  if (mbs == nullptr) return false;
  const std::size_t count =
      Narrow(mbs, block.wideBuffer, block.wideLength, limit);
  mbs[count] = 0;
  block.mbsBuffer = mbs;
  block.mbsAllocKind = CKZStringBlock::AllocCRT;
  block.mbsTakenOver = 0;
  block.mbsLength = static_cast<std::uint32_t>(count);
  return true;
}

// Counting converts the whole text at once where EnsureWide converts the part
// after the ASCII head: the head converts one byte to one unit either way, so
// the counts agree.
std::uint32_t CountWide(const CKZStringBlock& block) {
  if (block.wideBuffer != nullptr) return block.wideLength;
  return static_cast<std::uint32_t>(
      Widen(nullptr, block.mbsBuffer, block.mbsLength));
}

std::uint32_t CountMbs(const CKZStringBlock& block) {
  if (block.mbsBuffer != nullptr) return block.mbsLength;
  const std::size_t limit =
      static_cast<std::size_t>(block.wideLength) * MB_CUR_MAX;
  return static_cast<std::uint32_t>(
      Narrow(nullptr, block.wideBuffer, block.wideLength, limit));
}

bool ReserveWide(CKZStringBlock& block, std::uint32_t needed) {
  if (block.capacity >= needed) return true;
  const std::uint32_t grown = GrownCapacity(block.capacity, needed);
  if (grown == 0) return false;
  switch (block.wideAllocKind) {
    case CKZStringBlock::AllocCRT: {
      Count(g_allocCounters.crtGrow);
      void* p = platform::realloc(block.wideBuffer, WideBytes(grown));
      if (p == nullptr) return false;
      block.wideBuffer = static_cast<WCHAR*>(p);
      break;
    }
    case CKZStringBlock::AllocOLE: {
      Count(g_allocCounters.oleGrow);
      void* p = CoTaskMemRealloc(block.wideBuffer, WideBytes(grown));
      if (p == nullptr) return false;
      block.wideBuffer = static_cast<WCHAR*>(p);
      break;
    }
    case kAllocInRecord: {
      // Out of the record into a buffer of its own, which grows from then
      // on; the record's room stays unused until the block goes.
      Count(g_allocCounters.crtGrow);
      void* p = platform::malloc(WideBytes(grown));
      if (p == nullptr) return false;
      std::memcpy(p, block.wideBuffer, WideBytes(block.capacity));
      block.wideBuffer = static_cast<WCHAR*>(p);
      block.wideAllocKind = CKZStringBlock::AllocCRT;
      break;
    }
    default: {
      Count(g_allocCounters.bstrGrow);
      BSTR bstr = reinterpret_cast<BSTR>(block.wideBuffer);
      if (!SysReAllocStringLen(&bstr, bstr, grown)) return false;
      block.wideBuffer = reinterpret_cast<WCHAR*>(bstr);
      break;
    }
  }
  block.wideTakenOver = 0;
  block.capacity = grown;
  return true;
}

bool ReserveMbs(CKZStringBlock& block, std::uint32_t needed) {
  if (block.capacity >= needed) return true;
  const std::uint32_t grown = GrownCapacity(block.capacity, needed);
  if (grown == 0) return false;
  const std::size_t bytes = static_cast<std::size_t>(grown) + 1;
  void* p;
  if (block.mbsAllocKind == CKZStringBlock::AllocOLE) {
    Count(g_allocCounters.oleGrow);
    p = CoTaskMemRealloc(block.mbsBuffer, bytes);
  } else {
    Count(g_allocCounters.crtGrow);
    p = platform::realloc(block.mbsBuffer, bytes);
  }
  if (p == nullptr) return false;
  block.mbsBuffer = static_cast<char*>(p);
  block.mbsTakenOver = 0;
  block.capacity = grown;
  return true;
}

void DropWide(CKZStringBlock& block) {
  if (block.wideBuffer == nullptr) return;
  FreeBuffer(block.wideBuffer, block.wideAllocKind);
  block.wideBuffer = nullptr;
  block.wideTakenOver = 0;
}

void DropMbs(CKZStringBlock& block) {
  if (block.mbsBuffer == nullptr) return;
  FreeBuffer(block.mbsBuffer, block.mbsAllocKind);
  block.mbsBuffer = nullptr;
  block.mbsTakenOver = 0;
}

void Destroy(CKZStringBlock* block) {
  DropWide(*block);
  DropMbs(*block);
  std::free(block);
}

bool Holds(const CKZStringBlock& block, const void* p) {
  // A taken-over buffer of unknown size may hold any address at all: not
  // only those past its start, since the answer must not depend on where
  // the heap put things.
  if ((block.wideTakenOver != 0 &&
       block.wideAllocKind != CKZStringBlock::AllocBSTR) ||
      block.mbsTakenOver != 0) {
    return true;
  }
  if (block.wideBuffer != nullptr) {
    std::size_t units = Larger(block.capacity, block.wideLength) + 1;
    if (block.wideTakenOver != 0) {
      const UINT bstrLength =
          SysStringLen(reinterpret_cast<BSTR>(block.wideBuffer));
      units = Larger(units, std::size_t{bstrLength} + 1);
    }
    if (LiesIn(p, block.wideBuffer, units * sizeof(WCHAR))) return true;
  }
  return block.mbsBuffer != nullptr &&
         LiesIn(p, block.mbsBuffer,
                Larger(block.capacity, block.mbsLength) + 1);
}

}  // namespace kzblock

void CKZString::FreeBlock(CKZStringBlock* block) { kzblock::Destroy(block); }

#if defined(KZ_TEST_HOOKS)
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
#endif
