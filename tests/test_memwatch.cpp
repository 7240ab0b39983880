#include "memwatch.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

namespace {

// Every test logs into its own temporary file and leaves no block behind.
class Memwatch : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(mwSetLogFile(log_.c_str()), 0);
        mwStatistics(&start_);
    }

    std::string Log() const { return testing_support::ReadFile(log_); }

    // The lines of the log matching pattern (the "memwatch[pid] " prefix
    // stripped).
    std::vector<std::string> Lines(const std::string &pattern) const
    {
        std::vector<std::string> found;
        std::string log = Log();
        std::regex line_re("memwatch\\[\\d+\\] (.*)");
        std::regex want(pattern);
        size_t pos = 0, end;
        while ((end = log.find('\n', pos)) != std::string::npos) {
            std::smatch m;
            std::string line = log.substr(pos, end - pos);
            if (std::regex_match(line, m, line_re) && std::regex_match(m[1].str(), want))
                found.push_back(m[1].str());
            pos = end + 1;
        }
        return found;
    }

    MW_STATS Delta()
    {
        MW_STATS now;
        mwStatistics(&now);
        return MW_STATS{now.allocations - start_.allocations, now.frees - start_.frees,
                        now.blocks_in_use - start_.blocks_in_use, now.bytes_in_use - start_.bytes_in_use,
                        now.peak_bytes};
    }

    testing_support::TempDir dir_;
    std::string log_ = dir_.file("memwatch.log");
    MW_STATS start_{};
};

const std::string kHex = "0x[0-9a-f]+";

} // namespace

TEST_F(Memwatch, AllocatesLikeTheCLibraryAndCounts)
{
    auto a = static_cast<unsigned char *>(mwMalloc(10, "a.c", 1));
    auto b = static_cast<unsigned char *>(mwCalloc(4, 8, "a.c", 2));
    char *c = mwStrdup("text", "a.c", 3);
    ASSERT_TRUE(a && b && c);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a) % alignof(max_align_t), 0u);
    EXPECT_EQ(a[9], 0xCD);
    EXPECT_EQ(std::vector<unsigned char>(b, b + 32), std::vector<unsigned char>(32, 0));
    EXPECT_STREQ(c, "text");
    MW_STATS d = Delta();
    EXPECT_EQ(d.allocations, 3u);
    EXPECT_EQ(d.blocks_in_use, 3u);
    EXPECT_EQ(d.bytes_in_use, 10u + 32 + 5);

    memcpy(a, "0123456789", 10);
    a = static_cast<unsigned char *>(mwRealloc(a, 1000, "a.c", 4));
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<char *>(a), 10), "0123456789");
    EXPECT_EQ(a[999], 0xCD);
    a = static_cast<unsigned char *>(mwRealloc(a, 3, "a.c", 5));
    EXPECT_EQ(std::string(reinterpret_cast<char *>(a), 3), "012");
    d = Delta();
    EXPECT_EQ(d.allocations, 3u); // a reallocation keeps its block
    EXPECT_EQ(d.bytes_in_use, 3u + 32 + 5);
    EXPECT_GE(d.peak_bytes, start_.bytes_in_use + 1000 + 32 + 5);

    void *fresh = mwRealloc(nullptr, 7, "a.c", 6);
    EXPECT_EQ(mwRealloc(fresh, 0, "a.c", 7), nullptr);
    mwFree(a, "a.c", 8);
    mwFree(b, "a.c", 9);
    mwFree(c, "a.c", 10);
    mwFree(nullptr, "a.c", 11);
    d = Delta();
    EXPECT_EQ(d.allocations, 4u);
    EXPECT_EQ(d.frees, 4u);
    EXPECT_EQ(d.blocks_in_use, 0u);
    EXPECT_EQ(d.bytes_in_use, 0u);
    EXPECT_EQ(mwCheck("a.c", 12), 0);
    EXPECT_EQ(Lines("statistics: .*").size(), 4u);
    EXPECT_TRUE(Lines("(?!statistics).*").empty()) << Log(); // no findings
}

