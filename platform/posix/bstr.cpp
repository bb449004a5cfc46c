// BSTR: a 16-bit text with its byte length in the four bytes before it and a
// terminator after it. The header is eight bytes, so that the text is aligned
// as on 64-bit Windows; the length sits in the second four.
// These are the allocators themselves: no test-build routing here.
#define KZ_DEFINING_ALLOCATORS

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/platform.h"

namespace {

constexpr std::size_t kHeader = 8;
// Windows refuses lengths whose byte size leaves 32 bits.
constexpr UINT kMaxLength = 0x7FFFFFFEu / sizeof(OLECHAR);

char* Base(BSTR bstr) { return reinterpret_cast<char*>(bstr) - kHeader; }

std::uint32_t& ByteLength(char* base) {
  return *reinterpret_cast<std::uint32_t*>(base + 4);
}

std::size_t AllocSize(UINT length) {
  return kHeader + (static_cast<std::size_t>(length) + 1) * sizeof(OLECHAR);
}

BSTR TextOf(char* base) { return reinterpret_cast<BSTR>(base + kHeader); }

}  // namespace

// SysAllocStringLen
//
// PARAMS   text [I] units to copy, may hold zeros, or nullptr; length [I]
//          units
// RETURNS  a new BSTR of `length` units and a terminator; nullptr if the
//          length is too large or memory is exhausted
// NOTES    With a null text Windows leaves the text unset; here it is zeros,
//          so nothing uninitialised is ever read.
BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
  if (length > kMaxLength) return nullptr;
  char* base = static_cast<char*>(std::malloc(AllocSize(length)));
  if (base == nullptr) return nullptr;
  ByteLength(base) = static_cast<std::uint32_t>(length * sizeof(OLECHAR));
  BSTR bstr = TextOf(base);
  if (text != nullptr) {
    std::memcpy(bstr, text, length * sizeof(OLECHAR));
  } else {
    std::memset(bstr, 0, length * sizeof(OLECHAR));
  }
  bstr[length] = 0;
  return bstr;
}

// SysAllocString
//
// PARAMS   text [I] zero-terminated text, or nullptr
// RETURNS  a new BSTR of the text up to its terminator; nullptr for a null
//          text or exhausted memory
BSTR SysAllocString(const OLECHAR* text) {
  if (text == nullptr) return nullptr;
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  if (length > kMaxLength) return nullptr;
  return SysAllocStringLen(text, static_cast<UINT>(length));
}

// SysReAllocStringLen
//
// PARAMS   bstr [I/O] BSTR to resize (or to allocate, if *bstr is null);
//          text [I] new text, may be *bstr itself or lie inside it, or
//          nullptr; length [I] length in 16-bit units
// RETURNS  TRUE on success; FALSE if the length is too large or memory is
//          exhausted, and *bstr is then unchanged
// NOTES    As on Windows, a text equal to *bstr, or a null text, keeps the
//          old contents (a resize, no copy). A text inside *bstr is copied
//          before the old buffer goes, never read past the old buffer's end.
INT SysReAllocStringLen(BSTR* bstr, const OLECHAR* text, UINT length) {
  if (bstr == nullptr || length > kMaxLength) return FALSE;
  if (*bstr == nullptr) {
    *bstr = SysAllocStringLen(text, length);
    return *bstr != nullptr ? TRUE : FALSE;
  }
  BSTR old = *bstr;
  std::size_t oldUnits = ByteLength(Base(old)) / sizeof(OLECHAR);
  bool inside = text != nullptr && text > old && text <= old + oldUnits;
  if (text == nullptr || text == old) {
    char* base = static_cast<char*>(std::realloc(Base(old), AllocSize(length)));
    if (base == nullptr) return FALSE;
    ByteLength(base) = static_cast<std::uint32_t>(length * sizeof(OLECHAR));
    *bstr = TextOf(base);
    if (length > oldUnits) {
      // Keep the old text; what lies beyond it is defined as zeros.
      std::memset(*bstr + oldUnits, 0, (length - oldUnits) * sizeof(OLECHAR));
    }
    (*bstr)[length] = 0;
    return TRUE;
  }
  BSTR fresh = SysAllocStringLen(nullptr, length);
  if (fresh == nullptr) return FALSE;
  std::size_t copy = length;
  if (inside) {
    std::size_t available = static_cast<std::size_t>(old + oldUnits - text);
    if (copy > available) copy = available;
  }
  std::memcpy(fresh, text, copy * sizeof(OLECHAR));
  SysFreeString(old);
  *bstr = fresh;
  return TRUE;
}

// SysFreeString
//
// PARAMS   bstr [I] BSTR to free, or nullptr (ignored)
void SysFreeString(BSTR bstr) {
  if (bstr != nullptr) std::free(Base(bstr));
}

// SysStringLen
//
// PARAMS   bstr [I] BSTR, or nullptr
// RETURNS  its length in units from the prefix (zeros inside count); 0 for
//          nullptr
UINT SysStringLen(BSTR bstr) {
  if (bstr == nullptr) return 0;
  return ByteLength(Base(bstr)) / sizeof(OLECHAR);
}
