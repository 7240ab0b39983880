#include "message.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

// What one Message_Get on mailbox local delivered; untouched outputs keep -7 and 'Z'.
struct Got {
    int local, src = -7, code = -7, len = -7;
    std::vector<char> body = std::vector<char>(MESSAGE_BUF_SIZE, 'Z');
    int result = Message_Get(local, &src, &code, body.data(), &len);
};

TEST(Message, ArgumentLimits)
{
    std::vector<char> body(MESSAGE_BUF_SIZE, 'b');
    Message_Init(0);  // no mailbox, as before the first Message_Init
    EXPECT_EQ(Message_Post(0, 0, 1, body.data(), 1), -1);
    Message_Init(3);
    EXPECT_EQ(Message_Post(0, 0, 1, body.data(), MESSAGE_BUF_SIZE), -1);
    EXPECT_EQ(Message_Post(3, 0, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, -1, 1, body.data(), 1), -1);
    EXPECT_EQ(Message_Post(0, 0, 1, nullptr, 0), -1);
    EXPECT_EQ(Got{3}.result, -1);
    EXPECT_EQ(Message_Get(0, nullptr, nullptr, body.data(), nullptr), -1);
    Got none{0};  // nothing was queued: outputs untouched
    EXPECT_EQ(none.result, 0);
    EXPECT_EQ(none.src, -7);
    EXPECT_EQ(none.code, -7);
    EXPECT_EQ(none.len, -7);
    EXPECT_EQ(none.body[0], 'Z');
    body[MESSAGE_BUF_SIZE - 2] = 'e';
    EXPECT_EQ(Message_Post(1, 2, 9, body.data(), MESSAGE_BUF_SIZE - 1), -5);
    EXPECT_EQ(Message_Post(1, 2, 10, body.data(), 0), -5);
    Got big{1}, empty{1};
    EXPECT_EQ(big.len, MESSAGE_BUF_SIZE - 1);
    EXPECT_EQ(memcmp(big.body.data(), body.data(), MESSAGE_BUF_SIZE - 1), 0);
    EXPECT_EQ(big.body[MESSAGE_BUF_SIZE - 1], 'Z');  // nothing written past the body
    EXPECT_EQ(empty.result, 1);
    EXPECT_EQ(empty.len, 0);
    EXPECT_EQ(empty.code, 10);
    Message_Post(0, 0, 1, body.data(), 1);
    Message_Init(3);  // drops what is queued
    EXPECT_EQ(Got{0}.result, 0);
}

TEST(Message, EachMailboxInPostingOrder)
{
    Message_Init(3);
    for (int i = 0; i < 700; i++)  // three mailboxes, each past the nominal capacity of 200
        ASSERT_EQ(Message_Post(i % 3, i % 2, i, &i, sizeof i), -5);
    for (int i = 0; i < 700; i++) {
        SCOPED_TRACE(i);
        Got g{i % 3};
        ASSERT_EQ(g.result, 1);
        ASSERT_EQ(g.src, i % 2);
        ASSERT_EQ(g.code, i);
        ASSERT_EQ(g.len, 4);
        ASSERT_EQ(memcmp(g.body.data(), &i, 4), 0);
    }
    EXPECT_EQ(Got{0}.result, 0);
}

// Several posting threads, one getter: nothing lost, each sender's order kept.
TEST(Message, ConcurrentPostersOneGetter)
{
    constexpr int kPosters = 4, kEach = 5000;
    Message_Init(kPosters + 1);
    std::vector<std::thread> posters;
    for (int p = 1; p <= kPosters; p++)
        posters.emplace_back([p] {
            for (int seq = 0, body[2] = {p, 0}; seq < kEach; body[1] = ++seq)
                EXPECT_EQ(Message_Post(0, p, seq, body, sizeof body), -5);
        });
    std::vector<int> next(kPosters + 1, 0);
    for (int received = 0, src, code, len, body[2], r; received < kPosters * kEach;) {
        if ((r = Message_Get(0, &src, &code, body, &len)) == 0)
            std::this_thread::yield();
        else if (r == 1 && src >= 1 && src <= kPosters && len == 8 && body[0] == src && body[1] == code &&
                 code == next[src])
            next[src]++, received++;
        else
            break;  // a foreign, damaged or out-of-order message: next shows where
    }
    for (auto &t : posters)
        t.join();
    EXPECT_EQ(next, std::vector<int>({0, kEach, kEach, kEach, kEach}));
    EXPECT_EQ(Got{0}.result, 0);
}

// Getters sharing a mailbox that never runs dry: each takes a message and
// posts it back, so the mailbox always holds more than the getters have in
// hand, and every get must deliver one.
TEST(Message, GettersSharingAMailboxNeverHearEmpty)
{
    constexpr int kGetters = 3, kQueued = 16, kRounds = 200000;
    Message_Init(1);
    for (int i = 0; i < kQueued; i++)
        ASSERT_EQ(Message_Post(0, 0, i, &i, sizeof i), -5);
    std::vector<int> rounds(kGetters, 0);
    std::vector<std::thread> getters;
    for (int g = 0; g < kGetters; g++)
        getters.emplace_back([&rounds, g] {
            for (int src, code, len, body; rounds[g] < kRounds; rounds[g]++) {
                if (Message_Get(0, &src, &code, &body, &len) != 1 || code != body ||
                    Message_Post(0, 0, code, &body, len) != -5)
                    break;
            }
        });
    for (auto &t : getters)
        t.join();
    EXPECT_EQ(rounds, std::vector<int>(kGetters, kRounds));
    int left = 0;
    while (Got{0}.result == 1)
        left++;
    EXPECT_EQ(left, kQueued);
}
