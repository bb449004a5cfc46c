// Helpers for the editing and joining tests: values made with a chosen set of
// forms, the forms a value holds, and wide text from ASCII.
#ifndef KZCOMMON_TESTS_STRINGS_STRING_FORMS_H_
#define KZCOMMON_TESTS_STRINGS_STRING_FORMS_H_

#include <kzcommon/kzcommon.h>

#include <string>

#include "strings/internal/test_access.h"
#include "strings/string_test_util.h"

namespace kztest {

// Bit set: which forms a block holds.
enum Forms : int { kNoForm = 0, kWideOnly = 1, kMbsOnly = 2, kBothForms = 3 };

// Wide text from ASCII for the wide overloads; null stays null.
class WideOrNull {
 public:
  explicit WideOrNull(const char* ascii)
      : null_(ascii == nullptr), text_(Widen(null_ ? "" : ascii)) {}
  const WCHAR* get() const { return null_ ? nullptr : text_.c_str(); }

 private:
  bool null_;
  std::basic_string<WCHAR> text_;
};

// A value holding `ascii` in exactly the forms asked for; null for nullptr.
inline CKZString Make(const char* ascii, Forms forms) {
  if (ascii == nullptr) return CKZString();
  CKZString s;
  if (forms == kMbsOnly) {
    s = ascii;
  } else {
    s = Widen(ascii).c_str();
    if (forms == kBothForms) static_cast<void>(static_cast<const char*>(s));
  }
  return s;
}

inline int FormsOf(const CKZString& s) {
  return (CKZStringTestAccess::HasWide(s) ? kWideOnly : 0) |
         (CKZStringTestAccess::HasMbs(s) ? kMbsOnly : 0);
}

}  // namespace kztest

#endif  // KZCOMMON_TESTS_STRINGS_STRING_FORMS_H_
