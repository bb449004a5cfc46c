// CKZStringBlock: the reference-counted storage behind CKZString.
//
// One text in up to two forms, wide and multibyte, with one capacity for the
// buffer that grows. Each buffer remembers the allocator that owns it, so a
// buffer taken over from a caller is grown and freed by its maker. Only
// CKZString touches a block. The record itself stands in <kzcommon/kzstring.h>
// for the inline paths; its operations are here, out of the clients' sight.
//
// Exhausted memory: an operation that cannot allocate says so (nullptr or
// false) and leaves the block exactly as it was.
#ifndef KZCOMMON_STRINGS_STRING_BLOCK_H_
#define KZCOMMON_STRINGS_STRING_BLOCK_H_

#include <kzcommon/kzstring.h>

#include <cstdint>

#include "platform/platform.h"

// The requested capacity of every new block, from KZ_INITIAL_STRING_BLOCK_SIZE
// (library/globals.cpp). 0 until the module's last static initialiser runs.
extern std::uint32_t g_initialBlockSize;

// The longest text a block holds, in characters. Doubling stays within 32
// bits and a buffer's byte size within size_t on every platform. A text or a
// growth beyond it is refused like an allocation that fails.
constexpr std::uint32_t kMaxBlockCapacity = 0x7FFFFFFEu;

// Length of a zero-terminated text. A text longer than a block can hold
// comes out as kMaxBlockCapacity + 1, which every block operation refuses;
// its sum with a block's length still fits 32 bits.
std::uint32_t WideTextLength(const WCHAR* text);
std::uint32_t MbsTextLength(const char* text);

// Capacity rule: R when L < R, else R + L (saturated at kMaxBlockCapacity).
std::uint32_t BlockCapacity(std::uint32_t requested, std::uint32_t length);

// The capacity that growth to `needed` reaches: doublings of `capacity` (of 1
// for 0), never the needed length itself, saturated at kMaxBlockCapacity;
// `capacity` itself when it suffices, and 0 when `needed` is beyond the
// largest block.
std::uint32_t GrownCapacity(std::uint32_t capacity, std::uint32_t needed);

// A single-byte locale: one character is one unit and one byte.
inline bool SingleByteLocale() { return MB_CUR_MAX == 1; }

namespace kzblock {

// A new block holding `length` units (bytes) copied in the manner of
// wcsncpy (strncpy): the copy stops at the text's first zero and pads with
// zeros, so the length stays `length`. A null text leaves the buffer for
// the caller to fill (the length field is set, the terminator is not).
// Capacity: the capacity rule with `requested`, by default the initial block
// size. nullptr when the length is beyond the largest block or memory is
// exhausted; callers store that as a null string.
CKZStringBlock* CreateWide(const WCHAR* text, std::uint32_t length,
                           std::uint32_t requested);
CKZStringBlock* CreateWide(const WCHAR* text, std::uint32_t length);
CKZStringBlock* CreateMbs(const char* text, std::uint32_t length,
                          std::uint32_t requested);
CKZStringBlock* CreateMbs(const char* text, std::uint32_t length);
// The same with a capacity given outright, at least `length`: for an
// unsharing that makes room for the edit after it in the same allocation.
CKZStringBlock* CreateWideSized(const WCHAR* text, std::uint32_t length,
                                std::uint32_t capacity);
CKZStringBlock* CreateMbsSized(const char* text, std::uint32_t length,
                               std::uint32_t capacity);

// A block around a buffer that the caller allocated with `allocKind`; the
// capacity is the text's length. When the record cannot be allocated the
// buffer, which the caller gave away, is freed by its kind: nullptr.
CKZStringBlock* AttachWide(WCHAR* buffer, std::uint8_t allocKind);
CKZStringBlock* AttachMbs(char* buffer, std::uint8_t allocKind);

// The allocator kind of a wide buffer that lies in the record's own
// allocation, right behind it: freed with the record, and moved out to a
// buffer of the malloc kind when it has to grow.
constexpr std::uint8_t kAllocInRecord = 4;

// A wide-only block of `length` units copied from `text`, which holds no
// zero among them, with its buffer in the record's allocation and room for
// exactly the text: one allocation instead of two, for the many small values
// that are read far more than edited (the tokens of a list). nullptr when
// the length is beyond the largest block or memory is exhausted.
CKZStringBlock* CreateWideInRecord(const WCHAR* text, std::uint32_t length);

// Builds the missing form from the other one and keeps it; true if the form
// is there afterwards.
[[nodiscard]] bool EnsureWide(CKZStringBlock& block);
[[nodiscard]] bool EnsureMbs(CKZStringBlock& block);
// The length that EnsureWide (EnsureMbs) gives the form, counted without
// building it: what a length query answers when the form can't be built.
std::uint32_t CountWide(const CKZStringBlock& block);
std::uint32_t CountMbs(const CKZStringBlock& block);

// Grows the one existing buffer to at least `needed` characters by doubling
// `capacity`, through the buffer's own allocator; a buffer in the record
// moves out to one of the malloc kind. False when `needed` is beyond the
// largest block or the allocator fails; the buffer stays then.
[[nodiscard]] bool ReserveWide(CKZStringBlock& block, std::uint32_t needed);
[[nodiscard]] bool ReserveMbs(CKZStringBlock& block, std::uint32_t needed);

// Frees one buffer by its kind and forgets it.
void DropWide(CKZStringBlock& block);
void DropMbs(CKZStringBlock& block);
// Frees the buffers, each by its allocator, then the record.
void Destroy(CKZStringBlock* block);

// Whether `p` may point into one of the block's allocations: a text there
// goes when the block's buffers are grown or dropped. A buffer that the block
// allocated reaches to its capacity or its text's terminator, whichever is
// further; a BSTR taken over, to its own length. Any other buffer taken over
// has a size that the block doesn't know: while the block holds one, every
// address counts, until the buffer's first growth or its drop.
bool Holds(const CKZStringBlock& block, const void* p);

}  // namespace kzblock

#if defined(KZ_TEST_HOOKS)
// Counts of buffer operations by allocator kind, for the tests that show a
// taken-over buffer is grown and freed by its own allocator. Test builds only.
struct KZAllocCounters {
  unsigned long crtGrow, crtFree, oleGrow, oleFree, bstrGrow, bstrFree;
};
KZAllocCounters KZGetAllocCounters();
#endif

#endif  // KZCOMMON_STRINGS_STRING_BLOCK_H_