TEST_F(Memwatch, StatisticsLineCarriesTheCounters)
{
    void *p = mwMalloc(100, "s.c", 1);
    MW_STATS now;
    mwStatistics(&now);
    mwFree(p, "s.c", 2);
    char expect[200];
    snprintf(expect, sizeof expect,
             "statistics: %llu allocations, %llu frees, %llu blocks and %llu bytes in use, peak %llu bytes",
             now.allocations, now.frees, now.blocks_in_use, now.bytes_in_use, now.peak_bytes);
    auto lines = Lines("statistics: .*");
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), expect);
}

TEST_F(Memwatch, DoubleFreesAndUnknownPointersAreReportedAndLeftAlone)
{
    void *p = mwMalloc(24, "df.c", 10);
    mwFree(p, "df.c", 11);
    mwFree(p, "df.c", 12);
    EXPECT_EQ(mwRealloc(p, 48, "df.c", 13), nullptr);
    int on_stack = 0;
    mwFree(&on_stack, "df.c", 14);
    EXPECT_EQ(mwRealloc(&on_stack, 8, "df.c", 15), nullptr);
    EXPECT_EQ(mwStrdup(nullptr, "df.c", 16), nullptr);

    EXPECT_EQ(Lines("double free: " + kHex + " at df\\.c:12, freed before at df\\.c:11").size(), 1u) << Log();
    EXPECT_EQ(Lines("realloc after free: " + kHex + " at df\\.c:13, freed before at df\\.c:11").size(), 1u);
    EXPECT_EQ(Lines("free of unknown pointer: " + kHex + " at df\\.c:14").size(), 1u);
    EXPECT_EQ(Lines("realloc of unknown pointer: " + kHex + " at df\\.c:15").size(), 1u);
    EXPECT_EQ(Lines("strdup of NULL at df\\.c:16").size(), 1u);
    MW_STATS d = Delta();
    EXPECT_EQ(d.allocations, 1u);
    EXPECT_EQ(d.frees, 1u);

    // Once its address is handed out again, the pointer is a live block.
    std::vector<void *> blocks;
    for (int i = 0; i < 64; i++)
        blocks.push_back(mwMalloc(24, "df.c", 20));
    for (void *b : blocks)
        mwFree(b, "df.c", 21);
    EXPECT_EQ(Lines("double free: .*").size(), 1u);
}

TEST_F(Memwatch, WritesPastEitherEndAreFound)
{
    auto over = static_cast<char *>(mwMalloc(16, "ov.c", 30));
    auto under = static_cast<char *>(mwMalloc(5, "ov.c", 31));
    auto clean = static_cast<char *>(mwMalloc(8, "ov.c", 32));
    over[16] = 'x';
    under[-1] = 'y';
    memset(clean, 'z', 8);
    EXPECT_EQ(mwCheck("ov.c", 40), 2);
    EXPECT_EQ(Lines("overrun: 16-byte block " + kHex + " allocated at ov\\.c:30, written past its end, found at ov\\.c:40")
                  .size(),
              1u)
        << Log();
    EXPECT_EQ(Lines("underrun: 5-byte block " + kHex +
                    " allocated at ov\\.c:31, written before its start, found at ov\\.c:40")
                  .size(),
              1u);

    mwFree(over, "ov.c", 41);
    under = static_cast<char *>(mwRealloc(under, 50, "ov.c", 42));
    EXPECT_EQ(Lines("overrun: .* found at ov\\.c:41").size(), 1u);
    EXPECT_EQ(Lines("underrun: .* found at ov\\.c:42").size(), 1u);
    EXPECT_EQ(mwCheck("ov.c", 43), 0); // the moved block has fresh guards
    mwFree(under, "ov.c", 44);
    mwFree(clean, "ov.c", 45);
    EXPECT_EQ(Lines(".*(overrun|underrun).*").size(), 4u);
}

