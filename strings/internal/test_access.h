// Test-only view of a string's block: count, capacity, lengths, forms and
// allocator kinds. Never installed; only tests include it.
#ifndef KZCOMMON_STRINGS_INTERNAL_TEST_ACCESS_H_
#define KZCOMMON_STRINGS_INTERNAL_TEST_ACCESS_H_

#include <kzcommon/kzstring.h>

#include "strings/string_block.h"

struct CKZStringTestAccess {
  static const CKZStringBlock* Block(const CKZString& s) { return s.m_block; }
  static bool IsNull(const CKZString& s) { return s.m_block == nullptr; }
  static std::uint32_t RefCount(const CKZString& s) {
    return s.m_block->refCount;
  }
  static std::uint32_t Capacity(const CKZString& s) {
    return s.m_block->capacity;
  }
  static std::uint32_t WideLength(const CKZString& s) {
    return s.m_block->wideLength;
  }
  static std::uint32_t MbsLength(const CKZString& s) {
    return s.m_block->mbsLength;
  }
  static bool HasWide(const CKZString& s) {
    return s.m_block != nullptr && s.m_block->wideBuffer != nullptr;
  }
  static bool HasMbs(const CKZString& s) {
    return s.m_block != nullptr && s.m_block->mbsBuffer != nullptr;
  }
  static const WCHAR* WideBuffer(const CKZString& s) {
    return s.m_block->wideBuffer;
  }
  static const char* MbsBuffer(const CKZString& s) {
    return s.m_block->mbsBuffer;
  }
  static int WideKind(const CKZString& s) { return s.m_block->wideAllocKind; }
  static int MbsKind(const CKZString& s) { return s.m_block->mbsAllocKind; }
  // Takes one form out of the block, as unsharing does when it drops a form,
  // and hands the buffer to the caller, who frees it by its kind. The other
  // form must exist, so that the block keeps one.
  static WCHAR* TakeWide(CKZString& s) {
    WCHAR* wide = s.m_block->wideBuffer;
    s.m_block->wideBuffer = nullptr;
    return wide;
  }
  static char* TakeMbs(CKZString& s) {
    char* mbs = s.m_block->mbsBuffer;
    s.m_block->mbsBuffer = nullptr;
    return mbs;
  }
  // Protected members, for the tests of the comparison and format paths.
  static int Compare(const CKZString& s, const char* t, bool ignoreCase) {
    return s.Compare(t, ignoreCase);
  }
  static int Compare(const CKZString& s, const WCHAR* t, bool ignoreCase) {
    return s.Compare(t, ignoreCase);
  }
  static int Compare(const CKZString& s, const CKZString& t) {
    return s.Compare(t);
  }
  static void VCompose(CKZString& s, ULONG size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    s.VCompose(size, format, args);
    va_end(args);
  }
  static void VCompose(CKZString& s, ULONG size, const WCHAR* format, ...) {
    va_list args;
    va_start(args, format);
    s.VCompose(size, format, args);
    va_end(args);
  }
};

#endif  // KZCOMMON_STRINGS_INTERNAL_TEST_ACCESS_H_
