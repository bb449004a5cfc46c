// Test-only view of a token list's storage: its room and where it lies.
// Never installed; only tests include it.
#ifndef KZCOMMON_STRINGS_INTERNAL_TOKEN_TEST_ACCESS_H_
#define KZCOMMON_STRINGS_INTERNAL_TOKEN_TEST_ACCESS_H_

#include <kzcommon/kzstringtoken.h>

struct CKZStringTokenTestAccess {
  static ULONG Room(const CKZStringToken& list) { return list.m_room; }
  static const void* Storage(const CKZStringToken& list) {
    return list.m_tokens;
  }
  static const CKZString& Delimiter(const CKZStringToken& list) {
    return list.m_delimiter;
  }
};

#endif  // KZCOMMON_STRINGS_INTERNAL_TOKEN_TEST_ACCESS_H_
