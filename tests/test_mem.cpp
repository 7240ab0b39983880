#include "mem.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>

#include "test_support.h"

using testing_support::Printed;

TEST(Mem, MallocZeroFillsAndRefusesNonPositiveSizes)
{
    auto block = static_cast<unsigned char *>(Mem_Malloc(64));
    ASSERT_NE(block, nullptr);
    for (int i = 0; i < 64; i++)
        EXPECT_EQ(block[i], 0);
    Mem_Free(block);

    void *bad = reinterpret_cast<void *>(1);
    EXPECT_EQ(Printed([&] { bad = Mem_Malloc(0); }), "Mem Malloc wrong size\n");
    EXPECT_EQ(bad, nullptr);
    EXPECT_EQ(Printed([&] { bad = Mem_Malloc(-5); }), "Mem Malloc wrong size\n");
    EXPECT_EQ(bad, nullptr);
}

TEST(Mem, NullArgumentsPrintAndFail)
{
    char buf[4] = "abc";
    EXPECT_EQ(Printed([] { Mem_Free(nullptr); }), "Mem_Free failed , NULL point \n");
    EXPECT_EQ(Printed([] { EXPECT_EQ(Mem_Set(nullptr, 0, 4), nullptr); }), "Mem set failed , NULL point \n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Mem_Memcmp(buf, nullptr, 3), -1); }), "Mem cmp failed , NULL point \n");
    EXPECT_EQ(Printed([&] { EXPECT_EQ(Mem_Memcpy(nullptr, buf, 3), nullptr); }),
              "Mem copy failed , NULL point \n");
}

TEST(Mem, BlockFunctionsWork)
{
    char a[4] = "abc", b[4] = "abd";
    EXPECT_EQ(Mem_Set(a, 'x', 2), a);
    EXPECT_EQ(std::string(a), "xxc");
    EXPECT_LT(Mem_Memcmp(b, a, 3), 0);
    EXPECT_EQ(Mem_Memcpy(a, b, 4), a);
    EXPECT_EQ(Mem_Memcmp(a, b, 4), 0);
}

TEST(Mem, VersionText)
{
    std::string version = LibBase_GetLibVersion();
    EXPECT_TRUE(std::regex_match(version, std::regex(R"(libbase_R1\.1\.4; [A-Z][a-z]{2} [ 0-9]\d \d{4} \d\d:\d\d:\d\d)")))
        << version;
    EXPECT_EQ(LibBase_GetLibVersion(), LibBase_GetLibVersion());
}
