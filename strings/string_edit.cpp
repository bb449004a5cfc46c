// CKZString editing: unsharing, case mapping, truncation, the copying cuts
// and replacing a unit. Every edit works on the wide form of a block that
// this value owns alone.
//
// One text has a length that its wide form does not reach: a multibyte-only
// text with zero bytes inside (from the counted constructor) in a single-byte
// locale. Length() gives its byte length there, while the wide form built
// from it ends at the first zero byte. Unsharing pads the wide form with zero
// units up to the length measured before, so the zeros stay part of the text
// and every position or count taken from Length() lies inside the wide
// buffer: "ab\0\0\0" truncated left by 3 is two zero units, SetAt(4, 'x')
// gives "ab\0\0x", and SubString(3) is two zero units.
#include <kzcommon/kzstring.h>

#include <cstddef>
#include <cstring>

#include "platform/platform.h"

#include "strings/internal/unit_scan.h"
#include "strings/internal/wide_scan.h"
#include "strings/string_block.h"

namespace {

// Fills the wide form with zero units up to `length`; the caller owns the
// block alone, it holds the wide form only, and its capacity reaches
// `length`.
void PadWide(CKZStringBlock* block, std::uint32_t length) {
  if (block->wideLength >= length) return;
  for (std::uint32_t i = block->wideLength; i <= length; ++i) {
    block->wideBuffer[i] = 0;
  }
  block->wideLength = length;
  if (SingleByteLocale()) block->mbsLength = length;
}

void PadMbs(CKZStringBlock* block, std::uint32_t length) {
  if (block->mbsLength >= length) return;
  std::memset(block->mbsBuffer + block->mbsLength, 0,
              static_cast<std::size_t>(length - block->mbsLength) + 1);
  block->mbsLength = length;
  if (SingleByteLocale()) block->wideLength = length;
}

// Sets the length after an edit of the wide form: both fields where the
// locale makes them one number, else the wide one only.
void SetWideLength(CKZStringBlock* block, std::uint32_t length) {
  block->wideLength = length;
  if (SingleByteLocale()) block->mbsLength = length;
}

// The capacity of a block made by unsharing a text of `length` for an edit
// that needs `needed`: what the capacity rule gives the copy, grown as the
// edit would grow it. 0 when `needed` is beyond the largest block.
std::uint32_t UnsharedCapacity(std::uint32_t length, std::uint32_t needed) {
  return GrownCapacity(BlockCapacity(g_initialBlockSize, length), needed);
}

}  // namespace

// Every allocation comes before the first change: the shared block's missing
// form (which its other sharers may keep, as after a read), the copy, or the
// growth of the buffer for the room asked for. Only then is anything dropped
// or released, so a failure leaves every value as it was.
bool CKZString::UnshareWide(std::uint32_t room) {
  if (m_block == nullptr) return true;
  // Taken before the wide form exists: see the note at the top.
  const std::uint32_t length = Length();
  if (room > kMaxBlockCapacity - length) return false;
  const std::uint32_t needed = length + room;
  if (!kzblock::EnsureWide(*m_block)) return false;
  if (m_block->refCount > 1) {
    // The shared block keeps both forms for its other sharers. The copy is
    // padded with zeros where the wide form is shorter than `length`.
    const std::uint32_t capacity = UnsharedCapacity(length, needed);
    CKZStringBlock* own =
        capacity == 0 ? nullptr
                      : kzblock::CreateWideSized(nullptr, length, capacity);
    if (own == nullptr) return false;
    kzscan::CopyFormUpToZero(own->wideBuffer, m_block->wideBuffer,
                             m_block->wideLength, length);
    Release(m_block);
    m_block = own;
    return true;
  }
  if (!kzblock::ReserveWide(*m_block, needed)) return false;
  kzblock::DropMbs(*m_block);
  PadWide(m_block, length);
  return true;
}

bool CKZString::UnshareMbs(std::uint32_t room) {
  if (m_block == nullptr) return true;
  const std::uint32_t length = MbsLength();
  if (room > kMaxBlockCapacity - length) return false;
  const std::uint32_t needed = length + room;
  if (!kzblock::EnsureMbs(*m_block)) return false;
  if (m_block->refCount > 1) {
    const std::uint32_t capacity = UnsharedCapacity(length, needed);
    CKZStringBlock* own =
        capacity == 0
            ? nullptr
            : kzblock::CreateMbsSized(m_block->mbsBuffer, length, capacity);
    if (own == nullptr) return false;
    Release(m_block);
    m_block = own;
    return true;
  }
  if (!kzblock::ReserveMbs(*m_block, needed)) return false;
  kzblock::DropWide(*m_block);
  PadMbs(m_block, length);
  return true;
}

