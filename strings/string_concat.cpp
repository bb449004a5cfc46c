// CKZString concatenation and insertion. A join works in one encoding and
// leaves the result in that form only; the other form comes back when it is
// asked for.
//
// Appends never measure the text on the left: its length comes from the
// block. Growth doubles the capacity through the buffer's own allocator, so
// repeated appends cost amortised constant time a character.
#include <kzcommon/kzstring.h>

#include <cstdint>
#include <cstring>

#include "platform/platform.h"

#include "strings/internal/unit_scan.h"
#include "strings/string_block.h"

namespace {

bool LiesIn(const void* p, const void* buffer, std::size_t bytes) {
  if (buffer == nullptr) return false;
  std::uintptr_t at = reinterpret_cast<std::uintptr_t>(p);
  std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(buffer);
  return at >= begin && at - begin < bytes;
}

// Whether `source` points into one of the block's buffers, from its start up
// to its terminator or the end of its capacity, whichever is further. Every
// buffer holds at least that much.
bool InBlock(const CKZStringBlock* block, const void* source) {
  if (block == nullptr) return false;
  std::size_t cap = block->capacity;
  std::size_t wide = block->wideLength > cap ? block->wideLength : cap;
  std::size_t mbs = block->mbsLength > cap ? block->mbsLength : cap;
  return LiesIn(source, block->wideBuffer, (wide + 1) * sizeof(WCHAR)) ||
         LiesIn(source, block->mbsBuffer, mbs + 1);
}

// Length() == 0 without building a form: a multibyte text converts to no
// wide units exactly when its first byte is zero. Keeps repeated appends to
// a multibyte-only value in a multibyte locale free of conversions.
bool HasNoText(const CKZStringBlock* block) {
  if (block == nullptr) return true;
  if (block->wideBuffer != nullptr) return block->wideLength == 0;
  if (SingleByteLocale()) return block->mbsLength == 0;
  return block->mbsBuffer[0] == 0;
}

// g_initialBlockSize + right + left, saturated where it would pass the
// largest block.
std::uint32_t JoinCapacity(std::uint32_t left, std::uint32_t right) {
  std::uint64_t r =
      static_cast<std::uint64_t>(g_initialBlockSize) + left + right;
  return r > kMaxBlockCapacity ? kMaxBlockCapacity
                               : static_cast<std::uint32_t>(r);
}

}  // namespace

void CKZString::AppendWide(const WCHAR* text, ULONG count) {
  CKZStringBlock* block = m_block;
  const std::uint32_t length = block->wideLength;
  // A converted form can be longer than the capacity: compare without
  // letting capacity - length wrap.
  if (length > block->capacity || count > block->capacity - length) {
    block->ReserveWide(length + count);
  }
  // The terminator comes with the source.
  std::memcpy(block->wideBuffer + length, text,
              (static_cast<std::size_t>(count) + 1) * sizeof(WCHAR));
  block->wideLength = length + count;
  // The block has no multibyte form now, so its length field is read only
  // in a single-byte locale, where it must equal the wide length: setting it
  // always spares asking for the locale on every append.
  block->mbsLength = length + count;
}

void CKZString::AppendMbs(const char* text, ULONG count) {
  CKZStringBlock* block = m_block;
  const std::uint32_t length = block->mbsLength;
  if (length > block->capacity || count > block->capacity - length) {
    block->ReserveMbs(length + count);
  }
  std::memcpy(block->mbsBuffer + length, text,
              static_cast<std::size_t>(count) + 1);
  block->mbsLength = length + count;
  block->wideLength = length + count;  // as above, with the roles changed
}

CKZString CKZString::operator+(const CKZString& right) const {
  const ULONG left = Length();
  const ULONG rightLength = right.Length();
  if (left == 0) return right;
  if (rightLength == 0) return *this;
  // Both lengths are taken, so in a multibyte locale both wide forms exist
  // by now and the choice is wide.
  if (!(HasWide() && right.HasWide()) && HasMbs() && right.HasMbs()) {
    return *this + static_cast<const char*>(right);
  }
  return *this + static_cast<const WCHAR*>(right);
}

CKZString CKZString::operator+(const WCHAR* right) const {
  if (right == nullptr) return *this;
  const ULONG left = Length();
  if (left == 0) return CKZString(right);
  const std::uint32_t rightLength = WideTextLength(right);
  // The new block fits the result and keeps the usual room to spare: the
  // append below never grows it.
  const WCHAR* form = static_cast<const WCHAR*>(*this);
  CKZString result(CKZStringBlock::CreateWide(nullptr, left,
                                              JoinCapacity(left, rightLength)));
  if (result.m_block != nullptr) {
    kzscan::CopyFormUpToZero(result.m_block->wideBuffer, form,
                             m_block->wideLength, left);
    result.AppendWide(right, rightLength);
  }
  return result;
}

CKZString CKZString::operator+(const char* right) const {
  if (right == nullptr) return *this;
  if (HasNoText(m_block)) return CKZString(right);
  const std::uint32_t rightLength = MbsTextLength(right);
  // All of the left text's bytes, however many a character takes.
  const ULONG left = MbsLength();
  CKZString result(CKZStringBlock::CreateMbs(
      static_cast<const char*>(*this), left, JoinCapacity(left, rightLength)));
  if (result.m_block != nullptr) result.AppendMbs(right, rightLength);
  return result;
}

