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

// Length() == 0 without building a form: a multibyte text converts to no
// wide units exactly when its first byte is zero.
bool HasNoText(const CKZStringBlock* block) {
  if (block == nullptr) return true;
  if (block->wideBuffer != nullptr) return block->wideLength == 0;
  if (SingleByteLocale()) return block->mbsLength == 0;
  return block->mbsBuffer[0] == 0;
}

// g_initialBlockSize + right + left; the caller has made sure that left +
// right fits a block.
std::uint32_t JoinCapacity(std::uint32_t left, std::uint32_t right) {
  std::uint64_t r =
      static_cast<std::uint64_t>(g_initialBlockSize) + left + right;
  return r > kMaxBlockCapacity ? kMaxBlockCapacity
                               : static_cast<std::uint32_t>(r);
}

bool FitsBlock(std::uint32_t left, std::uint32_t right) {
  return right <= kMaxBlockCapacity && left <= kMaxBlockCapacity - right;
}

// True when this value can be extended in place in the wide form: it owns
// its block alone, and the block holds text in the wide form only.
bool OwnsWideText(const CKZStringBlock* block) {
  return block != nullptr && block->refCount == 1 &&
         block->wideBuffer != nullptr && block->mbsBuffer == nullptr &&
         block->wideLength != 0;
}

}  // namespace

// Length() == 0, for the edits that replace a value without text by a new
// block. A wide form that Length() would build in a block that this value
// owns alone goes with the block or is dropped by the unsharing after it,
// so no one could see it: such a block is measured without building it. A
// shared block gets the form, which its other sharers keep, as Length()
// gives it.
bool CKZString::HasNoTextToEdit() const {
  if (m_block != nullptr && m_block->refCount > 1) return Length() == 0;
  return HasNoText(m_block);
}

bool CKZString::AppendWide(const WCHAR* text, ULONG count) {
  CKZStringBlock* block = m_block;
  const std::uint32_t length = block->wideLength;
  // A converted form can be longer than the capacity: compare without
  // letting capacity - length wrap.
  if (length > block->capacity || count > block->capacity - length) {
    if (count > kMaxBlockCapacity - length ||
        !kzblock::ReserveWide(*block, length + count)) {
      return false;
    }
  }
  // The terminator comes with the source.
  std::memcpy(block->wideBuffer + length, text,
              (static_cast<std::size_t>(count) + 1) * sizeof(WCHAR));
  block->wideLength = length + count;
  // The block has no multibyte form now, so its length field is read only
  // in a single-byte locale, where it must equal the wide length: setting it
  // always spares asking for the locale on every append.
  block->mbsLength = length + count;
  return true;
}

bool CKZString::AppendMbs(const char* text, ULONG count) {
  CKZStringBlock* block = m_block;
  const std::uint32_t length = block->mbsLength;
  if (length > block->capacity || count > block->capacity - length) {
    if (count > kMaxBlockCapacity - length ||
        !kzblock::ReserveMbs(*block, length + count)) {
      return false;
    }
  }
  std::memcpy(block->mbsBuffer + length, text,
              static_cast<std::size_t>(count) + 1);
  block->mbsLength = length + count;
  block->wideLength = length + count;  // as above, with the roles changed
  return true;
}

// A new value: null whenever memory runs out or the result would pass the
// largest block.
CKZString CKZString::operator+(const CKZString& right) const {
  const ULONG left = Length();
  const ULONG rightLength = right.Length();
  if (left == 0) return right;
  if (rightLength == 0) return *this;
  // Both lengths are taken, so in a multibyte locale both wide forms exist
  // by now and the choice is wide.
  if (!(HasWide() && right.HasWide()) && HasMbs() && right.HasMbs()) {
    return *this + right.m_block->mbsBuffer;
  }
  const WCHAR* text = right;
  if (text == nullptr) return CKZString();
  return *this + text;
}

CKZString CKZString::operator+(const WCHAR* right) const {
  if (right == nullptr) return *this;
  const ULONG left = Length();
  if (left == 0) return CKZString(right);
  const std::uint32_t rightLength = WideTextLength(right);
  if (!FitsBlock(left, rightLength)) return CKZString();
  const WCHAR* text = *this;
  if (text == nullptr) return CKZString();
  // The new block fits the result and keeps the usual room to spare: the
  // append below never grows it.
  CKZString result(
      kzblock::CreateWide(nullptr, left, JoinCapacity(left, rightLength)));
  if (result.m_block == nullptr) return result;
  kzscan::CopyFormUpToZero(result.m_block->wideBuffer, text,
                           m_block->wideLength, left);
  if (!result.AppendWide(right, rightLength)) result.Empty();
  return result;
}