namespace {

template <typename Map>
void MapUnits(WCHAR* text, Map map) {
  // Up to the first zero unit: units behind a zero inside the text stay.
  for (; *text != 0; ++text) *text = map(*text);
}

}  // namespace

void CKZString::MakeLowerCase() {
  if (m_block == nullptr || !UnshareWide()) return;
  MapUnits(m_block->wideBuffer, platform::towlower);
}

void CKZString::MakeUpperCase() {
  if (m_block == nullptr || !UnshareWide()) return;
  MapUnits(m_block->wideBuffer, platform::towupper);
}

void CKZString::TruncateLeft(ULONG count) {
  if (count == 0 || m_block == nullptr) return;
  const std::uint32_t length = Length();
  if (length <= count) {
    Release(m_block);
    return;
  }
  if (!UnshareWide()) return;
  const std::uint32_t rest = length - count;
  WCHAR* text = m_block->wideBuffer;
  std::memmove(text, text + count,
               (static_cast<std::size_t>(rest) + 1) * sizeof(WCHAR));
  SetWideLength(m_block, rest);
}

void CKZString::TruncateRight(ULONG count) {
  if (count == 0 || m_block == nullptr) return;
  const std::uint32_t length = Length();
  if (length <= count) {
    Release(m_block);
    return;
  }
  if (!UnshareWide()) return;
  const std::uint32_t rest = length - count;
  SetWideLength(m_block, rest);
  m_block->wideBuffer[rest] = 0;
}

// The part [from, from + n) of this text as its own block, as copying the
// whole text and truncating the copy would leave it: the capacity that the
// whole length gets, units from the text's first zero on read as zeros, and
// the lengths that a truncation sets. Only the part is copied.
CKZString CKZString::CopyPart(std::uint32_t length, std::uint32_t from,
                              std::uint32_t n) const {
  if (!kzblock::EnsureWide(*m_block)) return CKZString();
  const WCHAR* text = m_block->wideBuffer;
  CKZStringBlock* part = kzblock::CreateWide(nullptr, length);
  if (part == nullptr) return CKZString();
  // The form's own units end at its terminator, which may come before
  // from + n (see the note at the top): the scan stops there at the latest.
  const std::size_t reach = std::size_t{m_block->wideLength} + 1;
  const std::size_t end = std::size_t{from} + n;
  const std::uint32_t firstZero = static_cast<std::uint32_t>(
      kzscan::best::FirstOf(text, end < reach ? end : reach, 0));
  const std::uint32_t copied = firstZero > from ? firstZero - from : 0;
  std::memcpy(part->wideBuffer, text + from, copied * sizeof(WCHAR));
  std::memset(part->wideBuffer + copied, 0,
              (static_cast<std::size_t>(n) - copied + 1) * sizeof(WCHAR));
  SetWideLength(part, n);
  return CKZString(part);
}

CKZString CKZString::Left(ULONG n) const {
  if (n == 0) return CKZString();
  const std::uint32_t length = Length();
  if (length == 0) return CKZString();
  if (n >= length) return *this;
  return CopyPart(length, 0, n);
}

CKZString CKZString::Right(ULONG n) const {
  if (n == 0) return CKZString();
  const std::uint32_t length = Length();
  if (length == 0) return CKZString();
  if (n >= length) return *this;
  return CopyPart(length, length - n, n);
}

CKZString CKZString::SubString(ULONG start, ULONG count) const {
  if (m_block == nullptr) return CKZString();
  const std::uint32_t length = Length();
  if (length <= start) return CKZString();
  std::uint32_t n = count == 0xFFFFFFFFu ? length : count;
  // Compared as a difference: start + count may not fit 32 bits.
  if (n >= length - start) n = length - start;
  if (start == 0 && n >= length) return *this;
  if (!kzblock::EnsureWide(*m_block)) return CKZString();
  // A start past the wide form (zero bytes that it does not reach) reads
  // from its terminator; the part is then padded with zeros.
  const std::uint32_t at =
      start <= m_block->wideLength ? start : m_block->wideLength;
  CKZStringBlock* part = kzblock::CreateWide(nullptr, n);
  if (part == nullptr) return CKZString();
  kzscan::CopyFormUpToZero(part->wideBuffer, m_block->wideBuffer + at,
                           m_block->wideLength - at, n);
  return CKZString(part);
}

bool CKZString::SetAt(ULONG position, WCHAR unit) {
  if (position >= Length() || !UnshareWide()) return false;
  m_block->wideBuffer[position] = unit;
  return true;
}
