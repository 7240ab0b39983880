#include "errorno.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

std::string Lookup(int number, int *result)
{
    char buf[64];
    memset(buf, 'X', sizeof buf);
    *result = EncodeErrorNo(number, buf);
    return std::string(buf, sizeof buf);
}

} // namespace

// Must run before any EncodeInit of this process: the table starts zeroed.
TEST(Errorno, BeforeInitTheZeroedTableMatchesCauseZero)
{
    int result = 0;
    std::string out = Lookup(0, &result);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(out, std::string(49, '\0') + std::string(15, 'X'));
    EncodeInit();
    out = Lookup(0, &result);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(out, std::string(64, 'X'));
}

TEST(Errorno, EveryCauseTextAndExactly49BytesCopied)
{
    EncodeInit();
    const struct {
        int number;
        const char *text;
    } causes[] = {
        {486, "486 Busy Here"},          {404, "404 Not Found"},
        {403, "403 Forbidden"},          {408, "408 Request Timeout"},
        {480, "480 Temporarily Unavailable"}, {488, "488 Not Acceptable Here"},
        {8, "4001 normal"},              {14, "4002 cancel"},
        {400, "4003 called unregister"}, {4004, "4004 calling unregister"},
        {4005, "4005 called owe"},       {4006, "4006 calling owe "},
        {4007, "4007 no answer "},       {4008, "4008 calling not found "},
    };
    int i = 0;
    for (const auto &cause : causes) {
        EXPECT_EQ(error[i].errorno, cause.number);
        int result = 0;
        std::string out = Lookup(cause.number, &result);
        EXPECT_EQ(result, 1) << cause.number;
        std::string expected = cause.text;
        expected.resize(49, '\0');
        EXPECT_EQ(out, expected + std::string(15, 'X')) << cause.number;
        i++;
    }
    for (; i < 100; i++) {
        EXPECT_EQ(error[i].errorno, -1);
        EXPECT_EQ(std::string(error[i].errorcode, 50), std::string(50, '\0'));
    }
}

TEST(Errorno, MissesLeaveTheBufferAlone)
{
    EncodeInit();
    for (int number : {4001, 4002, 4003, -1, -100, 0, 487}) {
        int result = 0;
        EXPECT_EQ(Lookup(number, &result), std::string(64, 'X')) << number;
        EXPECT_EQ(result, -1) << number;
    }
}

TEST(Errorno, ApplicationEntriesAreFoundAndInitRestoresTheTable)
{
    EncodeInit();
    error[20].errorno = 4010;
    strcpy(error[20].errorcode, "4010 custom");
    error[0].errorno = 999;
    int result = 0;
    EXPECT_EQ(Lookup(4010, &result).substr(0, 12), std::string("4010 custom\0", 12));
    EXPECT_EQ(result, 1);
    EncodeInit();
    Lookup(4010, &result);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(Lookup(486, &result).substr(0, 13), "486 Busy Here");
    EXPECT_EQ(result, 1);
}
