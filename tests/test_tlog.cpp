#include "tlog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>

#include "test_support.h"

using testing_support::Printed;
using testing_support::ReadFile;
using testing_support::TempDir;

namespace {

const std::string kBadName = "\xCE\xC4\xBC\xFE\xC3\xFB\xB3\xF6\xB4\xED\n";
const std::string kOpenFailed = "\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE\xB3\xF6\xB4\xED\n";
const std::string kNoFile = "\xCE\xC4\xBC\xFE\xD6\xB8\xD5\xEB\xB3\xF6\xB4\xED\n";

void Print(int level, const char *text)
{
    Zor_Log_Print(level, const_cast<char *>(text));
}

// The messages of the file's lines, in order.
std::string Messages(const std::string &path)
{
    static const std::regex line("<[A-Za-z_ ]{6} : [A-Z][a-z]{2} [ 123][0-9] \\d\\d:\\d\\d:\\d\\d> (.*)\n");
    std::string text = ReadFile(path), out;
    for (std::sregex_iterator it(text.begin(), text.end(), line), end; it != end; ++it)
        out += (*it)[1].str() + ";";
    return out;
}

} // namespace

// Must run before any initialisation of this process.
TEST(Tlog, PrintBeforeInitAndBadPaths)
{
    EXPECT_EQ(Printed([] { Print(0, "x"); }), kNoFile);
    int result = 0;
    EXPECT_EQ(Printed([&] { result = Zor_Log_Init_T(const_cast<char *>(""), 0, 10, 4); }), kBadName);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(Printed([&] { result = Zor_Log_Init_T(nullptr, 0, 10, 4); }), kBadName);
    EXPECT_EQ(result, -1);
    TempDir dir;
    std::string missing = dir.file("no/such.log");
    EXPECT_EQ(Printed([&] { result = Zor_Log_Init_T(missing.data(), 0, 10, 4); }), kOpenFailed);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(logfile, nullptr);
    EXPECT_STREQ(file, missing.c_str());
}

TEST(Tlog, LineFormatAndTerminalCopy)
{
    TempDir dir;
    std::string path = dir.file("t.log");
    testing_support::WriteFile(path, "old\n");
    ASSERT_EQ(Zor_Log_Init_T(path.data(), 1, 1000, 4), 1);
    EXPECT_EQ(realtime_printf, 1);
    EXPECT_EQ(gt_log_max, 1000);
    EXPECT_EQ(log_level, 4);
    std::string printed = Printed([] { Print(2, "hello world"); });
    EXPECT_TRUE(std::regex_match(printed, std::regex("<Sys_I  : [A-Z][a-z]{2} [ 123][0-9] \\d\\d:\\d\\d:\\d\\d> "
                                                     "hello world\n")))
        << printed;
    EXPECT_EQ(ReadFile(path), "old\n" + printed);  // appended, byte for byte as printed
    realtime_printf = 0;
    EXPECT_EQ(Printed([] { Print(0, "quiet"); }), "");
    EXPECT_NE(ReadFile(path).find("<Error  : "), std::string::npos);
}

TEST(Tlog, LevelsAboveTheSettingOrOutsideTheTableAreIgnored)
{
    TempDir dir;
    std::string path = dir.file("t.log");
    ASSERT_EQ(Zor_Log_Init_T(path.data(), 0, 1000, 2), 1);
    for (int level = -1; level <= 5; level++)
        Print(level, std::to_string(level).c_str());
    EXPECT_EQ(Messages(path), "0;1;2;");
    log_level = 100;
    Print(5, "five");
    Print(-1, "minus");
    Print(4, "four");
    EXPECT_EQ(Messages(path), "0;1;2;four;");
    EXPECT_NE(ReadFile(path).find("<Debug  : "), std::string::npos);
    EXPECT_NE(ReadFile(path).find("<Warn   : "), std::string::npos);
}

TEST(Tlog, FileIsEmptiedAfterGtLogMaxLines)
{
    TempDir dir;
    std::string path = dir.file("t.log");
    testing_support::WriteFile(path, "before\n");
    ASSERT_EQ(Zor_Log_Init_T(path.data(), 0, 0, 4), 1);
    Print(1, "a");  // limit 0: every line empties first; the counter is now 1
    EXPECT_EQ(Messages(path), "a;");
    Print(1, "b");
    EXPECT_EQ(Messages(path), "b;");
    gt_log_max = 3;
    Print(1, "c");
    Print(1, "d");
    EXPECT_EQ(Messages(path), "b;c;d;");
    Print(1, "e");  // fourth line since the emptying
    EXPECT_EQ(Messages(path), "e;");
    Print(1, "f");
    Print(1, "g");
    Print(1, "h");
    EXPECT_EQ(Messages(path), "h;");
}

TEST(Tlog, FailedReopenLeavesNoHandle)
{
    TempDir dir;
    std::string path = dir.file("t.log");
    ASSERT_EQ(Zor_Log_Init_T(path.data(), 0, 0, 4), 1);
    std::string missing = dir.file("gone/t.log");
    strcpy(file, missing.c_str());
    EXPECT_EQ(Printed([] { Print(0, "lost"); }), "");
    EXPECT_EQ(logfile, nullptr);
    EXPECT_EQ(Printed([] { Print(0, "lost"); }), kNoFile);
    ASSERT_EQ(Zor_Log_Init_T(path.data(), 0, 10, 4), 1);  // a fresh start works again
    Print(0, "back");
    EXPECT_EQ(Messages(path), "back;");
}
