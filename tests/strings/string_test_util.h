// Helpers for the string tests: wide text from ASCII or units, values made
// with a chosen set of forms, buffers made by each allocator that the Attach
// operations take over, and counts of buffer grows and frees by kind.
#ifndef KZCOMMON_TESTS_STRINGS_STRING_TEST_UTIL_H_
#define KZCOMMON_TESTS_STRINGS_STRING_TEST_UTIL_H_

#include <kzcommon/kzcommon.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

#include "strings/internal/test_access.h"
#include "strings/string_block.h"

namespace kztest {

using WString = std::basic_string<WCHAR>;

inline std::size_t WideLen(const WCHAR* text) {
  std::size_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// ASCII text (zeros included) as wide text.
inline WString Widen(const std::string& text) {
  return WString(text.begin(), text.end());
}

// Wide text from its units, zeros and surrogates included.
inline WString Units(std::initializer_list<unsigned> units) {
  WString out;
  for (unsigned u : units) out.push_back(static_cast<WCHAR>(u));
  return out;
}

// Wide text from ASCII for the wide overloads; null stays null.
class WideOrNull {
 public:
  explicit WideOrNull(const char* ascii)
      : null_(ascii == nullptr), text_(Widen(null_ ? "" : ascii)) {}
  const WCHAR* get() const { return null_ ? nullptr : text_.c_str(); }

 private:
  bool null_;
  WString text_;
};

// Bit set: which forms a block holds.
enum Forms : int { kNoForm = 0, kWideOnly = 1, kMbsOnly = 2, kBothForms = 3 };

inline int FormsOf(const CKZString& s) {
  return (CKZStringTestAccess::HasWide(s) ? kWideOnly : 0) |
         (CKZStringTestAccess::HasMbs(s) ? kMbsOnly : 0);
}

// A value holding one text, given in both spellings, in exactly the forms
// asked for. Both forms start from the wide one, so that a wide text with no
// multibyte spelling gets the one the conversion gives it.
inline CKZString Make(const char* bytes, const WCHAR* wide, Forms forms) {
  CKZString s;
  if (forms == kMbsOnly) {
    s = bytes;
  } else {
    s = wide;
  }
  if (forms == kBothForms) static_cast<void>(static_cast<const char*>(s));
  return s;
}
// The same for ASCII text; null for nullptr.
inline CKZString Make(const char* ascii, Forms forms) {
  if (ascii == nullptr) return CKZString();
  return Make(ascii, Widen(ascii).c_str(), forms);
}

// `units` units of `text` and a terminator, by malloc or the task allocator.
template <typename Unit>
Unit* CopyOf(const Unit* text, std::size_t units, bool ole) {
  const std::size_t bytes = (units + 1) * sizeof(Unit);
  void* p = ole ? CoTaskMemAlloc(bytes) : std::malloc(bytes);
  if (p != nullptr) std::memcpy(p, text, bytes);
  return static_cast<Unit*>(p);
}
inline char* MallocMbs(const char* text) {
  return text == nullptr ? nullptr : CopyOf(text, std::strlen(text), false);
}
inline WCHAR* MallocWide(const WCHAR* text) {
  return text == nullptr ? nullptr : CopyOf(text, WideLen(text), false);
}
inline char* OleMbs(const char* text) {
  return text == nullptr ? nullptr : CopyOf(text, std::strlen(text), true);
}
inline WCHAR* OleWide(const WCHAR* text) {
  return text == nullptr ? nullptr : CopyOf(text, WideLen(text), true);
}
inline BSTR Bstr(const WCHAR* text) {
  return SysAllocString(reinterpret_cast<const OLECHAR*>(text));
}

// The five ways of taking a buffer over, each with the allocator it names.
enum class AttachOp { kCrtMbs, kCrtWide, kOleMbs, kOleWide, kBstr };
const AttachOp kAttachOps[] = {AttachOp::kCrtMbs, AttachOp::kCrtWide,
                               AttachOp::kOleMbs, AttachOp::kOleWide,
                               AttachOp::kBstr};

inline bool AttachesWide(AttachOp op) {
  return op == AttachOp::kCrtWide || op == AttachOp::kOleWide ||
         op == AttachOp::kBstr;
}

// Allocates `text` (zeros inside kept), or for the wide operations `wide`
// (by default `text` widened), by the operation's allocator and hands it to
// `s`; returns the buffer's address.
inline const void* AttachNew(CKZString& s, AttachOp op, const std::string& text,
                             const WCHAR* wideText = nullptr) {
  const bool ole = op == AttachOp::kOleMbs || op == AttachOp::kOleWide;
  const WString wide = wideText != nullptr ? WString(wideText) : Widen(text);
  if (op == AttachOp::kBstr) {
    BSTR p = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(wide.c_str()),
                               static_cast<UINT>(wide.size()));
    s.Attach_BSTR(p);
    return p;
  }
  if (AttachesWide(op)) {
    WCHAR* p = CopyOf(wide.c_str(), wide.size(), ole);
    ole ? s.Attach_OLE(p) : s.Attach_CRT(p);
    return p;
  }
  char* p = CopyOf(text.c_str(), text.size(), ole);
  ole ? s.Attach_OLE(p) : s.Attach_CRT(p);
  return p;
}

// Grows and frees of buffers by allocator kind since construction.
class AllocCounts {
 public:
  AllocCounts() : start_(KZGetAllocCounters()) {}
  unsigned long CrtGrow() const { return Now().crtGrow - start_.crtGrow; }
  unsigned long OleGrow() const { return Now().oleGrow - start_.oleGrow; }
  unsigned long BstrGrow() const { return Now().bstrGrow - start_.bstrGrow; }
  unsigned long Crt() const { return Now().crtFree - start_.crtFree; }
  unsigned long Ole() const { return Now().oleFree - start_.oleFree; }
  unsigned long Bstr() const { return Now().bstrFree - start_.bstrFree; }

 private:
  static KZAllocCounters Now() { return KZGetAllocCounters(); }
  KZAllocCounters start_;
};

}  // namespace kztest

#endif  // KZCOMMON_TESTS_STRINGS_STRING_TEST_UTIL_H_
