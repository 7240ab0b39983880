// message.cpp - numbered mailboxes: posters link messages in without a lock,
// getters take them out in posting order.
#include "message.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// A queued message: this header, then len bytes of body in the same block,
// so a post allocates once only what the message needs. The header carries
// the link of its mailbox's queue.
typedef struct _MSGD {
    struct _MSGD *next;  // see Mailbox
    int msg;             // the sender's message code
    int len;             // body length
    int src_mod;         // the sender's module number
} MSGD, *PMSGD;

void free_chain(PMSGD rec)
{
    while (rec != nullptr) {
        PMSGD next = rec->next;
        free(rec);
        rec = next;
    }
}

// One mailbox. A post counts itself in posts_begun, then links its message
// in at the head of posted (newest first) with a compare-and-swap: posters
// never wait for each other or for a getter, and one that is preempted
// holds nobody up. Getters take turns under their lock: each takes the
// oldest message of `oldest` (linked oldest first), refilling it when it
// runs dry with all of posted at once, reversed. taken counts the messages
// taken; while it equals posts_begun the mailbox is empty, so polling an
// empty mailbox reads two counters and takes no lock. The posting side and
// the getting side keep to cache lines of their own.
struct Mailbox {
    alignas(64) std::atomic<PMSGD> posted{nullptr};
    std::atomic<unsigned long> posts_begun{0};

    alignas(64) pthread_mutex_t taking = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<unsigned long> taken{0};  // written under taking only
    PMSGD oldest = nullptr;

    Mailbox() = default;
    Mailbox(const Mailbox &) = delete;
    Mailbox &operator=(const Mailbox &) = delete;
    ~Mailbox()
    {
        free_chain(posted.load(std::memory_order_relaxed));
        free_chain(oldest);
    }
};

Mailbox *mh_lists = nullptr;  // mailbox n is mh_lists[n]
int mh_max = 0;               // number of mailboxes

bool is_mailbox(int n)
{
    return n >= 0 && n < mh_max;
}

// Links rec in as the newest message of box.
void push(Mailbox &box, PMSGD rec)
{
    box.posts_begun.fetch_add(1, std::memory_order_relaxed);
    PMSGD head = box.posted.load(std::memory_order_relaxed);
    do
        rec->next = head;
    while (!box.posted.compare_exchange_weak(head, rec, std::memory_order_release, std::memory_order_relaxed));
}

// True when every message posted so far has been taken. Counting the
// takings first makes a true answer hold at the moment they were read.
bool is_empty(const Mailbox &box)
{
    unsigned long taken = box.taken.load(std::memory_order_acquire);
    return box.posts_begun.load(std::memory_order_acquire) == taken;
}

// The oldest message of box, unlinked, or NULL; under box.taking.
PMSGD pull(Mailbox &box)
{
    if (box.oldest == nullptr) {
        PMSGD newest = box.posted.exchange(nullptr, std::memory_order_acquire);
        while (newest != nullptr) {
            PMSGD next = newest->next;
            newest->next = box.oldest;
            box.oldest = newest;
            newest = next;
        }
    }
    PMSGD rec = box.oldest;
    if (rec != nullptr) {
        box.oldest = rec->next;
        box.taken.store(box.taken.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    return rec;
}

class TakingLock {
public:
    explicit TakingLock(Mailbox &box) : mutex_(box.taking) { pthread_mutex_lock(&mutex_); }
    ~TakingLock() { pthread_mutex_unlock(&mutex_); }
    TakingLock(const TakingLock &) = delete;
    TakingLock &operator=(const TakingLock &) = delete;

private:
    pthread_mutex_t &mutex_;
};

} // namespace

extern "C" {

void Message_Init(int num)
{
    delete[] mh_lists;
    mh_lists = nullptr;
    mh_max = 0;
    if (num < 1)
        return;
    mh_lists = new (std::nothrow) Mailbox[static_cast<size_t>(num)];
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
    memcpy(rec + 1, pcahe, static_cast<size_t>(len));
    push(mh_lists[des], rec);
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
    if (is_empty(box))
        return 0;
    PMSGD rec;
    {
        TakingLock lock(box);
        rec = pull(box);
    }
    if (rec == nullptr)
        return 0;  // its post has not linked it in yet
    *psrc = rec->src_mod;
    *pmeg = rec->msg;
    memcpy(pcahe, rec + 1, static_cast<size_t>(rec->len));
    *plen = rec->len;
    free(rec);
    return 1;
}

} // extern "C"
