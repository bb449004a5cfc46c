// Critical sections as recursive mutexes: a Windows critical section may be
// entered again by the thread that holds it.
#include "platform/platform.h"

// InitializeCriticalSection
//
// PARAMS   section [O] the lock to set up
void InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attr;
  pthread_mutexattr_init(&attr);
  pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&section->mutex, &attr);
  pthread_mutexattr_destroy(&attr);
}

// EnterCriticalSection
//
// PARAMS   section [I/O] the lock; blocks until this thread holds it
void EnterCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_lock(&section->mutex);
}

// LeaveCriticalSection
//
// PARAMS   section [I/O] the lock, held by this thread
void LeaveCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_unlock(&section->mutex);
}

// DeleteCriticalSection
//
// PARAMS   section [I/O] an unheld lock; unusable afterwards
void DeleteCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_destroy(&section->mutex);
}
