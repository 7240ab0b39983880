// message.cpp - numbered mailboxes, one queue each, under one mutex.
#include "message.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace {

// A queued message: this header, then len bytes of body in the same block,
// so a post allocates once, outside the lock, only what the message needs.
// The header carries the link of its mailbox's queue.
typedef struct _MSGD {
    struct _MSGD *next;  // the message behind it in its mailbox
    int msg;             // the sender's message code
    int len;             // body length
    int src_mod;         // the sender's module number
} MSGD, *PMSGD;

// One mailbox: its messages, oldest first. The head is read without the
// lock to tell an empty mailbox at once; it changes only under the lock.
struct Mailbox {
    std::atomic<PMSGD> head;
    PMSGD tail;
};

static_assert(std::is_trivially_default_constructible<Mailbox>::value, "a zero-filled mailbox is empty");

Mailbox *mh_lists = nullptr;  // mailbox n is mh_lists[n]
int mh_max = 0;               // number of mailboxes
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

// Links rec in as the newest message of box; under the lock.
void push(Mailbox &box, PMSGD rec)
{
    rec->next = nullptr;
    if (box.tail != nullptr)
        box.tail->next = rec;
    else
        box.head.store(rec, std::memory_order_release);
    box.tail = rec;
}

// Unlinks the oldest message of box, or NULL; under the lock.
PMSGD pull(Mailbox &box)
{
    PMSGD rec = box.head.load(std::memory_order_relaxed);
    if (rec == nullptr)
        return nullptr;
    box.head.store(rec->next, std::memory_order_relaxed);
    if (rec->next == nullptr)
        box.tail = nullptr;
    return rec;
}

void drop_mailboxes(Mailbox *boxes, int count)
{
    if (boxes == nullptr)
        return;
    for (int i = 0; i < count; i++) {
        for (PMSGD rec; (rec = pull(boxes[i])) != nullptr;)
            free(rec);
    }
    free(boxes);
}

} // namespace

extern "C" {

void Message_Init(int num)
{
    drop_mailboxes(mh_lists, mh_max);
    mh_lists = nullptr;
    mh_max = 0;
    if (num < 1)
        return;
    // Zero bits are an empty mailbox.
    mh_lists = static_cast<Mailbox *>(calloc(static_cast<size_t>(num), sizeof(Mailbox)));
    if (mh_lists != nullptr)
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
    {
        MailboxLock lock;
        push(mh_lists[des], rec);
    }
    // The queue reported its new length, never 0, so every accepted post
    // reports -5; callers know it as the success result.
    return -5;
}

int Message_Get(int local, int *psrc, int *pmeg, void *pcahe, int *plen)
{
    if (!is_mailbox(local) || psrc == nullptr || pmeg == nullptr || pcahe == nullptr ||
        plen == nullptr)
        return -1;
    Mailbox &box = mh_lists[local];
    if (box.head.load(std::memory_order_acquire) == nullptr)
        return 0;  // empty: no need to wait for the lock to learn it
    PMSGD rec;
    {
        MailboxLock lock;
        rec = pull(box);
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
