// The process-wide queue of messages raised while an object's queue is on.
#ifndef KZCOMMON_ERRORS_MESSAGE_QUEUE_H_
#define KZCOMMON_ERRORS_MESSAGE_QUEUE_H_

// Empty at load; the error handling gives it its entries.
class MessageQueue {};

// library/globals.cpp: third of the module's process-wide objects.
extern MessageQueue g_messageQueue;

#endif  // KZCOMMON_ERRORS_MESSAGE_QUEUE_H_
