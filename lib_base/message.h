/* message.h - numbered mailboxes for passing small messages between threads.
 *
 * Module n owns mailbox n. Any thread may post to any mailbox and fetch from
 * its own; each mailbox delivers in posting order. A post never waits for
 * other threads: its message is linked in without a lock. Threads fetching
 * from one mailbox take turns under that mailbox's lock, held only while a
 * message is unlinked; copying and allocation happen outside it, and an
 * empty mailbox answers without it. Receivers poll: nothing ever waits for
 * a message. Argument errors give -1 and print nothing. */
#ifndef LIBBASE_MESSAGE_H
#define LIBBASE_MESSAGE_H

#include "libbase_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The largest body a message may carry is MESSAGE_BUF_SIZE - 1 bytes. */
#define MESSAGE_BUF_SIZE 15000

/* Creates num empty mailboxes, numbered 0 .. num-1. Call it once at start,
 * before any other thread uses the mailboxes; a second call drops the old
 * mailboxes with their messages. A num below 1 (or no memory) leaves no
 * mailbox, so every later call is refused. */
LIBBASE_API void Message_Init(int num);

/* Queues a copy of len bytes of pcahe, with code meg and sender local, on
 * mailbox des. -5 when the message was queued (every result other than -1
 * means a completed post); -1, with nothing queued, unless both module
 * numbers are valid, pcahe is not NULL and 0 <= len < MESSAGE_BUF_SIZE, or
 * when no memory is left for the copy. */
LIBBASE_API int Message_Post(int des, int local, int meg, void *pcahe, int len);

/* Takes the oldest message off mailbox local: its sender into *psrc, its
 * code into *pmeg, its body into pcahe (room for MESSAGE_BUF_SIZE - 1 bytes
 * is expected) and the body length into *plen. 1 when a message was
 * delivered; 0 when the mailbox is empty (outputs untouched); -1 for a bad
 * mailbox number or a NULL pointer. */
LIBBASE_API int Message_Get(int local, int *psrc, int *pmeg, void *pcahe, int *plen);

#ifdef __cplusplus
}
#endif

#endif /* LIBBASE_MESSAGE_H */
