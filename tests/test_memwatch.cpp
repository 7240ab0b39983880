#include "memwatch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <regex>
#include <thread>

#include "failing_new.h"
#include "test_support.h"

using testing_support::ReadFile;
using V = std::vector<std::string>;
using N = std::vector<unsigned long long>;

namespace {

V Sorted(V lines)
{
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The lines of a log without their pid prefix, statistics lines left out,
// every address written as P; sorted, as blocks are listed in no set order.
V Findings(const std::string &text)
{
    std::istringstream log(text);
    V out;
    std::smatch m;
    for (std::string line; std::getline(log, line);)
        if (!std::regex_match(line, m, std::regex("memwatch\\[[0-9]+\\] (.*)")))
            out.push_back("unprefixed: " + line);
        else if (m.str(1).rfind("statistics: ", 0) != 0)
            out.push_back(std::regex_replace(m.str(1), std::regex("0x[0-9a-f]+"), "P"));
    return Sorted(out);
}

// Every test logs into its own temporary file and leaves no block behind.
class Memwatch : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(mwSetLogFile(log_.c_str()), 0); mwStatistics(&start_); }
    // Allocations, frees, blocks and bytes in use since the test began.
    N Since()
    {
        MW_STATS n;
        mwStatistics(&n);
        return {n.allocations - start_.allocations, n.frees - start_.frees, n.blocks_in_use - start_.blocks_in_use,
                n.bytes_in_use - start_.bytes_in_use};
    }
    V Logged() const { return Findings(ReadFile(log_)); }

    testing_support::TempDir dir_;
    std::string log_ = dir_.file("memwatch.log");
    MW_STATS start_{};
};

} // namespace

TEST_F(Memwatch, AllocatesLikeTheCLibraryAndCounts)
{
    auto a = static_cast<char *>(mwMalloc(10, "a.c", 1));
    auto b = static_cast<unsigned char *>(mwCalloc(4, 8, "a.c", 2));
    char *c = mwStrdup("", "a.c", 3);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % alignof(max_align_t), 0u);
    EXPECT_EQ(std::vector<unsigned char>(b, b + 32), std::vector<unsigned char>(32, 0));
    memcpy(a, "0123456789", 10);
    a = static_cast<char *>(mwRealloc(mwRealloc(a, 1000, "a.c", 4), 3, "a.c", 5));
    EXPECT_EQ(std::string(a, 3), "012");
    EXPECT_EQ(Since(), (N{3, 0, 3, 3 + 32 + 1})); // a reallocation keeps its block
    MW_STATS now;
    mwStatistics(&now);
    EXPECT_GE(now.peak_bytes, start_.bytes_in_use + 1000 + 32 + 1);
    char line[200];
    snprintf(line, sizeof line, "] statistics: %llu allocations, %llu frees, %llu blocks and %llu bytes in use, "
             "peak %llu bytes\n", now.allocations, now.frees, now.blocks_in_use, now.bytes_in_use, now.peak_bytes);
    EXPECT_NE(ReadFile(log_).find(line), std::string::npos) << ReadFile(log_);

    EXPECT_EQ(mwRealloc(mwRealloc(nullptr, 7, "a.c", 6), 0, "a.c", 7), nullptr);
    EXPECT_EQ(mwMalloc(SIZE_MAX - 8, "a.c", 90), nullptr);
    EXPECT_EQ(mwCalloc(SIZE_MAX / 2, 3, "a.c", 91), nullptr);
    EXPECT_EQ(mwRealloc(a, SIZE_MAX, "a.c", 93), nullptr);
    for (void *p : std::vector<void *>{a, b, c, nullptr}) // a is still valid
        mwFree(p, "a.c", 8);
    EXPECT_EQ(Since(), (N{4, 4, 0, 0}));
    const std::string oom = "out of memory: ";
    EXPECT_EQ(Logged(), Sorted({oom + std::to_string(SIZE_MAX - 8) + " bytes at a.c:90",
                                oom + std::to_string(SIZE_MAX / 2) + " x 3 bytes at a.c:91",
                                oom + std::to_string(SIZE_MAX) + " bytes at a.c:93"}));
}