TEST_F(Memwatch, ReportListsEveryBlockStillAllocated)
{
    void *a = mwMalloc(11, "rep.c", 50);
    void *b = mwStrdup("x", "rep2.c", 51);
    EXPECT_EQ(mwReport("rep.c", 60), 2);
    mwFree(a, "rep.c", 61);
    EXPECT_EQ(mwReport("rep.c", 62), 1);
    mwFree(b, "rep.c", 63);
    EXPECT_EQ(mwReport("rep.c", 64), 0);

    char addr[32];
    snprintf(addr, sizeof addr, "%p", a);
    EXPECT_EQ(Lines("report at rep\\.c:60: 2 blocks, 13 bytes allocated").size(), 1u) << Log();
    EXPECT_EQ(Lines("block: 11 bytes at " + std::string(addr) + " allocated at rep\\.c:50").size(), 1u);
    EXPECT_EQ(Lines("block: 2 bytes at " + kHex + " allocated at rep2\\.c:51").size(), 2u);
    EXPECT_EQ(Lines("report at rep\\.c:64: 0 blocks, 0 bytes allocated").size(), 1u);
}

TEST_F(Memwatch, BlocksStillAllocatedAreReportedAtExit)
{
    EXPECT_EXIT(
        {
            mwMalloc(77, "exit.c", 70);
            exit(0);
        },
        ::testing::ExitedWithCode(0), "");
    EXPECT_EQ(Lines("at exit: 1 blocks, 77 bytes still allocated").size(), 1u) << Log();
    EXPECT_EQ(Lines("block: 77 bytes at " + kHex + " allocated at exit\\.c:70").size(), 1u);
}

TEST_F(Memwatch, LogFileAndItsDirectory)
{
    std::string nested = dir_.file("sub/mw.log");
    ASSERT_EQ(mwSetLogFile(nested.c_str()), 0);
    mwFree(&nested, "dir.c", 80);
    EXPECT_NE(testing_support::ReadFile(nested).find("free of unknown pointer"), std::string::npos);

    std::string too_long(4096, 'a');
    EXPECT_EQ(mwSetLogFile(too_long.c_str()), -1);
    mwFree(&nested, "dir.c", 81);
    EXPECT_NE(testing_support::ReadFile(nested).find("dir.c:81"), std::string::npos);

    // A file that cannot be opened: the finding goes to standard output.
    ASSERT_EQ(mwSetLogFile(dir_.file("no/such/dir/mw.log").c_str()), 0);
    std::string printed = testing_support::Printed([&] { mwFree(&nested, "dir.c", 82); });
    EXPECT_TRUE(std::regex_match(printed, std::regex("memwatch\\[\\d+\\] free of unknown pointer: " + kHex +
                                                     " at dir\\.c:82\n")))
        << printed;
}

TEST_F(Memwatch, ImpossibleSizesFailCleanly)
{
    EXPECT_EQ(mwMalloc(SIZE_MAX - 8, "big.c", 90), nullptr);
    EXPECT_EQ(mwCalloc(SIZE_MAX / 2, 3, "big.c", 91), nullptr);
    void *p = mwMalloc(4, "big.c", 92);
    EXPECT_EQ(mwRealloc(p, SIZE_MAX, "big.c", 93), nullptr);
    mwFree(p, "big.c", 94); // still valid
    EXPECT_EQ(Lines("out of memory: .* at big\\.c:9[013]").size(), 3u) << Log();
    EXPECT_EQ(Delta().blocks_in_use, 0u);
}

TEST_F(Memwatch, ThreadsShareOneConsistentRecord)
{
    constexpr int kThreads = 4, kRounds = 2000;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++)
        threads.emplace_back([] {
            std::vector<void *> held;
            for (int i = 0; i < kRounds; i++) {
                held.push_back(mwMalloc(static_cast<size_t>(i % 64), "thr.c", 100));
                if (i % 3 == 0)
                    held.back() = mwRealloc(held.back(), 80, "thr.c", 101);
                if (held.size() > 16) {
                    mwFree(held.front(), "thr.c", 102);
                    held.erase(held.begin());
                }
            }
            for (void *p : held)
                mwFree(p, "thr.c", 103);
        });
    for (auto &t : threads)
        t.join();
    MW_STATS d = Delta();
    EXPECT_EQ(d.allocations, static_cast<unsigned long long>(kThreads * kRounds));
    EXPECT_EQ(d.frees, d.allocations);
    EXPECT_EQ(d.bytes_in_use, 0u);
    EXPECT_EQ(mwCheck("thr.c", 104), 0);
    EXPECT_TRUE(Lines("(?!statistics).*").empty()) << Log();
}
