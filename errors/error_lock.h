// The object that holds the right to raise alone, or null.
#ifndef KZCOMMON_ERRORS_ERROR_LOCK_H_
#define KZCOMMON_ERRORS_ERROR_LOCK_H_

#include <kzcommon/kzerrorhandling.h>

// library/globals.cpp. Only compared, never followed: the object may be gone.
extern const CKZErrorHandling* g_errorLockOwner;

#endif  // KZCOMMON_ERRORS_ERROR_LOCK_H_
