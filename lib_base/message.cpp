// message.cpp - numbered mailboxes, one FIFO list each, under one mutex.
#include "message.h"

#include <pthread.h>

#include <climits>
#include <cstdlib>
#include <cstring>

#include "fifo.h"
#include "mem.h"

namespace {

// A queued message: this header, then len bytes of body in the same block,
// so a post allocates only what the message needs.
typedef struct _MSGD {
    int msg;      // the sender's message code
    int len;      // body length
    int src_mod;  // the sender's module number
} MSGD, *PMSGD;

FIFOH *mh_lists = nullptr;  // mailbox n is mh_lists[n]
int mh_max = 0;             // number of mailboxes
pthread_mutex_t ms_mutex = PTHREAD_MUTEX_INITIALIZER;

class MailboxLock {
public:
    MailboxLock() { pthread_mutex_lock(&ms_mutex); }
    ~MailboxLock() { pthread_mutex_unlock(&ms_mutex); }
    MailboxLock(const MailboxLock &) = delete;
    MailboxLock &operator=(const MailboxLock &) = delete;
};

char *body_of(PMSGD rec)
{
    return reinterpret_cast<char *>(rec + 1);
}

bool is_mailbox(int n)
{
    return n >= 0 && n < mh_max;
}

void drop_mailboxes(FIFOH *lists, int count)
{
    if (lists == nullptr)
        return;
    for (int i = 0; i < count; i++) {
        if (lists[i] != nullptr)
            Fifo_Free(lists[i]);
    }
    Mem_Free(lists);
}

} // namespace

extern "C" {

void Message_Init(int num)
{
    drop_mailboxes(mh_lists, mh_max);
    mh_lists = nullptr;
    mh_max = 0;
    if (num < 1 || num > INT_MAX / static_cast<int>(sizeof(FIFOH)))
        return;
    auto lists = static_cast<FIFOH *>(Mem_Malloc(num * static_cast<int>(sizeof(FIFOH))));
    if (lists == nullptr)
        return;
    for (int i = 0; i < num; i++) {
        lists[i] = Fifo_Allocate(200);
        if (lists[i] == nullptr) {
            drop_mailboxes(lists, i);
            return;
        }
    }
    mh_lists = lists;
    mh_max = num;
}

int Message_Post(int des, int local, int meg, void *pcahe, int len)
{
    if (!is_mailbox(des) || !is_mailbox(local) || pcahe == nullptr || len < 0 ||
        len >= MESSAGE_BUF_SIZE)
        return -1;
    auto rec = static_cast<PMSGD>(malloc(sizeof(MSGD) + static_cast<size_t>(len)));
    if (rec == nullptr)
        return -1;
    rec->msg = meg;
    rec->len = len;
    rec->src_mod = local;
    memcpy(body_of(rec), pcahe, static_cast<size_t>(len));
    int pushed;
    {
        MailboxLock lock;
        pushed = Fifo_Push(mh_lists[des], rec);
    }
    if (pushed < 0)
        free(rec);  // no cell for it: the message is lost
    // Fifo_Push reports the new length, never 0, so every accepted post
    // reports -5; callers know it as the success result.
    return pushed == 0 ? 0 : -5;
}

int Message_Get(int local, int *psrc, int *pmeg, void *pcahe, int *plen)
{
    if (!is_mailbox(local) || psrc == nullptr || pmeg == nullptr || pcahe == nullptr ||
        plen == nullptr)
        return -1;
    PMSGD rec;
    {
        MailboxLock lock;
        rec = static_cast<PMSGD>(Fifo_Pull(mh_lists[local]));
    }
    if (rec == nullptr)
        return 0;
    *psrc = rec->src_mod;
    *pmeg = rec->msg;
    memcpy(pcahe, body_of(rec), static_cast<size_t>(rec->len));
    *plen = rec->len;
    free(rec);
    return 1;
}

} // extern "C"
