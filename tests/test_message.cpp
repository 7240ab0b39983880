#include "message.h"

#include <gtest/gtest.h>

#include <sched.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

struct Received {
    int result, src, code, len;
    std::vector<char> body;
};

Received Get(int local)
{
    Received r{0, -7, -7, -7, std::vector<char>(MESSAGE_BUF_SIZE, 'Z')};
    r.result = Message_Get(local, &r.src, &r.code, r.body.data(), &r.len);
    return r;
}

TEST(Message, RefusedBeforeInit)
{
    char body[1] = {};
    EXPECT_EQ(Message_Post(0, 0, 1, body, 1), -1);
    EXPECT_EQ(Get(0).result, -1);
}

TEST(Message, ArgumentLimits)
{
    Message_Init(3);
    std::vector<char> body(MESSAGE_BUF_SIZE, 'b');
    int dummy = 0;
    EXPECT_EQ(Message_Post(0, 0, 1, body.data(), MESSAGE_BUF_SIZE), -1);
    EXPECT_EQ(Message_Post(0, 0, 1, body.data(), -1), -1);
    EXPECT_EQ(Message_Post(3, 0, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(-1, 0, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, -1, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, 3, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, 0, 1, nullptr, 0), -1);
    EXPECT_EQ(Get(0).result, 0);  // nothing was queued
    EXPECT_EQ(Message_Get(3, &dummy, &dummy, body.data(), &dummy), -1);
    EXPECT_EQ(Message_Get(0, nullptr, &dummy, body.data(), &dummy), -1);
    EXPECT_EQ(Message_Get(0, &dummy, &dummy, nullptr, &dummy), -1);
    EXPECT_EQ(Message_Get(0, &dummy, &dummy, body.data(), nullptr), -1);

    body[MESSAGE_BUF_SIZE - 2] = 'e';
    EXPECT_EQ(Message_Post(1, 2, 9, body.data(), MESSAGE_BUF_SIZE - 1), -5);
    EXPECT_EQ(Message_Post(1, 2, 10, body.data(), 0), -5);
    Received big = Get(1);
    EXPECT_EQ(big.result, 1);
    EXPECT_EQ(big.len, MESSAGE_BUF_SIZE - 1);
    EXPECT_EQ(memcmp(big.body.data(), body.data(), MESSAGE_BUF_SIZE - 1), 0);
    EXPECT_EQ(big.body[MESSAGE_BUF_SIZE - 1], 'Z');  // nothing beyond the body
    Received empty = Get(1);
    EXPECT_EQ(empty.result, 1);
    EXPECT_EQ(empty.len, 0);
    EXPECT_EQ(empty.code, 10);
    EXPECT_EQ(empty.body[0], 'Z');
}

TEST(Message, EachMailboxInPostingOrder)
{
    Message_Init(3);
    const char *bodies[] = {"first", "second", "third"};
    int senders[] = {0, 1, 0};
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(Message_Post(2, senders[i], 100 + i, const_cast<char *>(bodies[i]),
                               static_cast<int>(strlen(bodies[i]) + 1)),
                  -5);
    EXPECT_EQ(Message_Post(1, 2, 7, const_cast<char *>("other"), 6), -5);
    for (int i = 0; i < 3; i++) {
        Received r = Get(2);
        ASSERT_EQ(r.result, 1);
        EXPECT_EQ(r.src, senders[i]);
        EXPECT_EQ(r.code, 100 + i);
        EXPECT_STREQ(r.body.data(), bodies[i]);
    }
    Received empty = Get(2);  // empty: outputs untouched
    EXPECT_EQ(empty.result, 0);
    EXPECT_EQ(empty.src, -7);
    EXPECT_EQ(empty.code, -7);
    EXPECT_EQ(empty.len, -7);
    EXPECT_EQ(empty.body[0], 'Z');
    EXPECT_STREQ(Get(1).body.data(), "other");
}

TEST(Message, GrowsPastTheNominalCapacity)
{
    Message_Init(1);
    for (int i = 0; i < 251; i++)
        ASSERT_EQ(Message_Post(0, 0, i, &i, sizeof i), -5);
    for (int i = 0; i < 251; i++) {
        Received r = Get(0);
        ASSERT_EQ(r.result, 1);
        ASSERT_EQ(r.code, i);
    }
    EXPECT_EQ(Get(0).result, 0);
}

TEST(Message, InitAgainDropsTheOldMailboxes)
{
    Message_Init(2);
    int v = 1;
    EXPECT_EQ(Message_Post(1, 0, 1, &v, sizeof v), -5);
    Message_Init(2);
    EXPECT_EQ(Get(1).result, 0);
    Message_Init(0);
    EXPECT_EQ(Message_Post(0, 0, 1, &v, sizeof v), -1);
}

// Several posting threads, one getter: nothing lost, each sender's order kept.
TEST(Message, ConcurrentPostersOneGetter)
{
    constexpr int kPosters = 4, kEach = 5000, kInbox = 0;
    Message_Init(kPosters + 1);
    std::vector<std::thread> posters;
    for (int p = 1; p <= kPosters; p++) {
        posters.emplace_back([p] {
            for (int seq = 0; seq < kEach; seq++) {
                int body[2] = {p, seq};
                while (Message_Post(kInbox, p, seq, body, sizeof body) == -1)
                    sched_yield();
            }
        });
    }
    std::vector<int> next(kPosters + 1, 0);
    int received = 0, bad = 0;
    while (received < kPosters * kEach) {
        int src, code, len, body[2];
        int r = Message_Get(kInbox, &src, &code, body, &len);
        if (r == 0) {
            sched_yield();
            continue;
        }
        ASSERT_EQ(r, 1);
        ASSERT_TRUE(src >= 1 && src <= kPosters);
        bad += len != static_cast<int>(sizeof body) || body[0] != src || body[1] != code ||
               code != next[src];
        next[src] = code + 1;
        received++;
    }
    for (auto &t : posters)
        t.join();
    EXPECT_EQ(bad, 0);
    for (int p = 1; p <= kPosters; p++)
        EXPECT_EQ(next[p], kEach);
    int src, code, len;
    char body[8];
    EXPECT_EQ(Message_Get(kInbox, &src, &code, body, &len), 0);
}

} // namespace
