#include "inet.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(Inet, ByteOrderAndAddressText)
{
    unsigned int l = Net_Htonl(0x01020304u), addr = Net_Addr_To_Int("192.168.1.20");
    unsigned short s = Net_Htons(0x0102);
    EXPECT_EQ(memcmp(&l, "\x01\x02\x03\x04", 4), 0);
    EXPECT_EQ(memcmp(&s, "\x01\x02", 2), 0);
    EXPECT_EQ(memcmp(&addr, "\xC0\xA8\x01\x14", 4), 0);
    EXPECT_EQ(Net_Addr_To_Int("no address"), 0xFFFFFFFFu);

    char text[16];
    EXPECT_EQ(Net_Int_To_Addr(static_cast<int>(addr), text), 1u);
    EXPECT_STREQ(text, "192.168.1.20");
    EXPECT_EQ(Net_Int_To_Addr(-1, text), 1u);
    EXPECT_STREQ(text, "255.255.255.255");
    EXPECT_EQ(Net_Int_To_Addr(0, nullptr), static_cast<unsigned int>(-1));
}
