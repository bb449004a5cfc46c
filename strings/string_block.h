// CKZStringBlock: the reference-counted storage behind CKZString.
//
// One text in up to two forms, wide and multibyte, with one capacity for the
// buffer that grows. Each buffer remembers the allocator that owns it, so a
// buffer taken over from a caller is grown and freed by its maker. Only
// CKZString touches a block. The record itself stands in <kzcommon/kzstring.h>.
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

// Length of a zero-terminated text. A text longer than a block can hold
// comes out as kMaxBlockCapacity + 1, which CreateWide and CreateMbs refuse;
// its sum with a block's length still fits 32 bits.
std::uint32_t WideTextLength(const WCHAR* text);
std::uint32_t MbsTextLength(const char* text);

// Frees the buffers, each by its allocator, then the record.
void DestroyBlock(CKZStringBlock* block);

// The allocator kind of a wide buffer that lies in the record's own
// allocation, right behind it: freed with the record, and moved to a buffer
// of the malloc kind when it has to grow.
constexpr std::uint8_t kAllocInRecord = 4;

// A wide-only block of `length` units copied from `text`, which holds no
// zero among them, with its buffer in the record's allocation and room for
// exactly the text: one allocation instead of two, for the many small
// values that are read far more than edited (the tokens of a list).
// nullptr when the length is beyond the largest block or memory ran out.
CKZStringBlock* CreateWideInRecord(const WCHAR* text, std::uint32_t length);

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
