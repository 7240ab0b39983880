#include "tlog.h"

#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <string>

#include "test_support.h"

using namespace testing_support;

namespace {

const std::string kNoFile = "\xCE\xC4\xBC\xFE\xD6\xB8\xD5\xEB\xB3\xF6\xB4\xED\n";

// What Zor_Log_Init_T printed, followed by its result.
std::string Init(const char *path, int realtime = 0, int max = 0, int level = 4)
{
    int result = 0;
    std::string printed = Printed([&] { result = Zor_Log_Init_T(const_cast<char *>(path), realtime, max, level); });
    return printed + std::to_string(result);
}

// Prints each text at level; what reached the terminal.
std::string Print(int level, std::initializer_list<std::string> texts)
{
    return Printed([&] {
        for (std::string text : texts)
            Zor_Log_Print(level, text.data());
    });
}

// The file's lines, time stamps as "T".
std::string Lines(const std::string &path)
{
    static const std::regex stamp(" : [A-Z][a-z]{2} [ 123][0-9] \\d\\d:\\d\\d:\\d\\d> ");
    return std::regex_replace(ReadFile(path), stamp, " : T> ");
}

} // namespace

// Every test starts with no log file open, as a process does.
class Tlog : public ::testing::Test {
protected:
    Tlog()
    {
        if (logfile != nullptr)
            fclose(logfile);
        logfile = nullptr;
    }
};

TEST_F(Tlog, PrintBeforeInitAndBadPaths)
{
    EXPECT_EQ(Print(0, {"x"}), kNoFile);
    const std::string bad_name = "\xCE\xC4\xBC\xFE\xC3\xFB\xB3\xF6\xB4\xED\n-1";
    EXPECT_EQ(Init(""), bad_name);
    EXPECT_EQ(Init(nullptr), bad_name);
    TempDir dir;
    EXPECT_EQ(Init(dir.file("no/such.log").c_str()), "\xB4\xF2\xBF\xAA\xCE\xC4\xBC\xFE\xB3\xF6\xB4\xED\n-1");
}

TEST_F(Tlog, LinesLevelsEmptyingAndReopening)
{
    TempDir dir;
    std::string path = dir.file("t.log"), printed;
    WriteFile(path, "old\n");
    ASSERT_EQ(Init(path.c_str(), 1, 1000, 3), "1");
    for (int level = -1; level <= 5; level++)
        printed += Print(level, {std::to_string(level)});
    EXPECT_EQ(Lines(path), "old\n<Error  : T> 0\n<Warn   : T> 1\n<Sys_I  : T> 2\n<Mod_I  : T> 3\n");
    EXPECT_EQ("old\n" + printed, ReadFile(path));  // appended, byte for byte as printed
    realtime_printf = 0;
    log_level = 100;  // 5 stays outside the table
    WriteFile(path, "");
    EXPECT_EQ(Print(4, {"4"}), "");
    EXPECT_EQ(Print(5, {"5"}), "");
    EXPECT_EQ(Lines(path), "<Debug  : T> 4\n");

    ASSERT_EQ(Init(path.c_str()), "1");
    Print(0, {"a", "b"});  // limit 0: every line empties the file first; the counter is then 1
    gt_log_max = 3;
    Print(0, {"c", "d"});
    EXPECT_EQ(Lines(path), "<Error  : T> b\n<Error  : T> c\n<Error  : T> d\n");
    Print(0, {"e"});  // the fourth line since the emptying

    strcpy(file, dir.file("gone/t.log").c_str());
    EXPECT_EQ(Print(0, {"f", "g", "h"}), "");  // the third line fails to empty the file: no handle left
    EXPECT_EQ(Print(0, {"lost"}), kNoFile);
    ASSERT_EQ(Init(path.c_str(), 0, 10), "1");  // a fresh start works again
    Print(0, {"back"});
    EXPECT_EQ(Lines(path), "<Error  : T> e\n<Error  : T> f\n<Error  : T> g\n<Error  : T> back\n");
}
