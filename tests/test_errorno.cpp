#include "errorno.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// A buffer of 64 'X' after a lookup, followed by the result.
std::string Lookup(int number)
{
    std::string buf(64, 'X');
    int result = EncodeErrorNo(number, buf.data());
    return buf + std::to_string(result);
}

// A hit copies 49 bytes, the text padded with NULs; the rest stays untouched.
std::string Hit(const std::string &text)
{
    return text + std::string(49 - text.size(), '\0') + std::string(15, 'X') + "1";
}

const std::string kMiss = std::string(64, 'X') + "-1";

} // namespace

TEST(Errorno, BeforeInitTheZeroedTableMatchesCauseZero)
{
    memset(error, 0, sizeof error);  // as the process starts
    EXPECT_EQ(Lookup(0), Hit(""));
    EncodeInit();
    EXPECT_EQ(Lookup(0), kMiss);
}

TEST(Errorno, EveryCauseTextAndTheMisses)
{
    error[20].errorno = 4001;  // cleared again by EncodeInit
    EncodeInit();
    const std::pair<int, std::string> causes[] = {
        {486, "486 Busy Here"}, {404, "404 Not Found"}, {403, "403 Forbidden"}, {408, "408 Request Timeout"},
        {480, "480 Temporarily Unavailable"}, {488, "488 Not Acceptable Here"}, {8, "4001 normal"}, {14, "4002 cancel"},
        {400, "4003 called unregister"}, {4004, "4004 calling unregister"}, {4005, "4005 called owe"},
        {4006, "4006 calling owe "}, {4007, "4007 no answer "}, {4008, "4008 calling not found "}};
    for (const auto &[number, text] : causes)
        EXPECT_EQ(Lookup(number), Hit(text)) << number;
    for (int number : {4001, 4002, 4003, -1, -100, 0, 487})
        EXPECT_EQ(Lookup(number), kMiss) << number;
}
