#include "errorno.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// The 64 bytes of a buffer of 'X' after a lookup, and the result.
std::string Lookup(int number, int *result)
{
    char buf[64];
    memset(buf, 'X', sizeof buf);
    *result = EncodeErrorNo(number, buf);
    return std::string(buf, sizeof buf);
}

// text padded with NULs to the 49 bytes copied, then the untouched rest.
std::string Copied(const std::string &text)
{
    return text + std::string(49 - text.size(), '\0') + std::string(15, 'X');
}

} // namespace

// Must run before any EncodeInit of this process: the table starts zeroed.
TEST(Errorno, BeforeInitTheZeroedTableMatchesCauseZero)
{
    int result = 0;
    EXPECT_EQ(Lookup(0, &result), Copied(""));
    EXPECT_EQ(result, 1);
    EncodeInit();
    EXPECT_EQ(Lookup(0, &result), std::string(64, 'X'));
    EXPECT_EQ(result, -1);
}

TEST(Errorno, EveryCauseTextAndTheMisses)
{
    error[20].errorno = 4001;  // cleared again by EncodeInit
    EncodeInit();
    const std::pair<int, std::string> causes[] = {
        {486, "486 Busy Here"},          {404, "404 Not Found"},           {403, "403 Forbidden"},
        {408, "408 Request Timeout"},    {480, "480 Temporarily Unavailable"},
        {488, "488 Not Acceptable Here"}, {8, "4001 normal"},              {14, "4002 cancel"},
        {400, "4003 called unregister"}, {4004, "4004 calling unregister"}, {4005, "4005 called owe"},
        {4006, "4006 calling owe "},     {4007, "4007 no answer "},        {4008, "4008 calling not found "},
    };
    int i = 0, result = 0;
    for (const auto &[number, text] : causes) {
        EXPECT_EQ(error[i++].errorno, number);
        EXPECT_EQ(Lookup(number, &result), Copied(text)) << number;
        EXPECT_EQ(result, 1) << number;
    }
    for (; i < 100; i++)
        EXPECT_EQ(error[i].errorno, -1);
    for (int number : {4001, 4002, 4003, -1, -100, 0, 487}) {
        EXPECT_EQ(Lookup(number, &result), std::string(64, 'X')) << number;
        EXPECT_EQ(result, -1) << number;
    }
}