CKZString CKZString::operator+(WCHAR right) const {
  const WCHAR text[2] = {right, 0};
  return *this + text;
}

CKZString CKZString::operator+(char right) const {
  const char text[2] = {right, 0};
  return *this + text;
}

// True when this value can be extended in place in the wide form: it owns
// its block alone, and the block holds text in the wide form only.
static bool OwnsWideText(const CKZStringBlock* block) {
  return block != nullptr && block->refCount == 1 &&
         block->wideBuffer != nullptr && block->mbsBuffer == nullptr &&
         block->wideLength != 0;
}

CKZString& CKZString::AppendString(const CKZString& right) {
  const CKZStringBlock* other = right.m_block;
  if (other != m_block && OwnsWideText(m_block) && other != nullptr &&
      other->wideBuffer != nullptr) {
    // Both have the wide form, so the append is wide, and there is nothing
    // to unshare: straight to the copy.
    if (other->wideLength != 0)
      AppendWide(other->wideBuffer, other->wideLength);
    return *this;
  }
  if (right.Length() == 0) return *this;
  if (Length() == 0) {
    Assign(right.m_block);
    return *this;
  }
  // `s += s`: the source would move with this value's buffer. Holding the
  // block once more sends the unsharing below down its copying path and
  // keeps the source where it is until the append is done.
  CKZString keep;
  if (right.m_block == m_block) keep = right;
  const CKZString& source = keep.m_block != nullptr ? keep : right;
  if (!(HasWide() && source.HasWide()) && HasMbs() && source.HasMbs()) {
    UnshareMbs();
    if (m_block == nullptr) return *this;
    AppendMbs(source.m_block->mbsBuffer, source.m_block->mbsLength);
    return *this;
  }
  UnshareWide();
  if (m_block == nullptr) return *this;
  // The length of the wide form, taken once it exists: in a single-byte
  // locale a multibyte length can count zero bytes that it does not reach.
  const WCHAR* text = source;
  AppendWide(text, source.m_block->wideLength);
  return *this;
}

CKZString& CKZString::operator+=(const WCHAR* right) {
  if (right == nullptr) return *this;
  // A source inside this value's own buffers: keep the block it lies in,
  // untouched, until the append is done.
  const bool inside = InBlock(m_block, right);
  if (!inside && OwnsWideText(m_block)) {
    AppendWide(right, WideTextLength(right));
    return *this;
  }
  CKZString keep;
  if (inside) keep = *this;
  if (HasNoText(m_block)) {
    Release(m_block);
    m_block = CKZStringBlock::CreateWide(right, WideTextLength(right));
    return *this;
  }
  UnshareWide();
  if (m_block == nullptr) return *this;
  AppendWide(right, WideTextLength(right));
  return *this;
}

CKZString& CKZString::operator+=(const char* right) {
  if (right == nullptr) return *this;
  CKZString keep;
  if (InBlock(m_block, right)) keep = *this;
  if (HasNoText(m_block)) {
    Release(m_block);
    m_block = CKZStringBlock::CreateMbs(right, MbsTextLength(right));
    return *this;
  }
  if (HasMbs()) {
    UnshareMbs();
    if (m_block == nullptr) return *this;
    AppendMbs(right, MbsTextLength(right));
    return *this;
  }
  // A wide-only value stays wide: the text is converted on its own.
  UnshareWide();
  if (m_block == nullptr) return *this;
  CKZString converted(right);
  const WCHAR* text = converted;
  if (text != nullptr) AppendWide(text, converted.m_block->wideLength);
  return *this;
}

CKZString& CKZString::AppendUnit(WCHAR unit) {
  const WCHAR text[2] = {unit, 0};
  return *this += text;
}

CKZString& CKZString::AppendByte(char character) {
  const char text[2] = {character, 0};
  return *this += text;
}

ULONG CKZString::Insert(ULONG position, const WCHAR* text) {
  const ULONG length = Length();
  if (position > length || length == 0) {
    *this += text;
    return Length();
  }
  if (text == nullptr) return length;
  CKZString keep;
  if (InBlock(m_block, text)) keep = *this;
  // Unsharing keeps the length measured above (see string_edit.cpp), so the
  // position lies inside the wide form.
  UnshareWide();
  if (m_block == nullptr) return 0;
  const std::uint32_t count = WideTextLength(text);
  const std::uint32_t needed = m_block->wideLength + count;
  m_block->ReserveWide(needed);
  WCHAR* buffer = m_block->wideBuffer;
  std::memmove(buffer + position + count, buffer + position,
               (static_cast<std::size_t>(m_block->wideLength - position) + 1) *
                   sizeof(WCHAR));
  std::memcpy(buffer + position, text,
              static_cast<std::size_t>(count) * sizeof(WCHAR));
  buffer[needed] = 0;
  m_block->wideLength = needed;
  if (SingleByteLocale()) m_block->mbsLength = needed;
  return needed;
}

ULONG CKZString::Insert(ULONG position, WCHAR unit) {
  const WCHAR text[2] = {unit, 0};
  return Insert(position, text);
}

ULONG CKZString::Insert(ULONG position, char unit) {
  const char text[2] = {unit, 0};
  return Insert(position, text);
}

ULONG CKZString::Insert(ULONG position, const char* text) {
  // A copy of its own, so a text inside this value's buffers is safe too.
  CKZString converted(text);
  return Insert(position, static_cast<const WCHAR*>(converted));
}
