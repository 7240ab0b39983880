#include "message.h"

#include <gtest/gtest.h>

#include <sched.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

// What one Message_Get delivered; untouched outputs keep -7 and 'Z'.
struct Got {
    int result, src = -7, code = -7, len = -7;
    std::vector<char> body = std::vector<char>(MESSAGE_BUF_SIZE, 'Z');
};

Got Get(int local)
{
    Got g;
    g.result = Message_Get(local, &g.src, &g.code, g.body.data(), &g.len);
    return g;
}

TEST(Message, ArgumentLimits)
{
    std::vector<char> body(MESSAGE_BUF_SIZE, 'b');
    EXPECT_EQ(Message_Post(0, 0, 1, body.data(), 1), -1);  // before Message_Init
    Message_Init(3);
    EXPECT_EQ(Message_Post(0, 0, 1, body.data(), MESSAGE_BUF_SIZE), -1);
    EXPECT_EQ(Message_Post(3, 0, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, -1, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, 0, 1, nullptr, 0), -1);
    EXPECT_EQ(Get(0).result, 0);  // nothing was queued
    EXPECT_EQ(Get(3).result, -1);
    EXPECT_EQ(Message_Get(0, nullptr, nullptr, body.data(), nullptr), -1);

    body[MESSAGE_BUF_SIZE - 2] = 'e';
    EXPECT_EQ(Message_Post(1, 2, 9, body.data(), MESSAGE_BUF_SIZE - 1), -5);
    EXPECT_EQ(Message_Post(1, 2, 10, body.data(), 0), -5);
    Got big = Get(1), empty = Get(1);
    EXPECT_EQ(big.len, MESSAGE_BUF_SIZE - 1);
    EXPECT_EQ(memcmp(big.body.data(), body.data(), MESSAGE_BUF_SIZE - 1), 0);
    EXPECT_EQ(big.body[MESSAGE_BUF_SIZE - 1], 'Z');  // nothing written past the body
    EXPECT_EQ(empty.result, 1);
    EXPECT_EQ(empty.len, 0);
    EXPECT_EQ(empty.code, 10);
}

TEST(Message, EachMailboxInPostingOrder)
{
    Message_Init(3);
    char bodies[3][8] = {"first", "second", "third"};
    int senders[] = {0, 1, 0};
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(Message_Post(2, senders[i], 100 + i, bodies[i], 7), -5);
    EXPECT_EQ(Message_Post(1, 2, 7, bodies[0], 1), -5);
    for (int i = 0; i < 3; i++) {
        Got g = Get(2);
        ASSERT_EQ(g.result, 1);
        EXPECT_EQ(g.src, senders[i]);
        EXPECT_EQ(g.code, 100 + i);
        EXPECT_STREQ(g.body.data(), bodies[i]);
    }
    Got none = Get(2);
    EXPECT_EQ(none.result, 0);
    EXPECT_EQ(none.src + none.code + none.len, -21);
    EXPECT_EQ(none.body[0], 'Z');
    EXPECT_EQ(Get(1).result, 1);

    for (int i = 0; i < 251; i++)  // past the nominal capacity of 200
        ASSERT_EQ(Message_Post(0, 0, i, &i, sizeof i), -5);
    for (int i = 0; i < 251; i++)
        ASSERT_EQ(Get(0).code, i);
    EXPECT_EQ(Message_Post(0, 0, 1, bodies[0], 1), -5);
    Message_Init(3);  // drops what is queued
    EXPECT_EQ(Get(0).result, 0);
}

// Several posting threads, one getter: nothing lost, each sender's order kept.
TEST(Message, ConcurrentPostersOneGetter)
{
    constexpr int kPosters = 4, kEach = 5000;
    Message_Init(kPosters + 1);
    std::vector<std::thread> posters;
    for (int p = 1; p <= kPosters; p++) {
        posters.emplace_back([p] {
            for (int seq = 0; seq < kEach; seq++) {
                int body[2] = {p, seq};
                EXPECT_EQ(Message_Post(0, p, seq, body, sizeof body), -5);
            }
        });
    }
    std::vector<int> next(kPosters + 1, 0);
    int received = 0, bad = 0;
    while (received < kPosters * kEach) {
        int src, code, len, body[2];
        int r = Message_Get(0, &src, &code, body, &len);
        if (r == 0) {
            sched_yield();
            continue;
        }
        ASSERT_TRUE(r == 1 && src >= 1 && src <= kPosters);
        bad += len != int{sizeof body} || body[0] != src || body[1] != code || code != next[src];
        next[src] = code + 1;
        received++;
    }
    for (auto &t : posters)
        t.join();
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(next, std::vector<int>({0, kEach, kEach, kEach, kEach}));
    EXPECT_EQ(Get(0).result, 0);
}

} // namespace
