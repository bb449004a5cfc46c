// Helpers for the string tests: texts, values in chosen forms, buffers for the
// Attach operations, counts of grows and frees.
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
  return std::char_traits<WCHAR>::length(text);
}

inline WString Widen(const std::string& text) {
  return WString(text.begin(), text.end());
}

// ASCII text, zeros included, as wide text.
inline std::u16string U(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

inline WString Units(std::initializer_list<unsigned> units) {
  WString out;
  for (unsigned u : units) out.push_back(static_cast<WCHAR>(u));
  return out;
}

// Wide text from ASCII; null stays null.
struct WideOrNull {
  explicit WideOrNull(const char* ascii)
      : null(ascii == nullptr), text(Widen(null ? "" : ascii)) {}
  const WCHAR* get() const { return null ? nullptr : text.c_str(); }
  bool null;
  WString text;
};

enum Forms : int { kNoForm = 0, kWide = 1, kMbs = 2, kBoth = 3 };

inline int FormsOf(const CKZString& s) {
  return (CKZStringTestAccess::HasWide(s) ? kWide : 0) |
         (CKZStringTestAccess::HasMbs(s) ? kMbs : 0);
}

// A value in exactly the forms asked for; both forms start from the wide one.
inline CKZString Make(const char* bytes, const WCHAR* wide, Forms forms) {
  CKZString s = forms == kMbs ? CKZString(bytes) : CKZString(wide);
  if (forms == kBoth) static_cast<void>(static_cast<const char*>(s));
  return s;
}
inline CKZString Make(const char* ascii, Forms forms) {
  if (ascii == nullptr) return CKZString();
  return Make(ascii, Widen(ascii).c_str(), forms);
}

// `units` units and a terminator, by malloc or the task allocator.
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

enum class AttachOp { kCrtMbs, kCrtWide, kOleMbs, kOleWide, kBstr };
const AttachOp kAttachOps[] = {AttachOp::kCrtMbs, AttachOp::kCrtWide,
                               AttachOp::kOleMbs, AttachOp::kOleWide,
                               AttachOp::kBstr};

inline bool AttachesWide(AttachOp op) {
  return op == AttachOp::kCrtWide || op == AttachOp::kOleWide ||
         op == AttachOp::kBstr;
}

// Hands `s` a copy of `text` (or `wideText`) by the operation's allocator;
// gives the buffer's address.
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

// Grows and frees by allocator kind since construction.
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
