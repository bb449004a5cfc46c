// CKZStringBlock: the reference-counted storage behind CKZString.
//
// One text in up to two forms, wide and multibyte, with one capacity for the
// buffer that grows. Each buffer remembers the allocator that owns it, so a
// buffer taken over from a caller is grown and freed by its maker. Only
// CKZString touches a block.
#ifndef KZCOMMON_STRINGS_STRING_BLOCK_H_
#define KZCOMMON_STRINGS_STRING_BLOCK_H_

#include <kzcommon/kzstring.h>

#include <cstdint>

#include "platform/platform.h"

// The requested capacity of every new block, from KZ_INITIAL_STRING_BLOCK_SIZE
// (library/globals.cpp). 0 until the module's last static initialiser runs.
extern std::uint32_t g_initialBlockSize;

// The longest text a block holds, in characters. Doubling stays within 32
// bits and a buffer's byte size within size_t on every platform.
constexpr std::uint32_t kMaxBlockCapacity = 0x7FFFFFFEu;

struct CKZStringBlock {
  enum AllocKind : std::uint8_t { AllocCRT = 1, AllocOLE = 2, AllocBSTR = 3 };

  std::uint32_t refCount;  // first field: CKZString's inline copy reads it
  std::uint32_t wideLength;
  std::uint32_t mbsLength;
  WCHAR* wideBuffer;
  char* mbsBuffer;
  std::uint32_t capacity;
  std::uint8_t mbsAllocKind;
  std::uint8_t wideAllocKind;

  // A new block holding `length` units (bytes) copied in the manner of
  // wcsncpy (strncpy): the copy stops at the text's first zero and pads with
  // zeros, so the length stays `length`. A null text leaves the buffer for
  // the caller to fill (the length field is set, the terminator is not).
  // Capacity: `requested` if length < requested, else requested + length.
  // Returns nullptr when the length is beyond kMaxBlockCapacity or memory is
  // exhausted; callers store that as a null string.
  static CKZStringBlock* CreateWide(const WCHAR* text, std::uint32_t length,
                                    std::uint32_t requested);
  static CKZStringBlock* CreateWide(const WCHAR* text, std::uint32_t length) {
    return CreateWide(text, length, g_initialBlockSize);
  }
  static CKZStringBlock* CreateMbs(const char* text, std::uint32_t length,
                                   std::uint32_t requested);
  static CKZStringBlock* CreateMbs(const char* text, std::uint32_t length) {
    return CreateMbs(text, length, g_initialBlockSize);
  }
  // A block around a buffer that the caller allocated with `allocKind`; the
  // capacity is the text's length.
  static CKZStringBlock* AttachWide(WCHAR* buffer, std::uint8_t allocKind);
  static CKZStringBlock* AttachMbs(char* buffer, std::uint8_t allocKind);

  // Builds the missing form from the other one and keeps it.
  void EnsureWide();
  void EnsureMbs();
  // Grows the one existing buffer to at least `needed` characters by
  // doubling `capacity`, through the buffer's own allocator.
  void ReserveWide(std::uint32_t needed);
  void ReserveMbs(std::uint32_t needed);

  // Frees one buffer by its kind and forgets it.
  void DropWide();
  void DropMbs();

  // Both length fields, when the locale makes them one number.
  void SetLength(std::uint32_t length);
};

// Capacity rule: R when L < R, else R + L (saturated at kMaxBlockCapacity).
std::uint32_t BlockCapacity(std::uint32_t requested, std::uint32_t length);

// A single-byte locale: one character is one unit and one byte.
inline bool SingleByteLocale() { return MB_CUR_MAX == 1; }

// Counts of buffer operations by allocator kind, for the tests that show a
// taken-over buffer is grown and freed by its own allocator.
struct KZAllocCounters {
  unsigned long crtGrow, crtFree, oleGrow, oleFree, bstrGrow, bstrFree;
};
KZCOMMON_API KZAllocCounters KZGetAllocCounters();

#endif  // KZCOMMON_STRINGS_STRING_BLOCK_H_
