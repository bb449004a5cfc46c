// The process-wide queue of the messages raised and logged while an object's
// queue is on, oldest first. The library only adds to it; the client reads
// and clears it.
#ifndef KZCOMMON_ERRORS_MESSAGE_QUEUE_H_
#define KZCOMMON_ERRORS_MESSAGE_QUEUE_H_

#include <kzcommon/kzerrorhandling.h>

// The list type that clients fill with GetMessageQueue. Its destructor is the
// end routine: the entries that remain are destroyed unread.
using MessageQueue = CKZErrorHandling::MessageList;

// library/globals.cpp: third of the module's process-wide objects.
extern MessageQueue g_messageQueue;

#endif  // KZCOMMON_ERRORS_MESSAGE_QUEUE_H_