TEST_F(Memwatch, FaultsAndBlocksStillAllocatedAreReported)
{
    void *p = mwMalloc(24, "df.c", 10);
    mwFree(p, "df.c", 11);
    mwFree(p, "df.c", 12);
    int on_stack = 0;
    mwFree(&on_stack, "df.c", 14);
    EXPECT_EQ(mwRealloc(p, 48, "df.c", 13), nullptr);
    EXPECT_EQ(mwRealloc(&on_stack, 8, "df.c", 15), nullptr);
    EXPECT_EQ(mwStrdup(nullptr, "df.c", 16), nullptr);
    EXPECT_EQ(Since(), (N{1, 1, 0, 0}));
    // Once its address is handed out again, the pointer is a live block.
    for (int i = 0; i < 64; i++)
        mwFree(mwMalloc(24, "df.c", 20), "df.c", 21);
    auto ov = static_cast<char *>(mwMalloc(16, "ov.c", 30)), un = static_cast<char *>(mwMalloc(5, "ov.c", 31));
    auto clean = static_cast<char *>(mwMalloc(8, "ov.c", 32));
    ov[16] = 'x';
    un[-1] = 'y';
    memset(clean, 'z', 8);
    EXPECT_EQ(mwCheck("ov.c", 40), 2);
    mwFree(ov, "ov.c", 41);
    un = static_cast<char *>(mwRealloc(un, 50, "ov.c", 42));
    EXPECT_EQ(mwCheck("ov.c", 43), 0); // the moved block has fresh guards
    mwFree(un, "ov.c", 44);
    mwFree(clean, "ov.c", 45);
    void *a = mwMalloc(11, "rep.c", 50);
    void *b = mwStrdup("x", "rep2.c", 51);
    EXPECT_EQ(mwReport("rep.c", 60), 2);
    mwFree(a, "rep.c", 61);
    mwFree(b, "rep.c", 62);
    EXPECT_EQ(mwReport("rep.c", 63), 0);
    EXPECT_EXIT((mwMalloc(77, "exit.c", 70), exit(0)), ::testing::ExitedWithCode(0), "");

    const std::string over = "overrun: 16-byte block P allocated at ov.c:30, written past its end, found at ov.c:";
    const std::string under = "underrun: 5-byte block P allocated at ov.c:31, written before its start, found at ov.c:";
    EXPECT_EQ(Logged(), (V{"at exit: 1 blocks, 77 bytes still allocated", "block: 11 bytes at P allocated at rep.c:50",
                           "block: 2 bytes at P allocated at rep2.c:51", "block: 77 bytes at P allocated at exit.c:70",
                           "double free: P at df.c:12, freed before at df.c:11",
                           "free of unknown pointer: P at df.c:14", over + "40", over + "41",
                           "realloc after free: P at df.c:13, freed before at df.c:11",
                           "realloc of unknown pointer: P at df.c:15",
                           "report at rep.c:60: 2 blocks, 13 bytes allocated",
                           "report at rep.c:63: 0 blocks, 0 bytes allocated", "strdup of NULL at df.c:16",
                           under + "40", under + "42"}));
}

TEST_F(Memwatch, ThreadsShareOneConsistentRecord)
{
    constexpr int kRounds = 2000;
    std::vector<std::thread> threads(4);
    for (auto &t : threads)
        t = std::thread([] {
            for (int i = 0; i < kRounds; i++)
                mwFree(mwRealloc(mwMalloc(i % 64u, "thr.c", 100), 80, "thr.c", 101), "thr.c", 102);
        });
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(Since(), (N{4 * kRounds, 4 * kRounds, 0, 0}));
    EXPECT_EQ(mwCheck("thr.c", 104), 0);
    EXPECT_EQ(Logged(), V{}); // no findings
}

// Threads allocate, reallocate and free blocks of their own, overrunning
// some before a reallocation or a free and freeing some twice, while
// another thread reads the counters. Every fault is logged once, and every
// snapshot of the counters is consistent.
TEST_F(Memwatch, ThreadsFaultsAreLoggedOnceEach)
{
    constexpr int kThreads = 4, kRounds = 600, kFaultEvery = 50;
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::thread reader([&] {
        while (!done) {
            MW_STATS st;
            mwStatistics(&st);
            torn += st.blocks_in_use != st.allocations - st.frees || st.bytes_in_use > st.peak_bytes;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([t] {
            size_t size = 100 + 48 * static_cast<size_t>(t);  // a size of its own, so addresses stay apart
            for (int i = 0; i < kRounds; i++) {
                auto p = static_cast<char *>(mwMalloc(size, "mt.c", 1));
                if (i % kFaultEvery == 0)
                    p[size] = 'x';  // found by the reallocation
                p = static_cast<char *>(mwRealloc(p, size + 8, "mt.c", 2));
                if (i % kFaultEvery == 1)
                    p[size + 8] = 'x';  // found by the free
                mwFree(p, "mt.c", 3);
                if (i % kFaultEvery == 2)
                    mwFree(p, "mt.c", 4);
            }
        });
    for (auto &t : threads)
        t.join();
    done = true;
    reader.join();

    EXPECT_EQ(torn, 0);
    EXPECT_EQ(Since(), (N{kThreads * kRounds, kThreads * kRounds, 0, 0}));
    std::map<std::string, int> kinds;
    for (const std::string &line : Logged())
        kinds[std::regex_replace(line, std::regex("[0-9]+-byte"), "N-byte")]++;
    const int faults = kThreads * kRounds / kFaultEvery;
    EXPECT_EQ(kinds, (std::map<std::string, int>{
                         {"overrun: N-byte block P allocated at mt.c:1, written past its end, found at mt.c:2", faults},
                         {"overrun: N-byte block P allocated at mt.c:2, written past its end, found at mt.c:3", faults},
                         {"double free: P at mt.c:4, freed before at mt.c:3", faults}}));
}

TEST_F(Memwatch, FreesAndReallocatesWithoutThrowingWhenMemoryRunsOut)
{
    std::vector<void *> blocks;
    for (int i = 0; i < 100; i++)
        blocks.push_back(mwMalloc(8, "oom.c", 1));
    void *kept = mwMalloc(8, "oom.c", 2);
    {
        testing_support::FailingAllocations none; // the tables of blocks cannot grow
        for (void *p : blocks)
            mwFree(p, "oom.c", 3);
        EXPECT_EQ(mwRealloc(kept, 64, "oom.c", 4), nullptr);
    }
    EXPECT_EQ(Since(), (N{101, 100, 1, 8}));
    mwFree(kept, "oom.c", 5); // still a live block
    EXPECT_EQ(Logged(), V{"out of memory: 64 bytes at oom.c:4"});
}
