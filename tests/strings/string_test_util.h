// Helpers for the string tests: buffers made by each allocator that the
// Attach operations take over, and counts of buffer frees by kind.
#ifndef KZCOMMON_TESTS_STRINGS_STRING_TEST_UTIL_H_
#define KZCOMMON_TESTS_STRINGS_STRING_TEST_UTIL_H_

#include <kzcommon/kzcommon.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "strings/string_block.h"

namespace kztest {

using WString = std::basic_string<WCHAR>;

inline std::size_t WideLen(const WCHAR* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// ASCII text as wide text.
inline WString Widen(const char* text) {
  WString out;
  for (; *text != 0; ++text) out.push_back(static_cast<WCHAR>(*text));
  return out;
}

inline char* MallocMbs(const char* text) {
  std::size_t bytes = std::strlen(text) + 1;
  char* p = static_cast<char*>(std::malloc(bytes));
  std::memcpy(p, text, bytes);
  return p;
}
inline WCHAR* MallocWide(const WCHAR* text) {
  std::size_t bytes = (WideLen(text) + 1) * sizeof(WCHAR);
  WCHAR* p = static_cast<WCHAR*>(std::malloc(bytes));
  std::memcpy(p, text, bytes);
  return p;
}
inline char* OleMbs(const char* text) {
  std::size_t bytes = std::strlen(text) + 1;
  char* p = static_cast<char*>(CoTaskMemAlloc(bytes));
  std::memcpy(p, text, bytes);
  return p;
}
inline WCHAR* OleWide(const WCHAR* text) {
  std::size_t bytes = (WideLen(text) + 1) * sizeof(WCHAR);
  WCHAR* p = static_cast<WCHAR*>(CoTaskMemAlloc(bytes));
  std::memcpy(p, text, bytes);
  return p;
}
inline BSTR Bstr(const WCHAR* text) {
  return SysAllocString(reinterpret_cast<const OLECHAR*>(text));
}

// The five ways of taking a buffer over, each with the allocator it names.
enum class AttachOp { kCrtMbs, kCrtWide, kOleMbs, kOleWide, kBstr };

inline bool AttachesWide(AttachOp op) {
  return op == AttachOp::kCrtWide || op == AttachOp::kOleWide ||
         op == AttachOp::kBstr;
}

// Allocates `mbs` (or `wide`, for the wide operations) by the operation's
// allocator and hands it to `s`; returns the buffer's address.
inline const void* AttachNew(CKZString& s, AttachOp op, const char* mbs,
                             const WCHAR* wide) {
  switch (op) {
    case AttachOp::kCrtMbs: {
      char* p = MallocMbs(mbs);
      s.Attach_CRT(p);
      return p;
    }
    case AttachOp::kCrtWide: {
      WCHAR* p = MallocWide(wide);
      s.Attach_CRT(p);
      return p;
    }
    case AttachOp::kOleMbs: {
      char* p = OleMbs(mbs);
      s.Attach_OLE(p);
      return p;
    }
    case AttachOp::kOleWide: {
      WCHAR* p = OleWide(wide);
      s.Attach_OLE(p);
      return p;
    }
    case AttachOp::kBstr: {
      BSTR p = Bstr(wide);
      s.Attach_BSTR(p);
      return p;
    }
  }
  return nullptr;
}

// Frees of buffers by allocator kind since construction.
class FreeCounts {
 public:
  FreeCounts() : start_(KZGetAllocCounters()) {}
  unsigned long Crt() const {
    return KZGetAllocCounters().crtFree - start_.crtFree;
  }
  unsigned long Ole() const {
    return KZGetAllocCounters().oleFree - start_.oleFree;
  }
  unsigned long Bstr() const {
    return KZGetAllocCounters().bstrFree - start_.bstrFree;
  }

 private:
  KZAllocCounters start_;
};

}  // namespace kztest

#endif  // KZCOMMON_TESTS_STRINGS_STRING_TEST_UTIL_H_