CKZString CKZString::operator+(const char* right) const {
  if (right == nullptr) return *this;
  if (Length() == 0) return CKZString(right);
  const std::uint32_t rightLength = MbsTextLength(right);
  // All of the left text's bytes, however many a character takes.
  const ULONG left = MbsLength();
  if (!FitsBlock(left, rightLength)) return CKZString();
  const char* text = *this;
  if (text == nullptr) return CKZString();
  CKZString result(
      kzblock::CreateMbs(text, left, JoinCapacity(left, rightLength)));
  if (result.m_block != nullptr && !result.AppendMbs(right, rightLength)) {
    result.Empty();
  }
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

// The appends below change nothing when memory runs out: every allocation -
// the source's form, the value's own block, the room for the text - comes
// before the first write.
CKZString& CKZString::AppendString(const CKZString& right) {
  const CKZStringBlock* other = right.m_block;
  if (other != m_block && OwnsWideText(m_block) && other != nullptr &&
      other->wideBuffer != nullptr) {
    // Both have the wide form, so the append is wide, and there is nothing
    // to unshare: straight to the copy.
    if (other->wideLength != 0) {
      static_cast<void>(AppendWide(other->wideBuffer, other->wideLength));
    }
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
    const std::uint32_t count = source.m_block->mbsLength;
    if (UnshareMbs(count)) {
      static_cast<void>(AppendMbs(source.m_block->mbsBuffer, count));
    }
    return *this;
  }
  const WCHAR* text = source;
  if (text == nullptr) return *this;
  // The length of the wide form, taken once it exists: in a single-byte
  // locale a multibyte length can count zero bytes that it does not reach.
  const std::uint32_t count = source.m_block->wideLength;
  if (UnshareWide(count)) static_cast<void>(AppendWide(text, count));
  return *this;
}

// A source that may lie in this value's own allocations (kzblock::Holds)
// could move or go with them before it is read: the value takes a copy of it
// instead, which changes nothing if there is no memory for it.
CKZString& CKZString::operator+=(const WCHAR* text) {
  if (text == nullptr) return *this;
  CKZString copy;
  if (m_block != nullptr && kzblock::Holds(*m_block, text)) {
    copy = text;
    if (copy.m_block == nullptr) return *this;
  }
  const WCHAR* right =
      copy.m_block != nullptr ? copy.m_block->wideBuffer : text;
  if (OwnsWideText(m_block)) {
    static_cast<void>(AppendWide(right, WideTextLength(right)));
    return *this;
  }
  if (HasNoTextToEdit()) {
    Replace(kzblock::CreateWide(right, WideTextLength(right)), false);
    return *this;
  }
  const std::uint32_t count = WideTextLength(right);
  if (UnshareWide(count)) static_cast<void>(AppendWide(right, count));
  return *this;
}

CKZString& CKZString::operator+=(const char* text) {
  if (text == nullptr) return *this;
  CKZString copy;
  if (m_block != nullptr && kzblock::Holds(*m_block, text)) {
    copy = text;
    if (copy.m_block == nullptr) return *this;
  }
  const char* right = copy.m_block != nullptr ? copy.m_block->mbsBuffer : text;
  if (HasNoTextToEdit()) {
    Replace(kzblock::CreateMbs(right, MbsTextLength(right)), false);
    return *this;
  }
  if (HasMbs()) {
    const std::uint32_t count = MbsTextLength(right);
    if (UnshareMbs(count)) static_cast<void>(AppendMbs(right, count));
    return *this;
  }
  // A wide-only value stays wide: the text is converted on its own, before
  // the value is touched.
  const CKZString converted(right);
  const WCHAR* wide = converted;
  if (wide == nullptr) return *this;
  const std::uint32_t count = converted.m_block->wideLength;
  if (UnshareWide(count)) static_cast<void>(AppendWide(wide, count));
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

// Returns the length, unchanged when memory runs out.
ULONG CKZString::Insert(ULONG position, const WCHAR* text) {
  const ULONG length = Length();
  if (position > length || length == 0) {
    *this += text;
    return Length();
  }
  if (text == nullptr) return length;
  CKZString copy;
  if (kzblock::Holds(*m_block, text)) {
    copy = text;
    if (copy.m_block == nullptr) return length;
    text = copy.m_block->wideBuffer;
  }
  // Unsharing keeps the length measured above (see string_edit.cpp) and
  // makes the room, so the position lies inside the wide form and nothing
  // below allocates.
  const std::uint32_t count = WideTextLength(text);
  if (!UnshareWide(count)) return length;
  const std::uint32_t needed = m_block->wideLength + count;
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
  const CKZString converted(text);
  const WCHAR* wide = converted;
  if (text != nullptr && wide == nullptr) return Length();
  return Insert(position, wide);
}
